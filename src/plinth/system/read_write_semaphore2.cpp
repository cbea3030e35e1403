#include "plinth/system/read_write_semaphore2.h"

#include <algorithm>
#include <mutex>
#include <ostream>

#include "plinth/system/thread_id.h"

namespace {
// The state lock for one step.
using state_guard = std::lock_guard<os_condition_mutex>;
}  // namespace

read_write_semaphore2::read_write_semaphore2(bool writersPreferred)
    : m_StateLock(false), m_WriterMutex(false), m_Condition(m_StateLock),
      m_bWritersPreferred(writersPreferred) {
  m_vReaders.reserve(10);
}

read_write_semaphore2::~read_write_semaphore2() = default;

void read_write_semaphore2::read_lock() const {
  const unsigned long tid = get_current_tid();
  state_guard state(m_StateLock);
  for (;;) {
    if (m_nWriteLocks != 0) {
      // Only the writer itself gets the re-entrant mutex while it is held.
      if (m_WriterMutex.try_lock()) {
        m_WriterMutex.unlock();
        break;
      }
      m_Condition.wait();
      continue;
    }
    if (m_bWritersPreferred && m_nWriteRequests != 0) {
      m_Condition.wait();
      continue;
    }
    break;
  }
  ++m_nReadLocks;
  m_vReaders.push_back(tid);
}

void read_write_semaphore2::read_unlock() const {
  const unsigned long tid = get_current_tid();
  state_guard state(m_StateLock);
  const auto entry = std::find(m_vReaders.begin(), m_vReaders.end(), tid);
  if (entry == m_vReaders.end()) return;  // not a reader: nothing to give back
  m_vReaders.erase(entry);
  --m_nReadLocks;
  if (m_nWriteLocks == 0) m_Condition.signal_all();
}

bool read_write_semaphore2::try_read_lock() const {
  const unsigned long tid = get_current_tid();
  state_guard state(m_StateLock);
  if (m_nWriteLocks == 0 && m_bWritersPreferred && m_nWriteRequests != 0) return false;
  if (m_nWriteLocks != 0) {
    if (!m_WriterMutex.try_lock()) return false;
    m_WriterMutex.unlock();
  }
  ++m_nReadLocks;
  m_vReaders.push_back(tid);
  return true;
}

void read_write_semaphore2::write_lock() {
  {
    state_guard state(m_StateLock);
    ++m_nWriteRequests;
  }
  // Writers queue here, outside the state lock; a recursive call passes.
  m_WriterMutex.lock();
  state_guard state(m_StateLock);
  while (m_nWriteLocks == 0 && m_nReadLocks != 0 && multiple_read_lock_owners())
    m_Condition.wait();
  ++m_nWriteLocks;
  --m_nWriteRequests;
}

void read_write_semaphore2::write_unlock() {
  state_guard state(m_StateLock);
  if (m_nWriteLocks-- == 1) m_Condition.signal_all();
  m_WriterMutex.unlock();
}

bool read_write_semaphore2::try_write_lock() {
  if (!m_WriterMutex.try_lock()) return false;
  state_guard state(m_StateLock);
  if (m_nWriteLocks == 0 && m_nReadLocks != 0 && multiple_read_lock_owners()) {
    m_WriterMutex.unlock();
    return false;
  }
  ++m_nWriteLocks;
  return true;
}

void read_write_semaphore2::print(std::ostream& out) const {
  state_guard state(m_StateLock);
  out << "read_write_semaphore2( writers prefered: " << (m_bWritersPreferred ? 1 : 0)
      << ", read locks: " << m_nReadLocks << ", write requests: " << m_nWriteRequests
      << ", write locks: " << m_nWriteLocks << " )";
}

bool read_write_semaphore2::multiple_read_lock_owners() const {
  const unsigned long tid = get_current_tid();
  return std::any_of(m_vReaders.begin(), m_vReaders.end(),
                     [tid](unsigned long reader) { return reader != tid; });
}

unsigned long read_write_semaphore2::get_current_tid() const { return GetThisThreadID(); }
