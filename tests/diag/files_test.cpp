// The engine's destination in the Logger and the names of its files.
#include <gmock/gmock.h>

#include <cstring>

#include "diag_fixture.h"

using namespace plinth_test;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

PLINTH_DIAG_FILE();

TEST_F(DiagTest, SequentialDestinationAndItsFile) {
  Init();
  EXPECT_EQ(Logger::GetInstance()->getDestType("sequential_files"), 0x40000000u);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 2);
  PLINTH_DIAG_AT("Seq", 2, "line");
  EXPECT_THAT(dir.names(), ElementsAre("general_diag." + ShortHost() + ".txt"));
}

TEST_F(DiagTest, LogicalNameProcessIdAndBufferingInTheName) {
  static const char name[] = "";  // counts as "general"
  diag->SetOutputFileName(name);
  WriteFile(dir / "DiagLvls.ini", "IsPIDUsed=1\nFlushBufferSize=4096\nfiles_test=1\n");
  Init("srv");
  PLINTH_DIAG_AT("Named", 1, "line");
  auto* dest = dynamic_cast<LoggerFileDest*>(Logger::GetInstance()->getDest("sequential_files"));
  ASSERT_NE(dest, nullptr);
  EXPECT_EQ(dest->m_nFlushSize, 4096u);
  EXPECT_EQ(Logger::GetInstance()->getDestType("sequential_files"), 0x40000080u);
  EXPECT_THAT(dir.names(), ElementsAre("DiagLvls.ini", "general_diag." + ShortHost() + ".srv." + Pid() + ".txt"));
}

TEST_F(DiagTest, CyclicDestinationRotatesThroughItsRing) {
  static TDiagSetFileName fileName("host");
  diag->SetCyclic(true);
  diag->SetNumberOfCyclic(2);
  diag->SetNumberOfPrintInFile(5);
  Init();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
  for (int i = 0; i < 12; ++i) PLINTH_DIAG_AT("Ring", 3, "line " << i);
  // Three files were begun; the ring keeps two.
  const std::string base = "host_diag\\." + ShortHost() + "\\.[0-9]{8}\\.#000";
  EXPECT_THAT(dir.names(), ElementsAre(MatchesRegex(base + "2\\.txt"), MatchesRegex(base + "3\\.txt")));
}

TEST_F(DiagTest, LogLevelsAndSideFileNames) {
  SetClockUtc(2026, 11, 18, 12, 54, 49, 0);
  Init("srv");
  const std::string host = plinth::platform::host_name(), at = ShortHost() + ".srv.";
  char buffer[1024];
  auto name = [d = diag, &buffer](void (TDiag::*get)(char*, bool), bool withPath) {
    (d->*get)(buffer, withPath);
    return std::string(buffer);
  };
  EXPECT_EQ(name(&TDiag::GetLogFile, false), "general_diag." + host + ".txt");
  EXPECT_EQ(name(&TDiag::GetLogFile, true), dir / ("general_diag." + host + ".txt"));
  EXPECT_EQ(name(&TDiag::GetINIFile, false), "general.srv_DiagLvls.ini");
  EXPECT_EQ(name(&TDiag::GetINIFile, true), dir / "general.srv_DiagLvls.ini");
  std::string side = "kept:";
  diag->GetFileName4Stack(side);
  EXPECT_EQ(side, "kept:" + (dir / ("general_stack." + at + "20261118_125449.txt")));
  side = "same";
  diag->BuildFileName4Type(nullptr, side);
  EXPECT_EQ(side, "same");

  diag->m_bIsPIDUsed = true;
  side.clear();
  diag->GetFileName4Buffer(side);
  EXPECT_EQ(side, dir / ("general_membuffer." + at + Pid() + ".20261118_125449.txt"));
  diag->SetCyclic(true);
  EXPECT_EQ(name(&TDiag::GetLogFile, false), "general_diag." + host + "." + Pid() + ".20261118.#0001.txt");
  diag->setLogicalName("");
  EXPECT_EQ(name(&TDiag::GetINIFile, false), "general_DiagLvls.ini");
  diag->m_sIniPath = std::string(250, 'd');
  EXPECT_EQ(name(&TDiag::GetINIFile, true), "");
}

TEST_F(DiagTest, CrashSafeSideFileName) {
  Init();
  diag->m_bIsPIDUsed = false;  // the process id is in this name whatever the flag says
  char buffer[1024];
  diag->BuildFileName4TypeSafe("_diagstacks", 1500000000, buffer, sizeof buffer);
  EXPECT_EQ(std::string(buffer), dir / ("general_diagstacks." + ShortHost() + "." + Pid() + ".1500000000.txt"));
  diag->setLogicalName("srv");
  SetClockUtc(2030, 1, 1, 0, 0, 0, 0);
  diag->BuildFileName4TypeSafe("_x", 0, buffer, 500);
  EXPECT_EQ(std::string(buffer), dir / ("general_x." + ShortHost() + ".srv." + Pid() + ".1893456000.txt"));

  std::strcpy(buffer, "as it was");
  diag->BuildFileName4TypeSafe("_diagstacks", 1, buffer, 499);
  diag->BuildFileName4TypeSafe(nullptr, 1, buffer, 1024);
  EXPECT_STREQ(buffer, "as it was");
  // A name too long for the buffer is no name at all, never a cut one.
  diag->m_sLogPath = std::string(600, 'p');
  diag->BuildFileName4TypeSafe("_diagstacks", 1, buffer, 512);
  EXPECT_STREQ(buffer, "");
}

TEST_F(DiagTest, CleanupRemovesOldFilesOfEarlierRunsOnlyWithProcessIds) {
  const std::string old = dir / ("general_diag." + ShortHost() + ".12345.txt");
  const std::string young = dir / ("general_diag." + ShortHost() + ".12346.txt");
  WriteFile(old, "old run\n");
  WriteFile(young, "young run\n");
  AgeFile(old, 3 * 86400);
  diag->SetRetainDays(2);
  Init();
  EXPECT_TRUE(os_file_system::exists(old));
  diag->m_bIsPIDUsed = true;
  Init();
  EXPECT_FALSE(os_file_system::exists(old));
  EXPECT_TRUE(os_file_system::exists(young));
}
