// Diagnostics: a line that no level wants (eight call sites a round, beside
// glog's VLOG(2) at verbosity 0, spdlog's debug macro and a bare relaxed
// load), a traced scope with recording on and off, and an enabled line to
// the sequential diagnostic file from 1, 2 and 4 threads, against as many
// bare write(2) callers of a line of the same length on one O_APPEND file
// and spdlog with a file sink that flushes every line. The cost of one
// system call (gettid) says how dear the machine makes them.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "plinth/plinth.h"
#include "scratch_dir.h"

#ifdef PLINTH_BENCH_HAVE_SPDLOG
// The debug macro then tests the logger's level at run time, as a program
// does that can turn debugging on without a rebuild.
#define SPDLOG_ACTIVE_LEVEL SPDLOG_LEVEL_TRACE
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#endif

#ifdef PLINTH_BENCH_HAVE_GLOG
#include <glog/logging.h>
#endif

PLINTH_DIAG_FILE();

namespace {

using plinth_bench::ScratchDir;

const char* const kText = "the quick brown fox jumps over the lazy dog, value 12345";
const char* const kFunction = "BM_DiagEnabledLine";

// Every file benchmark starts from an empty file, so that none of them pays
// for a file that earlier runs made large. Writers append, so cutting a
// file that is open is safe.
void EmptyFile(const std::string& path) {
  if (truncate(path.c_str(), 0) != 0) close(open(path.c_str(), O_WRONLY | O_CREAT, 0644));
}

std::string DiagFileName() {
  std::string name;
  if (auto* dest = dynamic_cast<LoggerFileDest*>(Logger::GetInstance()->getDest(TDiag::Instance()->m_sDestName)))
    dest->GetFileName(name);
  return name;
}

// The engine writes to a sequential file in the scratch directory; the
// bench's own source file prints nothing until a benchmark raises it.
TDiag* Engine() {
  static TDiag* diag = [] {
    TDiag* d = TDiag::Instance();
    d->Initialize(ScratchDir(), "", "");
    return d;
  }();
  return diag;
}

// A line as the engine composes it off the main thread, for the bare write.
std::string SameLengthLine() {
  return std::string("24/11/2026\t12:45:00.123\t[3]\tdiag\t") + kFunction + "(thread 123456)\t" + kText + "\n";
}

void BM_SystemCall(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(syscall(SYS_gettid));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SystemCall);

// Eight statements at eight call sites a round, so that the loop itself is
// not what is timed; items are statements.
#define PLINTH_BENCH_EIGHT(statement) \
  statement;                          \
  statement;                          \
  statement;                          \
  statement;                          \
  statement;                          \
  statement;                          \
  statement;                          \
  statement

void BM_DiagDisabledLine(benchmark::State& state) {
  Engine();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 0);
  int n = 0;
  for (auto _ : state) {
    PLINTH_BENCH_EIGHT(PLINTH_DIAG_AT("BM_DiagDisabledLine", 6, "never built " << n));
    benchmark::DoNotOptimize(++n);
  }
  state.SetItemsProcessed(8 * state.iterations());
}
BENCHMARK(BM_DiagDisabledLine);

// The floor: one relaxed load of a level and a test, per statement.
std::atomic<unsigned> g_level{0};
void BM_RelaxedLoadDisabled(benchmark::State& state) {
  int n = 0;
  for (auto _ : state) {
    PLINTH_BENCH_EIGHT(if (g_level.load(std::memory_order_relaxed) >= 6) benchmark::DoNotOptimize(n));
    benchmark::DoNotOptimize(++n);
  }
  state.SetItemsProcessed(8 * state.iterations());
}
BENCHMARK(BM_RelaxedLoadDisabled);

#ifdef PLINTH_BENCH_HAVE_GLOG
void BM_GlogVlogDisabled(benchmark::State& state) {
  FLAGS_v = 0;
  int n = 0;
  for (auto _ : state) {
    PLINTH_BENCH_EIGHT(VLOG(2) << "never built " << n);
    benchmark::DoNotOptimize(++n);
  }
  state.SetItemsProcessed(8 * state.iterations());
}
BENCHMARK(BM_GlogVlogDisabled);
#endif

#ifdef PLINTH_BENCH_HAVE_SPDLOG
void BM_SpdlogDisabledDebug(benchmark::State& state) {
  auto logger = std::make_shared<spdlog::logger>("disabled", std::make_shared<spdlog::sinks::null_sink_mt>());
  logger->set_level(spdlog::level::info);
  int n = 0;
  for (auto _ : state) {
    PLINTH_BENCH_EIGHT(SPDLOG_LOGGER_DEBUG(logger, "never built {}", n));
    benchmark::DoNotOptimize(++n);
  }
  state.SetItemsProcessed(8 * state.iterations());
}
BENCHMARK(BM_SpdlogDisabledDebug);
#endif

// Argument: 1 records the call chain, 0 doesn't. The file's level keeps
// "Enter" and "Exit" out, so this is the scope alone.
void BM_DiagFuncScope(benchmark::State& state) {
  TDiag* diag = Engine();
  diag->EnableStacks(state.range(0) ? TDiag::eStacksRecording : TDiag::eStacksThreadObjects);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 0);
  for (auto _ : state) {
    TDiagFunc scope(__FILE__, &plinth_diag_levels_, "BM_DiagFuncScope");
    benchmark::DoNotOptimize(scope.m_pTlsObj);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DiagFuncScope)->Arg(0)->Arg(1);

void BM_DiagEnabledLine(benchmark::State& state) {
  Engine();
  if (state.thread_index() == 0) {
    DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
    EmptyFile(DiagFileName());
  }
  for (auto _ : state) PLINTH_DIAG_AT(kFunction, 3, kText);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DiagEnabledLine)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

void BM_BareWrite(benchmark::State& state) {
  static const std::string line = SameLengthLine();
  static int fd = -1;
  if (state.thread_index() == 0) {
    if (fd < 0) fd = open((ScratchDir() + "/bare.txt").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    EmptyFile(ScratchDir() + "/bare.txt");
  }
  for (auto _ : state) benchmark::DoNotOptimize(write(fd, line.data(), line.size()));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BareWrite)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

#ifdef PLINTH_BENCH_HAVE_SPDLOG
void BM_SpdlogFileFlushEveryLine(benchmark::State& state) {
  static std::shared_ptr<spdlog::logger> logger = [] {
    auto l = spdlog::basic_logger_mt("diag-bench", ScratchDir() + "/spdlog.txt", true);
    // The same fields as a diagnostic line.
    l->set_pattern("%d/%m/%Y\t%H:%M:%S.%e\t[%l]\tdiag\tBM_DiagEnabledLine(thread %t)\t%v");
    l->flush_on(spdlog::level::info);
    return l;
  }();
  if (state.thread_index() == 0) EmptyFile(ScratchDir() + "/spdlog.txt");
  for (auto _ : state) logger->info(kText);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SpdlogFileFlushEveryLine)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
#endif

}  // namespace
