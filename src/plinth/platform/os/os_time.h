// Time and date. Every reading of "now" in the library goes through
// os_clock, which tests can move forward or back so that time-outs, day
// changes and file ages are tested without waiting. Thread-safe; nothing
// here throws.
#pragma once

#include <cstdint>
#include <string>

namespace os_clock {
// Microseconds since the Unix epoch, including the test offset.
int64_t now_us() noexcept;
// Test hooks: move "now" by a signed amount, or back to the real time.
void advance_seconds(int64_t seconds) noexcept;
void set_offset_us(int64_t offset) noexcept;
int64_t offset_us() noexcept;
// Test hook: "now" stays at the given time (plus the offset) until thawed
// with 0, so that tests can compare texts that carry the time.
void set_frozen_us(int64_t us) noexcept;
}  // namespace os_clock

// A signed span of time, microsecond resolution.
class os_time_period {
public:
  os_time_period() = default;
  os_time_period(long days, long hours, long minutes, long seconds, long milliseconds = 0);
  static os_time_period from_us(int64_t us) { os_time_period p; p.m_nUs = us; return p; }

  // Whole units, truncated toward zero.
  int64_t to_seconds() const { return m_nUs / 1000000; }
  int64_t to_days() const { return m_nUs / (86400LL * 1000000); }
  int64_t to_us() const { return m_nUs; }

private:
  int64_t m_nUs = 0;
};

// A point in time, shown in local time. The default value is the epoch,
// so a time that was never set reads as "long ago".
class os_time_and_date {
public:
  os_time_and_date() = default;
  // From seconds since the epoch, as file systems give modification times.
  explicit os_time_and_date(int64_t secondsSinceEpoch) : m_nUs(secondsSinceEpoch * 1000000) {}

  static os_time_and_date now();
  static os_time_and_date from_us(int64_t us) { os_time_and_date t; t.m_nUs = us; return t; }

  // strftime conversions on local time, plus %q: milliseconds, three digits.
  std::string to_string(const char* format) const;

  int64_t to_us() const { return m_nUs; }
  int64_t to_time_t() const;

  // Local-time fields.
  int year() const;
  int month() const;   // 1..12
  int day() const;     // 1..31
  int hour() const;
  int minute() const;
  int second() const;
  int millisecond() const;

  os_time_period operator-(const os_time_and_date& earlier) const {
    return os_time_period::from_us(m_nUs - earlier.m_nUs);
  }
  bool operator==(const os_time_and_date&) const = default;

private:
  int64_t m_nUs = 0;
};

// A calendar day in local time.
class os_date {
public:
  static os_date today();
  int year() const { return m_nYear; }
  int month() const { return m_nMonth; }
  int day() const { return m_nDay; }

private:
  int m_nYear = 1970, m_nMonth = 1, m_nDay = 1;
};
