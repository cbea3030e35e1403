// The diagnostic engine on a scratch directory, in UTC, with the clock back
// at real time. The engine is a singleton that lives from library load to
// process end, so each test runs in a process of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "common/temp_dir.h"
#include "plinth/platform/os/os_clock_hooks.h"
#include "plinth/plinth.h"
#include "plinth/platform/system.h"

namespace plinth_test {

inline std::string ShortHost() {
  std::string host = plinth::platform::host_name();
  return host.substr(0, host.find('.'));
}
inline std::string Pid() { return std::to_string(plinth::platform::process_id()); }
inline std::string Tid() { return std::to_string(os_this_thread::id()); }

inline std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

// The part of a line behind its time stamp ("dd/mm/yyyy\thh:mm:ss.mmm").
inline std::string Body(const std::string& line) { return line.size() > 23 ? line.substr(23) : line; }

// Moves the clock so that "now" is the given UTC time plus the milliseconds.
inline void SetClockUtc(int year, int month, int day, int hour, int minute, int second, int ms) {
  struct tm fields{second, minute, hour, day, month - 1, year - 1900, 0, 0, 0, 0, nullptr};
  os_clock::set_offset_us(0);
  os_clock::set_offset_us(static_cast<int64_t>(timegm(&fields)) * 1000000 + ms * 1000 - os_clock::now_us());
}

class DiagTest : public ::testing::Test {
protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
    os_clock::set_offset_us(0);
    diag = TDiag::Instance();
  }
  void TearDown() override { os_clock::set_offset_us(0); }

  void Init(const std::string& logical = "") { diag->Initialize(dir.path(), dir.path(), logical); }
  std::string DiagFile() const { return dir / ("general_diag." + ShortHost() + ".txt"); }
  std::vector<std::string> Lines() const { return SplitLines(ReadFile(DiagFile())); }
  std::vector<std::string> Bodies() const {
    std::vector<std::string> bodies;
    for (const std::string& line : Lines()) bodies.push_back(Body(line));
    return bodies;
  }

  TempDir dir;
  TDiag* diag = nullptr;
};

}  // namespace plinth_test
