#include "plinth/diag/diagstacks.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "plinth/diag/line_builder.h"
#include "plinth/diag/tdiag.h"
#include "plinth/platform/crash_io.h"
#include "plinth/platform/os/os_thread.h"
#include "plinth/platform/os/os_tls.h"

using plinth::diag::LineBuilder;

std::atomic<bool> DiagStacks::m_SystemNotEnable{true};

PLINTH_DIAG_FILE();

namespace {
constexpr unsigned kPrintLevel = 4;
constexpr unsigned kFailureLevel = 2;
constexpr int kCrashFilePermissions = 0755;
const char* const kNotEnabled = " Diag Stacks system is not enabled !!!!";
const char* const kBlankLine = "           ";

// One line of a stack print: to the file only, no level test of its own.
void Say(FormatObj* object, const char* function, unsigned level, const std::string& text) {
  TDiagLine line(object, __FILE__, function, level, true, false);
  line.stream() << text;
  line.flush();
}

void SayStack(FormatObj* object, const char* function, unsigned long threadId, const DiagStackRecord& stack,
              unsigned depth) {
  Say(object, function, kPrintLevel,
      "   Stack of thread " + std::to_string(threadId) + ", depth " + std::to_string(depth));
  for (unsigned i = 0; i < depth; ++i) {
    const char* name = stack.NameAt(i);
    Say(object, function, kPrintLevel, std::string("   ") + (name ? name : "?"));
  }
  Say(object, function, kPrintLevel, kBlankLine);
}
}  // namespace

// ---- DiagStackRecord ----

DiagStackRecord::~DiagStackRecord() {
  Chunk* chunk = m_pOverflow.load(std::memory_order_relaxed);
  while (chunk) {
    Chunk* next = chunk->m_pNext.load(std::memory_order_relaxed);
    delete chunk;
    chunk = next;
  }
}

std::atomic<const char*>* DiagStackRecord::Slot(unsigned index, bool grow) noexcept {
  if (index < kInlineDepth) return &m_aNames[index];
  index -= kInlineDepth;
  std::atomic<Chunk*>* link = &m_pOverflow;
  for (;;) {
    Chunk* chunk = link->load(std::memory_order_acquire);
    if (!chunk) {
      if (!grow) return nullptr;
      chunk = new (std::nothrow) Chunk;
      if (!chunk) return nullptr;
      link->store(chunk, std::memory_order_release);
    }
    if (index < kChunkDepth) return &chunk->m_aNames[index];
    index -= kChunkDepth;
    link = &chunk->m_pNext;
  }
}

void DiagStackRecord::Push(const char* name) noexcept {
  const unsigned depth = m_nDepth.load(std::memory_order_relaxed);
  if (std::atomic<const char*>* slot = Slot(depth, true)) slot->store(name, std::memory_order_relaxed);
  // Published after the name, so a reader that sees the depth sees the name.
  m_nDepth.store(depth + 1, std::memory_order_release);
}

void DiagStackRecord::Pop() noexcept {
  const unsigned depth = m_nDepth.load(std::memory_order_relaxed);
  if (depth > 0) m_nDepth.store(depth - 1, std::memory_order_release);
}

const char* DiagStackRecord::NameAt(unsigned index) const noexcept {
  auto* slot = const_cast<DiagStackRecord*>(this)->Slot(index, false);
  return slot ? slot->load(std::memory_order_relaxed) : nullptr;
}

// ---- DiagStacks ----

DiagStacks::DiagStacks() { m_GateEvent.post(); }

DiagStacks::~DiagStacks() {
  // No thread may find an object of ours from here on.
  m_SystemNotEnable.store(true, std::memory_order_relaxed);
  os_tls::free(m_nSlot.exchange(-1));
  for (auto& [id, object] : m_mThreads) {
    delete object->m_pFormatObj;
    delete object;
  }
  m_mThreads.clear();
  DiagStackRecord* record = m_pRecords.exchange(nullptr);
  while (record) {
    DiagStackRecord* next = record->m_pNext.load(std::memory_order_relaxed);
    delete record;
    record = next;
  }
}

