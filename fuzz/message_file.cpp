// Any bytes as a message file: the load ends, never reads past a line or a
// record's fields, and leaves a catalogue that answers look-ups.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "plinth/message.h"

namespace {
const std::string& Dir() {
  static const std::string dir = [] {
    char templ[] = "/tmp/plinth-fuzz-XXXXXX";
    if (!mkdtemp(templ)) std::abort();
    return std::string(templ);
  }();
  return dir;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    std::ofstream out(Dir() + "/fuzz.msg", std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  std::string error;
  const bool ok = InitOCMessageMgr(Dir(), "fuzz.msg", OCMessageMgr::DefaultPattern, error);
  if (ok != error.empty()) __builtin_trap();
  OCMessageMgr* mgr = OCMessageMgr::getInstance();
  if (mgr->m_Messages.count(0) != 1) __builtin_trap();
  std::string header = mgr->generate_msg_header(error);
  for (const auto& [id, message] : mgr->m_Messages) {
    if (id != message->getID() || !message->is_valid()) __builtin_trap();
    OCMessage copy(id, nullptr);
    copy.m_vArgs = {"a", "b"};
    (void)copy.decorate();
  }
  exit_messagemgr();
  return 0;
}
