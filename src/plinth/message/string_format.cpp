#include "plinth/message/string_format.h"

#include <cstring>

namespace msg_aux {

void FormatStrings(std::string& out, const std::string& format, const char* const* args, size_t count,
                   const char* missing, size_t limit) {
  const size_t start = out.size();
  auto room = [&] { return limit - (out.size() - start); };
  auto put = [&](const char* text, size_t size) { out.append(text, size < room() ? size : room()); };
  auto pad = [&](size_t n) { out.append(n < room() ? n : room(), ' '); };
  // Numbers beyond any buffer act as a large one.
  auto number = [&](const char*& p, const char* end) {
    size_t value = 0;
    for (; p < end && *p >= '0' && *p <= '9'; ++p)
      if (value < 100000) value = value * 10 + static_cast<size_t>(*p - '0');
    return value;
  };

  size_t next = 0;
  const char* p = format.data();
  const char* const end = p + format.size();
  while (p < end && room() > 0) {
    if (*p != '%') {
      const char* pct = static_cast<const char*>(std::memchr(p, '%', static_cast<size_t>(end - p)));
      const char* stop = pct ? pct : end;
      put(p, static_cast<size_t>(stop - p));
      p = stop;
      continue;
    }
    const char* directive = p++;
    if (p < end && *p == '%') {
      put("%", 1);
      ++p;
      continue;
    }
    size_t position = 0;  // 1-based; 0 takes the next string
    const char* q = p;
    const size_t digits = number(q, end);
    if (q < end && *q == '$' && digits > 0) {
      position = digits;
      p = q + 1;
    }
    bool left = false;
    for (; p < end && *p && std::strchr("-+ #0", *p); ++p) left |= *p == '-';
    const size_t width = number(p, end);
    size_t precision = static_cast<size_t>(-1);
    if (p < end && *p == '.') precision = number(++p, end);
    if (p >= end || *p != 's') {
      const char* stop = p < end ? p + 1 : end;
      put(directive, static_cast<size_t>(stop - directive));
      p = stop;
      continue;
    }
    ++p;
    const size_t index = position ? position - 1 : next++;
    const char* text = index < count && args[index] ? args[index] : missing;
    const size_t len = strnlen(text, precision);
    if (!left && width > len) pad(width - len);
    put(text, len);
    if (left && width > len) pad(width - len);
  }
}

}  // namespace msg_aux
