#include "plinth/i18n/utf8_string.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <stdexcept>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n/i18n_aux.h"
#include "plinth/i18n/unicode_configuration.h"
#include "plinth/i18n/unicode_converter.h"

namespace {

// Bytes a character takes, from its first byte alone; no validity test.
constexpr auto const& kStep = Osl_UnicodeConverter::LeadByteStep;

constexpr unsigned int kContinuation = static_cast<unsigned int>(-2);

// The mode, read at every call. The first test is the one Instance() makes
// itself; reading the public fields here spares two calls per character on
// the stepping paths.
[[gnu::noinline]] bool unicode_mode_first_time() {
  return Osl_UnicodeConfiguration::Instance()->m_bUnicodeMode;
}

inline bool unicode_mode() {
  Osl_UnicodeConfiguration const* config =
      std::atomic_ref(Osl_UnicodeConfiguration::m_pInstance).load(std::memory_order_acquire);
  if (config == nullptr) [[unlikely]]
    return unicode_mode_first_time();
  return config->m_bUnicodeMode;
}

inline unsigned int step_at(std::string const& text, std::size_t pos) {
  return kStep[static_cast<unsigned char>(text[pos])];
}

[[noreturn, gnu::noinline, gnu::cold]] void throw_out_of_range() { throw std::out_of_range("out of range error"); }

[[noreturn, gnu::noinline, gnu::cold]] void throw_four_bytes() {
  throw QLNError("UTF8 char more than 3 bytes is not implemented", 0, 0, "", 0);
}

// GetNextChar's first-byte test: 1 to 3, 0 for a continuation byte, 4 for a
// lead byte that GetNextChar refuses.
constexpr std::array<unsigned char, 256> kNextCharLen = [] {
  std::array<unsigned char, 256> t{};
  for (int c = 0; c < 256; ++c) t[c] = c < 0x80 ? 1 : c < 0xC0 ? 0 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
  return t;
}();

// The same test in the private member's form.
inline unsigned int char_len(char const* text) {
  unsigned char const first = static_cast<unsigned char>(*text);
  if (first < 0x80) return 1;
  if (first < 0xC0) return kContinuation;
  if (first < 0xE0) return 2;
  if (first < 0xF0) return 3;
  throw_four_bytes();
}

// The lead and continuation bytes of eight bytes at once, as masks with
// bit 7 of each byte set where the byte is of that kind.
struct ByteKinds {
  static constexpr std::uint64_t kHigh = 0x8080808080808080ull;
  explicit ByteKinds(std::uint64_t word) {
    std::uint64_t const high = word & kHigh;
    std::uint64_t const bit6 = (word << 1) & kHigh;
    std::uint64_t const bit5 = (word << 2) & kHigh;
    std::uint64_t const bit4 = (word << 3) & kHigh;
    ascii = high == 0;
    continuation = high & ~bit6;
    lead2 = high & bit6 & ~bit5;
    lead3 = high & bit6 & bit5 & ~bit4;
    longer = high & bit6 & bit5 & bit4;
  }
  bool ascii;
  std::uint64_t continuation, lead2, lead3, longer;
};

// The number of bytes set in a mask of ByteKinds.
inline unsigned int bytes_in(std::uint64_t mask) {
  return static_cast<unsigned int>(((mask >> 7) * 0x0101010101010101ull) >> 56);
}

// Characters from byte start, walking while the place is before limit
// (itself at most the byte length). Eight bytes go in one step when the walk
// through them is sure to meet only two- and three-byte leads, each followed
// by exactly its continuation bytes: then the characters are the bytes that
// aren't continuation bytes, and a character cut by the end of the eight
// carries the walk over its remaining bytes. Anything else takes the single
// step of the lead-byte table.
std::size_t count_steps(std::string const& text, std::size_t start, std::size_t limit) {
  unsigned char const* bytes = reinterpret_cast<unsigned char const*>(text.data());
  std::size_t count = 0;
  std::size_t pos = start;
  while (pos < limit) {
    if (limit - pos >= 8) {
      std::uint64_t word;
      std::memcpy(&word, bytes + pos, sizeof word);
      // The masks read the first byte as the lowest.
      if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
      ByteKinds const kinds(word);
      if (kinds.ascii) {
        pos += 8;
        count += 8;
        continue;
      }
      std::uint64_t const leads = kinds.lead2 | kinds.lead3;
      if (kinds.longer == 0 && kinds.continuation == ((leads << 8) | (kinds.lead3 << 16))) {
        std::size_t const carried = (leads >> 63) + (kinds.lead3 >> 63) + ((kinds.lead3 >> 55) & 1);
        count += 8 - bytes_in(kinds.continuation);
        pos += 8 + carried;
        continue;
      }
    }
    pos += kStep[bytes[pos]];
    ++count;
  }
  return count;
}

std::string current_encoding() { return Osl_UnicodeConfiguration::Instance()->GetCurrentEncoding(); }

}  // namespace

