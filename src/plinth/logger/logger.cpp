#include "plinth/logger/logger.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "plinth/logger/db_facade.h"
#include "plinth/logger/file_dest.h"
#include "plinth/platform/os/os_time.h"
#include "plinth/platform/system.h"
#include "plinth/system/tracer.h"

std::atomic<Logger*> Logger::m_theObject{nullptr};
std::atomic<LoggerDestsFactory*> LoggerDestsFactory::m_theObject{nullptr};

namespace {
std::mutex g_singletonLock;

// The Logger lives in static storage and is never freed: Destroy retires it
// (closes and removes its destinations, forgets its set-up), and the next
// GetInstance brings the same object back. A client that kept the pointer
// across exit_logger (the diagnostics, the message logger's reader) then
// finds no destination and loses its lines, never touches freed memory.
alignas(Logger) unsigned char g_loggerStorage[sizeof(Logger)];
bool g_loggerBuilt = false;  // under g_singletonLock

template <class Op>
auto Locked(LoggerBaseDestination& dest, Op op) {
  std::lock_guard<std::recursive_mutex> guard(dest.m_CallLock.m_Mutex);
  return op(dest);
}
}  // namespace

// ---- LoggerDestsFactory ----

LoggerDestsFactory::~LoggerDestsFactory() {
  for (LoggerBaseDestination*& p : m_pPrototypes) {
    delete p;
    p = nullptr;
  }
}

void LoggerDestsFactory::SetPrototype(eDestType type, LoggerBaseDestination* prototype) {
  if (type < eSequentialFile || type > eDatabase) {
    delete prototype;
    return;
  }
  if (m_pPrototypes[type] != prototype) delete m_pPrototypes[type];
  m_pPrototypes[type] = prototype;
}

LoggerBaseDestination* LoggerDestsFactory::Create(LoggerParams& params) {
  int type = 0;
  params.GetInt("type", type);
  if (type < eSequentialFile || type > eDatabase) return nullptr;
  LoggerBaseDestination* prototype = m_pPrototypes[type];
  return prototype ? prototype->Create(params) : nullptr;
}

void init_logger() {
  std::lock_guard<std::mutex> guard(g_singletonLock);
  if (!LoggerDestsFactory::m_theObject.load()) LoggerDestsFactory::m_theObject.store(new LoggerDestsFactory);
}

void exit_logger() {
  Logger::Destroy();
  std::lock_guard<std::mutex> guard(g_singletonLock);
  delete LoggerDestsFactory::m_theObject.exchange(nullptr);
}

// ---- Logger life cycle ----

Logger* Logger::GetInstance() {
  Logger* logger = m_theObject.load(std::memory_order_acquire);
  if (logger) return logger;
  std::lock_guard<std::mutex> guard(g_singletonLock);
  logger = m_theObject.load(std::memory_order_relaxed);
  if (!logger) {
    if (!g_loggerBuilt) {
      new (g_loggerStorage) Logger;
      g_loggerBuilt = true;
    }
    logger = std::launder(reinterpret_cast<Logger*>(g_loggerStorage));
    m_theObject.store(logger, std::memory_order_release);
  }
  return logger;
}

void Logger::Destroy() {
  Logger* logger;
  {
    std::lock_guard<std::mutex> guard(g_singletonLock);
    logger = m_theObject.exchange(nullptr);
  }
  if (logger) logger->Retire();
}

// Never runs: the object is retired instead (see g_loggerStorage).
Logger::~Logger() = default;

void Logger::Retire() {
  closeAllDests();
  removeAllDest();
  std::lock_guard<std::mutex> init(m_InitLock);
  m_bIsInitialized.store(false);
  m_pFactory = nullptr;  // exit_logger deletes it next
  os_lock_guard guard(m_CritSect);
  m_pErrorCallback = nullptr;
}

