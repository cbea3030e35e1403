// Losses the message logger's results don't show: counted, and told to the trace.
#include <thread>

#include "common/trace_file.h"
#include "msglogger_fixture.h"

using namespace plinth_test;

TEST_F(MsgLoggerTest, DroppedMessagesAreCountedAndTraced) {
  TraceFile trace(dir);
  auto* gate = new GatedDest;
  Logger* base = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", dir.path());
  base->initLogger(init, nullptr);
  base->m_mDests.emplace("gated", gate);
  DestinationData dest = Dest(eSequentialFile, "unused", "gated");
  const std::string file = WriteMessages("QRX0001 I 0 a gated * - %s\n");
  StringIntPair contexts[] = {Context("a", 0)};
  ASSERT_EQ(OCMsgLogger::GetInstance().Init(file.c_str(), "T", "M", contexts, 1, nullptr, 0, &dest, 1, 1, true,
                                            dir.path().c_str()),
            500);
  EXPECT_TRUE(WriteToLog(1, "taken by the reader", nullptr));
  gate->WaitEntered(1);
  for (const char* text : {"queued", "dropped", "dropped", "dropped"}) EXPECT_TRUE(WriteToLog(1, text, nullptr));
  EXPECT_EQ(GetDroppedMessageCount(), 3u);
  gate->OpenGate();
  WaitForThread();
  EXPECT_EQ(gate->LinesWritten().size(), 2u);
  EXPECT_EQ(GetUndeliveredMessageCount(), 0u);
  // The first loss and each doubling, then the totals at wrap-up.
  EXPECT_TRUE(trace.Has("queue full (capacity 1), 1 message(s) dropped so far")) << trace.Text();
  EXPECT_TRUE(trace.Has("queue full (capacity 1), 2 message(s) dropped so far"));
  const std::string text = trace.Text();
  size_t told = 0;
  for (size_t at = text.find("dropped so far"); at != std::string::npos; at = text.find("dropped so far", at + 1)) ++told;
  EXPECT_EQ(told, 2u);
  EXPECT_TRUE(trace.Has("3 message(s) dropped, 0 line(s) without a destination"));
}

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
