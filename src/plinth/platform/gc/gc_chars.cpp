// Case mapping and character types on ICU.
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <climits>
#include <cstring>
#include <vector>

#include "plinth/platform/gc/gc_internal.h"

namespace {

// The modes and class bits of the converter's EnumCharTypeMode and
// EnumCharTypeClass.
enum { ModeClasses = 1, ModeCategory = 2, ModeWidth = 3 };
enum {
  ClassUpper = 0x0001,
  ClassLower = 0x0002,
  ClassDigit = 0x0004,
  ClassSpace = 0x0008,
  ClassPunct = 0x0010,
  ClassCntrl = 0x0020,
  ClassBlank = 0x0040,
  ClassXdigit = 0x0080,
  ClassAlpha = 0x0100,
};

// The longest prefix of whole UTF-8 characters (a malformed byte counts as
// one) within capacity bytes.
long WholeUTF8Prefix(const char* text, long length, long capacity) {
  long end = 0;
  while (end < length) {
    int32_t next = static_cast<int32_t>(end);
    U8_FWD_1(reinterpret_cast<const uint8_t*>(text), next, static_cast<int32_t>(length));
    if (next > capacity) break;
    end = next;
  }
  return end;
}

long MapUTF8(GCLocale* locale, char* target, long capacity, const char* text, long length, bool upper) {
  auto map = upper ? ucasemap_utf8ToUpper : ucasemap_utf8ToLower;
  UErrorCode status = U_ZERO_ERROR;
  int32_t room = static_cast<int32_t>(std::min<long>(capacity, INT32_MAX));
  int32_t needed = map(locale->caseMap, target, room, text, static_cast<int32_t>(length), &status);
  if (U_SUCCESS(status)) return needed;
  if (status != U_BUFFER_OVERFLOW_ERROR) return 0;
  // ICU may cut a character at the end of the room: map into a buffer of
  // the full size and keep whole characters.
  std::vector<char> whole(static_cast<size_t>(needed));
  status = U_ZERO_ERROR;
  needed = map(locale->caseMap, whole.data(), needed, text, static_cast<int32_t>(length), &status);
  if (U_FAILURE(status)) return 0;
  long kept = WholeUTF8Prefix(whole.data(), needed, capacity);
  std::memcpy(target, whole.data(), static_cast<size_t>(kept));
  return kept;
}

// Other encodings go through UTF-16.
long MapEncoded(GCLocale* locale, char* target, long capacity, const char* text, long length, bool upper) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_clone(locale->prototype, &status);
  if (U_FAILURE(status)) return 0;
  std::vector<UChar> units(static_cast<size_t>(length) * 2 + 1);
  int32_t count = ucnv_toUChars(converter, units.data(), static_cast<int32_t>(units.size()), text,
                                static_cast<int32_t>(length), &status);
  std::vector<UChar> mapped(static_cast<size_t>(count) * 3 + 1);
  int32_t mappedCount = 0;
  if (U_SUCCESS(status)) {
    auto map = upper ? u_strToUpper : u_strToLower;
    mappedCount = map(mapped.data(), static_cast<int32_t>(mapped.size()), units.data(), count,
                      locale->language.c_str(), &status);
  }
  long written = 0;
  if (U_SUCCESS(status)) {
    char* out = target;
    const UChar* in = mapped.data();
    const long most = UCNV_GET_MAX_BYTES_FOR_STRING(static_cast<long>(mappedCount), ucnv_getMaxCharSize(converter));
    const long take = std::min(capacity, most);
    std::vector<int32_t> unitOf(static_cast<size_t>(take));
    ucnv_fromUnicode(converter, &out, target + take, &in, mapped.data() + mappedCount, unitOf.data(), true,
                     &status);
    written = out - target;
    if (status == U_BUFFER_OVERFLOW_ERROR && written > 0) {
      // Drop the bytes of the character that didn't fit whole.
      const int32_t cut = unitOf[written - 1];
      while (written > 0 && unitOf[written - 1] == cut) --written;
    } else if (U_FAILURE(status)) {
      written = 0;
    }
  }
  ucnv_close(converter);
  return written;
}

// The character at text in the locale's encoding; -1 when it can't be read.
UChar32 ReadCharacter(GCLocale* locale, const char* text) {
  // ICU counts UTF-8 as at most 3 bytes per UTF-16 unit; a character takes 4.
  const size_t most = locale->utf8 ? 4 : static_cast<size_t>(locale->maxCharSize);
  const int32_t length = static_cast<int32_t>(strnlen(text, most));
  if (length == 0) return 0;
  if (locale->utf8) {
    int32_t at = 0;
    UChar32 c;
    U8_NEXT(reinterpret_cast<const uint8_t*>(text), at, length, c);
    return c;
  }
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_clone(locale->prototype, &status);
  if (U_FAILURE(status)) return -1;
  const char* in = text;
  UChar32 c = ucnv_getNextUChar(converter, &in, text + length, &status);
  ucnv_close(converter);
  return U_SUCCESS(status) ? c : -1;
}

int Classes(UChar32 c) {
  int bits = 0;
  if (u_isupper(c)) bits |= ClassUpper;
  if (u_islower(c)) bits |= ClassLower;
  if (u_isdigit(c)) bits |= ClassDigit;
  if (u_isspace(c)) bits |= ClassSpace;
  if (u_ispunct(c)) bits |= ClassPunct;
  if (u_iscntrl(c)) bits |= ClassCntrl;
  if (u_isblank(c)) bits |= ClassBlank;
  if (u_isxdigit(c)) bits |= ClassXdigit;
  if (u_isalpha(c)) bits |= ClassAlpha;
  return bits;
}

int Width(UChar32 c) {
  switch (u_charType(c)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_FORMAT_CHAR:
      return 0;
    default:
      break;
  }
  const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

}  // namespace

long GCMapString(GCLocale* locale, char* target, long capacity, const char* text, long length,
                 unsigned int operation) {
  if (!locale || !text || length <= 0 || capacity <= 0 || length > INT32_MAX / 4) return 0;
  if (operation != GC_MAP_UPPERCASE && operation != GC_MAP_LOWERCASE) {
    locale->lastError.store(U_ILLEGAL_ARGUMENT_ERROR, std::memory_order_relaxed);
    return 0;
  }
  const bool upper = operation == GC_MAP_UPPERCASE;
  return locale->utf8 ? MapUTF8(locale, target, capacity, text, length, upper)
                      : MapEncoded(locale, target, capacity, text, length, upper);
}

int GCGetCharType(GCLocale* locale, const char* text, int mode) {
  if (!locale || !text) return -1;
  const UChar32 c = ReadCharacter(locale, text);
  if (c < 0) return -1;
  switch (mode) {
    case ModeClasses:
      return Classes(c);
    case ModeCategory:
      return u_charType(c);
    case ModeWidth:
      return Width(c);
    default:
      return -1;
  }
}

unsigned int GCStrlenU(GCLocale*, const wchar_t* text, int) {
  if (!text) return 0;
  unsigned int length = 0;
  while (text[length]) ++length;
  return length;
}