// A further initLogger changes nothing; the trace says what it would have
// changed, so that a client that expected its own path or callback learns
// why it didn't get them. Reads the first call's values without a lock: a
// trace may show a stale value, never a wrong decision.
static void TraceRepeatedInit(const Logger& logger, Logger::InitParams& params, Logger::ErrorCallback errorCallback) {
  if (!Tracer::TraceEnabled.load(std::memory_order_relaxed) || !logger.isValid()) return;
  std::string path;
  params.GetString("path", path);
  if (path != logger.m_sLogPath)
    PLINTH_TRACE(4, "Logger::initLogger: already initialized with path \"" << logger.m_sLogPath
                                                                          << "\"; path \"" << path << "\" ignored");
  if (errorCallback != logger.m_pErrorCallback)
    PLINTH_TRACE(4, "Logger::initLogger: already initialized; "
                        << (errorCallback ? "the new error callback is dropped" : "no error callback given")
                        << (logger.m_pErrorCallback ? ", the first one stays" : ", none stays in force"));
}

void Logger::initLogger(InitParams params, ErrorCallback errorCallback) {
  TraceRepeatedInit(*this, params, errorCallback);
  PLINTH_TRACE(4, "Logger::initLogger");
  init_logger();
  // Both clients may call at once: the first call wins, the second waits
  // for it and changes nothing.
  std::lock_guard<std::mutex> init(m_InitLock);
  PLINTH_TRACE(4, "m_bIsInitialized=" << m_bIsInitialized.load());
  if (m_bIsInitialized.load()) return;

  // The toolkits of time and network need no set-up here.
  params.GetString(m_StampNames.path, m_sLogPath);
  m_pFactory = LoggerDestsFactory::m_theObject.load();
  {
    os_lock_guard guard(m_CritSect);
    m_pErrorCallback = errorCallback;
    m_sEmergencyFile = BuildEmergencyFileName();
    m_vErrorPrefixes = {"Failed to CREATEDEST : ", "Failed to INITDEST : ", "Failed to WRITETODEST : ",
                        "Failed to TERMDEST : ", "Failed to GETDEST : "};
  }
  if (m_pFactory) {
    m_pFactory->SetPrototype(eSequentialFile, new LoggerSequentialDest);
    m_pFactory->SetPrototype(eCyclicFile, new LoggerCyclicDest);
    m_pFactory->SetPrototype(eDatabase, new LoggerDBDestinationFacade);
  }
  m_bIsInitialized.store(true);
}

Logger::ErrorCallback Logger::Callback() {
  os_lock_guard guard(m_CritSect);
  return m_pErrorCallback;
}

std::string Logger::BuildEmergencyFileName() const {
  std::string host = plinth::platform::host_name();
  host = host.substr(0, host.find('.'));
  return m_sLogPath + "/OrbLogEmergencyFile." + host + "." +
         std::to_string(plinth::platform::process_id()) + "." +
         os_time_and_date::now().to_string("%y%m%d_%H%M%S") + ".txt.txt";
}

// ---- the table ----

template <class Op>
unsigned Logger::WithDest(const std::string& name, Op op) const {
  std::shared_lock<std::shared_mutex> guard(m_TableLock);
  auto it = m_mDests.find(name);
  if (it == m_mDests.end() || !it->second) return 1;
  return static_cast<unsigned>(Locked(*it->second, op));
}

template <class Op>
unsigned Logger::ForAllDests(Op op) const {
  std::shared_lock<std::shared_mutex> guard(m_TableLock);
  if (m_mDests.empty()) return 1;
  unsigned result = 1;
  for (auto& [name, dest] : m_mDests)
    if (dest) result = static_cast<unsigned>(Locked(*dest, op));
  return result;
}

