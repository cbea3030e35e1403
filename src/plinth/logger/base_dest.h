// A base for destinations written outside this library: file handle,
// buffering and the failure time-out, without the destination interface.
// No locks; nothing throws.
#pragma once

#include <cstdio>
#include <string>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_time.h"

class PLINTH_API LoggerBaseDest {
public:
  LoggerBaseDest() = default;
  // Copies every member but the file handle: the destructor closes the
  // handle, and two owners of one FILE would close it twice. The copy opens
  // its own file. Assignment keeps the target's own handle.
  LoggerBaseDest(const LoggerBaseDest& other);
  LoggerBaseDest& operator=(const LoggerBaseDest& other);
  virtual ~LoggerBaseDest();

  virtual bool Open() = 0;
  virtual bool Close() = 0;
  virtual bool Write(const std::string& text) = 0;
  virtual bool Flush() = 0;
  // Stores the buffering used for files set later; sizes up to 512 become 512.
  virtual void SetBufferingParams(int mode, unsigned size);
  virtual int FlushOutPutFile();
  virtual void GetFileName(std::string& out) = 0;

  const std::string& GetBaseName() const { return m_sBaseName; }
  const std::string& GetLogicalName() const { return m_sLogicalName; }
  const std::string& GetDestPath() const { return m_sDestPath; }
  bool IsEnabled() const { return m_bEnabled; }
  // Does nothing while an armed time-out has not passed.
  void EnableDest();
  // -1 disables without a time-out.
  void DisableDest(long seconds);
  void CloseOutPutFile();

  std::string m_sBaseName;
  std::string m_sLogicalName;
  bool m_bEnabled = false;
  std::string m_sDestPath;
  FILE* m_pOutputFile = nullptr;
  int m_nBufferingMode = _IONBF;
  unsigned m_nBufferSize = 0;
  os_time_and_date m_DisableTime;
  bool m_bTimeOutArmed = false;
  long m_nTimeOut = -1;

protected:
  void SetBaseName(const std::string& name) { m_sBaseName = name; }
  void SetLogicalName(const std::string& name) { m_sLogicalName = name; }
  void SetDestPath(const std::string& path) { m_sDestPath = path; }
  bool CheckTimeOut();
  FILE* GetOutPutFile() { return m_pOutputFile; }
  void SetOutPutFile(FILE* file);
};
