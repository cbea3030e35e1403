// The variable resolver: sequences, the concatenation mark, the built-in
// date, literal values and very long input.
#include <gtest/gtest.h>

#include <sstream>

#include "plinth/config/auto_edit_string.h"
#include "plinth/platform/os/os_time.h"
#include "plinth/platform/os/os_clock_hooks.h"

namespace {

std::string ResolveWith(const std::string& pattern,
                        const std::vector<std::pair<std::string, std::string>>& table) {
  QLNAutoEditString text(pattern);
  for (const auto& [name, value] : table) text.AddVariable(name, value);
  return text.Resolve();
}

const std::vector<std::pair<std::string, std::string>> kTable = {
    {"A", "1"}, {"B", "2"}, {"A1", "9"}, {"C", "1"}, {"E", ""}};

}  // namespace

TEST(AutoEditString, ResolvesFlatVariablesSequencesAndMarks) {
  struct Case {
    const char* pattern;
    const char* result;
  } cases[] = {
      {"x%%A y", "x1 y"},        {"x%%Q y", "x%%Q y"},   {"%%a", "1"},
      {"%%$A", "1"},             {"%%A%%C", "9"},        {"%%A.%%B", "12"},
      {"file.%%A", "file1"},     {"file.%%Q", "file%%Q"}, {"%%A.", "1."},
      {"%%A%%Q", "1%%Q"},        {"a.b. c.", "a.b. c."}, {"x.%%E.y", "x.y"},
      {"%%A-x", "1-x"},          {"%%%A", "%1"},         {"%A %% %%", "%A %% %%"},
      {"%%Q%%A", "%%Q1"},        {"%%$A%%$C", "9"},      {"%%A%%C%%Q", "11%%Q"},
  };
  for (const Case& c : cases) EXPECT_EQ(ResolveWith(c.pattern, kTable), c.result) << c.pattern;
  // A sequence resolves from its right end, each value extending the name on its left.
  EXPECT_EQ(ResolveWith("%%A%%B%%C", {{"C", "1"}, {"B1", "2"}, {"A2", "3"}}), "3");
  EXPECT_EQ(ResolveWith("<%%B%%C>", {{"B1", "2"}, {"C", "1"}}), "<2>");
  // An unresolved right part leaves its heading inside the longer name.
  EXPECT_EQ(ResolveWith("%%A%%B%%Q", {{"BQ", "1"}, {"A1", "ok"}}), "ok");
}

TEST(AutoEditString, ValuesAreTakenLiterally) {
  // A value with regular-expression replacement syntax, or a variable of
  // its own, comes through as it is in the second pass.
  EXPECT_EQ(ResolveWith("[%%A]", {{"A", "$1\\0&$&"}}), "[$1\\0&$&]");
  EXPECT_EQ(ResolveWith("%%A %%B", {{"A", "%%B"}, {"B", "x"}}), "%%B x");
  // A value the first pass brings in is seen again by the second.
  EXPECT_EQ(ResolveWith("%%A%%B", {{"B", "1%%C"}, {"A1", "n"}, {"C", "c"}}), "nc");
}

TEST(AutoEditString, TableAndBuiltInDate) {
  os_clock::set_frozen_us(1700000000LL * 1000000);  // 2023-11-14 UTC
  const std::string today = os_date::today().to_string("%Y%m%d");
  os_clock::set_frozen_us(0);
  EXPECT_EQ(today.size(), 8u);

  QLNAutoEditString text("%%date/%%DATE/%%Date");
  os_clock::set_frozen_us(1700000000LL * 1000000);
  EXPECT_EQ(text.Resolve(), today + "/%%DATE/%%Date");
  text.AddVariable("dAtE", "d");
  EXPECT_EQ(text.Resolve(), "d/d/d");
  os_clock::set_frozen_us(0);

  QLNAutoEditString names("p %%abc");
  names.AddVariable("abc", "1");
  names.AddVariable("ABC", "2");
  names.AddVariable("b", "3");
  EXPECT_TRUE(names.HasUserDefinedVariable("Abc"));
  EXPECT_FALSE(names.HasUserDefinedVariable("ab"));
  EXPECT_EQ(std::string(names), "p 2");
  EXPECT_EQ(names.Resolve(), "p 2");
  EXPECT_EQ(names.GetPattern(), "p %%abc");
  std::ostringstream out;
  out << names;
  EXPECT_EQ(out.str(), "p %%abc\nabc b ");
}

TEST(AutoEditString, LongInputNeitherRecursesNorSlowsDown) {
  // 100,000 variables in one sequence: only the last one resolves, and the
  // rest stay as written.
  std::string pattern;
  for (int i = 0; i < 100000; ++i) pattern += "%%Q";
  EXPECT_EQ(ResolveWith(pattern + "%%A", {{"A", "1"}}), pattern + "1");
  // A chain that resolves all the way from the right.
  std::string chain;
  std::vector<std::pair<std::string, std::string>> table;
  for (int i = 0; i < 20000; ++i) {
    chain += "%%V";
    table.push_back({"V" + std::string(i == 0 ? "" : "x"), "x"});
  }
  EXPECT_EQ(ResolveWith(chain, table), "x");
  const std::string name(100000, 'N');
  EXPECT_EQ(ResolveWith("%%" + name + "%%" + name, {{name, "v"}}), "%%" + name + "v");
  EXPECT_EQ(ResolveWith("<%%" + name + ">", {{name, "v"}}), "<v>");
}
