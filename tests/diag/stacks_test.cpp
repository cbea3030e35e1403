// Thread objects, recorded call chains and their three printers.
#include <gmock/gmock.h>
#include <pthread.h>

#include <atomic>
#include <functional>
#include <latch>
#include <thread>

#include "diag_fixture.h"

using namespace plinth_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

PLINTH_DIAG_FILE();

namespace {

// Enters the named scopes one inside the other and runs body at the bottom.
void Nest(const std::vector<const char*>& names, const std::function<void()>& body = [] {}, size_t at = 0) {
  if (at == names.size()) return body();
  TDiagFunc scope(__FILE__, &plinth_diag_levels_, names[at]);
  Nest(names, body, at + 1);
}

// A worker that sits at the bottom of its scopes until it is destroyed.
struct Worker {
  explicit Worker(std::vector<const char*> names)
      : m_Thread([this, names] {
          m_nId = os_this_thread::id();
          Nest(names, [this] {
            m_Inside.count_down();
            m_Release.wait();
          });
        }) {
    m_Inside.wait();
  }
  ~Worker() {
    m_Release.count_down();
    m_Thread.join();
  }
  unsigned long m_nId = 0;
  std::latch m_Inside{1}, m_Release{1};
  std::thread m_Thread;
};

std::vector<std::string> Stack(const std::string& prefix, const std::string& head, std::vector<std::string> names) {
  std::vector<std::string> lines{prefix + head};
  for (const std::string& name : names) lines.push_back(prefix + "   " + name);
  lines.push_back(prefix + "           ");
  return lines;
}

// The stacks of the main thread and a worker, in thread id order.
std::vector<std::string> InIdOrder(unsigned long worker, std::vector<std::string> mainPart, std::vector<std::string> workerPart) {
  if (worker < os_this_thread::id()) std::swap(mainPart, workerPart);
  mainPart.insert(mainPart.end(), workerPart.begin(), workerPart.end());
  return mainPart;
}

const std::string kPrint = "\t[4]\tdiagstacks\tDiagStacks::Print\t";
const std::string kNotEnabled = " Diag Stacks system is not enabled !!!!";

}  // namespace

TEST_F(DiagTest, BothPrintersShowEveryThreadThatIsInsideAScope) {
  Init();
  const std::string heading = "   *** Stacks of threads *** (current thread is " + Tid() + ")";
  {
    Worker idle({"A", "B"});
    diag->PrintStacks();  // not recording: thread objects only, no walk
  }
  ASSERT_TRUE(diag->EnableStacks(TDiag::eStacksRecording));
  Worker deep({"Outer", "Middle", "Inner"});
  std::thread([] { Nest({"Gone"}); }).join();
  // Deeper than the first block of entries, so the walk crosses into later ones.
  std::vector<std::string> names;
  for (int i = 0; i < 130; ++i) names.push_back("F" + std::to_string(i));
  std::vector<const char*> pointers;
  for (const std::string& n : names) pointers.push_back(n.c_str());
  Nest(pointers, [&] {
    diag->PrintStacks();
    diag->PrintStacksSafe(1500000000, nullptr);
    diag->PrintStacksSafe(1500000000, "second\n");
  });

  const std::string id = std::to_string(deep.m_nId);
  std::string safe;
  for (const std::string& line : InIdOrder(deep.m_nId, Stack("", "   Stack of thread=" + Tid() + ", depth=130", names),
                                           Stack("", "   Stack of thread=" + id + ", depth=3", {"Outer", "Middle", "Inner"})))
    safe += line + "\n";
  char name[1024];
  diag->BuildFileName4TypeSafe("_diagstacks", 1500000000, name, sizeof name);
  EXPECT_EQ(ReadFile(name), "\n" + heading + "\n" + safe + "second\n\n" + heading + "\n" + safe);

  names.push_back("DiagStacks::Print");
  std::vector<std::string> expected{kPrint + heading, kPrint + heading};
  for (const std::string& line : InIdOrder(deep.m_nId, Stack(kPrint, "   Stack of thread " + Tid() + ", depth 131", names),
                                           Stack(kPrint, "   Stack of thread " + id + ", depth 3", {"Outer", "Middle", "Inner"})))
    expected.push_back(line);
  EXPECT_EQ(Bodies(), expected);
}

TEST_F(DiagTest, ModesOfEnableAndDisable) {
  Init();
  DiagStacks& stacks = diag->GetStacks();
  EXPECT_FALSE(diag->EnableStacks(TDiag::eStacksNone));
  EXPECT_FALSE(diag->EnableStacks(static_cast<TDiag::StacksMode>(7)));
  EXPECT_FALSE(stacks.IsRecording());

  diag->DisableStacks(TDiag::eStacksNone);
  EXPECT_FALSE(diag->IsStacksEnabled());
  diag->PrintStacks();
  diag->PrintCurrentThreadStack();
  diag->PrintStacksSafe(1, "header\n");
  EXPECT_THAT(Bodies(), ElementsAre(kPrint + kNotEnabled, "\t[2]\tdiagstacks\tDiagStacks::PrintStack\t" + kNotEnabled));
  EXPECT_EQ(dir.names().size(), 1u);  // no crash-path file

  EXPECT_TRUE(diag->EnableStacks(TDiag::eStacksRecording));
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
  Nest({"One", "Two"}, [&] { diag->PrintCurrentThreadStack(); });
  diag->PrintStacks();  // a disabled engine prints no walk
  EXPECT_EQ(Bodies(), Stack("\t[4]\tdiagstacks\tDiagStacks::PrintStack\t", "   Stack of thread " + Tid() + ", depth 2",
                            {"One", "Two"}));
}

