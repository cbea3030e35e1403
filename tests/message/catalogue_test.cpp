// The catalogue: reading the message file, the default entry, look-ups and
// the logical names. Each test runs in a process of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <thread>

#include "message_files.h"
#include "plinth/plinth.h"

using namespace plinth_test;

namespace {

const std::string kRc0 = "load_messages has resulted with rc=0, ";

OCMessageMgr* Mgr() { return OCMessageMgr::getInstance(); }

}  // namespace

TEST(OCMessageMgr, LoadsTheExampleFile) {
  TempDir dir;
  std::string error = "untouched";
  ASSERT_TRUE(LoadText(dir, kExampleFile, error));
  EXPECT_EQ(error, "");
  EXPECT_TRUE(Mgr()->m_bLoaded);
  EXPECT_EQ(Mgr()->m_sFullPath, dir.path() + "/messages.txt");
  EXPECT_EQ(TableSize(), 3u);

  OCMessage open = Mgr()->locateAndSetMessage(1000, nullptr, eMsgTypePlain);
  EXPECT_EQ(open.getID(), 1000);
  EXPECT_EQ(open.getPrefix(), "FIL");
  EXPECT_EQ(open.getSeverity(), "E");
  EXPECT_EQ(open.getLogical_name(), "FILE_ENTRY=1000");
  EXPECT_EQ(open.getTitle(), "Open failed");
  EXPECT_EQ(open.getSource(), "Files");
  EXPECT_EQ(open.getDescription(), "Cannot open {1}{endl}~Ask the administrator\n");
  EXPECT_EQ(open.m_nBoxWidth, 400);
  EXPECT_EQ(open.m_nBoxHeight, 200);
  EXPECT_EQ(open.m_sContextPair, "%s=%s ");
  EXPECT_EQ(open.m_sContextFrame, "{%s}");

  open.addArg("a.txt");
  EXPECT_EQ(open.decorate(), "FIL-1000E:\tFiles - Open failed.\nCannot open a.txt\n.\n.");
  open.setMessageType(eMsgTypeNoCaret);
  EXPECT_EQ(open.toString_n(), "Cannot open a.txt\nAsk the administrator\n");

  StreamArray context(true);
  context.addPair("disk", "sda");
  OCMessage slow = Mgr()->locateAndSetMessage(1001, &context, eMsgTypeNoTilde);
  EXPECT_EQ(slow.m_eType, eMsgTypeNoTilde);
  EXPECT_EQ(slow.getTitle(), "Slow disk");
  EXPECT_EQ(slow.getSource(), "File manager");
  EXPECT_EQ(slow.m_nBoxWidth, 390);
  EXPECT_EQ(slow.m_nBoxHeight, 170);
  slow.m_vArgs = {"big.dat", "12"};
  EXPECT_EQ(slow.decorate(), "FIL-1001W:\tFile manager - Slow disk.\nReading big.dat took 12 seconds\n.\n{disk=sda }.");

  EXPECT_EQ(Mgr()->generate_msg_header(error), "FILE_ENTRY=1000,\nFILE_SLOW\n");
  // The table hands out copies: changing one leaves the entry alone.
  EXPECT_EQ(Mgr()->locateAndSetMessage(1000, nullptr, eMsgTypePlain).m_vArgs.size(), 0u);
}

TEST(OCMessageMgr, DefaultEntryStandsInForUnknownNumbers) {
  // No InitOCMessageMgr: a look-up creates the catalogue.
  StreamArray context;
  context.addText("ctx");
  OCMessage m(4711, &context);
  EXPECT_EQ(m.getID(), 0);
  EXPECT_EQ(m.getPrefix(), "OC");
  EXPECT_EQ(m.getSeverity(), "I");
  EXPECT_EQ(m.getTitle(), "General");
  EXPECT_EQ(m.getSource(), "SYS");
  EXPECT_EQ(m.getDescription(), "Could not find message description");
  EXPECT_EQ(m.getLogical_name(), "default_ENTRY");
  EXPECT_EQ(m.m_nBoxWidth, 390);
  EXPECT_EQ(m.m_nBoxHeight, 170);
  EXPECT_EQ(m.m_eType, eMsgTypePlain);
  EXPECT_EQ(m.decorate(), "OC-0I:\tSYS - General.\nCould not find message description.\nctx.");
  EXPECT_TRUE(m.is_valid());

  EXPECT_EQ(Mgr()->getPattern(), "${PRFX}-${ID}${SEV}:\t${SRC} - ${TITLE}.${endl}${DESC}${endl}${CTXT}");
  EXPECT_FALSE(Mgr()->m_bLoaded);
  StreamArray other(true);
  other.addPair("k", "v");
  OCMessage located = Mgr()->locateAndSetMessage(5, &other, eMsgTypeNoCaret);
  EXPECT_EQ(located.getID(), 0);
  EXPECT_EQ(located.m_eType, eMsgTypeNoCaret);
  EXPECT_EQ(*located.getContext()->getConetxt_vector(), (std::vector<std::string>{"k", "v"}));

  // Even a caller that erased the default entry gets one.
  Mgr()->m_Messages.clear();
  EXPECT_EQ(OCMessage(1, nullptr).getTitle(), "General");
}

