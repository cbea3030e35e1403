#include "plinth/logger/file_dest.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "plinth/platform/os/os_file.h"
#include "plinth/platform/os/os_regexp.h"
#include "plinth/platform/system.h"
#include "plinth/system/tracer.h"
#include "plinth/platform/numbers.h"

namespace {
const char* const kRingDatePattern = "\\.[0-9]{8}\\.#[0-9]{4}\\.txt";

// Removes a file of the ring or of an earlier run. A file that a
// destination of this process still writes is refused: on Linux it could be
// unlinked, and its lines would go nowhere.
void remove_log_file(const std::string& fullName) {
  if (os_log_files::is_held_open(fullName))
    throw os_file_toolkit_error(EBUSY, "'" + fullName + "' is open for logging in this process");
  os_file_system::remove_if_exists(fullName);
}

void print_removal_error(const os_file_toolkit_error& e) {
  std::cerr << "Exception's code = " << e.code() << std::endl;
  std::cerr << "Description = " << os_file_toolkit_error::description(e.code()) << std::endl;
}
}  // namespace

// ---- LoggerFileDest ----

LoggerFileDest::~LoggerFileDest() { CloseFile(); }

unsigned LoggerFileDest::Init(LoggerParams&, std::vector<dst_aux::ElementProperties>) { return 1; }

bool LoggerFileDest::CheckTimeOut() {
  const int64_t seconds = (os_time_and_date::now() - m_DisableTime).to_seconds();
  if (seconds == 0) return false;
  if (seconds >= m_nTimeOut) {
    m_bTimeOutArmed = false;
    return true;
  }
  // Only a clock that went back gives negative seconds; without a time-out
  // the destination may come back.
  return m_nTimeOut == -1;
}

bool LoggerFileDest::Disable(long seconds) {
  m_bEnabled = false;
  if (seconds != -1) {
    m_nTimeOut = seconds;
    m_DisableTime = os_time_and_date::now();
    m_bTimeOutArmed = true;
  }
  return true;
}

bool LoggerFileDest::Enable() {
  if (!m_bTimeOutArmed || CheckTimeOut()) m_bEnabled = true;
  return true;
}

unsigned LoggerFileDest::SmartClean(const std::string&, const std::vector<dst_aux::QueryElement>&, int,
                                    std::string&, long&) {
  return 0;
}

unsigned LoggerFileDest::WriteCtx(dst_aux::DataContext&, std::string&, unsigned, unsigned) { return 0; }

int LoggerFileDest::Flush() { return m_pFile ? std::fflush(m_pFile) : 0; }

bool LoggerFileDest::OpenFile(const std::string& fullName, const char* mode) {
  m_pFile = os_log_files::open(fullName, mode);
  if (m_pFile) std::setvbuf(m_pFile, nullptr, m_nBufferingMode, m_nBufferSize);
  else
    PLINTH_TRACE(4, "LoggerFileDest: destination \"" << m_sLogicalName << "\" can't open " << fullName << ": "
                                                    << std::strerror(errno));
  return m_pFile != nullptr;
}

void LoggerFileDest::CloseFile() {
  if (!m_pFile) return;
  os_log_files::close(m_pFile);
  m_pFile = nullptr;
}

bool LoggerFileDest::WriteText(const std::string& text) {
  return os_log_files::write_all(m_pFile, text.data(), text.size());
}

bool LoggerFileDest::ReadCommonParams(LoggerParams& params) {
  int mode = 0;
  if (!params.GetString("name", m_sBaseName) || !params.GetString("logical_name", m_sLogicalName) ||
      !params.GetString("path", m_sPath) || !params.GetInt("mode", mode))
    return false;
  m_nMode = static_cast<uint32_t>(mode) | kLoggerModeFlag;
  return true;
}

