// Test hooks of os_clock: tests move "now" so that time-outs, day changes and
// file ages are tested without waiting. Internal: not installed, but
// exported, so tests of the shared library and of the database library can
// move the one clock. Any thread may call; nothing here fails.
#pragma once

#include <cstdint>

#include "plinth/plinth_export.h"

namespace os_clock {
// Move "now" by a signed amount, or back to the real time.
PLINTH_API void advance_seconds(int64_t seconds) noexcept;
PLINTH_API void set_offset_us(int64_t offset) noexcept;
PLINTH_API int64_t offset_us() noexcept;
// "now" stays at the given time (plus the offset) until thawed with 0, so
// that tests can compare texts that carry the time.
PLINTH_API void set_frozen_us(int64_t us) noexcept;
}  // namespace os_clock