TEST(OCMessageMgr, CommentsBlankLinesAndCountersInTheFailureText) {
  TempDir dir;
  std::string error;
  const std::string bad = "FIL 1002 E FILE_BAD \"\" Files 1 1 [Empty title]";
  const std::string text = "# comment\n\n   \t# indented comment\n-- dashes\n" + kOrderLine +
                           "\r\n  FIL 1001 W FILE_SLOW Slow Files 1 1 [x]\n" + bad + "\n" +
                           "FIL 1003 E FILE_LATER Later Files 1 1 [never read]\n";
  EXPECT_FALSE(LoadText(dir, text, error));
  EXPECT_EQ(error, kRc0 + "nMsgLine_count=1, nCommentLine_count=3, total parsed lines=4, last parsed record=" + bad);
  EXPECT_FALSE(Mgr()->m_bLoaded);
  // Records before the bad one stay and the catalogue goes on working.
  EXPECT_TRUE(Has(1001));
  EXPECT_FALSE(Has(1002));
  EXPECT_FALSE(Has(1003));
  EXPECT_EQ(OCMessage(1001, nullptr).getTitle(), "Slow");
  EXPECT_EQ(OCMessage(1003, nullptr).getID(), 0);
}

TEST(OCMessageMgr, LastLineWithoutLineEndAddsNoComment) {
  TempDir dir;
  std::string error;
  EXPECT_FALSE(LoadText(dir, "# one\n\n" + kOrderLine + "X 1 E FILE=1 T S 1 1 [d]", error));
  EXPECT_EQ(error, kRc0 + "nMsgLine_count=0, nCommentLine_count=1, total parsed lines=1, "
                          "last parsed record=X 1 E FILE=1 T S 1 1 [d]");
}

TEST(OCMessageMgr, EmptyFileAndCommentsOnlyLoadWithTheDefaultEntry) {
  TempDir dir;
  std::string error = "untouched";
  EXPECT_TRUE(LoadText(dir, "", error));
  EXPECT_EQ(error, "");
  EXPECT_TRUE(Mgr()->m_bLoaded);
  EXPECT_EQ(TableSize(), 1u);
  EXPECT_TRUE(Mgr()->m_bExpectOrder);
  EXPECT_EQ(Mgr()->generate_msg_header(error), "");
}

TEST(OCMessageMgr, ABadOrderLineEndsTheLoadWithSuccess) {
  for (const std::string& order : {std::string("@@ORDER 0 1 2 3 4 5 8 6\n"), std::string("@@ORDER 0 1 2 3 4 5 8 6 7 9\n"),
                                   std::string("@@order 0 1 2 3 4 5 8 6 7\n"),
                                   std::string("FIL 1000 E FILE_OPEN T S 1 1 [first line is a record]\n")}) {
    exit_messagemgr();
    TempDir dir;
    std::string error = "untouched";
    EXPECT_TRUE(LoadText(dir, order + "FIL 1000 E FILE_OPEN T S 1 1 [d]\n", error)) << order;
    EXPECT_EQ(error, "");
    EXPECT_TRUE(Mgr()->m_bLoaded);
    EXPECT_EQ(TableSize(), 1u) << order;
  }
}