bool DiagStacks::Enable() {
  if (!m_SystemNotEnable.load(std::memory_order_relaxed)) return true;
  // A slot given up by DisableStacks stays allocated: objects of running
  // threads still sit in it and are released when those threads end.
  const long slot = os_tls::alloc(&DiagStacks::ThreadExitHook);
  if (slot == -1) return false;
  m_nSlot.store(slot, std::memory_order_relaxed);
  m_SystemNotEnable.store(false, std::memory_order_relaxed);
  return true;
}

void DiagStacks::HoldTheSystem() {
  // Held until ReleaseTheSystem, on the same thread.
  m_HoldSerial.lock();
  m_GateEvent.reset();
  m_bGateOpen.store(false, std::memory_order_release);
  // Give threads that passed the gate just before it closed time to finish.
  os_this_thread::sleep(5);
  m_bWriteLockHeld = false;
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (m_Lock.try_write_lock()) {
      m_bWriteLockHeld = true;
      break;
    }
    os_this_thread::sleep(1);
  }
}

void DiagStacks::ReleaseTheSystem() {
  if (m_bWriteLockHeld) {
    m_Lock.write_unlock();
    m_bWriteLockHeld = false;
  }
  m_bGateOpen.store(true, std::memory_order_release);
  m_GateEvent.post();
  m_HoldSerial.unlock();
}

DiagTlsObj* DiagStacks::GetThreadTlsObj() {
  if (m_SystemNotEnable.load(std::memory_order_relaxed)) return nullptr;
  StartUsingTheSystem();
  return static_cast<DiagTlsObj*>(os_tls::get(m_nSlot.load(std::memory_order_relaxed)));
}

DiagTlsObj* DiagStacks::GetOrCreateThreadTlsObj() {
  if (m_SystemNotEnable.load(std::memory_order_relaxed)) return nullptr;
  StartUsingTheSystem();
  auto* object = static_cast<DiagTlsObj*>(os_tls::get(m_nSlot.load(std::memory_order_relaxed)));
  return object ? object : ThreadFirstTime();
}

DiagTlsObj* DiagStacks::EnterFunction(const char* name) {
  DiagTlsObj* object = GetOrCreateThreadTlsObj();
  if (object && m_bRecording.load(std::memory_order_relaxed)) object->m_pStack->Push(name);
  return object;
}

void DiagStacks::LeaveFunction(DiagTlsObj* object) {
  if (m_SystemNotEnable.load(std::memory_order_relaxed) || !object ||
      !m_bRecording.load(std::memory_order_relaxed))
    return;
  StartUsingTheSystem();
  object->m_pStack->Pop();
}

DiagStackRecord* DiagStacks::AcquireRecord(unsigned long threadId) {
  for (DiagStackRecord* r = m_pRecords.load(std::memory_order_acquire); r;
       r = r->m_pNext.load(std::memory_order_acquire)) {
    bool expected = false;
    if (r->m_bInUse.compare_exchange_strong(expected, true, std::memory_order_acq_rel)) {
      r->m_nThreadId.store(threadId, std::memory_order_relaxed);
      return r;
    }
  }
  auto* record = new (std::nothrow) DiagStackRecord;
  if (!record) return nullptr;
  record->m_nThreadId.store(threadId, std::memory_order_relaxed);
  record->m_bInUse.store(true, std::memory_order_relaxed);
  DiagStackRecord* head = m_pRecords.load(std::memory_order_relaxed);
  do {
    record->m_pNext.store(head, std::memory_order_relaxed);
  } while (!m_pRecords.compare_exchange_weak(head, record, std::memory_order_release, std::memory_order_relaxed));
  return record;
}

