// The engine's output files: its destination in the Logger and the names of
// its side files.
#include <cstring>

#include "plinth/diag/line_builder.h"
#include "plinth/diag/tdiag.h"
#include "plinth/logger/logger.h"
#include "plinth/platform/crash_io.h"
#include "plinth/platform/os/os_time.h"
#include "plinth/platform/system.h"

using plinth::diag::LineBuilder;

namespace {
const char* const kCyclicDest = "cyclic_files";
const char* const kSequentialDest = "sequential_files";
constexpr int kCyclicMode = 0x88;
constexpr int kSequentialMode = 0x84;
constexpr unsigned kBufferedFlag = 0x80;
constexpr int kMinSafeNameBuffer = 500;
constexpr size_t kMaxIniFileName = 255;

std::string ShortHostName() {
  std::string host = plinth::platform::host_name();
  return host.substr(0, host.find('.'));
}

void CopyOut(const std::string& text, char* buffer) { std::memcpy(buffer, text.c_str(), text.size() + 1); }
}  // namespace

bool TDiag::CreateDestinations() {
  const std::string host = ShortHostName();
  std::string base = (m_pOutputFileName && *m_pOutputFileName) ? m_pOutputFileName : "general";
  base += "_diag.";
  base += host;
  if (!m_sLogicalName.empty()) base.append(1, '.').append(m_sLogicalName);
  if (m_bIsPIDUsed) base.append(1, '.').append(std::to_string(plinth::platform::process_id()));

  LoggerParams params;
  params.InsertInt("mode", m_bIsCyclic ? kCyclicMode : kSequentialMode);
  params.InsertInt("type", m_bIsCyclic ? eCyclicFile : eSequentialFile);
  params.InsertString("name", base);
  params.InsertString("logical_name", m_bIsCyclic ? kCyclicDest : kSequentialDest);
  if (m_bIsCyclic) {
    params.InsertInt("file_num", static_cast<int>(m_nNumOfCyclic));
    params.InsertInt("message_num", static_cast<int>(m_nPrintsPerFile));
  }
  params.InsertPointer("app_info_cb", reinterpret_cast<void*>(&TDiag::DumpAppInfoIntoDiag));
  params.InsertPointer("app_info_userdata", this);
  m_sDestName = m_bIsCyclic ? kCyclicDest : kSequentialDest;

  if (m_pLogger->createDest(params) != 0) return false;
  LoggerBaseDestination* dest = m_pLogger->getDest(m_sDestName);
  if (!dest) return false;
  // The mode word records the buffering that was asked for; the files stay
  // unbuffered whatever it says.
  dest->m_nFlushSize = static_cast<uint32_t>(m_nFlushSize);
  dest->m_nMode = m_nFlushFlags | kLoggerModeFlag;
  m_pLogger->openDest(m_sDestName);
  return true;
}

// Through the Logger, which holds the destination's lock for the call.
bool TDiag::OpenLogFile() {
  if (m_sDestName.empty() || !m_pLogger->getDest(m_sDestName)) return true;
  return m_pLogger->openDest(m_sDestName) != 0;
}

void TDiag::CloseLogFile() {
  if (!m_sDestName.empty()) m_pLogger->closeDest(m_sDestName);
}

void TDiag::SetOutPutBufferingMode(long size) {
  m_nFlushSize = size;
  m_nFlushFlags = size > 0 ? kBufferedFlag : 0;
}

void TDiag::GetLogFile(char* buffer, bool withPath) {
  if (!buffer) return;
  const char* name = m_pOutputFileName ? m_pOutputFileName : "";
  std::string text = withPath && !m_sLogPath.empty() ? m_sLogPath + "/" + name : std::string(name);
  text += "_diag.";
  text += plinth::platform::host_name();
  if (m_bIsPIDUsed) text.append(1, '.').append(std::to_string(plinth::platform::process_id()));
  if (m_bIsCyclic) {
    const os_date today = os_date::today();
    char date[32];
    std::snprintf(date, sizeof date, ".%04d%02d%02d.", today.year(), today.month(), today.day());
    text += date;
    text += "#0001.txt";
  } else {
    text += ".txt";
  }
  CopyOut(text, buffer);
}

void TDiag::GetINIFile(char* buffer, bool withPath) {
  if (!buffer) return;
  const char* name = m_pOutputFileName ? m_pOutputFileName : "";
  std::string text = withPath && !m_sIniPath.empty() ? m_sIniPath + "/" + name : std::string(name);
  if (!m_sLogicalName.empty()) text.append(1, '.').append(m_sLogicalName);
  text += "_DiagLvls.ini";
  if (text.size() > kMaxIniFileName) text.clear();
  CopyOut(text, buffer);
}

void TDiag::BuildFileName4Type(const char* type, std::string& name) const {
  if (!type) return;
  name += m_sLogPath;
  name += "/";
  name += m_pOutputFileName ? m_pOutputFileName : "";
  name += type;
  name.append(1, '.').append(ShortHostName());
  if (!m_sLogicalName.empty()) name.append(1, '.').append(m_sLogicalName);
  if (m_bIsPIDUsed) name.append(1, '.').append(std::to_string(plinth::platform::process_id()));
  name.append(1, '.').append(os_time_and_date::now().to_string("%Y%m%d_%H%M%S"));
  name += ".txt";
}

void TDiag::BuildFileName4TypeSafe(const char* type, int64_t time, char* buffer, int size) const {
  if (!type || !buffer || size < kMinSafeNameBuffer) return;
  if (time == 0) time = os_clock::now_us() / 1000000;
  char host[256];
  plinth::platform::host_name_into(host, sizeof host);
  if (char* dot = std::strchr(host, '.')) *dot = '\0';

  LineBuilder name(buffer, static_cast<size_t>(size) - 1);
  name.Text(m_sLogPath.c_str(), m_sLogPath.size());
  name.Char('/');
  name.Text(m_pOutputFileName ? m_pOutputFileName : "");
  name.Text(type);
  name.Char('.');
  name.Text(host);
  if (!m_sLogicalName.empty()) {
    name.Char('.');
    name.Text(m_sLogicalName.c_str(), m_sLogicalName.size());
  }
  name.Char('.');
  name.Unsigned(plinth::platform::process_id());
  name.Char('.');
  name.Unsigned(static_cast<uint32_t>(time));
  name.Text(".txt");
  // A cut name would name some other file: better none.
  if (name.overflowed()) {
    buffer[0] = '\0';
    return;
  }
  name.Terminate();
}
