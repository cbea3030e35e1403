// An event that, once posted, lets every waiter through until it is reset.
// Any thread may wait, post or reset. Nothing here throws but the
// std::system_error of a broken mutex.
#pragma once

#include "plinth/plinth_export.h"

#include <condition_variable>
#include <mutex>

class PLINTH_API os_event_semaphore {
public:
  // A non-zero count starts the event posted.
  explicit os_event_semaphore(int count = 0) : m_bPosted(count != 0) {}
  os_event_semaphore(const os_event_semaphore&) = delete;
  os_event_semaphore& operator=(const os_event_semaphore&) = delete;

  void wait() {
    std::unique_lock<std::mutex> guard(m_Mutex);
    m_Posted.wait(guard, [this] { return m_bPosted; });
  }
  void post() {
    {
      std::lock_guard<std::mutex> guard(m_Mutex);
      m_bPosted = true;
    }
    m_Posted.notify_all();
  }
  void reset() {
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_bPosted = false;
  }

private:
  std::mutex m_Mutex;
  std::condition_variable m_Posted;
  bool m_bPosted;
};
