// Thread objects, recorded call chains and their three printers.
#include <gmock/gmock.h>
#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "diag_fixture.h"

using namespace plinth_test;
using ::testing::HasSubstr;

PLINTH_DIAG_FILE();

namespace {

// Lets a worker wait, inside its scopes, until the test has looked.
class Gate {
public:
  void Open() {
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_bOpen = true;
    m_Cv.notify_all();
  }
  void Wait() {
    std::unique_lock<std::mutex> guard(m_Mutex);
    m_Cv.wait(guard, [this] { return m_bOpen; });
  }

private:
  std::mutex m_Mutex;
  std::condition_variable m_Cv;
  bool m_bOpen = false;
};

// Enters the named scopes one inside the other and runs body at the bottom.
void Nest(const std::vector<const char*>& names, size_t at, const std::function<void()>& body) {
  if (at == names.size()) return body();
  TDiagFunc scope(__FILE__, &plinth_diag_levels_, names[at]);
  Nest(names, at + 1, body);
}

// A worker that sits at the bottom of its scopes until released.
struct Worker {
  explicit Worker(std::vector<const char*> names) {
    m_Thread = std::thread([this, names] {
      m_nId = os_this_thread::id();
      Nest(names, 0, [this] {
        m_Inside.Open();
        m_Release.Wait();
      });
    });
    m_Inside.Wait();
  }
  ~Worker() {
    m_Release.Open();
    m_Thread.join();
  }
  unsigned long m_nId = 0;
  Gate m_Inside, m_Release;
  std::thread m_Thread;
};

std::string Body(const std::string& line) { return line.size() > 23 ? line.substr(23) : line; }

std::string PrintLine(const std::string& text, unsigned level = 4) {
  return "\t[" + std::to_string(level) + "]\tdiagstacks\tDiagStacks::Print\t" + text;
}

std::string Header() {
  return PrintLine("   *** Stacks of threads *** (current thread is " + std::to_string(os_this_thread::id()) + ")");
}

}  // namespace

TEST_F(DiagTest, WithoutRecordingPrintShowsOnlyTheHeader) {
  Init();
  EXPECT_TRUE(diag->IsStacksEnabled());
  EXPECT_FALSE(diag->GetStacks().IsRecording());
  Worker worker({"A", "B"});
  diag->PrintStacks();
  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(Body(lines[0]), Header());
}

TEST_F(DiagTest, PrintShowsEveryThreadThatIsInsideAScope) {
  Init();
  ASSERT_TRUE(diag->EnableStacks(TDiag::eStacksRecording));
  Worker deep({"Outer", "Middle", "Inner"});
  std::thread returned([] { Nest({"Gone"}, 0, [] {}); });
  returned.join();
  diag->PrintStacks();

  std::vector<std::string> bodies;
  for (const std::string& line : Lines()) bodies.push_back(Body(line));
  const std::string main = std::to_string(os_this_thread::id());
  const std::vector<std::string> mainStack = {PrintLine("   Stack of thread " + main + ", depth 1"),
                                        PrintLine("   DiagStacks::Print"), PrintLine("           ")};
  const std::vector<std::string> deepStack = {PrintLine("   Stack of thread " + std::to_string(deep.m_nId) + ", depth 3"),
                                        PrintLine("   Outer"), PrintLine("   Middle"), PrintLine("   Inner"),
                                        PrintLine("           ")};
  // Threads in id order.
  const bool mainFirst = os_this_thread::id() < deep.m_nId;
  std::vector<std::string> expected = {Header()};
  for (const auto* stack : {mainFirst ? &mainStack : &deepStack, mainFirst ? &deepStack : &mainStack})
    expected.insert(expected.end(), stack->begin(), stack->end());
  EXPECT_EQ(bodies, expected);
}

