// Init of the text mode with a locale.ini of 200 lines (15 encodings, 10
// languages, 5 Windows encodings), beside its two halves measured alone:
// loading the same file into an Ini, and Init over a directory without the
// file (the tables filled from the locale library only).
#include <benchmark/benchmark.h>

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "plinth/plinth.h"
#include "scratch_dir.h"

namespace {

using plinth_bench::ScratchDir;

const std::string& LocaleDir() {
  static const std::string dir = [] {
    const std::string path = ScratchDir() + "/with_ini";
    mkdir(path.c_str(), 0700);
    std::ofstream out(path + "/locale.ini", std::ios::trunc);
    const char* encodings[] = {"MS1250",     "MS1251",     "MS1252",     "MS1253",     "MS1254",
                               "MS1255",     "MS1256",     "MS1257",     "MS1258",     "UTF-8",
                               "ISO-8859-1", "ISO-8859-2", "ISO-8859-5", "Shift_JIS",  "EUC-KR"};
    int lines = 0;
    for (int i = 0; i < 15; ++i, lines += 8)
      out << "[encoding_" << i << "]\nname=" << encodings[i] << "\ndescription=Encoding " << i
          << " ; as shipped\nlegacy=true\nunicode=true\nibm=false\ndbcs=" << (i > 12 ? "true" : "false")
          << "\nwin_encoding_name=Win" << i % 5 << "\n";
    const char* languages[] = {"de_DE", "en_US", "fr_FR", "ja_JP", "ko_KR",
                               "ru_RU", "el_GR", "tr_TR", "he_IL", "pl_PL"};
    for (int i = 0; i < 10; ++i, lines += 5)
      out << "[lang_" << i << "]\nname=" << languages[i] << "\nlegacy=true\nunicode=true\nwin_encoding_name=Win"
          << i % 5 << "\n";
    for (int i = 0; i < 5; ++i, lines += 6)
      out << "[win_encoding_" << i << "]\nname=Win" << i << "\nfix_font=Courier New,Lucida Console\n"
          << "var_font=Arial,Tahoma,Verdana\nfix_file=cour.ttf,lucon.ttf\nvar_file=arial.ttf,tahoma.ttf\n";
    if (lines != 200) std::abort();
    return path;
  }();
  return dir;
}

const std::string& BareDir() {
  static const std::string dir = [] {
    const std::string path = ScratchDir() + "/bare";
    mkdir(path.c_str(), 0700);
    return path;
  }();
  return dir;
}

void RunInit(benchmark::State& state, const std::string& dir) {
  unsetenv("ORB_DEFAULT_ENCODING");
  unsetenv("ORB_PLINTH_TRACE");
  for (auto _ : state) {
    Osl_UnicodeConfiguration::Instance()->Destroy();
    Osl_UnicodeConfiguration* config = Osl_UnicodeConfiguration::Instance();
    config->Init({dir, "cjk", "UTF-8"});
    if (!config->IsUNICODESupportedEncoding("MS1252") && dir == LocaleDir()) state.SkipWithError("file not read");
  }
}

void BM_InitWithLocaleIni(benchmark::State& state) { RunInit(state, LocaleDir()); }
BENCHMARK(BM_InitWithLocaleIni)->Unit(benchmark::kMicrosecond);

void BM_InitWithoutLocaleIni(benchmark::State& state) { RunInit(state, BareDir()); }
BENCHMARK(BM_InitWithoutLocaleIni)->Unit(benchmark::kMicrosecond);

void BM_IniLoadOfLocaleIni(benchmark::State& state) {
  const std::string file = LocaleDir() + "/locale.ini";
  for (auto _ : state) {
    Ini ini(file, true);
    benchmark::DoNotOptimize(ini);
  }
}
BENCHMARK(BM_IniLoadOfLocaleIni)->Unit(benchmark::kMicrosecond);

}  // namespace
