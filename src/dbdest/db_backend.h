// The two stores behind the database destination: SQLite (a file) and
// PostgreSQL (a server). One object per destination; no locks, the
// destination serialises its calls. Failures are false with a text in
// error; Broken() then says whether the connection itself is gone.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace plinth_db {

// One log line as it goes into the table. (writer, seq) is the key that
// makes a replay after a lost connection insert each line once.
struct LogRow {
  int64_t m_nWriter = 0;
  int64_t m_nSeq = 0;
  std::string m_sTime;  // "YYYY-MM-DD HH:MM:SS.ffffff+00:00", UTC
  int64_t m_nPid = 0;
  unsigned m_nLevel = 0;
  unsigned m_nCode = 0;
  std::string m_sText;
  // Whether m_sText is valid UTF-8 without zero bytes: it goes to the text
  // column then, else to the byte column.
  bool m_bIsText = true;
};

class DbBackend {
public:
  virtual ~DbBackend() = default;
  // Opens the store, creates the table and its indexes if they are missing,
  // and prepares the insert.
  virtual bool Connect(std::string& error) = 0;
  virtual void Disconnect() = 0;
  virtual bool Begin(std::string& error) = 0;
  // Inserts one row; a key already present is left alone.
  virtual bool Insert(const LogRow& row, const std::string& host, const std::string& destination,
                      std::string& error) = 0;
  virtual bool Commit(std::string& error) = 0;
  virtual void Rollback() = 0;
  // Removes the destination's rows older than the given time text.
  virtual bool DeleteBefore(const std::string& destination, const std::string& time, long& count,
                            std::string& error) = 0;
};

// file: the database file, created when missing.
std::unique_ptr<DbBackend> MakeSqliteBackend(const std::string& file, int busyTimeoutMs);
// Connection keywords and values for libpq; a "dbname" value may itself be
// a connection string or URI.
std::unique_ptr<DbBackend> MakePgBackend(std::vector<std::pair<std::string, std::string>> keywords);

// The table, the same in both stores.
inline constexpr const char* kTable = "plinth_log";

}  // namespace plinth_db
