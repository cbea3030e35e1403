// Threads: the calling thread's identity, a started thread that is always
// joined, and a counting semaphore. Ids are the kernel's thread ids, as ps -L
// shows them; they are cached per thread, so asking costs no system call.
// os_thread throws os_thread_toolkit_error when the system refuses a thread.
#pragma once

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "plinth/platform/os/os_error.h"

class os_this_thread {
public:
  static uint32_t id() noexcept;
  static void yield() noexcept;
};

// The system refused to start a thread; code() is the errno value.
class os_thread_toolkit_error : public os_toolkit_error {
public:
  using os_toolkit_error::os_toolkit_error;
};

// A thread started at construction. The owner joins it with join(); the
// destructor joins a thread that is still running, so no thread outlives the
// object that started it. Make sure the thread's routine ends first.
class os_thread {
public:
  using start_routine = void* (*)(void*);
  // The int and bool of the toolkit's signature (stack size hint, detached)
  // are accepted for callers written against it; a detached thread is never
  // started here, so that every thread can be joined.
  os_thread(start_routine routine, void* arg, int = 0, bool = false);
  ~os_thread();
  os_thread(const os_thread&) = delete;
  os_thread& operator=(const os_thread&) = delete;

  // Waits for the thread's routine to return. Later calls do nothing.
  void join();

private:
  pthread_t m_Thread{};
  bool m_bJoined = false;
};

// Counts free units; lock takes units, waiting until they are there. Taking
// and giving back without a waiter are single atomic operations: the mutex
// is only for sleeping.
class os_counting_semaphore {
public:
  explicit os_counting_semaphore(unsigned start = 0) : m_nCount(start) {}
  os_counting_semaphore(const os_counting_semaphore&) = delete;
  os_counting_semaphore& operator=(const os_counting_semaphore&) = delete;

  void lock(unsigned n = 1);
  void unlock(unsigned n = 1);

private:
  bool TryTake(unsigned n);

  std::mutex m_Mutex;
  std::condition_variable m_Cond;
  std::atomic<uint64_t> m_nCount;
  std::atomic<uint32_t> m_nWaiters{0};
};
