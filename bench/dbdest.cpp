// Database destination: lines through Logger::writeDest into SQLite and
// into PostgreSQL, each against the same lines written by hand with the
// same library's best practice (one prepared statement, one transaction per
// batch of 256, the same table and indexes). Real time: the server's work
// happens in other processes. PostgreSQL runs in a
// throw-away cluster that scripts/pg_cluster starts for this program.
#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "plinth/plinth.h"
#include "scratch_dir.h"

namespace {

using plinth_bench::ScratchDir;

const std::string kLine =
    "24/11/2026\t12:45:00.123\t[4]\tlogger_bench.cpp\tWriteLine(thread 4711)\tthe quick brown fox jumps\n";
constexpr int kBatch = 256;
const char kTable[] =
    "CREATE TABLE IF NOT EXISTS plinth_log (writer BIGINT NOT NULL, seq BIGINT NOT NULL,"
    " logged_at %s NOT NULL, host TEXT NOT NULL, pid BIGINT NOT NULL, destination TEXT NOT NULL,"
    " level BIGINT NOT NULL, code BIGINT NOT NULL, line TEXT, raw %s, PRIMARY KEY (writer, seq));"
    "CREATE INDEX IF NOT EXISTS plinth_log_time ON plinth_log (logged_at);"
    "CREATE INDEX IF NOT EXISTS plinth_log_host ON plinth_log (host, pid, logged_at)";
const char kInsert[] =
    "INSERT INTO plinth_log (writer, seq, logged_at, host, pid, destination, level, code, line, raw)"
    " VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, NULL) ON CONFLICT DO NOTHING";

std::string Table(const char* timeType, const char* bytesType) {
  char sql[1024];
  std::snprintf(sql, sizeof sql, kTable, timeType, bytesType);
  return sql;
}

const std::string kState = ScratchDir() + "/pg-state";

std::string PgSocketDir() {
  static const std::string dir = [] {
    const std::string start = std::string(PLINTH_PG_SCRIPT " start ") + kState;
    if (std::system(start.c_str()) != 0) return std::string();
    std::atexit([] { (void)std::system((std::string(PLINTH_PG_SCRIPT " stop ") + kState).c_str()); });
    std::string d;
    std::getline(std::ifstream(kState + "/cluster"), d);
    return d;
  }();
  return dir;
}

Logger* InitLogger() {
  Logger* logger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", ScratchDir());
  logger->initLogger(init, nullptr);
  return logger;
}

void ThroughWriteDest(benchmark::State& state, LoggerParams params) {
  Logger* logger = InitLogger();
  const std::string name = "db" + std::to_string(state.range(0)) + "_" + std::to_string(getpid());
  params.InsertString("logical_name", name);
  params.InsertInt("type", eDatabase);
  params.InsertInt("batch_size", kBatch);
  if (logger->createDest(params) != 0) return state.SkipWithError("cannot create the destination");
  for (auto _ : state) logger->writeDest(name, kLine, 4, 0);
  logger->flushDest(name);
  state.SetItemsProcessed(state.iterations());
  logger->removeDest(name);
}

std::string Now() {
  char buf[64];
  const int64_t us = os_clock::now_us();
  const time_t s = us / 1000000;
  std::tm tm{};
  gmtime_r(&s, &tm);
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%06d+00:00", tm.tm_year + 1900, tm.tm_mon + 1,
                tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(us % 1000000));
  return buf;
}

void BM_SqliteWriteDest(benchmark::State& state) {
  LoggerParams p;
  p.InsertString("db_name", ScratchDir() + "/dest.db");
  ThroughWriteDest(state, p);
}
BENCHMARK(BM_SqliteWriteDest)->Arg(0)->UseRealTime();

