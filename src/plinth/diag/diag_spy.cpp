// The engine's side of the viewer: finding its two windows, the records it
// is sent, and the control socket through which it may steer the process.
#include <atomic>
#include <cstring>
#include <memory>

#include "plinth/diag/diag_action.h"
#include "plinth/diag/diag_control.h"
#include "plinth/diag/tdiag.h"
#include "plinth/platform/os/os_buffer.h"
#include "plinth/platform/os/os_thread.h"
#include "plinth/platform/spy_socket.h"
#include "plinth/platform/system.h"

PLINTH_DIAG_FILE();

using plinth::platform::spy_piece;
using plinth::platform::spy_window;

namespace {
constexpr uint32_t kResultRecord = 0;
constexpr uint32_t kModuleRecord = 1;
constexpr uint32_t kFilesRecord = 2;
constexpr uint32_t kContextsRecord = 3;
constexpr uint32_t kSpyProtocolVersion = 1;
const char* const kRegistrationTitle = "OCData";
const char* const kResultTitle = "Result Window";

// Read on every sent line: getpid is a system call. Set whenever the
// windows are looked for, so a child that looks for them again sends its own.
std::atomic<uint32_t> g_nPid{0};

void PutInt(unsigned char* out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out[i] = static_cast<unsigned char>(value >> (8 * i));
}

void WriteInt(os_buffer& buffer, uint32_t value) {
  unsigned char bytes[4];
  PutInt(bytes, value);
  buffer.write(bytes, 4);
}

// A length that doesn't count the terminator, the bytes, and a zero byte.
void WriteString(os_buffer& buffer, const char* text, size_t length) {
  WriteInt(buffer, static_cast<uint32_t>(length));
  buffer.write(text, static_cast<int>(length));
  buffer.write("", 1);
}
void WriteString(os_buffer& buffer, const std::string& text) { WriteString(buffer, text.data(), text.size()); }

// ---- the control socket ----

// The listener that takes control messages once a viewer was found. It is
// made once per process and stopped before the engine goes.
struct ControlListener {
  unsigned long owner = plinth::platform::process_id();
  plinth::platform::spy_control_socket socket;
  std::atomic<bool> stop{false};
  std::unique_ptr<os_thread> thread;
};
ControlListener* g_pControl = nullptr;

void Answer(ControlListener& listener, bool canReply, const std::string& text) {
  if (canReply) listener.socket.reply(text.data(), text.size());
}

void* ControlLoop(void* argument) {
  auto& listener = *static_cast<ControlListener*>(argument);
  char message[DiagControlMessage::kMaxSize + 1];
  while (!listener.stop.load(std::memory_order_acquire)) {
    uint32_t uid = 0;
    bool canReply = false;
    const long size = listener.socket.receive(message, sizeof message, uid, canReply);
    if (size < 0) break;
    if (size == 0) continue;
    if (!plinth::platform::spy_sender_allowed(uid)) {
      PLINTH_DIAG_AT("TDiag::ControlMessage", 2, "control message from user " << uid << " refused");
      Answer(listener, canReply, "refused\n");
      continue;
    }
    DiagControlMessage parsed;
    if (!parsed.Parse(message, static_cast<size_t>(size))) {
      PLINTH_DIAG_AT("TDiag::ControlMessage", 2, "control message rejected: " << parsed.m_sError);
      Answer(listener, canReply, "error " + parsed.m_sError + "\n");
      continue;
    }
    try {
      DiagActionLocal action;
      const size_t applied = parsed.Apply(action);
      Answer(listener, canReply, "ok " + std::to_string(applied) + "\n");
    } catch (...) {
      // The engine is going away; the loop ends at the stop flag.
      Answer(listener, canReply, "error engine destroyed\n");
    }
  }
  return nullptr;
}

void StartControlListener() {
  if (g_pControl) return;
  auto listener = std::make_unique<ControlListener>();
  const std::string path =
      plinth::platform::spy_directory() + "/control." + std::to_string(plinth::platform::process_id());
  if (!listener->socket.open(path)) return;
  try {
    listener->thread = std::make_unique<os_thread>(&ControlLoop, listener.get());
  } catch (...) {
    return;  // without a thread the process is watched but not steered
  }
  g_pControl = listener.release();
}

void StopControlListener() {
  if (!g_pControl) return;
  // A forked child has neither the thread nor a claim to the socket's file.
  if (g_pControl->owner != plinth::platform::process_id()) {
    g_pControl = nullptr;
    return;
  }
  g_pControl->stop.store(true, std::memory_order_release);
  g_pControl->socket.wake();
  g_pControl->thread->join();
  delete g_pControl;
  g_pControl = nullptr;
}
}  // namespace

// ---- windows and records ----

