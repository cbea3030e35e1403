#include "plinth/platform/os/os_thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

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
