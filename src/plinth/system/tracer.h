// The library's own lowest-level trace, driven by the PT_TRACE_* environment
// variables. Any thread may trace; lines of different threads never mix.
// Tracing never reports a failure: a trace file that cannot be opened is
// simply not written.
#pragma once

#include <atomic>
#include <iosfwd>
#include <sstream>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_critical_section.h"
#include "plinth/platform/os/os_stream.h"

class PLINTH_API Tracer {
public:
  // Read on every trace point without a lock.
  static std::atomic<bool> TraceEnabled;
  static std::atomic<int> TraceLevel;

  // Creates the singleton on the first call (reading the environment) and
  // registers its deletion for process exit. The first call is not guarded
  // against a race: make it from one thread.
  static Tracer* getInstance();

  ~Tracer();
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  // Writes one line; does not filter by level (the trace point did).
  void trace(int level, const char* message, const char* file, int line);
  void trace(int level, const std::stringstream& message, const char* file, int line);

  bool is_stdout() const { return m_bStdout; }
  void set_stdout(bool on) { m_bStdout = on; }
  bool is_verbose() const { return m_bVerbose; }
  void set_verbose(bool on) { m_bVerbose = on; }

private:
  Tracer();
  void trace_helper(std::ostream& out, const char* time, int level, const char* message,
                    const char* file, int line);

  os_critical_section m_CritSect;
  os_ofstream m_File;  // close-on-exec
  std::atomic<bool> m_bVerbose{false};
  std::atomic<bool> m_bStdout{false};
};

// A trace point: two relaxed loads when tracing is off; the message is built
// only when it will be written. PLINTH_TRACE_AS names the source as given
// (a class name, say) instead of the file.
#define PLINTH_TRACE_AS(source, level, message_expr)                                   \
  do {                                                                                 \
    if (::Tracer::TraceEnabled.load(std::memory_order_relaxed) &&                      \
        ::Tracer::TraceLevel.load(std::memory_order_relaxed) >= (level)) {             \
      std::stringstream plinth_trace_text_;                                            \
      plinth_trace_text_ << message_expr;                                              \
      ::Tracer::getInstance()->trace((level), plinth_trace_text_, (source), __LINE__); \
    }                                                                                  \
  } while (0)

#define PLINTH_TRACE(level, message_expr) PLINTH_TRACE_AS(__FILE__, level, message_expr)