DiagTlsObj* DiagStacks::ThreadFirstTime() {
  const unsigned long threadId = os_this_thread::id();
  DiagStackRecord* record = AcquireRecord(threadId);
  if (!record) return nullptr;
  auto* object = new (std::nothrow) DiagTlsObj;
  FormatObj* format = object ? new (std::nothrow) FormatObj : nullptr;
  if (!format || !os_tls::set(m_nSlot.load(std::memory_order_relaxed), object)) {
    delete format;
    delete object;
    record->m_nThreadId.store(0, std::memory_order_relaxed);
    record->m_bInUse.store(false, std::memory_order_release);
    return nullptr;
  }
  object->m_hThread = os_this_thread::handle();
  object->m_pStack = record;
  object->m_pFormatObj = format;
  // An entry from a slot given up earlier gives way; that object is still
  // released when its thread ends.
  WriteLock();
  m_mThreads[threadId] = object;
  WriteUnlock();
  return object;
}

void DiagStacks::ReleaseObject(DiagTlsObj* object) {
  delete object->m_pFormatObj;
  if (DiagStackRecord* record = object->m_pStack) {
    while (record->Depth() > 0) record->Pop();
    record->m_nThreadId.store(0, std::memory_order_relaxed);
    record->m_bInUse.store(false, std::memory_order_release);
  }
  delete object;
}

void DiagStacks::RemoveThisThread(void* object) {
  DiagTlsObj* own = nullptr;
  const long slot = m_nSlot.load(std::memory_order_relaxed);
  if (slot != -1) {
    own = static_cast<DiagTlsObj*>(os_tls::get(slot));
    if (own) os_tls::set(slot, nullptr);
  }
  // Out of the map before anything is freed, so a walk under the write lock
  // never meets a released object.
  WriteLock();
  m_mThreads.erase(os_this_thread::id());
  WriteUnlock();
  if (object) ReleaseObject(static_cast<DiagTlsObj*>(object));
  if (own && own != object) ReleaseObject(own);
}

void DiagStacks::ThreadExitHook(void* value) {
  if (!TDiag::IsAlive()) return;
  if (TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_relaxed)) diag->RemoveThisThread(value);
}

// ---- printing ----

void DiagStacks::Print() {
  PLINTH_DIAG_FUNC("DiagStacks::Print");
  const TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_relaxed);
  if (!TDiag::IsInitialized() || !diag || !diag->m_bEnabled.load(std::memory_order_relaxed)) return;
  FormatObj* out = plinth_diag_func_.GetThreadFormatObj();
  const char* function = plinth_diag_func_.m_pFunction;
  if (m_SystemNotEnable.load(std::memory_order_relaxed)) {
    Say(out, function, kPrintLevel, kNotEnabled);
    return;
  }
  HoldTheSystem();
  try {
    Say(out, function, kPrintLevel,
        "   *** Stacks of threads *** (current thread is " + std::to_string(os_this_thread::id()) + ")");
    // The records, not the map: they are never freed, so a thread that ends
    // during the walk can't pull memory out from under it, with or without
    // the write lock.
    std::vector<std::pair<unsigned long, const DiagStackRecord*>> stacks;
    for (const DiagStackRecord* r = m_pRecords.load(std::memory_order_acquire); r;
         r = r->m_pNext.load(std::memory_order_acquire))
      if (r->m_bInUse.load(std::memory_order_acquire))
        stacks.emplace_back(r->m_nThreadId.load(std::memory_order_relaxed), r);
    std::sort(stacks.begin(), stacks.end());
    for (const auto& [threadId, stack] : stacks) {
      try {
        const unsigned depth = stack->Depth();
        if (depth > 0) SayStack(out, function, threadId, *stack, depth);
      } catch (const std::exception&) {
        Say(out, function, kFailureLevel, "  Failure while accessing Stack of thread " + std::to_string(threadId));
      }
    }
  } catch (...) {
    // The gate must open again whatever went wrong.
    Say(out, function, kFailureLevel, " ------- Failure while accessing DiagStacks ------");
  }
  ReleaseTheSystem();
}

