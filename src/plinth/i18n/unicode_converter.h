// Conversion between two named encodings (through the locale library) and
// between UTF-8 and UTF-16 held in wchar_t (the library's own loops), and
// small questions about characters: width, next character, type, case. A
// converter belongs to one thread at a time. Conversions answer with a
// ConversionRC; a full destination in a named conversion, an unknown name
// and a locale that can't be made throw QLNError.
#pragma once

#include <array>
#include <string>

#include "plinth/i18n/unicode_configuration.h"
#include "plinth/plinth_export.h"

class Osl_UTF8String;

enum ConversionRC {
  CONV_OK = 0,
  // Something in the source can't be converted, or a case mapping changed
  // the length.
  CONV_ERROR = -2,
  // UTF-8 <-> UTF-16 only: the source ends inside a character, or the
  // destination is full.
  CONV_INCOMPLETE = -3,
};

// Stored by SetErrorHanldlingMode; no conversion reads it.
enum ErrorHanldlingMode {
  ERROR_MODE_STOP = 0,
  ERROR_MODE_SKIP = 1,
  ERROR_MODE_SUBSTITUTE = 2,
};

// What GetCharType answers about a character.
enum EnumCharTypeMode {
  // A mask of the CHAR_TYPE_* bits below.
  CHAR_TYPE_CLASSES = 1,
  // The Unicode general category, as a number (0 unassigned, 1 upper-case
  // letter, 2 lower-case letter, ... in the order of the Unicode tables).
  CHAR_TYPE_CATEGORY = 2,
  // 2 for a character of two terminal cells, 1 for one, 0 for a combining
  // or invisible one.
  CHAR_TYPE_WIDTH = 3,
};

// Bits of the CHAR_TYPE_CLASSES answer.
enum EnumCharTypeClass {
  CHAR_CLASS_UPPER = 0x0001,
  CHAR_CLASS_LOWER = 0x0002,
  CHAR_CLASS_DIGIT = 0x0004,
  CHAR_CLASS_SPACE = 0x0008,
  CHAR_CLASS_PUNCT = 0x0010,
  CHAR_CLASS_CNTRL = 0x0020,
  CHAR_CLASS_BLANK = 0x0040,
  CHAR_CLASS_XDIGIT = 0x0080,
  CHAR_CLASS_ALPHA = 0x0100,
};

class PLINTH_API Osl_UnicodeConverter {
public:
  using enum ConversionRC;
  using enum ErrorHanldlingMode;
  using enum EnumCharTypeMode;

  // "UTF-8".
  static const char EncodingUTF8[];

  // The number of bytes a character takes, read from its first byte alone
  // (a continuation byte steps by 1).
  static constexpr std::array<unsigned char, 256> LeadByteStep = [] {
    std::array<unsigned char, 256> steps{};
    for (int b = 0; b < 256; ++b)
      steps[b] = b < 0xC0 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : b < 0xFC ? 5 : 6;
    return steps;
  }();

  Osl_UnicodeConverter();
  // A copy takes the names, the handled length, the error mode and the
  // direction flag, and starts without an open conversion.
  Osl_UnicodeConverter(const Osl_UnicodeConverter& other);
  Osl_UnicodeConverter& operator=(const Osl_UnicodeConverter& other);
  ~Osl_UnicodeConverter();

  void Init();
  void SetCurrentEncoding(std::string const& encoding);
  void SetTargetEncoding(std::string const& encoding);
  void SetErrorHanldlingMode(ErrorHanldlingMode mode);
  long GetHandledLength() const;

  // Every family has three forms. Fixed buffer: dlen is the capacity of dst
  // on entry and the number of elements written on return; nothing is added
  // behind them. Allocating: *out is allocated with new[] (the caller
  // deletes it with delete[], also after a failure) with the capacity that
  // the family's comment gives, then as the fixed buffer form. Strings: out
  // receives what was produced, whatever the result.

  // Target to current encoding. Capacity 4 * slen + 1.
  ConversionRC ConvertTargetEncodingtoCurrentEncoding(char const* src, long slen, char* dst, long& dlen);
  ConversionRC ConvertTargetEncodingtoCurrentEncoding(char const* src, long slen, char** out, long& dlen);
  ConversionRC ConvertTargetEncodingtoCurrentEncoding(std::string const& in, std::string& out);

