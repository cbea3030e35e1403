// The engine's side of the memory buffer: creating, resizing and destroying
// it at run time, and printing or dumping it to a file.
#include "plinth/diag/tdiag.h"

int TDiag::InitializeBuffer() {
  // Cheap, and keeps a line that slips in early from meeting a half-made block.
  os_lock_guard guard(m_CritSect);
  return m_MemBuffer.Initialize(m_bBufferWanted.load(std::memory_order_relaxed), m_nBufferSizeKB);
}

int TDiag::CreateBuffer() {
  os_lock_guard guard(m_CritSect);
  const int result = m_MemBuffer.Create();
  if (result == DbgBuffer::kDone) m_bBufferWanted.store(true, std::memory_order_relaxed);
  return result;
}

int TDiag::ResetBufferSize(unsigned sizeKB) {
  os_lock_guard guard(m_CritSect);
  const int result = m_MemBuffer.ResetSize(sizeKB);
  m_nBufferSizeKB = sizeKB;
  // A block that couldn't be had is off, and no longer wanted.
  if (result == DbgBuffer::kNoMemory) m_bBufferWanted.store(false, std::memory_order_relaxed);
  return result;
}

int TDiag::DestroyBuffer() {
  os_lock_guard guard(m_CritSect);
  const int result = m_MemBuffer.Destroy();
  if (result == DbgBuffer::kDone) m_bBufferWanted.store(false, std::memory_order_relaxed);
  return result;
}

int TDiag::PrintBuffer(const char* file) {
  os_lock_guard guard(m_CritSect);
  return m_MemBuffer.Print(file);
}

int TDiag::QuickPrintBuffer(const char* file) {
  if (!IsBufferEnabled()) return DbgBuffer::kWrongState;
  DbgBuffer copy;
  int result;
  {
    os_lock_guard guard(m_CritSect);
    result = copy.Copy(m_MemBuffer);
  }
  if (result != DbgBuffer::kDone) {
    copy.Destroy();
    return result;
  }
  result = copy.Print(file);
  copy.Destroy();
  return result;
}

int TDiag::DumpBuffer(const char* file) {
  if (file) return m_MemBuffer.Dump(file);
  std::string name;
  GetFileName4Buffer(name);
  return m_MemBuffer.Dump(name.c_str());
}

int TDiag::DumpBufferSafe(int64_t time) {
  char name[1024];
  name[0] = '\0';
  BuildFileName4TypeSafe("_membuffer", time, name, sizeof name);
  return m_MemBuffer.Dump(name);
}