void DiagStacks::PrintStack() {
  TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_relaxed);
  if (!diag) return;
  const char* function = "DiagStacks::PrintStack";
  FormatObj* out = diag->GetFormatObj();
  if (m_SystemNotEnable.load(std::memory_order_relaxed)) {
    Say(out, function, kFailureLevel, kNotEnabled);
    return;
  }
  const unsigned long threadId = os_this_thread::id();
  try {
    auto* object = static_cast<DiagTlsObj*>(os_tls::get(m_nSlot.load(std::memory_order_relaxed)));
    if (!object || !object->m_pStack) return;
    const unsigned depth = object->m_pStack->Depth();
    if (depth > 0) SayStack(out, function, threadId, *object->m_pStack, depth);
  } catch (const std::exception&) {
    Say(out, function, kFailureLevel, "  Failure while accessing Stack of thread " + std::to_string(threadId));
  }
}

void DiagStacks::PrintAsyncSigalSafe(int64_t time, const char* header) const {
  using namespace plinth::platform;
  if (m_SystemNotEnable.load(std::memory_order_relaxed)) return;
  const TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_relaxed);
  if (!diag) return;
  char name[1024];
  name[0] = '\0';
  diag->BuildFileName4TypeSafe("_diagstacks", time, name, sizeof name);
  int fd = name[0] ? raw_open_append(name, kCrashFilePermissions) : -1;
  if (fd < 0) fd = 2;

  char buffer[256];
  LineBuilder heading(buffer, sizeof buffer - 1);
  heading.Text("\n   *** Stacks of threads *** (current thread is ");
  heading.Unsigned(plinth::platform::raw_thread_id());
  heading.Text(")\n");
  if ((header && !raw_write(fd, header)) || !raw_write(fd, buffer, heading.size())) {
    raw_perror("DiagStacks::PrintAsyncSigalSafe failed to write to file");
    if (fd != 2) raw_close(fd);
    return;
  }

  // Threads in id order without allocating: each round picks the smallest
  // (id, record) pair above the one printed last.
  unsigned long lastId = 0;
  const DiagStackRecord* lastRecord = nullptr;
  for (;;) {
    const DiagStackRecord* next = nullptr;
    unsigned long nextId = 0;
    for (const DiagStackRecord* r = m_pRecords.load(std::memory_order_acquire); r;
         r = r->m_pNext.load(std::memory_order_acquire)) {
      if (!r->m_bInUse.load(std::memory_order_acquire)) continue;
      const unsigned long id = r->m_nThreadId.load(std::memory_order_relaxed);
      const bool afterLast = lastRecord == nullptr || id > lastId || (id == lastId && r > lastRecord);
      const bool beforeNext = next == nullptr || id < nextId || (id == nextId && r < next);
      if (afterLast && beforeNext) {
        next = r;
        nextId = id;
      }
    }
    if (!next) break;
    lastId = nextId;
    lastRecord = next;
    const unsigned depth = next->Depth();
    if (depth == 0) continue;
    LineBuilder line(buffer, sizeof buffer - 1);
    line.Text("   Stack of thread=");
    line.Unsigned(nextId);
    line.Text(", depth=");
    line.Unsigned(depth);
    line.Char('\n');
    raw_write(fd, buffer, line.size());
    for (unsigned i = 0; i < depth; ++i) {
      LineBuilder entry(buffer, sizeof buffer - 2);
      entry.Text("   ");
      const char* function = next->NameAt(i);
      entry.Text(function ? function : "?");
      buffer[entry.size()] = '\n';
      raw_write(fd, buffer, entry.size() + 1);
    }
    raw_write(fd, "           \n");
  }
  if (fd != 2) raw_close(fd);
}
