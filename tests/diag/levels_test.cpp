// The levels file and the levels of files and contexts at run time.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <regex>
#include <sstream>
#include <thread>

#include "diag_fixture.h"

using namespace plinth_test;
using ::testing::HasSubstr;
using ::testing::Not;

PLINTH_DIAG_FILE();

namespace {
DbgLevels g_ini, g_other;
TDiagRegister g_iniRegister("C:\\src\\Ini.cpp", &g_ini);
TDiagRegister g_otherRegister("/src/other.cpp", &g_other);

const char* const kInvalidContext = "Invalid Context Id was specified in INI file";

void Apply(TDiag* diag, const std::string& text, bool keywords = true, bool tokens = true) {
  std::istringstream in(text);
  diag->ReadLevelsStream(in, keywords, tokens);
}

class LevelsTest : public DiagTest {
protected:
  void WriteLevels(const std::string& text, const std::string& name = "general_DiagLvls.ini") {
    WriteFile(dir / name, text);
  }
  std::string DiagText() const { return ReadFile(DiagFile()); }
};
}  // namespace

TEST(Str2DbgLevels, FindsTheFirstLevelDigitAndTheBufferBehindTheSeparator) {
  TDiag* diag = TDiag::Instance();
  const struct {
    const char* text;
    unsigned debug, buffer;
  } cases[] = {{"3 5", 3, 5}, {"3", 3, 3}, {"= 3", 3, 3}, {"= 3 5", 3, 3}, {"3 x", 3, 0},
               {"18", 18, 18}, {"81", 1, 1}, {"x4\t6", 4, 6}};
  for (const auto& c : cases) {
    unsigned debug = 99, buffer = 99;
    diag->Str2DbgLevels(c.text, &debug, &buffer);
    EXPECT_EQ(debug, c.debug) << c.text;
    EXPECT_EQ(buffer, c.buffer) << c.text;
  }
  unsigned debug = 99, buffer = 99;
  diag->Str2DbgLevels("9 8", &debug, &buffer);
  diag->Str2DbgLevels("", &debug, &buffer);
  EXPECT_EQ(debug, 99u);
  EXPECT_EQ(buffer, 99u);
}

TEST_F(LevelsTest, KeywordsAreReadExactlyWithCrLfLineEnds) {
  WriteLevels(
      "# a comment\r\n\r\n"
      "MinimumDbgLvl=4 0\r\n"
      "NumOfFiles = 5\r\n"  // the value is "= 5", read as 0
      "NumOfMessages=50\r\n"
      "IsCyclic=2\r\n"
      "IsPIDUsed 1\r\n"
      "ApplyCleanup=2\r\n"
      "RetainDays=  7days\r\n"
      "NumOfFormatObjects=10\r\n"
      "IsBuffer=1\r\n"
      "MemBufferSize=5\r\n"
      "FlushBufferSize=4096\r\n"
      "PrintLevelMaps=2\r\n"
      "InstallSignals=1\r\n"
      "isbuffer=0\r\n"  // not a keyword: case counts
      "DiagStacksOn=NoTLS");  // the last line needs no line end
  Init();
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 4u);
  EXPECT_EQ(diag->GetMinimumBufferLevel(), 0u);
  EXPECT_EQ(diag->GetNumberOfCyclic(), 0u);
  EXPECT_EQ(diag->GetNumberOfPrintInFile(), 50u);
  EXPECT_TRUE(diag->IsCyclic());
  EXPECT_TRUE(diag->IsPIDUsed());
  EXPECT_FALSE(diag->m_bApplyCleanup);
  EXPECT_EQ(diag->GetRetainDays(), 7u);
  EXPECT_EQ(diag->m_vFormatPool.size(), 40u);
  EXPECT_TRUE(diag->IsBufferEnabled());
  EXPECT_EQ(diag->GetBufferSize(), 20480u);
  EXPECT_EQ(diag->m_nFlushSize, 4096);
  EXPECT_FALSE(diag->IsPrintLevelMaps());
  EXPECT_FALSE(diag->IsStacksEnabled());
  EXPECT_FALSE(diag->GetStacks().IsRecording());
  EXPECT_TRUE(diag->GetDiagEnabled());
}

