// Name-value text on streams and in fixed buffers.
#include <gtest/gtest.h>

#include <sstream>

#include "plinth/plinth.h"

TEST(NVStrings, StreamsWriteEscapedAndReadBack) {
  struct Case {
    std::string name, value, text;
  } cases[] = {
      {"a<b", "c\\d", "<a\\<b>c\\\\d"}, {"", "", "<>"}, {"x>y", "1\n2 ", "<x\\>y>1\n2 "}, {"\xff", "<>", "<\xff>\\<\\>"}};
  for (const Case& c : cases) {
    std::ostringstream out;
    out << NVStrings(c.name, c.value);
    EXPECT_EQ(out.str(), c.text);
    std::string name, value;
    NVStringsRef ref(name, value);
    std::istringstream in(c.text);
    EXPECT_TRUE(ref.ReadFromStream(in));
    EXPECT_EQ(name + "|" + value, c.name + "|" + c.value);
  }
  std::ostringstream out;
  NVUtil::WriteToStream(out, static_cast<const char*>(nullptr));
  NVUtil::WriteToStream(out, "n", nullptr);
  NVUtil::WriteToStream(out, std::string("e"));
  EXPECT_EQ(out.str(), "<e>");
}

TEST(NVStrings, StreamReaderTakesPairsOneByOne) {
  std::istringstream in(" \n<a>1\n<b>2>\\<\\");
  NVStrings pair;
  std::vector<std::string> read;
  while (pair.ReadFromStream(in)) read.push_back(pair.GetName() + "=" + pair.GetValue());
  // White space before '<' is skipped, inside a value kept; a plain '>' stays
  // in the value and a final backslash vanishes.
  EXPECT_EQ(read, (std::vector<std::string>{"a=1\n", "b=2><"}));
  std::istringstream open("<abc");
  EXPECT_FALSE(pair.ReadFromStream(open));
  EXPECT_EQ(pair.GetName(), "abc");
  std::istringstream stop("x\\<y<z");
  std::string out;
  NVUtil::DecodeFromStream(stop, out, '<');
  EXPECT_EQ(out, "x<y");
  EXPECT_EQ(stop.get(), '<');
}

TEST(NVStrings, BufferReaders) {
  enum Fn { Pair, PairSep, Value };
  struct Case {
    Fn fn;
    const char* text;
    int pos;
    unsigned nameSize, valueSize;
    int result;
    std::string name, value;  // the first eight bytes of each buffer after the call
  } cases[] = {
      {Pair, "<name>value", 0, 3, 9, -2, "########", "########"},
      {Pair, "<name>value", 0, 4, 5, 11, std::string("name\0###", 8), std::string("value\0##", 8)},
      {Pair, "<name>value", 0, 4, 4, -2, "########", "########"},
      {Pair, "x<a>1", 0, 4, 4, -1, "########", "########"},
      {Pair, "<a>1>2", 0, 4, 4, 4, std::string("a\0######", 8), std::string("1\0######", 8)},
      {Pair, "<a>1<b>2", 4, 4, 4, 8, std::string("b\0######", 8), std::string("2\0######", 8)},
      {Pair, "<a\\<b>c\\\\d\\", 0, 4, 4, 11, std::string("a<b\0####", 8), std::string("c\\d\0####", 8)},
      {Value, "a,b", 0, 0, 4, 2, "########", std::string("a\0######", 8)},
      {Value, "a\\,b", 0, 0, 4, 4, "########", std::string("a,b\0####", 8)},
      {Value, "abc", 0, 0, 3, 3, "########", std::string("abc\0####", 8)},
      {Value, "abcdef", 0, 0, 3, -2, "########", std::string("ab\0#####", 8)},
      {Value, "ab>c", 1, 0, 0, -2, "########", std::string("\0#######", 8)},
      {PairSep, "<n>v1,v2", 0, 4, 4, 6, std::string("n\0######", 8), std::string("v1\0#####", 8)},
      {PairSep, "<long>v", 0, 2, 4, -2, "########", std::string("v\0######", 8)},
      {PairSep, "<n>toolong", 0, 4, 3, -2, "########", std::string("to\0#####", 8)},
      {PairSep, "<ab", 0, 4, 3, -1, "########", "########"},
  };
  for (const Case& c : cases) {
    char name[8], value[8];
    std::fill(name, name + 8, '#');
    std::fill(value, value + 8, '#');
    int result = 0;
    if (c.fn == Pair) result = nv_read_namevalue(c.text, c.pos, name, c.nameSize, value, c.valueSize);
    if (c.fn == PairSep) result = nv_read_namevalue_with_sep(c.text, ",", c.pos, name, c.nameSize, value, c.valueSize);
    if (c.fn == Value) result = nv_read_val_with_sep(c.text, ",", c.pos, value, c.valueSize);
    EXPECT_EQ(result, c.result) << c.text;
    EXPECT_EQ(std::string(name, 8), c.name) << c.text;
    EXPECT_EQ(std::string(value, 8), c.value) << c.text;
  }
  char buf[4];
  EXPECT_EQ(nv_read_namevalue(nullptr, 0, buf, 3, buf, 3), -1);
  EXPECT_EQ(nv_read_val_with_sep("a", ",", -1, buf, 3), -1);
}
