// Two matchers: Osl_RegularExpression, a regular expression on the locale
// library's engine (UTF-8 in Unicode mode, single-byte text otherwise), and
// WildcardString, a file-name pattern of "*" and "?" on os_regexp. An
// object serves one thread at a time. A bad pattern throws QLNError
// (Osl_RegularExpression) or os_toolkit_error (WildcardString); searching
// reports failure as no match.
#pragma once

#include <string>

#include "plinth/i18n/unicode_configuration.h"
#include "plinth/platform/os/os_regexp.h"
#include "plinth/plinth_export.h"

// A compiled pattern of the locale library (src/plinth/platform/gc).
struct GCRegex;

class PLINTH_API Osl_RegularExpression {
public:
  // Byte offsets from the start of the subject: the match and the one
  // behind it.
  struct range {
    unsigned long first;
    unsigned long second;
    bool operator==(const range&) const = default;
  };

  Osl_RegularExpression();
  // option: match without regard to case.
  Osl_RegularExpression(std::string const& pattern, bool option);
  Osl_RegularExpression(const Osl_RegularExpression&) = delete;
  Osl_RegularExpression& operator=(const Osl_RegularExpression&) = delete;
  ~Osl_RegularExpression();

  // Frees the compiled pattern and the locale, then compiles anew.
  void pattern(std::string const& pattern, bool option);
  // Replaces the option bits; they take effect at the next compile.
  void SetOption(long options);

  // A count of -1, or one past the end, reaches to the end of the text. The
  // text must stay unchanged while groups() and group() read the match.
  range search(std::string const& text, unsigned int start = 0, unsigned int count = static_cast<unsigned int>(-1));
  // The length of the first match in the window; -1 none, -2 an error.
  long match(std::string const& text, unsigned int start = 0, unsigned int count = static_cast<unsigned int>(-1));
  // How many consecutive groups took part in the last match.
  unsigned int groups();
  range group(unsigned int index);
  // Replaces the first match, or with all every later one too (never inside
  // text it put in), and gives the number replaced. An empty match ends it.
  unsigned int replace(std::string& text, unsigned int start, unsigned int count, std::string const& with,
                       bool all);
  // Both fields all bits set.
  static range not_found();

  GCRegex* m_pRegex;
  GCLocale* m_pLocale;
  long m_Options;
  char const* m_pSubject;
  unsigned int m_Start;

private:
  void compile(std::string const& pattern, bool option);
  void free();
  void gc_compile_pattern(char const* pattern, unsigned int length, bool option);
  int gc_regexec(char const* text, unsigned long length, char const* subject);
  int gc_regrange(unsigned int index, char const*& first, char const*& second);
};

// A wildcard as a regular expression of the whole text: the characters
// \ ^ $ . [ ] + | ( ) are escaped, "?" becomes "." and "*" ".*". A byte
// 0xFF comes out as an escaped backslash.
PLINTH_API void WStringAsRegexp(std::string const& wildcard, std::string& regexp);

class PLINTH_API WildcardString {
public:
  // An empty pattern, case-sensitive.
  WildcardString();
  WildcardString(std::string const& pattern, bool caseSensitive);
  WildcardString(char const* pattern, bool caseSensitive);
  WildcardString(const WildcardString& other);
  WildcardString& operator=(const WildcardString& other);
  ~WildcardString();

  bool CaseSensitive() const;
  std::string const& GetPattern() const;
  std::string AsRegexp();
  // Whether the pattern holds a "?" or a "*".
  bool HasPattern() const;
  void SetPattern(std::string const& pattern);
  // Compiles anew only when the value changes.
  void SetCase(bool caseSensitive);
  // Whether the window matches as a whole; the empty text matches "*" only.
  bool Match(std::string const& text, unsigned int start = 0, unsigned int count = static_cast<unsigned int>(-1));
  bool Match(char const* text, unsigned int start = 0, unsigned int count = static_cast<unsigned int>(-1));

  bool m_bCaseSensitive;
  std::string m_Pattern;
  // Follow m_Pattern and m_bCaseSensitive.
  std::string m_RegexpText;
  os_regexp m_Regexp;

private:
  void TranslateToRegularExpression();
  void Compile();
};
