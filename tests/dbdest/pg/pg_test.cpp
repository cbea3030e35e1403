// The database library on a PostgreSQL server: a throw-away cluster that
// scripts/pg_cluster starts before these tests (a CTest fixture) and stops
// after them. Without it every test fails.
#include <libpq-fe.h>

#include <cstdlib>
#include <set>

#include "dbdest/store_fixture.h"

namespace plinth_test {
namespace {

std::string SocketDir() {
  std::string dir = ReadFile(PLINTH_PG_DIR "/cluster");
  while (!dir.empty() && dir.back() == '\n') dir.pop_back();
  return dir;
}

void Cluster(const char* command) {
  const std::string line = std::string(PLINTH_PG_SCRIPT " ") + command + " " PLINTH_PG_DIR;
  ASSERT_EQ(std::system(line.c_str()), 0) << line;
}

class PgStoreTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    ASSERT_FALSE(SocketDir().empty()) << "no cluster: run these tests through ctest (scripts/pg_cluster)";
  }
  LoggerParams Db(const std::string& logical) override {
    LoggerParams p;
    p.InsertString("logical_name", logical);
    p.InsertInt("type", eDatabase);
    p.InsertString("driver", "postgresql");
    p.InsertString("server_name", SocketDir());
    p.InsertString("db_name", "postgres");
    p.InsertString("user_name", "plinth");
    return p;
  }
  // Binary results: text and bytes come back as they are stored.
  std::vector<StoredLine> Lines(const std::string& logical) override {
    std::vector<StoredLine> out;
    const std::string conninfo = "host=" + SocketDir() + " dbname=postgres user=plinth";
    PGconn* conn = PQconnectdb(conninfo.c_str());
    const char* values[1] = {logical.c_str()};
    PGresult* r = PQexecParams(conn,
                               "SELECT line, raw, level::text, code::text FROM plinth_log"
                               " WHERE destination = $1 ORDER BY writer, seq",
                               1, nullptr, values, nullptr, nullptr, 1);
    EXPECT_EQ(PQresultStatus(r), PGRES_TUPLES_OK) << PQerrorMessage(conn);
    for (int i = 0; i < PQntuples(r); ++i) {
      const int column = PQgetisnull(r, i, 0) ? 1 : 0;
      out.push_back({std::string(PQgetvalue(r, i, column), PQgetlength(r, i, column)), column == 0,
                     static_cast<unsigned>(std::stoul(std::string(PQgetvalue(r, i, 2), PQgetlength(r, i, 2)))),
                     static_cast<unsigned>(std::stoul(std::string(PQgetvalue(r, i, 3), PQgetlength(r, i, 3))))});
    }
    PQclear(r);
    PQfinish(conn);
    return out;
  }
};

TEST_F(PgStoreTest, TextsArriveUnchanged) { CheckTextsArriveUnchanged(); }

// Restarts drop the connection in the middle of a batch; a stopped server
// refuses lines until it is back and the time-out has passed. Every
// accepted line arrives once, every refused one is reported.
TEST_F(PgStoreTest, ServerRestartsLoseNoAcceptedLineAndDuplicateNone) {
  LoggerParams p;
  p.InsertString("logical_name", "run");
  p.InsertInt("type", eDatabase);
  p.InsertString("db_name", "host=" + SocketDir() + " dbname=postgres user=plinth");  // driver by its form
  p.InsertInt("batch_size", 10);
  p.InsertInt("retry_seconds", 30);
  ASSERT_EQ(logger->createDest(p), 0u);
  std::vector<std::string> refused;
  for (int i = 0; i < 100; ++i) {
    if (i == 35 || i == 72) Cluster("restart");
    if (i == 80) Cluster("stop-server");
    if (i == 85) {
      Cluster("start-server");
      os_clock::advance_seconds(31);
    }
    logger->writeDest("run", std::to_string(i), 0, 0);
    if (i >= 80 && i < 85) refused.push_back(std::to_string(i));
  }
  EXPECT_EQ(logger->closeDest("run"), 1u);
  EXPECT_EQ(CallbackTexts(), refused);
  std::vector<std::string> expected;
  for (int i = 0; i < 100; ++i)
    if (i < 80 || i >= 85) expected.push_back(std::to_string(i));
  EXPECT_EQ(Texts("run"), expected);
}

}  // namespace
}  // namespace plinth_test
