// The tracer's environment for tests; the tracer reads it once, when first used.
#pragma once

#include <cstdlib>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace plinth_test {

// Sets the given PT_TRACE_* variables and unsets the others.
inline void TraceEnvironment(std::initializer_list<std::pair<const char*, std::string>> vars) {
  for (const char* v : {"PT_TRACE_ON", "PT_TRACE_LEVEL", "PT_TRACE_OUT", "PT_TRACE_VERBOSE", "PT_TRACE_FILE"})
    unsetenv(v);
  for (const auto& [name, value] : vars) setenv(name, value.c_str(), 1);
}

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::stringstream ss(text);
  for (std::string line; std::getline(ss, line);) lines.push_back(line);
  return lines;
}

}  // namespace plinth_test
