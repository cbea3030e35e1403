#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <sstream>
#include <thread>

#include "plinth/system.h"

namespace {

std::string State(const read_write_semaphore2& sem) {
  std::ostringstream out;
  sem.print(out);
  return out.str();
}

std::string Expected(bool preferred, int reads, int requests, int writes) {
  std::ostringstream out;
  out << "read_write_semaphore2( writers prefered: " << preferred << ", read locks: " << reads
      << ", write requests: " << requests << ", write locks: " << writes << " )";
  return out.str();
}

// Waits (polling, not timing) until the semaphore reaches a state; fails the
// test after ten seconds rather than hanging.
bool ReachesState(const read_write_semaphore2& sem, const std::string& state) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (State(sem) != state) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Runs a step on a thread of its own and says whether it has returned.
struct Step {
  explicit Step(std::function<void()> body) : thread([this, body] { body(), done = true; }) {}
  ~Step() { join(); }
  void join() {
    if (thread.joinable()) thread.join();
  }
  std::atomic<bool> done{false};
  std::thread thread;
};

bool OnOtherThread(const std::function<bool()>& f) {
  bool result = false;
  std::thread([&] { result = f(); }).join();
  return result;
}

void WriteAndRelease(read_write_semaphore2& sem) {
  sem.write_lock();
  sem.write_unlock();
}

}  // namespace

TEST(ReadWriteSemaphore, WriterReadsAndRecurses) {
  read_write_semaphore2 sem;
  sem.write_lock();
  sem.write_lock();
  sem.read_lock();
  EXPECT_EQ(State(sem), "read_write_semaphore2( writers prefered: 0, read locks: 1, write requests: 0, write locks: 2 )");
  EXPECT_FALSE(OnOtherThread([&] { return sem.try_read_lock(); }));
  EXPECT_FALSE(OnOtherThread([&] { return sem.try_write_lock(); }));
  sem.write_unlock();
  EXPECT_FALSE(OnOtherThread([&] { return sem.try_read_lock(); }));
  EXPECT_TRUE(sem.try_write_lock());  // the owner passes its own mutex
  sem.write_unlock();
  sem.write_unlock();
  // The read lock taken while writing stays, and holds off other writers.
  EXPECT_EQ(State(sem), Expected(false, 1, 0, 0));
  // A refused try_write_lock leaves nothing held: the writer below gets
  // through once the read lock goes.
  EXPECT_FALSE(OnOtherThread([&] { return sem.try_write_lock(); }));
  Step writer([&] { WriteAndRelease(sem); });
  ASSERT_TRUE(ReachesState(sem, Expected(false, 1, 1, 0)));
  EXPECT_FALSE(writer.done);
  sem.read_unlock();
  writer.join();
  EXPECT_EQ(State(sem), Expected(false, 0, 0, 0));
}

TEST(ReadWriteSemaphore, SoleReaderUpgradesRecursivelyAndKeepsItsReadLocks) {
  read_write_semaphore2 sem(true);
  sem.read_lock();
  sem.read_lock();
  EXPECT_TRUE(sem.try_write_lock());
  sem.write_lock();
  EXPECT_EQ(State(sem), Expected(true, 2, 0, 2));
  sem.write_unlock();
  sem.write_unlock();
  sem.read_unlock();
  sem.read_unlock();
  EXPECT_EQ(State(sem), Expected(true, 0, 0, 0));
}

TEST(ReadWriteSemaphore, UpgradeWaitsForTheOtherReaders) {
  read_write_semaphore2 sem;
  sem.read_lock();
  std::atomic<bool> refused{false}, checked{false};
  Step upgrader([&] {
    sem.read_lock();
    refused = !sem.try_write_lock();  // others read: refused at once
    sem.write_lock();
    while (!checked) std::this_thread::yield();
    sem.write_unlock();
    sem.read_unlock();
  });
  ASSERT_TRUE(ReachesState(sem, Expected(false, 2, 1, 0)));
  EXPECT_TRUE(refused);
  EXPECT_FALSE(upgrader.done);
  sem.read_unlock();
  ASSERT_TRUE(ReachesState(sem, Expected(false, 1, 0, 1)));  // its read lock stays
  // The remaining read lock is the upgrader's: a read_unlock from a thread
  // that holds none changes nothing.
  sem.read_unlock();
  EXPECT_EQ(State(sem), Expected(false, 1, 0, 1));
  checked = true;
  upgrader.join();
  EXPECT_EQ(State(sem), Expected(false, 0, 0, 0));
}

TEST(ReadWriteSemaphore, NewReadersPassAWaitingWriterWithoutPreference) {
  read_write_semaphore2 sem;
  sem.read_lock();
  Step writer([&] { WriteAndRelease(sem); });
  ASSERT_TRUE(ReachesState(sem, Expected(false, 1, 1, 0)));
  EXPECT_TRUE(OnOtherThread([&] {
    sem2_read_lock r(sem);
    const bool again = sem.try_read_lock();
    if (again) sem.read_unlock();
    return again;
  }));
  EXPECT_FALSE(writer.done);
  sem.read_unlock();
}

TEST(ReadWriteSemaphore, PreferredWriterGoesBeforeNewReaders) {
  read_write_semaphore2 sem(true);
  sem.read_lock();
  std::atomic<int> order{0}, writerTurn{0}, readerTurn{0};
  Step writer([&] {
    sem2_write_lock w(sem);
    writerTurn = ++order;
  });
  ASSERT_TRUE(ReachesState(sem, Expected(true, 1, 1, 0)));
  // Nobody writes yet, but the pending request refuses new readers.
  EXPECT_FALSE(OnOtherThread([&] { return sem.try_read_lock(); }));
  Step reader([&] {
    sem2_read_lock r(sem);
    readerTurn = ++order;
  });
  // The reader is blocked behind the request; only the first read lock
  // exists. (Polling the writer instead would race the reader's arrival.)
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(State(sem), Expected(true, 1, 1, 0));
  EXPECT_FALSE(reader.done);
  sem.read_unlock();
  writer.join();
  reader.join();
  EXPECT_EQ(writerTurn, 1);
  EXPECT_EQ(readerTurn, 2);
}
