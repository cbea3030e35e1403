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
    return std::to_string(e.Code()) + ":" + e.What() + (e.Severity() == 12 ? "" : " (severity)");
  }
  return "";
}

bool Holds(const Names& names, const char* name) { return std::find(names.begin(), names.end(), name) != names.end(); }

const char LocaleIni[] =
    "[encoding_utf8]\nname=utf-8\ndescription=Unicode %PLINTH_T_VAR%\nlegacy=TRUE\nunicode=true\n"
    "win_encoding_name=Latin\n[Encoding1]\nname=ISO-8859-1\nunicode=true\n[encoding_zz]\nname=NoSuchThing\n"
    "[encoding_b]\nname=MS1252\nunicode=true\nlegacy=true\n[encoding_c]\nname=ms1252\ndescription=later\n"
    "[encoding_d]\nname=ISO-8859-5\nwin_encoding_name=Cyrillic\nibm=true\ndbcs=true\n"
    "[win_encoding_1]\nname=Latin\nfix_font=Courier New,, Lucida Console,\nvar_file=a.ttf,b.ttf\n"
    "[win_encoding_2]\nname=Latin\nfix_font=Other\n"
    "[languages]\nname=DE_de\nlegacy=true\nunicode=true\nwin_encoding_name=Latin\n"
    "[lang_2]\nname=en_US\nwin_encoding_name=latin\n[other]\nname=ja_JP\nunicode=true\n";

}  // namespace

TEST(LocaleInit, OtherModesStayLegacyAndOnlyKeepTheDirectory) {
  for (const char* mode : {"CJK", "cjk ", "", "unicode"}) {
    Config* config = Fresh();
    config->Init({"/no/such/dir", mode, "MS1252"});  // the locale library would refuse the directory
    EXPECT_FALSE(config->IsCJKMode() || config->m_bInitialized) << mode;
    EXPECT_EQ(config->GetLocaleDir() + "|" + config->GetCurrentEncoding(), "/no/such/dir|") << mode;
    EXPECT_EQ(Failure([&] { config->IsIBMEncoding("UTF-8"); }), "99:Failed to retrieve encoding info from UTF-8");
  }
  TempDir dir;
  Config::Instance()->Init({dir.path(), "cjk", ""});  // a later Init may still switch
  EXPECT_TRUE(Config::Instance()->IsCJKMode());
}

TEST(LocaleInit, CurrentEncodingByPrecedence) {
  TempDir dir;
  setenv("LC_ALL", "C.UTF-8", 1);
  // Given, ORB_DEFAULT_ENCODING (null: unset), the current encoding.
  const char* const cases[][3] = {{"", nullptr, "MS65001"}, {"MS1252", nullptr, "MS1252"},
                                  {"MS1252", "UTF-8", "UTF-8"}, {"MS1252", "", "MS65001"}, {"", "MS1252", "MS1252"}};
  for (auto [given, environment, current] : cases) {
    if (environment) setenv("ORB_DEFAULT_ENCODING", environment, 1);
    else unsetenv("ORB_DEFAULT_ENCODING");
    Fresh()->Init({dir.path(), "cjk", given});
    EXPECT_EQ(Config::Instance()->GetCurrentEncoding(), current) << given << "/" << (environment ? environment : "-");
  }
}

TEST(LocaleInit, LocaleIniFillsTheTables) {
  TempDir dir;
  plinth_test::WriteFile(dir / "locale.ini", LocaleIni);
  setenv("PLINTH_T_VAR", "X", 1);
  Config* config = Config::Instance();
  config->Init({dir.path(), "cjk", "UTF-8"});
  // legacy, unicode, ibm, dbcs, description, Windows encoding.
  auto entry = [&](const std::string& n) {
    return std::to_string(config->IsLegacySupportedEncoding(n)) + std::to_string(config->IsUNICODESupportedEncoding(n)) +
           std::to_string(config->IsIBMEncoding(n)) + std::to_string(config->IsDBCSEncoding(n)) + "," +
           config->GetEncodingDescription(n) + "," + config->Encoding2WindowsEncoding(n);
  };
  const std::pair<const char*, const char*> encodings[] = {
      {"UTF-8", "0100,Unicode X,Latin"}, {"utf-8", "0100,Unicode X,Latin"}, {"MS1252", "0000,later,"},
      {"ISO-8859-1", "0000,,"}, {"iso-8859-5", "0011,,Cyrillic"}};
  for (auto [name, held] : encodings) EXPECT_EQ(entry(name), held) << name;
  EXPECT_TRUE(config->IsLegacySupportedLanguage("de_DE") && config->IsUNICODESupportedLanguage("de_de"));
  EXPECT_FALSE(config->IsUNICODESupportedLanguage("ja_JP"));
  EXPECT_EQ(config->Language2WindowsEncoding("EN_us"), "latin");
  // Lists are appended to; the scans compare byte for byte.
  using Lister = void (Config::*)(const std::string&, Names&) const;
  const std::pair<Lister, Names> lists[] = {
      {&Config::WindowsEncoding2FixedFonts, {"x", "Courier New", " Lucida Console"}},
      {&Config::WindowsEncoding2VariableFonts, {"x"}},
      {&Config::WindowsEncoding2VariableFontFileNames, {"x", "a.ttf", "b.ttf"}},
      {&Config::WindowsEncoding2Encoding, {"x", "UTF-8"}},
      {&Config::WindowsEncoding2Language, {"x", "de_DE"}}};
  for (const auto& [call, held] : lists) {
    Names names{"x"};
    (config->*call)("Latin", names);
    EXPECT_EQ(names, held);
  }
  Names names{"x"};
  config->GetWinEncodings(names);
  EXPECT_EQ(names, (Names{"x", "Latin", "Latin"}));
  const std::string unknownWin = "99:Falure to retrieve info for windows encoding ";
  const std::pair<std::function<void()>, std::string> unknown[] = {
      {[&] { config->WindowsEncoding2Encoding("Cyrillic", names); }, unknownWin + "Cyrillic"},
      {[&] { config->WindowsEncoding2FixedFontFileNames("latin ", names); }, unknownWin + "latin "},
      {[&] { config->Language2WindowsEncoding("xx"); }, "99:Falure to retrieve info for language xx"},
      {[&] { config->IsDBCSEncoding("NoSuchThing"); }, "99:Failed to retrieve encoding info from NoSuchThing"},
      {[&] { config->GetLanguageAbbreviatedName("xx_QQ"); }, "2:Failure to create a locale for language: xx_QQ"},
      {[&] { config->GetLanguageAbbreviatedName(""); }, "1:Failure to retrieve info for language: "}};
  for (const auto& [call, text] : unknown) EXPECT_EQ(Failure(call), text);
  EXPECT_EQ(config->GetLanguageAbbreviatedName("de_DE"), "deu");
}

