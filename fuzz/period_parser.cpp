// Any text parses as a period and a time, in both forms, without failing;
// a parsed time is a time of day, and a period prints.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "plinth/i18n.h"

namespace {
void CheckTime(const os_time& t) {
  if (t.hours() > 23 || t.minutes() > 59 || t.seconds() > 59) __builtin_trap();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const unsigned pos = data[0] % 16;
  const unsigned count = data[1];
  const std::string text(reinterpret_cast<const char*>(data + 2), size - 2);
  try {
    const os_time_period p = i18n_aux::GetPeriodFromString(text, pos, count);
    if (i18n_aux::TimePeriodToString(p).empty()) __builtin_trap();
    CheckTime(i18n_aux::GetTimeFromString(text, pos, count));
  } catch (const std::out_of_range&) {
    if (pos <= text.size()) __builtin_trap();
  }
  try {
    const os_time_period p = i18n_aux::GetPeriodFromString2(text, pos, count);
    if (i18n_aux::TimePeriodToString(p).empty()) __builtin_trap();
    CheckTime(i18n_aux::GetTimeFromString2(text, pos, count));
  } catch (const std::out_of_range&) {
    if (pos <= text.size()) __builtin_trap();
  }
  return 0;
}
