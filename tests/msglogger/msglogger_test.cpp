#include <sys/resource.h>

#include <atomic>
#include <fstream>
#include <ctime>
#include <thread>

#include "common/trace_file.h"
#include "msglogger/msglogger_fixture.h"
#include "plinth/message/msg_file.h"

using namespace plinth_test;

namespace {
const char* const kMessages =
    "- messages of the file manager\n"
    "QRX1201 E 2 general,files msgs_log * - Cannot open %s for %s\n"
    "   \t\n"
    "# level 5, only for those who ask\n"
    "QRX1202 I 5 files msgs_log * - Opened %s\n";

int64_t UtcMicros(int year, int month, int day, int hour, int minute, int second, int micro) {
  struct tm t {};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  return static_cast<int64_t>(timegm(&t)) * 1000000 + micro;
}
}  // namespace

TEST_F(MsgLoggerTest, LineFormatAndTheSafeExpansionOfFormats) {
  OCMsgMessage message;
  message.m_nID = 1201;
  message.m_sSeverity = "E";
  message.m_sFormat = "Cannot open %s for %s\n";
  char a[] = "a.txt";
  char* args[] = {a};
  OCMsgDefFormat format;
  format.m_sCode = "ORB";

  os_clock::set_frozen_us(UtcMicros(2024, 5, 22, 14, 7, 33, 123456));
  std::string line;
  format.Format(&message, "QRX", "files               ", args, 1, line);
  EXPECT_EQ(line, "QRX files                22/05/2024 14:07:33.12  ORB1201E Cannot open a.txt for ?\n");

  // The microseconds are printed, then cut to two characters: 5000 gives 50.
  os_clock::set_frozen_us(UtcMicros(2024, 5, 22, 14, 7, 33, 5000));
  message.m_nID = 7;
  line.clear();
  format.Format(&message, "QRX", "files               ", args, 0, line);
  EXPECT_EQ(line, "QRX files                22/05/2024 14:07:33.50  ORB0007E Cannot open ? for ?\n");

  // Formats come from a file: only strings are ever read.
  message.m_nID = 1;
  char one[] = "one", two[] = "two";
  char* two_args[] = {one, two};
  auto expand = [&](const std::string& f) {
    message.m_sFormat = f + "\n";
    line.clear();
    format.Format(&message, "T", "M", two_args, 2, line);
    return line.substr(line.find("0001E ") + 6);
  };
  EXPECT_EQ(expand("[%5s|%-5s|%1$.2s|%.3s]"), "[  one|two  |on|?]\n");
  EXPECT_EQ(expand("%2$s %1$s 100%%"), "two one 100%\n");
  // Conversions that would read an argument that isn't a string stay text.
  EXPECT_EQ(expand("%d %n %p %s"), "%d %n %p one\n");
  EXPECT_EQ(expand("trailing %"), "trailing %\n");
  // More conversions than ten strings: the rest read "?".
  EXPECT_EQ(expand("%s %s %s %s %s %s %s %s %s %s %s %s"), "one two ? ? ? ? ? ? ? ? ? ?\n");

  // An expansion longer than the work buffer is cut and still ends a line.
  std::string big(400, 'x');
  char* bigs[] = {big.data(), big.data(), big.data(), big.data()};
  message.m_sFormat = "%s%s%s%s\n";
  line.clear();
  format.Format(&message, "T", "M", bigs, 4, line);
  const std::string expansion = line.substr(line.find("0001E ") + 6);
  EXPECT_EQ(expansion.size(), OCMsgDefFormat::kWorkBufferSize - 1);
  EXPECT_EQ(expansion.back(), '\n');
}

