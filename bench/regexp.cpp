// The two matchers against their engines used directly, in the same run.
// A wildcard "srv*_2?.log" over 1 M generated file names: WildcardString,
// fnmatch of the C library, and PCRE2 with its JIT on the translated
// pattern. A compiled regular expression finding every match in 1 MB of
// UTF-8 text, and scanning it once for a pattern that isn't there:
// Osl_RegularExpression against ICU's uregex on a UTF-8 UText.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <benchmark/benchmark.h>
#include <fnmatch.h>
#include <pcre2.h>
#include <unicode/uregex.h>
#include <unicode/utext.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "plinth/plinth.h"

namespace {

const char Wildcard[] = "srv*_2?.log";

// PLINTH_BENCH_NAMES makes the runs shorter under a profiler.
size_t NameCount() {
  const char* value = std::getenv("PLINTH_BENCH_NAMES");
  return value ? std::strtoul(value, nullptr, 10) : 1000000;
}

// About one name in eight matches the wildcard.
const std::vector<std::string>& Names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> out;
    const size_t count = NameCount();
    out.reserve(count);
    std::mt19937 random(7);
    const char* prefixes[] = {"srv", "srv-eu", "db", "srvweb", "app"};
    const char* suffixes[] = {".log", ".log", ".txt", ".log.gz"};
    char name[64];
    for (size_t i = 0; i < count; ++i) {
      std::snprintf(name, sizeof name, "%s%u_%u%s", prefixes[random() % 5], random() % 1000, random() % 40,
                    suffixes[random() % 4]);
      out.emplace_back(name);
    }
    return out;
  }();
  return names;
}

void Report(benchmark::State& state, size_t matches, size_t items) {
  state.counters["matches"] = static_cast<double>(matches);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * items));
}

void BM_Wildcard_Plinth(benchmark::State& state) {
  const auto& names = Names();
  WildcardString wildcard(Wildcard, true);
  size_t matches = 0;
  for (auto _ : state) {
    matches = 0;
    for (const auto& name : names) matches += wildcard.Match(name);
  }
  Report(state, matches, names.size());
}
BENCHMARK(BM_Wildcard_Plinth)->Unit(benchmark::kMillisecond);

void BM_Wildcard_Fnmatch(benchmark::State& state) {
  const auto& names = Names();
  size_t matches = 0;
  for (auto _ : state) {
    matches = 0;
    for (const auto& name : names) matches += fnmatch(Wildcard, name.c_str(), 0) == 0;
  }
  Report(state, matches, names.size());
}
BENCHMARK(BM_Wildcard_Fnmatch)->Unit(benchmark::kMillisecond);

void BM_Wildcard_Pcre2Jit(benchmark::State& state) {
  const auto& names = Names();
  std::string regexp;
  WStringAsRegexp(Wildcard, regexp);
  int error = 0;
  PCRE2_SIZE offset = 0;
  pcre2_code* code =
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(regexp.data()), regexp.size(), 0, &error, &offset, nullptr);
  if (!code || pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) != 0) {
    state.SkipWithError("PCRE2 JIT unavailable");
    pcre2_code_free(code);
    return;
  }
  pcre2_match_data* data = pcre2_match_data_create_from_pattern(code, nullptr);
  size_t matches = 0;
  for (auto _ : state) {
    matches = 0;
    for (const auto& name : names)
      matches += pcre2_jit_match(code, reinterpret_cast<PCRE2_SPTR>(name.data()), name.size(), 0, 0, data,
                                 nullptr) > 0;
  }
  pcre2_match_data_free(data);
  pcre2_code_free(code);
  Report(state, matches, names.size());
}
BENCHMARK(BM_Wildcard_Pcre2Jit)->Unit(benchmark::kMillisecond);

// 1 MB of Latin words with an accent here and there, and "café NNN" about
// once a kilobyte.
const std::string& Text() {
  static const std::string text = [] {
    const char* words[] = {"the", "na\xC3\xAFve", "stra\xC3\x9F" "e", "order", "gar\xC3\xA7on", "and",
                           "fen\xC3\xAAtre", "of", "co\xC3\xB6perate", "\xC3\xA0", "server", "log"};
    std::mt19937 random(11);
    std::string out;
    while (out.size() < (1u << 20) - 32) {
      if (random() % 160 == 0) out += "caf\xC3\xA9 " + std::to_string(random() % 1000) + " ";
      out += words[random() % 12];
      out += ' ';
    }
    return out;
  }();
  return text;
}

const char Found[] = "caf\xC3\xA9 (\\d+)";
const char Absent[] = "caf\xC3\xA9 x\\d+";

// Every match from left to right, the next search behind the last match.
void PlinthFindAll(benchmark::State& state, const char* pattern) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(true);
  const std::string& text = Text();
  Osl_RegularExpression expression(pattern, false);
  size_t matches = 0;
  for (auto _ : state) {
    matches = 0;
    unsigned int next = 0;
    for (;;) {
      const auto found = expression.search(text, next);
      if (found == Osl_RegularExpression::not_found()) break;
      ++matches;
      next = static_cast<unsigned int>(found.second);
    }
  }
  state.counters["matches"] = static_cast<double>(matches);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void IcuFindAll(benchmark::State& state, const char* pattern) {
  const std::string& text = Text();
  UErrorCode status = U_ZERO_ERROR;
  UParseError where;
  UText* source = utext_openUTF8(nullptr, pattern, -1, &status);
  URegularExpression* expression = uregex_openUText(source, 0, &where, &status);
  utext_close(source);
  UText* subject = utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status);
  if (U_FAILURE(status)) {
    state.SkipWithError(u_errorName(status));
    return;
  }
  size_t matches = 0;
  for (auto _ : state) {
    matches = 0;
    uregex_setUText(expression, subject, &status);
    while (uregex_findNext(expression, &status)) {
      ++matches;
      benchmark::DoNotOptimize(uregex_end64(expression, 0, &status));
    }
  }
  uregex_close(expression);
  utext_close(subject);
  state.counters["matches"] = static_cast<double>(matches);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Regexp_Plinth_FindAll(benchmark::State& state) { PlinthFindAll(state, Found); }
void BM_Regexp_Icu_FindAll(benchmark::State& state) { IcuFindAll(state, Found); }
void BM_Regexp_Plinth_Absent(benchmark::State& state) { PlinthFindAll(state, Absent); }
void BM_Regexp_Icu_Absent(benchmark::State& state) { IcuFindAll(state, Absent); }
BENCHMARK(BM_Regexp_Plinth_FindAll)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Regexp_Icu_FindAll)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Regexp_Plinth_Absent)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Regexp_Icu_Absent)->Unit(benchmark::kMillisecond);

}  // namespace