  // Current to target encoding. Capacity 4 * slen + 1.
  ConversionRC ConvertCurrentEncodingtoTargetEncoding(char const* src, long slen, char* dst, long& dlen);
  ConversionRC ConvertCurrentEncodingtoTargetEncoding(char const* src, long slen, char** out, long& dlen);
  ConversionRC ConvertCurrentEncodingtoTargetEncoding(std::string const& in, std::string& out);

  // UTF-8 to the current encoding. Capacity 4 * slen + 4.
  ConversionRC ConvertUTF8toCurrentEncoding(char const* src, long slen, char* dst, long& dlen);
  ConversionRC ConvertUTF8toCurrentEncoding(char const* src, long slen, char** out, long& dlen);
  ConversionRC ConvertUTF8toCurrentEncoding(std::string const& in, std::string& out);

  // The current encoding to UTF-8. Capacity 3 * slen + 1.
  ConversionRC ConvertCurrentEncodingtoUTF8(char const* src, long slen, char* dst, long& dlen);
  ConversionRC ConvertCurrentEncodingtoUTF8(char const* src, long slen, char** out, long& dlen);
  ConversionRC ConvertCurrentEncodingtoUTF8(std::string const& in, std::string& out);

  // UTF-16 units to UTF-8; slen counts units. Capacity 3 * slen + 1 bytes.
  ConversionRC ConvertUCS2toUTF8(wchar_t const* src, long slen, char* dst, long& dlen);
  ConversionRC ConvertUCS2toUTF8(wchar_t const* src, long slen, char** out, long& dlen);
  ConversionRC ConvertUCS2toUTF8(std::wstring const& in, std::string& out);
  // Defined beside Osl_UTF8String.
  ConversionRC ConvertUCS2toUTF8(std::wstring const& in, Osl_UTF8String& out);

  // UTF-8 to UTF-16 units; dlen counts units. Capacity slen + 1 units.
  ConversionRC ConvertUTF8toUCS2(char const* src, long slen, wchar_t* dst, long& dlen);
  ConversionRC ConvertUTF8toUCS2(char const* src, long slen, wchar_t** out, long& dlen);
  ConversionRC ConvertUTF8toUCS2(std::string const& in, std::wstring& out);
  // Defined beside Osl_UTF8String.
  ConversionRC ConvertUTF8toUCS2(Osl_UTF8String const& in, std::wstring& out);

  // True for a character that takes two cells on a terminal.
  static bool IsWideUnicode(wchar_t c);
  // Whether the first character of text is narrow; len 0 takes the length
  // from its first byte. Stores the bytes looked at as handled length.
  bool IsNarrowChar(char const* text, long len);
  // Defined beside Osl_UTF8String.
  bool IsNarrowChar(Osl_UTF8String const& text);
  // text + the lead-byte step of *text, without an end check.
  static char const* GetNextCharUTF8(char const* text);

  // Case mapping of UTF-8 text into dst (capacity dlen); dlen receives the
  // bytes produced. CONV_ERROR when that differs from slen.
  ConversionRC ToUpperUTF8(char const* src, long slen, char* dst, long& dlen);
  ConversionRC ToLowerUTF8(char const* src, long slen, char* dst, long& dlen);

  // The type of the character at text: UTF-8 in Unicode mode, the current
  // encoding otherwise. -1 for an unknown mode or a character that can't be
  // read.
  int GetCharType(EnumCharTypeMode mode, char const* text);
  // UTF-16 units up to the terminating zero.
  static unsigned int GetWLength(wchar_t const* text);

  // The process-wide locales, made on first use; their first outcome,
  // failure included, stands for the rest of the process.
  static GCLocale* GetLocaleUTF8();
  static GCLocale* GetCurrentLocale();

  std::string m_CurrentEncoding;
  std::string m_TargetEncoding;
  // Source consumed by the last conversion: bytes, or units of UTF-16.
  long m_HandledLength;
  ErrorHanldlingMode m_ErrorMode;

private:
  struct ConversionRecord;

public:
  ConversionRecord* m_pConversion;
  // True after ConvertCurrentEncodingtoUTF8, false after
  // ConvertUTF8toCurrentEncoding.
  bool m_bToUTF8;

protected:
  GCLocale* GetLocale(std::string const& encoding) const;
  void ReleaseLocale(GCLocale* locale) const;
  bool IsUnicodeMode() const;

private:
  void DropConversion();
  ConversionRC ConvertNamed(char const* src, long slen, char* dst, long& dlen, bool toCurrent);
};
