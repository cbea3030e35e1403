// A re-entrant lock: the owner may take it again. Any thread may use it.
// A thread that finds it taken spins for a short while before it sleeps,
// and leaving it wakes a sleeper only when one is there: the sections it
// guards are short (a line written, an item queued), and on machines whose
// system calls are dear a sleep and a wake-up cost more than the section.
// Nothing here fails.
#pragma once

#include <atomic>
#include <cstdint>

#include "plinth/plinth_export.h"

// Tells the processor that the caller is spinning on a word.
inline void os_cpu_relax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield" ::: "memory");
#else
  asm volatile("" ::: "memory");
#endif
}

// A spin of bounded length: spin() relaxes once and says whether the
// caller may go on spinning. The time is counted, not the rounds, because a
// pause lasts from a few cycles to well over a hundred by processor.
class PLINTH_API os_spin_budget {
public:
  explicit os_spin_budget(int64_t nanoseconds) noexcept : m_nBudget(nanoseconds) {}
  bool spin() noexcept {
    os_cpu_relax();
    // The clock is read every sixteenth round only.
    return (++m_nRounds & 15) != 0 || WithinBudget();
  }

private:
  bool WithinBudget() noexcept;

  int64_t m_nBudget;
  int64_t m_nStart = -1;
  unsigned m_nRounds = 0;
};

class PLINTH_API os_critical_section {
public:
  os_critical_section() = default;
  // The toolkit's constructor takes a flag that changes nothing here.
  explicit os_critical_section(bool) {}
  os_critical_section(const os_critical_section&) = delete;
  os_critical_section& operator=(const os_critical_section&) = delete;

  void lock() {
    const uintptr_t self = Self();
    if (m_nOwner.load(std::memory_order_relaxed) == self) {
      ++m_nDepth;
      return;
    }
    uint32_t free = kFree;
    if (!m_nState.compare_exchange_strong(free, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
      LockContended();
    m_nOwner.store(self, std::memory_order_relaxed);
    m_nDepth = 1;
  }
  void unlock() {
    if (--m_nDepth != 0) return;
    m_nOwner.store(0, std::memory_order_relaxed);
    if (m_nState.exchange(kFree, std::memory_order_release) == kSleepers) WakeOne();
  }
  bool try_lock() {
    const uintptr_t self = Self();
    if (m_nOwner.load(std::memory_order_relaxed) == self) {
      ++m_nDepth;
      return true;
    }
    uint32_t free = kFree;
    if (!m_nState.compare_exchange_strong(free, kTaken, std::memory_order_acquire, std::memory_order_relaxed))
      return false;
    m_nOwner.store(self, std::memory_order_relaxed);
    m_nDepth = 1;
    return true;
  }

private:
  // Free; taken with nobody asleep; taken, and a thread may be asleep.
  static constexpr uint32_t kFree = 0, kTaken = 1, kSleepers = 2;

  // A number that no other live thread has.
  static uintptr_t Self() noexcept;
  bool TryTake() noexcept;
  void LockContended();
  void WakeOne();

  std::atomic<uint32_t> m_nState{kFree};
  // Only the owner finds its own number here, so a relaxed read is enough
  // to tell a re-entry.
  std::atomic<uintptr_t> m_nOwner{0};
  unsigned m_nDepth = 0;  // the owner's alone
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
