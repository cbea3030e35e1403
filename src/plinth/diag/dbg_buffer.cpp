#include "plinth/diag/dbg_buffer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plinth/platform/crash_io.h"
#include "plinth/platform/local_time.h"

namespace {
constexpr unsigned kDefaultKB = 1000;
constexpr unsigned kSmallestKB = 20;
constexpr unsigned kLargestKB = ~0u / 1024;
constexpr int kFilePermissions = 0600;
const char kMarker[] = "ZLT_BUFFER_";  // 12 bytes with its zero
const char kBegin[] = "BEGIN";          // 6
const char kEnd[] = "END";              // 4
}  // namespace

unsigned DbgBuffer::SizeInBytes(unsigned sizeKB) {
  if (sizeKB == 0) sizeKB = kDefaultKB;
  if (sizeKB < kSmallestKB) sizeKB = kSmallestKB;
  if (sizeKB > kLargestKB) sizeKB = kLargestKB;
  return sizeKB * 1024;
}

int DbgBuffer::Initialize(bool enable, unsigned sizeKB) {
  // A block that is live already is given back, not leaked.
  if (IsEnabled()) Release();
  m_bEnabled.store(enable, std::memory_order_relaxed);
  if (!enable) {
    m_pBlock = m_pDataStart = m_pCursor = m_pEnd = nullptr;
    m_nSize = 0;
    m_bWrapped = false;
    return kDone;
  }
  m_nSize = SizeInBytes(sizeKB);
  return Allocate();
}

int DbgBuffer::Create() {
  if (IsEnabled() || m_nSize == 0) return kWrongState;
  m_bEnabled.store(true, std::memory_order_relaxed);
  return Allocate();
}

int DbgBuffer::Destroy() {
  if (!IsEnabled()) return kWrongState;
  Release();
  return kDone;
}

int DbgBuffer::ResetSize(unsigned sizeKB) {
  m_nSize = SizeInBytes(sizeKB);
  if (!IsEnabled()) return kDone;
  Release();
  m_bEnabled.store(true, std::memory_order_relaxed);
  return Allocate();
}

int DbgBuffer::Allocate() {
  if (!IsEnabled() || m_nSize < kMarkerSize + 1) {
    m_bEnabled.store(false, std::memory_order_relaxed);
    return kWrongState;
  }
  // Zeroed, so that a dump of a young buffer shows zero bytes behind the
  // newest text rather than old heap contents; calloc gets large blocks as
  // fresh pages without touching them.
  m_pBlock = static_cast<char*>(std::calloc(m_nSize, 1));
  if (!m_pBlock) {
    m_pDataStart = m_pCursor = m_pEnd = nullptr;
    m_bWrapped = false;
    m_bEnabled.store(false, std::memory_order_relaxed);
    return kNoMemory;
  }
  m_pDataStart = m_pCursor = m_pBlock + kHeadSize;
  m_pEnd = m_pBlock + m_nSize - kTailSize;
  std::memcpy(m_pBlock, kMarker, sizeof kMarker);
  std::memcpy(m_pBlock + sizeof kMarker, kBegin, sizeof kBegin);
  std::memcpy(m_pEnd, kMarker, sizeof kMarker);
  std::memcpy(m_pEnd + sizeof kMarker, kEnd, sizeof kEnd);
  m_bWrapped = false;
  *m_pCursor = '\0';
  m_bEnabled.store(true, std::memory_order_relaxed);
  return kDone;
}

void DbgBuffer::Release() {
  char* block = m_pBlock;
  if (block) {
    // Blank markers, so a core file taken later doesn't show a stale block
    // as a live one.
    std::memset(block, ' ', kHeadSize);
    // Found from the end pointer: ResetSize has stored the new size already.
    std::memset(m_pEnd, ' ', kTailSize);
  }
  m_bEnabled.store(false, std::memory_order_relaxed);
  m_pBlock = m_pDataStart = m_pCursor = m_pEnd = nullptr;
  m_bWrapped = false;
  std::free(block);
}

void DbgBuffer::WriteMsg(const char* text, unsigned length) {
  if (!IsEnabled()) return;
  if (length >= m_nSize - kMarkerSize) return;
  const size_t room = static_cast<size_t>(m_pEnd - m_pCursor);
  if (length >= room) {
    std::memcpy(m_pCursor, text, room);
    m_pCursor = m_pDataStart;
    m_bWrapped = true;
    text += room;
    length -= static_cast<unsigned>(room);
  }
  if (length) std::memcpy(m_pCursor, text, length);
  m_pCursor += length;
  *m_pCursor = '\0';
}

int DbgBuffer::WriteRange(int fd, const char* from, const char* to) const {
  if (to <= from) return kDone;
  return plinth::platform::raw_write(fd, from, static_cast<size_t>(to - from)) ? kDone : kWriteFailed;
}

int DbgBuffer::Print(const char* file) {
  if (!IsEnabled()) return kWrongState;
  if (!file) return kCannotOpen;
  const int fd = plinth::platform::raw_open_append(file, kFilePermissions);
  if (fd < 0) return kCannotOpen;
  int result = kDone;
  // After wrapping, the part from the cursor to the end comes first, the
  // zero byte at the cursor included.
  if (m_bWrapped) result = WriteRange(fd, m_pCursor, m_pEnd);
  if (result == kDone) result = WriteRange(fd, m_pDataStart, m_pCursor);
  if (!plinth::platform::raw_close(fd)) result = kWriteFailed;
  return result;
}

int DbgBuffer::Dump(const char* file) const {
  if (!IsEnabled()) return kWrongState;
  if (!file) return kCannotOpen;
  const int fd = plinth::platform::raw_open_append(file, kFilePermissions);
  if (fd < 0) return kCannotOpen;
  int result = WriteRange(fd, m_pDataStart, m_pEnd);
  if (!plinth::platform::raw_close(fd)) result = kWriteFailed;
  return result;
}

int DbgBuffer::Copy(const DbgBuffer& other) {
  if (&other == this) return kDone;
  if (IsEnabled()) Release();
  m_bEnabled.store(true, std::memory_order_relaxed);
  m_nSize = other.m_nSize;
  const int result = Allocate();
  if (result != kDone) return result;
  if (!other.IsEnabled()) return kDone;
  // The same text in time order, as Print gives it.
  if (other.m_bWrapped) WriteMsg(other.m_pCursor, static_cast<unsigned>(other.m_pEnd - other.m_pCursor));
  WriteMsg(other.m_pDataStart, static_cast<unsigned>(other.m_pCursor - other.m_pDataStart));
  return kDone;
}

void DbgBuffer::BuildFileName(char* buffer, const char* name, const char* path) {
  if (!buffer) return;
  _SYSTEMTIME now;
  plinth::platform::get_local_time(now);
  std::sprintf(buffer, "%s/%s_membuffer.%04d%02d%02d_%02d%02d%02d.txt", path ? path : "", name ? name : "",
               now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
}