TEST_F(DiagTest, CrashSafeDumpFallsBackToStandardError) {
  diag->Initialize(dir / "missing", "", "");
  diag->EnableStacks(TDiag::eStacksRecording);
  ::testing::internal::CaptureStderr();
  Nest({"Lost"}, [&] { diag->PrintStacksSafe(0, "header\n"); });
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(err, ::testing::StartsWith("header\n\n   *** Stacks of threads ***"));
  EXPECT_THAT(err, HasSubstr("depth=1\n   Lost\n"));
}

TEST_F(DiagTest, AThreadThatEndsLeavesNoObjectBehind) {
  Init();
  DiagStacks& stacks = diag->GetStacks();
  // Leaving an empty stack changes nothing.
  DiagTlsObj* own = stacks.EnterFunction("Unrecorded");  // recording is still off
  ASSERT_NE(own, nullptr);
  stacks.handleStacks(true);
  stacks.LeaveFunction(own);
  stacks.LeaveFunction(nullptr);
  stacks.EnterFunction("Recorded");
  ASSERT_EQ(own->m_pStack->Depth(), 1u);
  EXPECT_STREQ(own->m_pStack->NameAt(0), "Recorded");
  stacks.RemoveThisThread(nullptr);  // as a host without the exit hook would
  auto threads = [&] {
    stacks.WriteLock();
    const size_t count = stacks.m_mThreads.size();
    stacks.WriteUnlock();
    return count;
  };
  std::thread([&] { Nest({"Short"}, [&] { EXPECT_EQ(threads(), 1u); }); }).join();
  EXPECT_EQ(threads(), 0u);
  // Its record is free for the next thread.
  std::thread([&] {
    DiagTlsObj* next = stacks.EnterFunction("Next");
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->m_pStack->m_nThreadId.load(), os_this_thread::id());
    EXPECT_EQ(next->m_pStack->Depth(), 1u);
    stacks.RemoveThisThread(nullptr);
    EXPECT_EQ(stacks.GetThreadTlsObj(), nullptr);
  }).join();
  EXPECT_EQ(threads(), 0u);
}

TEST_F(DiagTest, ThreadsMayEndWhilePrintWalks) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  std::atomic<bool> stop{false};
  std::thread spawner([&] {
    while (!stop.load()) {
      std::thread a([] { Nest({"Brief", "Briefer"}); });
      std::thread b([] { Nest({"Other"}); });
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
  for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) keys.push_back(key);
  Init();
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
  EXPECT_THAT(Bodies(), ElementsAre(kPrint + kNotEnabled));
}

TEST_F(DiagTest, TwoHoldersOneAfterTheOtherLeaveTheMapFree) {
  Init();
  diag->EnableStacks(TDiag::eStacksRecording);
  DiagStacks& stacks = diag->GetStacks();
  stacks.HoldTheSystem();
  std::atomic<bool> secondHolds{false};
  std::thread second([&] {
    stacks.HoldTheSystem();  // waits for the first holder
    secondHolds = true;
    stacks.ReleaseTheSystem();
  });
  os_this_thread::sleep(20);
  EXPECT_FALSE(secondHolds.load());
  stacks.ReleaseTheSystem();
  second.join();
  EXPECT_TRUE(secondHolds.load());
  ASSERT_TRUE(stacks.m_Lock.try_write_lock());
  stacks.m_Lock.write_unlock();
  EXPECT_TRUE(stacks.m_bGateOpen.load());
  std::thread([] { Nest({"Newcomer"}); }).join();  // and a thread new to the map gets in
}

namespace {
// A host object of a thread, made before the thread's first line, whose
// destructor prints: it runs after the library's own per-thread objects.
struct PrintsWhenTheThreadEnds {
  ~PrintsWhenTheThreadEnds() { PLINTH_DIAG_AT("Host::~Host", 2, "last words " << 7); }
};
thread_local PrintsWhenTheThreadEnds* t_hostObject = nullptr;
}  // namespace

TEST_F(DiagTest, APrintFromAThreadLocalDestructorStillArrives) {
  Init();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 2);
  std::string id;
  std::thread([&] {
    id = Tid();
    thread_local PrintsWhenTheThreadEnds host;
    t_hostObject = &host;
    PLINTH_DIAG_AT("Work", 2, "first line");
  }).join();
  EXPECT_THAT(Bodies(), ElementsAre("\t[2]\tstacks_test\tWork(thread " + id + ")\tfirst line",
                                    "\t[2]\tstacks_test\tHost::~Host(thread " + id + ")\tlast words 7"));
}
