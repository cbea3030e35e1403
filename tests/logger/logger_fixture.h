// A Logger initialised on a scratch directory, with its error callback
// recorded. The fixture rebuilds the singleton, so tests also pass when a
// whole program runs in one process.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/temp_dir.h"
#include "plinth/platform/os/os_clock_hooks.h"
#include "plinth/plinth.h"

namespace plinth_test {

inline std::vector<std::string>& CallbackTexts() {
  static std::vector<std::string> texts;
  return texts;
}

inline void RecordCallback(const std::string& text) { CallbackTexts().push_back(text); }

class LoggerTest : public ::testing::Test {
protected:
  void SetUp() override {
    os_clock::set_offset_us(0);
    CallbackTexts().clear();
    Logger::Destroy();
    logger = Logger::GetInstance();
    Logger::InitParams init;
    init.InsertString("path", dir.path());
    logger->initLogger(init, &RecordCallback);
  }
  void TearDown() override {
    Logger::Destroy();
    os_clock::set_offset_us(0);
  }

  static LoggerParams Cyclic(const std::string& name, int files, int perFile,
                             const std::string& logical = "cyclic_files") {
    LoggerParams p;
    p.InsertString("name", name);
    p.InsertString("logical_name", logical);
    p.InsertInt("type", eCyclicFile);
    p.InsertInt("mode", 0x88);
    p.InsertInt("file_num", files);
    p.InsertInt("message_num", perFile);
    return p;
  }

  static LoggerParams Sequential(const std::string& name, const std::string& logical = "sequential_files") {
    LoggerParams p;
    p.InsertString("name", name);
    p.InsertString("logical_name", logical);
    p.InsertInt("type", eSequentialFile);
    p.InsertInt("mode", 0x84);
    return p;
  }

  unsigned Create(LoggerParams params) { return logger->createDest(params); }

  LoggerCyclicDest* CyclicDest(const std::string& logical = "cyclic_files") {
    return dynamic_cast<LoggerCyclicDest*>(logger->getDest(logical));
  }

  std::string Emergency() const { return ReadFile(logger->GetEmergencyFileName()); }

  TempDir dir;
  Logger* logger = nullptr;
};

}  // namespace plinth_test
