// Time and date. Every reading of "now" in the library goes through
// os_clock, which tests can move forward or back so that time-outs, day
// changes and file ages are tested without waiting. Thread-safe; only
// os_time_and_date::date() and os_date::today() throw, for a year that an
// os_date cannot hold.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "plinth/platform/os/os_error.h"
#include "plinth/plinth_export.h"

namespace os_clock {
// Microseconds since the Unix epoch, including the test offset.
// Exported: libzlt-plinth-db-4.0.so reads the same clock, so that tests
// move its time-outs too.
PLINTH_API int64_t now_us() noexcept;
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

// A time of day, to the millisecond. Values beyond a day wrap around
// midnight (and negative ones wrap backwards), so building one never fails.
class os_time {
public:
  os_time() = default;
  os_time(unsigned short hours, unsigned short minutes, unsigned short seconds,
          unsigned long milliseconds = 0);
  explicit os_time(const os_time_period& period);

  unsigned short hours() const { return static_cast<unsigned short>(m_nMs / 3600000); }
  unsigned short minutes() const { return static_cast<unsigned short>(m_nMs / 60000 % 60); }
  unsigned short seconds() const { return static_cast<unsigned short>(m_nMs / 1000 % 60); }
  unsigned short milliseconds() const { return static_cast<unsigned short>(m_nMs % 1000); }
  // Seconds since midnight.
  unsigned long to_seconds() const { return static_cast<unsigned long>(m_nMs / 1000); }

private:
  int64_t m_nMs = 0;  // 0 .. one day exclusive
};

// A calendar day. The fields are kept as given: nothing checks that the
// day exists in its month.
class os_date {
public:
  os_date() = default;
  os_date(unsigned short month, unsigned short day, short year)
      : m_nYear(year), m_nMonth(month), m_nDay(day) {}
  static os_date today();
  short year() const { return m_nYear; }
  // strftime conversions of the date's fields, plus %s: the year in four
  // digits (the toolkit's date formats name the full year so).
  std::string to_string(const char* format) const;
  unsigned short month() const { return m_nMonth; }
  unsigned short day() const { return m_nDay; }

private:
  short m_nYear = 1970;
  unsigned short m_nMonth = 1, m_nDay = 1;
};

// The zone a local time was read in, named as the system abbreviates it
// ("UTC", "CET", "CEST").
class os_time_zone {
public:
  os_time_zone() = default;
  explicit os_time_zone(std::string name) : m_sName(std::move(name)) {}
  std::string name() const { return m_sName; }

private:
  std::string m_sName;
};

// A failure of the time classes, such as a year an os_date cannot hold.
class os_time_toolkit_error : public os_toolkit_error {
public:
  explicit os_time_toolkit_error(const std::string& text) : os_toolkit_error(0, text) {}
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

  // The local date, time of day and zone. date() throws
  // os_time_toolkit_error for a year outside what os_date holds.
  os_date date() const;
  os_time time() const;
  os_time_zone time_zone() const;

  os_time_period operator-(const os_time_and_date& earlier) const {
    return os_time_period::from_us(m_nUs - earlier.m_nUs);
  }
  bool operator==(const os_time_and_date&) const = default;

private:
  int64_t m_nUs = 0;
};

