// The small value types of the diagnostics: a source file's pair of levels,
// the description of one line, and the object in which a line is composed.
// DbgLevels words are read and written from any thread without a lock (as
// relaxed atomics); a FormatObj is used only under its own lock. Nothing
// here reports failures.
#pragma once

#include <atomic>
#include <sstream>
#include <string>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_critical_section.h"

// One static pair for each source file. The engine keeps a pointer to it and
// may change it at any time, so every access goes through DbgLevelLoad and
// DbgLevelStore. Levels run from 0 to 7.
struct PLINTH_API DbgLevels {
  unsigned m_nDebugLevel = 0;
  unsigned m_nBufferLevel = 0;
};

inline unsigned DbgLevelLoad(const unsigned& word) noexcept {
  return std::atomic_ref<unsigned>(const_cast<unsigned&>(word)).load(std::memory_order_relaxed);
}
inline void DbgLevelStore(unsigned& word, unsigned value) noexcept {
  std::atomic_ref<unsigned>(word).store(value, std::memory_order_relaxed);
}

// One line: where it comes from, its level, and where it goes.
struct PLINTH_API DiagLocalData {
  const char* m_pFile;      // as the compiler gives it; not owned
  const char* m_pFunction;  // not owned
  unsigned m_nLevel;
  int m_nContext;  // -1 for none; only the viewer sees it
  bool m_bToLog;
  bool m_bToBuffer;
};

class PLINTH_API FormatObj {
public:
  FormatObj() = default;
  FormatObj(const FormatObj&) = delete;
  FormatObj& operator=(const FormatObj&) = delete;

  void SetLocalData(const char* file, const char* function, unsigned level, int context, bool toLog,
                    bool toBuffer) {
    m_LocalData = DiagLocalData{file, function, level, context, toLog, toBuffer};
  }
  // Empties the stream but keeps its storage, so the next line needn't allocate.
  void Clear() {
    std::string text = std::move(m_Stream).str();
    text.clear();
    m_Stream.str(std::move(text));
  }
  void LockFormatObject() { m_CritSect.lock(); }
  void UnlockFormatObject() { m_CritSect.unlock(); }

  os_critical_section m_CritSect;
  std::ostringstream m_Stream;
  DiagLocalData m_LocalData{"Undefined", "Undefined", 0, -1, true, false};
};
