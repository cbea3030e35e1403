// The library's trace turned on as a user turns it on (PT_TRACE_ON,
// PT_TRACE_LEVEL=4, PT_TRACE_FILE), into a file of a scratch directory.
// Must be the process's first use of the tracer.
#pragma once

#include <cstdlib>
#include <string>

#include "common/temp_dir.h"
#include "plinth/system/tracer.h"

namespace plinth_test {

class TraceFile {
public:
  explicit TraceFile(const TempDir& dir) : m_sPath(dir / "trace.txt") {
    for (const char* v : {"PT_TRACE_OUT", "PT_TRACE_VERBOSE"}) unsetenv(v);
    setenv("PT_TRACE_ON", "1", 1);
    setenv("PT_TRACE_LEVEL", "4", 1);
    setenv("PT_TRACE_FILE", m_sPath.c_str(), 1);
    Tracer::getInstance();
  }
  std::string Text() const { return ReadFile(m_sPath); }
  bool Has(const std::string& text) const { return Text().find(text) != std::string::npos; }

private:
  std::string m_sPath;
};

}  // namespace plinth_test
