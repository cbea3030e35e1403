// The calling thread's identity. Ids are the kernel's thread ids, as ps -L
// shows them; they are cached per thread, so asking costs no system call.
#pragma once

#include <cstdint>

class os_this_thread {
public:
  static uint32_t id() noexcept;
  // The thread's pthread handle, as a number.
  static unsigned long handle() noexcept;
  // Sleeps the calling thread; the argument is in milliseconds.
  static void sleep(int milliseconds) noexcept;
};
