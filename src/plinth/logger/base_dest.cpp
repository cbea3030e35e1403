#include "plinth/logger/base_dest.h"

LoggerBaseDest::LoggerBaseDest(const LoggerBaseDest& other) { *this = other; }

LoggerBaseDest& LoggerBaseDest::operator=(const LoggerBaseDest& other) {
  if (this == &other) return *this;
  m_sBaseName = other.m_sBaseName;
  m_sLogicalName = other.m_sLogicalName;
  m_bEnabled = other.m_bEnabled;
  m_sDestPath = other.m_sDestPath;
  m_nBufferingMode = other.m_nBufferingMode;
  m_nBufferSize = other.m_nBufferSize;
  m_DisableTime = other.m_DisableTime;
  m_bTimeOutArmed = other.m_bTimeOutArmed;
  m_nTimeOut = other.m_nTimeOut;
  return *this;
}

LoggerBaseDest::~LoggerBaseDest() { CloseOutPutFile(); }

void LoggerBaseDest::SetBufferingParams(int mode, unsigned size) {
  m_nBufferingMode = mode;
  m_nBufferSize = size <= 512 ? 512 : size;
}

// fflush(nullptr) would flush every stream of the process.
int LoggerBaseDest::FlushOutPutFile() { return m_pOutputFile ? std::fflush(m_pOutputFile) : 0; }

void LoggerBaseDest::EnableDest() {
  if (m_bTimeOutArmed && !CheckTimeOut()) return;
  m_bEnabled = true;
}

void LoggerBaseDest::DisableDest(long seconds) {
  m_bEnabled = false;
  if (seconds == -1) return;
  m_nTimeOut = seconds;
  m_DisableTime = os_time_and_date::now();
  m_bTimeOutArmed = true;
}

bool LoggerBaseDest::CheckTimeOut() {
  const int64_t seconds = (os_time_and_date::now() - m_DisableTime).to_seconds();
  if (seconds == 0) return false;
  if (seconds >= m_nTimeOut) {
    m_bTimeOutArmed = false;
    return true;
  }
  return m_nTimeOut == -1;
}

void LoggerBaseDest::SetOutPutFile(FILE* file) {
  if (file) std::setvbuf(file, nullptr, m_nBufferingMode, 0);
  m_pOutputFile = file;
}

void LoggerBaseDest::CloseOutPutFile() {
  if (m_pOutputFile) std::fclose(m_pOutputFile);
  m_pOutputFile = nullptr;
}
