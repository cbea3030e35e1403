// The catalogue: reading the message file, the default entry, look-ups and
// the logical names. Each test runs in a process of its own.
#include <gtest/gtest.h>

#include <climits>
#include <sys/stat.h>

#include <thread>

#include "common/trace_env.h"
#include "message_files.h"
#include "plinth/plinth.h"

using namespace plinth_test;

namespace {
const std::string kRc0 = "load_messages has resulted with rc=0, ";

OCMessageMgr* Mgr() { return OCMessageMgr::getInstance(); }
OCMessage Get(int id) { return Mgr()->locateAndSetMessage(id, nullptr, eMsgTypePlain); }

// Loads a fresh catalogue from text; error gets the failure text.
struct Load {
  explicit Load(const std::string& text) {
    exit_messagemgr();
    ok = LoadText(dir, text, error);
  }
  TempDir dir;
  std::string error = "untouched";
  bool ok;
};
}  // namespace

TEST(OCMessageMgr, LoadsTheExampleFile) {
  Load load(kExampleFile);
  ASSERT_TRUE(load.ok);
  EXPECT_EQ(load.error, "");
  EXPECT_EQ(TableSize(), 3u);
  OCMessage open = Get(1000);
  EXPECT_EQ(open.getDescription(), "Cannot open {1}{endl}~Ask the administrator\n");
  open.addArg("a.txt");
  EXPECT_EQ(open.decorate(), "FIL-1000E:\tFiles - Open failed.\nCannot open a.txt\n.\n.");
  open.setMessageType(eMsgTypeNoCaret);
  EXPECT_EQ(open.toString_n(), "Cannot open a.txt\nAsk the administrator\n");

  StreamArray context(true);
  context.addPair("disk", "sda");
  OCMessage slow = Mgr()->locateAndSetMessage(1001, &context, eMsgTypeNoTilde);
  EXPECT_EQ(slow.m_eType, eMsgTypeNoTilde);
  EXPECT_EQ(std::make_pair(slow.m_nBoxWidth, slow.m_nBoxHeight), std::make_pair(390, 170));
  slow.m_vArgs = {"big.dat", "12"};
  EXPECT_EQ(slow.decorate(), "FIL-1001W:\tFile manager - Slow disk.\nReading big.dat took 12 seconds\n.\n{disk=sda }.");
  EXPECT_EQ(Mgr()->generate_msg_header(load.error), "FILE_ENTRY=1000,\nFILE_SLOW\n");
  // The table hands out copies: changing one leaves the entry alone.
  EXPECT_TRUE(Get(1000).m_vArgs.empty());
}

TEST(OCMessageMgr, DefaultEntryStandsInForUnknownNumbers) {
  // No InitOCMessageMgr: a look-up creates the catalogue.
  StreamArray context;
  context.addText("ctx");
  OCMessage m(4711, &context);
  EXPECT_EQ(m.decorate(), "OC-0I:\tSYS - General.\nCould not find message description.\nctx.");
  EXPECT_EQ(m.getLogical_name(), "default_ENTRY");
  EXPECT_TRUE(m.is_valid());
  EXPECT_FALSE(Mgr()->m_bLoaded);
  // Even a caller that erased the default entry gets one.
  Mgr()->m_Messages.clear();
  EXPECT_EQ(OCMessage(1, nullptr).getTitle(), "General");
}

TEST(OCMessageMgr, CommentsBlankLinesAndCountersInTheFailureText) {
  const std::string bad = "FIL 1002 E FILE_BAD \"\" Files 1 1 [Empty title]";
  Load load("# comment\n\n   \t# indented comment\n-- dashes\n" + kOrderLine +
            "\r\n  FIL 1001 W FILE_SLOW Slow Files 1 1 [x]\n" + bad + "\nFIL 1003 E FILE_LATER Later Files 1 1 [never]\n");
  EXPECT_FALSE(load.ok);
  EXPECT_EQ(load.error, kRc0 + "nMsgLine_count=1, nCommentLine_count=3, total parsed lines=4, last parsed record=" + bad);
  EXPECT_FALSE(Mgr()->m_bLoaded);
  // Records before the bad one stay and the catalogue goes on working.
  EXPECT_EQ(Get(1001).getTitle(), "Slow");
  EXPECT_FALSE(Has(1002));
  EXPECT_FALSE(Has(1003));
}

TEST(OCMessageMgr, LastLineWithoutLineEndAddsNoComment) {
  Load load("# one\n\n" + kOrderLine + "X 1 E FILE=1 T S 1 1 [d]");
  EXPECT_EQ(load.error, kRc0 + "nMsgLine_count=0, nCommentLine_count=1, total parsed lines=1, "
                               "last parsed record=X 1 E FILE=1 T S 1 1 [d]");
}

TEST(OCMessageMgr, EmptyFilesAndBadOrderLinesEndTheLoadWithSuccess) {
  const std::string record = "FIL 1000 E FILE_OPEN T S 1 1 [d]\n";
  for (const std::string& text : {std::string(""), "@@ORDER 0 1 2 3 4 5 8 6\n" + record,
                                  "@@order 0 1 2 3 4 5 8 6 7\n" + record, record + record}) {
    Load load(text);
    EXPECT_TRUE(load.ok) << text;
    EXPECT_EQ(load.error, "");
    EXPECT_TRUE(Mgr()->m_bLoaded);
    EXPECT_EQ(TableSize(), 1u) << text;  // the default entry only
  }
}

