#include "plinth/platform/os/os_time.h"
#include "plinth/platform/os/os_clock_hooks.h"

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <ctime>

namespace {
std::atomic<int64_t> g_offsetUs{0};
std::atomic<int64_t> g_frozenUs{0};

struct tm local_fields(int64_t us) {
  time_t secs = static_cast<time_t>(us >= 0 ? us / 1000000 : (us - 999999) / 1000000);
  struct tm fields{};
  localtime_r(&secs, &fields);
  return fields;
}

int sub_second_us(int64_t us) {
  int64_t r = us % 1000000;
  return static_cast<int>(r < 0 ? r + 1000000 : r);
}
}  // namespace

namespace os_clock {
int64_t now_us() noexcept {
  if (int64_t frozen = g_frozenUs.load(std::memory_order_relaxed))
    return frozen + g_offsetUs.load(std::memory_order_relaxed);
  auto real = std::chrono::duration_cast<std::chrono::microseconds>(
                  std::chrono::system_clock::now().time_since_epoch())
                  .count();
  return real + g_offsetUs.load(std::memory_order_relaxed);
}
void advance_seconds(int64_t seconds) noexcept {
  g_offsetUs.fetch_add(seconds * 1000000, std::memory_order_relaxed);
}
void set_offset_us(int64_t offset) noexcept { g_offsetUs.store(offset, std::memory_order_relaxed); }
void set_frozen_us(int64_t us) noexcept { g_frozenUs.store(us, std::memory_order_relaxed); }
int64_t offset_us() noexcept { return g_offsetUs.load(std::memory_order_relaxed); }
}  // namespace os_clock

os_time_period::os_time_period(long days, long hours, long minutes, long seconds, long milliseconds)
    : m_nUs(((((static_cast<int64_t>(days) * 24 + hours) * 60 + minutes) * 60 + seconds) * 1000 +
             milliseconds) *
            1000) {}

os_time_and_date os_time_and_date::now() { return from_us(os_clock::now_us()); }

int64_t os_time_and_date::to_time_t() const {
  return m_nUs >= 0 ? m_nUs / 1000000 : (m_nUs - 999999) / 1000000;
}

namespace {
// Expands the one conversion that strftime doesn't know the way this class
// means it, and leaves everything else to strftime.
std::string expand_and_format(const char* format, char own, const char* ownText, const struct tm& fields) {
  std::string fmt;
  for (const char* p = format; *p; ++p) {
    if (p[0] == '%' && p[1] == own) {
      fmt += ownText;
      ++p;
    } else if (p[0] == '%' && p[1] == '%') {
      fmt += "%%";
      ++p;
    } else {
      fmt += *p;
    }
  }
  char buf[512];
  const size_t n = strftime(buf, sizeof buf, fmt.c_str(), &fields);
  return std::string(buf, n);
}
}  // namespace

std::string os_time_and_date::to_string(const char* format) const {
  struct tm fields = local_fields(m_nUs);
  char ms[16];
  std::snprintf(ms, sizeof ms, "%03d", sub_second_us(m_nUs) / 1000);
  return expand_and_format(format, 'q', ms, fields);
}

int os_time_and_date::year() const { return local_fields(m_nUs).tm_year + 1900; }
int os_time_and_date::month() const { return local_fields(m_nUs).tm_mon + 1; }
int os_time_and_date::day() const { return local_fields(m_nUs).tm_mday; }
int os_time_and_date::hour() const { return local_fields(m_nUs).tm_hour; }
int os_time_and_date::minute() const { return local_fields(m_nUs).tm_min; }
int os_time_and_date::second() const { return local_fields(m_nUs).tm_sec; }
int os_time_and_date::millisecond() const { return sub_second_us(m_nUs) / 1000; }

namespace {
constexpr int64_t kMsPerDay = 86400LL * 1000;

int64_t wrap_day_ms(int64_t ms) {
  int64_t r = ms % kMsPerDay;
  return r < 0 ? r + kMsPerDay : r;
}

os_date date_of(const struct tm& fields) {
  const long year = fields.tm_year + 1900L;
  if (year < SHRT_MIN || year > SHRT_MAX)
    throw os_time_toolkit_error("year " + std::to_string(year) + " out of range");
  return os_date(static_cast<unsigned short>(fields.tm_mon + 1),
                 static_cast<unsigned short>(fields.tm_mday), static_cast<short>(year));
}
}  // namespace

os_time::os_time(unsigned short hours, unsigned short minutes, unsigned short seconds,
                 unsigned long milliseconds)
    : m_nMs(wrap_day_ms(((hours * 60LL + minutes) * 60 + seconds) * 1000 +
                        static_cast<int64_t>(milliseconds % kMsPerDay))) {}

os_time::os_time(const os_time_period& period)
    : m_nMs(wrap_day_ms(period.to_us() / 1000 % kMsPerDay)) {}

os_date os_time_and_date::date() const { return date_of(local_fields(m_nUs)); }

os_time os_time_and_date::time() const {
  struct tm fields = local_fields(m_nUs);
  return os_time(static_cast<unsigned short>(fields.tm_hour),
                 static_cast<unsigned short>(fields.tm_min),
                 static_cast<unsigned short>(fields.tm_sec),
                 static_cast<unsigned long>(sub_second_us(m_nUs) / 1000));
}

os_time_zone os_time_and_date::time_zone() const {
  struct tm fields = local_fields(m_nUs);
  return os_time_zone(fields.tm_zone ? fields.tm_zone : "");
}

os_date os_date::today() { return date_of(local_fields(os_clock::now_us())); }

std::string os_date::to_string(const char* format) const {
  struct tm fields = {};
  fields.tm_year = m_nYear - 1900;
  fields.tm_mon = m_nMonth - 1;
  fields.tm_mday = m_nDay;
  char year[16];
  std::snprintf(year, sizeof year, "%04d", static_cast<int>(m_nYear));
  return expand_and_format(format, 's', year, fields);
}