TEST_F(MsgLoggerTest, MessagesPassByContextLevelAndReachTheDestination) {
  os_clock::set_frozen_us(UtcMicros(2026, 11, 18, 12, 45, 0, 990000));
  // Without the exits library the logger runs, and says so.
  ASSERT_EQ(InitWith(kMessages, {Context("files", 3)}, "QRXY", "file manager, a long module name"), 500);
  EXPECT_TRUE(IsInitialized());
  EXPECT_EQ(gFilterVec[1201], 1);
  EXPECT_EQ(gFilterVec[1202], 0);
  // A second Init changes nothing.
  EXPECT_EQ(OCMsgLogger::GetInstance().Init(nullptr, "XX", "YY", nullptr, 0, nullptr, 0, nullptr, 0, 1, true, "/"), 100);

  EXPECT_TRUE(WriteToLog(1201, "a.txt", "reading", nullptr));
  EXPECT_FALSE(WriteToLog(1202, "b.txt", nullptr));  // level 5 above context 3
  EXPECT_FALSE(WriteToLog(100000, "x", nullptr));
  EXPECT_FALSE(WriteToLog(-1, "x", nullptr));
  // The member FormatMsg ignores the filter; the member WriteToLog doesn't.
  OCMsgLogger& logger = OCMsgLogger::GetInstance();
  EXPECT_TRUE(logger.FormatMsg(1202, "c.txt", nullptr));
  EXPECT_FALSE(logger.WriteToLog(1202, "d.txt", nullptr));

  // Levels change while the logger runs.
  StringIntPair louder[] = {Context("files", 5)};
  LoadContexts(louder, 1);
  EXPECT_TRUE(WriteToLog(1202, "e.txt", nullptr));
  // A null table turns every message off until the next real one.
  LoadContexts(nullptr, 0);
  EXPECT_FALSE(WriteToLog(1201, "f.txt", "x", nullptr));
  LoadContexts(louder, 1);
  EXPECT_TRUE(WriteToLog(1201, "g.txt", "x", nullptr));

  EXPECT_EQ(Written(), (std::vector<std::string>{
                           "QRX file manager, a long 18/11/2026 12:45:00.99  ORB1201E Cannot open a.txt for reading",
                           "QRX file manager, a long 18/11/2026 12:45:00.99  ORB1202I Opened c.txt",
                           "QRX file manager, a long 18/11/2026 12:45:00.99  ORB1202I Opened e.txt",
                           "QRX file manager, a long 18/11/2026 12:45:00.99  ORB1201E Cannot open g.txt for x"}));
}

TEST_F(MsgLoggerTest, ShortTagIsFilledAndStringsAreCutToTheirBuffers) {
  ASSERT_EQ(InitWith("QRX0001 I 0 any msgs_log * - %s|%s|%s|%s|%s|%s|%s|%s|%s|%s|%s\n", {}, "AB", "m"), 500);
  const std::string longText(250, 'y');
  EXPECT_TRUE(WriteToLog(1, longText.c_str(), "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", nullptr));
  const std::vector<std::string> lines = Written();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].substr(0, 3), "AB ");
  EXPECT_NE(lines[0].find("ORB0001I " + std::string(199, 'y') + "|2|3|4|5|6|7|8|9|10|?"), std::string::npos)
      << lines[0];
}

TEST_F(MsgLoggerTest, ContextLevelsAndTheDefaultFloor) {
  ASSERT_EQ(InitWith("QRX0001 I 3 a,b msgs_log * - x\n", {}), 500);
  OCMsgLogger& logger = OCMsgLogger::GetInstance();
  auto passes = [&](std::vector<StringIntPair> contexts) {
    logger.LoadContexts(contexts.data(), static_cast<unsigned>(contexts.size()));
    EXPECT_EQ(gFilterVec[1], logger.FilterByContext(1) ? 1 : 0);
    return logger.FilterByContext(1);
  };
  EXPECT_TRUE(passes({Context("a", 1), Context("b", 3)}));
  EXPECT_TRUE(passes({Context("a", 1), Context("b", 2), Context("*default", 3)}));
  EXPECT_FALSE(passes({Context("a", 1), Context("b", 2), Context("*default", 2)}));
  // The first of two records with one name stays.
  EXPECT_FALSE(passes({Context("a", 1), Context("a", 7), Context("*default", 0)}));
  // Unknown contexts count as level 0 and are remembered.
  EXPECT_FALSE(passes({}));
  EXPECT_EQ(logger.m_Contexts.count("b"), 1u);
  EXPECT_FALSE(logger.FilterByContext(2));
  EXPECT_FALSE(logger.FilterByContext(100000));
  // Wrap-up with an empty queue returns at once, also a second time.
  WaitForThread();
  WaitForThread();
  EXPECT_EQ(ReadFile(dir / "msgs.txt"), "");
}