unsigned LoggerFileDest::CleanUp(int retainDays) {
  const std::string dir = ListedDirectory();
  std::vector<std::string> names;
  try {
    names = os_directory(dir, 0).filenames();
  } catch (const os_file_toolkit_error& e) {
    std::cerr << e.what() << std::endl;
    return 0;
  }
  PLINTH_TRACE(4, "cleanup found #" << names.size() << " file(s)");
  if (names.size() == 2 && std::count(names.begin(), names.end(), ".") == 1 &&
      std::count(names.begin(), names.end(), "..") == 1)
    return 1;

  // Files of earlier runs differ in the process id that the base name may
  // hold: keep only what stands before it.
  std::string prefix = m_sBaseName;
  const size_t pidAt = prefix.find(std::to_string(plinth::platform::process_id()));
  if (pidAt != std::string::npos) prefix.resize(pidAt);
  PLINTH_TRACE(4, "cleanup nRetainDays=" << retainDays << ", serach for pattern:" << prefix << "*.txt");
  const os_regexp pattern(os_regexp::quote(prefix) + ".*\\.txt", true, false);

  try {
    const os_time_and_date now = os_time_and_date::now();
    for (const std::string& name : names) {
      PLINTH_TRACE(4, "cleanup examins file:" << name);
      if (!pattern.matches_whole(name)) continue;
      const std::string fullName = m_sPath + "/" + name;
      // A file this process still writes is not old, whatever its date.
      if (os_log_files::is_held_open(fullName)) continue;
      const os_time_and_date modified(os_io_status(fullName).last_modification_time());
      PLINTH_TRACE(4, "last_modified=" << modified.to_string("%Y-%m-%d %H:%M:%S"));
      PLINTH_TRACE(4, "nowtime=" << now.to_string("%Y-%m-%d %H:%M:%S"));
      const int64_t days = (now - modified).to_days();
      PLINTH_TRACE(4, "cleanup difference=" << days);
      if (days >= retainDays) os_file_system::remove_if_exists(fullName);
    }
  } catch (const os_file_toolkit_error& e) {
    PLINTH_TRACE(4, "toolkit exception has cought during cleanup, code=" << e.code()
                                                                          << ", description = "
                                                                          << os_file_toolkit_error::description(e.code()));
    return 0;
  }
  return 1;
}

// ---- LoggerSequentialDest ----

LoggerBaseDestination* LoggerSequentialDest::Create(LoggerParams& params) {
  auto* dest = new LoggerSequentialDest;
  if (!dest->ReadCommonParams(params)) {
    delete dest;
    return nullptr;
  }
  dest->Enable();
  void* cb = nullptr;
  void* userData = nullptr;
  if (params.GetPointer("app_info_cb", cb) && params.GetPointer("app_info_userdata", userData)) {
    dest->m_pAppInfoCb = reinterpret_cast<BannerFunc>(cb);
    dest->m_pAppInfoUserData = userData;
  }
  return dest;
}

void LoggerSequentialDest::GetFileName(std::string& out) {
  out = m_sPath;
  if (!out.empty() && out.back() != '/' && out.back() != '\\') out += '/';
  out += m_sBaseName;
  out += ".txt";
}

bool LoggerSequentialDest::OpenStep() {
  if (!m_pFile) {
    std::string fullName;
    GetFileName(fullName);
    if (OpenFile(fullName, "a+") && m_pAppInfoCb) {
      const std::string banner = m_pAppInfoCb(m_pAppInfoUserData);
      if (!banner.empty()) std::fprintf(m_pFile, "------ %s ------\n", banner.c_str());
    }
  }
  if (!m_pFile) {
    Disable(kFailureTimeOut);
    return false;
  }
  return true;
}

bool LoggerSequentialDest::Close() {
  CloseFile();
  return true;
}

bool LoggerSequentialDest::Write(const std::string& text, unsigned, unsigned) {
  if (!m_pFile && !OpenStep()) return false;
  if (!m_bEnabled) {
    if (!CheckTimeOut()) return false;
    OpenStep();
    Enable();
  }
  if (!m_pFile) return false;
  const bool ok = WriteText(text);
  if (!ok) std::perror("Write error");
  return ok;
}

// ---- LoggerCyclicDest ----

std::string LoggerCyclicDest::TodayStamp() {
  const os_date today = os_date::today();
  char buf[32];
  std::snprintf(buf, sizeof buf, ".%d%02d%02d.", today.year(), today.month(), today.day());
  return buf;
}

void LoggerCyclicDest::BuildSuffix() {
  char buf[64];
  std::snprintf(buf, sizeof buf, "#%.4d.txt", m_nSequence);
  m_sFileSuffix = m_sDateStamp + buf;
}

void LoggerCyclicDest::GetFileName(std::string& out) { out = m_sPath + "/" + m_sBaseName + m_sFileSuffix; }