TEST(OCMessageMgr, OrderLineMayReuseIndexesAndCountBrackets) {
  TempDir dir;
  std::string error;
  // Brackets are tokens of their own and read as 0; blanks and tabs split.
  ASSERT_TRUE(LoadText(dir, "@@ORDER\t[ 1 2 ] 3 3 4 1 1\nNAME_ENTRY=7 7 Same Text [described]\n", error)) << error;
  OCMessage m = Mgr()->locateAndSetMessage(7, nullptr, eMsgTypePlain);
  EXPECT_EQ(m.getPrefix(), "NAME_ENTRY=7");
  EXPECT_EQ(m.getLogical_name(), "NAME_ENTRY=7");
  EXPECT_EQ(m.getSeverity(), "Same");
  EXPECT_EQ(m.getTitle(), "Text");
  EXPECT_EQ(m.getSource(), "Text");
  EXPECT_EQ(m.getDescription(), "described\n");
  EXPECT_EQ(m.m_nBoxWidth, 7);
  EXPECT_EQ(m.m_nBoxHeight, 7);
}

TEST(OCMessageMgr, FieldsQuotesAndDescriptions) {
  TempDir dir;
  std::string error;
  const std::string text = kOrderLine +
                           "P 1 S N_1 \"a \"\"b c\" 1 1 [Text]\n"  // quote ends a field, the next begins at once
                           "P 2 S N_2 T\"x S\"y 1 1 [Tex\n"        // a quote inside a plain field is ordinary
                           "P 3 S N_3 T S 1 1 []\n"             // one line feed is a valid description
                           "P 4 S N_4 T S 1 1 [ a ] [b] \t]\n"  // raw to the end, brackets mean nothing
                           "P\t5\tS\tN_5\tT\tS\t1\t1\t[tabs]\n"
                           "\xC3\xA9 6 S N_6 \"\xFF\xFE\" S 1 1 [bytes \x01\x7F]\n";
  ASSERT_TRUE(LoadText(dir, text, error)) << error;
  auto get = [](int id) { return Mgr()->locateAndSetMessage(id, nullptr, eMsgTypePlain); };
  EXPECT_EQ(get(1).getTitle(), "a ");
  EXPECT_EQ(get(1).getSource(), "b c");
  EXPECT_EQ(get(1).getDescription(), "Text\n");
  EXPECT_EQ(get(2).getTitle(), "T\"x");
  EXPECT_EQ(get(2).getSource(), "S\"y");
  EXPECT_EQ(get(2).getDescription(), "Te\n");
  EXPECT_EQ(get(3).getDescription(), "\n");
  EXPECT_EQ(get(4).getDescription(), " a ] [b] \t\n");
  EXPECT_EQ(get(5).getDescription(), "tabs\n");
  EXPECT_EQ(get(6).getPrefix(), "\xC3\xA9");
  EXPECT_EQ(get(6).getTitle(), "\xFF\xFE");
  EXPECT_EQ(get(6).getDescription(), "bytes \x01\x7F\n");
}

TEST(OCMessageMgr, CrLfLinesReadLikeLfLines) {
  TempDir dir;
  std::string error;
  std::string crlf;
  for (char c : kExampleFile) {
    if (c == '\n') crlf += '\r';
    crlf += c;
  }
  ASSERT_TRUE(LoadText(dir, crlf, error)) << error;
  EXPECT_EQ(Mgr()->locateAndSetMessage(1001, nullptr, eMsgTypePlain).getDescription(),
            "Reading {%s} took {2} seconds\n");
  EXPECT_EQ(Mgr()->generate_msg_header(error), "FILE_ENTRY=1000,\nFILE_SLOW\n");
}

TEST(OCMessageMgr, RecordsOutsideTheFormatFailTheLoadInOrder) {
  const std::vector<std::string> bad = {
      "P 2 S N_2 T S 1 1 no description",
      "P 2 S N_2 \"unclosed T S 1 1 [d]",
      "P 2 S N_2 T S 1 1 [",
      "P 2 S N_2 T [d]",  // the order asks for field 8
      "P 2 S FILE=2 T S 1 1 [assignment without the entry word]",
      "P 2 S N_2 \"\" S 1 1 [empty title]",
  };
  for (const std::string& line : bad) {
    exit_messagemgr();
    TempDir dir;
    std::string error;
    EXPECT_FALSE(LoadText(dir, kOrderLine + "P 1 S N_1 T S 1 1 [good]\n" + line + "\n", error)) << line;
    EXPECT_EQ(error, kRc0 + "nMsgLine_count=1, nCommentLine_count=0, total parsed lines=1, last parsed record=" + line);
    EXPECT_TRUE(Has(1));
    EXPECT_FALSE(Has(2));
  }
  for (const char* order : {"@@ORDER 0 1 2 3 4 5 8 6 -1\n", "@@ORDER 0 1 2 3 4 5 8 6 99\n"}) {
    exit_messagemgr();
    TempDir dir;
    std::string error;
    EXPECT_FALSE(LoadText(dir, std::string(order) + "P 1 S N_1 T S 1 1 [d]\n", error)) << order;
    EXPECT_EQ(TableSize(), 1u);
  }
}

