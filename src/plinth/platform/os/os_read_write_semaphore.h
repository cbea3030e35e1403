// A lock that many readers or one writer hold. Any thread may use it; the
// holder must not take it again. Nothing here throws but the
// std::system_error of a broken lock.
#pragma once

#include "plinth/plinth_export.h"

#include <shared_mutex>

class PLINTH_API os_read_write_semaphore {
public:
  void read_lock() { m_Lock.lock_shared(); }
  void read_unlock() { m_Lock.unlock_shared(); }
  void write_lock() { m_Lock.lock(); }
  void write_unlock() { m_Lock.unlock(); }
  // Whether the write side was got, without waiting.
  bool try_write_lock() { return m_Lock.try_lock(); }

private:
  std::shared_mutex m_Lock;
};
