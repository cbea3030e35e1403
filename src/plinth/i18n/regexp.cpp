#include "plinth/i18n/regexp.h"

#include <algorithm>

#include "plinth/errors/qln_error.h"
#include "plinth/platform/gc/gc.h"

namespace {

constexpr unsigned int WholeText = static_cast<unsigned int>(-1);

// Cuts a window of count bytes from start to the text's end; false when
// start lies behind the end.
bool CutWindow(std::string const& text, unsigned int start, unsigned int& count) {
  if (start > text.size()) return false;
  const unsigned long rest = text.size() - start;
  if (count == WholeText || count > rest) count = static_cast<unsigned int>(rest);
  return true;
}

// Marks every occurrence of what with the byte 0xFF, then writes each mark
// as with: a 0xFF already in the text is rewritten too.
void Rewrite(std::string& text, char what, std::string const& with) {
  const char mark = '\xFF';
  std::replace(text.begin(), text.end(), what, mark);
  std::string out;
  out.reserve(text.size() + with.size());
  for (char c : text) {
    if (c == mark) out += with;
    else out += c;
  }
  text.swap(out);
}

}  // namespace

Osl_RegularExpression::Osl_RegularExpression()
    : m_pRegex(nullptr), m_pLocale(nullptr), m_Options(0), m_pSubject(nullptr), m_Start(0) {}

Osl_RegularExpression::Osl_RegularExpression(std::string const& pattern, bool option) : Osl_RegularExpression() {
  compile(pattern, option);
}

Osl_RegularExpression::~Osl_RegularExpression() { free(); }

void Osl_RegularExpression::pattern(std::string const& pattern, bool option) { compile(pattern, option); }

void Osl_RegularExpression::SetOption(long options) { m_Options = options; }

Osl_RegularExpression::range Osl_RegularExpression::not_found() {
  return {static_cast<unsigned long>(-1), static_cast<unsigned long>(-1)};
}

void Osl_RegularExpression::compile(std::string const& pattern, bool option) {
  free();
  gc_compile_pattern(pattern.data(), static_cast<unsigned int>(pattern.size()), option);
}

void Osl_RegularExpression::free() {
  if (m_pRegex) GCRegfree(m_pLocale, m_pRegex, 0);
  if (m_pLocale) GCReleaseLocale(m_pLocale, 0);
  m_pRegex = nullptr;
  m_pLocale = nullptr;
}

// The encoding is UTF-8 or MS1252 by the mode alone; the current encoding
// doesn't count.
void Osl_RegularExpression::gc_compile_pattern(char const* pattern, unsigned int length, bool option) {
  Osl_UnicodeConfiguration* configuration = Osl_UnicodeConfiguration::Instance();
  m_pLocale = configuration->GetLocale(configuration->IsUnicodeMode() ? "UTF-8" : "MS1252");
  m_Options |= GC_REGEX_STANDARD;
  if (option) m_Options |= GC_REGEX_IGNORE_CASE;
  m_pRegex = GCRegcomp(m_pLocale, pattern, length, m_Options);
  if (m_pRegex) return;
  char message[512] = "";
  GCRegerror(m_pLocale, GCGetError(m_pLocale), message, sizeof message, 0);
  throw QLNError("Invalid regular expression pattern: " + std::string(pattern, length) + "\nGCError: " + message, 12,
                 12, "regexp", __LINE__);
}

int Osl_RegularExpression::gc_regexec(char const* text, unsigned long length, char const* subject) {
  return GCRegexec(m_pLocale, m_pRegex, text, length, subject, 0);
}

int Osl_RegularExpression::gc_regrange(unsigned int index, char const*& first, char const*& second) {
  first = nullptr;
  second = nullptr;
  return GCRegrange(m_pRegex, index, &first, &second, 0);
}

Osl_RegularExpression::range Osl_RegularExpression::search(std::string const& text, unsigned int start,
                                                           unsigned int count) {
  m_pSubject = text.data();
  m_Start = start;
  if (!CutWindow(text, start, count)) return not_found();
  if (gc_regexec(text.data() + start, count, text.data()) != 1) return not_found();
  char const* first = nullptr;
  char const* second = nullptr;
  if (gc_regrange(0, first, second) != 0 || !first) return not_found();
  range found;
  found.first = static_cast<unsigned long>(first - text.data()) + start;
  found.second = found.first + static_cast<unsigned long>(second - first);
  if (found.second > static_cast<unsigned long>(start) + count) return not_found();
  return found;
}

long Osl_RegularExpression::match(std::string const& text, unsigned int start, unsigned int count) {
  m_pSubject = text.data();
  m_Start = start;
  if (!CutWindow(text, start, count)) return -1;
  const int result = gc_regexec(text.data() + start, count, text.data());
  if (result == 0) return -1;
  if (result != 1) return -2;
  char const* first = nullptr;
  char const* second = nullptr;
  if (gc_regrange(0, first, second) != 0 || !first) return -1;
  return static_cast<long>(second - first);
}

