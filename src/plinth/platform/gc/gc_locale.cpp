// Locale handles on ICU converters, and the one table between the code page
// numbers of the library's encoding names and ICU's converter names.
#include <langinfo.h>
#include <locale.h>
#include <unicode/uloc.h>

#include <cctype>
#include <charconv>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>
#include <unordered_map>

#include "plinth/platform/gc/gc_internal.h"

namespace {

// Code pages that ICU doesn't know as windows-<n> or cp<n>, and the code
// set names the C library reports for each code page.
struct CodePage {
  int number;
  const char* converter;  // null: windows-<n>, then cp<n>
  std::initializer_list<const char*> codesets;
};

const CodePage CodePages[] = {
    {65001, "UTF-8", {"UTF-8", "UTF8"}},
    {1252, nullptr, {"ANSI_X3.4-1968", "ASCII", "US-ASCII", "CP1252", "WINDOWS-1252"}},
    {1200, "UTF-16LE", {}},
    {1201, "UTF-16BE", {}},
    {12000, "UTF-32LE", {}},
    {12001, "UTF-32BE", {}},
    {65000, "UTF-7", {}},
    {20127, "US-ASCII", {}},
    {20866, "KOI8-R", {"KOI8-R"}},
    {21866, "KOI8-U", {"KOI8-U"}},
    {28591, "ISO-8859-1", {"ISO-8859-1"}},
    {28592, "ISO-8859-2", {"ISO-8859-2"}},
    {28593, "ISO-8859-3", {"ISO-8859-3"}},
    {28594, "ISO-8859-4", {"ISO-8859-4"}},
    {28595, "ISO-8859-5", {"ISO-8859-5"}},
    {28596, "ISO-8859-6", {"ISO-8859-6"}},
    {28597, "ISO-8859-7", {"ISO-8859-7"}},
    {28598, "ISO-8859-8", {"ISO-8859-8"}},
    {28599, "ISO-8859-9", {"ISO-8859-9"}},
    {28603, "ISO-8859-13", {"ISO-8859-13"}},
    {28605, "ISO-8859-15", {"ISO-8859-15"}},
    {50220, "ISO-2022-JP", {}},
    {51932, "EUC-JP", {"EUC-JP"}},
    {51949, "EUC-KR", {"EUC-KR"}},
    {54936, "GB18030", {"GB18030"}},
    {932, nullptr, {"SHIFT_JIS", "SJIS"}},
    {936, nullptr, {"GBK", "GB2312"}},
    {949, nullptr, {"UHC", "CP949"}},
    {950, nullptr, {"BIG5", "BIG5-HKSCS"}},
    {874, nullptr, {"TIS-620"}},
};

// Lower-case letters and digits only, so that "ISO-8859-1" and "iso8859_1"
// compare equal, as ICU's own name matching does.
std::string Folded(std::string_view name) {
  std::string folded;
  for (unsigned char c : name)
    if (std::isalnum(c)) folded += static_cast<char>(std::tolower(c));
  return folded;
}

// The number of "MS<n>", any case; 0 when the name isn't of that form.
int MsNumber(std::string_view name) {
  if (name.size() < 3 || std::toupper(static_cast<unsigned char>(name[0])) != 'M' ||
      std::toupper(static_cast<unsigned char>(name[1])) != 'S')
    return 0;
  int number = 0;
  auto [end, ec] = std::from_chars(name.data() + 2, name.data() + name.size(), number);
  if (ec != std::errc() || end != name.data() + name.size() || number <= 0) return 0;
  return number;
}

UConverter* TryOpen(const std::string& name, UErrorCode* error) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(name.c_str(), &status);
  if (U_FAILURE(status)) {
    *error = status;
    return nullptr;
  }
  status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  if (U_FAILURE(status)) {
    ucnv_close(converter);
    *error = status;
    return nullptr;
  }
  return converter;
}

bool IsStateful(UConverter* converter) {
  switch (ucnv_getType(converter)) {
    case UCNV_EBCDIC_STATEFUL:
    case UCNV_ISO_2022:
    case UCNV_HZ:
    case UCNV_SCSU:
    case UCNV_BOCU1:
    case UCNV_UTF7:
    case UCNV_IMAP_MAILBOX:
    case UCNV_LMBCS_1:
    case UCNV_ISCII:
      return true;
    default:
      return false;
  }
}

