// Osl_UTF8String: a byte string with operations that count characters. In
// Unicode mode the bytes are UTF-8; in legacy mode they are single-byte text
// of the current encoding and one byte is one character. The mode is asked
// at every call. A value type: one object belongs to one thread at a time.
// Positions outside the text throw std::out_of_range ("out of range error");
// conversions pass on what Osl_UnicodeConverter throws. Invalid UTF-8 is
// never refused: every walk steps by the lead byte and stops at the end.
#pragma once

#include <iosfwd>
#include <string>

#include "plinth/plinth_export.h"

class PLINTH_API Osl_UTF8String {
public:
  // The "not found" and "past the end" position: all 32 bits set. It is
  // not std::string::npos, which is 64 bits wide here.
  static constexpr unsigned int npos = 0xFFFFFFFFu;

  Osl_UTF8String() = default;
  // The bytes as they are: no conversion, no test.
  Osl_UTF8String(char const* text);
  Osl_UTF8String(std::string const& text);
  Osl_UTF8String(Osl_UTF8String const& other) = default;
  // UTF-16 code units, one in each wchar_t. In legacy mode the text is
  // converted on to the current encoding.
  Osl_UTF8String(std::wstring const& text);
  Osl_UTF8String(wchar_t const* text);
  ~Osl_UTF8String() = default;

  Osl_UTF8String& operator=(Osl_UTF8String const& other) = default;
  Osl_UTF8String& operator+=(Osl_UTF8String const& text);
  Osl_UTF8String& operator+=(std::string const& text);
  Osl_UTF8String& operator+=(char const* text);

  // Replaces the content by length bytes of text.
  void assign(char* text, long length);
  char const* c_str() const { return m_sContent.c_str(); }
  // Bytes, not characters.
  unsigned int length() const { return static_cast<unsigned int>(m_sContent.size()); }
  std::string& GetString() { return m_sContent; }
  std::string const& GetString() const { return m_sContent; }
  std::string const& ToString() const { return m_sContent; }

  // UTF-16 code units, one in each wchar_t. What the converter produced up
  // to a failure is the result.
  std::wstring ToWString();
  // The text in the current encoding: converted in Unicode mode, a copy in
  // legacy mode.
  std::string const ToCurrentSystemEncoding() const;

  // Byte-wise through the Windows-1252 tables, in both modes.
  void ToUpper();
  void ToLower();

  // Characters in the text; a last character cut short by the end counts.
  unsigned int LengthInChars() const;
  // The byte position count characters behind byte position start. In
  // Unicode mode a position at or behind the end is npos: the end itself is
  // not a character position.
  unsigned int CharsPosAsAbsPos(unsigned int start, unsigned int count) const;
  // Characters that begin in the bytes [start, end); 0 when start >= end.
  unsigned int AbsPosAsCharsPos(unsigned int start, unsigned int end) const;
  // count characters from character pos; a count of 0 never throws. Each
  // call walks from the start of the text, so taking every character with
  // SubstrInChars(i, 1) is quadratic: iterate with GetNextChar instead.
  Osl_UTF8String SubstrInChars(unsigned int pos, unsigned int count);
  void EraseInChars(unsigned int pos, unsigned int count);
  // The character position of what, searched from character pos; in
  // Unicode mode a match begins on a character boundary only.
  unsigned int Find(Osl_UTF8String const& what, unsigned int pos);

  // Steps over the character at byte pos: text points to it, len is its
  // byte length, and the result is the byte position behind it, to be fed
  // back. At the end the result is npos and nothing is touched. On a
  // continuation byte (Unicode mode) result and len are the value -2 and
  // text is untouched. A lead byte of 0xF0 or above throws QLNError.
  unsigned int GetNextChar(unsigned int pos, char const*& text, unsigned int& len);
  // The same with a copy of the character; out is emptied where text above
  // stays untouched.
  unsigned int GetNextChar(unsigned int pos, Osl_UTF8String& out);

private:
  // The byte length from a first byte, as GetNextChar uses it: -2 as an
  // unsigned value for a continuation byte; throws for 0xF0 and above.
  static unsigned int GetCharLen(char const* text);

  std::string m_sContent;
};

PLINTH_API bool operator==(Osl_UTF8String const& a, Osl_UTF8String const& b);
PLINTH_API bool operator==(Osl_UTF8String const& a, char const* b);
// Legacy mode: unsigned bytes. Unicode mode: UTF-16 units as unsigned 16-bit
// values. No collation; the shorter first on a common prefix.
PLINTH_API bool operator<(Osl_UTF8String const& a, Osl_UTF8String const& b);
// The content bytes, unconverted.
PLINTH_API std::ostream& operator<<(std::ostream& out, Osl_UTF8String const& text);

namespace i18n_aux {
// The Unicode mode flag, read now.
PLINTH_API bool IsCJK_mode();
// From UTF-8 to the current encoding in Unicode mode; a copy in legacy mode.
PLINTH_API std::string UTF8ToLocalEncoding(std::string const& text);
// A copy, in every mode.
PLINTH_API std::string LocalEncodingToUTF8(std::string const& text);
// Returns argv unchanged, in every mode.
PLINTH_API char** GetArgvFromCurrentAsUTF8(unsigned int argc, char** argv);
// vprintf of format and arguments; the flag has no effect.
PLINTH_API void printutf(bool flag, char const* format, ...)
    __attribute__((format(printf, 2, 3)));
}  // namespace i18n_aux
