// The levels file and the levels of files and contexts at run time.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <functional>
#include <regex>
#include <sstream>
#include <thread>

#include "diag_fixture.h"

using namespace plinth_test;
using ::testing::ElementsAre;
using ::testing::EndsWith;

PLINTH_DIAG_FILE();

namespace {
DbgLevels g_ini, g_other;
TDiagRegister g_iniRegister("C:\\src\\Ini.cpp", &g_ini);
TDiagRegister g_otherRegister("/src/other.cpp", &g_other);

class LevelsTest : public DiagTest {
protected:
  void WriteLevels(const std::string& text, const std::string& name = "general_DiagLvls.ini") {
    WriteFile(dir / name, text);
  }
  void Apply(const std::string& text) {
    std::istringstream in(text);
    diag->ReadLevelsStream(in, true, true);
  }
};
}  // namespace

TEST(Str2DbgLevels, FindsTheFirstLevelDigitAndTheBufferBehindTheSeparator) {
  TDiag* diag = TDiag::Instance();
  const struct {
    const char* text;
    unsigned debug, buffer;
  } cases[] = {{"3 5", 3, 5},   {"3", 3, 3},   {"= 3", 3, 3}, {"= 3 5", 3, 3}, {"3 x", 3, 0},
               {"18", 18, 18}, {"81", 1, 1}, {"x4\t6", 4, 6}, {"9 8", 99, 99}, {"", 99, 99}};
  for (const auto& c : cases) {
    unsigned debug = 99, buffer = 99;
    diag->Str2DbgLevels(c.text, &debug, &buffer);
    EXPECT_EQ(debug, c.debug) << c.text;
    EXPECT_EQ(buffer, c.buffer) << c.text;
  }
}

TEST_F(LevelsTest, KeywordsOfAFileAreReadExactlyWithCrLfLineEnds) {
  WriteLevels(
      "# a comment\r\n\r\nMinimumDbgLvl=4 0\r\n"
      "NumOfFiles = 5\r\n"  // the value is "= 5", read as 0
      "NumOfMessages=50\r\nIsCyclic=2\r\nIsPIDUsed 1\r\nApplyCleanup=2\r\nRetainDays=  7days\r\n"
      "NumOfFormatObjects=10\r\nIsBuffer=1\r\nMemBufferSize=5\r\nFlushBufferSize=4096\r\n"
      "PrintLevelMaps=2\r\nInstallSignals=1\r\n"
      "isbuffer=0\r\n"  // not a keyword: case counts
      "DiagStacksOn=NoTLS");  // the last line needs no line end
  Init();
  const std::vector<long> read = {diag->GetMinimumDebugLevel(), diag->GetMinimumBufferLevel(), diag->GetNumberOfCyclic(),
                                  diag->GetNumberOfPrintInFile(), diag->IsCyclic(), diag->IsPIDUsed(),
                                  diag->m_bApplyCleanup, diag->GetRetainDays(), static_cast<long>(diag->m_vFormatPool.size()),
                                  diag->IsBufferEnabled(), diag->GetBufferSize(), diag->m_nFlushSize,
                                  diag->IsPrintLevelMaps(), diag->IsStacksEnabled(), diag->GetStacks().IsRecording(),
                                  diag->GetDiagEnabled()};
  EXPECT_EQ(read, (std::vector<long>{4, 0, 0, 50, 1, 1, 0, 7, 40, 1, 20480, 4096, 0, 0, 0, 1}));
}