unsigned Logger::createDest(LoggerParams& params) {
  LoggerBaseDestination* dest;
  {
    // The factory and the path stay as they are while a destination is made.
    std::lock_guard<std::mutex> init(m_InitLock);
    params.InsertString(m_ParamNames.path, m_sLogPath);
    dest = m_pFactory ? m_pFactory->Create(params) : nullptr;
  }
  std::string logicalName;
  params.GetString(m_ParamNames.logical_name, logicalName);
  if (!dest) {
    WriteToEmergency(CREATEDEST, logicalName);
    return 1;
  }
  bool inserted;
  {
    std::unique_lock<std::shared_mutex> guard(m_TableLock);
    inserted = m_mDests.emplace(logicalName, dest).second;
  }
  // The name was taken: the destination already there stays.
  if (!inserted) {
    PLINTH_TRACE(4, "Logger::createDest: logical name \"" << logicalName
                                                         << "\" is already taken; the new destination is discarded");
    delete dest;
  }
  return 0;
}

unsigned Logger::initDest(LoggerParams& params, std::vector<dst_aux::ElementProperties>& elements) {
  std::string logicalName;
  params.GetString(m_ParamNames.logical_name, logicalName);
  std::shared_lock<std::shared_mutex> guard(m_TableLock);
  auto it = m_mDests.find(logicalName);
  if (it == m_mDests.end()) return 1;
  if (!it->second) {
    guard.unlock();
    WriteToEmergency(INITDEST, logicalName);
    return 1;
  }
  params.InsertPointer(m_ParamNames.err_stream, static_cast<void*>(&m_ErrStream));
  return Locked(*it->second, [&](LoggerBaseDestination& d) { return d.Init(params, elements); });
}

void Logger::ReportWriteFailure(const std::string& text) {
  WriteToEmergency(WRITETODEST, text);
  if (ErrorCallback callback = Callback()) callback(std::string(text.c_str()));
}

unsigned Logger::writeAllDests(const std::string& text, unsigned a, unsigned b) {
  unsigned failures = 0;
  {
    std::shared_lock<std::shared_mutex> guard(m_TableLock);
    if (m_mDests.empty()) return 1;
    for (auto& [name, dest] : m_mDests)
      if (dest && !Locked(*dest, [&](LoggerBaseDestination& d) { return d.Write(text, a, b); })) ++failures;
  }
  // Reported outside the table lock, so that a callback may use the Logger.
  for (unsigned i = 0; i < failures; ++i) ReportWriteFailure(text);
  return 0;
}

bool Logger::writeDest(const std::string& name, const std::string& text, unsigned a, unsigned b) {
  bool ok;
  {
    std::shared_lock<std::shared_mutex> guard(m_TableLock);
    auto it = m_mDests.find(name);
    if (it == m_mDests.end() || !it->second) return true;
    LoggerBaseDestination& dest = *it->second;
    std::lock_guard<std::recursive_mutex> call(dest.m_CallLock.m_Mutex);
    ok = dest.Write(text, a, b);
  }
  if (!ok) ReportWriteFailure(text);
  return false;
}

unsigned Logger::writeDestCtx(const std::string& name, dst_aux::DataContext& context, std::string& error,
                              unsigned a, unsigned b) {
  return WithDest(name, [&](LoggerBaseDestination& d) { return d.WriteCtx(context, error, a, b); });
}

unsigned Logger::disableDest(const std::string& name) {
  return WithDest(name, [](LoggerBaseDestination& d) { return d.Disable(-1); });
}
unsigned Logger::disableAllDests() {
  return ForAllDests([](LoggerBaseDestination& d) { return d.Disable(-1); });
}
unsigned Logger::enableDest(const std::string& name) {
  return WithDest(name, [](LoggerBaseDestination& d) { return d.Enable(); });
}
unsigned Logger::enableAllDests() {
  return ForAllDests([](LoggerBaseDestination& d) { return d.Enable(); });
}
unsigned Logger::closeDest(const std::string& name) {
  return WithDest(name, [](LoggerBaseDestination& d) { return d.Close(); });
}
unsigned Logger::closeAllDests() {
  return ForAllDests([](LoggerBaseDestination& d) { return d.Close(); });
}
unsigned Logger::openDest(const std::string& name) {
  return WithDest(name, [](LoggerBaseDestination& d) { return d.Open(); });
}
unsigned Logger::openAllDests() {
  return ForAllDests([](LoggerBaseDestination& d) { return d.Open(); });
}
unsigned Logger::flushDest(const std::string& name) {
  return WithDest(name, [](LoggerBaseDestination& d) { return d.Flush(); });
}
unsigned Logger::flushAllDests() {
  return ForAllDests([](LoggerBaseDestination& d) { return d.Flush(); });
}
unsigned Logger::cleanupAllDests(int retainDays) {
  return ForAllDests([retainDays](LoggerBaseDestination& d) { return d.CleanUp(retainDays); });
}

