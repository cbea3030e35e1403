// The message logger: a suppressed message through the plain WriteToLog, the
// caller's cost of a message that passes (median and 99th percentile) next
// to spdlog's asynchronous logger writing a like line in the same run, and
// messages per second from two threads until the queue is drained.
#include <benchmark/benchmark.h>

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
constexpr int kCallerRuns = 200000;  // well inside kQueue, even repeated

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

// Per-call latencies into median and 99th percentile counters.
void ReportPercentiles(benchmark::State& state, std::vector<double>& ns) {
  if (ns.empty()) return;
  std::sort(ns.begin(), ns.end());
  state.counters["p50_ns"] = ns[ns.size() / 2];
  state.counters["p99_ns"] = ns[std::min(ns.size() - 1, ns.size() * 99 / 100)];
}

void BM_SuppressedWriteToLog(benchmark::State& state) {
  InitOnce();
  for (auto _ : state) benchmark::DoNotOptimize(WriteToLog(1202, "a.txt", nullptr));
}
BENCHMARK(BM_SuppressedWriteToLog);

void BM_PassingWriteToLog(benchmark::State& state) {
  InitOnce();
  std::vector<double> ns;
  ns.reserve(1 << 20);
  for (auto _ : state) {
    const auto start = Clock::now();
    WriteToLog(1201, "a.txt", "reading", "the scheduler", nullptr);
    const auto end = Clock::now();
    if (ns.size() < ns.capacity()) ns.push_back(std::chrono::duration<double, std::nano>(end - start).count());
  }
  ReportPercentiles(state, ns);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PassingWriteToLog)->Iterations(kCallerRuns);

#ifdef PLINTH_BENCH_HAVE_SPDLOG
void BM_SpdlogAsyncInfo(benchmark::State& state) {
  static auto logger = [] {
    spdlog::init_thread_pool(kQueue, 1);
    auto l = spdlog::basic_logger_mt<spdlog::async_factory>("async", ScratchDir() + "/spdlog-async.txt", true);
    l->set_pattern("QRX files                %d/%m/%Y %H:%M:%S.%e  ORB1201E %v");
    return l;
  }();
  std::vector<double> ns;
  ns.reserve(1 << 20);
  for (auto _ : state) {
    const auto start = Clock::now();
    logger->info("Cannot open {} for {} by {}", "a.txt", "reading", "the scheduler");
    const auto end = Clock::now();
    if (ns.size() < ns.capacity()) ns.push_back(std::chrono::duration<double, std::nano>(end - start).count());
  }
  ReportPercentiles(state, ns);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SpdlogAsyncInfo)->Iterations(kCallerRuns);
#endif

// Until the reader has taken the last line off the queue; the reader stays,
// so the benchmark can repeat.
void BM_DrainFromTwoThreads(benchmark::State& state) {
  InitOnce();
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
