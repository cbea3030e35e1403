// The process-wide front end of the logging framework: a table of named
// destinations, created by parameters and written by name.
//
// Threads: the table is guarded inside the Logger, so its two clients (the
// diagnostics and the message logger) may work from different threads; the
// calls on one destination are the client's to serialise. Failures are
// results (1 for an unknown destination) and lines in the emergency file
// plus a call of the host's error callback; nothing here throws but
// std::bad_alloc.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <string>
#include <vector>

#include "plinth/logger/destination.h"
#include "plinth/logger/logger_types.h"
#include "plinth/logger/params_holder.h"
#include "plinth/platform/os/os_critical_section.h"

class DynamicLibrary;

class LoggerDestsFactory {
public:
  LoggerDestsFactory() = default;
  virtual ~LoggerDestsFactory();
  LoggerDestsFactory(const LoggerDestsFactory&) = delete;
  LoggerDestsFactory& operator=(const LoggerDestsFactory&) = delete;

  // A new destination of the parameter "type" (0 when absent), or null for
  // a type outside 0..2, an empty prototype slot or a failed creation.
  LoggerBaseDestination* Create(LoggerParams& params);
  // Takes ownership; replaces (and deletes) an earlier prototype.
  void SetPrototype(eDestType type, LoggerBaseDestination* prototype);

  // Indexed by eDestType; owned.
  LoggerBaseDestination* m_pPrototypes[3] = {nullptr, nullptr, nullptr};

  static std::atomic<LoggerDestsFactory*> m_theObject;
};

class Logger {
public:
  enum m_ErrorCode { CREATEDEST = 0, INITDEST, WRITETODEST, TERMDEST, GETDEST };
  using ErrorCallback = void (*)(const std::string&);
  using InitParams = dst_aux::ParamsHolder<std::string, int, bool, void*>;

  static Logger* GetInstance();
  static void Destroy();
  // The process-wide loader of the database library, built on the first
  // call; never unloaded before the process ends.
  static DynamicLibrary* GetLibraryLoader();

  void initLogger(InitParams params, ErrorCallback errorCallback);
  bool isValid() const { return m_bIsInitialized; }
  std::basic_stringbuf<char>* getErrStream() { return m_ErrStream.rdbuf(); }

  unsigned createDest(LoggerParams& params);
  unsigned initDest(LoggerParams& params, std::vector<dst_aux::ElementProperties>& elements);
  unsigned writeAllDests(const std::string& text, unsigned a, unsigned b);
  // True when the name is unknown; false otherwise, also after a failed write.
  bool writeDest(const std::string& name, const std::string& text, unsigned a, unsigned b);
  unsigned writeDestCtx(const std::string& name, dst_aux::DataContext& context, std::string& error,
                        unsigned a, unsigned b);
  unsigned disableDest(const std::string& name);
  unsigned disableAllDests();
  unsigned enableDest(const std::string& name);
  unsigned enableAllDests();
  unsigned closeDest(const std::string& name);
  unsigned closeAllDests();
  unsigned openDest(const std::string& name);
  unsigned openAllDests();
  unsigned flushDest(const std::string& name);
  unsigned flushAllDests();
  unsigned cleanupAllDests(int retainDays);
  unsigned smartClean(const std::string& name, const std::string& a,
                      const std::vector<dst_aux::QueryElement>& elements, int b, std::string& error,
                      long& count);
  LoggerBaseDestination* getDest(const std::string& name) const;
  LoggerDataInserter* getDestInserter(const std::string& name, const std::string& a, std::string& error,
                                      LoggerParams* params);
  unsigned getDestType(const std::string& name) const;
  unsigned getDestCount() const;
  unsigned removeDest(const std::string& name) const;
  unsigned removeAllDest();

  // The emergency file's full name; empty before initLogger.
  const std::string& GetEmergencyFileName() const { return m_sEmergencyFile; }

  static std::atomic<Logger*> m_theObject;

  os_critical_section m_CritSect;  // the emergency file only
  std::vector<std::string> m_vErrorPrefixes;
  std::string m_sLogPath;
  std::string m_sEmergencyFile;
  ErrorCallback m_pErrorCallback = nullptr;
  LoggerDestsFactory* m_pFactory = nullptr;
  // Owning. Guarded by m_TableLock; mutable because removeDest is const.
  mutable std::map<std::string, LoggerBaseDestination*> m_mDests;
  bool m_bIsInitialized = false;
  dst_aux::ParamNames m_ParamNames;
  std::stringstream m_ErrStream;
  dst_aux::StampNames m_StampNames;

protected:
  Logger() = default;
  virtual ~Logger();

private:
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  void WriteToEmergency(m_ErrorCode code, const std::string& text);
  void ReportWriteFailure(const std::string& text);
  std::string BuildEmergencyFileName() const;
  // Runs op on the named destination under the shared lock; 1 when unknown.
  template <class Op>
  unsigned WithDest(const std::string& name, Op op) const;
  // Runs op on every destination; 1 when the table is empty, else the last result.
  template <class Op>
  unsigned ForAllDests(Op op) const;

  mutable std::shared_mutex m_TableLock;
};

// Creates the destination factory if it doesn't exist. Called at library load.
void init_logger();
// Deletes the Logger singleton, then the factory.
void exit_logger();
