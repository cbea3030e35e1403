// Init of the text mode: the decisions of mode and encoding, locale.ini and
// the tables it fills, the look-ups, and failed or repeated runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <list>
#include <string>

#include "common/temp_dir.h"
#include "plinth/errors/qln_error.h"
#include "plinth/i18n/unicode_configuration.h"
#include "plinth/i18n/unicode_converter.h"

using plinth_test::TempDir;
using plinth_test::WriteFile;
using Config = Osl_UnicodeConfiguration;
using Names = std::list<std::string>;

namespace {

Config* Fresh() {
  Config::Instance()->Destroy();
  return Config::Instance();
}

// "code:text" of the QLNError an action throws; "" when it throws none.
std::string Failure(const std::function<void()>& action) {
  try {
    action();
  } catch (const QLNError& e) {
    EXPECT_EQ(e.Severity(), 12);
    return std::to_string(e.Code()) + ":" + e.What();
  }
  return "";
}

bool Holds(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

const char LocaleIni[] =
    "[encoding_utf8]\nname=utf-8\ndescription=Unicode %PLINTH_T_VAR%\nlegacy=TRUE\nunicode=true\n"
    "win_encoding_name=Latin\n"
    "[Encoding1]\nname=ISO-8859-1\nunicode=true\n"
    "[encoding_zz]\nname=NoSuchThing\nunicode=true\n"
    "[encoding_b]\nname=MS1252\nunicode=true\nlegacy=true\n"
    "[encoding_c]\nname=ms1252\ndescription=later\n"
    "[encoding_d]\nname=ISO-8859-5\nwin_encoding_name=Cyrillic\nibm=true\ndbcs=true\n"
    "[win_encoding_1]\nname=Latin\nfix_font=Courier New,, Lucida Console,\nvar_file=a.ttf,b.ttf\n"
    "[win_encoding_2]\nname=Latin\nfix_font=Other\n"
    "[languages]\nname=DE_de\nlegacy=true\nunicode=true\nwin_encoding_name=Latin\n"
    "[lang_2]\nname=en_US\nwin_encoding_name=latin\n"
    "[other]\nname=ja_JP\nunicode=true\n";

}  // namespace

TEST(LocaleInit, OtherModesStayLegacyAndOnlyKeepTheDirectory) {
  for (const char* mode : {"CJK", "cjk ", "", "unicode"}) {
    Config* config = Fresh();
    config->Init({"/no/such/dir", mode, "MS1252"});  // the locale library would refuse the directory
    EXPECT_FALSE(config->IsCJKMode()) << mode;
    EXPECT_EQ(config->GetLocaleDir(), "/no/such/dir");
    EXPECT_EQ(config->GetCurrentEncoding(), "") << mode;
    EXPECT_EQ(Failure([&] { config->IsIBMEncoding("UTF-8"); }), "99:Failed to retrieve encoding info from UTF-8");
  }
  TempDir dir;
  Config::Instance()->Init({dir.path(), "cjk", ""});  // a later Init may still switch
  EXPECT_TRUE(Config::Instance()->IsCJKMode());
}

TEST(LocaleInit, CurrentEncodingByPrecedence) {
  TempDir dir;
  setenv("LC_ALL", "C.UTF-8", 1);
  struct Case {
    const char* given;
    const char* environment;  // null: unset
    const char* current;
  } const cases[] = {{"", nullptr, "MS65001"}, {"MS1252", nullptr, "MS1252"}, {"MS1252", "UTF-8", "UTF-8"},
                     {"MS1252", "", "MS65001"}, {"", "MS1252", "MS1252"}};
  for (const Case& c : cases) {
    if (c.environment) setenv("ORB_DEFAULT_ENCODING", c.environment, 1);
    else unsetenv("ORB_DEFAULT_ENCODING");
    Fresh()->Init({dir.path(), "cjk", c.given});
    EXPECT_EQ(Config::Instance()->GetCurrentEncoding(), c.current) << c.given << "/" << c.environment;
  }
}

TEST(LocaleInit, LocaleIniFillsTheTables) {
  TempDir dir;
  WriteFile(dir / "locale.ini", LocaleIni);
  setenv("PLINTH_T_VAR", "X", 1);
  Config* config = Config::Instance();
  config->Init({dir.path(), "cjk", "UTF-8"});
  struct Flags {
    const char* name;
    bool legacy, unicode, ibm, dbcs;
    const char *description, *win;
  } const encodings[] = {{"UTF-8", false, true, false, false, "Unicode X", "Latin"},
                         {"utf-8", false, true, false, false, "Unicode X", "Latin"},
                         {"MS1252", false, false, false, false, "later", ""},
                         {"ISO-8859-1", false, false, false, false, "", ""},
                         {"iso-8859-5", false, false, true, true, "", "Cyrillic"}};
  for (const Flags& e : encodings) {
    EXPECT_EQ(config->IsLegacySupportedEncoding(e.name), e.legacy) << e.name;
    EXPECT_EQ(config->IsUNICODESupportedEncoding(e.name), e.unicode) << e.name;
    EXPECT_EQ(config->IsIBMEncoding(e.name), e.ibm) << e.name;
    EXPECT_EQ(config->IsDBCSEncoding(e.name), e.dbcs) << e.name;
    EXPECT_EQ(config->GetEncodingDescription(e.name), e.description) << e.name;
    EXPECT_EQ(config->Encoding2WindowsEncoding(e.name), e.win) << e.name;
  }
  EXPECT_TRUE(config->IsLegacySupportedLanguage("de_DE") && config->IsUNICODESupportedLanguage("de_de"));
  EXPECT_FALSE(config->IsUNICODESupportedLanguage("ja_JP"));
  EXPECT_EQ(config->Language2WindowsEncoding("EN_us"), "latin");
  // Lists are appended to; the scans compare byte for byte.
  const std::pair<std::function<void(Names&)>, Names> lists[] = {
      {[&](Names& n) { config->GetWinEncodings(n); }, {"x", "Latin", "Latin"}},
      {[&](Names& n) { config->WindowsEncoding2FixedFonts("LATIN", n); }, {"x", "Courier New", " Lucida Console"}},
      {[&](Names& n) { config->WindowsEncoding2VariableFonts("Latin", n); }, {"x"}},
      {[&](Names& n) { config->WindowsEncoding2VariableFontFileNames("Latin", n); }, {"x", "a.ttf", "b.ttf"}},
      {[&](Names& n) { config->WindowsEncoding2Encoding("Latin", n); }, {"x", "UTF-8"}},
      {[&](Names& n) { config->WindowsEncoding2Language("Latin", n); }, {"x", "de_DE"}}};
  for (const auto& [call, held] : lists) {
    Names names{"x"};
    call(names);
    EXPECT_EQ(names, held);
  }
  Names none;
  const std::pair<std::function<void()>, const char*> unknown[] = {
      {[&] { config->WindowsEncoding2Encoding("Cyrillic", none); },
       "99:Falure to retrieve info for windows encoding Cyrillic"},
      {[&] { config->WindowsEncoding2FixedFontFileNames("latin ", none); },
       "99:Falure to retrieve info for windows encoding latin "},
      {[&] { config->Language2WindowsEncoding("xx"); }, "99:Falure to retrieve info for language xx"},
      {[&] { config->IsDBCSEncoding("NoSuchThing"); }, "99:Failed to retrieve encoding info from NoSuchThing"},
      {[&] { config->GetLanguageAbbreviatedName("xx_QQ"); }, "2:Failure to create a locale for language: xx_QQ"},
      {[&] { config->GetLanguageAbbreviatedName(""); }, "1:Failure to retrieve info for language: "}};
  for (const auto& [call, text] : unknown) EXPECT_EQ(Failure(call), text);
  EXPECT_EQ(config->GetLanguageAbbreviatedName("de_DE"), "deu");
}

TEST(LocaleInit, ABadOrMissingFileContributesNothing) {
  const char* const texts[] = {"[encoding_a]\nname=UTF-8\nunicode=true\n[win_encoding_a]\nname=W\n[b]\nk v\n", nullptr};
  for (const char* text : texts) {
    TempDir dir;
    if (text) WriteFile(dir / "locale.ini", text);
    Config* config = Fresh();
    config->Init({dir.path(), "cjk", "UTF-8"});
    EXPECT_FALSE(config->IsUNICODESupportedEncoding("UTF-8"));
    Names names;
    config->GetWinEncodings(names);
    EXPECT_TRUE(names.empty());
  }
}

TEST(LocaleInit, EnumeratesByKindAndTraces) {
  TempDir dir;
  setenv("ORB_PLINTH_TRACE", "", 1);
  unsetenv("ORB_DEFAULT_ENCODING");
  testing::internal::CaptureStdout();
  Fresh()->Init({dir.path(), "cjk", "MS1252"});
  Config::Instance()->Init({"/elsewhere", "cjk", "UTF-8"});  // done: changes nothing
  const std::string trace = testing::internal::GetCapturedStdout();
  EXPECT_EQ(trace, "[i18n] init_params.mode: cjk\n[i18n] m_LocaleDir: " + dir.path() +
                       "\n[i18n] m_DefaultEncoding: MS1252\n[i18n] Default Encoding was set as MS1252\n"
                       "[i18n] Error read locale file " + dir.path() + "/locale.ini : Error opening file\n");
  EXPECT_EQ(Config::Instance()->GetLocaleDir(), dir.path());
  Names encodings{"x"}, languages;
  Config::Instance()->GetEncodings(encodings);
  Config::Instance()->GetLanguages(languages);
  EXPECT_EQ(encodings.front(), "x");
  EXPECT_EQ(Config::Instance()->m_Encodings.size() + 1, encodings.size());
  EXPECT_TRUE(Holds(encodings, "MS1252") && Holds(encodings, "MS65001") && Holds(encodings, "UTF-8"));
  EXPECT_TRUE(Holds(languages, "de_DE") && !Holds(languages, "UTF-8") && !Holds(languages, "US"));
  EXPECT_FALSE(Holds(encodings, "de_DE") || Holds(encodings, "US"));
  // Every encoding listed opens (some have no "A").
  encodings.pop_front();
  for (const std::string& name : encodings) {
    Osl_UnicodeConverter converter;
    converter.SetCurrentEncoding(name);
    converter.SetTargetEncoding("UTF-8");
    char out[64];
    long room = sizeof out;
    EXPECT_NO_THROW(converter.ConvertTargetEncodingtoCurrentEncoding("A", 1, out, room)) << name;
  }
}

TEST(LocaleInit, FailedInitKeepsTheModeAndRepeatsAllSteps) {
  TempDir dir;
  unsetenv("ORB_DEFAULT_ENCODING");
  Config* config = Config::Instance();
  const struct {
    const char *directory, *failure;
  } cases[] = {{"", "98:Locale Dir is not set"},
               {"/no/such/dir", "4:Cannot initialize Global C with /no/such/dir"}};
  for (const auto& c : cases) {
    EXPECT_EQ(Failure([&] { config->Init({c.directory, "cjk", "MS1252"}); }), c.failure);
    EXPECT_TRUE(config->IsCJKMode());
    EXPECT_TRUE(config->m_Encodings.empty());
  }
  // The current encoding's locale fails: the tables were filled before.
  const std::string inner = "99:Cannot get UTF8 locale, probably there is no locale dir: " + dir.path() + " : ";
  EXPECT_EQ(Failure([&] { config->Init({dir.path(), "cjk", "NoSuchCode"}); }).rfind(inner, 0), 0u);
  const size_t encodings = config->m_Encodings.size(), languages = config->m_Languages.size();
  EXPECT_GT(encodings, 100u);
  EXPECT_EQ(Failure([&] { config->Init({dir.path(), "cjk", "MS1252"}); }).rfind(inner, 0), 0u);
  EXPECT_EQ(config->m_Encodings.size(), 2 * encodings);
  EXPECT_EQ(config->m_Languages.size(), 2 * languages);
}
