#include "plinth/platform/os/os_thread.h"

#include <sys/syscall.h>
#include <unistd.h>

uint32_t os_this_thread::id() noexcept {
  thread_local uint32_t cached = static_cast<uint32_t>(syscall(SYS_gettid));
  return cached;
}
