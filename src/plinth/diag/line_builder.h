// Composes text into a caller's fixed buffer: no allocation, no locale, no
// stdio, so the diagnostics use it on the print path and on crash paths
// alike. Text that doesn't fit is cut; overflowed() says so. Not shared
// between threads.
#pragma once

#include <cstddef>
#include <cstring>

namespace plinth::diag {

class LineBuilder {
public:
  // capacity counts the characters, not the terminator that Terminate adds.
  LineBuilder(char* buffer, size_t capacity) noexcept : m_pBuffer(buffer), m_nCapacity(capacity) {}

  void Text(const char* text, size_t length) noexcept {
    const size_t room = m_nCapacity - m_nLength;
    if (length > room) {
      length = room;
      m_bOverflowed = true;
    }
    std::memcpy(m_pBuffer + m_nLength, text, length);
    m_nLength += length;
  }
  void Text(const char* text) noexcept {
    if (!text) text = "(null)";
    Text(text, std::strlen(text));
  }
  void Char(char c) noexcept { Text(&c, 1); }
  // A decimal number, at least width digits with leading zeros.
  void Unsigned(unsigned long value, int width = 1) noexcept {
    char digits[24];
    int n = 0;
    do {
      digits[sizeof digits - 1 - n++] = static_cast<char>('0' + value % 10);
      value /= 10;
    } while (value != 0 && n < 20);
    while (n < width && n < 20) digits[sizeof digits - 1 - n++] = '0';
    Text(digits + sizeof digits - n, static_cast<size_t>(n));
  }
  // Writes the terminator behind the text; the buffer holds capacity + 1 bytes.
  void Terminate() noexcept { m_pBuffer[m_nLength] = '\0'; }

  size_t size() const noexcept { return m_nLength; }
  bool overflowed() const noexcept { return m_bOverflowed; }
  const char* data() const noexcept { return m_pBuffer; }

private:
  char* m_pBuffer;
  size_t m_nCapacity;
  size_t m_nLength = 0;
  bool m_bOverflowed = false;
};

}  // namespace plinth::diag
