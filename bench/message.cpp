// Numbered messages: loading a catalogue of 10,000 records, and formatting one
// message with the pattern that catalogue entries carry, three arguments and
// two context pairs.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "plinth/plinth.h"
#include "scratch_dir.h"

namespace {

using plinth_bench::ScratchDir;

// Records like a product's: quoted titles and sources, two parameters.
const std::string& MessageFile() {
  static const std::string name = [] {
    std::ofstream out(ScratchDir() + "/messages.txt", std::ios::trunc);
    out << "# generated for the benchmark\n@@ORDER 0 1 2 3 4 5 8 6 7\n";
    for (int i = 1; i <= 10000; ++i)
      out << "FIL " << i << " E FILE_MSG_" << i << " \"Open failed\" \"File manager\" 400 200 "
          << "[Cannot open {1} for {2}{endl}~Ask the administrator about {%s}]\n";
    return std::string("messages.txt");
  }();
  return name;
}

void BM_LoadTenThousandRecords(benchmark::State& state) {
  const std::string& file = MessageFile();
  std::string error;
  for (auto _ : state) {
    // Freeing the previous catalogue is not part of a load.
    state.PauseTiming();
    exit_messagemgr();
    state.ResumeTiming();
    if (!InitOCMessageMgr(ScratchDir(), file, OCMessageMgr::DefaultPattern, error))
      state.SkipWithError(error.c_str());
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_LoadTenThousandRecords)->Unit(benchmark::kMillisecond);

void BM_DecorateThreeArgsTwoPairs(benchmark::State& state) {
  OCMessage message(1001, "FIL", "E", "Open failed", "File manager",
                    "Cannot open {1} for {2}{endl}~Ask the administrator about {%s}\n", "FILE_OPEN", nullptr,
                    OCMessageMgr::EntryPattern, "%s=%s ", "{%s}");
  message.m_vArgs = {"/var/data/input.dat", "reading", "quota"};
  StreamArray context(true);
  context.addPair("host", "db01");
  context.addPair("pid", "4711");
  message.setContext(&context);
  for (auto _ : state) benchmark::DoNotOptimize(message.decorate());
}
BENCHMARK(BM_DecorateThreeArgsTwoPairs);

void BM_LookUpAndDecorate(benchmark::State& state) {
  std::string error;
  exit_messagemgr();
  InitOCMessageMgr(ScratchDir(), MessageFile(), OCMessageMgr::DefaultPattern, error);
  StreamArray context(true);
  context.addPair("host", "db01");
  context.addPair("pid", "4711");
  int id = 0;
  for (auto _ : state) {
    OCMessage message(id++ % 10000 + 1, &context);
    message.m_vArgs = {"/var/data/input.dat", "reading", "quota"};
    benchmark::DoNotOptimize(message.decorate());
  }
}
BENCHMARK(BM_LookUpAndDecorate);

}  // namespace