TEST_F(LevelsTest, KeywordsWithTheirBoundsAndWords) {
  Init();
  EXPECT_TRUE(diag->IsStacksEnabled());
  EXPECT_FALSE(diag->GetStacks().IsRecording());  // no DiagStacksOn: thread objects only
  Apply(diag, "NumOfFormatObjects=100\n");
  EXPECT_EQ(diag->m_nPoolSize, 100);
  Apply(diag, "NumOfFormatObjects=-3\n");
  EXPECT_EQ(diag->m_nPoolSize, 40);
  Apply(diag, "NumOfFormatObjects=99999999999\n");
  EXPECT_EQ(diag->m_nPoolSize, 4096);

  Apply(diag, "Enable=2\n");
  EXPECT_FALSE(diag->GetDiagEnabled());
  Apply(diag, "Enable=1\n");
  EXPECT_TRUE(diag->GetDiagEnabled());
  Apply(diag, "Enable=0\n");
  EXPECT_FALSE(diag->GetDiagEnabled());

  Apply(diag, "DiagStacksOn=NoTLS\n");
  EXPECT_FALSE(diag->IsStacksEnabled());
  EXPECT_FALSE(diag->GetStacks().IsRecording());
  Apply(diag, "DiagStacksOn=false\n");  // sets recording, nothing else
  EXPECT_FALSE(diag->IsStacksEnabled());
  EXPECT_TRUE(diag->GetStacks().IsRecording());
  Apply(diag, "DiagStacksOn yes\n");
  EXPECT_TRUE(diag->IsStacksEnabled());
  EXPECT_TRUE(diag->GetStacks().IsRecording());

  Apply(diag, "*default=2\nMemBufferSize=-4\n");
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 2u);
  EXPECT_EQ(diag->GetMinimumBufferLevel(), 2u);
  EXPECT_EQ(diag->m_nBufferSizeKB, 0u);
  // A level value without a level digit changes nothing.
  Apply(diag, "MinimumDbgLvl=9\nMinimumDbgLvl=\nlevels_test=\n");
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 2u);
  EXPECT_EQ(diag->GetFileDebugLevel(__FILE__, true), 0u);
}

TEST_F(LevelsTest, TokensLandOnTheDefaultsOfIgnoreMinimum) {
  WriteLevels("ini=5\nIgnoreMinimum=1\nMinimumDbgLvl=3\n&2 4 6\n");
  Init();
  EXPECT_EQ(DbgLevelLoad(g_ini.m_nDebugLevel), 5u);
  EXPECT_EQ(DbgLevelLoad(g_other.m_nDebugLevel), 3u);
  EXPECT_EQ(diag->GetFileDebugLevel("levels_test", false), 3u);
  EXPECT_EQ(diag->GetContextDebugLevel(1u << 5, true), 3u);
  EXPECT_EQ(diag->GetContextDebugLevel(1u << 2, true), 4u);
  EXPECT_EQ(diag->GetContextBufferLevel(1u << 2), 6u);
  diag->SetDebugLevel("C:\\other\\INI.h", 1);
  EXPECT_EQ(diag->GetFileDebugLevel("ini", false), 1u);  // quieter than the minimum
  bool toLog, toBuffer;
  EXPECT_FALSE(TDiag::TestLevels(g_ini, 2, toLog, toBuffer));
  // Setting the minimums by name resets every file and context.
  diag->SetDiagBufferLevels("MinimumDbgLvl", 2, 5);
  EXPECT_EQ(DbgLevelLoad(g_ini.m_nDebugLevel), 2u);
  EXPECT_EQ(DbgLevelLoad(g_other.m_nBufferLevel), 5u);
  EXPECT_EQ(diag->GetContextBufferLevel(1u << 2), 5u);
}

