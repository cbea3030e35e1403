// Threads. Ids are the kernel's thread ids, as ps -L shows them; the calling
// thread's id is cached per thread, so asking costs no system call. Starting
// an os_thread that the system refuses throws os_thread_toolkit_error.
#pragma once

#include <cstdint>
#include <thread>

#include "plinth/platform/os/os_error.h"

class os_this_thread {
public:
  static uint32_t id() noexcept;
  // The thread's pthread handle, as a number.
  static unsigned long handle() noexcept;
  // Sleeps the calling thread; the argument is in milliseconds.
  static void sleep(int milliseconds) noexcept;
};

// The record of a started thread. The id comes first: callers that know
// only the record read its first word.
struct os_thread_t {
  uint32_t m_nId = 0;
  std::thread m_Thread;
};

class os_thread_toolkit_error : public os_toolkit_error {
public:
  os_thread_toolkit_error(long code, const std::string& text) : os_toolkit_error(code, text) {}
};

// Runs start(argument) on a new thread. The constructor returns once the
// thread's id is known; the destructor joins the thread, so none is left
// running or detached when its object goes away.
class os_thread {
public:
  os_thread(void* (*start)(void*), void* argument);
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
