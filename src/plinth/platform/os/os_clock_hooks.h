// Test hooks of os_clock: tests move "now" so that time-outs, day changes and
// file ages are tested without waiting. Internal: not installed, not
// exported. Any thread may call; nothing here fails.
#pragma once

#include <cstdint>

namespace os_clock {
// Move "now" by a signed amount, or back to the real time.
void advance_seconds(int64_t seconds) noexcept;
void set_offset_us(int64_t offset) noexcept;
int64_t offset_us() noexcept;
// "now" stays at the given time (plus the offset) until thawed with 0, so
// that tests can compare texts that carry the time.
void set_frozen_us(int64_t us) noexcept;
}  // namespace os_clock