void BM_SqliteByHand(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open((ScratchDir() + "/hand.db").c_str(), &db);
  sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
  sqlite3_exec(db, Table("TEXT", "BLOB").c_str(), nullptr, nullptr, nullptr);
  sqlite3_stmt* s = nullptr;
  sqlite3_prepare_v2(db, kInsert, -1, &s, nullptr);
  const std::string host = "benchhost", dest = "hand";
  static int64_t seq = 0;
  int inBatch = 0;
  for (auto _ : state) {
    if (inBatch == 0) sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    const std::string now = Now();
    sqlite3_bind_int64(s, 1, 1);
    sqlite3_bind_int64(s, 2, ++seq);
    sqlite3_bind_text(s, 3, now.data(), static_cast<int>(now.size()), SQLITE_STATIC);
    sqlite3_bind_text(s, 4, host.data(), static_cast<int>(host.size()), SQLITE_STATIC);
    sqlite3_bind_int64(s, 5, getpid());
    sqlite3_bind_text(s, 6, dest.data(), static_cast<int>(dest.size()), SQLITE_STATIC);
    sqlite3_bind_int64(s, 7, 4);
    sqlite3_bind_int64(s, 8, 0);
    sqlite3_bind_text(s, 9, kLine.data(), static_cast<int>(kLine.size()), SQLITE_STATIC);
    if (sqlite3_step(s) != SQLITE_DONE) return state.SkipWithError(sqlite3_errmsg(db));
    sqlite3_reset(s);
    if (++inBatch == kBatch) {
      sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
      inBatch = 0;
    }
  }
  if (inBatch) sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  state.SetItemsProcessed(state.iterations());
  sqlite3_finalize(s);
  sqlite3_close(db);
}
BENCHMARK(BM_SqliteByHand)->UseRealTime();

void BM_PgWriteDest(benchmark::State& state) {
  if (PgSocketDir().empty()) return state.SkipWithError("no PostgreSQL cluster");
  LoggerParams p;
  p.InsertString("db_name", "host=" + PgSocketDir() + " dbname=postgres user=plinth");
  ThroughWriteDest(state, p);
}
BENCHMARK(BM_PgWriteDest)->Arg(1)->UseRealTime();

void BM_PgByHand(benchmark::State& state) {
  if (PgSocketDir().empty()) return state.SkipWithError("no PostgreSQL cluster");
  PGconn* conn = PQconnectdb(("host=" + PgSocketDir() + " dbname=postgres user=plinth").c_str());
  PQsetNoticeProcessor(conn, [](void*, const char*) {}, nullptr);
  PQclear(PQexec(conn, Table("TIMESTAMPTZ", "BYTEA").c_str()));
  PQclear(PQprepare(conn, "ins", kInsert, 9, nullptr));
  static int64_t seq = 0;
  const std::string pid = std::to_string(getpid());
  int inBatch = 0;
  for (auto _ : state) {
    if (inBatch == 0) PQclear(PQexec(conn, "BEGIN"));
    const std::string now = Now(), number = std::to_string(++seq);
    const char* values[9] = {"2", number.c_str(), now.c_str(), "benchhost", pid.c_str(), "hand", "4", "0",
                             kLine.c_str()};
    PGresult* r = PQexecPrepared(conn, "ins", 9, values, nullptr, nullptr, 0);
    if (PQresultStatus(r) != PGRES_COMMAND_OK) state.SkipWithError(PQerrorMessage(conn));
    PQclear(r);
    if (++inBatch == kBatch) {
      PQclear(PQexec(conn, "COMMIT"));
      inBatch = 0;
    }
  }
  if (inBatch) PQclear(PQexec(conn, "COMMIT"));
  state.SetItemsProcessed(state.iterations());
  PQfinish(conn);
}
BENCHMARK(BM_PgByHand)->UseRealTime();

}  // namespace

// The database library is found on the library search path, which a process
// fixes when it starts: start again with its folder on the path.
int main(int argc, char** argv) {
  const char* path = std::getenv("LD_LIBRARY_PATH");
  if (!path || std::strstr(path, PLINTH_DB_LIB_DIR) == nullptr) {
    setenv("LD_LIBRARY_PATH", (std::string(PLINTH_DB_LIB_DIR ":") + (path ? path : "")).c_str(), 1);
    execv("/proc/self/exe", argv);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
