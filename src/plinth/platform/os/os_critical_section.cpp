#include "plinth/platform/os/os_critical_section.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace {
// Several times a write(2) of one line on a machine whose system calls are
// dear, the longest section these locks guard.
constexpr int64_t kSpinNanoseconds = 20000;
// Then a few turns of the scheduler, which let the owner run on a machine
// with more threads than cores.
constexpr int kYieldRounds = 4;

int64_t MonotonicNanoseconds() noexcept {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

void FutexWait(std::atomic<uint32_t>& word, uint32_t expected) {
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0);
}
}  // namespace

uintptr_t os_critical_section::Self() noexcept { return static_cast<uintptr_t>(pthread_self()); }

bool os_spin_budget::WithinBudget() noexcept {
  const int64_t now = MonotonicNanoseconds();
  if (m_nStart < 0) m_nStart = now;
  return now - m_nStart < m_nBudget;
}

bool os_critical_section::TryTake() noexcept {
  // A thread that takes the lock here, past sleepers, marks it taken only:
  // a sleeper that wakes and finds it taken marks it again.
  uint32_t state = m_nState.load(std::memory_order_relaxed);
  return state == kFree &&
         m_nState.compare_exchange_strong(state, kTaken, std::memory_order_acquire, std::memory_order_relaxed);
}

void os_critical_section::LockContended() {
  os_spin_budget budget(kSpinNanoseconds);
  do {
    if (TryTake()) return;
  } while (budget.spin());
  for (int round = 0; round < kYieldRounds; ++round) {
    sched_yield();
    if (TryTake()) return;
  }
  // From here on the thread counts as a sleeper, also once it holds the
  // lock: its unlock then wakes the next one, which may be asleep.
  while (m_nState.exchange(kSleepers, std::memory_order_acquire) != kFree) FutexWait(m_nState, kSleepers);
}

void os_critical_section::WakeOne() {
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&m_nState), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}
