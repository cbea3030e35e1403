// The orders in which a host can end the library's services. Each loses
// lines at most; under the address sanitizer each would show a use of freed
// memory if an object went away under a thread still using it.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "common/temp_dir.h"
#include "plinth/plinth.h"

using namespace plinth_test;

PLINTH_DIAG_FILE();

namespace {
size_t LinesIn(const TempDir& dir) {
  size_t lines = 0;
  for (const std::string& name : dir.names()) {
    std::ifstream in(dir / name);
    for (std::string line; std::getline(in, line);) ++lines;
  }
  return lines;
}
}  // namespace

TEST(ShutDown, ExitLoggerWhileTheMessageReaderWritesABatch) {
  TempDir dir;
  WriteFile(dir / "msgs.txt", "QRX0001 I 0 a ring_log * - message %s\n");
  StringIntPair contexts[] = {{"a", 0}};
  DestinationData ring{};
  ring.m_nType = eCyclicFile;
  std::snprintf(ring.m_sName, sizeof ring.m_sName, "ring");
  std::snprintf(ring.m_sLogicalName, sizeof ring.m_sLogicalName, "ring_log");
  ring.m_nNumOfFiles = 4;
  ring.m_nMsgsPerFile = 20000;
  ASSERT_EQ(Init((dir / "msgs.txt").c_str(), "QRX", "m", contexts, 1, nullptr, 0, &ring, 1, 1000, 0,
                 dir.path().c_str()),
            500);
  constexpr int kPerThread = 20000;
  std::vector<std::thread> senders;
  for (int t = 0; t < 4; ++t)
    senders.emplace_back([] {
      for (int i = 0; i < kPerThread; ++i) WriteToLog(1, "x", nullptr);
    });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  exit_logger();
  for (std::thread& t : senders) t.join();
  WaitForThread();
  EXPECT_LT(LinesIn(dir), 4u * kPerThread + 1);  // msgs.txt's line included
}

TEST(ShutDown, DiagnosticLinesAfterExitLoggerAreLost) {
  TempDir dir;
  TDiag* diag = TDiag::Instance();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 7);
  diag->Initialize(dir.path(), dir.path(), "");
  std::vector<std::string> files;
  {
    PLINTH_DIAG_FUNC("Scope");  // its "Exit" comes after exit_logger
    files = dir.names();
    ASSERT_EQ(files.size(), 1u);
    exit_logger();
    PLINTH_DIAG(2, "lost");
    diag->PrintDirectly("lost too\n");
    EXPECT_EQ(diag->FlushDiagLog(), 1);
  }
  const std::string text = ReadFile(dir / files[0]);
  EXPECT_NE(text.find("\tScope\tEnter\n"), std::string::npos);
  EXPECT_EQ(text.find("lost"), std::string::npos);
  EXPECT_EQ(text.find("Exit"), std::string::npos);
}

TEST(ShutDown, LevelTestsRaceExitDiag) {
  TempDir dir;
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 7);
  TDiag::Instance()->Initialize(dir.path(), dir.path(), "");
  std::atomic<bool> stop{false};
  std::atomic<int> rounds{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      while (!stop.load()) {
        PLINTH_DIAG_FUNC("Worker");
        PLINTH_DIAG(3, "line");
        PLINTH_DIAG_AT("Worker", 3, "bare line");
        rounds.fetch_add(1);
      }
    });
  while (rounds.load() < 200) std::this_thread::yield();
  exit_diag();
  const int atExit = rounds.load();
  while (rounds.load() < atExit + 200) std::this_thread::yield();
  stop = true;
  for (std::thread& t : threads) t.join();
  EXPECT_THROW(TDiag::Instance(), const char*);
  exit_logger();
}