TEST_F(LevelsTest, KeywordsWithTheirBoundsAndWords) {
  Init();
  const std::function<long()> pool = [&] { return diag->m_nPoolSize; },
                              enabled = [&] { return diag->GetDiagEnabled(); },
                              stacks = [&] { return diag->IsStacksEnabled() * 10 + diag->GetStacks().IsRecording(); },
                              minimums = [&] { return diag->GetMinimumDebugLevel() * 10 + diag->GetMinimumBufferLevel(); },
                              bufferKB = [&] { return diag->m_nBufferSizeKB; },
                              file = [&] { return diag->GetFileDebugLevel(__FILE__, true); };
  const struct {
    const char* text;
    const std::function<long()>& read;
    long want;
  } steps[] = {{"", stacks, 10},  // no DiagStacksOn: thread objects only
               {"NumOfFormatObjects=100", pool, 100}, {"NumOfFormatObjects=-3", pool, 40},
               {"NumOfFormatObjects=99999999999", pool, 4096}, {"Enable=2", enabled, 0}, {"Enable=1", enabled, 1},
               {"Enable=0", enabled, 0}, {"DiagStacksOn=NoTLS", stacks, 0},
               {"DiagStacksOn=false", stacks, 1},  // sets recording, nothing else
               {"DiagStacksOn yes", stacks, 11}, {"*default=2", minimums, 22}, {"MemBufferSize=-4", bufferKB, 0},
               {"MemBufferSize=99999999999", bufferKB, 4294967295L},
               // A level value without a level digit changes nothing.
               {"MinimumDbgLvl=9\nMinimumDbgLvl=\nlevels_test=", minimums, 22}, {"", file, 0}};
  for (const auto& step : steps) {
    Apply(std::string(step.text) + "\n");
    EXPECT_EQ(step.read(), step.want) << step.text;
  }
}

TEST_F(LevelsTest, TokensLandOnTheDefaultsOfIgnoreMinimum) {
  WriteLevels("ini=5\nIgnoreMinimum=1\nMinimumDbgLvl=3\n&2 4 6\n");
  Init();
  // The files ini, other and this one; the contexts 5 and 2, and 2's buffer.
  EXPECT_EQ((std::vector<unsigned>{DbgLevelLoad(g_ini.m_nDebugLevel), DbgLevelLoad(g_other.m_nDebugLevel),
                                   diag->GetFileDebugLevel("levels_test", false), diag->GetContextDebugLevel(1u << 5, true),
                                   diag->GetContextDebugLevel(1u << 2, true), diag->GetContextBufferLevel(1u << 2)}),
            (std::vector<unsigned>{5, 3, 3, 3, 4, 6}));
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
  diag->SetDiagBufferLevels("never_registered", 7, 7);  // registers nothing
  std::vector<std::string> files;
  diag->GetFileVec(files);
  EXPECT_EQ(std::count(files.begin(), files.end(), "never_registered"), 0);

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
  EXPECT_EQ(diag->m_mContextNames.at(4), "net");
}

TEST_F(LevelsTest, ContextTokensAndAFurtherInitializeThatReadsTokensOnly) {
  WriteLevels("&31=7\n&32=7\n&-1=7\n&x=3\nnosep\n=3\n other 4\n");
  Init();
  EXPECT_EQ(diag->GetContextDebugLevel(1u << 31, true), 7u);
  EXPECT_EQ(diag->GetContextDebugLevel(0x7fffffffu, true), 1u);
  EXPECT_EQ(DbgLevelLoad(g_other.m_nDebugLevel), 0u);  // " other" began with a separator
  EXPECT_TRUE(Lines().empty());  // no file existed yet for the bad context's line

  WriteLevels("Enable=0\nIsCyclic=1\nMinimumDbgLvl=6\nother=4 2\n&99999999999=1\n");
  Init("second");
  EXPECT_TRUE(diag->GetDiagEnabled());
  EXPECT_FALSE(diag->IsCyclic());
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 0u);
  EXPECT_EQ(DbgLevelLoad(g_other.m_nBufferLevel), 2u);
  EXPECT_THAT(Bodies(), ElementsAre("\t[2]\ttdiag\tTDiag::ProcessToken\tInvalid Context Id was specified in INI file"));
}

TEST_F(LevelsTest, CandidatesAreTriedInOrder) {
  const std::pair<const char*, unsigned> candidates[] = {
      {"general.srv_DiagLvls.ini", 5}, {"general_DiagLvls.ini", 4}, {"DiagLvls.ini", 3}};
  for (auto [name, level] : candidates) WriteLevels("levels_test=" + std::to_string(level) + "\n", name);
  for (auto [name, level] : candidates) {
    Init("srv");
    EXPECT_EQ(diag->GetFileDebugLevel(__FILE__, true), level) << name;
    unlink((dir / name).c_str());
  }
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
  text += std::string(binary, sizeof binary - 1) + "other=6";
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
  for (int round = 0; round < 300; ++round) {
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
