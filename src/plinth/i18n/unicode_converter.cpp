#include "plinth/i18n/unicode_converter.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <memory>
#include <mutex>

#include "plinth/errors/qln_error.h"
#include "plinth/platform/gc/gc.h"

namespace {

const char SourceName[] = "unicode_converter";

// What a UTF loop reports besides the elements it moved.
enum class Stop { Finished, SourceExhausted, TargetExhausted, SourceIllegal };

ConversionRC ResultOf(Stop stop) {
  switch (stop) {
    case Stop::Finished:
      return CONV_OK;
    case Stop::SourceIllegal:
      return CONV_ERROR;
    default:
      return CONV_INCOMPLETE;
  }
}

// Copies the run of ASCII at the start of source, at most room elements,
// and gives its length. A short run (a space between words) goes one by
// one; a long one in blocks of 16 that a compiler turns into vector code.
template <typename From, typename To>
long CopyAscii(const From* source, To* target, long room) {
  using Unit = std::make_unsigned_t<From>;
  constexpr long Block = 16;
  long k = 0;
  for (; k < room && k < Block; ++k) {
    const auto c = static_cast<Unit>(source[k]);
    if (c >= 0x80) return k;
    target[k] = static_cast<To>(c);
  }
  for (; k + Block <= room; k += Block) {
    Unit any = 0;
    for (long j = 0; j < Block; ++j) any |= static_cast<Unit>(source[k + j]);
    if (any >= 0x80) break;
    for (long j = 0; j < Block; ++j) target[k + j] = static_cast<To>(source[k + j]);
  }
  for (; k < room; ++k) {
    const auto c = static_cast<Unit>(source[k]);
    if (c >= 0x80) break;
    target[k] = static_cast<To>(c);
  }
  return k;
}

bool IsTrail(unsigned char b) { return (b & 0xC0) == 0x80; }

// UTF-8 to UTF-16 by the lead byte: a sequence that reaches past the end is
// "source exhausted" before its bytes are tested, the rest must be legal
// (no overlong forms, no surrogates, nothing past U+10FFFF, at most four
// bytes), and a character that needs two units never half-fits.
Stop UTF8toUTF16(const char* source, long slen, wchar_t* target, long dlen, long& consumed, long& produced) {
  const auto* src = reinterpret_cast<const unsigned char*>(source);
  long i = 0, o = 0;
  Stop stop = Stop::Finished;
  while (i < slen) {
    const unsigned char lead = src[i];
    if (lead < 0x80) {
      const long room = std::min(slen - i, dlen - o);
      const long copied = CopyAscii(src + i, target + o, room);
      i += copied;
      o += copied;
      if (copied == room && i < slen && o == dlen) {
        stop = Stop::TargetExhausted;
        break;
      }
      continue;
    }
    const long length = Osl_UnicodeConverter::LeadByteStep[lead];
    if (length > slen - i) {
      stop = Stop::SourceExhausted;
      break;
    }
    char32_t c;
    if (length == 2) {
      if (lead < 0xC2 || !IsTrail(src[i + 1])) {
        stop = Stop::SourceIllegal;
        break;
      }
      c = (char32_t(lead & 0x1F) << 6) | (src[i + 1] & 0x3F);
    } else if (length == 3) {
      const unsigned char second = src[i + 1];
      const unsigned char low = lead == 0xE0 ? 0xA0 : 0x80, high = lead == 0xED ? 0x9F : 0xBF;
      if (second < low || second > high || !IsTrail(src[i + 2])) {
        stop = Stop::SourceIllegal;
        break;
      }
      c = (char32_t(lead & 0x0F) << 12) | (char32_t(second & 0x3F) << 6) | (src[i + 2] & 0x3F);
    } else if (length == 4 && lead <= 0xF4) {
      const unsigned char second = src[i + 1];
      const unsigned char low = lead == 0xF0 ? 0x90 : 0x80, high = lead == 0xF4 ? 0x8F : 0xBF;
      if (second < low || second > high || !IsTrail(src[i + 2]) || !IsTrail(src[i + 3])) {
        stop = Stop::SourceIllegal;
        break;
      }
      c = (char32_t(lead & 0x07) << 18) | (char32_t(second & 0x3F) << 12) | (char32_t(src[i + 2] & 0x3F) << 6) |
          (src[i + 3] & 0x3F);
    } else {
      // A continuation byte, a lead of five or six bytes, or past U+10FFFF.
      stop = Stop::SourceIllegal;
      break;
    }
    if (c <= 0xFFFF) {
      if (o >= dlen) {
        stop = Stop::TargetExhausted;
        break;
      }
      target[o++] = static_cast<wchar_t>(c);
    } else {
      if (dlen - o < 2) {
        stop = Stop::TargetExhausted;
        break;
      }
      c -= 0x10000;
      target[o++] = static_cast<wchar_t>(0xD800 + (c >> 10));
      target[o++] = static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
    }
    i += length;
  }
  consumed = i;
  produced = o;
  return stop;
}

// UTF-16 to UTF-8, leniently: a surrogate without its partner goes out as
// its own value in three bytes, except a high surrogate at the very end,
// which may yet find its partner in the caller's next piece.
Stop UTF16toUTF8(const wchar_t* source, long slen, char* target, long dlen, long& consumed, long& produced) {
  auto* dst = reinterpret_cast<unsigned char*>(target);
  long i = 0, o = 0;
  Stop stop = Stop::Finished;
  // One test per unit on the common paths: in text that mixes scripts the
  // cost is the mispredicted branch where the script changes.
  while (i < slen) {
    char32_t c = static_cast<char32_t>(source[i]);
    if (c < 0x80) {
      // A long run of ASCII (its 32nd unit is ASCII too) goes in blocks.
      if (slen - i >= 32 && static_cast<char32_t>(source[i + 31]) < 0x80) {
        const long room = std::min(slen - i, dlen - o);
        const long copied = CopyAscii(source + i, dst + o, room);
        i += copied;
        o += copied;
        if (copied == room && o == dlen) {
          stop = Stop::TargetExhausted;
          break;
        }
        continue;
      }
      if (o == dlen) {
        stop = Stop::TargetExhausted;
        break;
      }
      dst[o++] = static_cast<unsigned char>(c);
      ++i;
      continue;
    }
    if (c < 0x800) {
      if (dlen - o < 2) {
        stop = Stop::TargetExhausted;
        break;
      }
      dst[o] = static_cast<unsigned char>(0xC0 | (c >> 6));
      dst[o + 1] = static_cast<unsigned char>(0x80 | (c & 0x3F));
      o += 2;
      ++i;
      continue;
    }
    long units = 1;
    if (c >= 0xD800 && c < 0xDC00) {
      if (i + 1 >= slen) {
        stop = Stop::SourceExhausted;
        break;
      }
      // A high surrogate without its low one goes out as its own value, as
      // does a low one on its own.
      const char32_t low = static_cast<char32_t>(source[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        c = ((c - 0xD800) << 10) + (low - 0xDC00) + 0x10000;
        units = 2;
      }
    }
    if (c < 0x10000) {
      if (dlen - o < 3) {
        stop = Stop::TargetExhausted;
        break;
      }
      dst[o] = static_cast<unsigned char>(0xE0 | (c >> 12));
      dst[o + 1] = static_cast<unsigned char>(0x80 | ((c >> 6) & 0x3F));
      dst[o + 2] = static_cast<unsigned char>(0x80 | (c & 0x3F));
      o += 3;
    } else if (c < 0x110000) {
      if (dlen - o < 4) {
        stop = Stop::TargetExhausted;
        break;
      }
      dst[o] = static_cast<unsigned char>(0xF0 | (c >> 18));
      dst[o + 1] = static_cast<unsigned char>(0x80 | ((c >> 12) & 0x3F));
      dst[o + 2] = static_cast<unsigned char>(0x80 | ((c >> 6) & 0x3F));
      dst[o + 3] = static_cast<unsigned char>(0x80 | (c & 0x3F));
      o += 4;
    } else {
      // A wchar_t holds 32 bits here: values past Unicode can't be written.
      stop = Stop::SourceIllegal;
      break;
    }
    i += units;
  }
  consumed = i;
  produced = o;
  return stop;
}

// The capacity of the allocating forms for a source of slen elements.
long Capacity(long slen, long perElement, long extra) { return (slen > 0 ? slen : 0) * perElement + extra; }

// Runs the fixed-buffer form into a buffer of the family's capacity and
// assigns what it produced to out.
template <typename Out, typename In, typename Convert>
ConversionRC IntoString(const In& in, Out& out, long capacity, Convert convert) {
  std::unique_ptr<typename Out::value_type[]> buffer(new typename Out::value_type[capacity]);
  long dlen = capacity;
  ConversionRC rc = convert(in.data(), static_cast<long>(in.size()), buffer.get(), dlen);
  out.assign(buffer.get(), static_cast<size_t>(dlen));
  return rc;
}

// A locale made once per process; its first outcome stands.
struct CachedLocale {
  std::once_flag once;
  GCLocale* locale = nullptr;
  std::string name;
};

}  // namespace

struct Osl_UnicodeConverter::ConversionRecord {
  GCConversion* m_pHandle = nullptr;
  GCLocale* m_pSourceLocale = nullptr;
  GCLocale* m_pDestinationLocale = nullptr;
  // Shift-byte treatment of mixed single- and double-byte IBM text, and its
  // state across calls; no record this library makes turns it on.
  bool m_bShiftBytes = false;
  bool m_bShifted = false;
};

const char Osl_UnicodeConverter::EncodingUTF8[] = "UTF-8";

Osl_UnicodeConverter::Osl_UnicodeConverter()
    : m_HandledLength(0), m_ErrorMode(ERROR_MODE_STOP), m_pConversion(nullptr), m_bToUTF8(false) {
  Osl_UnicodeConfiguration::Instance();
}

Osl_UnicodeConverter::Osl_UnicodeConverter(const Osl_UnicodeConverter& other)
    : m_CurrentEncoding(other.m_CurrentEncoding),
      m_TargetEncoding(other.m_TargetEncoding),
      m_HandledLength(other.m_HandledLength),
      m_ErrorMode(other.m_ErrorMode),
      m_pConversion(nullptr),
      m_bToUTF8(other.m_bToUTF8) {}

Osl_UnicodeConverter& Osl_UnicodeConverter::operator=(const Osl_UnicodeConverter& other) {
  if (this == &other) return *this;
  DropConversion();
  m_CurrentEncoding = other.m_CurrentEncoding;
  m_TargetEncoding = other.m_TargetEncoding;
  m_HandledLength = other.m_HandledLength;
  m_ErrorMode = other.m_ErrorMode;
  m_bToUTF8 = other.m_bToUTF8;
  return *this;
}

Osl_UnicodeConverter::~Osl_UnicodeConverter() { DropConversion(); }

void Osl_UnicodeConverter::Init() {
  m_HandledLength = 0;
  DropConversion();
}

void Osl_UnicodeConverter::SetCurrentEncoding(std::string const& encoding) {
  if (encoding == m_CurrentEncoding) return;
  m_CurrentEncoding = encoding;
  m_HandledLength = 0;
  DropConversion();
}

void Osl_UnicodeConverter::SetTargetEncoding(std::string const& encoding) {
  m_TargetEncoding = encoding;
  m_HandledLength = 0;
  DropConversion();
}

void Osl_UnicodeConverter::SetErrorHanldlingMode(ErrorHanldlingMode mode) { m_ErrorMode = mode; }

long Osl_UnicodeConverter::GetHandledLength() const { return m_HandledLength; }

void Osl_UnicodeConverter::DropConversion() {
  if (!m_pConversion) return;
  GCCloseConversion(m_pConversion->m_pHandle, 0);
  GCReleaseLocale(m_pConversion->m_pSourceLocale, 0);
  GCReleaseLocale(m_pConversion->m_pDestinationLocale, 0);
  delete m_pConversion;
  m_pConversion = nullptr;
}

GCLocale* Osl_UnicodeConverter::GetLocale(std::string const& encoding) const {
  return Osl_UnicodeConfiguration::Instance()->GetLocale(encoding);
}

void Osl_UnicodeConverter::ReleaseLocale(GCLocale* locale) const { GCReleaseLocale(locale, 0); }

bool Osl_UnicodeConverter::IsUnicodeMode() const { return Osl_UnicodeConfiguration::Instance()->IsUnicodeMode(); }

ConversionRC Osl_UnicodeConverter::ConvertNamed(char const* src, long slen, char* dst, long& dlen, bool toCurrent) {
  if (slen < 0) slen = 0;
  if (dlen < 0) dlen = 0;
  if (m_CurrentEncoding == m_TargetEncoding) {
    // strncpy's rule: a zero byte ends the text and zeros fill the rest.
    const long copied = slen <= dlen ? slen : dlen;
    if (copied > 0) {
      const long text = static_cast<long>(strnlen(src, static_cast<size_t>(copied)));
      std::memcpy(dst, src, static_cast<size_t>(text));
      std::memset(dst + text, 0, static_cast<size_t>(copied - text));
    }
    dlen = copied;
    if (copied < slen)
      throw QLNError("No space in the destination buffer ; slen: " + std::to_string(copied) +
                     " dlen: " + std::to_string(copied) +
                     ". DO Destination buffer length = 4* length of source buffer");
    return CONV_OK;
  }
  if (!m_pConversion) {
    const std::string& from = toCurrent ? m_TargetEncoding : m_CurrentEncoding;
    const std::string& to = toCurrent ? m_CurrentEncoding : m_TargetEncoding;
    GCLocale* destination = GetLocale(to);
    GCLocale* source;
    try {
      source = GetLocale(from);
    } catch (...) {
      ReleaseLocale(destination);
      throw;
    }
    m_pConversion = new ConversionRecord;
    m_pConversion->m_pDestinationLocale = destination;
    m_pConversion->m_pSourceLocale = source;
    m_pConversion->m_pHandle = GCOpenConversion(destination, source, 0);
  }
  char* target = dst;
  const char* source = src;
  long targetLeft = dlen;
  long sourceLeft = slen;
  const int result = GCConvertBuffer(m_pConversion->m_pHandle, &target, &targetLeft, &source, &sourceLeft, 0);
  dlen -= targetLeft;
  const long consumed = slen - sourceLeft;
  if (result == GC_CONVERT_TARGET_FULL)
    throw QLNError("No space in the destination buffer ; slen: " + std::to_string(consumed) +
                   " dlen: " + std::to_string(dlen) +
                   ". DO Destination buffer length = 4* length of source buffer");
  m_HandledLength = consumed;
  return result == 0 || result == GC_CONVERT_DONE_NOTE ? CONV_OK : CONV_ERROR;
}

ConversionRC Osl_UnicodeConverter::ConvertTargetEncodingtoCurrentEncoding(char const* src, long slen, char* dst,
                                                                         long& dlen) {
  return ConvertNamed(src, slen, dst, dlen, true);
}

ConversionRC Osl_UnicodeConverter::ConvertTargetEncodingtoCurrentEncoding(char const* src, long slen, char** out,
                                                                         long& dlen) {
  dlen = Capacity(slen, 4, 1);
  *out = new char[dlen];
  return ConvertTargetEncodingtoCurrentEncoding(src, slen, *out, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertTargetEncodingtoCurrentEncoding(std::string const& in, std::string& out) {
  return IntoString(in, out, Capacity(static_cast<long>(in.size()), 4, 1),
                    [this](const char* s, long n, char* d, long& dn) {
                      return ConvertTargetEncodingtoCurrentEncoding(s, n, d, dn);
                    });
}

ConversionRC Osl_UnicodeConverter::ConvertCurrentEncodingtoTargetEncoding(char const* src, long slen, char* dst,
                                                                         long& dlen) {
  return ConvertNamed(src, slen, dst, dlen, false);
}

ConversionRC Osl_UnicodeConverter::ConvertCurrentEncodingtoTargetEncoding(char const* src, long slen, char** out,
                                                                         long& dlen) {
  dlen = Capacity(slen, 4, 1);
  *out = new char[dlen];
  return ConvertCurrentEncodingtoTargetEncoding(src, slen, *out, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertCurrentEncodingtoTargetEncoding(std::string const& in, std::string& out) {
  return IntoString(in, out, Capacity(static_cast<long>(in.size()), 4, 1),
                    [this](const char* s, long n, char* d, long& dn) {
                      return ConvertCurrentEncodingtoTargetEncoding(s, n, d, dn);
                    });
}

// The two shortcuts share the record as long as the direction holds; a
// change of direction makes a new one.
ConversionRC Osl_UnicodeConverter::ConvertUTF8toCurrentEncoding(char const* src, long slen, char* dst, long& dlen) {
  if (m_pConversion && m_bToUTF8) DropConversion();
  if (!m_pConversion) m_TargetEncoding = EncodingUTF8;
  m_bToUTF8 = false;
  return ConvertTargetEncodingtoCurrentEncoding(src, slen, dst, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertUTF8toCurrentEncoding(char const* src, long slen, char** out, long& dlen) {
  dlen = Capacity(slen, 4, 4);
  *out = new char[dlen];
  return ConvertUTF8toCurrentEncoding(src, slen, *out, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertUTF8toCurrentEncoding(std::string const& in, std::string& out) {
  return IntoString(in, out, Capacity(static_cast<long>(in.size()), 4, 4),
                    [this](const char* s, long n, char* d, long& dn) { return ConvertUTF8toCurrentEncoding(s, n, d, dn); });
}

ConversionRC Osl_UnicodeConverter::ConvertCurrentEncodingtoUTF8(char const* src, long slen, char* dst, long& dlen) {
  if (m_pConversion && !m_bToUTF8) DropConversion();
  if (!m_pConversion) m_TargetEncoding = EncodingUTF8;
  m_bToUTF8 = true;
  return ConvertCurrentEncodingtoTargetEncoding(src, slen, dst, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertCurrentEncodingtoUTF8(char const* src, long slen, char** out, long& dlen) {
  dlen = Capacity(slen, 3, 1);
  *out = new char[dlen];
  return ConvertCurrentEncodingtoUTF8(src, slen, *out, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertCurrentEncodingtoUTF8(std::string const& in, std::string& out) {
  return IntoString(in, out, Capacity(static_cast<long>(in.size()), 3, 1),
                    [this](const char* s, long n, char* d, long& dn) { return ConvertCurrentEncodingtoUTF8(s, n, d, dn); });
}

ConversionRC Osl_UnicodeConverter::ConvertUCS2toUTF8(wchar_t const* src, long slen, char* dst, long& dlen) {
  long consumed = 0, produced = 0;
  const Stop stop = UTF16toUTF8(src, slen, dst, dlen, consumed, produced);
  m_HandledLength = consumed;
  dlen = produced;
  return ResultOf(stop);
}

ConversionRC Osl_UnicodeConverter::ConvertUCS2toUTF8(wchar_t const* src, long slen, char** out, long& dlen) {
  dlen = Capacity(slen, 3, 1);
  *out = new char[dlen];
  return ConvertUCS2toUTF8(src, slen, *out, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertUCS2toUTF8(std::wstring const& in, std::string& out) {
  return IntoString(in, out, Capacity(static_cast<long>(in.size()), 3, 1),
                    [this](const wchar_t* s, long n, char* d, long& dn) { return ConvertUCS2toUTF8(s, n, d, dn); });
}

ConversionRC Osl_UnicodeConverter::ConvertUTF8toUCS2(char const* src, long slen, wchar_t* dst, long& dlen) {
  long consumed = 0, produced = 0;
  const Stop stop = UTF8toUTF16(src, slen, dst, dlen, consumed, produced);
  m_HandledLength = consumed;
  dlen = produced;
  return ResultOf(stop);
}

ConversionRC Osl_UnicodeConverter::ConvertUTF8toUCS2(char const* src, long slen, wchar_t** out, long& dlen) {
  dlen = Capacity(slen, 1, 1);
  *out = new wchar_t[dlen];
  return ConvertUTF8toUCS2(src, slen, *out, dlen);
}

ConversionRC Osl_UnicodeConverter::ConvertUTF8toUCS2(std::string const& in, std::wstring& out) {
  return IntoString(in, out, Capacity(static_cast<long>(in.size()), 1, 1),
                    [this](const char* s, long n, wchar_t* d, long& dn) { return ConvertUTF8toUCS2(s, n, d, dn); });
}

bool Osl_UnicodeConverter::IsWideUnicode(wchar_t c) {
  const auto u = static_cast<char32_t>(c);
  if (u >= 0x1100 && u <= 0x115F) return true;
  if (u >= 0x2E80 && u <= 0xA4CF)
    return u != 0x300A && u != 0x300B && u != 0x301A && u != 0x301B && u != 0x303F;
  return (u >= 0xAC00 && u <= 0xD7A3) || (u >= 0xF900 && u <= 0xFAFF) || (u >= 0xFE30 && u <= 0xFE6F) ||
         (u >= 0xFF00 && u <= 0xFF5F) || (u >= 0xFFE0 && u <= 0xFFE6);
}

bool Osl_UnicodeConverter::IsNarrowChar(char const* text, long len) {
  // With no length, the first character's own: never past a terminating zero.
  if (len == 0) len = static_cast<long>(strnlen(text, LeadByteStep[static_cast<unsigned char>(*text)]));
  wchar_t units[4];
  long produced = 0, consumed = 0;
  UTF8toUTF16(text, len, units, 4, consumed, produced);
  m_HandledLength = consumed;
  // An unreadable first character has no width of its own: one cell.
  return produced == 0 || !IsWideUnicode(units[0]);
}

char const* Osl_UnicodeConverter::GetNextCharUTF8(char const* text) {
  return text + LeadByteStep[static_cast<unsigned char>(*text)];
}

ConversionRC Osl_UnicodeConverter::ToUpperUTF8(char const* src, long slen, char* dst, long& dlen) {
  dlen = GCMapString(GetLocaleUTF8(), dst, dlen, src, slen, GC_MAP_UPPERCASE);
  return dlen == slen ? CONV_OK : CONV_ERROR;
}

ConversionRC Osl_UnicodeConverter::ToLowerUTF8(char const* src, long slen, char* dst, long& dlen) {
  dlen = GCMapString(GetLocaleUTF8(), dst, dlen, src, slen, GC_MAP_LOWERCASE);
  return dlen == slen ? CONV_OK : CONV_ERROR;
}

int Osl_UnicodeConverter::GetCharType(EnumCharTypeMode mode, char const* text) {
  return GCGetCharType(IsUnicodeMode() ? GetLocaleUTF8() : GetCurrentLocale(), text, mode);
}

unsigned int Osl_UnicodeConverter::GetWLength(wchar_t const* text) { return GCStrlenU(GetCurrentLocale(), text, 0); }

// Neither cache is ever released; a failure is kept like a success, and
// later calls report it with code 0.
GCLocale* Osl_UnicodeConverter::GetLocaleUTF8() {
  static CachedLocale cache;
  int error = 0;
  std::call_once(cache.once, [&] { cache.locale = GCGetLocale(".UTF-8", 0, &error); });
  if (!cache.locale) throw QLNError("cannot create a UTF8 locale", error, 12, SourceName, __LINE__);
  return cache.locale;
}

GCLocale* Osl_UnicodeConverter::GetCurrentLocale() {
  static CachedLocale cache;
  int error = 0;
  std::call_once(cache.once, [&] {
    cache.name = "." + Osl_UnicodeConfiguration::Instance()->GetCurrentEncoding();
    cache.locale = GCGetLocale(cache.name.c_str(), 0, &error);
  });
  if (!cache.locale) throw QLNError("cannot create a " + cache.name + " locale", error, 12, SourceName, __LINE__);
  return cache.locale;
}
