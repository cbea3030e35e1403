#include "plinth/platform/os/os_thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <future>
#include <system_error>

uint32_t os_this_thread::id() noexcept {
  thread_local uint32_t cached = static_cast<uint32_t>(syscall(SYS_gettid));
  return cached;
}

unsigned long os_this_thread::handle() noexcept {
  return static_cast<unsigned long>(pthread_self());
}

void os_this_thread::sleep(int milliseconds) noexcept {
  if (milliseconds <= 0) return;
  struct timespec left{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

os_thread::os_thread(void* (*start)(void*), void* argument) {
  std::promise<uint32_t> started;
  std::future<uint32_t> id = started.get_future();
  try {
    m_Record.m_Thread = std::thread([start, argument, &started] {
      started.set_value(os_this_thread::id());
      start(argument);
    });
  } catch (const std::system_error& e) {
    throw os_thread_toolkit_error(e.code().value(), e.what());
  }
  m_Record.m_nId = id.get();
}

os_thread::~os_thread() { join(); }

void os_thread::join() {
  if (m_Record.m_Thread.joinable()) m_Record.m_Thread.join();
}
