#include "plinth/platform/local_time.h"

#include <ctime>

#include "plinth/platform/os/os_time.h"

namespace plinth::platform {
void local_time(int64_t microseconds, _SYSTEMTIME& out) noexcept {
  const int64_t seconds = microseconds >= 0 ? microseconds / 1000000 : (microseconds - 999999) / 1000000;
  // A second has one broken-down form, so a cache keyed by it is exact,
  // also across a change to or from summer time.
  thread_local int64_t cachedSecond = INT64_MIN;
  thread_local _SYSTEMTIME cached{};
  if (seconds != cachedSecond) {
    const time_t t = static_cast<time_t>(seconds);
    struct tm fields{};
    localtime_r(&t, &fields);
    cached.wYear = static_cast<uint16_t>(fields.tm_year + 1900);
    cached.wMonth = static_cast<uint16_t>(fields.tm_mon + 1);
    cached.wDayOfWeek = static_cast<uint16_t>(fields.tm_wday);
    cached.wDay = static_cast<uint16_t>(fields.tm_mday);
    cached.wHour = static_cast<uint16_t>(fields.tm_hour);
    cached.wMinute = static_cast<uint16_t>(fields.tm_min);
    cached.wSecond = static_cast<uint16_t>(fields.tm_sec);
    cachedSecond = seconds;
  }
  out = cached;
  out.wMilliseconds = static_cast<uint16_t>((microseconds - seconds * 1000000) / 1000);
}

void get_local_time(_SYSTEMTIME& out) noexcept { local_time(os_clock::now_us(), out); }
}  // namespace plinth::platform
