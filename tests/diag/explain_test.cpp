// The levels file explained: the names looked for, the lines that do
// nothing, the levels that result, and the trace of Initialize.
#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

#include "common/trace_file.h"
#include "diag_fixture.h"
#include "plinth/diag/levels_file.h"

using namespace plinth_test;

TEST(LevelsFileReport, EveryLineThatDoesNothingIsListedWithItsReason) {
  const std::string longLine = std::string(260, 'k') + "=1";
  const struct {
    const char* line;
    const char* reason;  // empty: the line does what it says
  } cases[] = {
      {"ini 5", ""},
      {"MinimumDbgLvl=3 1", ""},
      {"# comment", nullptr},  // not listed at all
      {"nosep", "no separator"},
      {"=3", "begins with a separator"},
      {"&31=7", ""},
      {"&32=7", "context index is 32 or more"},
      {"&-1=7", "context index is negative"},
      {"&x=1", "context index is no number"},
      {"NumOfFiles = 5", "begins with \"=\""},
      {"numoffiles=4", "\"NumOfFiles\" was meant"},
      {"logger=9", "no level digit"},
      {"MinimumDbgLvl=x", "no level digit from 0 to 7; the minimums stay"},
      {"InstallSignals=1", "read and ignored"},
      {longLine.c_str(), "longer than 259"},
  };
  std::string text;
  for (const auto& c : cases) text.append(c.line).append("\n");
  std::istringstream in(text);
  DiagLevelsFileReport report;
  report.Read(in);
  size_t listed = 0;
  for (size_t i = 0; i < std::size(cases); ++i) {
    if (!cases[i].reason || !*cases[i].reason) continue;
    ASSERT_LT(listed, report.m_vIgnored.size()) << cases[i].line;
    const DiagLevelsFileLine& line = report.m_vIgnored[listed++];
    EXPECT_EQ(line.m_nLine, i + 1) << cases[i].line;
    EXPECT_NE(line.m_sReason.find(cases[i].reason), std::string::npos) << line.m_sReason;
  }
  EXPECT_EQ(listed, report.m_vIgnored.size());
}

TEST(LevelsFileReport, LevelsFollowTheMinimumUnlessIgnoreMinimum) {
  for (const bool ignore : {false, true}) {
    std::istringstream in(std::string("MinimumDbgLvl=3 2\nini=1\n&4=5 0\nC:\\src\\Tdiag.cpp 6\n") +
                          (ignore ? "IgnoreMinimum=1\n" : ""));
    DiagLevelsFileReport report;
    report.Read(in);
    auto levels = [](DiagLevelsFileReport::Levels l) { return std::make_pair(l.m_nDebug, l.m_nBuffer); };
    EXPECT_EQ(levels(report.FileLevels("src/ini.cpp")), ignore ? std::make_pair(1u, 1u) : std::make_pair(3u, 2u));
    EXPECT_EQ(levels(report.FileLevels("tdiag")), ignore ? std::make_pair(6u, 6u) : std::make_pair(6u, 6u));
    EXPECT_EQ(levels(report.ContextLevels(4)), ignore ? std::make_pair(5u, 0u) : std::make_pair(5u, 2u));
    EXPECT_EQ(levels(report.FileLevels("unnamed.cpp")), std::make_pair(3u, 2u));
    EXPECT_EQ(levels(report.ContextLevels(31)), std::make_pair(3u, 2u));
  }
}

TEST(LevelsFileReport, NamesAreTriedInInitializesOrder) {
  TempDir dir;
  EXPECT_EQ(DiagLevelsFileNames("/etc", "general", "srv"),
            (std::vector<std::string>{"/etc/general.srv_DiagLvls.ini", "/etc/general_DiagLvls.ini", "/etc/DiagLvls.ini"}));
  EXPECT_EQ(DiagLevelsFileNames("", "prog", "")[0], "prog_DiagLvls.ini");
  EXPECT_EQ(FindDiagLevelsFile(dir.path(), "general", "srv"), "");
  WriteFile(dir / "DiagLvls.ini", "ini 5\n");
  EXPECT_EQ(FindDiagLevelsFile(dir.path(), "general", "srv"), dir / "DiagLvls.ini");
  WriteFile(dir / "general_DiagLvls.ini", "ini 5\n");
  EXPECT_EQ(FindDiagLevelsFile(dir.path(), "general", "srv"), dir / "general_DiagLvls.ini");
}

TEST_F(DiagTest, InitializeTellsTheTraceWhichLevelsFileItReadsAndWhatItIgnores) {
  TraceFile trace(dir);
  Init("srv");
  EXPECT_TRUE(trace.Has("no levels file found (tried " + (dir / "general.srv_DiagLvls.ini") + ", " +
                        (dir / "general_DiagLvls.ini") + ", " + (dir / "DiagLvls.ini") + ")"))
      << trace.Text();
  WriteFile(dir / "general_DiagLvls.ini", "# levels\nnosep\nnosuchfile 4\n");
  Init("srv");
  EXPECT_TRUE(trace.Has("levels file " + (dir / "general_DiagLvls.ini") + " (tried")) << trace.Text();
  EXPECT_TRUE(trace.Has("levels file line 2 ignored (no separator"));
  EXPECT_TRUE(trace.Has("no registered source file is named \"nosuchfile\""));
}

#ifdef PLINTH_LEVELS_PATH
TEST(LevelsTool, ListsTheNamesChecksTheFileAndPrintsTheLevels) {
  TempDir dir;
  auto run = [&](const std::string& args, std::string& out) {
    const std::string cmd = std::string(PLINTH_LEVELS_PATH) + " " + args + " >'" + (dir / "out") + "' 2>&1";
    const int raw = std::system(cmd.c_str());
    out = ReadFile(dir / "out");
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  };
  std::string out;
  const std::string where = "--path '" + dir.path() + "' --name prog --logical srv";
  EXPECT_EQ(run(where, out), 1);
  EXPECT_NE(out.find(dir / "prog.srv_DiagLvls.ini"), std::string::npos) << out;
  EXPECT_NE(out.find("none is found"), std::string::npos);

  WriteFile(dir / "prog_DiagLvls.ini", "MinimumDbgLvl=2\nini 5\n&3=6\n");
  EXPECT_EQ(run(where + " other.cpp", out), 0) << out;
  for (const std::string& expected :
       {dir / "prog_DiagLvls.ini" + "   <- found, read", std::string("ini                          debug 5, buffer 5"),
        std::string("other.cpp                    debug 2, buffer 2"), std::string("3 (mask 8)                   debug 6")})
    EXPECT_NE(out.find(expected), std::string::npos) << expected << "\n" << out;

  WriteFile(dir / "bad.ini", "ok 1\nnosep\n");
  EXPECT_EQ(run("--file '" + (dir / "bad.ini") + "'", out), 1);
  EXPECT_NE(out.find(dir / "bad.ini" + ":2: no separator"), std::string::npos) << out;
  EXPECT_EQ(run("--help", out), 0);
  EXPECT_EQ(run("--bogus", out), 2);
}
#endif