TEST_F(LevelsTest, RawAndEffectiveLevelsOfFilesAndContexts) {
  Init();
  diag->SetMinimumDebugLevel(3);
  diag->SetDiagBufferLevels("other", 1, 2);
  EXPECT_EQ(diag->GetFileDebugLevel("/x/Other.cpp", true), 1u);
  EXPECT_EQ(diag->GetFileDebugLevel("/x/Other.cpp", false), 3u);
  EXPECT_EQ(diag->GetFileBufferLevel("other"), 2u);
  EXPECT_EQ(diag->GetFileDebugLevel("never_registered", true), 3u);
  diag->SetDiagBufferLevels("never_registered", 7, 7);
  std::vector<std::string> files{"kept"};
  diag->GetFileVec(files);
  EXPECT_EQ(files[0], "kept");
  EXPECT_EQ(std::count(files.begin(), files.end(), "never_registered"), 0);
  EXPECT_TRUE(std::is_sorted(files.begin() + 1, files.end()));
  EXPECT_EQ(std::count(files.begin(), files.end(), "ini"), 1);

  diag->SetMinimumDebugLevel(0);
  EXPECT_EQ(diag->GetContextDebugLevel(0, true), 1u);
  EXPECT_EQ(diag->GetContextDebugLevel(0, false), 0u);
  diag->SetDebugLevel(1u << 1, 3);
  diag->SetDiagBufferLevels(1u << 2, 5, 1);
  EXPECT_EQ(diag->GetContextDebugLevel(6, false), 5u);
  EXPECT_EQ(diag->GetContextBufferLevel(6), 3u);
  diag->SetMinimumDebugLevel(6);
  EXPECT_EQ(diag->GetContextDebugLevel(6, false), 6u);
  EXPECT_EQ(diag->GetContextDebugLevel(6, true), 5u);

  diag->AddContext("net", 4);
  diag->AddContext("renamed", 4);
  diag->AddContext("db", 1);
  EXPECT_EQ(diag->m_mContextNames.at(4), "net");
  diag->ClearContextMap();
  EXPECT_TRUE(diag->m_mContextNames.empty());
  EXPECT_EQ(diag->GetContextDebugLevel(6, true), 5u);
}

TEST_F(LevelsTest, ContextTokensAndAFurtherInitializeThatReadsTokensOnly) {
  WriteLevels("&31=7\n&32=7\n&-1=7\n&x=3\nnosep\n=3\n other 4\n");
  Init();
  EXPECT_EQ(diag->GetContextDebugLevel(1u << 31, true), 7u);
  EXPECT_EQ(diag->GetContextDebugLevel(0x7fffffffu, true), 1u);
  EXPECT_EQ(DbgLevelLoad(g_other.m_nDebugLevel), 0u);  // " other" began with a separator
  EXPECT_THAT(DiagText(), Not(HasSubstr(kInvalidContext)));  // no file existed yet

  WriteLevels("Enable=0\nIsCyclic=1\nMinimumDbgLvl=6\nother=4 2\n&99999999999=1\n");
  Init("second");
  EXPECT_TRUE(diag->GetDiagEnabled());
  EXPECT_FALSE(diag->IsCyclic());
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 0u);
  EXPECT_EQ(DbgLevelLoad(g_other.m_nBufferLevel), 2u);
  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], HasSubstr("\t[2]\ttdiag\tTDiag::ProcessToken\t" + std::string(kInvalidContext)));
}

TEST_F(LevelsTest, CandidatesAreTriedInOrder) {
  WriteLevels("levels_test=5\n", "general.srv_DiagLvls.ini");
  WriteLevels("levels_test=4\n", "general_DiagLvls.ini");
  WriteLevels("levels_test=3\n", "DiagLvls.ini");
  Init("srv");
  EXPECT_EQ(diag->GetFileDebugLevel(__FILE__, true), 5u);
  unlink((dir / "general.srv_DiagLvls.ini").c_str());
  Init("srv");
  EXPECT_EQ(diag->GetFileDebugLevel(__FILE__, true), 4u);
  unlink((dir / "general_DiagLvls.ini").c_str());
  Init("srv");
  EXPECT_EQ(diag->GetFileDebugLevel(__FILE__, true), 3u);
}

