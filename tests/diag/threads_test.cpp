// Many threads printing at once: every line arrives, whole.
#include <map>
#include <thread>

#include "diag_fixture.h"

using namespace plinth_test;

PLINTH_DIAG_FILE();

namespace {

constexpr int kThreads = 8;
constexpr int kLinesPerThread = 10000;

void Worker(int index, int lines) {
  PLINTH_DIAG_FUNC("Worker");
  for (int i = 0; i < lines; ++i) PLINTH_DIAG(3, "line " << i << " of worker " << index);
}

std::vector<std::string> Fields(const std::string& line) {
  std::vector<std::string> fields;
  size_t start = 0;
  for (size_t end; (end = line.find('\t', start)) != std::string::npos; start = end + 1)
    fields.push_back(line.substr(start, end - start));
  fields.push_back(line.substr(start));
  return fields;
}

// Runs the workers and checks that each line is whole and each worker's
// lines all arrived, in the order it printed them.
void RunAndCount(const std::string& file, int lines) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(Worker, t, lines);
  for (std::thread& t : threads) t.join();

  std::map<int, int> next;  // worker -> next expected line
  size_t total = 0;
  for (const std::string& line : SplitLines(ReadFile(file))) {
    const std::vector<std::string> f = Fields(line);
    ASSERT_EQ(f.size(), 6u) << line;
    ASSERT_EQ(f[2], "[3]") << line;
    ASSERT_EQ(f[3], "threads_test") << line;
    ASSERT_EQ(f[4].rfind("Worker(thread ", 0), 0u) << line;
    int index = -1, number = -1;
    ASSERT_EQ(std::sscanf(f[5].c_str(), "line %d of worker %d", &number, &index), 2) << line;
    ASSERT_EQ(number, next[index]) << line;
    ++next[index];
    ++total;
  }
  EXPECT_EQ(total, static_cast<size_t>(kThreads) * lines);
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], lines) << "worker " << t;
}

}  // namespace

TEST_F(DiagTest, EightThreadsOfTenThousandLinesEach) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
  RunAndCount(DiagFile(), kLinesPerThread);
}

TEST_F(DiagTest, ThreadsSharingThePoolKeepTheirLinesApart) {
  Init();
  diag->DisableStacks(TDiag::eStacksNone);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
  RunAndCount(DiagFile(), kLinesPerThread / 5);
}