unsigned int Osl_RegularExpression::groups() {
  unsigned int count = 0;
  char const* first = nullptr;
  char const* second = nullptr;
  while (gc_regrange(count + 1, first, second) == 0 && first) ++count;
  return count;
}

Osl_RegularExpression::range Osl_RegularExpression::group(unsigned int index) {
  char const* first = nullptr;
  char const* second = nullptr;
  if (gc_regrange(index, first, second) != 0 || !first) return not_found();
  const unsigned long begin = static_cast<unsigned long>(first - m_pSubject) + m_Start;
  return {begin, begin + static_cast<unsigned long>(second - first)};
}

unsigned int Osl_RegularExpression::replace(std::string& text, unsigned int start, unsigned int count,
                                            std::string const& with, bool all) {
  if (!CutWindow(text, start, count)) return 0;
  range found = search(text, start, count);
  if (found == not_found() || found.first == found.second) return 0;
  text.replace(found.first, found.second - found.first, with);
  unsigned int replaced = 1;
  if (!all) return replaced;
  // The window behind the match, and the search behind the inserted text.
  long left = static_cast<long>(start) + count - static_cast<long>(found.second);
  unsigned long next = found.first + with.size();
  while (left > 0) {
    found = search(text, static_cast<unsigned int>(next), static_cast<unsigned int>(left));
    if (found == not_found() || found.first == found.second) break;
    text.replace(found.first, found.second - found.first, with);
    left = left + static_cast<long>(next) - static_cast<long>(found.second);
    ++replaced;
    next = found.first + with.size();
  }
  return replaced;
}

void WStringAsRegexp(std::string const& wildcard, std::string& regexp) {
  std::string text = wildcard;
  for (char special : {'\\', '^', '$', '.', '[', ']', '+', '|', '(', ')'})
    Rewrite(text, special, std::string(1, '\\') + special);
  Rewrite(text, '?', ".");
  Rewrite(text, '*', ".*");
  regexp = "^" + text + "$";
}

WildcardString::WildcardString() : WildcardString(std::string(), true) {}

WildcardString::WildcardString(std::string const& pattern, bool caseSensitive)
    : m_bCaseSensitive(caseSensitive),
      m_Pattern(pattern),
      m_RegexpText([&] {
        std::string text;
        WStringAsRegexp(pattern, text);
        return text;
      }()),
      m_Regexp(m_RegexpText, !caseSensitive, false) {}

WildcardString::WildcardString(char const* pattern, bool caseSensitive)
    : WildcardString(std::string(pattern ? pattern : ""), caseSensitive) {}

WildcardString::WildcardString(const WildcardString& other)
    : m_bCaseSensitive(other.m_bCaseSensitive),
      m_Pattern(other.m_Pattern),
      m_RegexpText(other.m_RegexpText),
      m_Regexp(m_RegexpText, !m_bCaseSensitive, false) {}

WildcardString& WildcardString::operator=(const WildcardString& other) {
  if (this == &other) return *this;
  m_bCaseSensitive = other.m_bCaseSensitive;
  m_Pattern = other.m_Pattern;
  m_RegexpText = other.m_RegexpText;
  Compile();
  return *this;
}

WildcardString::~WildcardString() = default;

bool WildcardString::CaseSensitive() const { return m_bCaseSensitive; }
std::string const& WildcardString::GetPattern() const { return m_Pattern; }
std::string WildcardString::AsRegexp() { return m_RegexpText; }

bool WildcardString::HasPattern() const { return m_Pattern.find_first_of("?*") != std::string::npos; }

void WildcardString::SetPattern(std::string const& pattern) {
  m_Pattern = pattern;
  TranslateToRegularExpression();
  Compile();
}

void WildcardString::SetCase(bool caseSensitive) {
  if (caseSensitive == m_bCaseSensitive) return;
  m_bCaseSensitive = caseSensitive;
  Compile();
}

bool WildcardString::Match(std::string const& text, unsigned int start, unsigned int count) {
  if (text.empty() && m_Pattern == "*") return true;
  if (!CutWindow(text, start, count)) return false;
  // The window alone is the subject, so that "^" and "$" stand at its edges.
  const auto found = m_Regexp.search(text.c_str() + start, 0, count);
  return found.first != os_regexp::npos && found.second > found.first;
}

bool WildcardString::Match(char const* text, unsigned int start, unsigned int count) {
  return Match(std::string(text ? text : ""), start, count);
}

void WildcardString::TranslateToRegularExpression() { WStringAsRegexp(m_Pattern, m_RegexpText); }

void WildcardString::Compile() { m_Regexp = os_regexp(m_RegexpText, !m_bCaseSensitive, false); }