TEST(OCMessageMgr, OrderLineMayReuseIndexesAndCountBrackets) {
  // Brackets are tokens of their own and read as 0; blanks and tabs split.
  Load load("@@ORDER\t[ 1 2 ] 3 3 4 1 1\nNAME_ENTRY=7 7 Same Text [described]\n");
  ASSERT_TRUE(load.ok) << load.error;
  OCMessage m = Get(7);
  EXPECT_EQ(m.decorate(), "NAME_ENTRY=7-7Same:\tText - Text.\ndescribed\n.\n.");
  EXPECT_EQ(std::make_pair(m.m_nBoxWidth, m.m_nBoxHeight), std::make_pair(7, 7));
}

TEST(OCMessageMgr, FieldsQuotesAndDescriptions) {
  Load load(kOrderLine +
            "P 1 S N_1 \"a \"\"b c\" 1 1 [Text]\n"  // quote ends a field, the next begins at once
            "P 2 S N_2 T\"x S\"y 1 1 [Tex\n"        // a quote inside a plain field is ordinary
            "P 3 S N_3 T S 1 1 []\n"                // one line feed is a valid description
            "P 4 S N_4 T S 1 1 [ a ] [b] \t]\r\n"   // raw to the end, brackets mean nothing
            "\xC3\xA9\t5\tS\tN_5\t\"\xFF\xFE\"\tS\t1\t1\t[bytes \x01\x7F]\n");
  ASSERT_TRUE(load.ok) << load.error;
  EXPECT_EQ(Get(1).getTitle() + "|" + Get(1).getSource() + "|" + Get(1).getDescription(), "a |b c|Text\n");
  EXPECT_EQ(Get(2).getTitle() + "|" + Get(2).getSource() + "|" + Get(2).getDescription(), "T\"x|S\"y|Te\n");
  EXPECT_EQ(Get(3).getDescription(), "\n");
  EXPECT_EQ(Get(4).getDescription(), " a ] [b] \t\n");
  EXPECT_EQ(Get(5).getPrefix() + "|" + Get(5).getTitle() + "|" + Get(5).getDescription(),
            "\xC3\xA9|\xFF\xFE|bytes \x01\x7F\n");
}

TEST(OCMessageMgr, RecordsOutsideTheFormatFailTheLoadInOrder) {
  for (const char* line : {"P 2 S N_2 T S 1 1 no description", "P 2 S N_2 \"unclosed T S 1 1 [d]",
                                  "P 2 S N_2 T [d]",  // the order asks for field 8
                                  "P 2 S FILE=2 T S 1 1 [assignment without the entry word]"}) {
    Load load(kOrderLine + "P 1 S N_1 T S 1 1 [good]\n" + line + "\n");
    EXPECT_EQ(load.error, kRc0 + "nMsgLine_count=1, nCommentLine_count=0, total parsed lines=1, last parsed record=" + line);
    EXPECT_TRUE(Has(1));
    EXPECT_FALSE(Has(2));
  }
  for (const char* order : {"@@ORDER 0 1 2 3 4 5 8 6 -1\n", "@@ORDER 0 1 2 3 4 5 8 6 99\n"}) {
    Load load(std::string(order) + "P 1 S N_1 T S 1 1 [d]\n");
    EXPECT_FALSE(load.ok) << order;
    EXPECT_EQ(TableSize(), 1u);
  }
}

TEST(OCMessageMgr, RepeatedAndNonNumericNumbersKeepTheFirstEntry) {
  Load load(kOrderLine +
            "P 5 S FIRST T S 1 1 [first]\nP 5 S SECOND T S 1 1 [second]\n"
            "P abc S NOT_A_NUMBER T S 1 1 [zero]\nP 0 S ZERO T S 1 1 [zero]\n"
            "P 99999999999 S HUGE T S 1 1 [held at the limit]\n");
  ASSERT_TRUE(load.ok);
  EXPECT_EQ(TableSize(), 3u);
  EXPECT_EQ(Get(INT_MAX).getDescription(), "held at the limit\n");
  EXPECT_EQ(Get(5).getDescription(), "first\n");
  EXPECT_EQ(Get(0).getTitle(), "General");
  const std::string header = "FIRST,\nSECOND,\nNOT_A_NUMBER,\nZERO,\nHUGE\n";
  EXPECT_EQ(Mgr()->generate_msg_header(load.error), header);
  EXPECT_EQ(Mgr()->generate_msg_header(load.error), header);
}

