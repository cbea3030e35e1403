// Logging framework: a line through Logger::writeDest to a sequential and to
// a cyclic destination, against a bare write(2) of the same line and
// spdlog's basic file sink flushing every line; the cost of a rotation; and
// a trace point that is switched off.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "plinth/plinth.h"
#include "scratch_dir.h"

#ifdef PLINTH_BENCH_HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

using plinth_bench::ScratchDir;

// About 110 bytes, as a diagnostic line is.
const std::string kLine =
    "24/11/2026\t12:45:00.123\t[4]\tlogger_bench.cpp\tWriteLine(thread 4711)\tthe quick brown fox jumps\n";

// Clients keep their destination names as strings, built once.
const std::string kSequential = "sequential_files";
const std::string kCyclic = "cyclic_files";
const std::string kRotation = "rotation";

Logger* InitLogger() {
  Logger* logger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", ScratchDir());
  logger->initLogger(init, nullptr);
  return logger;
}

void BM_BareWrite(benchmark::State& state) {
  const std::string path = ScratchDir() + "/bare.txt";
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_TRUNC, 0644);
  for (auto _ : state) benchmark::DoNotOptimize(write(fd, kLine.data(), kLine.size()));
  close(fd);
  unlink(path.c_str());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BareWrite);

// The floor under a ring: bare write(2) calls plus, every 200 lines, the
// system calls a rotation cannot avoid (close, unlink of the oldest of 10
// files, creation of the next). Compare BM_CyclicDest with this, not only
// with BM_BareWrite: creating a file costs more than the 200 writes it holds.
void BM_BareWriteRing(benchmark::State& state) {
  const std::string base = ScratchDir() + "/barering.";
  long file = 0;
  int fd = open((base + "0").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  int lines = 0;
  for (auto _ : state) {
    if (lines == 200) {
      close(fd);
      if (file >= 9) unlink((base + std::to_string(file - 9)).c_str());
      fd = open((base + std::to_string(++file)).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      lines = 0;
    }
    benchmark::DoNotOptimize(write(fd, kLine.data(), kLine.size()));
    ++lines;
  }
  close(fd);
  for (long f = file > 9 ? file - 9 : 0; f <= file; ++f) unlink((base + std::to_string(f)).c_str());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BareWriteRing);

// The lock the Logger holds around each call on a destination, taken and
// left with nobody else wanting it: its share of BM_SequentialDest's line.
void BM_DestCallLock(benchmark::State& state) {
  dst_aux::CallLock lock;
  for (auto _ : state) {
    lock.m_Mutex.lock();
    benchmark::ClobberMemory();
    lock.m_Mutex.unlock();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DestCallLock);

void BM_SequentialDest(benchmark::State& state) {
  Logger* logger = InitLogger();
  LoggerParams p;
  p.InsertString("name", "seq");
  p.InsertString("logical_name", "sequential_files");
  p.InsertInt("mode", 0x84);
  logger->createDest(p);
  for (auto _ : state) benchmark::DoNotOptimize(logger->writeDest(kSequential, kLine, 0, 0));
  logger->removeDest("sequential_files");
  unlink((ScratchDir() + "/seq.txt").c_str());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SequentialDest);

void BM_CyclicDest(benchmark::State& state) {
  Logger* logger = InitLogger();
  LoggerParams p;
  p.InsertString("name", "ring");
  p.InsertString("logical_name", "cyclic_files");
  p.InsertInt("type", eCyclicFile);
  p.InsertInt("mode", 0x88);
  p.InsertInt("file_num", 10);
  p.InsertInt("message_num", 200);
  logger->createDest(p);
  logger->openDest("cyclic_files");
  for (auto _ : state) benchmark::DoNotOptimize(logger->writeDest(kCyclic, kLine, 0, 0));
  logger->removeDest("cyclic_files");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CyclicDest);

// message_num 0: every write rotates, so a ring of 10 files removes one,
// opens one and writes one line per iteration.
void BM_Rotation(benchmark::State& state) {
  Logger* logger = InitLogger();
  LoggerParams p;
  p.InsertString("name", "rot");
  p.InsertString("logical_name", "rotation");
  p.InsertInt("type", eCyclicFile);
  p.InsertInt("mode", 0x88);
  p.InsertInt("file_num", 10);
  p.InsertInt("message_num", 0);
  logger->createDest(p);
  logger->openDest("rotation");
  for (auto _ : state) benchmark::DoNotOptimize(logger->writeDest(kRotation, kLine, 0, 0));
  logger->removeDest("rotation");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Rotation);

#ifdef PLINTH_BENCH_HAVE_SPDLOG
void BM_SpdlogBasicSinkFlushEveryLine(benchmark::State& state) {
  auto logger = spdlog::basic_logger_mt("bench", ScratchDir() + "/spdlog.txt", true);
  logger->set_pattern("%v");
  logger->flush_on(spdlog::level::info);
  const std::string text = kLine.substr(0, kLine.size() - 1);  // spdlog adds the line end
  for (auto _ : state) logger->info(text);
  spdlog::drop("bench");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SpdlogBasicSinkFlushEveryLine);
#endif

void BM_TracePointDisabled(benchmark::State& state) {
  Tracer::TraceEnabled = false;
  int n = 0;
  for (auto _ : state) {
    PLINTH_TRACE(4, "never built " << n);
    benchmark::DoNotOptimize(++n);
  }
}
BENCHMARK(BM_TracePointDisabled);

}  // namespace
