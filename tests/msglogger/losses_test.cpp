// Losses the message logger's results don't show: counted, and told to the trace.

#include "common/trace_file.h"
#include "msglogger_fixture.h"

using namespace plinth_test;

TEST_F(MsgLoggerTest, LinesWithoutADestinationAreCountedAndTraced) {
  TraceFile trace(dir);
  DestinationData dest = Dest(eDatabase, "db", "db_log");  // no file type: nothing is created
  const std::string file = WriteMessages("QRX0001 I 0 a msgs_log * - %s\n");
  StringIntPair contexts[] = {Context("a", 0)};
  ASSERT_EQ(OCMsgLogger::GetInstance().Init(file.c_str(), "T", "M", contexts, 1, nullptr, 0, &dest, 1, 10, false,
                                            dir.path().c_str()),
            500);
  for (const char* text : {"a", "b", "c"}) EXPECT_TRUE(WriteToLog(1, text, nullptr));
  WaitForThread();
  EXPECT_EQ(GetUndeliveredMessageCount(), 3u);
  EXPECT_TRUE(trace.Has("none of the 1 destination(s) could be created")) << trace.Text();
  EXPECT_TRUE(trace.Has("no exits library"));
  EXPECT_TRUE(trace.Has("line(s) lost so far"));
}

TEST_F(MsgLoggerTest, ARefusedMessageFileTellsTheLineAndTheCause) {
  TraceFile trace(dir);
  const struct {
    const char* text;
    const char* told;
  } cases[] = {
      {"- header\n\nQRX0001 I 2 a msgs_log * - ok\n  QRX0002 I 9 a msgs_log * - x\n", "line 4: the level \"9\" is not from 0 to 7"},
      {"QRX0001 I 2 a msgs_log * - ok\r\nQRX0002 I 2 , msgs_log * - x\n", "line 2: no context is named"},
      {"QRX I 2 a msgs_log * - x", "line 1: the code \"QRX\" has no number"},
      {"QRX0 I 2 a msgs_log * - x", "line 1: the number of \"QRX0\" is not from 1 to 99999"},
      {"QRX0001 I 2 a , * - x", "line 1: no destination is named"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(InitWith(c.text, {Context("a", 0)}), 300) << c.text;
    EXPECT_TRUE(trace.Has(c.told)) << c.told << "\n" << trace.Text();
  }
  DestinationData dest = Dest(eSequentialFile, "msgs", "msgs_log");
  const std::string missing = dir / "missing.txt";
  EXPECT_EQ(OCMsgLogger::GetInstance().Init(missing.c_str(), "T", "M", nullptr, 0, nullptr, 0, &dest, 1, 1, false,
                                            dir.path().c_str()),
            300);
  EXPECT_TRUE(trace.Has("message file " + missing + " can't be opened: No such file or directory"));
}
