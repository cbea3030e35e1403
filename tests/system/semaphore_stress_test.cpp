// Readers, writers and an upgrader on one semaphore at once, in the orders
// its header allows. A lost grant shows as a wrong count, a doubled grant
// as a torn pair or an occupancy check failing (and as a data race under
// the thread sanitizer); a deadlock as a test that never ends.
#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>
#include <vector>

#include "plinth/system.h"

namespace {

struct Shared {
  explicit Shared(bool preferred) : sem(preferred) {}
  read_write_semaphore2 sem;
  long first = 0, second = 0;  // written in two steps by writers
  std::atomic<int> writersInside{0}, readersInside{0}, failures{0};
  std::atomic<long> writes{0};

  void Check(bool ok) {
    if (!ok) failures.fetch_add(1, std::memory_order_relaxed);
  }
  // Both sides look a few times, so that the windows in which a wrong grant
  // shows are wider than a lock operation.
  void ReadOnce() {
    readersInside.fetch_add(1);
    for (int i = 0; i < 32; ++i) Check(writersInside.load() == 0);
    Check(first == second);
    readersInside.fetch_sub(1);
  }
  // ownReads: read locks that this thread holds itself.
  void WriteOnce(int ownReads) {
    Check(writersInside.fetch_add(1) == 0);
    for (int i = 0; i < 32; ++i) Check(readersInside.load() == ownReads);
    ++first;
    ++second;
    writes.fetch_add(1, std::memory_order_relaxed);
    writersInside.fetch_sub(1);
  }
};

void Reader(Shared& s, int rounds, bool nested) {
  for (int i = 0; i < rounds; ++i) {
    sem2_read_lock outer(s.sem);
    if (nested && i % 2 == 0) {
      sem2_read_lock inner(s.sem);
      s.ReadOnce();
    } else {
      s.ReadOnce();
    }
  }
}

void Writer(Shared& s, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    if (i % 3 == 0) {
      sem2_write_lock w(s.sem);
      s.WriteOnce(0);
    } else if (i % 3 == 1) {  // recursion, and a read lock inside the write lock
      sem2_write_lock outer(s.sem);
      sem2_write_lock inner(s.sem);
      sem2_read_lock r(s.sem);
      s.WriteOnce(0);
    } else {  // give up the write lock before the read lock taken inside it
      s.sem.write_lock();
      s.sem.read_lock();
      s.WriteOnce(0);
      s.sem.write_unlock();
      s.ReadOnce();
      s.sem.read_unlock();
    }
  }
}

// Upgrades with try_write_lock, which can't deadlock against other writers.
void Upgrader(Shared& s, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    sem2_read_lock r(s.sem);
    s.readersInside.fetch_add(1);
    s.Check(s.first == s.second);
    if (s.sem.try_write_lock()) {
      s.WriteOnce(1);
      s.sem.write_unlock();
    }
    s.readersInside.fetch_sub(1);
  }
}

// Two readers, two writers and an upgrader; with preference a reader must
// not nest while writers may wait.
void RunMix(bool preferred) {
  Shared s(preferred);
  const int rounds = 40000;
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) threads.emplace_back(Reader, std::ref(s), rounds, !preferred);
  for (int i = 0; i < 2; ++i) threads.emplace_back(Writer, std::ref(s), rounds);
  threads.emplace_back(Upgrader, std::ref(s), rounds);
  for (auto& t : threads) t.join();
  EXPECT_EQ(s.failures.load(), 0);
  EXPECT_EQ(s.first, s.second);
  EXPECT_EQ(s.first, s.writes.load());
  EXPECT_GE(s.writes.load(), 2L * rounds);
  std::ostringstream state;
  s.sem.print(state);
  EXPECT_EQ(state.str(), "read_write_semaphore2( writers prefered: " + std::to_string(preferred) +
                             ", read locks: 0, write requests: 0, write locks: 0 )");
}

}  // namespace

TEST(ReadWriteSemaphoreStress, RecursionUpgradesAndReadersWithoutPreference) { RunMix(false); }

TEST(ReadWriteSemaphoreStress, PreferredWritersAmongPlainReaders) { RunMix(true); }
