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
  // Blanks and tabs are ordinary unless named.
  EXPECT_EQ(t.tokenize(" a\tb \n"), (Tokens{" a\tb \n"}));
  // Sets are replaced, and terminals win over separators.
  t.separators(";, ");
  t.terminals(",");
  EXPECT_EQ(t.tokenize("a;b,c d"), (Tokens{"a", "b", ",", "c", "d"}));
  // Bytes above 127 and zero bytes are ordinary characters.
  EXPECT_EQ(t.tokenize(std::string("\xff\x80 \0z", 5)), (Tokens{"\xff\x80", std::string("\0z", 2)}));
  // In no-separators mode only the terminals split, until switched off.
  t.no_separators(true);
  EXPECT_EQ(t.tokenize("a b,c"), (Tokens{"a b", ",", "c"}));
  t.no_separators(false);
  EXPECT_EQ(t.tokenize("a b"), (Tokens{"a", "b"}));
}
