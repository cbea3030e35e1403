// A message file, a scratch log directory and helpers to run the message
// logger in a test. The logger is a process-wide singleton, so each test runs
// in a process of its own.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "common/temp_dir.h"
#include "plinth/platform/os/os_clock_hooks.h"
#include "plinth/plinth.h"

namespace plinth_test {

inline StringIntPair Context(const char* name, int value) {
  StringIntPair c{};
  std::strncpy(c.name, name, sizeof c.name - 1);
  c.value = value;
  return c;
}

inline DestinationData Dest(int type, const char* name, const char* logical, int files = 0, int perFile = 0) {
  DestinationData d;
  d.m_nType = type;
  std::strncpy(d.m_sName, name, sizeof d.m_sName - 1);
  std::strncpy(d.m_sLogicalName, logical, sizeof d.m_sLogicalName - 1);
  d.m_nNumOfFiles = files;
  d.m_nMsgsPerFile = perFile;
  return d;
}

// Lines of a text file, without their line feeds.
inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

// A destination whose writes can be held back, to keep the reader thread
// busy while a test fills the queue.
class GatedDest : public LoggerFileDest {
public:
  unsigned Open() override { return 1; }
  bool Close() override { return true; }
  LoggerBaseDestination* Create(LoggerParams&) override { return nullptr; }
  void GetFileName(std::string& out) override { out.clear(); }
  bool Write(const std::string& text, unsigned, unsigned) override {
    std::unique_lock<std::mutex> guard(m_Mutex);
    ++m_nEntered;
    m_Cond.notify_all();
    m_Cond.wait(guard, [&] { return m_bOpen; });
    m_vLines.push_back(text);
    m_Cond.notify_all();
    return true;
  }
  void OpenGate() { With([&] { m_bOpen = true; }); }
  // Waits until the reader has entered n writes, and n lines went through.
  void WaitEntered(int n) { WaitFor([&] { return m_nEntered >= n; }); }
  void WaitLines(size_t n) { WaitFor([&] { return m_vLines.size() >= n; }); }
  std::vector<std::string> LinesWritten() {
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_vLines;
  }

private:
  template <class F>
  void With(F f) {
    std::lock_guard<std::mutex> guard(m_Mutex);
    f();
    m_Cond.notify_all();
  }
  template <class P>
  void WaitFor(P done) {
    std::unique_lock<std::mutex> guard(m_Mutex);
    m_Cond.wait(guard, done);
  }

  std::mutex m_Mutex;
  std::condition_variable m_Cond;
  bool m_bOpen = false;
  int m_nEntered = 0;
  std::vector<std::string> m_vLines;
};

class MsgLoggerTest : public ::testing::Test {
protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
  }
  void TearDown() override {
    os_clock::set_frozen_us(0);
    os_clock::set_offset_us(0);
  }

  std::string WriteMessages(const std::string& text, const std::string& name = "messages.txt") {
    WriteFile(dir / name, text);
    return dir / name;
  }

  // Init with one sequential destination "msgs" in the scratch directory.
  int InitWith(const std::string& messages, std::vector<StringIntPair> contexts, const char* tag = "QRX",
               const char* module = "files", int queueSize = 1000, bool drop = false) {
    const std::string file = WriteMessages(messages);
    DestinationData dest = Dest(eSequentialFile, "msgs", "msgs_log");
    return OCMsgLogger::GetInstance().Init(file.c_str(), tag, module, contexts.data(),
                                           static_cast<unsigned>(contexts.size()), nullptr, 0, &dest, 1,
                                           queueSize, drop, dir.path().c_str());
  }

  std::vector<std::string> Written() {
    WaitForThread();
    return Lines(ReadFile(dir / "msgs.txt"));
  }

  TempDir dir;
};

}  // namespace plinth_test
