// Any bytes as a control message from the viewer's socket: parsing ends,
// a message that fails changes nothing, one that parses holds only
// commands within their bounds, and applying it leaves an engine that
// still prints.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "plinth/diag.h"

PLINTH_DIAG_FILE();

namespace {
TDiag* Engine() {
  static TDiag* diag = [] {
    char templ[] = "/tmp/plinth-fuzz-control-XXXXXX";
    if (!mkdtemp(templ)) std::abort();
    TDiag* d = TDiag::Instance();
    d->SetCyclic(true);
    d->SetNumberOfCyclic(2);
    d->SetNumberOfPrintInFile(1000);
    d->Initialize(templ, templ, "");
    return d;
  }();
  return diag;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TDiag* diag = Engine();
  DiagControlMessage message;
  const bool parsed = message.Parse(reinterpret_cast<const char*>(data), size);
  if (parsed != message.m_sError.empty()) __builtin_trap();
  if (!parsed && !message.m_vCommands.empty()) __builtin_trap();
  if (message.m_vCommands.size() > DiagControlMessage::kMaxCommands) __builtin_trap();
  for (const DiagControlMessage::Command& command : message.m_vCommands) {
    if (command.m_eKind != DiagControlMessage::eEnabled && command.m_nValue > 7) __builtin_trap();
    if (command.m_eKind == DiagControlMessage::eContext && command.m_nMask == 0) __builtin_trap();
    if (command.m_sName.size() > DiagControlMessage::kMaxName) __builtin_trap();
  }
  DiagActionLocal action;
  if (message.Apply(action) != message.m_vCommands.size()) __builtin_trap();
  diag->SetDiagEnabled(true);
  PLINTH_DIAG_AT("Fuzz", 0, "still printing");
  return 0;
}
