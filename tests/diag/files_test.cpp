// The engine's destination in the Logger and the names of its files.
#include <gmock/gmock.h>

#include "diag_fixture.h"

using namespace plinth_test;

PLINTH_DIAG_FILE();

namespace {
std::string Pid() { return std::to_string(plinth::platform::process_id()); }

LoggerFileDest* Dest(const std::string& logicalName) {
  return dynamic_cast<LoggerFileDest*>(Logger::GetInstance()->getDest(logicalName));
}
}  // namespace

TEST_F(DiagTest, SequentialDestinationAndItsFile) {
  Init();
  LoggerFileDest* dest = Dest("sequential_files");
  ASSERT_NE(dest, nullptr);
  EXPECT_EQ(dest->m_sBaseName, "general_diag." + ShortHost());
  EXPECT_EQ(dest->m_sPath, dir.path());
  EXPECT_EQ(diag->m_sDestName, "sequential_files");
  EXPECT_EQ(Logger::GetInstance()->getDestType("sequential_files"), 0x40000000u);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 2);
  PLINTH_DIAG_AT("Seq", 2, "line");
  EXPECT_EQ(dir.names(), std::vector<std::string>{"general_diag." + ShortHost() + ".txt"});
}

TEST_F(DiagTest, LogicalNameProcessIdAndBufferingInTheBaseName) {
  static const char name[] = "";  // counts as "general"
  diag->SetOutputFileName(name);
  diag->m_bIsPIDUsed = true;
  diag->m_nFlushSize = 4096;
  diag->m_nFlushFlags = 0x80;
  Init("srv");
  LoggerFileDest* dest = Dest("sequential_files");
  ASSERT_NE(dest, nullptr);
  EXPECT_EQ(dest->m_sBaseName, "general_diag." + ShortHost() + ".srv." + Pid());
  EXPECT_EQ(dest->m_nFlushSize, 4096u);
  EXPECT_EQ(Logger::GetInstance()->getDestType("sequential_files"), 0x40000080u);
}

TEST_F(DiagTest, CyclicDestinationRotatesThroughItsRing) {
  static TDiagSetFileName fileName("host");
  diag->SetCyclic(true);
  diag->SetNumberOfCyclic(2);
  diag->SetNumberOfPrintInFile(5);
  Init();
  auto* dest = dynamic_cast<LoggerCyclicDest*>(Logger::GetInstance()->getDest("cyclic_files"));
  ASSERT_NE(dest, nullptr);
  EXPECT_EQ(dest->m_sBaseName, "host_diag." + ShortHost());
  EXPECT_EQ(dest->m_nNumOfFiles, 2);
  EXPECT_EQ(dest->m_nMsgsPerFile, 5);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
  for (int i = 0; i < 12; ++i) PLINTH_DIAG_AT("Ring", 3, "line " << i);
  // Three files were begun; the ring keeps two.
  const std::vector<std::string> names = dir.names();
  ASSERT_EQ(names.size(), 2u);
  EXPECT_THAT(names[0], ::testing::MatchesRegex("host_diag\\..*\\.[0-9]{8}\\.#0002\\.txt"));
  EXPECT_THAT(names[1], ::testing::MatchesRegex("host_diag\\..*\\.[0-9]{8}\\.#0003\\.txt"));
}

