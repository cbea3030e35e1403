// Regular expressions on ICU's uregex. UTF-8 text is searched in place
// through a UTF-8 UText, whose native indexes are byte offsets. Text of a
// single-byte encoding is turned into UTF-16 one unit per byte, so that
// its offsets are byte offsets too.
#include <unicode/uregex.h>
#include <unicode/utext.h>

#include <climits>
#include <cstring>
#include <string>

#include "plinth/platform/gc/gc_internal.h"

struct GCRegex {
  URegularExpression* expression = nullptr;
  bool utf8 = false;
  UText* text = nullptr;    // the UTF-8 text of the last search
  std::u16string units;     // the single-byte text of the last search
  const char* subject = nullptr;
  bool matched = false;
};

namespace {

// Bytes that the encoding doesn't map stand for private-use characters of
// their own, so that they match only themselves.
const UChar* SingleByteTable(GCLocale* locale) {
  std::call_once(locale->singleByteOnce, [locale] {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* converter = ucnv_clone(locale->prototype, &status);
    for (int b = 0; b < 256; ++b) {
      const char byte = static_cast<char>(b);
      UChar unit[2];
      UErrorCode one = U_ZERO_ERROR;
      const int32_t n = U_SUCCESS(status) ? ucnv_toUChars(converter, unit, 2, &byte, 1, &one) : 0;
      locale->singleByte[b] = U_SUCCESS(one) && n == 1 ? unit[0] : static_cast<UChar>(0xF700 + b);
    }
    ucnv_close(converter);
  });
  return locale->singleByte;
}

std::u16string Widen(GCLocale* locale, const char* text, unsigned long length) {
  const UChar* table = SingleByteTable(locale);
  std::u16string units(length, u'\0');
  for (unsigned long i = 0; i < length; ++i) units[i] = table[static_cast<unsigned char>(text[i])];
  return units;
}

void Fail(GCLocale* locale, UErrorCode status) { locale->lastError.store(status, std::memory_order_relaxed); }

// A pattern that backtracks without end, such as (a+)+b on a long run of
// a's, ends with U_REGEX_TIME_OUT or U_REGEX_STACK_OVERFLOW instead of
// holding the caller or exhausting memory. A step of the engine's timer is
// some milliseconds; the backtracking stack lives on the heap.
constexpr int32_t TimeLimitSteps = 1000;
constexpr int32_t StackLimitBytes = 8 << 20;

}  // namespace

GCRegex* GCRegcomp(GCLocale* locale, const char* pattern, unsigned long length, long options) {
  if (!locale) return nullptr;
  if (!pattern || length > INT32_MAX || (!locale->utf8 && locale->maxCharSize != 1)) {
    Fail(locale, !pattern || length > INT32_MAX ? U_ILLEGAL_ARGUMENT_ERROR : U_UNSUPPORTED_ERROR);
    return nullptr;
  }
  uint32_t flags = 0;
  if (options & GC_REGEX_IGNORE_CASE) flags |= UREGEX_CASE_INSENSITIVE;
  UErrorCode status = U_ZERO_ERROR;
  UParseError where;
  URegularExpression* expression;
  if (locale->utf8) {
    // uregex_openUText keeps a copy of the pattern, not the UText.
    UText* text = utext_openUTF8(nullptr, pattern, static_cast<int64_t>(length), &status);
    expression = U_SUCCESS(status) ? uregex_openUText(text, flags, &where, &status) : nullptr;
    utext_close(text);
  } else {
    const std::u16string units = Widen(locale, pattern, length);
    expression = uregex_open(units.data(), static_cast<int32_t>(units.size()), flags, &where, &status);
  }
  if (U_FAILURE(status)) {
    uregex_close(expression);
    Fail(locale, status);
    return nullptr;
  }
  uregex_setTimeLimit(expression, TimeLimitSteps, &status);
  uregex_setStackLimit(expression, StackLimitBytes, &status);
  if (U_FAILURE(status)) {
    uregex_close(expression);
    Fail(locale, status);
    return nullptr;
  }
  auto* regex = new GCRegex;
  regex->expression = expression;
  regex->utf8 = locale->utf8;
  return regex;
}

int GCRegexec(GCLocale* locale, GCRegex* regex, const char* text, unsigned long length, const char* subject, int) {
  if (!locale || !regex || (!text && length > 0) || length > INT32_MAX) return -1;
  regex->matched = false;
  regex->subject = subject;
  UErrorCode status = U_ZERO_ERROR;
  if (regex->utf8) {
    regex->text = utext_openUTF8(regex->text, text ? text : "", static_cast<int64_t>(length), &status);
    if (U_SUCCESS(status)) uregex_setUText(regex->expression, regex->text, &status);
  } else {
    regex->units = Widen(locale, text, length);
    uregex_setText(regex->expression, regex->units.data(), static_cast<int32_t>(regex->units.size()), &status);
  }
  const bool found = U_SUCCESS(status) && uregex_find64(regex->expression, 0, &status);
  if (U_FAILURE(status)) {
    Fail(locale, status);
    return -1;
  }
  regex->matched = found;
  return found ? 1 : 0;
}

int GCRegrange(GCRegex* regex, unsigned int group, const char** first, const char** second, int) {
  if (!regex || !first || !second || !regex->matched) return U_REGEX_INVALID_STATE;
  UErrorCode status = U_ZERO_ERROR;
  if (group > static_cast<unsigned int>(uregex_groupCount(regex->expression, &status)))
    return U_INDEX_OUTOFBOUNDS_ERROR;
  const int64_t begin = uregex_start64(regex->expression, static_cast<int32_t>(group), &status);
  const int64_t end = uregex_end64(regex->expression, static_cast<int32_t>(group), &status);
  if (U_FAILURE(status)) return status;
  if (begin < 0) {
    *first = *second = nullptr;
    return 0;
  }
  *first = regex->subject + begin;
  *second = regex->subject + end;
  return 0;
}

void GCRegerror(GCLocale*, int code, char* buffer, unsigned int size, int) {
  if (!buffer || size == 0) return;
  const char* name = u_errorName(static_cast<UErrorCode>(code));
  std::strncpy(buffer, name, size - 1);
  buffer[size - 1] = '\0';
}

void GCRegfree(GCLocale*, GCRegex* regex, int) {
  if (!regex) return;
  uregex_close(regex->expression);
  utext_close(regex->text);
  delete regex;
}
