// The tracer reads its environment once, when the singleton is built, so
// each test here needs a process of its own (as CTest runs them).
#include <gtest/gtest.h>

#include <regex>
#include <thread>

#include "common/temp_dir.h"
#include "common/trace_env.h"
#include "plinth/plinth.h"

using namespace plinth_test;

TEST(Tracer, EnvironmentTurnsOnTheLibraryTracePoints) {
  TempDir dir;
  WriteFile(dir / "trace.txt", "stale content\n");
  TraceEnvironment({{"PT_TRACE_ON", ""}, {"PT_TRACE_LEVEL", "4"}, {"PT_TRACE_VERBOSE", "yes"},
                    {"PT_TRACE_FILE", dir / "trace.txt"}});
  EXPECT_FALSE(Tracer::TraceEnabled);
  Tracer* tracer = Tracer::getInstance();
  EXPECT_TRUE(Tracer::TraceEnabled);
  EXPECT_EQ(Tracer::TraceLevel, 4);
  EXPECT_TRUE(tracer->is_verbose());
  EXPECT_FALSE(tracer->is_stdout());

  Logger::Destroy();
  Logger::InitParams init;
  init.InsertString("path", dir.path());
  Logger::GetInstance()->initLogger(init, nullptr);
  Logger::Destroy();

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
  EXPECT_EQ(Tracer::TraceLevel, 1);
  Logger::Destroy();
  Logger::GetInstance()->initLogger(Logger::InitParams(), nullptr);
  Logger::Destroy();
  EXPECT_EQ(ReadFile(dir / "trace.txt"), "");
}

TEST(Tracer, TextLevelReadsAsZero) {
  TraceEnvironment({{"PT_TRACE_LEVEL", "verbose"}});
  Tracer::getInstance();
  EXPECT_EQ(Tracer::TraceLevel, 0);
  EXPECT_FALSE(Tracer::TraceEnabled);
}

TEST(Tracer, StandardOutputOnlyAndFileNamesReduced) {
  TraceEnvironment({{"PT_TRACE_OUT", "1"}});
  Tracer* tracer = Tracer::getInstance();
  ASSERT_TRUE(tracer->is_stdout());
  tracer->set_verbose(true);
  testing::internal::CaptureStdout();
  tracer->trace(2, "plain", "file.cpp", 7);
  tracer->trace(3, "posix", "/a/b/posix.cpp", 8);
  tracer->trace(4, "windows", "C:\\src\\win.cpp", 9);
  std::stringstream ss;
  ss << "from a stream " << 42;
  tracer->trace(5, ss, "s.cpp", 10);
  tracer->set_verbose(false);
  tracer->trace(6, "short", "/x/y.cpp", 11);
  const auto lines = Lines(testing::internal::GetCapturedStdout());
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_NE(lines[0].find("[2] TID:"), std::string::npos);
  EXPECT_NE(lines[0].find(" (file.cpp:7): plain"), std::string::npos) << lines[0];
  EXPECT_NE(lines[1].find(" (posix.cpp:8): posix"), std::string::npos) << lines[1];
  EXPECT_NE(lines[2].find(" (win.cpp:9): windows"), std::string::npos) << lines[2];
  EXPECT_NE(lines[3].find(" (s.cpp:10): from a stream 42"), std::string::npos) << lines[3];
  EXPECT_TRUE(std::regex_search(lines[4], std::regex("\\[6\\] TID:[0-9]+: short$"))) << lines[4];
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
  constexpr int kThreads = 4, kLines = 500;
  const std::string payload(200, 'p');
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < kLines; ++i) tracer->trace(4, payload.c_str(), "t.cpp", i);
    });
  for (auto& t : threads) t.join();
  const auto lines = Lines(ReadFile(dir / "trace.txt"));
  ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
  const std::regex shape("[0-9]{4} [0-9:]{8}\\.[0-9]{3} \\[4\\] TID:[0-9]+: p{200}");
  for (const std::string& line : lines) ASSERT_TRUE(std::regex_match(line, shape)) << line;
}
