// The calling thread's identity. Ids are the kernel's thread ids, as ps -L
// shows them; they are cached per thread, so asking costs no system call.
#pragma once

#include <cstdint>

class os_this_thread {
public:
  static uint32_t id() noexcept;
};
