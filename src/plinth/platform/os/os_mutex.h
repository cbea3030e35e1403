// Mutexes and a condition. os_mutex is re-entrant for its owner, which may
// also try_lock it successfully while it holds it; os_condition_mutex is a
// plain mutex that an os_condition waits on. Any thread may use them;
// nothing here reports failure.
#pragma once

#include "plinth/plinth_export.h"

#include <condition_variable>
#include <mutex>

class PLINTH_API os_mutex {
public:
  // locked: the creating thread starts as the owner.
  explicit os_mutex(bool locked = false) {
    if (locked) m_Mutex.lock();
  }
  os_mutex(const os_mutex&) = delete;
  os_mutex& operator=(const os_mutex&) = delete;

  void lock() { m_Mutex.lock(); }
  bool try_lock() { return m_Mutex.try_lock(); }
  void unlock() { m_Mutex.unlock(); }

private:
  std::recursive_mutex m_Mutex;
};

class PLINTH_API os_condition_mutex {
public:
  // locked: the creating thread starts as the owner.
  explicit os_condition_mutex(bool locked = false) {
    if (locked) m_Mutex.lock();
  }
  os_condition_mutex(const os_condition_mutex&) = delete;
  os_condition_mutex& operator=(const os_condition_mutex&) = delete;

  void lock() { m_Mutex.lock(); }
  void unlock() { m_Mutex.unlock(); }

private:
  friend class os_condition;
  std::mutex m_Mutex;
};

// A condition bound to one os_condition_mutex for its whole life.
class PLINTH_API os_condition {
public:
  explicit os_condition(os_condition_mutex& mutex) : m_Mutex(mutex) {}
  os_condition(const os_condition&) = delete;
  os_condition& operator=(const os_condition&) = delete;

  // The caller holds the mutex; it is released while waiting and held again
  // on return. Wakes may be spurious: callers test their predicate again.
  void wait() {
    std::unique_lock<std::mutex> held(m_Mutex.m_Mutex, std::adopt_lock);
    m_Cond.wait(held);
    held.release();
  }
  void signal() { m_Cond.notify_one(); }
  void signal_all() { m_Cond.notify_all(); }

private:
  os_condition_mutex& m_Mutex;
  std::condition_variable m_Cond;
};
