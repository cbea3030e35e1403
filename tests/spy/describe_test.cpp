// The self-description: exact texts, widths and cuts of the parameter
// block, the two maps and the version list, and when each prints.
#include "spy_fixture.h"

using namespace plinth_test;

DbgLevels g_long;
TDiagRegister g_longRegister("/src/AVeryLongSourceFileNameThatGoesOnAndOnForever.cpp", &g_long);

namespace {
size_t Count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}
const char* const kVersionsHead = "------------------ List of all component versions ---------------------\n";
}  // namespace

TEST_F(DiagTest, PrintLevelMapsDescribesTheEngineAtInitialize) {
  WriteFile(dir / "general_DiagLvls.ini", "PrintLevelMaps=1\nRetainDays=9\n");
  DiagLocalContextMgr::Instance()->GetContextsList().emplace_back(2, 4, "net");
  DbgLevelStore(g_long.m_nBufferLevel, 4000000000u);  // prints as a negative %d
  Init();
  const std::string text = ReadFile(DiagFile());

  const std::string parameters =
      "\n------------ Diagnostic Parameters " + std::string(97, '-') + "\n" +
      "Diagnostic device is a kind of 'Sequential', it prints out into #3 file(s), file capacity is #200 messages\n"
      "DefaulDebugLevel=0, DefaultBufferLevel=0, file pattern IsPIDUsed=FALSE, logger mode UseFileLevel=FALSE .\n"
      "Cleanup settings are: ApplyCleanup=TRUE, RetainDays=9\n" +
      std::string(133, '-') + "\n\n" + "----------------- List of all registered source files ------------------\n";
  ASSERT_NE(text.find(parameters), std::string::npos) << text;

  const size_t number = std::distance(diag->m_mFiles.begin(), diag->m_mFiles.find("averylongsourcefilenamethatgoesonandonforever")) + 1;
  char row[128];
  std::snprintf(row, sizeof row, "%3zu) file:     averylongsourcefilenamethatgoesonan   Diag level: 0   Buffer level: -294967296\n", number);
  EXPECT_NE(text.find(row), std::string::npos) << text;

  EXPECT_NE(text.find("------------------ List of all registered contexts ---------------------\n"
                      "  1) context:  0                                     Diag level: 0   Buffer level: 0\n"
                      "  2) context:  1                                     Diag level: 0   Buffer level: 0\n"
                      "  3) context:  net                                   Diag level: 0   Buffer level: 0\n"),
            std::string::npos);
  EXPECT_NE(text.find(" 32) context:  31                                    Diag level: 0   Buffer level: 0\n" +
                      std::string(72, '-') + "\n" + kVersionsHead + "plinth_diag                   \tversion=4.0;build="),
            std::string::npos);
  EXPECT_NE(text.find("\nplinth_util                   \tversion=4.0;"), std::string::npos);

  // A further Initialize describes again, but the versions print once.
  Init();
  const std::string again = ReadFile(DiagFile());
  EXPECT_EQ(Count(again, "Diagnostic Parameters"), 2u);
  EXPECT_EQ(Count(again, "List of all registered contexts"), 2u);
  EXPECT_EQ(Count(again, kVersionsHead), 1u);
}

TEST_F(DiagTest, TheMapsNeedAnEnabledEngineAndTheVersionsKeywordPrintsOnce) {
  WriteFile(dir / "general_DiagLvls.ini", "PrintVersions=no\n");
  diag->PrintFilesMap();  // before Initialize: nothing, and no failure
  Init();
  diag->SetDiagEnabled(false);
  diag->PrintFilesMap();
  diag->PrintContextsMap();
  diag->SetDiagEnabled(true);
  diag->PrintVersionRegistry();  // a host's call is not counted
  const std::string text = ReadFile(DiagFile());
  EXPECT_EQ(Count(text, "List of all registered"), 0u);
  EXPECT_EQ(Count(text, kVersionsHead), 2u);
  EXPECT_EQ(Count(text, "Diagnostic Parameters"), 0u);
}