TEST_F(DiagTest, ModesOfEnableAndDisable) {
  Init();
  DiagStacks& stacks = diag->GetStacks();
  const long firstSlot = stacks.m_nSlot.load();
  EXPECT_FALSE(diag->EnableStacks(TDiag::eStacksNone));
  EXPECT_FALSE(diag->EnableStacks(static_cast<TDiag::StacksMode>(7)));
  EXPECT_EQ(stacks.m_nSlot.load(), firstSlot);
  EXPECT_FALSE(stacks.IsRecording());

  diag->DisableStacks(TDiag::eStacksNone);
  EXPECT_FALSE(diag->IsStacksEnabled());
  {
    TDiagFunc scope(__FILE__, &plinth_diag_levels_, "NoObjects");
    EXPECT_EQ(scope.m_pTlsObj, nullptr);
    EXPECT_EQ(scope.GetThreadFormatObj(), diag->m_vFormatPool[0]);
  }
  diag->PrintStacks();
  diag->PrintCurrentThreadStack();
  diag->PrintStacksSafe(1, "header\n");
  EXPECT_THAT(Lines(), ::testing::ElementsAre(HasSubstr("\t[4]\tdiagstacks\tDiagStacks::Print\t Diag Stacks system is not enabled !!!!"),
                                              HasSubstr("\t[2]\tdiagstacks\tDiagStacks::PrintStack\t Diag Stacks system is not enabled !!!!")));
  EXPECT_EQ(dir.names().size(), 1u);  // no crash-path file

  EXPECT_TRUE(diag->EnableStacks(TDiag::eStacksRecording));
  EXPECT_NE(stacks.m_nSlot.load(), firstSlot);
  EXPECT_TRUE(stacks.IsRecording());
  diag->DisableStacks(TDiag::eStacksRecording);
  EXPECT_TRUE(stacks.IsRecording());
  EXPECT_TRUE(diag->EnableStacks(TDiag::eStacksThreadObjects));
  EXPECT_FALSE(stacks.IsRecording());
  diag->DisableStacks(TDiag::eStacksThreadObjects);
  EXPECT_TRUE(stacks.IsRecording());
}

TEST_F(DiagTest, PrintStackShowsTheCallerEvenWhenDisabled) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  diag->SetDiagEnabled(false);
  Nest({"One", "Two"}, 0, [&] { diag->PrintCurrentThreadStack(); });
  diag->PrintStacks();  // a disabled engine prints no walk
  std::vector<std::string> bodies;
  for (const std::string& line : Lines()) bodies.push_back(Body(line));
  const std::string prefix = "\t[4]\tdiagstacks\tDiagStacks::PrintStack\t";
  EXPECT_THAT(bodies, ::testing::ElementsAre(prefix + "   Stack of thread " + std::to_string(os_this_thread::id()) + ", depth 2",
                                             prefix + "   One", prefix + "   Two", prefix + "           "));
}

TEST_F(DiagTest, LeavingAnEmptyStackChangesNothing) {
  Init();
  DiagStacks& stacks = diag->GetStacks();
  DiagTlsObj* own = stacks.EnterFunction("Unrecorded");  // recording is still off
  ASSERT_NE(own, nullptr);
  stacks.handleStacks(true);
  stacks.LeaveFunction(own);
  EXPECT_EQ(own->m_pStack->Depth(), 0u);
  stacks.LeaveFunction(nullptr);
  stacks.EnterFunction("Recorded");
  EXPECT_EQ(own->m_pStack->Depth(), 1u);
  EXPECT_STREQ(own->m_pStack->NameAt(0), "Recorded");
}

TEST_F(DiagTest, CrashSafeDumpAppendsToItsFile) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  Worker worker({"W1", "W2"});
  // Deeper than the first block of entries, so the walk crosses into later ones.
  std::vector<std::string> names;
  for (int i = 0; i < 130; ++i) names.push_back("F" + std::to_string(i));
  std::vector<const char*> pointers;
  for (const std::string& n : names) pointers.push_back(n.c_str());
  Nest(pointers, 0, [&] {
    diag->PrintStacksSafe(1500000000, nullptr);
    diag->PrintStacksSafe(1500000000, "second\n");
  });
  char name[1024];
  diag->BuildFileName4TypeSafe("_diagstacks", 1500000000, name, sizeof name);
  const std::string text = ReadFile(name);

  std::string mainPart = "   Stack of thread=" + std::to_string(os_this_thread::id()) + ", depth=130\n";
  for (const std::string& n : names) mainPart += "   " + n + "\n";
  mainPart += "           \n";
  const std::string workerPart = "   Stack of thread=" + std::to_string(worker.m_nId) + ", depth=2\n   W1\n   W2\n           \n";
  const std::string heading = "\n   *** Stacks of threads *** (current thread is " + std::to_string(os_this_thread::id()) + ")\n";
  const std::string walk = os_this_thread::id() < worker.m_nId ? mainPart + workerPart : workerPart + mainPart;
  EXPECT_EQ(text, heading + walk + "second\n" + heading + walk);
}

