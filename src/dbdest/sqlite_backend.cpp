// SQLite store: one file, write-ahead log so that readers don't block the
// writer, a busy time-out so that several processes can share the file.
#include <sqlite3.h>
#include <sys/stat.h>

#include "db_backend.h"

namespace plinth_db {
namespace {

const char* const kCreate[] = {
    "CREATE TABLE IF NOT EXISTS plinth_log ("
    " writer INTEGER NOT NULL, seq INTEGER NOT NULL,"
    " logged_at TEXT NOT NULL, host TEXT NOT NULL, pid INTEGER NOT NULL,"
    " destination TEXT NOT NULL, level INTEGER NOT NULL, code INTEGER NOT NULL,"
    " line TEXT, raw BLOB, PRIMARY KEY (writer, seq))",
    "CREATE INDEX IF NOT EXISTS plinth_log_time ON plinth_log (logged_at)",
    "CREATE INDEX IF NOT EXISTS plinth_log_host ON plinth_log (host, pid, logged_at)",
};
const char kInsert[] =
    "INSERT INTO plinth_log (writer, seq, logged_at, host, pid, destination, level, code, line, raw)"
    " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10) ON CONFLICT DO NOTHING";
const char kDelete[] = "DELETE FROM plinth_log WHERE destination = ?1 AND logged_at < ?2";

class SqliteBackend : public DbBackend {
public:
  SqliteBackend(std::string file, int busyTimeoutMs) : m_sFile(std::move(file)), m_nBusyMs(busyTimeoutMs) {}
  ~SqliteBackend() override { Disconnect(); }

  bool Connect(std::string& error) override {
    Disconnect();
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(m_sFile.c_str(), &m_pDb, flags, nullptr) != SQLITE_OK) return Fail(error);
    sqlite3_extended_result_codes(m_pDb, 1);
    sqlite3_busy_timeout(m_pDb, m_nBusyMs);
    // WAL with NORMAL sync: a committed batch survives a crash of the
    // process; readers and other writers' processes don't block on us.
    if (!Exec("PRAGMA journal_mode=WAL", error) || !Exec("PRAGMA synchronous=NORMAL", error)) return false;
    for (const char* sql : kCreate)
      if (!Exec(sql, error)) return false;
    if (sqlite3_prepare_v3(m_pDb, kInsert, -1, SQLITE_PREPARE_PERSISTENT, &m_pInsert, nullptr) != SQLITE_OK)
      return Fail(error);
    return FileIdentity(m_nDevice, m_nInode) || Fail(error);
  }

  void Disconnect() override {
    sqlite3_finalize(m_pInsert);
    m_pInsert = nullptr;
    sqlite3_close_v2(m_pDb);
    m_pDb = nullptr;
  }

  bool Begin(std::string& error) override { return Exec("BEGIN IMMEDIATE", error); }
  bool Commit(std::string& error) override {
    // SQLite goes on writing into a file that was removed or replaced under
    // it, where the lines would be lost to every reader: refuse to commit.
    dev_t device = 0;
    ino_t inode = 0;
    if (!FileIdentity(device, inode) || device != m_nDevice || inode != m_nInode) {
      error = m_sFile + ": the database file was removed or replaced";
      Rollback();
      return false;
    }
    if (Exec("COMMIT", error)) return true;
    Rollback();
    return false;
  }
  void Rollback() override {
    std::string ignored;
    if (m_pDb && !sqlite3_get_autocommit(m_pDb)) Exec("ROLLBACK", ignored);
  }

  bool Insert(const LogRow& row, const std::string& host, const std::string& destination,
              std::string& error) override {
    if (!m_pInsert) {
      error = "not connected";
      return false;
    }
    sqlite3_stmt* s = m_pInsert;
    sqlite3_bind_int64(s, 1, row.m_nWriter);
    sqlite3_bind_int64(s, 2, row.m_nSeq);
    sqlite3_bind_text(s, 3, row.m_sTime.data(), static_cast<int>(row.m_sTime.size()), SQLITE_STATIC);
    sqlite3_bind_text(s, 4, host.data(), static_cast<int>(host.size()), SQLITE_STATIC);
    sqlite3_bind_int64(s, 5, row.m_nPid);
    sqlite3_bind_text(s, 6, destination.data(), static_cast<int>(destination.size()), SQLITE_STATIC);
    sqlite3_bind_int64(s, 7, row.m_nLevel);
    sqlite3_bind_int64(s, 8, row.m_nCode);
    const int size = static_cast<int>(row.m_sText.size());
    if (row.m_bIsText) {
      sqlite3_bind_text(s, 9, row.m_sText.data(), size, SQLITE_STATIC);
      sqlite3_bind_null(s, 10);
    } else {
      sqlite3_bind_null(s, 9);
      sqlite3_bind_blob(s, 10, row.m_sText.data(), size, SQLITE_STATIC);
    }
    const int rc = sqlite3_step(s);
    sqlite3_reset(s);
    sqlite3_clear_bindings(s);
    if (rc == SQLITE_DONE) return true;
    return Fail(error);
  }

  bool DeleteBefore(const std::string& destination, const std::string& time, long& count,
                    std::string& error) override {
    sqlite3_stmt* s = nullptr;
    if (!m_pDb || sqlite3_prepare_v2(m_pDb, kDelete, -1, &s, nullptr) != SQLITE_OK) return Fail(error);
    sqlite3_bind_text(s, 1, destination.data(), static_cast<int>(destination.size()), SQLITE_STATIC);
    sqlite3_bind_text(s, 2, time.data(), static_cast<int>(time.size()), SQLITE_STATIC);
    const int rc = sqlite3_step(s);
    sqlite3_finalize(s);
    if (rc != SQLITE_DONE) return Fail(error);
    count = static_cast<long>(sqlite3_changes(m_pDb));
    return true;
  }

private:
  bool FileIdentity(dev_t& device, ino_t& inode) const {
    struct stat st {};
    if (::stat(m_sFile.c_str(), &st) != 0) return false;
    device = st.st_dev;
    inode = st.st_ino;
    return true;
  }
  bool Exec(const char* sql, std::string& error) {
    if (m_pDb && sqlite3_exec(m_pDb, sql, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
    return Fail(error);
  }
  bool Fail(std::string& error) {
    error = m_sFile + ": " + (m_pDb ? sqlite3_errmsg(m_pDb) : "cannot open");
    return false;
  }

  std::string m_sFile;
  int m_nBusyMs;
  sqlite3* m_pDb = nullptr;
  sqlite3_stmt* m_pInsert = nullptr;
  dev_t m_nDevice = 0;
  ino_t m_nInode = 0;
};

}  // namespace

std::unique_ptr<DbBackend> MakeSqliteBackend(const std::string& file, int busyTimeoutMs) {
  return std::make_unique<SqliteBackend>(file, busyTimeoutMs);
}

}  // namespace plinth_db