TEST(LocaleInit, ABadOrMissingFileContributesNothing) {
  for (const char* text : {"[encoding_a]\nname=UTF-8\nunicode=true\n[win_encoding_a]\nname=W\n[b]\nk v\n", ""}) {
    TempDir dir;
    if (*text) plinth_test::WriteFile(dir / "locale.ini", text);
    Config* config = Fresh();
    config->Init({dir.path(), "cjk", "UTF-8"});
    EXPECT_FALSE(config->IsUNICODESupportedEncoding("UTF-8"));
    EXPECT_TRUE(config->m_WinEncodings.empty());
  }
}

TEST(LocaleInit, EnumeratesByKindAndTraces) {
  TempDir dir;
  setenv("ORB_PLINTH_TRACE", "", 1);
  unsetenv("ORB_DEFAULT_ENCODING");
  testing::internal::CaptureStdout();
  Fresh()->Init({dir.path(), "cjk", "MS1252"});
  Config::Instance()->Init({"/elsewhere", "cjk", "UTF-8"});  // done: changes nothing
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "[i18n] init_params.mode: cjk\n[i18n] m_LocaleDir: " + dir.path() +
                "\n[i18n] m_DefaultEncoding: MS1252\n[i18n] Default Encoding was set as MS1252\n"
                "[i18n] Error read locale file " + dir.path() + "/locale.ini : Error opening file\n");
  EXPECT_EQ(Config::Instance()->GetLocaleDir(), dir.path());
  Names encodings{"x"}, languages;
  Config::Instance()->GetEncodings(encodings);
  Config::Instance()->GetLanguages(languages);
  EXPECT_EQ(Config::Instance()->m_Encodings.size() + 1, encodings.size());
  EXPECT_TRUE(Holds(encodings, "x") && Holds(encodings, "MS1252") && Holds(encodings, "MS65001") &&
              Holds(encodings, "UTF-8") && !Holds(encodings, "de_DE") && !Holds(encodings, "US"));
  EXPECT_TRUE(Holds(languages, "de_DE") && !Holds(languages, "UTF-8") && !Holds(languages, "US"));
  encodings.pop_front();
  for (const std::string& name : encodings) {  // each opens, though some have no "A"
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
  const char* const cases[][2] = {{"", "98:Locale Dir is not set"},
                                  {"/no/such/dir", "4:Cannot initialize Global C with /no/such/dir"}};
  for (auto [directory, failure] : cases) {
    EXPECT_EQ(Failure([&] { config->Init({directory, "cjk", "MS1252"}); }), failure);
    EXPECT_TRUE(config->IsCJKMode() && config->m_Encodings.empty());
  }
  // The current encoding's locale fails after the tables were filled.
  const std::string inner = "99:Cannot get UTF8 locale, probably there is no locale dir: " + dir.path() + " : ";
  size_t entries[3] = {0};
  for (size_t& held : entries) {
    EXPECT_EQ(Failure([&] { config->Init({dir.path(), "cjk", "NoSuchCode"}); }).rfind(inner, 0), 0u);
    held = config->m_Encodings.size() + config->m_Languages.size();
  }
  EXPECT_TRUE(entries[0] > 1000 && entries[1] == 2 * entries[0] && entries[2] == 3 * entries[0]);
  EXPECT_FALSE(config->m_bInitialized);
}
