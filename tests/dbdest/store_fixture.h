// The database library end to end: a Logger whose type 2 destination is the
// real libzlt-plinth-db-4.0.so, and a reader of the table for each store.
#pragma once

#include <string>
#include <vector>

#include "logger/logger_fixture.h"

namespace plinth_test {

// One row of plinth_log as a test compares it.
struct StoredLine {
  std::string text;  // from the text column or, when that is null, the bytes
  bool isText = true;
  unsigned level = 0;
  unsigned code = 0;
  bool operator==(const StoredLine&) const = default;
};

class StoreTest : public LoggerTest {
protected:
  // Parameters of a database destination; batch_size and the like are added
  // by each test.
  virtual LoggerParams Db(const std::string& logical) = 0;
  // The destination's lines in the order they were written.
  virtual std::vector<StoredLine> Lines(const std::string& logical) = 0;

  std::vector<std::string> Texts(const std::string& logical) {
    std::vector<std::string> out;
    for (const StoredLine& line : Lines(logical)) out.push_back(line.text);
    return out;
  }

  // Texts that a store must keep byte for byte, with their two numbers, and
  // a line beyond max_line_bytes that it must refuse, reported.
  void CheckTextsArriveUnchanged() {
    const std::vector<std::string> texts = {
        "plain line\n", "it's \"quoted\"'); DROP TABLE plinth_log; --", std::string("zero\0byte", 9),
        "bad \xff\xfe utf-8", "surrogate \xed\xa0\x80", "\xc3\xbcnic\xc3\xb6" "de \xe2\x9c\x93", "",
        std::string(1 << 20, 'x')};
    LoggerParams p = Db("texts");
    p.InsertInt("batch_size", 3);
    p.InsertInt("max_line_bytes", 1 << 20);
    ASSERT_EQ(logger->createDest(p), 0u);
    std::vector<dst_aux::ElementProperties> none;
    ASSERT_EQ(logger->initDest(p, none), 0u);
    std::vector<StoredLine> expected;
    for (unsigned i = 0; i < texts.size(); ++i) {
      EXPECT_FALSE(logger->writeDest("texts", texts[i], i, 1000 + i));
      const bool isText = i != 2 && i != 3 && i != 4;
      expected.push_back({texts[i], isText, i, 1000 + i});
    }
    const std::string tooLong((1 << 20) + 1, 'y');
    EXPECT_FALSE(logger->writeDest("texts", tooLong, 0, 0));
    EXPECT_EQ(CallbackTexts(), std::vector<std::string>{tooLong});
    EXPECT_NE(logger->m_ErrStream.str().find("longer than max_line_bytes"), std::string::npos);
    EXPECT_EQ(logger->closeDest("texts"), 1u);
    EXPECT_EQ(Lines("texts"), expected);
  }
};

}  // namespace plinth_test