unsigned Logger::smartClean(const std::string& name, const std::string& a,
                            const std::vector<dst_aux::QueryElement>& elements, int b, std::string& error,
                            long& count) {
  unsigned result;
  {
    std::shared_lock<std::shared_mutex> guard(m_TableLock);
    auto it = m_mDests.find(name);
    if (it == m_mDests.end() || !it->second) return 1;
    result = Locked(*it->second,
                    [&](LoggerBaseDestination& d) { return d.SmartClean(a, elements, b, error, count); });
  }
  if (result != 0)
    if (ErrorCallback callback = Callback()) callback(error);
  return result;
}

LoggerBaseDestination* Logger::getDest(const std::string& name) const {
  std::shared_lock<std::shared_mutex> guard(m_TableLock);
  auto it = m_mDests.find(name);
  return it == m_mDests.end() ? nullptr : it->second;
}

LoggerDataInserter* Logger::getDestInserter(const std::string& name, const std::string& a, std::string& error,
                                            LoggerParams* params) {
  std::shared_lock<std::shared_mutex> guard(m_TableLock);
  auto it = m_mDests.find(name);
  if (it == m_mDests.end() || !it->second) return nullptr;
  return Locked(*it->second, [&](LoggerBaseDestination& d) { return d.GetInserter(a, error, params); });
}

unsigned Logger::getDestType(const std::string& name) const {
  return WithDest(name, [](LoggerBaseDestination& d) { return d.m_nMode; });
}

unsigned Logger::getDestCount() const {
  std::shared_lock<std::shared_mutex> guard(m_TableLock);
  return static_cast<unsigned>(m_mDests.size());
}

unsigned Logger::removeDest(const std::string& name) const {
  LoggerBaseDestination* dest;
  {
    std::unique_lock<std::shared_mutex> guard(m_TableLock);
    auto it = m_mDests.find(name);
    if (it == m_mDests.end()) return 1;
    dest = it->second;
    m_mDests.erase(it);
  }
  delete dest;
  return 0;
}

unsigned Logger::removeAllDest() {
  std::map<std::string, LoggerBaseDestination*> dests;
  {
    std::unique_lock<std::shared_mutex> guard(m_TableLock);
    dests.swap(m_mDests);
  }
  for (auto& [name, dest] : dests) delete dest;
  return 0;
}

// ---- the emergency file ----

void Logger::WriteToEmergency(m_ErrorCode code, const std::string& text) {
  if (text.empty()) return;
  os_lock_guard guard(m_CritSect);
  FILE* file = std::fopen(m_sEmergencyFile.c_str(), "a+e");
  FILE* out = file ? file : stderr;
  if (file) std::setvbuf(file, nullptr, _IONBF, 0);
  const std::string& prefix =
      static_cast<size_t>(code) < m_vErrorPrefixes.size() ? m_vErrorPrefixes[code] : std::string();
  std::fwrite(prefix.data(), 1, prefix.size(), out);
  std::fwrite(text.data(), 1, text.size(), out);
  if (text.back() != '\n') std::fputc('\n', out);
  if (std::ferror(out)) {
    std::perror("Write error");
    std::clearerr(out);
  }
  if (file) std::fclose(file);
}
