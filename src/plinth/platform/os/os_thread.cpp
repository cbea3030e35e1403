#include "plinth/platform/os/os_thread.h"

#include "plinth/platform/os/os_critical_section.h"

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <future>
#include <system_error>

uint32_t os_this_thread::id() noexcept {
  thread_local uint32_t cached = static_cast<uint32_t>(syscall(SYS_gettid));
  return cached;
}

unsigned long os_this_thread::handle() noexcept {
  return static_cast<unsigned long>(pthread_self());
}

void os_this_thread::sleep(int milliseconds) noexcept {
  if (milliseconds <= 0) return;
  struct timespec left{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

os_thread::os_thread(void* (*start)(void*), void* argument, int, bool) {
  std::promise<uint32_t> started;
  std::future<uint32_t> id = started.get_future();
  try {
    m_Record.m_Thread = std::thread([start, argument, &started] {
      started.set_value(os_this_thread::id());
      start(argument);
    });
  } catch (const std::system_error& e) {
    throw os_thread_toolkit_error(e.code().value(), e.what());
  }
  m_Record.m_nId = id.get();
}

void os_this_thread::yield() noexcept { sched_yield(); }

os_thread::~os_thread() { join(); }

void os_thread::join() {
  if (m_Record.m_Thread.joinable()) m_Record.m_Thread.join();
}

namespace {
// As long as a lock spins before it sleeps.
constexpr int64_t kSpinNanoseconds = 20000;
}  // namespace

bool os_counting_semaphore::TryTake(unsigned n) {
  uint64_t count = m_nCount.load();
  while (count >= n)
    if (m_nCount.compare_exchange_weak(count, count - n)) return true;
  return false;
}

void os_counting_semaphore::lock(unsigned n) {
  // A taker that comes back soon after the last unit went (a reader between
  // two lines) finds the next one without sleeping, so the giver seldom
  // has a sleeper to wake.
  os_spin_budget budget(kSpinNanoseconds);
  do {
    if (TryTake(n)) return;
  } while (budget.spin());
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
