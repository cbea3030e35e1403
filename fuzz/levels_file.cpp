// Any bytes as a levels file: the reading ends, never reads past a line,
// keeps the context table and the format pool within their bounds, and
// leaves an engine that still prints.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "plinth/diag.h"

PLINTH_DIAG_FILE();

namespace {
TDiag* Engine() {
  static TDiag* diag = [] {
    char templ[] = "/tmp/plinth-fuzz-levels-XXXXXX";
    if (!mkdtemp(templ)) std::abort();
    TDiag* d = TDiag::Instance();
    // A small ring bounds what "Invalid Context Id" lines leave on disk.
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
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::istringstream in(text);
  diag->ReadLevelsStream(in, true, true);
  if (diag->m_vContextLevels.size() != TDiag::kContextCount) __builtin_trap();
  if (diag->m_nPoolSize < 40 || diag->m_nPoolSize > 4096) __builtin_trap();

  unsigned debug = 99, buffer = 99;
  diag->Str2DbgLevels(text, &debug, &buffer);
  const bool hasLevel = text.find_first_of("01234567") != std::string::npos;
  if (!hasLevel && (debug != 99 || buffer != 99)) __builtin_trap();

  // An input may have turned the engine off; the next one starts it again.
  diag->SetDiagEnabled(true);
  PLINTH_DIAG_AT("Fuzz", 0, "still printing");
  return 0;
}
