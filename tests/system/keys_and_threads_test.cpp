#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <thread>
#include <vector>

#include "plinth/system.h"

namespace {
unsigned KernelTid() { return static_cast<unsigned>(syscall(SYS_gettid)); }

struct Seen {
  unsigned id = 0;
  unsigned kernel = 0;
};

void* Record(void* argument) {
  auto* seen = static_cast<Seen*>(argument);
  seen->id = GetThisThreadID();
  seen->kernel = KernelTid();
  return nullptr;
}
}  // namespace

TEST(UniqueKey, StartsAtOneAndNeverRepeatsAcrossThreads) {
  EXPECT_EQ(UniqueKey::QueryNextUniqueKey(), 1u);
  EXPECT_EQ(UniqueKey::GetUniqueKey(), 1u);
  EXPECT_EQ(UniqueKey::QueryNextUniqueKey(), 2u);

  const int perThread = 5000;
  std::vector<unsigned> keys[2];
  std::thread threads[2];
  for (int t = 0; t < 2; ++t)
    threads[t] = std::thread([&, t] {
      for (int i = 0; i < perThread; ++i) keys[t].push_back(UniqueKey::GetUniqueKey());
    });
  for (auto& t : threads) t.join();
  std::set<unsigned> all(keys[0].begin(), keys[0].end());
  all.insert(keys[1].begin(), keys[1].end());
  EXPECT_EQ(all.size(), 2u * perThread);
  EXPECT_EQ(*all.begin(), 2u);
  EXPECT_EQ(*all.rbegin(), 1u + 2 * perThread);
  for (const auto& k : keys) EXPECT_TRUE(std::is_sorted(k.begin(), k.end()));
  const unsigned next = UniqueKey::QueryNextUniqueKey();
  EXPECT_EQ(UniqueKey::GetUniqueKey(), next);
}

TEST(ThreadIds, KernelIdsOfThisAndStartedThreads) {
  EXPECT_EQ(GetThisThreadID(), KernelTid());
  EXPECT_EQ(GetThisThreadID(), static_cast<unsigned>(getpid()));  // the main thread

  Seen seen;
  os_thread thread(Record, &seen);
  const unsigned recorded = GetThreadID(thread.record());
  thread.join();
  EXPECT_EQ(recorded, seen.id);
  EXPECT_EQ(seen.id, seen.kernel);
  EXPECT_NE(seen.id, GetThisThreadID());
}
