#include "msglogger/msglogger_fixture.h"

using namespace plinth_test;

TEST_F(MsgLoggerTest, ExitRoutinesLookAtOrVetoMessages) {
  const int rc = InitWith(
      "QRX0001 I 0 a msgs_log audit_exit - audited %s\n"
      "QRX0002 I 0 a msgs_log veto_exit - vetoed %s\n"
      "QRX0003 I 0 a msgs_log * - plain\n"
      "QRX0004 I 0 a msgs_log no_such_exit - no routine %s\n",
      {Context("a", 0)});
  ASSERT_EQ(rc, 100);
  OCMsgLogger& logger = OCMsgLogger::GetInstance();
  ASSERT_TRUE(logger.m_ExitLibrary.IsLoaded());
  auto lookUps = reinterpret_cast<int (*)()>(logger.m_ExitLibrary.GetProcAddr("ExitLookUps"));
  auto lastAudit = reinterpret_cast<const char* (*)()>(logger.m_ExitLibrary.GetProcAddr("LastAudit"));
  ASSERT_TRUE(lookUps && lastAudit);
  // "*" asks the library nothing.
  EXPECT_EQ(lookUps(), 3);

  StringPair objects[] = {{"host", "alpha"}, {"host", "beta"}};
  LoadObjects(objects, 2);
  EXPECT_TRUE(WriteToLog(1, "x", nullptr));
  EXPECT_STREQ(lastAudit(), "1/1/x/alpha");
  EXPECT_FALSE(WriteToLog(2, "y", nullptr));
  EXPECT_TRUE(WriteToLog(3, nullptr));
  EXPECT_TRUE(WriteToLog(4, "z", nullptr));

  const std::vector<std::string> lines = Written();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].find("ORB0001I audited x"), std::string::npos);
  EXPECT_NE(lines[1].find("ORB0003I plain"), std::string::npos);
  EXPECT_NE(lines[2].find("ORB0004I no routine z"), std::string::npos);
}
