#include "plinth/platform/numbers.h"

#include <charconv>
#include <climits>
#include <limits>

namespace plinth::platform {
bool read_integer(std::string_view text, long long& value) noexcept {
  size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  // from_chars takes the digits alone: it knows no '+' and no blanks.
  unsigned long long magnitude = 0;
  const char* first = text.data() + i;
  const auto [end, error] = std::from_chars(first, text.data() + text.size(), magnitude);
  value = 0;
  if (end == first) return false;
  constexpr unsigned long long kMax = std::numeric_limits<long long>::max();
  if (error == std::errc::result_out_of_range || magnitude > kMax + (negative ? 1 : 0))
    value = negative ? std::numeric_limits<long long>::min() : std::numeric_limits<long long>::max();
  else
    value = negative ? static_cast<long long>(0 - magnitude) : static_cast<long long>(magnitude);
  return true;
}

int read_int(std::string_view text) noexcept {
  long long value = 0;
  read_integer(text, value);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}
}  // namespace plinth::platform
