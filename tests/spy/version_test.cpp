// The version registry: what a definer keeps of a stamp, the list's
// print, and the stamps that stand as plain text in the library's file.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "plinth/plinth.h"

TEST(OcVersionRegister, DefinersKeepWhatFollowsTheSecondSemicolonInOrder) {
  OcVersionRegister& versions = OcVersionRegister::Instance();
  const size_t before = versions.GetVersionInfos().size();
  ASSERT_GE(before, 2u);
  EXPECT_EQ(versions.GetVersionInfos().front().GetName(), "plinth_diag");
  const struct {
    const char* name;
    const char* stamp;
    const char* data;
  } cases[] = {{"y", "@(#) ocversionstamp;name=x;version=1;note=;", "version=1;note=;"},
               {"one", "head;rest", "rest"},
               {"none", "no semicolon", "no semicolon"},
               {"a name longer than thirty columns", ";;", ""}};
  for (const auto& c : cases) OcVersionDefiner(c.name, c.stamp);
  const std::list<OcVersionInfo> infos = versions.GetVersionInfos();
  ASSERT_EQ(infos.size(), before + 4);
  auto it = std::next(infos.begin(), static_cast<long>(before));
  for (const auto& c : cases) {
    EXPECT_EQ(it->GetName(), c.name);
    EXPECT_EQ(it->GetData(), c.data);
    ++it;
  }

  OcVersionRegister copy = versions;
  copy.m_lInfos.erase(copy.m_lInfos.begin(), std::next(copy.m_lInfos.begin(), static_cast<long>(before)));
  std::ostringstream out;
  copy.Print(out);
  EXPECT_EQ(out.str(),
            "y                             \tversion=1;note=;\n"
            "one                           \trest\n"
            "none                          \tno semicolon\n"
            "a name longer than thirty columns\t\n");
  EXPECT_TRUE(out.flags() & std::ios::left);
  copy.m_lInfos.clear();
  std::ostringstream empty;
  copy.Print(empty);
  EXPECT_EQ(empty.str(), "");
}

TEST(OcVersionRegister, TheStampsStandAsPlainTextInTheLibrary) {
  Dl_info info{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&OcVersionRegister::Instance), &info), 0);
  std::ifstream file(info.dli_fname, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  for (const char* component : {"plinth_diag", "plinth_util"}) {
    const size_t at = bytes.find(std::string("@(#) ocversionstamp;name=") + component + ";version=4.0;build=");
    ASSERT_NE(at, std::string::npos) << component;
    const std::string stamp = bytes.c_str() + at;
    EXPECT_NE(stamp.find(";os=Linux;compiler="), std::string::npos) << stamp;
    EXPECT_EQ(stamp.substr(stamp.size() - 7), ";note=;") << stamp;
  }
  const size_t marker = bytes.find("#@#@PLINTH_VERSION_STAMP=4.0.0.b");
  ASSERT_NE(marker, std::string::npos);
  EXPECT_EQ(std::string(bytes.c_str() + marker), PlinthVersionStamp);
}
