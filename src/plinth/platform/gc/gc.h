// The locale library's functions that the text classes call: locale handles
// of encodings and languages, conversion between two encodings, case
// mapping and character types. Built on ICU; no other file includes ICU.
// Locale handles may be shared by threads; a conversion handle belongs to
// one thread at a time. Failures are result codes, never exceptions.
#pragma once

// A locale: an encoding, or a language with an encoding (UTF-8 when the
// name gives none). Locales of one name are made once and shared, so a
// handle stays valid after GCReleaseLocale; callers still release it.
struct GCLocale;
// A conversion from one locale's encoding to another's.
struct GCConversion;

// Results of GCConvertBuffer besides 0 (done); other values are failures.
inline constexpr int GC_CONVERT_DONE_NOTE = 53;
inline constexpr int GC_CONVERT_TARGET_FULL = 52;

// Case-mapping operations of GCMapString.
inline constexpr unsigned int GC_MAP_UPPERCASE = 0x80000025u;
inline constexpr unsigned int GC_MAP_LOWERCASE = 0x80000024u;

// name: "." + encoding (".UTF-8", ".MS1252"), a language ("de_DE"), or a
// language with an encoding ("ja_JP.Shift_JIS"). Null on failure with a
// non-zero code in *error (error may be null); 0 in *error on success.
GCLocale* GCGetLocale(const char* name, int flags, int* error);
void GCReleaseLocale(GCLocale* locale, int flags);
// The last failure code seen on that locale; 0 when none.
int GCGetError(GCLocale* locale);

// Converts from source's encoding to destination's. Null if either is null
// or a converter can't be made.
GCConversion* GCOpenConversion(GCLocale* destination, GCLocale* source, int flags);
void GCCloseConversion(GCConversion* conversion, int flags);
// Converts whole characters from *source (*sourceLeft bytes) to *target
// (*targetLeft bytes of room) and moves all four forward by what was
// consumed and produced: up to the first character that can't be read,
// mapped or fitted, never part of one. 0 when everything was converted,
// GC_CONVERT_TARGET_FULL when the target ran out first, another non-zero
// code when a character can't be read or mapped (an ICU error number).
int GCConvertBuffer(GCConversion* conversion, char** target, long* targetLeft, const char** source,
                    long* sourceLeft, int flags);

// Maps the case of length bytes of text in the locale's encoding into
// target (capacity bytes). The result is the number of bytes written:
// whole characters only, so a full target cuts before the first character
// that doesn't fit. A malformed sequence is copied as it stands.
long GCMapString(GCLocale* locale, char* target, long capacity, const char* text, long length,
                 unsigned int operation);
// The type of the character at text in the locale's encoding, by mode (see
// EnumCharTypeMode of the converter). -1 for an unknown mode or a
// character that can't be read.
int GCGetCharType(GCLocale* locale, const char* text, int mode);
// Units up to the terminating zero of a wide string; 0 for null.
unsigned int GCStrlenU(GCLocale* locale, const wchar_t* text, int flags);

// A compiled regular expression; one thread at a time.
struct GCRegex;

// Option bits of GCRegcomp: the library's standard syntax (ICU's), and
// matching without regard to case.
inline constexpr long GC_REGEX_STANDARD = 0x20000;
inline constexpr long GC_REGEX_IGNORE_CASE = 0x80000;

// Compiles length bytes of pattern in the locale's encoding: UTF-8, or a
// single-byte encoding in which each byte is one character. Null on failure,
// with the code in GCGetError(locale).
GCRegex* GCRegcomp(GCLocale* locale, const char* pattern, unsigned long length, long options);
// Searches length bytes at text: 1 a match, 0 none, -1 an error. The match
// stays with the handle for GCRegrange, which reports it as subject plus
// its offset inside text.
int GCRegexec(GCLocale* locale, GCRegex* regex, const char* text, unsigned long length, const char* subject,
              int flags);
// Group 0 is the whole match. 0 on success, with both pointers null when the
// group took no part; non-zero when there is no match or no such group.
int GCRegrange(GCRegex* regex, unsigned int group, const char** first, const char** second, int flags);
// The text of an error code, cut to size bytes with its terminating zero.
void GCRegerror(GCLocale* locale, int code, char* buffer, unsigned int size, int flags);
void GCRegfree(GCLocale* locale, GCRegex* regex, int flags);

namespace plinth::platform {
// The code page number of the process's encoding (LC_CTYPE from the
// environment): UTF-8 is 65001, ASCII and unknown code sets count as 1252.
int GetACP();
}  // namespace plinth::platform
