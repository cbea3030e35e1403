// DiagActionLocal steers the engine; DiagLocalContextMgr names contexts.
#include "spy_fixture.h"

using namespace plinth_test;

DbgLevels g_steered;
TDiagRegister g_steeredRegister("/src/Steered.cpp", &g_steered);

TEST_F(DiagTest, TheLocalActionsReadAndChangeTheEngine) {
  Init();
  DiagActionLocal action;
  DbgLevelStore(diag->m_vContextLevels[2].m_nDebugLevel, 0);
  char steered[] = "steered", minimum[] = "MinimumDbgLvl", unknown[] = "nosuchfile";
  action.SetDiagFileLevel(steered, 6);
  action.SetDiagContextLevel(4, 5);
  EXPECT_EQ(action.GetDiagFileLevel(steered, true), 6u);
  EXPECT_EQ(g_steered.m_nBufferLevel, 6u);
  EXPECT_EQ(action.GetDiagContextLevel(4, true), 5u);
  action.SetDiagFileLevel(unknown, 6);  // changes nothing, says nothing
  action.SetDiagFileLevel(minimum, 2);
  EXPECT_EQ(action.GetMinimumDebugLevel(), 2u);
  EXPECT_EQ(diag->GetMinimumBufferLevel(), 2u);
  action.SetMinimumDebugLevel(4);  // the minimum alone
  EXPECT_EQ(diag->GetMinimumBufferLevel(), 2u);
  EXPECT_EQ(action.GetDiagFileLevel(steered, true), 6u);
  action.SetDiagEnabled(false);
  EXPECT_FALSE(action.GetDiagEnabled());
  action.SetDiagEnabled(true);

  // Traced actions open a scope of their own name; the action file is
  // registered like any other.
  std::vector<std::string> files;
  action.GetFileVec(files);
  EXPECT_NE(std::find(files.begin(), files.end(), "diagactionlocal"), files.end());
  action.SetDiagFileLevel(const_cast<char*>("diagactionlocal"), 6);
  action.GetDiagEnabled();
  EXPECT_EQ(Body(Lines().back()), "\t[6]\tdiagactionlocal\tDiagActionLocal::GetDiagEnabled\tEnter");
}

TEST(DiagActionLocal, ContextListsAppendAndNameEachIdOnce) {
  TDiag* diag = TDiag::Instance();
  DiagActionLocal action;
  std::list<DiagContext> contexts{{0, 1, "db"}, {2, 4, "net"}};
  action.SetContextsList(contexts);
  contexts.front().m_sName = "renamed";
  action.SetContextsList(contexts);
  std::list<DiagContext> out{{9, 9, "stale"}};
  action.GetContextsList(out);
  ASSERT_EQ(out.size(), 4u);
  EXPECT_EQ(out.front().m_sName, "db");
  EXPECT_EQ(out.back().m_sName, "net");
  EXPECT_EQ(diag->m_mContextNames, (std::map<unsigned, std::string>{{1, "db"}, {4, "net"}}));
}

TEST(DiagLocalContextMgr, FindsTheFirstMatchAndRemovesEveryMatch) {
  DiagLocalContextMgr* names = DiagLocalContextMgr::Instance();
  DiagContext first(3, 8, "io"), second(3, 16, "io"), third(5, 32, "disk");
  names->AddDiagContext(first);
  names->AddDiagContext(second);
  names->AddDiagContext(third);
  names->AddDiagContext(third);  // no check for duplicates
  EXPECT_EQ(names->GetDiagContextByIdx(3)->m_nID, 8u);
  EXPECT_EQ(names->GetDiagContext(16)->m_nIndex, 3u);
  EXPECT_EQ(names->GetDiagContext("disk")->m_nID, 32u);
  EXPECT_EQ(names->GetDiagContextByIdx(4), nullptr);
  EXPECT_EQ(names->GetDiagContext(64), nullptr);
  EXPECT_EQ(names->GetDiagContext("Disk"), nullptr);
  names->RemoveDiagContext(32);
  EXPECT_EQ(names->GetContextsList().size(), 2u);
  names->RemoveDiagContext(std::string("io"));
  EXPECT_TRUE(names->GetContextsList().empty());
  names->AddDiagContext(third);
  exit_diag();  // destroys the list with the engine
  DiagLocalContextMgr* fresh = DiagLocalContextMgr::Instance();
  EXPECT_TRUE(fresh->GetContextsList().empty());
}
