// Threads. Ids are the kernel's thread ids, as ps -L shows them; the calling
// thread's id is cached per thread, so asking costs no system call. Starting
// an os_thread that the system refuses throws os_thread_toolkit_error.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_error.h"

class PLINTH_API os_this_thread {
public:
  static uint32_t id() noexcept;
  // The thread's pthread handle, as a number.
  static unsigned long handle() noexcept;
  // Sleeps the calling thread; the argument is in milliseconds.
  static void sleep(int milliseconds) noexcept;
  // Lets other threads run before the caller goes on.
  static void yield() noexcept;
};

// The record of a started thread. The id comes first: callers that know
// only the record read its first word.
struct PLINTH_API os_thread_t {
  uint32_t m_nId = 0;
  std::thread m_Thread;
};

class PLINTH_API os_thread_toolkit_error : public os_toolkit_error {
public:
  os_thread_toolkit_error(long code, const std::string& text) : os_toolkit_error(code, text) {}
};

// Runs start(argument) on a new thread. The constructor returns once the
// thread's id is known; the destructor joins the thread, so none is left
// running or detached when its object goes away.
class PLINTH_API os_thread {
public:
  // The int and bool of the toolkit's signature (a stack size hint and a
  // detached start) are accepted for callers written against it; a thread
  // is never started detached here, so that every one can be joined.
  os_thread(void* (*start)(void*), void* argument, int = 0, bool = false);
  ~os_thread();
  os_thread(const os_thread&) = delete;
  os_thread& operator=(const os_thread&) = delete;

  os_thread_t& record() { return m_Record; }
  uint32_t id() const { return m_Record.m_nId; }
  // Waits for the thread to end; later calls return at once.
  void join();

private:
  os_thread_t m_Record;
};

// Counts free units; lock takes units, waiting until they are there. Taking
// and giving back without a waiter are single atomic operations: the mutex
// is only for sleeping.
class PLINTH_API os_counting_semaphore {
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
