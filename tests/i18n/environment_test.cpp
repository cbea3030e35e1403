#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "plinth/i18n.h"

namespace {

using EnvList = std::vector<std::pair<std::string, std::string>>;

void SetMode(bool unicode) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(unicode);
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS1252");
}

long CountOf(EnvList const& list, std::string const& name) {
  return std::count_if(list.begin(), list.end(), [&](auto const& e) { return e.first == name; });
}

}  // namespace

TEST(Environment, StatusValueAndRemovalInBothForms) {
  for (bool unicode : {false, true}) {
    SetMode(unicode);
    ASSERT_EQ(WEnv::WPutEnv("PLINTH_T_EMPTY", ""), 0);
    ASSERT_EQ(WEnv::WPutEnv("PLINTH_T_SET", "a=b"), 0);
    for (auto [name, status, expected] : {std::tuple{"PLINTH_T_UNSET", ENV_NOT_SET, ""},
                                          {"PLINTH_T_EMPTY", ENV_NO_VALUE, ""}, {"PLINTH_T_SET", ENV_OK, "a=b"}}) {
      std::string value = "stale";
      EXPECT_EQ(WEnv::WGetEnv(name, value), status) << name;
      EXPECT_EQ(value, expected) << name;
    }
    std::string value;
    WEnv::WClearEnv("PLINTH_T_SET");
    EXPECT_EQ(WEnv::WGetEnv("PLINTH_T_SET", value), ENV_NOT_SET);
    EXPECT_EQ(std::getenv("PLINTH_T_SET"), nullptr);  // removed, not emptied

    EXPECT_EQ(WEnv::WPutEnv("", "x"), -1);
  }
}

TEST(Environment, UnicodeValuesRoundTripThroughTheCurrentEncoding) {
  SetMode(true);
  std::string const value = "\xC3\xA4\xE2\x82\xAC";  // ä €
  ASSERT_EQ(WEnv::WPutEnv("PLINTH_T_U", value), 0);
  EXPECT_STREQ(std::getenv("PLINTH_T_U"), "\xE4\x80");  // the system sees MS1252
  std::string back;
  EXPECT_EQ(WEnv::WGetEnv("PLINTH_T_U", back), ENV_OK);
  EXPECT_EQ(back, value);
  EnvList list;
  WEnv::WGetEnvList(list);  // entries come back as UTF-8 too
  EXPECT_EQ(std::count(list.begin(), list.end(), EnvList::value_type("PLINTH_T_U", value)), 1);
}

TEST(Environment, ListsSplitAtTheFirstEqualsAndAppend) {
  SetMode(false);
  ASSERT_EQ(WEnv::WPutEnvL("PLINTH_T_L", "x=y="), 0);
  EnvList list;
  WEnv::WGetEnvList(list);
  WEnv::WGetEnvList(list);
  EXPECT_EQ(CountOf(list, "PLINTH_T_L"), 2);
  EXPECT_EQ(std::count(list.begin(), list.end(), EnvList::value_type("PLINTH_T_L", "x=y=")), 2);

  // Before any wide use the wide list has nothing to walk.
  EnvList wide;
  WEnv::WGetEnvListU(wide);
  EXPECT_TRUE(wide.empty());
  std::string ignored;
  WEnv::WGetEnvU("PLINTH_T_L", ignored);
  WEnv::WGetEnvListU(wide);
  EXPECT_EQ(CountOf(wide, "PLINTH_T_L"), 1);
}

TEST(Environment, AnAcceptedTextStaysValidAfterItIsReplaced) {
  SetMode(false);
  ASSERT_EQ(WEnv::WPutEnvL("PLINTH_T_KEEP", "first"), 0);
  char const* first = std::getenv("PLINTH_T_KEEP");
  ASSERT_EQ(WEnv::WPutEnvL("PLINTH_T_KEEP", "second"), 0);
  WEnv::WClearEnvL("PLINTH_T_KEEP");
  EXPECT_STREQ(first, "first");  // the address sanitizer sees a freed text
}
