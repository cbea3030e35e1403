#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>

#include "plinth/i18n.h"

using namespace i18n_aux;

namespace {
std::string Byte(int b) { return std::string(1, static_cast<char>(b)); }
}  // namespace

TEST(CaseTables, Windows1252MappingsTheirInverseAndTheIntForms) {
  // The odd ones: Ÿ (0x9F) and ÿ, × and ÷ without case, µ without upper case.
  EXPECT_EQ(ToLower(Byte(0x9F)), Byte(0xFF));
  EXPECT_EQ(ToLower(Byte(0xD7)) + ToUpper(Byte(0xF7) + Byte(0xB5)), Byte(0xD7) + Byte(0xF7) + Byte(0xB5));
  int changed = 0;
  for (int c = 0; c < 256; ++c) {
    const int up = UpperCaseTable[c];
    if (up != c) {
      ++changed;
      EXPECT_EQ(LowerCaseTable[up], c) << c;  // exact inverse
    } else if (LowerCaseTable[c] == c) {
      EXPECT_EQ(UpperCaseTable[c], c);  // bytes without case map to themselves
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
  EXPECT_EQ(ToLowerL(s), "mixed" + Byte(0xFE));
  // Int forms outside a byte; a signed char's value counts as its byte.
  EXPECT_EQ(ToUpperL(256), 255);
  EXPECT_EQ(ToUpperL(-129), 255);
  EXPECT_EQ(ToUpperL(static_cast<char>(0xFF)), 0x9F);
}

TEST(WordSeperator, TableEntries) {
  const char oslash = static_cast<char>(0xD8), soft = static_cast<char>(0xAD);
  EXPECT_EQ(IsWordSeperator(&oslash), 1);  // Ø ends a word, × does not
  EXPECT_EQ(IsWordSeperatorL(0xD7), 0);
  EXPECT_EQ(IsWordSeperator(&soft), 0);
  EXPECT_EQ(IsWordSeperator(nullptr), 0);
  EXPECT_EQ(IsWordSeperatorL(256), 0);
  EXPECT_EQ(IsWordSeperatorL(static_cast<char>(0xD8)), 1);

  const std::string separators = std::string("\t\n\r") + " !\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~";
  int count = 0;
  for (int c = 0; c < 256; ++c) count += IsWordSeperatorL(c);
  EXPECT_EQ(count, static_cast<int>(separators.size()) + 13 + 18 + 1);
  for (char c : separators) EXPECT_EQ(IsWordSeperatorL(static_cast<unsigned char>(c)), 1) << c;
}

TEST(NoCase, OrderAndEquality) {
  EXPECT_EQ(cmp_nocase(std::string("a\0b", 3), std::string("A\0B", 3)), 0);
  // The result agrees in sign with comparing mapped copies, on every pair of
  // short strings over a few interesting bytes: shorter first on a common
  // prefix, bytes unsigned (0xE9 after 'Z'), the upper-case order ('a' as
  // 0x41 before '_'). StrCmpI is an equality test.
  const std::vector<std::string> words = {"", "a", "A", "b", "_", Byte(0xFF), Byte(0x9F), Byte(0xE0),
                                          Byte(0xE9), "z", "ab", "aB", Byte(0xD7), "a" + Byte(0xFF)};
  for (const auto& x : words)
    for (const auto& y : words) {
      const int mapped = ToUpper(x).compare(ToUpper(y));  // char_traits<char> compares unsigned
      EXPECT_EQ(cmp_nocase(x, y) < 0, mapped < 0) << x << "|" << y;
      EXPECT_EQ(cmp_nocase(x, y) == 0, mapped == 0) << x << "|" << y;
      EXPECT_EQ(StrCmpI(x, y), mapped == 0);
    }
  std::map<OSLNoCaseString, int> vars{{"Path", 1}, {"home", 3}};
  vars["PATH"] = 2;
  EXPECT_EQ(vars.size(), 2u);
  EXPECT_EQ(vars.begin()->first, "home");  // H before P, whatever the case
}

TEST(TextHelpers, TrimOnlyTheFourBlanks) {
  std::string s = " \t\r\n inner  blank \n\t ";
  TrimBlanks(s);
  EXPECT_EQ(s, "inner  blank");
  s = "\v\fx\v";
  TrimBlanks(s);
  EXPECT_EQ(s, "\v\fx\v");
  EXPECT_EQ(ItoA(LONG_MIN), "-9223372036854775808");
}

TEST(TextHelpers, ReadLineNeverDeliversAnUnterminatedLastLine) {
  const std::string text = "one\n\r\n\n\r\rtwo\r\ntail";
  std::string line;
  std::vector<std::string> lines;
  for (unsigned p = 0; (p = ReadLine(text, p, line)) != ReadLineEnd;) lines.push_back(line);
  // A carriage return alone is kept; one ending a longer line is cut.
  EXPECT_EQ(lines, (std::vector<std::string>{"one", "\r", "", "\r\rtwo"}));
  EXPECT_EQ(line, "");  // "tail" never arrives
  EXPECT_EQ(ReadLine(text, ReadLineEnd, line), ReadLineEnd);
}

TEST(TextClasses, EmbeddedPlusReplacesTheText) {
  embedded_plus_operator op;
  op + "first" + "second";
  EXPECT_STREQ(op, "@second");
  embedded_plus_operator copy(op);
  op + "third";
  EXPECT_STREQ(copy, "@second");
  copy = op;
  EXPECT_STREQ(copy, "@third");
}