TEST_F(MsgLoggerTest, BadMessageFilesFailInitWithoutHarm) {
  const std::string good = "QRX0001 I 1 a msgs_log * - ok\n";
  static const char kBinary[] = "QRX\x01\xff\x80 \x7f\x00 9 a b c d\n";
  const std::vector<std::string> bad = {
      good + "QRX0002 I 8 a msgs_log * - level above 7\n",
      good + "QRX0004 I 1 , msgs_log * - only a comma\n",
      good + "QRX0005 I 1 a\n",
      "QR 1 a msgs_log * - short code\n",
      "QRX0 I 1 a msgs_log * - number 0\n",
      "QRX100000 I 1 a msgs_log * - number beyond the table\n",
      "QRX-5 I 1 a msgs_log * - negative number\n",
      std::string(kBinary, sizeof kBinary - 1),
  };
  for (const std::string& text : bad) {
    DestinationData dest = Dest(eSequentialFile, "msgs", "msgs_log");
    const std::string file = WriteMessages(text);
    EXPECT_EQ(OCMsgLogger::GetInstance().Init(file.c_str(), "T", "M", nullptr, 0, nullptr, 0, &dest, 1, 10,
                                              false, dir.path().c_str()),
              300)
        << text;
    EXPECT_FALSE(IsInitialized());
  }
  DestinationData dest = Dest(eSequentialFile, "msgs", "msgs_log");
  OCMsgLogger& logger = OCMsgLogger::GetInstance();
  EXPECT_EQ(logger.Init(nullptr, "T", "M", nullptr, 0, nullptr, 0, &dest, 1, 10, false, dir.path().c_str()), 300);
  EXPECT_EQ(logger.Init((dir / "missing").c_str(), "T", "M", nullptr, 0, nullptr, 0, &dest, 1, 10, false,
                        dir.path().c_str()),
            300);
  EXPECT_EQ(logger.Init(dir.path().c_str(), "T", "M", nullptr, 0, nullptr, 0, &dest, 1, 10, false,
                        dir.path().c_str()),
            300);
  // No destinations at all.
  EXPECT_EQ(logger.Init(nullptr, "T", "M", nullptr, 0, nullptr, 0, nullptr, 0, 10, false, dir.path().c_str()), 200);

  // A failed Init may be repeated; CR LF ends and over-long lines are read
  // as lines, the overflow of a line dropped.
  const std::string longFormat(3000, 'z');
  const std::string file = WriteMessages("QRX0007 W 1 a msgs_log * - crlf %s\r\n\r\nQRX0008 W 1 a msgs_log * - " +
                                         longFormat + "\r\n");
  StringIntPair contexts[] = {Context("a", 7)};
  ASSERT_EQ(logger.Init(file.c_str(), "T", "M", contexts, 1, nullptr, 0, &dest, 1, 10, false, dir.path().c_str()),
            500);
  ASSERT_NE(logger.m_Messages[7], nullptr);
  EXPECT_EQ(logger.m_Messages[7]->m_sFormat, "crlf %s\n");
  ASSERT_NE(logger.m_Messages[8], nullptr);
  EXPECT_EQ(logger.m_Messages[8]->m_sFormat.size(), msg_file::kMaxLineLength - std::string("QRX0008 W 1 a msgs_log * - ").size() + 1);
  EXPECT_TRUE(WriteToLog(7, "x", nullptr));
  EXPECT_TRUE(WriteToLog(8, nullptr));
  const std::vector<std::string> lines = Written();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("ORB0007W crlf x"), std::string::npos);
}

TEST_F(MsgLoggerTest, LaterRecordReplacesEarlierAndTheLastDestinationIsInForce) {
  DestinationData dests[] = {Dest(eCyclicFile, "ring", "ring_log", 3, 100), Dest(7, "skipped", "skipped_log"),
                             Dest(eSequentialFile, "msgs", "msgs_log")};
  const std::string file = WriteMessages(
      "QRX0001 I 1 a ring_log,nowhere * - first\n"
      "QRX0001 I 1 a ring_log * - second\n");
  StringIntPair contexts[] = {Context("a", 1)};
  OCMsgLogger& logger = OCMsgLogger::GetInstance();
  ASSERT_EQ(logger.Init(file.c_str(), "T", "M", contexts, 1, nullptr, 0, dests, 3, 10, false, dir.path().c_str()),
            500);
  EXPECT_EQ(logger.m_sDestName, "msgs_log");
  EXPECT_EQ(Logger::GetInstance()->getDest("skipped_log"), nullptr);
  ASSERT_NE(logger.m_Messages[1], nullptr);
  EXPECT_EQ(logger.m_Messages[1]->m_sFormat, "second\n");
  EXPECT_EQ(logger.m_Messages[1]->m_vDests, std::vector<LoggerBaseDestination*>{Logger::GetInstance()->getDest("ring_log")});
  EXPECT_TRUE(WriteToLog(1, nullptr));
  // Every line goes to the destination in force, whatever the record names.
  const std::vector<std::string> lines = Written();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("second"), std::string::npos);
}