TEST(OCMessageMgr, RepeatedAndNonNumericNumbersKeepTheFirstEntry) {
  TempDir dir;
  std::string error;
  const std::string text = kOrderLine +
                           "P 5 S FIRST T S 1 1 [first]\n"
                           "P 5 S SECOND T S 1 1 [second]\n"
                           "P abc S NOT_A_NUMBER T S 1 1 [zero]\n"
                           "P 0 S ZERO T S 1 1 [zero]\n";
  ASSERT_TRUE(LoadText(dir, text, error));
  EXPECT_EQ(error, "");
  EXPECT_EQ(TableSize(), 2u);
  EXPECT_EQ(Mgr()->locateAndSetMessage(5, nullptr, eMsgTypePlain).getDescription(), "first\n");
  EXPECT_EQ(Mgr()->locateAndSetMessage(0, nullptr, eMsgTypePlain).getTitle(), "General");
  const std::string header = "FIRST,\nSECOND,\nNOT_A_NUMBER,\nZERO\n";
  EXPECT_EQ(Mgr()->generate_msg_header(error), header);
  EXPECT_EQ(Mgr()->generate_msg_header(error), header);
}

TEST(OCMessageMgr, OverLongLinesAreCutAndTheRestDropped) {
  TempDir dir;
  std::string error;
  const std::string longComment = "#" + std::string(5000, 'c') + "\n";
  const std::string head = "P 1 S N_1 T S 1 1 [";
  const std::string longRecord = head + std::string(3000, 'd') + "]\n";
  const std::string exact = "P 2 S N_2 T S 1 1 [" + std::string(1023 - head.size() - 1, 'e') + "]\n";
  ASSERT_TRUE(LoadText(dir, longComment + kOrderLine + longComment + longRecord + exact +
                                 "P 3 S N_3 T S 1 1 [after]\n",
                       error))
      << error;
  // 1,023 characters are kept; the description loses its last one as always.
  EXPECT_EQ(Mgr()->locateAndSetMessage(1, nullptr, eMsgTypePlain).getDescription(),
            std::string(1023 - head.size() - 1, 'd') + "\n");
  EXPECT_EQ(Mgr()->locateAndSetMessage(2, nullptr, eMsgTypePlain).getDescription(),
            std::string(1023 - head.size() - 1, 'e') + "\n");
  EXPECT_EQ(Mgr()->locateAndSetMessage(3, nullptr, eMsgTypePlain).getDescription(), "after\n");
  EXPECT_EQ(TableSize(), 4u);
}

TEST(OCMessageMgr, ZeroBytesEndALine) {
  TempDir dir;
  std::string error;
  const std::string text = kOrderLine + std::string("\0P 9 S N_9 T S 1 1 [skipped as a comment]\n", 42) +
                           std::string("P 1 S N_1 T S 1 1 [ab\0cdef]\n", 28) + "P 2 S N_2 T S 1 1 [next]\n";
  ASSERT_TRUE(LoadText(dir, text, error)) << error;
  EXPECT_FALSE(Has(9));
  EXPECT_EQ(Mgr()->locateAndSetMessage(1, nullptr, eMsgTypePlain).getDescription(), "a\n");
  EXPECT_EQ(Mgr()->locateAndSetMessage(2, nullptr, eMsgTypePlain).getDescription(), "next\n");
}

TEST(OCMessageMgr, MissingFileOrDirectoryFailsAndALaterLoadWorks) {
  TempDir dir;
  std::string error;
  EXPECT_FALSE(InitOCMessageMgr(dir.path(), "missing.txt", "p", error));
  EXPECT_EQ(error, "failed to open message file" + dir.path() + "/missing.txt");
  EXPECT_FALSE(Mgr()->m_bLoaded);
  EXPECT_TRUE(Mgr()->m_bExpectOrder);
  EXPECT_EQ(TableSize(), 1u);

  ASSERT_EQ(mkdir((dir / "sub").c_str(), 0755), 0);
  EXPECT_FALSE(InitOCMessageMgr(dir.path(), "sub", "p", error));
  EXPECT_EQ(error, "failed to open message file" + dir.path() + "/sub");
  EXPECT_FALSE(InitOCMessageMgr(dir.path() + "/missing-dir", "x", "p", error));

  EXPECT_TRUE(LoadText(dir, kExampleFile, error));
  EXPECT_EQ(TableSize(), 3u);
}

