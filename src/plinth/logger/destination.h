// The abstract destination of the logging framework. The database
// destination library derives from it too, so the order of the virtual
// operations and of the fields is an interface between binaries: append,
// never reorder. The Logger holds m_CallLock around every call it makes on
// a destination, so a destination sees one call at a time.
#pragma once

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "plinth/plinth_export.h"
#include "plinth/logger/params_holder.h"

class LoggerDataInserter;

namespace dst_aux {
// The lock of one destination. Re-entrant, as a destination's banner may
// print through the Logger again. A copy starts unlocked: it is a new
// destination.
struct PLINTH_API CallLock {
  CallLock() = default;
  CallLock(const CallLock&) {}
  CallLock& operator=(const CallLock&) { return *this; }
  std::recursive_mutex m_Mutex;
};

// A record of the database destination that starts with a name.
struct PLINTH_API NamedRecord {
  std::string m_sName;
  uint32_t m_nValue = 0;
};
}  // namespace dst_aux

class PLINTH_API LoggerBaseDestination {
public:
  LoggerBaseDestination() = default;
  virtual ~LoggerBaseDestination() = default;

  virtual unsigned Init(LoggerParams& params, std::vector<dst_aux::ElementProperties> elements) = 0;
  virtual unsigned Open() = 0;
  virtual bool Close() = 0;
  virtual bool Disable(long /*seconds*/) {
    m_bEnabled = false;
    return true;
  }
  virtual bool Enable() {
    m_bEnabled = true;
    return true;
  }
  // Reserved for the database destination; no caller in this library.
  virtual bool IsReady() = 0;
  virtual unsigned CleanUp(int retainDays) = 0;
  virtual unsigned SmartClean(const std::string& what, const std::vector<dst_aux::QueryElement>& elements,
                              int option, std::string& error, long& count) = 0;
  // Reserved for the database destination; no caller in this library.
  virtual bool Prepare(const std::string& what) = 0;
  virtual int Flush() = 0;
  // a and b select something only for the database destination.
  virtual bool Write(const std::string& text, unsigned a, unsigned b) = 0;
  virtual unsigned WriteCtx(dst_aux::DataContext& context, std::string& error, unsigned a, unsigned b) = 0;
  // Builds a new destination; the receiver serves only as a prototype.
  virtual LoggerBaseDestination* Create(LoggerParams& params) = 0;
  virtual LoggerDataInserter* GetInserter(const std::string& what, std::string& error, LoggerParams* params) = 0;
  // Reserved for the database destination; no caller in this library.
  virtual void Attach(void* what) = 0;
  virtual void Detach() = 0;
  virtual bool Accepts(const std::string& what) = 0;
  virtual int QueryInt(int what) = 0;
  virtual int ControlInt(int what) = 0;

  bool IsEnabled() const { return m_bEnabled; }

  std::set<uint32_t> m_setIds;    // for the database destination
  std::set<uint32_t> m_setKinds;  // for the database destination
  std::string m_sLogicalName;
  // The creation parameter "mode" with bit 0x40000000 set.
  uint32_t m_nMode = 0;
  bool m_bEnabled = false;
  uint32_t m_nFlushSize = 0;
  std::vector<dst_aux::NamedRecord> m_vRecords;  // for the database destination
  uint32_t m_nDbValue = 0;                        // for the database destination
  std::vector<dst_aux::ElementProperties> m_vElements;  // for the database destination
  dst_aux::CallLock m_CallLock;  // held by the Logger around each call
};

constexpr uint32_t kLoggerModeFlag = 0x40000000;