TEST_F(DiagTest, CrashSafeDumpFallsBackToStandardError) {
  diag->Initialize(dir / "missing", "", "");
  diag->EnableStacks(TDiag::eStacksRecording);
  ::testing::internal::CaptureStderr();
  Nest({"Lost"}, 0, [&] { diag->PrintStacksSafe(0, "header\n"); });
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(err, ::testing::StartsWith("header\n\n   *** Stacks of threads ***"));
  EXPECT_THAT(err, HasSubstr("depth=1\n   Lost\n"));
}

TEST_F(DiagTest, AThreadThatEndsLeavesNoObjectBehind) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  DiagStacks& stacks = diag->GetStacks();
  unsigned long id = 0;
  std::thread([&] {
    id = os_this_thread::id();
    Nest({"Short"}, 0, [&] {
      stacks.WriteLock();
      EXPECT_TRUE(stacks.m_mThreads.count(id));
      stacks.WriteUnlock();
    });
  }).join();
  stacks.WriteLock();
  EXPECT_FALSE(stacks.m_mThreads.count(id));
  stacks.WriteUnlock();

  // Its record is free for the next thread.
  std::thread([&] {
    DiagTlsObj* next = stacks.EnterFunction("Next");
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->m_pStack->m_nThreadId.load(), os_this_thread::id());
    EXPECT_EQ(next->m_pStack->Depth(), 1u);
    stacks.RemoveThisThread(nullptr);  // as a host without the exit hook would
    EXPECT_EQ(stacks.GetThreadTlsObj(), nullptr);
  }).join();
  stacks.WriteLock();
  EXPECT_EQ(stacks.m_mThreads.size(), 0u);
  stacks.WriteUnlock();
}

TEST_F(DiagTest, ThreadsMayEndWhilePrintWalks) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  std::atomic<bool> stop{false};
  std::thread spawner([&] {
    while (!stop.load()) {
      std::thread a([] { Nest({"Brief", "Briefer"}, 0, [] {}); });
      std::thread b([] { Nest({"Other"}, 0, [] {}); });
      a.join();
      b.join();
    }
  });
  for (int i = 0; i < 10; ++i) diag->PrintStacks();
  stop = true;
  spawner.join();
  // Every line is whole: a time stamp, the file, the function and text.
  for (const std::string& line : Lines())
    EXPECT_THAT(line, ::testing::MatchesRegex("[0-9/]{10}\t[0-9:.]{12}\t\\[4\\]\tdiagstacks\tDiagStacks::Print\t.*"));
}

TEST_F(DiagTest, WithoutThreadSlotsEveryLineUsesThePool) {
  std::vector<pthread_key_t> keys;
  pthread_key_t key;
  while (pthread_key_create(&key, nullptr) == 0) keys.push_back(key);
  Init();
  EXPECT_FALSE(diag->IsStacksEnabled());
  EXPECT_TRUE(TDiag::IsInitialized());
  EXPECT_TRUE(diag->EnableStacks(TDiag::eStacksRecording));  // true all the same
  EXPECT_FALSE(diag->IsStacksEnabled());
  {
    TDiagFunc scope(__FILE__, &plinth_diag_levels_, "Pooled");
    EXPECT_EQ(scope.m_pTlsObj, nullptr);
    EXPECT_EQ(diag->GetFormatObj(), diag->m_vFormatPool[0]);
  }
  diag->PrintStacks();
  for (pthread_key_t k : keys) pthread_key_delete(k);
  EXPECT_THAT(Lines(), ::testing::ElementsAre(HasSubstr(" Diag Stacks system is not enabled !!!!")));
}