bool IsKnownLanguage(const std::string& id) {
  static const std::set<std::string> known = [] {
    std::set<std::string> ids;
    for (int32_t i = 0, n = uloc_countAvailable(); i < n; ++i) ids.insert(uloc_getAvailable(i));
    return ids;
  }();
  return known.count(id) != 0;
}

struct Registry {
  std::mutex lock;
  std::unordered_map<std::string, std::unique_ptr<GCLocale>> locales;
};

// Never destroyed: handles stay valid until the process ends, also in
// static destructors of other files.
Registry& TheRegistry() {
  static Registry* registry = new Registry;
  return *registry;
}

std::unique_ptr<GCLocale> MakeLocale(const std::string& name, int* error) {
  std::string language = name;
  std::string encoding = "UTF-8";
  if (auto dot = name.rfind('.'); dot != std::string::npos) {
    language = name.substr(0, dot);
    encoding = name.substr(dot + 1);
  }
  // "." alone is the system's own encoding.
  if (encoding.empty()) encoding = "MS" + std::to_string(plinth::platform::GetACP());
  if (!language.empty() && !IsKnownLanguage(language)) {
    *error = U_MISSING_RESOURCE_ERROR;
    return nullptr;
  }
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = plinth::platform::gc::OpenConverter(encoding, &status);
  if (!converter) {
    *error = status;
    return nullptr;
  }
  auto locale = std::make_unique<GCLocale>();
  locale->name = name;
  locale->language = language;
  locale->prototype = converter;
  locale->utf8 = ucnv_getType(converter) == UCNV_UTF8;
  locale->stateful = IsStateful(converter);
  locale->maxCharSize = ucnv_getMaxCharSize(converter);
  status = U_ZERO_ERROR;
  locale->caseMap = ucasemap_open(language.c_str(), 0, &status);
  if (U_FAILURE(status)) {
    ucnv_close(converter);
    *error = status;
    return nullptr;
  }
  return locale;
}

}  // namespace

namespace plinth::platform::gc {

UConverter* OpenConverter(const std::string& encoding, UErrorCode* error) {
  *error = U_ZERO_ERROR;
  if (encoding.empty()) {
    // ucnv_open would give the default converter for an empty name.
    *error = U_ILLEGAL_ARGUMENT_ERROR;
    return nullptr;
  }
  if (int number = MsNumber(encoding)) {
    for (const CodePage& page : CodePages)
      if (page.number == number && page.converter) return TryOpen(page.converter, error);
    if (UConverter* converter = TryOpen("windows-" + std::to_string(number), error)) return converter;
    return TryOpen("cp" + std::to_string(number), error);
  }
  return TryOpen(encoding, error);
}

}  // namespace plinth::platform::gc

GCLocale* GCGetLocale(const char* name, int, int* error) {
  int ignored = 0;
  if (!error) error = &ignored;
  *error = 0;
  if (!name) {
    *error = U_ILLEGAL_ARGUMENT_ERROR;
    return nullptr;
  }
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> held(registry.lock);
  auto found = registry.locales.find(name);
  if (found != registry.locales.end()) return found->second.get();
  std::unique_ptr<GCLocale> locale = MakeLocale(name, error);
  if (!locale) return nullptr;
  GCLocale* result = locale.get();
  registry.locales.emplace(name, std::move(locale));
  return result;
}

// Locales are shared and live for the process: nothing to free.
void GCReleaseLocale(GCLocale*, int) {}

int GCGetError(GCLocale* locale) {
  return locale ? locale->lastError.load(std::memory_order_relaxed) : U_ILLEGAL_ARGUMENT_ERROR;
}

namespace plinth::platform {

int GetACP() {
  // A locale object of its own: the process's locale stays as the host set it.
  locale_t environment = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
  if (!environment) return 1252;
  std::string codeset = Folded(nl_langinfo_l(CODESET, environment));
  freelocale(environment);
  for (const CodePage& page : CodePages)
    for (const char* name : page.codesets)
      if (Folded(name) == codeset) return page.number;
  int number = 0;
  if (codeset.rfind("cp", 0) == 0 || codeset.rfind("windows", 0) == 0) {
    std::string_view digits(codeset);
    digits.remove_prefix(codeset[0] == 'c' ? 2 : 7);
    auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (ec == std::errc() && end == digits.data() + digits.size() && number > 0) return number;
  }
  return 1252;
}

}  // namespace plinth::platform