LoggerBaseDestination* LoggerCyclicDest::Create(LoggerParams& params) {
  auto* dest = new LoggerCyclicDest;
  if (!dest->ReadCommonParams(params) || !params.GetInt("file_num", dest->m_nNumOfFiles) ||
      !params.GetInt("message_num", dest->m_nMsgsPerFile)) {
    delete dest;
    return nullptr;
  }
  dest->Enable();
  dest->m_sDateStamp = TodayStamp();
  if (!dest->ScanDirectory()) {
    delete dest;
    return nullptr;
  }
  dest->BuildSuffix();
  return dest;
}

bool LoggerCyclicDest::ScanDirectory() {
  std::vector<std::string> names;
  try {
    names = os_directory(ListedDirectory(), 0).filenames();
  } catch (const os_file_toolkit_error& e) {
    std::cerr << e.what() << std::endl;
    return false;
  }
  const os_regexp ringName(os_regexp::quote(m_sBaseName) + kRingDatePattern, true, false);
  for (const std::string& name : names)
    if (ringName.matches_whole(name)) m_vFileList.push_back(m_sPath + "/" + name);
  if (m_vFileList.empty()) return true;

  // Dates sort before numbers in the names, so this orders the ring by age.
  std::sort(m_vFileList.begin(), m_vFileList.end());
  const std::string& newest = m_vFileList.back();
  const os_regexp number("#[0-9]{4}", false, false);
  // Search only the file name: the directory may hold a '#' of its own.
  const unsigned from = static_cast<unsigned>(m_sPath.size() + 1);
  const auto at = number.search(newest.c_str(), from, static_cast<unsigned>(newest.size()));
  if (at.first != os_regexp::npos) {
    m_nSequence = plinth::platform::read_int(newest.c_str() + at.first + 1) + 1;
    if (m_nSequence > kMaxSequence) m_nSequence = 1;
  }

  const size_t listed = m_vFileList.size();
  if (listed < static_cast<size_t>(std::max(m_nNumOfFiles, 0))) {
    m_nFileCount = static_cast<int>(listed) + 1;
    return true;
  }
  const size_t keep = m_nNumOfFiles > 1 ? static_cast<size_t>(m_nNumOfFiles - 1) : 0;
  while (m_vFileList.size() > keep) {
    try {
      remove_log_file(m_vFileList.front());
    } catch (const os_file_toolkit_error& e) {
      print_removal_error(e);
      return true;  // the file count stays at 1
    }
    m_vFileList.erase(m_vFileList.begin());
  }
  m_nFileCount = m_nNumOfFiles;
  return true;
}

unsigned LoggerCyclicDest::Open() {
  std::string fullName;
  GetFileName(fullName);
  m_vFileList.push_back(fullName);
  if (!m_pFile && !OpenFile(fullName, "w+")) {
    Disable(kFailureTimeOut);
    return 0;
  }
  return 1;
}

bool LoggerCyclicDest::Close() {
  CloseFile();
  return true;
}

bool LoggerCyclicDest::Rotate() {
  if (m_nWritesInFile < m_nMsgsPerFile) return true;
  CloseFile();
  if (m_nFileCount < m_nNumOfFiles) {
    ++m_nFileCount;
  } else if (!m_vFileList.empty()) {
    try {
      remove_log_file(m_vFileList.front());
      m_vFileList.erase(m_vFileList.begin());
    } catch (const os_file_toolkit_error& e) {
      // The name stays listed; the next rotation tries it again.
      print_removal_error(e);
    }
  }
  const std::string today = TodayStamp();
  if (today != m_sDateStamp) m_sDateStamp = today;
  if (++m_nSequence > kMaxSequence) m_nSequence = 1;
  BuildSuffix();
  std::string fullName;
  GetFileName(fullName);
  m_vFileList.push_back(fullName);
  m_nWritesInFile = 0;
  return OpenFile(fullName, "w+");
}

bool LoggerCyclicDest::Write(const std::string& text, unsigned, unsigned) {
  if (!m_bEnabled) {
    if (!CheckTimeOut()) return false;
    if (!m_pFile) {
      std::string fullName;
      GetFileName(fullName);
      if (!OpenFile(fullName, "w+")) {
        Disable(kFailureTimeOut);
        return false;
      }
    }
    Enable();
  }
  // Before Open or after Close there is no file to write to.
  if (!m_pFile) return false;
  if (!Rotate()) {
    Disable(kFailureTimeOut);
    return false;
  }
  if (!WriteText(text)) return false;
  ++m_nWritesInFile;
  return true;
}
