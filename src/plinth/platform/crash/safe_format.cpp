#include "plinth/platform/crash/safe_format.h"

#include <cstdint>

namespace plinth::platform {
namespace {

class Out {
public:
  Out(char* buffer, size_t size) noexcept : m_pBuffer(buffer), m_nRoom(size ? size - 1 : 0) {}
  void Put(char c) noexcept {
    if (m_nLength < m_nRoom) m_pBuffer[m_nLength++] = c;
  }
  void Repeat(char c, int count) noexcept {
    for (int i = 0; i < count; ++i) Put(c);
  }
  size_t Length() const noexcept { return m_nLength; }

private:
  char* m_pBuffer;
  size_t m_nRoom;
  size_t m_nLength = 0;
};

struct Conversion {
  bool leftAlign = false;
  bool zeroPad = false;
  int width = 0;
  int precision = -1;
};

// Digits of an unsigned value in the given base, right to left.
int Digits(uint64_t value, unsigned base, bool upper, char* out) noexcept {
  const char* set = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  int n = 0;
  do {
    out[n++] = set[value % base];
    value /= base;
  } while (value != 0);
  return n;
}

void Padded(Out& out, const Conversion& conversion, const char* digits, int count, bool negative) noexcept {
  const int length = count + (negative ? 1 : 0);
  const int pad = conversion.width > length ? conversion.width - length : 0;
  if (!conversion.leftAlign && !conversion.zeroPad) out.Repeat(' ', pad);
  if (negative) out.Put('-');
  if (!conversion.leftAlign && conversion.zeroPad) out.Repeat('0', pad);
  for (int i = count - 1; i >= 0; --i) out.Put(digits[i]);
  if (conversion.leftAlign) out.Repeat(' ', pad);
}

void Number(Out& out, const Conversion& conversion, uint64_t value, bool negative, unsigned base, bool upper) noexcept {
  char digits[24];
  const int count = Digits(value, base, upper, digits);
  Padded(out, conversion, digits, count, negative);
}

void Text(Out& out, const Conversion& conversion, const char* text) noexcept {
  if (!text) text = "(null)";
  int length = 0;
  while (text[length] && (conversion.precision < 0 || length < conversion.precision)) ++length;
  const int pad = conversion.width > length ? conversion.width - length : 0;
  if (!conversion.leftAlign) out.Repeat(' ', pad);
  for (int i = 0; i < length; ++i) out.Put(text[i]);
  if (conversion.leftAlign) out.Repeat(' ', pad);
}

// Fixed notation, rounded at the precision; enough for values that a crash
// report shows, not a replacement for the C library's exact conversion.
void Fixed(Out& out, const Conversion& conversion, double value) noexcept {
  char text[64];
  int n = 0;
  if (value != value) {
    Conversion plain = conversion;
    plain.precision = -1;
    return Text(out, plain, "nan");
  }
  const bool negative = value < 0;
  if (negative) value = -value;
  if (value > 1.8e19) {
    Conversion plain = conversion;
    plain.precision = -1;
    return Text(out, plain, negative ? "-inf" : "inf");
  }
  const int precision = conversion.precision < 0 ? 6 : (conversion.precision > 18 ? 18 : conversion.precision);
  double scale = 1;
  for (int i = 0; i < precision; ++i) scale *= 10;
  uint64_t whole = static_cast<uint64_t>(value);
  double rest = (value - static_cast<double>(whole)) * scale + 0.5;
  uint64_t fraction = static_cast<uint64_t>(rest);
  if (static_cast<double>(fraction) >= scale) {
    fraction = 0;
    ++whole;
  }
  // Built right to left: fraction digits, point, whole digits.
  for (int i = 0; i < precision; ++i) {
    text[n++] = static_cast<char>('0' + fraction % 10);
    fraction /= 10;
  }
  if (precision > 0) text[n++] = '.';
  n += Digits(whole, 10, false, text + n);
  Padded(out, conversion, text, n, negative);
}

}  // namespace

size_t safe_vformat(char* buffer, size_t size, const char* format, va_list args) noexcept {
  if (!buffer || size == 0) return 0;
  Out out(buffer, size);
  for (const char* p = format; *p; ++p) {
    if (*p != '%') {
      out.Put(*p);
      continue;
    }
    ++p;
    Conversion conversion;
    for (;; ++p) {
      if (*p == '-') conversion.leftAlign = true;
      else if (*p == '0') conversion.zeroPad = true;
      else break;
    }
    while (*p >= '0' && *p <= '9') conversion.width = conversion.width * 10 + (*p++ - '0');
    if (*p == '.') {
      conversion.precision = 0;
      ++p;
      while (*p >= '0' && *p <= '9') conversion.precision = conversion.precision * 10 + (*p++ - '0');
    }
    int longs = 0;
    for (;; ++p) {
      if (*p == 'l' || *p == 'z') ++longs;
      else if (*p != 'h') break;
    }
    const bool wide = longs > 0;
    switch (*p) {
      case 'd':
      case 'i': {
        const int64_t v = wide ? va_arg(args, long long) : va_arg(args, int);
        Number(out, conversion, v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v), v < 0, 10, false);
        break;
      }
      case 'u':
      case 'x':
      case 'X': {
        const uint64_t v = wide ? va_arg(args, unsigned long long) : va_arg(args, unsigned);
        Number(out, conversion, v, false, *p == 'u' ? 10 : 16, *p == 'X');
        break;
      }
      case 'p': {
        Conversion pointer;
        pointer.zeroPad = true;
        pointer.width = static_cast<int>(2 * sizeof(void*));
        Number(out, pointer, reinterpret_cast<uintptr_t>(va_arg(args, void*)), false, 16, true);
        break;
      }
      case 's':
        Text(out, conversion, va_arg(args, const char*));
        break;
      case 'c':
        out.Put(static_cast<char>(va_arg(args, int)));
        break;
      case 'f':
        Fixed(out, conversion, va_arg(args, double));
        break;
      case '%':
        out.Put('%');
        break;
      case '\0':
        --p;
        break;
      default:
        out.Put('%');
        out.Put(*p);
    }
  }
  buffer[out.Length()] = '\0';
  return out.Length();
}

size_t safe_format(char* buffer, size_t size, const char* format, ...) noexcept {
  va_list args;
  va_start(args, format);
  const size_t n = safe_vformat(buffer, size, format, args);
  va_end(args);
  return n;
}

}  // namespace plinth::platform