TEST(OCMessageMgr, OverLongLinesAreCutAndZeroBytesEndALine) {
  const std::string longComment = "#" + std::string(5000, 'c') + "\n";
  const std::string head = "P 1 S N_1 T S 1 1 [";
  // 1,023 characters are kept; the description loses its last one as always.
  const std::string kept(1023 - head.size() - 1, 'd');
  Load load(longComment + kOrderLine + longComment + head + kept + "d" + std::string(2000, 'x') + "]\n" +
            std::string("\0P 9 S N_9 T S 1 1 [skipped as a comment]\n", 42) +
            std::string("P 2 S N_2 T S 1 1 [ab\0cdef]\n", 28) + "P 3 S N_3 T S 1 1 [after]\n");
  ASSERT_TRUE(load.ok) << load.error;
  EXPECT_EQ(Get(1).getDescription(), kept + "\n");
  EXPECT_FALSE(Has(9));
  EXPECT_EQ(Get(2).getDescription(), "a\n");
  EXPECT_EQ(Get(3).getDescription(), "after\n");
}

TEST(OCMessageMgr, FailedLoadsLeaveTheCatalogueReadyForALaterOne) {
  TempDir dir;
  std::string error;
  EXPECT_FALSE(InitOCMessageMgr(dir.path(), "missing.txt", "p", error));
  EXPECT_EQ(error, "failed to open message file" + dir.path() + "/missing.txt");
  EXPECT_EQ(TableSize(), 1u);
  ASSERT_EQ(mkdir((dir / "sub").c_str(), 0755), 0);
  EXPECT_FALSE(InitOCMessageMgr(dir.path(), "sub", "p", error));
  EXPECT_EQ(error, "failed to open message file" + dir.path() + "/sub");
  // After a load that failed half-way the next one starts over.
  EXPECT_FALSE(LoadText(dir, kOrderLine + "P 1 S N_1 T S 1 1 [one]\nbroken\n", error));
  EXPECT_TRUE(Has(1));
  ASSERT_TRUE(LoadText(dir, kExampleFile, error)) << error;
  EXPECT_FALSE(Has(1));
  EXPECT_EQ(TableSize(), 3u);
}

TEST(OCMessageMgr, SecondInitAfterSuccessStoresStringsButReadsNothing) {
  Load load(kExampleFile);
  ASSERT_TRUE(load.ok);
  WriteFile(load.dir / "other.txt", "not a message file");
  EXPECT_TRUE(InitOCMessageMgr(load.dir.path(), "other.txt", "${ID}", load.error));
  EXPECT_EQ(load.error, "");
  EXPECT_EQ(Mgr()->getPattern(), "${ID}");
  EXPECT_EQ(TableSize(), 3u);
  // Messages keep the pattern they were made with.
  EXPECT_EQ(OCMessage(1000, nullptr).getPattern(), OCMessageMgr::EntryPattern);
}

TEST(OCMessageMgr, ExitEndsTheCatalogueAndALaterUseStartsEmpty) {
  Load load(kExampleFile);
  exit_messagemgr();
  EXPECT_EQ(OCMessageMgr::m_pTheObject.load(), nullptr);
  exit_messagemgr();  // nothing left to end
  EXPECT_EQ(OCMessage(1000, nullptr).getID(), 0);
  EXPECT_FALSE(Mgr()->m_bLoaded);
}

TEST(OCMessageMgr, TracesTheLoadAndMissedLookups) {
  TempDir dir;
  TraceEnvironment({{"PT_TRACE_ON", "1"}, {"PT_TRACE_LEVEL", "4"}, {"PT_TRACE_FILE", dir / "trace.txt"}});
  Tracer::getInstance();
  std::string error;
  ASSERT_TRUE(LoadText(dir, "# c\n" + kOrderLine + "P 1 S N_1 T S 1 1 [d]\n", error));
  Get(77);
  std::vector<std::string> texts;
  for (const std::string& l : Lines(ReadFile(dir / "trace.txt"))) {
    // A description's line end continues a trace line on the next one; the
    // message's own validation lines are tested with the message.
    const size_t tid = l.find("] TID:");
    if (tid == std::string::npos || l.find("isValid") != std::string::npos) continue;
    texts.push_back(l.substr(l.find(": ", tid) + 2));
  }
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "OCMessageMgr::load_messages",
                       "constructing message=" + kOrderLine.substr(0, kOrderLine.size() - 1),
                       "constructing message=P 1 S N_1 T S 1 1 [d]",
                       "load_messages has resulted with rc=1, nMsgLine_count=1, nCommentLine_count=2, "
                       "total parsed lines=3, last parsed record=",
                       "couldn't locate message id=77",
                   }));
}

TEST(OCMessageMgr, LookupsRunInParallelAfterTheLoad) {
  Load load(kExampleFile);
  ASSERT_TRUE(load.ok);
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (size_t t = 0; t < 4; ++t)
    threads.emplace_back([t, &results] {
      for (int i = 0; i < 200; ++i) {
        StreamArray context(true);
        context.addPair("thread", std::to_string(t));
        OCMessage m(i % 2 ? 1001 : 1000, &context);
        m.m_vArgs = {"f", "2"};
        results[t] = m.decorate();
      }
    });
  for (auto& th : threads) th.join();
  for (size_t t = 0; t < 4; ++t)
    EXPECT_EQ(results[t], "FIL-1001W:\tFile manager - Slow disk.\nReading f took 2 seconds\n.\n{thread=" +
                              std::to_string(t) + " }.");
}
