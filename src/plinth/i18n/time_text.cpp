// Parsing and printing of times, dates and periods (declared in i18n_aux.h).
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "plinth/i18n/i18n_aux.h"
#include "plinth/platform/numbers.h"

namespace i18n_aux {
namespace {

int to_int(const std::string& digits) { return plinth::platform::read_int(digits); }

// The splitter of the ":"-separated and date forms. The substring throws
// std::out_of_range for a pos behind the end, as std::string does.
void split_three(const std::string& text, unsigned int pos, unsigned int count,
                 const std::string& separator, int fields[3]) {
  const std::string piece = text.substr(pos, count);
  fields[0] = fields[1] = fields[2] = 0;
  size_t start = 0;
  for (int i = 0; i < 3; ++i) {
    const size_t at = piece.find(separator, start);
    fields[i] = to_int(piece.substr(start, at == std::string::npos ? at : at - start));
    if (at == std::string::npos) break;
    start = at + separator.size();
  }
}

// Two bytes at pos; bytes that the text doesn't have read as nothing.
int two_digits(const std::string& text, size_t pos) {
  if (pos >= text.size()) return 0;
  return to_int(text.substr(pos, 2));
}

struct FixedFields {
  int hours, minutes, seconds;
};

FixedFields split_fixed(const std::string& text, unsigned int pos, unsigned int count) {
  if (pos > text.size()) throw std::out_of_range("position behind the end of the text");
  FixedFields f{two_digits(text, pos), two_digits(text, pos + 2ul), 0};
  if (text.size() >= 5 && count >= 5) f.seconds = two_digits(text, pos + 4ul);
  return f;
}

// Into 1..range, whatever the sign: ((value - 1) mod range) + 1.
int wrap_into(int value, int range) {
  long long r = (static_cast<long long>(value) - 1) % range;
  if (r < 0) r += range;
  return static_cast<int>(r + 1);
}

}  // namespace

os_time_period GetPeriodFromString(std::string const& text, unsigned int pos, unsigned int count) {
  int f[3];
  split_three(text, pos, count, ":", f);
  return os_time_period(0, f[0], f[1], f[2], 0);
}

os_time GetTimeFromString(std::string const& text, unsigned int pos, unsigned int count) {
  return os_time(GetPeriodFromString(text, pos, count));
}

os_time_period GetPeriodFromString2(std::string const& text, unsigned int pos, unsigned int count) {
  const FixedFields f = split_fixed(text, pos, count);
  return os_time_period(0, f.hours, f.minutes, f.seconds, 0);
}

os_time GetTimeFromString2(std::string const& text, unsigned int pos, unsigned int count) {
  const FixedFields f = split_fixed(text, pos, count);
  return os_time(static_cast<unsigned short>(f.hours), static_cast<unsigned short>(f.minutes),
                 static_cast<unsigned short>(f.seconds), 0);
}

os_date GetDateFromString(std::string const& text, unsigned int pos, unsigned int count,
                          std::string const& separator) {
  int f[3];
  split_three(text, pos, count, separator, f);
  for (int& field : f)
    if (field == 0) field = 1;
  const int day = wrap_into(f[0], 31);
  const int month = wrap_into(f[1], 12);
  return os_date(static_cast<unsigned short>(month), static_cast<unsigned short>(day),
                 static_cast<short>(f[2]));
}

std::string TimeAndDateToString(os_time_and_date const& value) {
  char buf[128] = "BAD DATA";
  try {
    const os_date date = value.date();
    const os_time time = value.time();
    const std::string zone = value.time_zone().name();
    // A zone name too long for the buffer is cut, so the text stays within
    // 127 bytes.
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d %02d/%02d/%04d %s", time.hours(), time.minutes(),
                  static_cast<int>(time.to_seconds() % 60), date.day(), date.month(), date.year(),
                  zone.c_str());
  } catch (const os_time_toolkit_error& e) {
    std::cerr << "TimeAndDateToString: " << e.what() << std::endl;
  } catch (...) {
    std::cerr << "TimeAndDateToString: " << "Unexpected error" << std::endl;
  }
  return buf;
}

std::string TimePeriodToString(os_time_period const& value) {
  const long count = static_cast<long>(value.to_seconds());
  char buf[64];
  std::snprintf(buf, sizeof buf, "%02ld:%02ld:%02ld", count / 3600, (count / 60) % 60, count % 60);
  return buf;
}

}  // namespace i18n_aux
