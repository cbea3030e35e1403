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
  // Written in two steps by writers; a reader that sees them differ ran
  // beside a writer.
  long first = 0;
  long second = 0;
  std::atomic<int> writersInside{0};
  std::atomic<int> readersInside{0};  // threads holding read locks
  std::atomic<int> failures{0};
  std::atomic<long> writes{0};
};

void Check(Shared& s, bool ok) {
  if (!ok) s.failures.fetch_add(1, std::memory_order_relaxed);
}

// Both sides look a few times, so that the windows in which a wrong grant
// shows are wider than a lock operation.
constexpr int kLooks = 32;

void ReadOnce(Shared& s) {
  s.readersInside.fetch_add(1);
  for (int i = 0; i < kLooks; ++i) Check(s, s.writersInside.load() == 0);
  Check(s, s.first == s.second);
  s.readersInside.fetch_sub(1);
}

// ownReads: read locks that this thread holds itself.
void WriteOnce(Shared& s, int ownReads) {
  Check(s, s.writersInside.fetch_add(1) == 0);
  for (int i = 0; i < kLooks; ++i) Check(s, s.readersInside.load() == ownReads);
  s.first += 1;
  s.second += 1;
  s.writes.fetch_add(1, std::memory_order_relaxed);
  s.writersInside.fetch_sub(1);
}

void Reader(Shared& s, int rounds, bool nested) {
  for (int i = 0; i < rounds; ++i) {
    sem2_read_lock outer(s.sem);
    if (nested && i % 2 == 0) {
      sem2_read_lock inner(s.sem);
      ReadOnce(s);
    } else {
      ReadOnce(s);
    }
  }
}

void Writer(Shared& s, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    switch (i % 3) {
      case 0: {
        sem2_write_lock w(s.sem);
        WriteOnce(s, 0);
        break;
      }
      case 1: {  // recursion, and a read lock inside the write lock
        sem2_write_lock outer(s.sem);
        sem2_write_lock inner(s.sem);
        s.sem.read_lock();
        WriteOnce(s, 0);
        s.sem.read_unlock();
        break;
      }
      default: {  // give up the write lock before the read lock taken inside it
        s.sem.write_lock();
        s.sem.read_lock();
        WriteOnce(s, 0);
        s.sem.write_unlock();
        s.readersInside.fetch_add(1);
        Check(s, s.writersInside.load() == 0);
        Check(s, s.first == s.second);
        s.readersInside.fetch_sub(1);
        s.sem.read_unlock();
      }
    }
  }
}

// Upgrades with try_write_lock, which can't deadlock against other writers.
void Upgrader(Shared& s, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    s.sem.read_lock();
    s.readersInside.fetch_add(1);
    Check(s, s.first == s.second);
    if (s.sem.try_write_lock()) {
      WriteOnce(s, 1);
      s.sem.write_unlock();
    }
    s.readersInside.fetch_sub(1);
    s.sem.read_unlock();
  }
}

long Writes(int writers, int rounds) { return static_cast<long>(writers) * rounds; }

}  // namespace

TEST(ReadWriteSemaphoreStress, RecursionUpgradesAndReadersWithoutPreference) {
  Shared s(false);
  const int rounds = 40000;
  std::vector<std::thread> threads;
  threads.emplace_back(Reader, std::ref(s), rounds, true);
  threads.emplace_back(Reader, std::ref(s), rounds, true);
  threads.emplace_back(Writer, std::ref(s), rounds);
  threads.emplace_back(Writer, std::ref(s), rounds);
  threads.emplace_back(Upgrader, std::ref(s), rounds);
  for (auto& t : threads) t.join();
  EXPECT_EQ(s.failures.load(), 0);
  EXPECT_EQ(s.first, s.second);
  EXPECT_EQ(s.first, s.writes.load());
  EXPECT_GE(s.writes.load(), Writes(2, rounds));
  std::ostringstream state;
  s.sem.print(state);
  EXPECT_EQ(state.str(),
            "read_write_semaphore2( writers prefered: 0, read locks: 0, write requests: 0, write locks: 0 )");
}

// With preference a reader must not nest while writers may wait.
TEST(ReadWriteSemaphoreStress, PreferredWritersAmongPlainReaders) {
  Shared s(true);
  const int rounds = 40000;
  std::vector<std::thread> threads;
  threads.emplace_back(Reader, std::ref(s), rounds, false);
  threads.emplace_back(Reader, std::ref(s), rounds, false);
  threads.emplace_back(Writer, std::ref(s), rounds);
  threads.emplace_back(Writer, std::ref(s), rounds);
  threads.emplace_back(Upgrader, std::ref(s), rounds);
  for (auto& t : threads) t.join();
  EXPECT_EQ(s.failures.load(), 0);
  EXPECT_EQ(s.first, s.writes.load());
  EXPECT_GE(s.writes.load(), Writes(2, rounds));
}

// A sole reader upgrades with the blocking call while plain readers come
// and go; with no other writer that order is safe.
TEST(ReadWriteSemaphoreStress, BlockingUpgradeBySoleWriter) {
  Shared s(false);
  const int rounds = 30000;
  std::thread readers[2] = {std::thread(Reader, std::ref(s), rounds, true),
                            std::thread(Reader, std::ref(s), rounds, true)};
  for (int i = 0; i < rounds; ++i) {
    s.sem.read_lock();
    s.readersInside.fetch_add(1);
    s.sem.write_lock();
    WriteOnce(s, 1);
    s.sem.write_unlock();
    s.readersInside.fetch_sub(1);
    s.sem.read_unlock();
  }
  for (auto& t : readers) t.join();
  EXPECT_EQ(s.failures.load(), 0);
  EXPECT_EQ(s.first, rounds);
}