TEST(OCMessageMgr, LoadAfterAFailedOneStartsOver) {
  TempDir dir;
  std::string error;
  EXPECT_FALSE(LoadText(dir, kOrderLine + "P 1 S N_1 T S 1 1 [one]\nbroken\n", error));
  EXPECT_TRUE(Has(1));
  ASSERT_TRUE(LoadText(dir, kExampleFile, error)) << error;
  EXPECT_FALSE(Has(1));
  EXPECT_EQ(TableSize(), 3u);
  EXPECT_EQ(Mgr()->generate_msg_header(error), "FILE_ENTRY=1000,\nFILE_SLOW\n");
}

TEST(OCMessageMgr, SecondInitAfterSuccessStoresStringsButReadsNothing) {
  TempDir dir;
  std::string error;
  ASSERT_TRUE(LoadText(dir, kExampleFile, error));
  WriteFile(dir / "other.txt", "not a message file");
  error = "untouched";
  EXPECT_TRUE(InitOCMessageMgr("/elsewhere", "other.txt", "${ID}", error));
  EXPECT_EQ(error, "untouched");
  EXPECT_EQ(Mgr()->m_sRootDir, "/elsewhere");
  EXPECT_EQ(Mgr()->m_sFile, "other.txt");
  EXPECT_EQ(Mgr()->getPattern(), "${ID}");
  EXPECT_EQ(TableSize(), 3u);
  // Messages keep the pattern they were made with.
  EXPECT_EQ(OCMessage(1000, nullptr).getPattern(), OCMessageMgr::EntryPattern);
}

TEST(OCMessageMgr, ExitEndsTheCatalogueAndALaterUseStartsEmpty) {
  TempDir dir;
  std::string error;
  ASSERT_TRUE(LoadText(dir, kExampleFile, error));
  exit_messagemgr();
  EXPECT_EQ(OCMessageMgr::m_pTheObject.load(), nullptr);
  exit_messagemgr();  // nothing left to end
  EXPECT_EQ(OCMessage(1000, nullptr).getID(), 0);
  EXPECT_FALSE(Mgr()->m_bLoaded);
  EXPECT_EQ(TableSize(), 1u);
}

TEST(OCMessageMgr, TracesTheLoadAndMissedLookups) {
  TempDir dir;
  setenv("PT_TRACE_ON", "1", 1);
  setenv("PT_TRACE_LEVEL", "4", 1);
  setenv("PT_TRACE_FILE", (dir / "trace.txt").c_str(), 1);
  unsetenv("PT_TRACE_OUT");
  unsetenv("PT_TRACE_VERBOSE");
  Tracer::getInstance();
  std::string error;
  ASSERT_TRUE(LoadText(dir, "# c\n" + kOrderLine + "P 1 S N_1 T S 1 1 [d]\n", error));
  Mgr()->locateAndSetMessage(77, nullptr, eMsgTypePlain);
  const std::string trace = ReadFile(dir / "trace.txt");
  std::vector<std::string> texts;
  std::stringstream ss(trace);
  for (std::string l; std::getline(ss, l);) {
    // A description's line end continues a trace line on the next one.
    const size_t colon = l.find("] TID:") != std::string::npos ? l.find(": ", l.find("] TID:")) : std::string::npos;
    if (colon == std::string::npos) continue;
    const std::string text = l.substr(colon + 2);
    // The message's own validation lines are tested with the message.
    if (text.find("isValid") == std::string::npos) texts.push_back(text);
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
  TempDir dir;
  std::string error;
  ASSERT_TRUE(LoadText(dir, kExampleFile, error));
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &results] {
      for (int i = 0; i < 200; ++i) {
        StreamArray context(true);
        context.addPair("thread", std::to_string(t));
        OCMessage m(i % 2 ? 1001 : 1000, &context);
        m.m_vArgs = {"f", "2"};
        results[static_cast<size_t>(t)] = m.decorate();
      }
    });
  for (auto& th : threads) th.join();
  for (int t = 0; t < 4; ++t)
    EXPECT_EQ(results[static_cast<size_t>(t)],
              "FIL-1001W:\tFile manager - Slow disk.\nReading f took 2 seconds\n.\n{thread=" + std::to_string(t) +
                  " }.");
}
