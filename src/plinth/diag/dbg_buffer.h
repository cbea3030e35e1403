// The diagnostics' memory buffer: a fixed block that keeps the most recent
// diagnostic text, overwriting the oldest, between two text markers so that
// it can be found in a core file.
//
// Threads: the block has no lock of its own; TDiag writes, prints, copies and
// resizes it under its engine lock. IsEnabled may be read from any thread.
// Dump takes no lock and allocates nothing, so a crash path may call it.
// Failures are result codes (see the constants below); nothing throws.
#pragma once

#include "plinth/plinth_export.h"

#include <atomic>
#include <cstddef>

// The block as a whole, for callers that want to look at it; it starts with
// the "ZLT_BUFFER_" and "BEGIN" markers.
struct MemoryBuffer;

class PLINTH_API DbgBuffer {
public:
  // Result codes of the buffer operations.
  static constexpr int kDone = 1;
  static constexpr int kWriteFailed = 0;
  static constexpr int kNoMemory = 3;
  static constexpr int kWrongState = 13;
  static constexpr int kCannotOpen = 42;

  // Block layout: markers before and after the text area.
  static constexpr unsigned kHeadSize = 18;  // "ZLT_BUFFER_\0" "BEGIN\0"
  static constexpr unsigned kTailSize = 16;  // "ZLT_BUFFER_\0" "END\0"
  static constexpr unsigned kMarkerSize = kHeadSize + kTailSize;

  // Bytes of a block asked for in kilobytes: 0 means 1,000, fewer than 20
  // means 20. A size whose bytes don't fit an unsigned is held at the
  // largest that does.
  static unsigned SizeInBytes(unsigned sizeKB);

  DbgBuffer() = default;
  ~DbgBuffer() { Destroy(); }
  DbgBuffer(const DbgBuffer&) = delete;

  int Initialize(bool enable, unsigned sizeKB);
  int Create();
  int Destroy();
  int ResetSize(unsigned sizeKB);
  bool IsEnabled() const { return m_bEnabled.load(std::memory_order_relaxed); }

  void WriteMsg(const char* text, unsigned length);
  // The text in time order, appended to the file.
  int Print(const char* file);
  // The whole text area as it stands in memory, appended to the file. No
  // lock, no allocation.
  int Dump(const char* file) const;

  unsigned GetSize() const { return m_nSize; }
  MemoryBuffer* GetMemBuffer() { return reinterpret_cast<MemoryBuffer*>(m_pBlock); }
  int Copy(const DbgBuffer& other);
  void operator=(const DbgBuffer& other) { Copy(other); }
  // "<path>/<name>_membuffer.YYYYMMDD_HHMMSS.txt" in local time; the caller's
  // buffer must hold the path, the name and 31 more bytes.
  void BuildFileName(char* buffer, const char* name, const char* path);

  char* m_pBlock = nullptr;
  char* m_pDataStart = nullptr;
  char* m_pCursor = nullptr;  // the byte here is always zero
  char* m_pEnd = nullptr;     // one past the text area
  unsigned m_nSize = 0;       // bytes of the block; kept while the block is gone
  bool m_bWrapped = false;
  // Read without a lock by every level test.
  std::atomic<bool> m_bEnabled{false};

private:
  int Allocate();
  void Release();
  int WriteRange(int fd, const char* from, const char* to) const;
};
