// Local date and time broken into the eight 16-bit fields that the
// diagnostics and their viewer records use. Read from os_clock, so tests can
// move it. Any thread may call; nothing here fails.
#pragma once

#include "plinth/plinth_export.h"

#include <cstdint>

struct PLINTH_API _SYSTEMTIME {
  uint16_t wYear;
  uint16_t wMonth;
  uint16_t wDayOfWeek;  // 0 is Sunday
  uint16_t wDay;
  uint16_t wHour;
  uint16_t wMinute;
  uint16_t wSecond;
  uint16_t wMilliseconds;
};

namespace plinth::platform {
// The local time of a moment given in microseconds since the epoch. The
// broken-down second is cached per thread, so lines written within one
// second skip the time-zone conversion.
PLINTH_API void local_time(int64_t microseconds, _SYSTEMTIME& out) noexcept;
// The local time now.
PLINTH_API void get_local_time(_SYSTEMTIME& out) noexcept;
}  // namespace plinth::platform
