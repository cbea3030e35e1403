#include "db_dest.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <random>

#include "plinth/logger/logger.h"
#include "plinth/platform/os/os_time.h"

namespace plinth_db {

bool IsPlainUtf8(const std::string& text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const unsigned char c = *p;
    if (c == 0) return false;
    if (c < 0x80) {
      ++p;
      continue;
    }
    int more;
    uint32_t cp;
    if ((c & 0xE0) == 0xC0) more = 1, cp = c & 0x1F;
    else if ((c & 0xF0) == 0xE0) more = 2, cp = c & 0x0F;
    else if ((c & 0xF8) == 0xF0) more = 3, cp = c & 0x07;
    else return false;
    if (end - p <= more) return false;
    for (int i = 1; i <= more; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (p[i] & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    static const uint32_t kMin[] = {0, 0x80, 0x800, 0x10000};
    if (cp < kMin[more] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    p += more + 1;
  }
  return true;
}

std::string TimeText(int64_t us) {
  const time_t seconds = static_cast<time_t>(us / 1000000);
  std::tm tm{};
  gmtime_r(&seconds, &tm);
  char buf[64];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%06d+00:00", tm.tm_year + 1900, tm.tm_mon + 1,
                tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(us % 1000000));
  return buf;
}

namespace {

// A connection string or URI names PostgreSQL; anything else is a file.
bool LooksLikeConnectionString(const std::string& name) {
  return name.rfind("postgresql://", 0) == 0 || name.rfind("postgres://", 0) == 0 ||
         name.find('=') != std::string::npos;
}

int IntParam(const LoggerParams& params, const char* name, int fallback) {
  int value = 0;
  return params.GetInt(name, value) ? value : fallback;
}

}  // namespace

LoggerDBDest* LoggerDBDest::FromParams(const LoggerParams& params, std::string& error) {
  std::string logicalName, name, path, driver, dbName, server, user, password;
  if (!params.GetString("logical_name", logicalName) || logicalName.empty()) {
    error = "the parameter logical_name is missing";
    return nullptr;
  }
  params.GetString("name", name);
  params.GetString("path", path);
  params.GetString("driver", driver);
  params.GetString("db_name", dbName);
  params.GetString("server_name", server);
  params.GetString("user_name", user);
  params.GetString("password", password);
  if (driver.empty()) driver = LooksLikeConnectionString(dbName) || !server.empty() ? "postgresql" : "sqlite";

  std::unique_ptr<DbBackend> store;
  if (driver == "sqlite") {
    if (dbName.empty()) dbName = (path.empty() ? std::string(".") : path) + "/" + (name.empty() ? "plinth" : name) + ".db";
    store = MakeSqliteBackend(dbName, IntParam(params, "busy_timeout_ms", kBusyTimeoutMs));
  } else if (driver == "postgresql") {
    std::vector<std::pair<std::string, std::string>> keywords;
    if (!dbName.empty()) keywords.emplace_back("dbname", dbName);
    if (!server.empty()) keywords.emplace_back("host", server);
    if (!user.empty()) keywords.emplace_back("user", user);
    if (!password.empty()) keywords.emplace_back("password", password);
    keywords.emplace_back("connect_timeout", std::to_string(IntParam(params, "connect_timeout", 5)));
    keywords.emplace_back("client_encoding", "UTF8");
    keywords.emplace_back("application_name", "plinth " + logicalName);
    store = MakePgBackend(std::move(keywords));
  } else {
    error = "unknown driver \"" + driver + "\" (sqlite or postgresql)";
    return nullptr;
  }

  auto* dest = new LoggerDBDest;
  dest->m_pStore = std::move(store);
  dest->m_sLogicalName = logicalName;
  dest->m_nMode = static_cast<uint32_t>(IntParam(params, "mode", 0)) | kLoggerModeFlag;
  dest->m_nBatchSize = static_cast<size_t>(std::max(1, IntParam(params, "batch_size", kBatchSize)));
  dest->m_nFlushUs = std::max(0, IntParam(params, "flush_ms", kFlushMs)) * 1000LL;
  dest->m_nRetrySeconds = std::max(0, IntParam(params, "retry_seconds", static_cast<int>(kRetrySeconds)));
  dest->m_nMaxLine = static_cast<size_t>(std::max(0, IntParam(params, "max_line_bytes", kMaxLineBytes)));
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  dest->m_sHost = host;
  dest->m_nPid = static_cast<int64_t>(getpid());
  std::random_device random;
  dest->m_nWriter = static_cast<int64_t>((static_cast<uint64_t>(random()) << 31) ^ random()) & INT64_MAX;
  if (Logger* logger = Logger::m_theObject.load()) {
    dest->m_sEmergencyFile = logger->GetEmergencyFileName();
    dest->m_pCallback = logger->m_pErrorCallback;
  }
  dest->m_bEnabled = true;
  if (dest->m_nFlushUs > 0) dest->m_Flusher = std::thread(&LoggerDBDest::FlushOldBatches, dest);
  return dest;
}

void LoggerDBDest::FlushOldBatches() {
  std::unique_lock<std::mutex> guard(m_Lock);
  while (!m_bStop) {
    if (!m_bInTransaction) {
      m_Wake.wait(guard);
      continue;
    }
    // The age is read on the library's clock, which tests move; the wait
    // itself is real time.
    const int64_t age = os_clock::now_us() - m_nBatchStartUs;
    if (age >= m_nFlushUs) {
      CommitPending();
      continue;
    }
    m_Wake.wait_for(guard, std::chrono::microseconds(m_nFlushUs - age));
  }
}

LoggerDBDest::~LoggerDBDest() {
  {
    std::lock_guard<std::mutex> guard(m_Lock);
    m_bStop = true;
  }
  m_Wake.notify_all();
  if (m_Flusher.joinable()) m_Flusher.join();
  // Last chance for what was accepted: try the store once more, whatever
  // the time-out says; what still can't be saved is reported.
  if (!m_vPending.empty() && (m_bInTransaction || Start())) CommitPending();
  if (!m_vPending.empty()) ReportLost();
}

unsigned LoggerDBDest::Init(LoggerParams& params, std::vector<dst_aux::ElementProperties> elements) {
  std::lock_guard<std::mutex> guard(m_Lock);
  void* stream = nullptr;
  if (params.GetPointer("err_stream", stream)) m_pErrStream = static_cast<std::ostream*>(stream);
  m_vElements = std::move(elements);
  return 0;
}

unsigned LoggerDBDest::Open() {
  std::lock_guard<std::mutex> guard(m_Lock);
  return Resume() ? 1 : 0;
}

bool LoggerDBDest::Close() {
  std::lock_guard<std::mutex> guard(m_Lock);
  const bool saved = FlushPending() == 0;
  if (saved) {
    m_pStore->Disconnect();
    m_bConnected = false;
  }
  return saved;
}

bool LoggerDBDest::Disable(long seconds) {
  std::lock_guard<std::mutex> guard(m_Lock);
  DisableFor(seconds);
  return true;
}

void LoggerDBDest::DisableFor(long seconds) {
  m_bEnabled = false;
  if (seconds != -1) {
    m_nTimeOut = seconds;
    m_nDisabledAtUs = os_clock::now_us();
    m_bArmed = true;
  }
}

bool LoggerDBDest::Enable() {
  std::lock_guard<std::mutex> guard(m_Lock);
  if (!m_bArmed || RetryDue()) {
    m_bEnabled = true;
    m_bArmed = false;
  }
  return true;
}

bool LoggerDBDest::RetryDue() const {
  return m_nTimeOut == -1 || (os_clock::now_us() - m_nDisabledAtUs) / 1000000 >= m_nTimeOut;
}

bool LoggerDBDest::Resume() {
  if (!m_bEnabled) {
    if (!RetryDue()) return false;
    m_bEnabled = true;
    m_bArmed = false;
  }
  return Start();
}

bool LoggerDBDest::Start() {
  std::string error;
  if (!m_bConnected) {
    if (!m_pStore->Connect(error)) return Fail(error);
    m_bConnected = true;
  }
  if (m_bInTransaction) return true;
  if (!m_pStore->Begin(error)) return Fail(error);
  for (const LogRow& row : m_vPending)
    if (!m_pStore->Insert(row, m_sHost, m_sLogicalName, error)) return Fail(error);
  m_bInTransaction = true;
  m_nBatchStartUs = os_clock::now_us();
  return true;
}

bool LoggerDBDest::Fail(const std::string& error) {
  Report(error);
  Drop();
  DisableFor(m_nRetrySeconds);
  return false;
}

void LoggerDBDest::Drop() {
  m_pStore->Disconnect();
  m_bConnected = false;
  m_bInTransaction = false;
}

bool LoggerDBDest::CommitPending() {
  if (!m_bInTransaction) return m_vPending.empty();
  std::string error;
  if (!m_pStore->Commit(error)) return Fail(error);
  m_bInTransaction = false;
  m_vPending.clear();
  return true;
}

int LoggerDBDest::Flush() {
  std::lock_guard<std::mutex> guard(m_Lock);
  return FlushPending();
}

int LoggerDBDest::FlushPending() {
  if (m_vPending.empty() && !m_bInTransaction) return 0;
  if (!m_bInTransaction && !Resume()) return -1;
  return CommitPending() ? 0 : -1;
}

bool LoggerDBDest::Write(const std::string& text, unsigned a, unsigned b) {
  std::lock_guard<std::mutex> guard(m_Lock);
  if (!m_sLateReports.empty() && m_pErrStream) *m_pErrStream << m_sLateReports;
  m_sLateReports.clear();
  if (text.size() > m_nMaxLine) {
    Report("a line of " + std::to_string(text.size()) + " bytes is longer than max_line_bytes (" +
           std::to_string(m_nMaxLine) + ")");
    return false;
  }
  if (!Resume()) return false;
  LogRow row;
  row.m_nWriter = m_nWriter;
  row.m_nSeq = m_nNextSeq++;
  row.m_sTime = TimeText(os_clock::now_us());
  row.m_nPid = m_nPid;
  row.m_nLevel = a;
  row.m_nCode = b;
  row.m_sText = text;
  row.m_bIsText = IsPlainUtf8(text);
  std::string error;
  if (!m_pStore->Insert(row, m_sHost, m_sLogicalName, error)) {
    // The transaction is lost, whether the store refused this line or the
    // connection went away. A new connection tells the two apart: the
    // pending lines go in again, then this one once more.
    Drop();
    if (!Start()) return false;
    if (!m_pStore->Insert(row, m_sHost, m_sLogicalName, error)) {
      Report("line refused: " + error);
      Drop();  // the next write puts the pending lines back
      return false;
    }
  }
  m_vPending.push_back(std::move(row));
  // A failed commit keeps the lines for the next connection.
  if (m_vPending.size() >= m_nBatchSize || os_clock::now_us() - m_nBatchStartUs >= m_nFlushUs) CommitPending();
  if (m_vPending.size() == 1) m_Wake.notify_one();
  return true;
}

unsigned LoggerDBDest::CleanUp(int retainDays) {
  std::lock_guard<std::mutex> guard(m_Lock);
  if (FlushPending() != 0) return 0;
  std::string error;
  if (!m_bConnected) {
    if (!m_pStore->Connect(error)) return Fail(error);
    m_bConnected = true;
  }
  const int64_t cutoff = os_clock::now_us() - static_cast<int64_t>(retainDays) * 86400 * 1000000;
  long count = 0;
  if (!m_pStore->DeleteBefore(m_sLogicalName, TimeText(cutoff), count, error)) return Fail(error);
  return 1;
}

LoggerBaseDestination* LoggerDBDest::Create(LoggerParams& params) {
  std::string error;
  LoggerDBDest* dest = FromParams(params, error);
  if (!dest) Report(error);
  return dest;
}

void LoggerDBDest::Report(const std::string& text) {
  const std::string line = "database destination " + m_sLogicalName + ": " + text + "\n";
  if (std::this_thread::get_id() == m_Flusher.get_id()) m_sLateReports += line;
  else if (m_pErrStream) *m_pErrStream << line;
}

void LoggerDBDest::ReportLost() {
  for (const LogRow& row : m_vPending) {
    if (!m_sEmergencyFile.empty()) {
      const int fd = ::open(m_sEmergencyFile.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
      if (fd >= 0) {
        std::string line = "Failed to WRITETODEST : " + row.m_sText;
        if (line.back() != '\n') line += '\n';
        const bool written = ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
        ::close(fd);
        if (!written) std::perror("Write error");
      }
    }
    if (m_pCallback) m_pCallback(std::string(row.m_sText.c_str()));
  }
  m_vPending.clear();
}

}  // namespace plinth_db

LoggerBaseDestination* CreateDBDest(LoggerParams params) {
  std::string error;
  LoggerBaseDestination* dest = plinth_db::LoggerDBDest::FromParams(params, error);
  if (!dest) {
    // No destination exists to carry the reason; the Logger's error stream does.
    if (Logger* logger = Logger::m_theObject.load()) logger->m_ErrStream << "CreateDBDest: " << error << '\n';
  }
  return dest;
}
