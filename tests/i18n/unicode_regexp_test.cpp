#include <gtest/gtest.h>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n.h"

namespace {
using Range = Osl_RegularExpression::range;
const Range None = Osl_RegularExpression::not_found();
}  // namespace

TEST(UnicodeRegexp, WildcardTranslationAndMatching) {
  const std::pair<std::string, std::string> translations[] = {
      {"a.b*?", "^a\\.b.*.$"},
      {"", "^$"},
      {"a\\b", "^a\\\\b$"},
      {"x\xFFy", "^x\\\\y$"},  // the marker byte comes out as an escaped backslash
      {"^$[]+|(){}", "^\\^\\$\\[\\]\\+\\|\\(\\){}$"},
  };
  for (const auto& [wildcard, regexp] : translations) {
    std::string out;
    WStringAsRegexp(wildcard, out);
    EXPECT_EQ(out, regexp);
  }
  struct {
    const char* pattern;
    bool caseSensitive;
    std::string text;
    unsigned start, count;
    bool match;
  } const cases[] = {
      {"*", true, "", 0, 0, true},          {"?*", true, "", 0, 0, false},
      {"", true, "", 0, 0, false},          {"a*.txt", true, "abc.txt", 0, ~0u, true},
      {"a*.txt", true, "abc.txt2", 0, ~0u, false}, {"*.TXT", false, "a.txt", 0, ~0u, true},
      {"*.TXT", true, "a.txt", 0, ~0u, false}, {"a+b(", true, "a+b(", 0, ~0u, true},
      {"abc", true, "xxabcx", 2, 3, true},  {"abc", true, "xxabcx", 2, 9, false},
      {"a", true, "a", 5, 1, false},        {"{x}\\*", true, "{x}\\y", 0, ~0u, true},
  };
  for (const auto& c : cases) {
    WildcardString wildcard(c.pattern, c.caseSensitive);
    EXPECT_EQ(wildcard.Match(c.text, c.start, c.count), c.match) << c.pattern << " " << c.text;
    EXPECT_EQ(WildcardString(wildcard).Match(c.text.c_str(), c.start, c.count), c.match);
  }
  EXPECT_TRUE(WildcardString("a?b", true).HasPattern());
  EXPECT_TRUE(WildcardString("a*", true).HasPattern());
  EXPECT_FALSE(WildcardString("a.b", true).HasPattern());
}

TEST(UnicodeRegexp, WildcardCompilesAgainOnlyOnAChange) {
  WildcardString wildcard("A*", true);
  wildcard.m_RegexpText = "^zz$";  // what a fresh compile would take
  wildcard.SetCase(true);
  EXPECT_TRUE(wildcard.Match("Abc"));
  wildcard.SetCase(false);
  EXPECT_TRUE(wildcard.Match("ZZ"));
  wildcard.SetPattern("b?");
  EXPECT_EQ(wildcard.AsRegexp(), "^b.$");
  EXPECT_TRUE(wildcard.Match("BX"));
  WildcardString other;
  other = wildcard;
  EXPECT_FALSE(other.CaseSensitive());
  EXPECT_TRUE(other.Match("bq"));
}

TEST(UnicodeRegexp, SearchGroupsAndMatchInUtf8) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(true);
  Osl_RegularExpression expression("b+", false);
  const std::string text = "aabbbcbb";
  EXPECT_EQ(expression.search(text, 4), (Range{4, 5}));  // offsets from the start of the string
  EXPECT_EQ(expression.search(text, 0, 3), (Range{2, 3}));
  EXPECT_EQ(expression.search(text, 9), None);
  EXPECT_EQ(expression.match(text, 5), 2);
  EXPECT_EQ(expression.match("xyz"), -1);

  expression.pattern("\xC3\xA9+", false);
  EXPECT_EQ(expression.search("x\xC3\xA9\xC3\xA9y"), (Range{1, 5}));

  expression.pattern("(a)(b)?(c)", false);
  const std::string abc = "zac";
  EXPECT_EQ(expression.search(abc), (Range{1, 3}));
  EXPECT_EQ(expression.groups(), 1u);  // group 2 took no part
  EXPECT_EQ(expression.group(3), (Range{2, 3}));
  EXPECT_EQ(expression.group(2), None);
  EXPECT_EQ(expression.group(4), None);

  EXPECT_EQ(Osl_RegularExpression().match("a"), -2);  // nothing compiled
}

TEST(UnicodeRegexp, ReplaceStopsAtEmptyMatchesAndSkipsInsertedText) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(true);
  struct {
    const char* pattern;
    std::string text;
    unsigned start, count;
    const char* with;
    bool all;
    unsigned replaced;
    const char* result;
  } const cases[] = {
      {"a", "aXaXa", 0, ~0u, "aa", true, 3, "aaXaaXaa"},
      {"a", "aXa", 0, ~0u, "b", false, 1, "bXa"},
      {"x*", "abc", 0, ~0u, "-", true, 0, "abc"},
      {"b|(?:)", "bab", 0, ~0u, "B", true, 1, "Bab"},
      {"a", "aaaa", 1, 2, "", true, 2, "aa"},
  };
  for (const auto& c : cases) {
    Osl_RegularExpression expression(c.pattern, false);
    std::string text = c.text;
    EXPECT_EQ(expression.replace(text, c.start, c.count, c.with, c.all), c.replaced) << c.pattern;
    EXPECT_EQ(text, c.result) << c.pattern;
  }
}

TEST(UnicodeRegexp, OptionBitsStayAndBadPatternsThrow) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(true);
  Osl_RegularExpression expression("x", true);
  expression.pattern("a", false);
  EXPECT_EQ(expression.m_Options, 0xA0000);
  EXPECT_EQ(expression.match("bA"), 1);
  expression.SetOption(0);
  expression.pattern("a", false);
  EXPECT_EQ(expression.match("bA"), -1);
  try {
    expression.pattern("(", false);
    ADD_FAILURE();
  } catch (const QLNError& error) {
    EXPECT_EQ(error.What(), "Invalid regular expression pattern: (\nGCError: U_REGEX_MISMATCHED_PAREN");
    EXPECT_EQ(error.Code(), 12);
    EXPECT_EQ(error.Severity(), 12);
  }
  EXPECT_NE(expression.m_pLocale, nullptr);
  EXPECT_EQ(expression.m_pRegex, nullptr);
  EXPECT_EQ(expression.search("("), None);
  EXPECT_EQ(expression.match("("), -2);
}

TEST(UnicodeRegexp, RunawayBacktrackingEndsWithAnError) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(true);
  Osl_RegularExpression expression("(a+)+b", false);
  const std::string text(30000, 'a');
  EXPECT_EQ(expression.match(text), -2);
  EXPECT_EQ(expression.search(text), None);
}

TEST(UnicodeRegexp, LegacyModeSearchesSingleByteText) {
  Osl_RegularExpression expression("\xE9.", true);  // é in MS1252, one byte a character
  EXPECT_EQ(expression.search("a\xC9\x81z"), (Range{1, 3}));
  EXPECT_EQ(expression.match("\xE9"), -1);
}
