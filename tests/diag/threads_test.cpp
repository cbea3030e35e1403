// Many threads printing at once: every line arrives, whole.
#include <cstdio>
#include <thread>

#include "diag_fixture.h"

using namespace plinth_test;

PLINTH_DIAG_FILE();

namespace {
constexpr int kThreads = 8;

// Runs the workers and checks that each line is whole and each worker's
// lines all arrived, in the order it printed them.
void RunAndCount(const std::string& file, int lines) {
  std::vector<std::string> ids(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      ids[t] = Tid();
      PLINTH_DIAG_FUNC("Worker");
      for (int i = 0; i < lines; ++i) PLINTH_DIAG(3, "line " << i << " of worker " << t);
    });
  for (std::thread& t : threads) t.join();

  std::vector<int> next(kThreads, 0);
  for (const std::string& line : SplitLines(ReadFile(file))) {
    const std::string body = Body(line);
    const size_t text = body.rfind('\t');
    ASSERT_NE(text, std::string::npos) << line;
    int index = -1;
    ASSERT_EQ(line.find('\t'), 10u) << line;
    ASSERT_EQ(std::sscanf(body.c_str() + text, "\tline %*d of worker %d", &index), 1) << line;
    ASSERT_TRUE(index >= 0 && index < kThreads) << line;
    ASSERT_EQ(body, "\t[3]\tthreads_test\tWorker(thread " + ids[index] + ")\tline " + std::to_string(next[index]) +
                        " of worker " + std::to_string(index));
    ++next[index];
  }
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], lines) << "worker " << t;
}
}  // namespace

TEST_F(DiagTest, EightThreadsOfTenThousandLinesEach) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
  RunAndCount(DiagFile(), 10000);
}

TEST_F(DiagTest, ThreadsSharingThePoolKeepTheirLinesApart) {
  Init();
  diag->DisableStacks(TDiag::eStacksNone);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
  RunAndCount(DiagFile(), 2000);
}
