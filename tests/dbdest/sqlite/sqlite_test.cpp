// The database library on SQLite files.
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dbdest/store_fixture.h"

namespace plinth_test {
namespace {

class SqliteStoreTest : public StoreTest {
protected:
  std::string File() const { return dir / "store/log.db"; }
  void SetUp() override {
    StoreTest::SetUp();
    mkdir((dir / "store").c_str(), 0755);
  }
  LoggerParams Db(const std::string& logical) override {
    LoggerParams p;
    p.InsertString("logical_name", logical);
    p.InsertInt("type", eDatabase);
    p.InsertString("db_name", File());
    p.InsertInt("flush_ms", 60000);
    p.InsertInt("retry_seconds", 60);
    return p;
  }
  std::vector<StoredLine> Lines(const std::string& logical) override { return LinesIn(File(), logical); }
  static std::vector<StoredLine> LinesIn(const std::string& file, const std::string& logical) {
    std::vector<StoredLine> out;
    sqlite3* db = nullptr;
    sqlite3_stmt* s = nullptr;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(db, "SELECT line, raw, level, code FROM plinth_log WHERE destination = ?1 ORDER BY seq",
                           -1, &s, nullptr) == SQLITE_OK) {
      sqlite3_bind_text(s, 1, logical.c_str(), -1, SQLITE_TRANSIENT);
      while (sqlite3_step(s) == SQLITE_ROW) {
        const int column = sqlite3_column_type(s, 0) == SQLITE_NULL ? 1 : 0;
        const char* bytes = static_cast<const char*>(sqlite3_column_blob(s, column));
        out.push_back({std::string(bytes ? bytes : "", sqlite3_column_bytes(s, column)), column == 0,
                       static_cast<unsigned>(sqlite3_column_int64(s, 2)),
                       static_cast<unsigned>(sqlite3_column_int64(s, 3))});
      }
    }
    sqlite3_finalize(s);
    sqlite3_close(db);
    return out;
  }
  void Write(const std::string& text) { logger->writeDest("log", text, 0, 0); }
};

TEST_F(SqliteStoreTest, TextsArriveUnchanged) { CheckTextsArriveUnchanged(); }

TEST_F(SqliteStoreTest, LinesAreCommittedByBatchByAgeAndByFlush) {
  LoggerParams p = Db("log");
  p.m_mStrings.erase("db_name");  // the default file: <path>/<name>.db
  p.InsertString("name", "app");
  p.InsertInt("batch_size", 4);
  ASSERT_EQ(logger->createDest(p), 0u);
  const std::string file = dir / "app.db";
  for (const char* text : {"1", "2", "3"}) Write(text);
  EXPECT_TRUE(LinesIn(file, "log").empty());
  Write("4");
  EXPECT_EQ(LinesIn(file, "log").size(), 4u);
  Write("5");
  os_clock::advance_seconds(61);
  Write("6");
  EXPECT_EQ(LinesIn(file, "log").size(), 6u);
  Write("7");
  EXPECT_EQ(logger->flushDest("log"), 0u);
  EXPECT_EQ(LinesIn(file, "log").size(), 7u);
  // Clean-up by age keeps what is younger than the days given.
  os_clock::advance_seconds(3 * 86400);
  Write("8");
  EXPECT_EQ(logger->cleanupAllDests(2), 1u);
  EXPECT_EQ(LinesIn(file, "log").size(), 1u);
  EXPECT_TRUE(CallbackTexts().empty());
}

TEST_F(SqliteStoreTest, AnOldBatchIsCommittedWithoutFurtherWrites) {
  LoggerParams p = Db("log");
  p.m_mInts["flush_ms"] = 20;
  ASSERT_EQ(logger->createDest(p), 0u);
  Write("alone");
  for (int i = 0; i < 500 && Texts("log").empty(); ++i) usleep(10000);
  EXPECT_EQ(Texts("log"), std::vector<std::string>{"alone"});
}

TEST_F(SqliteStoreTest, StoreThatGoesAwayComesBackWithEveryAcceptedLine) {
  LoggerParams p = Db("log");
  p.InsertInt("batch_size", 100);
  ASSERT_EQ(logger->createDest(p), 0u);
  for (const char* text : {"1", "2", "3"}) Write(text);
  // The file moves away and a plain file stands where its directory was.
  ASSERT_EQ(rename((dir / "store").c_str(), (dir / "moved").c_str()), 0);
  WriteFile(dir / "store", "");
  Write("4");
  EXPECT_EQ(logger->flushDest("log"), static_cast<unsigned>(-1));
  Write("5");  // out of service
  os_clock::advance_seconds(61);
  Write("6");  // tried again: still nowhere to write
  ASSERT_EQ(unlink((dir / "store").c_str()), 0);
  mkdir((dir / "store").c_str(), 0755);
  Write("7");  // too early
  os_clock::advance_seconds(61);
  Write("8");
  EXPECT_EQ(logger->closeDest("log"), 1u);
  EXPECT_EQ(Texts("log"), (std::vector<std::string>{"1", "2", "3", "4", "8"}));
  EXPECT_TRUE(LinesIn(dir / "moved/log.db", "log").empty());
  EXPECT_EQ(CallbackTexts(), (std::vector<std::string>{"5", "6", "7"}));
}

TEST_F(SqliteStoreTest, AcceptedLinesThatCanNoLongerBeSavedAreReported) {
  LoggerParams p = Db("log");
  p.InsertInt("batch_size", 100);
  ASSERT_EQ(logger->createDest(p), 0u);
  Write("a\n");
  Write("b");
  TempDir::RemoveTree(dir / "store");
  WriteFile(dir / "store", "");
  EXPECT_EQ(logger->removeDest("log"), 0u);
  EXPECT_EQ(Emergency(), "Failed to WRITETODEST : a\nFailed to WRITETODEST : b\n");
  EXPECT_EQ(CallbackTexts(), (std::vector<std::string>{"a\n", "b"}));
}

}  // namespace
}  // namespace plinth_test
