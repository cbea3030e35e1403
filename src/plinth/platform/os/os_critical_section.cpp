#include "plinth/platform/os/os_critical_section.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>

namespace {
// About 10 to 40 microseconds of spinning: the time of a write(2) of one
// line on a slow machine, the longest section these locks guard.
constexpr int kSpinRounds = 4000;
// Then a few turns of the scheduler, which let the owner run on a machine
// with more threads than cores.
constexpr int kYieldRounds = 4;

void FutexWait(std::atomic<uint32_t>& word, uint32_t expected) {
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0);
}
}  // namespace

uintptr_t os_critical_section::Self() noexcept { return static_cast<uintptr_t>(pthread_self()); }

void os_critical_section::LockContended() {
  for (int round = 0; round < kSpinRounds + kYieldRounds; ++round) {
    // A thread that takes the lock here, past sleepers, marks it taken
    // only: a sleeper that wakes and finds it taken marks it again.
    uint32_t state = m_nState.load(std::memory_order_relaxed);
    if (state == kFree &&
        m_nState.compare_exchange_weak(state, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
      return;
    if (round < kSpinRounds)
      os_cpu_relax();
    else
      sched_yield();
  }
  // From here on the thread counts as a sleeper, also once it holds the
  // lock: its unlock then wakes the next one, which may be asleep.
  while (m_nState.exchange(kSleepers, std::memory_order_acquire) != kFree) FutexWait(m_nState, kSleepers);
}

void os_critical_section::WakeOne() {
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&m_nState), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}
