// A reader-writer lock that knows its readers: a writer may take read locks,
// a sole reader may become the writer, both sides may recurse, and writers
// may be preferred over new readers. Any thread may call any operation, but
// it releases what it took in the thread that took it. Nothing reports an
// error; the try_ operations give false instead of blocking.
//
// Two orders deadlock, and the caller must avoid them:
//  - Two threads that both hold read locks both call write_lock: the first
//    gets the writer mutex and waits for the second's read locks to go, the
//    second waits for the writer mutex with its read locks held. (The same
//    holds for a reader that calls write_lock while a thread without read
//    locks is inside write_lock.) Upgrade with try_write_lock, and let go of
//    the read locks when it fails, if others may upgrade too.
//  - With writers preferred, a thread that holds a read lock asks for
//    another while a writer waits: the new read lock waits for the writer,
//    and the writer waits for the read lock already held.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_mutex.h"

class PLINTH_API read_write_semaphore2 {
public:
  explicit read_write_semaphore2(bool writersPreferred = false);
  ~read_write_semaphore2();
  read_write_semaphore2(const read_write_semaphore2&) = delete;
  read_write_semaphore2& operator=(const read_write_semaphore2&) = delete;

  // Granted at once to the writer; otherwise waits while another thread
  // writes, and, with writers preferred, while a writer asks.
  void read_lock() const;
  // Releases one read lock of the calling thread. A thread that holds none
  // changes nothing.
  void read_unlock() const;
  bool try_read_lock() const;

  // Recursive for the writer; a sole reader is granted it at once and keeps
  // its read locks, which it releases later with read_unlock.
  void write_lock();
  void write_unlock();
  bool try_write_lock();

  // "read_write_semaphore2( writers prefered: 0|1, read locks: n,
  // write requests: n, write locks: n )", no line end.
  void print(std::ostream& out) const;

protected:
  // The caller holds the state lock.
  bool multiple_read_lock_owners() const;
  unsigned long get_current_tid() const;

private:
  // Guards every field below; held only for short steps. Taken after the
  // writer mutex, never while blocking on it.
  mutable os_condition_mutex m_StateLock;
  // Held by the writer for the whole write lock. Re-entrant: the design
  // relies on the owner's try_lock succeeding.
  mutable os_mutex m_WriterMutex;
  mutable os_condition m_Condition;
  // One entry per read lock held, so a thread appears once per lock.
  mutable std::vector<unsigned long> m_vReaders;
  mutable uint32_t m_nReadLocks = 0;
  uint32_t m_nWriteLocks = 0;
  // Threads inside write_lock that don't have the lock yet.
  uint32_t m_nWriteRequests = 0;
  bool m_bWritersPreferred;
};

// Holds a read lock for its scope.
class PLINTH_API sem2_read_lock {
public:
  explicit sem2_read_lock(read_write_semaphore2 const& sem) : m_pSem(&sem) { m_pSem->read_lock(); }
  ~sem2_read_lock() { m_pSem->read_unlock(); }
  sem2_read_lock(const sem2_read_lock&) = delete;
  sem2_read_lock& operator=(const sem2_read_lock&) = delete;

private:
  read_write_semaphore2 const* m_pSem;
};

// Holds the write lock for its scope.
class PLINTH_API sem2_write_lock {
public:
  explicit sem2_write_lock(read_write_semaphore2& sem) : m_pSem(&sem) { m_pSem->write_lock(); }
  ~sem2_write_lock() { m_pSem->write_unlock(); }
  sem2_write_lock(const sem2_write_lock&) = delete;
  sem2_write_lock& operator=(const sem2_write_lock&) = delete;

private:
  read_write_semaphore2* m_pSem;
};
