// The tracer reads its environment once, when the singleton is built, so
// each test here needs a process of its own (as CTest runs them).
#include <gtest/gtest.h>

#include <regex>
#include <thread>

#include "common/temp_dir.h"
#include "common/trace_env.h"
#include "plinth/plinth.h"

using namespace plinth_test;

namespace {
// Builds and ends a Logger: its initLogger has level-4 trace points.
void RunLoggerInit(const std::string& path) {
  Logger::Destroy();
  Logger::InitParams init;
  init.InsertString("path", path);
  Logger::GetInstance()->initLogger(init, nullptr);
  Logger::Destroy();
}
}  // namespace

TEST(Tracer, EnvironmentTurnsOnTheLibraryTracePoints) {
  TempDir dir;
  WriteFile(dir / "trace.txt", "stale content\n");
  TraceEnvironment({{"PT_TRACE_ON", ""}, {"PT_TRACE_LEVEL", "4"}, {"PT_TRACE_VERBOSE", "yes"},
                    {"PT_TRACE_FILE", dir / "trace.txt"}});
  EXPECT_FALSE(Tracer::TraceEnabled);
  Tracer::getInstance();
  EXPECT_TRUE(Tracer::TraceEnabled);
  RunLoggerInit(dir.path());
  const auto lines = Lines(ReadFile(dir / "trace.txt"));
  ASSERT_EQ(lines.size(), 2u) << ReadFile(dir / "trace.txt");
  const std::regex first("[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} \\[4\\] TID:" +
                         std::to_string(os_this_thread::id()) + " \\(logger\\.cpp:[0-9]+\\): Logger::initLogger");
  EXPECT_TRUE(std::regex_match(lines[0], first)) << lines[0];
  EXPECT_NE(lines[1].find("): m_bIsInitialized=0"), std::string::npos) << lines[1];
}

TEST(Tracer, LevelOneKeepsLevelFourPointsSilent) {
  TempDir dir;
  TraceEnvironment({{"PT_TRACE_ON", "1"}, {"PT_TRACE_FILE", dir / "trace.txt"}});
  Tracer::getInstance();
  RunLoggerInit("");
  EXPECT_EQ(ReadFile(dir / "trace.txt"), "");
}

TEST(Tracer, StandardOutputOnlyAndFileNamesReduced) {
  TraceEnvironment({{"PT_TRACE_OUT", "1"}});
  Tracer* tracer = Tracer::getInstance();
  tracer->set_verbose(true);
  testing::internal::CaptureStdout();
  tracer->trace(3, "posix", "/a/b/posix.cpp", 8);
  std::stringstream ss;
  ss << "windows " << 42;
  tracer->trace(4, ss, "C:\\src\\win.cpp", 9);
  tracer->set_verbose(false);
  tracer->trace(6, "short", "/x/y.cpp", 11);
  const auto lines = Lines(testing::internal::GetCapturedStdout());
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_TRUE(std::regex_search(lines[0], std::regex("\\[3\\] TID:[0-9]+ \\(posix.cpp:8\\): posix$"))) << lines[0];
  EXPECT_NE(lines[1].find(" (win.cpp:9): windows 42"), std::string::npos) << lines[1];
  EXPECT_TRUE(std::regex_search(lines[2], std::regex("\\[6\\] TID:[0-9]+: short$"))) << lines[2];
}

TEST(Tracer, NoOutputAtAllWritesNothing) {
  TraceEnvironment({{"PT_TRACE_FILE", "/nonexistent-dir/trace.txt"}});
  testing::internal::CaptureStdout();
  Tracer::getInstance()->trace(4, "dropped", __FILE__, __LINE__);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Tracer, LinesOfManyThreadsNeverMix) {
  TempDir dir;
  TraceEnvironment({{"PT_TRACE_FILE", dir / "trace.txt"}});
  Tracer* tracer = Tracer::getInstance();
  const std::string payload(200, 'p');
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) tracer->trace(4, payload.c_str(), "t.cpp", i);
    });
  for (auto& t : threads) t.join();
  const auto lines = Lines(ReadFile(dir / "trace.txt"));
  ASSERT_EQ(lines.size(), 2000u);
  const std::regex shape("[0-9]{4} [0-9:]{8}\\.[0-9]{3} \\[4\\] TID:[0-9]+: p{200}");
  for (const std::string& line : lines) ASSERT_TRUE(std::regex_match(line, shape)) << line;
}
