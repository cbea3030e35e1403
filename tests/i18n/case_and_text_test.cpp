#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>

#include "plinth/i18n.h"

using namespace i18n_aux;

namespace {
std::string Byte(int b) { return std::string(1, static_cast<char>(b)); }
}  // namespace

TEST(CaseTables, Windows1252MappingsAndTheirInverse) {
  EXPECT_EQ(ToLower(Byte(0xC0)), Byte(0xE0));
  EXPECT_EQ(ToLower(Byte(0x9F)), Byte(0xFF));
  EXPECT_EQ(ToLower(Byte(0xD7)), Byte(0xD7));
  EXPECT_EQ(ToUpper(Byte(0xFF)), Byte(0x9F));
  EXPECT_EQ(ToUpper(Byte(0xB5)), Byte(0xB5));
  EXPECT_EQ(ToUpper(Byte(0xF7)), Byte(0xF7));
  EXPECT_EQ(ToUpper("Hello, World 9"), "HELLO, WORLD 9");
  EXPECT_EQ(ToLowerL("ABC" + Byte(0x8A)), "abc" + Byte(0x9A));

  int changed = 0;
  for (int c = 0; c < 256; ++c) {
    const int up = UpperCaseTable[c];
    if (up != c) {
      ++changed;
      EXPECT_EQ(LowerCaseTable[up], c) << c;  // exact inverse
    } else if (LowerCaseTable[c] == c) {
      // Bytes without case map to themselves in both tables.
      EXPECT_EQ(UpperCaseTable[c], c);
    }
    EXPECT_EQ(ToUpperL(c), up);
    EXPECT_EQ(ToLowerL(c), LowerCaseTable[c]);
  }
  EXPECT_EQ(changed, 26 + 23 + 7 + 4);

  std::string s = "Mixed" + Byte(0xDE);
  ToLower2(s);
  EXPECT_EQ(s, "mixed" + Byte(0xFE));
  ToUpper2(s);
  EXPECT_EQ(s, "MIXED" + Byte(0xDE));
  ToLower2L(s);
  EXPECT_EQ(s, "mixed" + Byte(0xFE));
}

TEST(CaseTables, IntFormsOutsideAByte) {
  EXPECT_EQ(ToUpperL(256), 255);
  EXPECT_EQ(ToLowerL(INT_MAX), 255);
  EXPECT_EQ(IsWordSeperatorL(256), 0);
  // A signed char's value counts as its byte.
  EXPECT_EQ(ToUpperL(static_cast<char>(0xFF)), 0x9F);
  EXPECT_EQ(ToLowerL(static_cast<char>(0xC0)), 0xE0);
  EXPECT_EQ(IsWordSeperatorL(static_cast<char>(0xD8)), 1);
  EXPECT_EQ(ToUpperL(-129), 255);
  EXPECT_EQ(IsWordSeperatorL(-129), 0);
}

TEST(WordSeperator, TableEntries) {
  const char blank = ' ', underscore = '_', letter = 'q', digit = '7';
  const char oslash = static_cast<char>(0xD8), soft = static_cast<char>(0xAD);
  EXPECT_EQ(IsWordSeperator(&blank), 1);
  EXPECT_EQ(IsWordSeperator(&underscore), 1);
  EXPECT_EQ(IsWordSeperator(&oslash), 1);
  EXPECT_EQ(IsWordSeperator(&letter), 0);
  EXPECT_EQ(IsWordSeperator(&digit), 0);
  EXPECT_EQ(IsWordSeperator(&soft), 0);
  EXPECT_EQ(IsWordSeperator(nullptr), 0);
  EXPECT_EQ(IsWordSeperatorL(0xD7), 0);

  const std::string separators = std::string("\t\n\r") + " !\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~";
  int count = 0;
  for (int c = 0; c < 256; ++c) count += IsWordSeperatorL(c);
  EXPECT_EQ(count, static_cast<int>(separators.size()) + 13 + 18 + 1);
  for (char c : separators) EXPECT_EQ(IsWordSeperatorL(static_cast<unsigned char>(c)), 1) << c;
}

