// Any text, at any position and length, parses as a date without failing,
// and the day and month always come out in range.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "plinth/i18n.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  // The first bytes choose the window and the separator's length.
  const unsigned pos = data[0] % 16;
  const unsigned count = data[1];
  const size_t sepLength = data[2] % 4;
  if (size < 3 + sepLength) return 0;
  const std::string separator(reinterpret_cast<const char*>(data + 3), sepLength);
  const std::string text(reinterpret_cast<const char*>(data + 3 + sepLength), size - 3 - sepLength);
  try {
    const os_date d = i18n_aux::GetDateFromString(text, pos, count, separator);
    if (d.day() < 1 || d.day() > 31 || d.month() < 1 || d.month() > 12) __builtin_trap();
  } catch (const std::out_of_range&) {
    if (pos <= text.size()) __builtin_trap();  // only a start behind the end may throw
  }
  return 0;
}
