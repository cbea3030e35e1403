// Per-thread objects of the diagnostics and the call chains that scopes
// record in them. Each thread writes only its own chain; Print reads all of
// them behind a gate, and PrintAsyncSigalSafe reads them from a crash path
// with no lock at all. Failures are lines in the diagnostic file (or, on the
// crash path, standard error); nothing throws.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_event_semaphore.h"
#include "plinth/platform/os/os_read_write_semaphore.h"

class FormatObj;

// The names a thread has entered, outermost first. Entries never move and
// are never freed while the DiagStacks lives: a reader on a crash path may
// meet a half-finished push or a thread that has just ended, and must never
// follow a pointer into freed memory. A record whose thread ended goes back
// to a free list and serves the next new thread.
class PLINTH_API DiagStackRecord {
public:
  static constexpr unsigned kInlineDepth = 50;
  static constexpr unsigned kChunkDepth = 64;

  DiagStackRecord() = default;
  ~DiagStackRecord();
  DiagStackRecord(const DiagStackRecord&) = delete;
  DiagStackRecord& operator=(const DiagStackRecord&) = delete;

  // Owner thread only. A push that can't get memory for a deeper chunk is
  // counted but shows as "?", so pops stay paired with pushes.
  void Push(const char* name) noexcept;
  void Pop() noexcept;
  unsigned Depth() const noexcept { return m_nDepth.load(std::memory_order_acquire); }
  // Any thread: the name at a depth below Depth(), null if it can't be read.
  const char* NameAt(unsigned index) const noexcept;

  std::atomic<unsigned long> m_nThreadId{0};
  std::atomic<bool> m_bInUse{false};
  std::atomic<DiagStackRecord*> m_pNext{nullptr};  // the DiagStacks' list of all records

private:
  struct Chunk {
    std::atomic<const char*> m_aNames[kChunkDepth] = {};
    std::atomic<Chunk*> m_pNext{nullptr};
  };
  std::atomic<const char*>* Slot(unsigned index, bool grow) noexcept;

  std::atomic<unsigned> m_nDepth{0};
  std::atomic<const char*> m_aNames[kInlineDepth] = {};
  std::atomic<Chunk*> m_pOverflow{nullptr};
};

// One for each thread that has entered a scope: its call chain and its own
// FormatObj, so that threads don't queue for a stream.
struct PLINTH_API DiagTlsObj {
  unsigned long m_hThread = 0;  // the thread's handle at creation; kept, not used
  DiagStackRecord* m_pStack = nullptr;  // borrowed from the DiagStacks' records
  FormatObj* m_pFormatObj = nullptr;    // owned
};

class PLINTH_API DiagStacks {
public:
  DiagStacks();
  virtual ~DiagStacks();
  DiagStacks(const DiagStacks&) = delete;
  DiagStacks& operator=(const DiagStacks&) = delete;

  bool Enable();
  void Disable() { m_SystemNotEnable.store(true, std::memory_order_relaxed); }
  bool IsEnabled() const { return !m_SystemNotEnable.load(std::memory_order_relaxed); }
  void handleStacks(bool on) { m_bRecording.store(on, std::memory_order_relaxed); }
  bool IsRecording() const { return m_bRecording.load(std::memory_order_relaxed); }

  void HoldTheSystem();
  void ReleaseTheSystem();
  void StartUsingTheSystem() {
    if (!m_bGateOpen.load(std::memory_order_acquire)) m_GateEvent.wait();
  }
  void FinishUsingTheSystem() {}
  void WriteLock() { m_Lock.write_lock(); }
  void WriteUnlock() { m_Lock.write_unlock(); }

  DiagTlsObj* GetThreadTlsObj();
  DiagTlsObj* EnterFunction(const char* name);
  void LeaveFunction(DiagTlsObj* object);
  // The calling thread's object, created on its first call; null while
  // thread objects are off. Passes the gate.
  DiagTlsObj* GetOrCreateThreadTlsObj();

  void Print();
  void PrintStack();
  void PrintAsyncSigalSafe(int64_t time, const char* header) const;
  void RemoveThisThread(void* object);

  // While set there are no thread objects and every line uses the pool.
  static std::atomic<bool> m_SystemNotEnable;

  std::map<unsigned long, DiagTlsObj*> m_mThreads;  // guarded by m_Lock
  os_read_write_semaphore m_Lock;
  os_event_semaphore m_GateEvent{0};
  std::atomic<bool> m_bGateOpen{true};
  bool m_bWriteLockHeld = false;  // touched only by the one holder
  std::atomic<bool> m_bRecording{false};
  std::atomic<long> m_nSlot{-1};

private:
  DiagTlsObj* ThreadFirstTime();

  // One holder at a time: two would share the gate and the write-lock
  // flag, and the second could leave the map locked for good.
  std::mutex m_HoldSerial;
  DiagStackRecord* AcquireRecord(unsigned long threadId);
  void ReleaseObject(DiagTlsObj* object);
  static void ThreadExitHook(void* value);

  // Every record ever made, newest first; only prepended to, freed at the end.
  std::atomic<DiagStackRecord*> m_pRecords{nullptr};
};
