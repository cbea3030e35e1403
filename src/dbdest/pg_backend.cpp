// PostgreSQL store through libpq: one connection, one prepared insert,
// every value a bound parameter.
#include <libpq-fe.h>

#include <cstdlib>
#include <string>

#include "db_backend.h"

namespace plinth_db {
namespace {

const char* const kCreate[] = {
    "CREATE TABLE IF NOT EXISTS plinth_log ("
    " writer BIGINT NOT NULL, seq BIGINT NOT NULL,"
    " logged_at TIMESTAMPTZ NOT NULL, host TEXT NOT NULL, pid BIGINT NOT NULL,"
    " destination TEXT NOT NULL, level BIGINT NOT NULL, code BIGINT NOT NULL,"
    " line TEXT, raw BYTEA, PRIMARY KEY (writer, seq))",
    "CREATE INDEX IF NOT EXISTS plinth_log_time ON plinth_log (logged_at)",
    "CREATE INDEX IF NOT EXISTS plinth_log_host ON plinth_log (host, pid, logged_at)",
};
const char kInsertName[] = "plinth_log_insert";
const char kInsert[] =
    "INSERT INTO plinth_log (writer, seq, logged_at, host, pid, destination, level, code, line, raw)"
    " VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10) ON CONFLICT DO NOTHING";
const char kDelete[] = "DELETE FROM plinth_log WHERE destination = $1 AND logged_at < $2";

// Owns a PGresult and says whether it has the wanted status.
struct Result {
  explicit Result(PGresult* r) : m_p(r) {}
  ~Result() { PQclear(m_p); }
  Result(const Result&) = delete;
  Result& operator=(const Result&) = delete;
  bool Is(ExecStatusType status) const { return m_p && PQresultStatus(m_p) == status; }
  PGresult* m_p;
};

class PgBackend : public DbBackend {
public:
  explicit PgBackend(std::vector<std::pair<std::string, std::string>> keywords) : m_vKeywords(std::move(keywords)) {}
  ~PgBackend() override { Disconnect(); }

  bool Connect(std::string& error) override {
    Disconnect();
    std::vector<const char*> keys, values;
    for (const auto& [key, value] : m_vKeywords) {
      keys.push_back(key.c_str());
      values.push_back(value.c_str());
    }
    keys.push_back(nullptr);
    values.push_back(nullptr);
    m_pConn = PQconnectdbParams(keys.data(), values.data(), 1);
    if (!m_pConn || PQstatus(m_pConn) != CONNECTION_OK) return Fail(error);
    // Quiet "already exists" notices; a race of two processes creating the
    // table at once is settled by trying the statements a second time.
    PQsetNoticeProcessor(m_pConn, [](void*, const char*) {}, nullptr);
    if (!CreateTable(error) && !CreateTable(error)) return false;
    Result prepared(PQprepare(m_pConn, kInsertName, kInsert, 10, nullptr));
    return prepared.Is(PGRES_COMMAND_OK) || Fail(error);
  }

  void Disconnect() override {
    PQfinish(m_pConn);
    m_pConn = nullptr;
  }

  bool Begin(std::string& error) override { return Exec("BEGIN", error); }
  bool Commit(std::string& error) override {
    if (!m_pConn) return Fail(error);
    Result r(PQexec(m_pConn, "COMMIT"));
    // A COMMIT of a failed transaction answers ROLLBACK without an error.
    if (r.Is(PGRES_COMMAND_OK) && std::string(PQcmdStatus(r.m_p)) == "COMMIT") return true;
    error = PQerrorMessage(m_pConn);
    if (error.empty()) error = "transaction rolled back";
    return false;
  }
  void Rollback() override {
    std::string ignored;
    if (m_pConn && PQtransactionStatus(m_pConn) != PQTRANS_IDLE) Exec("ROLLBACK", ignored);
  }

  bool Insert(const LogRow& row, const std::string& host, const std::string& destination,
              std::string& error) override {
    if (!m_pConn) return Fail(error);
    const std::string writer = std::to_string(row.m_nWriter), seq = std::to_string(row.m_nSeq),
                      pid = std::to_string(row.m_nPid), level = std::to_string(row.m_nLevel),
                      code = std::to_string(row.m_nCode);
    const char* values[10] = {writer.c_str(), seq.c_str(), row.m_sTime.c_str(), host.c_str(), pid.c_str(),
                              destination.c_str(), level.c_str(), code.c_str(), nullptr, nullptr};
    int lengths[10] = {};
    int formats[10] = {};
    // Text goes as text; anything else as bytes in binary form, so that zero
    // bytes and invalid UTF-8 reach the table unchanged.
    const int slot = row.m_bIsText ? 8 : 9;
    values[slot] = row.m_sText.data();
    lengths[slot] = static_cast<int>(row.m_sText.size());
    formats[slot] = row.m_bIsText ? 0 : 1;
    if (row.m_bIsText && row.m_sText.empty()) values[slot] = "";
    Result r(PQexecPrepared(m_pConn, kInsertName, 10, values, lengths, formats, 0));
    return r.Is(PGRES_COMMAND_OK) || Fail(error);
  }

  bool DeleteBefore(const std::string& destination, const std::string& time, long& count,
                    std::string& error) override {
    if (!m_pConn) return Fail(error);
    const char* values[2] = {destination.c_str(), time.c_str()};
    Result r(PQexecParams(m_pConn, kDelete, 2, nullptr, values, nullptr, nullptr, 0));
    if (!r.Is(PGRES_COMMAND_OK)) return Fail(error);
    count = std::strtol(PQcmdTuples(r.m_p), nullptr, 10);
    return true;
  }

private:
  bool CreateTable(std::string& error) {
    for (const char* sql : kCreate)
      if (!Exec(sql, error)) return false;
    return true;
  }
  bool Exec(const char* sql, std::string& error) {
    if (!m_pConn) return Fail(error);
    Result r(PQexec(m_pConn, sql));
    return r.Is(PGRES_COMMAND_OK) || Fail(error);
  }
  bool Fail(std::string& error) {
    error = m_pConn ? PQerrorMessage(m_pConn) : "out of memory";
    while (!error.empty() && error.back() == '\n') error.pop_back();
    return false;
  }

  std::vector<std::pair<std::string, std::string>> m_vKeywords;
  PGconn* m_pConn = nullptr;
};

}  // namespace

std::unique_ptr<DbBackend> MakePgBackend(std::vector<std::pair<std::string, std::string>> keywords) {
  return std::make_unique<PgBackend>(std::move(keywords));
}

}  // namespace plinth_db
