// The memory buffer and the levels file: a line that goes to the buffer
// alone (the file's level keeps it out of the diagnostic file), the bare
// copy into the block, and reading a levels file of 10,000 tokens.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "plinth/plinth.h"
#include "scratch_dir.h"

PLINTH_DIAG_FILE();

namespace {

using plinth_bench::ScratchDir;

// The engine with a 1,000 KB buffer; this file's lines go to the buffer at
// level 5 and to the diagnostic file at none.
TDiag* Engine() {
  static TDiag* diag = [] {
    const std::string dir = ScratchDir();
    std::ofstream(dir + "/general_DiagLvls.ini") << "IsBuffer=1\nMemBufferSize=1000\n";
    TDiag* d = TDiag::Instance();
    d->Initialize(dir, dir, "");
    return d;
  }();
  return diag;
}

void BM_BufferOnlyLine(benchmark::State& state) {
  TDiag* diag = Engine();
  if (!diag->IsBufferEnabled()) state.SkipWithError("no buffer");
  diag->SetDiagBufferLevels(__FILE__, 0, 5);
  for (auto _ : state) PLINTH_DIAG_AT("BM_BufferOnlyLine", 5, "the quick brown fox jumps over the lazy dog, value 12345");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BufferOnlyLine)->Threads(1)->Threads(2)->UseRealTime();

// The copy alone, with a line as long as the one above.
void BM_BufferWriteMsg(benchmark::State& state) {
  DbgBuffer buffer;
  buffer.Initialize(true, 1000);
  const std::string line =
      "24/11/2026\t12:45:00.123\t[5]\tdiag_levels\tBM_BufferOnlyLine\tthe quick brown fox jumps over the lazy dog, value 12345\n";
  for (auto _ : state) buffer.WriteMsg(line.data(), static_cast<unsigned>(line.size()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * line.size()));
}
BENCHMARK(BM_BufferWriteMsg);

// 10,000 tokens: registered and unknown source files, contexts, and a few
// comments and keywords between them.
void BM_ReadLevelsFile10k(benchmark::State& state) {
  TDiag* diag = Engine();
  const std::string path = ScratchDir() + "/tokens_DiagLvls.ini";
  {
    std::ofstream out(path);
    for (int i = 0; i < 10000; ++i) {
      if (i % 100 == 0) out << "# section " << i / 100 << "\nNumOfMessages=200\n";
      if (i % 4 == 0) out << "&" << i % 32 << "=" << i % 8 << " " << (i + 1) % 8 << "\n";
      else if (i % 4 == 1) out << "diag_levels " << i % 8 << "\n";
      else out << "/src/module" << i << "/Source_" << i << ".cpp=" << i % 8 << " 7\n";
    }
  }
  for (auto _ : state) {
    std::ifstream in(path);
    diag->ReadLevelsStream(in, true, true);
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_ReadLevelsFile10k)->Unit(benchmark::kMillisecond);

}  // namespace
