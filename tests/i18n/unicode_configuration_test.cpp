#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n.h"

namespace {

struct LocaleProbe : Osl_UnicodeConverter {
  using Osl_UnicodeConverter::GetLocale;
};

// Standard output of f, with the system's encoding given by LC_ALL.
std::string Output(const char* lcAll, void (*f)()) {
  setenv("LC_ALL", lcAll, 1);
  std::ostringstream captured;
  std::streambuf* old = std::cout.rdbuf(captured.rdbuf());
  f();
  std::cout.rdbuf(old);
  return captured.str();
}

}  // namespace

TEST(UnicodeConfiguration, TraceOnForAnyValueAndTheCodePageDefault) {
  setenv("ORB_PLINTH_TRACE", "", 1);
  EXPECT_EQ(Output("C", [] { Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding(""); }),
            "[i18n] Default Encoding was set as MS1252\n");
  EXPECT_EQ(Osl_UnicodeConfiguration::Instance()->GetTraceLevel(), 1);
  EXPECT_EQ(Output("C.UTF-8", [] { Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding(""); }),
            "[i18n] Default Encoding was set as MS65001\n");
  EXPECT_EQ(Osl_UnicodeConfiguration::Instance()->GetCurrentEncoding(), "MS65001");
}

TEST(UnicodeConfiguration, NoTraceWithoutTheVariable) {
  unsetenv("ORB_PLINTH_TRACE");
  EXPECT_EQ(Output("C", [] { Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS932"); }), "");
  EXPECT_EQ(Osl_UnicodeConfiguration::Instance()->GetTraceLevel(), 0);
  EXPECT_EQ(Osl_UnicodeConfiguration::Instance()->GetCurrentEncoding(), "MS932");
}

TEST(UnicodeConfiguration, SingletonModesAndDestroy) {
  Osl_UnicodeConfiguration* first = Osl_UnicodeConfiguration::Instance();
  EXPECT_EQ(Osl_UnicodeConfiguration::Instance(), first);
  EXPECT_FALSE(first->IsUnicodeMode());
  first->SetCJKMode(true);
  EXPECT_TRUE(first->IsUnicodeMode());
  first->SetUnicodeMode(false);
  EXPECT_FALSE(first->IsCJKMode());
  first->SetCJKMode(true);
  first->m_LocaleDir = "/somewhere";
  Osl_UnicodeConfiguration copy(*first);
  EXPECT_TRUE(copy.IsCJKMode());
  copy.Destroy();  // destroys the singleton, not the copy
  EXPECT_EQ(Osl_UnicodeConfiguration::m_pInstance, nullptr);
  Osl_UnicodeConfiguration* fresh = Osl_UnicodeConfiguration::Instance();
  EXPECT_FALSE(fresh->IsUnicodeMode());
  EXPECT_EQ(fresh->GetLocaleDir(), "");
  EXPECT_EQ(copy.GetLocaleDir(), "/somewhere");
}

TEST(UnicodeConfiguration, LocaleLookupAndItsTwoFailures) {
  LocaleProbe probe;
  EXPECT_NE(probe.GetLocale("MS1252"), nullptr);
  EXPECT_NE(probe.GetLocale(".UTF-8"), nullptr);
  EXPECT_NE(probe.GetLocale("de_DE.MS1252"), nullptr);
  Osl_UnicodeConfiguration::Encoding known;
  known.name = "no-such-set";
  Osl_UnicodeConfiguration::Instance()->m_Encodings.push_back(known);
  const std::pair<const char*, std::string> failures[] = {
      {"NO-SUCH-SET", "Failure to create a locale for encoding: .NO-SUCH-SET"},
      {"xx.no-such-set", "Character set \"xx.no-such-set\" is not valid"},
      {"OTHER", "Character set \"OTHER\" is not valid"},
  };
  for (const auto& [name, text] : failures) {
    try {
      probe.GetLocale(name);
      ADD_FAILURE() << name;
    } catch (const QLNError& error) {
      EXPECT_EQ(error.What(), text);
      EXPECT_EQ(error.Severity(), 12);
      if (text[0] == 'C') EXPECT_EQ(error.Code(), 98);
      else EXPECT_NE(error.Code(), 0);
    }
  }
}