TEST_F(DiagTest, LogAndLevelsFileNames) {
  SetClockUtc(2026, 11, 18, 12, 0, 0, 0);
  Init("srv");
  char buffer[1024];
  diag->GetLogFile(buffer, false);
  EXPECT_EQ(std::string(buffer), "general_diag." + plinth::platform::host_name() + ".txt");
  diag->GetLogFile(buffer, true);
  EXPECT_EQ(std::string(buffer), dir.path() + "/general_diag." + plinth::platform::host_name() + ".txt");
  diag->m_bIsPIDUsed = true;
  diag->SetCyclic(true);
  diag->GetLogFile(buffer, false);
  EXPECT_EQ(std::string(buffer), "general_diag." + plinth::platform::host_name() + "." + Pid() + ".20261118.#0001.txt");

  diag->GetINIFile(buffer, false);
  EXPECT_EQ(std::string(buffer), "general.srv_DiagLvls.ini");
  diag->GetINIFile(buffer, true);
  EXPECT_EQ(std::string(buffer), dir.path() + "/general.srv_DiagLvls.ini");
  diag->setLogicalName("");
  diag->GetINIFile(buffer, false);
  EXPECT_EQ(std::string(buffer), "general_DiagLvls.ini");
  diag->m_sIniPath = std::string(250, 'd');
  diag->GetINIFile(buffer, true);
  EXPECT_EQ(std::string(buffer), "");
}

TEST_F(DiagTest, SideFileNames) {
  Init("srv");
  SetClockUtc(2026, 11, 18, 12, 54, 49, 0);
  std::string name = "kept:";
  diag->GetFileName4Stack(name);
  EXPECT_EQ(name, "kept:" + dir.path() + "/general_stack." + ShortHost() + ".srv.20261118_125449.txt");
  name.clear();
  diag->m_bIsPIDUsed = true;
  diag->GetFileName4Buffer(name);
  EXPECT_EQ(name, dir.path() + "/general_membuffer." + ShortHost() + ".srv." + Pid() + ".20261118_125449.txt");
  name = "same";
  diag->BuildFileName4Type(nullptr, name);
  EXPECT_EQ(name, "same");
}

TEST_F(DiagTest, CrashSafeSideFileName) {
  Init();
  diag->m_bIsPIDUsed = false;  // the process id is in this name whatever the flag says
  char buffer[1024];
  diag->BuildFileName4TypeSafe("_diagstacks", 1500000000, buffer, sizeof buffer);
  EXPECT_EQ(std::string(buffer), dir.path() + "/general_diagstacks." + ShortHost() + "." + Pid() + ".1500000000.txt");

  diag->setLogicalName("srv");
  SetClockUtc(2030, 1, 1, 0, 0, 0, 0);
  diag->BuildFileName4TypeSafe("_x", 0, buffer, 500);
  EXPECT_EQ(std::string(buffer), dir.path() + "/general_x." + ShortHost() + ".srv." + Pid() + ".1893456000.txt");

  std::strcpy(buffer, "as it was");
  diag->BuildFileName4TypeSafe("_diagstacks", 1, buffer, 499);
  diag->BuildFileName4TypeSafe(nullptr, 1, buffer, 1024);
  EXPECT_STREQ(buffer, "as it was");
  // A name too long for the buffer is no name at all, never a cut one.
  diag->m_sLogPath = std::string(600, 'p');
  diag->BuildFileName4TypeSafe("_diagstacks", 1, buffer, 512);
  EXPECT_STREQ(buffer, "");
}

TEST_F(DiagTest, CleanupNeedsTheProcessIdInTheNames) {
  const std::string old = dir / ("general_diag." + ShortHost() + ".12345.txt");
  WriteFile(old, "old run\n");
  AgeFile(old, 3 * 86400);
  Init();
  EXPECT_TRUE(os_file_system::exists(old));
}

TEST_F(DiagTest, CleanupRemovesOldFilesOfEarlierRuns) {
  const std::string old = dir / ("general_diag." + ShortHost() + ".12345.txt");
  const std::string young = dir / ("general_diag." + ShortHost() + ".12346.txt");
  WriteFile(old, "old run\n");
  WriteFile(young, "young run\n");
  AgeFile(old, 3 * 86400);
  diag->m_bIsPIDUsed = true;
  diag->SetRetainDays(2);
  Init();
  EXPECT_FALSE(os_file_system::exists(old));
  EXPECT_TRUE(os_file_system::exists(young));
}