TEST_F(LevelsTest, BadFilesAreSkippedOrReadAroundWithoutHanging) {
  // A directory and a pipe stand where the first names are looked for.
  ASSERT_EQ(mkdir((dir / "general.srv_DiagLvls.ini").c_str(), 0755), 0);
  ASSERT_EQ(mkfifo((dir / "general_DiagLvls.ini").c_str(), 0644), 0);
  std::string text = "MinimumDbgLvl=2\n";
  text += "MinimumDbgLvl=5" + std::string(300, ' ') + "\n";  // over-long: skipped whole
  text += "ini=7" + std::string(254, ' ') + "\r\n";  // 259 characters: read
  text += "ini=1" + std::string(255, ' ') + "\n";    // 260: skipped
  text += std::string(100000, '\xff') + "\n";
  static const char binary[] = "bin\0ary=3\n\x01\x02=\x80\n";
  text += std::string(binary, sizeof binary - 1);
  text += "other=6";
  WriteLevels(text, "DiagLvls.ini");
  Init("srv");
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 2u);
  EXPECT_EQ(DbgLevelLoad(g_other.m_nDebugLevel), 6u);
  EXPECT_EQ(DbgLevelLoad(g_ini.m_nDebugLevel), 7u);
}

TEST_F(LevelsTest, AnEndlessDeviceIsNoLevelsFile) {
  ASSERT_EQ(symlink("/dev/zero", (dir / "general_DiagLvls.ini").c_str()), 0);
  ASSERT_EQ(symlink("missing", (dir / "DiagLvls.ini").c_str()), 0);
  Init();
  EXPECT_TRUE(TDiag::IsInitialized());
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 0u);
}

// Run under the thread sanitizer: levels, minimums and the buffer change
// while threads print.
TEST_F(LevelsTest, LevelsChangeWhileThreadsPrint) {
  WriteLevels("IsBuffer=1\nMemBufferSize=20\nlevels_test=3 5\n");
  Init();
  std::atomic<bool> stop{false};
  std::vector<std::thread> printers;
  for (int t = 0; t < 4; ++t)
    printers.emplace_back([&, t] {
      for (int i = 0; i < 3000; ++i) {
        TDiagFunc scope(__FILE__, &plinth_diag_levels_, "Printer");
        PLINTH_DIAG_AT("Printer", 3, "thread " << t << " line " << i);
        bool toLog, toBuffer;
        TDiag::TestLevels(g_other, 2, toLog, toBuffer);
        diag->GetContextDebugLevel(0xff, false);
      }
    });
  for (int round = 0; !stop && round < 300; ++round) {
    diag->SetDebugLevel(__FILE__, round % 2 ? 3 : 0);
    diag->SetDiagBufferLevels(0xffu, round % 8, 7);
    diag->SetDiagBufferLevels("*default", round % 3, round % 4);
    diag->UseFixedFileLevel(round % 2);
    if (round % 50 == 0) diag->DestroyBuffer();
    if (round % 50 == 10) diag->CreateBuffer();
    if (round % 50 == 20) diag->ResetBufferSize(30);
    if (round % 50 == 30) diag->QuickPrintBuffer((dir / "quick.txt").c_str());
  }
  for (std::thread& t : printers) t.join();
  const std::regex whole("[0-9/]{10}\t[0-9:.]{12}\t\\[[0-7]\\]\t(levels_test\tPrinter\\(thread [0-9]+\\)\tthread [0-3] line [0-9]+|.*Exit)");
  for (const std::string& line : Lines()) ASSERT_TRUE(std::regex_match(line, whole)) << line;
}