Osl_UTF8String::Osl_UTF8String(char const* text) : m_sContent(text != nullptr ? text : "") {}

Osl_UTF8String::Osl_UTF8String(std::string const& text) : m_sContent(text) {}

Osl_UTF8String::Osl_UTF8String(std::wstring const& text) {
  Osl_UnicodeConverter converter;
  if (unicode_mode()) {
    converter.ConvertUCS2toUTF8(text, *this);
    return;
  }
  Osl_UTF8String utf8;
  converter.ConvertUCS2toUTF8(text, utf8);
  converter.SetCurrentEncoding(current_encoding());
  converter.ConvertUTF8toCurrentEncoding(utf8.m_sContent, m_sContent);
}

Osl_UTF8String::Osl_UTF8String(wchar_t const* text)
    : Osl_UTF8String(text != nullptr
                         ? std::wstring(text, Osl_UnicodeConverter::GetWLength(text))
                         : std::wstring()) {}

Osl_UTF8String& Osl_UTF8String::operator+=(Osl_UTF8String const& text) {
  m_sContent += text.m_sContent;
  return *this;
}

Osl_UTF8String& Osl_UTF8String::operator+=(std::string const& text) {
  m_sContent += text;
  return *this;
}

Osl_UTF8String& Osl_UTF8String::operator+=(char const* text) {
  if (text != nullptr) m_sContent += text;
  return *this;
}

void Osl_UTF8String::assign(char* text, long length) {
  if (text == nullptr || length <= 0) {
    m_sContent.clear();
    return;
  }
  m_sContent.assign(text, static_cast<std::size_t>(length));
}

std::wstring Osl_UTF8String::ToWString() {
  Osl_UnicodeConverter converter;
  std::wstring wide;
  if (unicode_mode()) {
    converter.ConvertUTF8toUCS2(*this, wide);
    return wide;
  }
  converter.SetCurrentEncoding(current_encoding());
  Osl_UTF8String utf8;
  converter.ConvertCurrentEncodingtoUTF8(m_sContent, utf8.m_sContent);
  converter.ConvertUTF8toUCS2(utf8, wide);
  return wide;
}

std::string const Osl_UTF8String::ToCurrentSystemEncoding() const {
  if (!unicode_mode()) return m_sContent;
  // The converter keeps its open conversion while the current encoding
  // stays the same, so one per thread spares opening the locale library's
  // conversion at every call: file names and console lines pass here.
  static thread_local Osl_UnicodeConverter converter;
  converter.SetCurrentEncoding(current_encoding());
  std::string converted;
  converter.ConvertUTF8toCurrentEncoding(m_sContent, converted);
  return converted;
}

void Osl_UTF8String::ToUpper() { i18n_aux::ToUpper2(m_sContent); }

void Osl_UTF8String::ToLower() { i18n_aux::ToLower2L(m_sContent); }

unsigned int Osl_UTF8String::LengthInChars() const {
  if (!unicode_mode()) return length();
  return static_cast<unsigned int>(count_steps(m_sContent, 0, m_sContent.size()));
}

unsigned int Osl_UTF8String::CharsPosAsAbsPos(unsigned int start, unsigned int count) const {
  if (!unicode_mode()) return start + count;
  std::size_t const size = m_sContent.size();
  std::size_t pos = start;
  for (unsigned int taken = 0; taken < count && pos < size; ++taken) pos += step_at(m_sContent, pos);
  return pos >= size ? npos : static_cast<unsigned int>(pos);
}

unsigned int Osl_UTF8String::AbsPosAsCharsPos(unsigned int start, unsigned int end) const {
  if (!unicode_mode()) return end - start;
  // The walk never leaves the content, whatever end says.
  std::size_t const limit = std::min<std::size_t>(end, m_sContent.size());
  return static_cast<unsigned int>(count_steps(m_sContent, start, limit));
}

Osl_UTF8String Osl_UTF8String::SubstrInChars(unsigned int pos, unsigned int count) {
  if (!unicode_mode()) return Osl_UTF8String(m_sContent.substr(pos, count));
  if (count == 0) return Osl_UTF8String();
  if (m_sContent.empty() && pos == 0) return Osl_UTF8String();
  unsigned int const first = CharsPosAsAbsPos(0, pos);
  if (first == npos) throw_out_of_range();
  unsigned int const last = CharsPosAsAbsPos(first, count);
  if (last == npos) return Osl_UTF8String(m_sContent.substr(first));
  return Osl_UTF8String(m_sContent.substr(first, last - first));
}

