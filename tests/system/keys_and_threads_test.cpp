#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <thread>
#include <vector>

#include "plinth/system.h"

TEST(UniqueKey, StartsAtOneAndNeverRepeatsAcrossThreads) {
  EXPECT_EQ(UniqueKey::QueryNextUniqueKey(), 1u);
  EXPECT_EQ(UniqueKey::GetUniqueKey(), 1u);
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
  EXPECT_EQ(*all.rbegin(), 1u + 2 * perThread);
  EXPECT_EQ(UniqueKey::QueryNextUniqueKey(), 2u + 2 * perThread);
}

TEST(ThreadIds, KernelIdsOfThisAndStartedThreads) {
  EXPECT_EQ(GetThisThreadID(), static_cast<unsigned>(getpid()));  // the main thread
  unsigned seen[2] = {};
  os_thread thread(
      [](void* out) -> void* {
        static_cast<unsigned*>(out)[0] = GetThisThreadID();
        static_cast<unsigned*>(out)[1] = static_cast<unsigned>(syscall(SYS_gettid));
        return nullptr;
      },
      seen);
  const unsigned recorded = GetThreadID(thread.record());
  thread.join();
  EXPECT_EQ(recorded, seen[0]);
  EXPECT_EQ(seen[0], seen[1]);
}
