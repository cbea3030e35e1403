// The re-entrant lock that spins before it sleeps: exclusion under threads,
// re-entry, and a sleeper that is woken when the lock is left.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "plinth/platform/os/os_critical_section.h"
#include "plinth/platform/os/os_thread.h"

namespace {

using namespace std::chrono_literals;

// Waits up to five seconds for flag.
bool Becomes(const std::atomic<bool>& flag) {
  for (int i = 0; i < 500 && !flag.load(); ++i) std::this_thread::sleep_for(10ms);
  return flag.load();
}

TEST(OsCriticalSection, ThreadsExcludeEachOtherAndTheOwnerReenters) {
  // Four threads on fewer cores: some spin, some yield, some sleep.
  os_critical_section cs;
  long counter = 0;  // plain: only the lock protects it
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        os_lock_guard outer(cs);
        os_lock_guard inner(cs);  // re-entry must not wait for itself
        const long seen = counter;
        if (i % 1000 == 0) std::this_thread::yield();  // a holder that is not running
        counter = seen + 1;
      }
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(counter, 4 * 20000);
}

TEST(OsCriticalSection, TryLockFailsForOthersAndReentersForTheOwner) {
  os_critical_section cs;
  cs.lock();
  EXPECT_TRUE(cs.try_lock());
  cs.unlock();
  bool other = true;
  std::thread([&] { other = cs.try_lock(); }).join();
  EXPECT_FALSE(other);
  cs.unlock();  // the depth was two: this leaves it
  std::thread([&] {
    other = cs.try_lock();
    if (other) cs.unlock();
  }).join();
  EXPECT_TRUE(other);
}

TEST(OsCriticalSection, AThreadThatSleptIsWokenWhenTheLockIsLeft) {
  // The owner holds the lock far longer than a waiter spins, so the
  // waiters end asleep; each must be woken in turn.
  os_critical_section cs;
  cs.lock();
  std::atomic<int> done{0};
  std::atomic<bool> all{false};
  std::vector<std::thread> waiters;
  for (int t = 0; t < 3; ++t)
    waiters.emplace_back([&] {
      cs.lock();
      if (done.fetch_add(1) == 2) all = true;
      cs.unlock();
    });
  std::this_thread::sleep_for(300ms);
  EXPECT_EQ(done.load(), 0);
  cs.unlock();
  const bool woken = Becomes(all);
  EXPECT_TRUE(woken) << done.load() << " of 3 waiters got the lock";
  for (std::thread& t : waiters) {
    if (woken)
      t.join();
    else
      t.detach();  // still asleep: the process ends with it
  }
}

TEST(OsCountingSemaphore, ATakerThatSpinsOrSleepsGetsEveryUnit) {
  // Units given at once are taken while spinning; units given after a
  // pause find the taker asleep.
  os_counting_semaphore items(0);
  std::atomic<bool> finished{false};
  std::thread taker([&] {
    for (int i = 0; i < 6; ++i) items.lock(1);
    finished = true;
  });
  items.unlock(3);
  std::this_thread::sleep_for(200ms);
  items.unlock(1);
  std::this_thread::sleep_for(200ms);
  EXPECT_FALSE(finished.load()) << "took six units of four";
  items.unlock(2);
  const bool got = Becomes(finished);
  EXPECT_TRUE(got);
  if (got)
    taker.join();
  else
    taker.detach();
}

}  // namespace
