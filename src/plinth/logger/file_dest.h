// File destinations: a single growing file and a ring of numbered, dated
// files. Files are unbuffered: every Write is one system call and reaches
// the file at once. A file that cannot be opened takes the destination out
// of service for 900 seconds. No locks: the client serialises all calls;
// failures are results (false or 0), never exceptions.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "plinth/plinth_export.h"
#include "plinth/logger/destination.h"
#include "plinth/platform/os/os_time.h"

class PLINTH_API LoggerFileDest : public LoggerBaseDestination {
public:
  // Seconds a destination stays out of service after a file failed to open.
  static constexpr long kFailureTimeOut = 900;

  LoggerFileDest() = default;
  ~LoggerFileDest() override;
  LoggerFileDest(const LoggerFileDest&) = delete;
  LoggerFileDest& operator=(const LoggerFileDest&) = delete;

  unsigned Init(LoggerParams& params, std::vector<dst_aux::ElementProperties> elements) override;
  bool Disable(long seconds) override;
  bool Enable() override;
  bool IsReady() override { return true; }
  unsigned CleanUp(int retainDays) override;
  unsigned SmartClean(const std::string& what, const std::vector<dst_aux::QueryElement>& elements,
                      int option, std::string& error, long& count) override;
  bool Prepare(const std::string&) override { return true; }
  int Flush() override;
  unsigned WriteCtx(dst_aux::DataContext& context, std::string& error, unsigned a, unsigned b) override;
  LoggerDataInserter* GetInserter(const std::string&, std::string&, LoggerParams*) override { return nullptr; }
  void Attach(void*) override {}
  void Detach() override {}
  bool Accepts(const std::string&) override { return true; }
  int QueryInt(int) override { return 0; }
  int ControlInt(int) override { return 0; }
  // The full name of the current file.
  virtual void GetFileName(std::string& out) = 0;

  std::string m_sBaseName;
  std::string m_sPath;
  FILE* m_pFile = nullptr;
  int m_nBufferingMode = _IONBF;
  unsigned m_nBufferSize = 0;
  os_time_and_date m_DisableTime;
  bool m_bTimeOutArmed = false;
  long m_nTimeOut = -1;

protected:
  // Whether a time-out that took the destination out of service has passed.
  bool CheckTimeOut();
  // Opens a file unbuffered and keeps it as the current one.
  bool OpenFile(const std::string& fullName, const char* mode);
  void CloseFile();
  // Writes all of text; false on a short write.
  bool WriteText(const std::string& text);
  // Directory listed for the scan and the clean-up.
  std::string ListedDirectory() const { return m_sPath.empty() ? "/" : m_sPath; }
  // Stores the common creation parameters; false when one is missing.
  bool ReadCommonParams(LoggerParams& params);
};

class PLINTH_API LoggerSequentialDest : public LoggerFileDest {
public:
  using BannerFunc = std::string (*)(void* userData);

  unsigned Open() override { return 1; }
  bool Close() override;
  bool Write(const std::string& text, unsigned a, unsigned b) override;
  LoggerBaseDestination* Create(LoggerParams& params) override;
  void GetFileName(std::string& out) override;

  BannerFunc m_pAppInfoCb = nullptr;
  void* m_pAppInfoUserData = nullptr;

private:
  bool OpenStep();
};

class PLINTH_API LoggerCyclicDest : public LoggerFileDest {
public:
  static constexpr int kMaxSequence = 9999;

  unsigned Open() override;
  bool Close() override;
  bool Write(const std::string& text, unsigned a, unsigned b) override;
  LoggerBaseDestination* Create(LoggerParams& params) override;
  void GetFileName(std::string& out) override;

  int m_nNumOfFiles = 0;
  int m_nMsgsPerFile = 0;
  int m_nFileCount = 1;
  int m_nSequence = 1;
  int m_nWritesInFile = 0;
  std::string m_sDateStamp;   // ".YYYYMMDD."
  std::string m_sFileSuffix;  // date stamp, "#", four-digit sequence, ".txt"
  std::vector<std::string> m_vFileList;  // full names, oldest first

private:
  bool Rotate();
  bool ScanDirectory();
  void BuildSuffix();
  static std::string TodayStamp();
};
