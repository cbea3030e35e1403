#include "plinth/platform/os/os_thread.h"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

uint32_t os_this_thread::id() noexcept {
  thread_local uint32_t cached = static_cast<uint32_t>(syscall(SYS_gettid));
  return cached;
}

void os_this_thread::yield() noexcept { sched_yield(); }

os_thread::os_thread(start_routine routine, void* arg, int, bool) {
  const int rc = pthread_create(&m_Thread, nullptr, routine, arg);
  if (rc != 0) {
    m_bJoined = true;  // nothing to join
    throw os_thread_toolkit_error(rc, std::string("cannot start a thread: ") + std::strerror(rc));
  }
}

os_thread::~os_thread() { join(); }

void os_thread::join() {
  if (m_bJoined) return;
  m_bJoined = true;
  pthread_join(m_Thread, nullptr);
}

bool os_counting_semaphore::TryTake(unsigned n) {
  uint64_t count = m_nCount.load();
  while (count >= n)
    if (m_nCount.compare_exchange_weak(count, count - n)) return true;
  return false;
}

void os_counting_semaphore::lock(unsigned n) {
  if (TryTake(n)) return;
  std::unique_lock<std::mutex> guard(m_Mutex);
  // Counted before the count is looked at again: a giver that adds after
  // that look sees the waiter and wakes it (both sides are sequentially
  // consistent).
  m_nWaiters.fetch_add(1);
  m_Cond.wait(guard, [&] { return TryTake(n); });
  m_nWaiters.fetch_sub(1);
}

void os_counting_semaphore::unlock(unsigned n) {
  m_nCount.fetch_add(n);
  if (m_nWaiters.load() == 0) return;
  std::lock_guard<std::mutex> guard(m_Mutex);
  // Several waiters may each want fewer units than were given back.
  if (n == 1)
    m_Cond.notify_one();
  else
    m_Cond.notify_all();
}
