// The database destination of libzlt-plinth-db-4.0.so: log lines go into
// the table plinth_log of a SQLite file or a PostgreSQL database. Lines are
// inserted at once inside an open transaction and committed in batches, by
// size, or by a thread of the destination once a batch is flush_ms old; a
// line that Write accepted is either committed or, when the destination is
// destroyed with its store gone, reported as failed. The client serialises
// its calls; one lock inside shares the state with the flushing thread.
// Failures are results plus a text in the Logger's error stream; nothing
// throws.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "db_backend.h"
#include "plinth/logger/destination.h"

namespace plinth_db {

class LoggerDBDest : public LoggerBaseDestination {
public:
  // Defaults of the integer parameters.
  static constexpr int kBatchSize = 256;
  static constexpr int kFlushMs = 1000;
  static constexpr long kRetrySeconds = 900;
  static constexpr int kMaxLineBytes = 16 * 1024 * 1024;
  static constexpr int kBusyTimeoutMs = 5000;

  // Null when logical_name is missing or the parameters name no usable store.
  static LoggerDBDest* FromParams(const LoggerParams& params, std::string& error);
  ~LoggerDBDest() override;

  unsigned Init(LoggerParams& params, std::vector<dst_aux::ElementProperties> elements) override;
  // Connects if needed: 1 when connected, 0 when not (taken out of service).
  unsigned Open() override;
  // Commits and disconnects; false when lines stay uncommitted.
  bool Close() override;
  bool Disable(long seconds) override;
  bool Enable() override;
  bool IsReady() override { return m_pStore && m_bConnected; }
  // Removes this destination's lines older than retainDays: 1 done, 0 failed.
  unsigned CleanUp(int retainDays) override;
  unsigned SmartClean(const std::string&, const std::vector<dst_aux::QueryElement>&, int, std::string&,
                      long&) override {
    return 0;
  }
  bool Prepare(const std::string&) override { return true; }
  // Commits what is pending: 0 done, -1 failed.
  int Flush() override;
  // a is the line's level, b a number of the caller's (a message number).
  bool Write(const std::string& text, unsigned a, unsigned b) override;
  unsigned WriteCtx(dst_aux::DataContext&, std::string&, unsigned, unsigned) override { return 0; }
  LoggerBaseDestination* Create(LoggerParams& params) override;
  LoggerDataInserter* GetInserter(const std::string&, std::string&, LoggerParams*) override { return nullptr; }
  void Attach(void*) override {}
  void Detach() override {}
  bool Accepts(const std::string&) override { return true; }
  int QueryInt(int) override { return 0; }
  int ControlInt(int) override { return 0; }

private:
  LoggerDBDest() = default;

  // Enabled again once the time-out after a failure has passed, then Start.
  bool Resume();
  // Connected, inside a transaction that holds every pending line.
  bool Start();
  // Reports, drops the connection and takes the destination out of
  // service for the retry time; always false.
  bool Fail(const std::string& error);
  void Drop();
  bool CommitPending();
  int FlushPending();
  void DisableFor(long seconds);
  bool RetryDue() const;
  void Report(const std::string& text);
  // The flushing thread: commits a batch that has grown old.
  void FlushOldBatches();
  void ReportLost();

  std::unique_ptr<DbBackend> m_pStore;
  bool m_bConnected = false;
  bool m_bInTransaction = false;
  std::vector<LogRow> m_vPending;  // inserted, not yet committed
  int64_t m_nWriter = 0;
  int64_t m_nNextSeq = 1;
  int64_t m_nPid = 0;
  std::string m_sHost;
  size_t m_nBatchSize = kBatchSize;
  int64_t m_nFlushUs = kFlushMs * 1000LL;
  long m_nRetrySeconds = kRetrySeconds;
  size_t m_nMaxLine = kMaxLineBytes;
  int64_t m_nBatchStartUs = 0;
  int64_t m_nDisabledAtUs = 0;
  bool m_bArmed = false;
  long m_nTimeOut = -1;
  std::ostream* m_pErrStream = nullptr;
  // Where lines go that can no longer be saved: the Logger's emergency file
  // and error callback, taken when the destination was made.
  std::string m_sEmergencyFile;
  void (*m_pCallback)(const std::string&) = nullptr;
  // Reasons found by the flushing thread wait here for the client's next
  // call: the Logger's error stream belongs to the client's threads.
  std::string m_sLateReports;
  std::mutex m_Lock;
  std::condition_variable m_Wake;
  bool m_bStop = false;
  std::thread m_Flusher;
};

// Gives true when text is valid UTF-8 without zero bytes.
bool IsPlainUtf8(const std::string& text);
// "YYYY-MM-DD HH:MM:SS.ffffff+00:00" of microseconds since the epoch, UTC.
std::string TimeText(int64_t us);

}  // namespace plinth_db

extern "C" __attribute__((visibility("default"))) LoggerBaseDestination* CreateDBDest(LoggerParams params);
