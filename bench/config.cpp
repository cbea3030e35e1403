// INI files and the variable resolver: loading a 10,000-line file of 1,000
// groups beside inih loading the same file into std::maps, a key look-up
// beside a std::map look-up, and resolving patterns of 1 KB to 1 MB beside a
// plain one-pass substitution of the same text.
#include <benchmark/benchmark.h>

#include <fstream>
#include <map>
#include <string>
#include <unordered_map>

#include "plinth/plinth.h"
#include "scratch_dir.h"

#ifdef PLINTH_BENCH_HAVE_INIH
#include <ini.h>
#endif

namespace {

using plinth_bench::ScratchDir;

// 1,000 groups of a header and nine keys, with comments and blanks as
// people write them.
const std::string& IniFile() {
  static const std::string name = [] {
    const std::string path = ScratchDir() + "/settings.ini";
    std::ofstream out(path, std::ios::trunc);
    for (int g = 0; g < 1000; ++g) {
      out << "[Section_" << g << "]\n";
      for (int k = 0; k < 9; ++k)
        out << "key_" << k << " = value " << g << "-" << k << (k == 4 ? " ; note" : "") << "\n";
    }
    return path;
  }();
  return name;
}

void BM_IniLoad(benchmark::State& state) {
  for (auto _ : state) {
    Ini ini(IniFile(), true);
    benchmark::DoNotOptimize(ini);
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_IniLoad)->Unit(benchmark::kMillisecond);

void BM_IniLookup(benchmark::State& state) {
  Ini ini(IniFile(), true);
  std::string groups[64], keys[9];
  for (int i = 0; i < 64; ++i) groups[i] = "section_" + std::to_string(i * 15);
  for (int k = 0; k < 9; ++k) keys[k] = "KEY_" + std::to_string(k);
  unsigned n = 0;
  for (auto _ : state) {
    std::string value = ini.GetKeyValue(groups[n % 64], keys[n % 9], "", false);
    benchmark::DoNotOptimize(value);
    ++n;
  }
}
BENCHMARK(BM_IniLookup);

#ifdef PLINTH_BENCH_HAVE_INIH
using Maps = std::map<std::string, std::map<std::string, std::string>>;

int InihHandler(void* user, const char* section, const char* name, const char* value) {
  (*static_cast<Maps*>(user))[section][name] = value;
  return 1;
}

void BM_InihLoad_Baseline(benchmark::State& state) {
  for (auto _ : state) {
    Maps maps;
    if (ini_parse(IniFile().c_str(), InihHandler, &maps) != 0) state.SkipWithError("inih failed");
    benchmark::DoNotOptimize(maps);
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_InihLoad_Baseline)->Unit(benchmark::kMillisecond);

void BM_InihLookup_Baseline(benchmark::State& state) {
  Maps maps;
  ini_parse(IniFile().c_str(), InihHandler, &maps);
  std::string groups[64], keys[9];
  for (int i = 0; i < 64; ++i) groups[i] = "Section_" + std::to_string(i * 15);
  for (int k = 0; k < 9; ++k) keys[k] = "key_" + std::to_string(k);
  unsigned n = 0;
  for (auto _ : state) {
    const auto g = maps.find(groups[n % 64]);
    std::string value = g == maps.end() ? std::string() : g->second.find(keys[n % 9])->second;
    benchmark::DoNotOptimize(value);
    ++n;
  }
}
BENCHMARK(BM_InihLookup_Baseline);
#endif

// Text with 50 variables per KB (500 in 10 KB): flat ones, full stops
// before variables, two-part sequences and unknown names.
std::string ResolverPattern(size_t bytes) {
  static const char* pieces[] = {"/var/log/%%APP/", "%%HOST.%%PID", "-%%LEVEL%%N", " %%UNKNOWN "};
  std::string pattern;
  for (unsigned i = 0; pattern.size() < bytes; ++i) {
    pattern += pieces[i % 4];
    pattern.append(30 - std::string(pieces[i % 4]).size(), '-');
  }
  pattern.resize(bytes);
  return pattern;
}

void AddResolverTable(QLNAutoEditString& text) {
  text.AddVariable("APP", "billing");
  text.AddVariable("HOST", "node7");
  text.AddVariable("PID", "4711");
  text.AddVariable("N", "3");
  text.AddVariable("LEVEL3", "debug");
  for (int i = 0; i < 100; ++i) text.AddVariable("extra" + std::to_string(i), "v");
}

void BM_Resolve(benchmark::State& state) {
  QLNAutoEditString text(ResolverPattern(static_cast<size_t>(state.range(0))));
  AddResolverTable(text);
  for (auto _ : state) {
    std::string out = text.Resolve();
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_Resolve)->RangeMultiplier(10)->Range(1000, 1000000)->Arg(10000)->Complexity(benchmark::oN)
    ->Unit(benchmark::kMicrosecond);

// One pass that swaps each flat %%NAME for its value from a hash table: no
// sequences, no marks. What the resolver's two passes cost on top of it.
void BM_PlainSubstitution_Baseline(benchmark::State& state) {
  const std::string pattern = ResolverPattern(static_cast<size_t>(state.range(0)));
  const std::unordered_map<std::string, std::string> table = {
      {"APP", "billing"}, {"HOST", "node7"}, {"PID", "4711"}, {"N", "3"}, {"LEVEL3", "debug"}};
  auto isName = [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '#' || c == '@';
  };
  for (auto _ : state) {
    std::string out;
    for (size_t i = 0; i < pattern.size();) {
      size_t j = i + 2;
      if (pattern[i] == '%' && i + 1 < pattern.size() && pattern[i + 1] == '%') {
        while (j < pattern.size() && isName(pattern[j])) ++j;
        const auto it = table.find(pattern.substr(i + 2, j - i - 2));
        if (it != table.end()) {
          out += it->second;
          i = j;
          continue;
        }
      }
      out += pattern[i++];
    }
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_PlainSubstitution_Baseline)->RangeMultiplier(10)->Range(1000, 1000000)->Arg(10000)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