void TDiag::SetOCSpyHwnd() {
  // Taken here also when Initialize calls, so that a further Initialize
  // never swaps the window under a printing thread.
  os_lock_guard guard(m_CritSect);
  g_nPid.store(static_cast<uint32_t>(plinth::platform::process_id()), std::memory_order_relaxed);
  plinth::platform::spy_release(static_cast<spy_window*>(m_hSpyWindow));
  m_hSpyWindow = plinth::platform::spy_find_window(kRegistrationTitle);
  bool found = m_hSpyWindow != nullptr;
  if (m_hSpyWindow) {
    SendModuleAndSpyVersion();
    SendFiles();
    SendContexts();
  }
  plinth::platform::spy_release(static_cast<spy_window*>(m_hSpyWindow));
  m_hSpyWindow = plinth::platform::spy_find_window(kResultTitle);
  found = found || m_hSpyWindow != nullptr;
  if (found) StartControlListener();
}

void TDiag::DetachSpy() {
  StopControlListener();
  os_lock_guard guard(m_CritSect);
  plinth::platform::spy_release(static_cast<spy_window*>(m_hSpyWindow));
  m_hSpyWindow = nullptr;
}

bool TDiag::SendSpyRecord(unsigned kind, const void* payload, size_t size) {
  const spy_piece piece{payload, size};
  return SendSpyPieces(kind, &piece, 1);
}

bool TDiag::SendSpyPieces(unsigned kind, const void* pieces, size_t count) {
  auto* window = static_cast<spy_window*>(m_hSpyWindow);
  if (!window) return false;
  if (plinth::platform::spy_send(window, kind, g_nPid.load(std::memory_order_relaxed),
                                 static_cast<const spy_piece*>(pieces), count))
    return true;
  // A viewer that is gone or can't keep up is forgotten until the windows
  // are looked for again.
  plinth::platform::spy_release(window);
  m_hSpyWindow = nullptr;
  return false;
}

void TDiag::SendModuleAndSpyVersion() {
  if (!m_hSpyWindow) return;
  os_buffer payload;
  const char* name = m_pOutputFileName ? m_pOutputFileName : "";
  WriteString(payload, name, std::strlen(name));
  WriteInt(payload, kSpyProtocolVersion);
  SendSpyRecord(kModuleRecord, payload.data(), payload.size());
}

void TDiag::SendFiles() {
  if (!m_hSpyWindow) return;
  os_buffer payload;
  WriteInt(payload, static_cast<uint32_t>(m_mFiles.size()));
  for (const auto& entry : m_mFiles) WriteString(payload, entry.first);
  SendSpyRecord(kFilesRecord, payload.data(), payload.size());
}

void TDiag::SendContexts() {
  if (!m_hSpyWindow) return;
  os_buffer payload;
  WriteInt(payload, static_cast<uint32_t>(m_mContextNames.size()));
  for (const auto& [id, name] : m_mContextNames) {
    WriteInt(payload, id);
    WriteString(payload, name);
  }
  SendSpyRecord(kContextsRecord, payload.data(), payload.size());
}

bool TDiag::SendResultToOCSpy(int context, const char* file, unsigned level, const char* function,
                              unsigned long threadId, _SYSTEMTIME time, const char* text) {
  if (!m_hSpyWindow) return false;
  if (!file) file = "";
  if (!function) function = "";
  if (!text) text = "";
  const size_t fileLength = std::strlen(file);
  const size_t functionLength = std::strlen(function);
  const size_t textLength = std::strlen(text);
  // The numbers between the strings, each with the zero that ends the
  // string before it; the strings themselves are sent where they stand.
  unsigned char beforeFile[8], beforeFunction[9], beforeText[9], afterText[17];
  PutInt(beforeFile, static_cast<uint32_t>(context));
  PutInt(beforeFile + 4, static_cast<uint32_t>(fileLength));
  beforeFunction[0] = 0;
  PutInt(beforeFunction + 1, level);
  PutInt(beforeFunction + 5, static_cast<uint32_t>(functionLength));
  beforeText[0] = 0;
  PutInt(beforeText + 1, static_cast<uint32_t>(threadId));
  PutInt(beforeText + 5, static_cast<uint32_t>(textLength));
  afterText[0] = 0;
  const uint16_t fields[8] = {time.wYear, time.wMonth,  time.wDayOfWeek, time.wDay,
                              time.wHour, time.wMinute, time.wSecond,    time.wMilliseconds};
  for (int i = 0; i < 8; ++i) {
    afterText[1 + 2 * i] = static_cast<unsigned char>(fields[i]);
    afterText[2 + 2 * i] = static_cast<unsigned char>(fields[i] >> 8);
  }
  const spy_piece pieces[] = {{beforeFile, sizeof beforeFile},   {file, fileLength},
                              {beforeFunction, sizeof beforeFunction}, {function, functionLength},
                              {beforeText, sizeof beforeText},   {text, textLength},
                              {afterText, sizeof afterText}};
  constexpr size_t kPieces = sizeof pieces / sizeof pieces[0];
  // An ordinary line is copied into one block: the kernel takes one piece
  // faster than seven. A long one is sent from where its parts stand.
  char record[2048];
  size_t size = 0;
  for (const spy_piece& piece : pieces) size += piece.size;
  if (size > sizeof record) {
    SendSpyPieces(kResultRecord, pieces, kPieces);
    return false;
  }
  size_t at = 0;
  for (const spy_piece& piece : pieces) {
    std::memcpy(record + at, piece.data, piece.size);
    at += piece.size;
  }
  SendSpyRecord(kResultRecord, record, size);
  return false;
}
