// The message logger: a suppressed message through the plain WriteToLog, the
// caller's cost of a message that passes from 1, 2 and 4 threads (mean,
// median and 99th percentile per call) next to spdlog's asynchronous logger
// writing a like line in the same run, and messages per second from two
// threads until the queue is drained. The cost of one system call (gettid)
// says how dear the machine makes a wake-up.
#include <benchmark/benchmark.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "plinth/plinth.h"
#include "scratch_dir.h"

#ifdef PLINTH_BENCH_HAVE_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

using plinth_bench::ScratchDir;

using Clock = std::chrono::steady_clock;
constexpr int kQueue = 1 << 20;
constexpr int kCallerRuns = 100000;  // per thread: 4 threads stay well inside kQueue

// One Init for the whole program: a ring of 10 files, 200 lines each, and a
// blocking queue big enough that the caller-side runs never wait for room:
// they time formatting and queueing, not the disk. spdlog gets the same.
void InitOnce() {
  static bool done = [] {
    const std::string file = ScratchDir() + "/messages.txt";
    FILE* f = std::fopen(file.c_str(), "w");
    std::fputs("QRX1201 E 2 general,files ring * - Cannot open %s for %s by %s\n"
               "QRX1202 I 5 files ring * - Opened %s\n",
               f);
    std::fclose(f);
    StringIntPair contexts[] = {{"files", 3}};
    DestinationData dest;
    dest.m_nType = eCyclicFile;
    std::snprintf(dest.m_sName, sizeof dest.m_sName, "msgbench");
    std::snprintf(dest.m_sLogicalName, sizeof dest.m_sLogicalName, "ring");
    dest.m_nNumOfFiles = 10;
    dest.m_nMsgsPerFile = 200;
    const int rc = OCMsgLogger::GetInstance().Init(file.c_str(), "QRX", "files", contexts, 1, nullptr, 0, &dest, 1,
                                                   kQueue, false, ScratchDir().c_str());
    if (rc != 100 && rc != 500) std::abort();
    return true;
  }();
  (void)done;
}

// Per-call latencies of one thread into mean, median and 99th percentile;
// with several threads the counters are the threads' average.
void ReportPercentiles(benchmark::State& state, std::vector<double>& ns) {
  if (ns.empty()) return;
  std::sort(ns.begin(), ns.end());
  double sum = 0;
  for (double v : ns) sum += v;
  const auto avg = benchmark::Counter::kAvgThreads;
  state.counters["mean_ns"] = benchmark::Counter(sum / static_cast<double>(ns.size()), avg);
  state.counters["p50_ns"] = benchmark::Counter(ns[ns.size() / 2], avg);
  state.counters["p99_ns"] = benchmark::Counter(ns[std::min(ns.size() - 1, ns.size() * 99 / 100)], avg);
}

// Each run starts from an empty queue, so none waits for room that an
// earlier run used up.
void WaitUntilDrained() {
  while (OCMsgLogger::GetInstance().m_pQueue->Size() != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void BM_SystemCall(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(syscall(SYS_gettid));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SystemCall);

void BM_SuppressedWriteToLog(benchmark::State& state) {
  InitOnce();
  for (auto _ : state) benchmark::DoNotOptimize(WriteToLog(1202, "a.txt", nullptr));
}
BENCHMARK(BM_SuppressedWriteToLog);

void BM_PassingWriteToLog(benchmark::State& state) {
  InitOnce();
  if (state.thread_index() == 0) WaitUntilDrained();
  std::vector<double> ns;
  ns.reserve(kCallerRuns);
  for (auto _ : state) {
    const auto start = Clock::now();
    WriteToLog(1201, "a.txt", "reading", "the scheduler", nullptr);
    const auto end = Clock::now();
    if (ns.size() < ns.capacity()) ns.push_back(std::chrono::duration<double, std::nano>(end - start).count());
  }
  ReportPercentiles(state, ns);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PassingWriteToLog)->Iterations(kCallerRuns)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

#ifdef PLINTH_BENCH_HAVE_SPDLOG
void BM_SpdlogAsyncInfo(benchmark::State& state) {
  static auto logger = [] {
    spdlog::init_thread_pool(kQueue, 1);
    auto l = spdlog::basic_logger_mt<spdlog::async_factory>("async", ScratchDir() + "/spdlog-async.txt", true);
    l->set_pattern("QRX files                %d/%m/%Y %H:%M:%S.%e  ORB1201E %v");
    return l;
  }();
  if (state.thread_index() == 0)
    while (spdlog::thread_pool()->queue_size() != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::vector<double> ns;
  ns.reserve(kCallerRuns);
  for (auto _ : state) {
    const auto start = Clock::now();
    logger->info("Cannot open {} for {} by {}", "a.txt", "reading", "the scheduler");
    const auto end = Clock::now();
    if (ns.size() < ns.capacity()) ns.push_back(std::chrono::duration<double, std::nano>(end - start).count());
  }
  ReportPercentiles(state, ns);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SpdlogAsyncInfo)->Iterations(kCallerRuns)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
#endif

// Until the reader has taken the last line off the queue; the reader stays,
// so the benchmark can repeat.
void BM_DrainFromTwoThreads(benchmark::State& state) {
  InitOnce();
  WaitUntilDrained();
  constexpr int kEach = 200000;
  for (auto _ : state) {
    const auto start = Clock::now();
    std::thread a([] { for (int i = 0; i < kEach; ++i) WriteToLog(1201, "a.txt", "reading", "thread a", nullptr); });
    std::thread b([] { for (int i = 0; i < kEach; ++i) WriteToLog(1201, "b.txt", "writing", "thread b", nullptr); });
    a.join();
    b.join();
    while (OCMsgLogger::GetInstance().m_pQueue->Size() != 0) std::this_thread::yield();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  state.SetItemsProcessed(2 * kEach);
}
BENCHMARK(BM_DrainFromTwoThreads)->Iterations(1)->UseManualTime();

}  // namespace
