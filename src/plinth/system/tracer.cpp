#include "plinth/system/tracer.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

#include "plinth/platform/os/os_thread.h"
#include "plinth/platform/os/os_time.h"
#include "plinth/platform/numbers.h"

std::atomic<bool> Tracer::TraceEnabled{false};
std::atomic<int> Tracer::TraceLevel{1};

namespace {
std::atomic<Tracer*> g_tracer{nullptr};

void delete_tracer() {
  // Trace points that run later in the exit sequence must not reach a freed
  // object: switch them off before freeing.
  Tracer::TraceEnabled.store(false, std::memory_order_relaxed);
  delete g_tracer.exchange(nullptr);
}
}  // namespace

Tracer* Tracer::getInstance() {
  Tracer* t = g_tracer.load(std::memory_order_acquire);
  if (t) return t;
  t = new Tracer;
  g_tracer.store(t, std::memory_order_release);
  std::atexit(delete_tracer);
  return t;
}

Tracer::Tracer() {
  if (std::getenv("PT_TRACE_ON")) TraceEnabled.store(true, std::memory_order_relaxed);
  if (const char* level = std::getenv("PT_TRACE_LEVEL"))
    TraceLevel.store(plinth::platform::read_int(level), std::memory_order_relaxed);
  if (std::getenv("PT_TRACE_OUT")) m_bStdout = true;
  if (std::getenv("PT_TRACE_VERBOSE")) m_bVerbose = true;
  if (const char* path = std::getenv("PT_TRACE_FILE"))
    m_File.open(path);
}

Tracer::~Tracer() {
  if (m_File.is_open()) m_File.close();
}

void Tracer::trace(int level, const std::stringstream& message, const char* file, int line) {
  trace(level, message.str().c_str(), file, line);
}

void Tracer::trace(int level, const char* message, const char* file, int line) {
  const std::string time = os_time_and_date::now().to_string("%m%d %H:%M:%S.%q");
  const char* base = file ? file : "";
  if (const char* slash = std::strrchr(base, '/'))
    base = slash + 1;
  else if (const char* backslash = std::strrchr(base, '\\'))
    base = backslash + 1;

  os_lock_guard guard(m_CritSect);
  if (m_bStdout) trace_helper(std::cout, time.c_str(), level, message, base, line);
  if (m_File.is_open() && m_File.good())
    trace_helper(m_File, time.c_str(), level, message, base, line);
}

void Tracer::trace_helper(std::ostream& out, const char* time, int level, const char* message,
                          const char* file, int line) {
  out << time << " [" << level << "] TID:" << os_this_thread::id();
  if (m_bVerbose) out << " (" << file << ":" << line << ")";
  out << ": " << (message ? message : "") << '\n';
  out.flush();
}
