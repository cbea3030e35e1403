// Byte-wise text helpers: Windows-1252 case mapping and comparison,
// trimming, lines, and the parsing and printing of times, dates and periods.
// They work on bytes whatever the text mode. All are free of shared state
// and safe from any thread. Parsers never report bad text (they give zero
// fields or an adjusted date); only a start position behind the end of the
// text throws std::out_of_range.
#pragma once

#include <array>
#include <string>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_time.h"

namespace i18n_aux {

// Simple case mapping of Windows-1252, indexed by the unsigned byte.
extern PLINTH_API const std::array<int, 256> LowerCaseTable;
extern PLINTH_API const std::array<int, 256> UpperCaseTable;
// 1 for the bytes that end a word, 0 for the others.
extern PLINTH_API const std::array<int, 256> WordSeperatorTable;

PLINTH_API std::string ToLower(std::string const& text);
PLINTH_API std::string ToLowerL(std::string const& text);
PLINTH_API void ToLower2(std::string& text);
PLINTH_API void ToLower2L(std::string& text);
PLINTH_API std::string ToUpper(std::string const& text);
PLINTH_API void ToUpper2(std::string& text);
// A byte's entry; a signed char's negative value counts as its byte. Other
// values give 255.
PLINTH_API int ToLowerL(int c);
PLINTH_API int ToUpperL(int c);

// Orders as both texts mapped to upper case would, bytes unsigned, the
// shorter first on a common prefix. Only the sign has a meaning.
PLINTH_API int cmp_nocase(std::string const& a, std::string const& b);
// An equality test despite the name: true when both are equal ignoring case.
PLINTH_API bool StrCmpI(std::string const& a, std::string const& b);
// 0 for a null pointer, else the table's entry for the byte.
PLINTH_API int IsWordSeperator(const char* c);
// As ToLowerL for negative values; other values outside a byte give 0.
PLINTH_API int IsWordSeperatorL(int c);

// Removes tab, line feed, carriage return and space at both ends.
PLINTH_API void TrimBlanks(std::string& text);
PLINTH_API std::string ItoA(long value);

// The value ReadLine gives when no line feed follows: the result is an
// unsigned int, so this is std::string::npos cut to its width.
inline constexpr unsigned int ReadLineEnd = static_cast<unsigned int>(std::string::npos);
// Sets line to the bytes from pos up to the next line feed (a carriage
// return before it is cut unless it is the only byte) and gives the
// position behind the line feed. Without a further line feed, line is empty
// and the result is ReadLineEnd: a last line without a line feed is never
// delivered.
PLINTH_API unsigned int ReadLine(std::string const& text, unsigned int pos, std::string& line);

PLINTH_API int crt_strcoll(char const* a, char const* b);
PLINTH_API unsigned int crt_strspn(char const* text, char const* accept);

// "h:m:s" in count bytes from pos; missing or bad fields are 0.
PLINTH_API os_time_period GetPeriodFromString(std::string const& text, unsigned int pos, unsigned int count);
PLINTH_API os_time GetTimeFromString(std::string const& text, unsigned int pos, unsigned int count);
// The fixed forms HHMM and HHMMSS at pos; the seconds count only when count
// and the whole text reach 5 bytes. Bytes missing at the end read as 0.
PLINTH_API os_time_period GetPeriodFromString2(std::string const& text, unsigned int pos, unsigned int count);
PLINTH_API os_time GetTimeFromString2(std::string const& text, unsigned int pos, unsigned int count);
// Day, month and year split by separator. A 0 field becomes 1; day and
// month wrap into 1..31 and 1..12 (a day of 32 is 1); the year is kept.
PLINTH_API os_date GetDateFromString(std::string const& text, unsigned int pos, unsigned int count,
                          std::string const& separator);

// "hh:mm:ss dd/mm/yyyy zone" in local time, at most 127 bytes; "BAD DATA"
// when the value can't be read (the reason goes to std::cerr).
PLINTH_API std::string TimeAndDateToString(os_time_and_date const& value);
// "hh:mm:ss"; hours may take more digits, a negative period gives negative
// fields.
PLINTH_API std::string TimePeriodToString(os_time_period const& value);

}  // namespace i18n_aux
