// Locale data on ICU: the library's data is ICU's own, so the locale
// directory only has to exist; encodings are listed by the "MS<n>" names of
// their Windows code pages and by their standard names.
#include "plinth/platform/gc/gc_locale_data.h"

#include <strings.h>
#include <sys/stat.h>
#include <unicode/uclean.h>
#include <unicode/uloc.h>

#include <atomic>
#include <charconv>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "plinth/platform/gc/gc_internal.h"

namespace {

std::atomic<bool> Started{false};

// The code page number of an ICU alias "windows-<n>", any case; 0 else.
int WindowsCodePage(const char* alias) {
  static const char prefix[] = "windows-";
  const size_t n = sizeof prefix - 1;
  if (strncasecmp(alias, prefix, n) != 0) return 0;
  const char* digits = alias + n;
  const char* end = digits + std::strlen(digits);
  int number = 0;
  auto [stop, ec] = std::from_chars(digits, end, number);
  return ec == std::errc() && stop == end && number > 0 ? number : 0;
}

// The standard name of a converter: MIME's, else IANA's, else ICU's own.
std::string StandardName(const char* converter) {
  for (const char* standard : {"MIME", "IANA"}) {
    UErrorCode status = U_ZERO_ERROR;
    const char* name = ucnv_getStandardName(converter, standard, &status);
    if (U_SUCCESS(status) && name && *name) return name;
  }
  return converter;
}

using Listing = std::vector<std::pair<int, std::string>>;

// ICU's data doesn't change while the process runs: the listing is built
// once and never freed.
const Listing& TheListing() {
  static const Listing* listing = [] {
    auto* out = new Listing;
    std::set<int> codePages;
    std::vector<std::string> standard;
    std::set<std::string> seen;
    for (int32_t i = 0, n = ucnv_countAvailable(); i < n; ++i) {
      const char* converter = ucnv_getAvailableName(i);
      UErrorCode status = U_ZERO_ERROR;
      for (uint16_t a = 0, aliases = ucnv_countAliases(converter, &status); U_SUCCESS(status) && a < aliases; ++a)
        if (int number = WindowsCodePage(ucnv_getAlias(converter, a, &status))) codePages.insert(number);
      // A dot would read as "language.encoding" in a locale name.
      std::string name = StandardName(converter);
      if (name.find('.') == std::string::npos && seen.insert(name).second) standard.push_back(std::move(name));
    }
    for (int number : codePages) out->emplace_back(GC_LOCALE_ENCODING, "MS" + std::to_string(number));
    for (std::string& name : standard) out->emplace_back(GC_LOCALE_ENCODING, std::move(name));
    for (int32_t i = 0, n = uloc_countAvailable(); i < n; ++i)
      out->emplace_back(GC_LOCALE_LANGUAGE, uloc_getAvailable(i));
    for (const char* const* country = uloc_getISOCountries(); *country; ++country)
      out->emplace_back(GC_LOCALE_TERRITORY, *country);
    return out;
  }();
  return *listing;
}

int Fail(GCLocale* locale, UErrorCode code) {
  locale->lastError.store(code, std::memory_order_relaxed);
  return -1;
}

}  // namespace

int GCInit(char const* directory, long, long, long, long) {
  if (!directory || !*directory) return U_ILLEGAL_ARGUMENT_ERROR;
  struct stat info;
  if (stat(directory, &info) != 0 || !S_ISDIR(info.st_mode)) return U_FILE_ACCESS_ERROR;
  UErrorCode status = U_ZERO_ERROR;
  u_init(&status);
  if (U_FAILURE(status)) return status;
  return Started.exchange(true) ? GC_INIT_AGAIN : 0;
}

void GCEnumLocales(GCEnumLocalesProc proc, void* context, int) {
  if (!proc) return;
  for (const auto& [kind, name] : TheListing())
    if (proc(context, kind, name.c_str()) == 0) return;
}

int GCGetLocaleTextInfo(GCLocale* locale, int selector, char* buffer, int size, int) {
  if (!locale) return -1;
  if (selector != GC_TEXT_ABBREVIATED_LANGUAGE || !buffer || size <= 0) return Fail(locale, U_ILLEGAL_ARGUMENT_ERROR);
  if (locale->language.empty()) return Fail(locale, U_ILLEGAL_ARGUMENT_ERROR);
  // ISO 639's three-letter code: what a short language name is here.
  const char* abbreviated = uloc_getISO3Language(locale->language.c_str());
  const size_t length = std::strlen(abbreviated);
  if (length == 0) return Fail(locale, U_MISSING_RESOURCE_ERROR);
  if (length >= static_cast<size_t>(size)) return Fail(locale, U_BUFFER_OVERFLOW_ERROR);
  std::memcpy(buffer, abbreviated, length + 1);
  return static_cast<int>(length);
}