TEST(NoCase, OrderAndEquality) {
  EXPECT_EQ(cmp_nocase("abc", "ABC"), 0);
  EXPECT_TRUE(StrCmpI("abc", "ABC"));
  EXPECT_TRUE(StrCmpI("", ""));
  EXPECT_FALSE(StrCmpI("abc", "abcd"));
  EXPECT_LT(cmp_nocase("abc", "abcd"), 0);  // shorter first on a common prefix
  EXPECT_GT(cmp_nocase("abcd", "ABC"), 0);
  // Bytes compare unsigned after mapping: 0xE9 (é, upper 0xC9) sorts after 'Z'.
  EXPECT_GT(cmp_nocase(Byte(0xE9), "z"), 0);
  EXPECT_EQ(cmp_nocase(Byte(0xE9), Byte(0xC9)), 0);
  // 'a' maps to 'A' (0x41) which sorts before '_' (0x5F): the upper-case order.
  EXPECT_LT(cmp_nocase("a", "_"), 0);
  EXPECT_EQ(cmp_nocase(std::string("a\0b", 3), std::string("A\0B", 3)), 0);
  EXPECT_LT(cmp_nocase(std::string("a\0a", 3), std::string("A\0B", 3)), 0);

  // The result agrees in sign with comparing mapped copies, on every pair of
  // short strings over a few interesting bytes.
  const std::vector<std::string> words = {"", "a", "A", "b", "_", Byte(0xFF), Byte(0x9F),
                                          Byte(0xE0), "ab", "aB", Byte(0xD7), "a" + Byte(0xFF)};
  for (const auto& x : words)
    for (const auto& y : words) {
      const int mapped = ToUpper(x).compare(ToUpper(y));  // char_traits<char> compares unsigned
      EXPECT_EQ(cmp_nocase(x, y) < 0, mapped < 0) << x << "|" << y;
      EXPECT_EQ(cmp_nocase(x, y) == 0, mapped == 0) << x << "|" << y;
      EXPECT_EQ(StrCmpI(x, y), mapped == 0);
    }

  std::map<OSLNoCaseString, int> vars;
  vars["Path"] = 1;
  vars["PATH"] = 2;
  vars["home"] = 3;
  EXPECT_EQ(vars.size(), 2u);
  EXPECT_EQ(vars.at("path"), 2);
  EXPECT_EQ(vars.begin()->first, "home");  // H before P, whatever the case
  EXPECT_TRUE(OSLNoCaseString("X") == OSLNoCaseString("x"));
}

TEST(TextHelpers, TrimOnlyTheFourBlanks) {
  std::string s = " \t\r\n inner  blank \n\t ";
  TrimBlanks(s);
  EXPECT_EQ(s, "inner  blank");
  s = "\t \r\n";
  TrimBlanks(s);
  EXPECT_EQ(s, "");
  s = "\v\fx\v";  // only the four blanks count
  TrimBlanks(s);
  EXPECT_EQ(s, "\v\fx\v");
  s = "";
  TrimBlanks(s);
  EXPECT_EQ(s, "");
  EXPECT_EQ(ItoA(LONG_MIN), "-9223372036854775808");
}

TEST(TextHelpers, ReadLineNeverDeliversAnUnterminatedLastLine) {
  std::string line = "stale";
  unsigned pos = ReadLine("a\r\n", 0, line);
  EXPECT_EQ(line, "a");
  EXPECT_EQ(pos, 3u);
  pos = ReadLine("a\r\n", pos, line);
  EXPECT_EQ(line, "");
  EXPECT_EQ(pos, ReadLineEnd);
  EXPECT_EQ(ReadLineEnd, 0xFFFFFFFFu);

  const std::string text = "one\n\r\n\n\r\rtwo\ntail";
  std::vector<std::string> lines;
  for (unsigned p = 0; (p = ReadLine(text, p, line)) != ReadLineEnd;) lines.push_back(line);
  // A carriage return alone is kept; one ending a longer line is cut.
  EXPECT_EQ(lines, (std::vector<std::string>{"one", "\r", "", "\r\rtwo"}));
  EXPECT_EQ(line, "");  // "tail" never arrives
  // Restarting from the end marker, or from anywhere behind the text, is harmless.
  EXPECT_EQ(ReadLine(text, ReadLineEnd, line), ReadLineEnd);
}

TEST(TextClasses, EmbeddedPlusReplacesTheText) {
  embedded_plus_operator op;
  EXPECT_STREQ(op, "");
  op + "first" + "second";
  EXPECT_STREQ(op, "@second");
  embedded_plus_operator copy(op);
  op + "third";
  EXPECT_STREQ(copy, "@second");
  copy = op;
  EXPECT_STREQ(copy, "@third");
}
