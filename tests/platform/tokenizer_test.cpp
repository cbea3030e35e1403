#include <gtest/gtest.h>

#include "plinth/platform.h"

using Tokens = std::vector<std::string>;

TEST(OsTokenizer, SeparatorsAreDroppedAndTerminalsKept) {
  os_tokenizer t;
  t.separators("{}");
  t.terminals("$");
  EXPECT_EQ(t.tokenize("${PRFX}-${ID}"), (Tokens{"$", "PRFX", "-", "$", "ID"}));
  // Adjacent separators and separators at either end give no empty tokens.
  EXPECT_EQ(t.tokenize("{{a}}{}b{"), (Tokens{"a", "b"}));
  EXPECT_EQ(t.tokenize("$$"), (Tokens{"$", "$"}));
  EXPECT_EQ(t.tokenize(""), Tokens{});
  // Blanks and tabs are ordinary unless named; line ends too.
  EXPECT_EQ(t.tokenize(" a\tb \n"), (Tokens{" a\tb \n"}));
}

TEST(OsTokenizer, NoSeparatorsModeSplitsOnlyAtTerminals) {
  os_tokenizer t;
  t.separators(" ");
  t.terminals("%s");
  EXPECT_EQ(t.tokenize("is %s"), (Tokens{"i", "s", "%", "s"}));
  t.no_separators(true);
  EXPECT_TRUE(t.no_separators());
  EXPECT_EQ(t.tokenize("this %s."), (Tokens{"thi", "s", " ", "%", "s", "."}));
  t.no_separators(false);
  EXPECT_EQ(t.tokenize("a b"), (Tokens{"a", "b"}));
}

TEST(OsTokenizer, SetsAreReplacedAndTerminalsWinOverSeparators) {
  os_tokenizer t;
  t.separators(";,");
  t.terminals(",");
  EXPECT_EQ(t.tokenize("a;b,c"), (Tokens{"a", "b", ",", "c"}));
  t.separators(" ");
  t.terminals("[]");
  EXPECT_EQ(t.tokenize("@@ORDER 1 [2]  x;y,z"), (Tokens{"@@ORDER", "1", "[", "2", "]", "x;y,z"}));
  // Bytes above 127 and zero bytes are ordinary characters.
  const std::string binary("\xff\x80 \0z", 5);
  EXPECT_EQ(t.tokenize(binary), (Tokens{"\xff\x80", std::string("\0z", 2)}));
}