void Osl_UTF8String::EraseInChars(unsigned int pos, unsigned int count) {
  if (!unicode_mode()) {
    m_sContent.erase(pos, count);
    return;
  }
  if (count == 0) return;
  if (m_sContent.empty() && pos == 0) return;
  unsigned int const first = CharsPosAsAbsPos(0, pos);
  if (first == npos) throw_out_of_range();
  unsigned int const last = CharsPosAsAbsPos(first, count);
  if (last == npos) {
    m_sContent.erase(first);
    return;
  }
  m_sContent.erase(first, last - first);
}

unsigned int Osl_UTF8String::Find(Osl_UTF8String const& what, unsigned int pos) {
  if (!unicode_mode()) {
    std::size_t const found = m_sContent.find(what.m_sContent, pos);
    return found == std::string::npos ? npos : static_cast<unsigned int>(found);
  }
  std::size_t const size = m_sContent.size();
  std::size_t const needle = what.m_sContent.size();
  if (needle > size) return npos;
  unsigned int const start = CharsPosAsAbsPos(0, pos);
  if (start == npos) return npos;
  std::size_t const last = size - needle;
  std::size_t place = start;
  unsigned int chars = pos;
  while (place <= last) {
    if (std::memcmp(m_sContent.data() + place, what.m_sContent.data(), needle) == 0) return chars;
    place += step_at(m_sContent, place);
    ++chars;
  }
  return npos;
}

unsigned int Osl_UTF8String::GetCharLen(char const* text) { return char_len(text); }

unsigned int Osl_UTF8String::GetNextChar(unsigned int pos, char const*& text, unsigned int& len) {
  std::size_t const size = m_sContent.size();
  if (pos == size) return npos;
  if (pos > size) throw_out_of_range();
  if (!unicode_mode()) {
    text = m_sContent.data() + pos;
    len = 1;
    return pos + 1;
  }
  // A table instead of char_len's comparisons: the lengths of mixed text
  // come in no order a branch predictor could learn.
  unsigned int const step = kNextCharLen[static_cast<unsigned char>(m_sContent[pos])];
  if (step - 1 > 2) [[unlikely]] {
    if (step == 0) {
      len = kContinuation;
      return kContinuation;
    }
    throw_four_bytes();
  }
  text = m_sContent.data() + pos;
  // A lead byte that promises more bytes than remain yields the bytes that
  // are there, and the walk ends at the byte length.
  std::size_t const left = size - pos;
  len = step < left ? step : static_cast<unsigned int>(left);
  return pos + len;
}

unsigned int Osl_UTF8String::GetNextChar(unsigned int pos, Osl_UTF8String& out) {
  char const* text = nullptr;
  unsigned int len = 0;
  unsigned int const next = GetNextChar(pos, text, len);
  if (next == npos || next == kContinuation) {
    out.m_sContent.clear();
    return next;
  }
  out.m_sContent.assign(text, len);
  return next;
}

bool operator==(Osl_UTF8String const& a, Osl_UTF8String const& b) {
  return a.GetString() == b.GetString();
}

bool operator==(Osl_UTF8String const& a, char const* b) {
  return b != nullptr && a.GetString() == b;
}

bool operator<(Osl_UTF8String const& a, Osl_UTF8String const& b) {
  // std::char_traits<char> compares bytes as unsigned values.
  if (!unicode_mode()) return a.GetString() < b.GetString();
  std::wstring const wa = Osl_UTF8String(a).ToWString();
  std::wstring const wb = Osl_UTF8String(b).ToWString();
  return std::lexicographical_compare(
      wa.begin(), wa.end(), wb.begin(), wb.end(), [](wchar_t x, wchar_t y) {
        return static_cast<std::uint16_t>(x) < static_cast<std::uint16_t>(y);
      });
}

std::ostream& operator<<(std::ostream& out, Osl_UTF8String const& text) {
  return out << text.GetString();
}

namespace i18n_aux {

bool IsCJK_mode() { return unicode_mode(); }

std::string UTF8ToLocalEncoding(std::string const& text) {
  return Osl_UTF8String(text).ToCurrentSystemEncoding();
}

std::string LocalEncodingToUTF8(std::string const& text) { return text; }

char** GetArgvFromCurrentAsUTF8(unsigned int, char** argv) { return argv; }

void printutf(bool, char const* format, ...) {
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
}

}  // namespace i18n_aux

// The converter's forms on this type.

ConversionRC Osl_UnicodeConverter::ConvertUCS2toUTF8(std::wstring const& in, Osl_UTF8String& out) {
  return ConvertUCS2toUTF8(in, out.GetString());
}

ConversionRC Osl_UnicodeConverter::ConvertUTF8toUCS2(Osl_UTF8String const& in, std::wstring& out) {
  return ConvertUTF8toUCS2(in.GetString(), out);
}

bool Osl_UnicodeConverter::IsNarrowChar(Osl_UTF8String const& text) {
  return IsNarrowChar(text.c_str(), static_cast<long>(text.length()));
}
