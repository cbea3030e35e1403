// A re-entrant lock: the owner may take it again. Any thread may use it.
#pragma once

#include "plinth/plinth_export.h"

#include <mutex>

class PLINTH_API os_critical_section {
public:
  void lock() { m_Mutex.lock(); }
  void unlock() { m_Mutex.unlock(); }
  bool try_lock() { return m_Mutex.try_lock(); }

private:
  std::recursive_mutex m_Mutex;
};

// Scope guard for os_critical_section.
class PLINTH_API os_lock_guard {
public:
  explicit os_lock_guard(os_critical_section& cs) : m_Cs(cs) { m_Cs.lock(); }
  ~os_lock_guard() { m_Cs.unlock(); }
  os_lock_guard(const os_lock_guard&) = delete;
  os_lock_guard& operator=(const os_lock_guard&) = delete;

private:
  os_critical_section& m_Cs;
};