TEST_F(MsgLoggerTest, DropModeLosesTheNewestAndTakesMessagesAgainOnceThereIsRoom) {
  TraceFile trace(dir);
  // A destination that holds the reader thread in its first write.
  auto* gate = new GatedDest;
  gate->m_sLogicalName = "gated";
  Logger* base = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", dir.path());
  base->initLogger(init, nullptr);
  base->m_mDests.emplace("gated", gate);

  // The record names "gated"; the logger's own creation finds the name taken.
  DestinationData dest = Dest(eSequentialFile, "unused", "gated");
  const std::string file = WriteMessages("QRX0001 I 0 a gated * - %s\n");
  StringIntPair contexts[] = {Context("a", 0)};
  ASSERT_EQ(OCMsgLogger::GetInstance().Init(file.c_str(), "T", "M", contexts, 1, nullptr, 0, &dest, 1, 1, true,
                                            dir.path().c_str()),
            500);
  EXPECT_TRUE(WriteToLog(1, "taken by the reader", nullptr));
  gate->WaitEntered(1);
  EXPECT_TRUE(WriteToLog(1, "queued", nullptr));
  EXPECT_TRUE(WriteToLog(1, "dropped", nullptr));
  EXPECT_TRUE(WriteToLog(1, "dropped too", nullptr));
  EXPECT_EQ(GetDroppedMessageCount(), 2u);
  gate->OpenGate();
  gate->WaitLines(2);
  // Wait until the reader took the queued one off the queue, then refill.
  while (OCMsgLogger::GetInstance().m_pQueue->Size() != 0) std::this_thread::yield();
  EXPECT_TRUE(WriteToLog(1, "accepted again", nullptr));
  WaitForThread();
  const std::vector<std::string> lines = gate->LinesWritten();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].find("taken by the reader"), std::string::npos);
  EXPECT_NE(lines[1].find("queued"), std::string::npos);
  EXPECT_NE(lines[2].find("accepted again"), std::string::npos);
  EXPECT_EQ(GetUndeliveredMessageCount(), 0u);
  // The first loss and each doubling, then the totals at wrap-up.
  const std::string told = trace.Text();
  EXPECT_NE(told.find("queue full (capacity 1), 1 message(s) dropped so far"), std::string::npos) << told;
  EXPECT_NE(told.find("queue full (capacity 1), 2 message(s) dropped so far"), std::string::npos);
  EXPECT_NE(told.find("2 message(s) dropped, 0 line(s) without a destination"), std::string::npos);
}

TEST_F(MsgLoggerTest, BlockingModeLosesNothingFromFourThreads) {
  ASSERT_EQ(InitWith("QRX0001 I 0 a msgs_log * - %s %s\n", {Context("a", 0)}, "T", "M", 64, false), 500);
  constexpr int kThreads = 4;
  constexpr int kEach = 50000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t] {
      const std::string who = "t" + std::to_string(t);
      for (int i = 0; i < kEach; ++i) WriteToLog(1, who.c_str(), std::to_string(i).c_str(), nullptr);
    });
  for (std::thread& th : threads) th.join();
  const std::vector<std::string> lines = Written();
  ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kEach));
  std::vector<std::vector<char>> seen(kThreads, std::vector<char>(kEach, 0));
  for (const std::string& line : lines) {
    const size_t at = line.find("ORB0001I t");
    ASSERT_NE(at, std::string::npos) << line;
    const int t = line[at + 10] - '0';
    const int i = std::stoi(line.substr(at + 12));
    ASSERT_TRUE(t >= 0 && t < kThreads && i >= 0 && i < kEach) << line;
    EXPECT_EQ(seen[t][i]++, 0) << line;
  }
}

TEST_F(MsgLoggerTest, ProcessExitDrainsTheQueueWithoutWrapUp) {
  // A process that never calls WaitForThread still writes what it sent, and
  // its reader thread is joined on the way out.
  EXPECT_EXIT(
      {
        InitWith("QRX0001 I 0 a msgs_log * - n%s\n", {Context("a", 0)}, "T", "M", 8, false);
        for (int i = 0; i < 1000; ++i) WriteToLog(1, std::to_string(i).c_str(), nullptr);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EQ(Lines(ReadFile(dir / "msgs.txt")).size(), 1000u);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(MsgLoggerTest, ThreadThatCannotStartFailsInitWith400AndInitCanBeRepeated) {
  // Leave no room for a thread's stack: the address space limit sits just
  // above what the process already uses.
  struct rlimit old {};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &old), 0);
  std::ifstream statm("/proc/self/statm");
  size_t pages = 0;
  statm >> pages;
  struct rlimit tight = old;
  tight.rlim_cur = pages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) + (2u << 20);
  testing::internal::CaptureStdout();
  ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
  const int rc = InitWith("QRX0001 I 0 a msgs_log * - x\n", {Context("a", 0)});
  setrlimit(RLIMIT_AS, &old);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(rc, 400);
  EXPECT_EQ(out, "OCMsgLogger::Init: Failed to create thread\n");
  EXPECT_FALSE(IsInitialized());
  EXPECT_EQ(InitWith("QRX0001 I 0 a msgs_log * - x\n", {Context("a", 0)}), 500);
  EXPECT_TRUE(IsInitialized());
}
#endif
