// What the library does when it is loaded into a process and unloaded.
#include "plinth/diag/tdiag.h"
#include "plinth/logger/logger.h"

namespace {
__attribute__((constructor)) void plinth_process_attach() { init_logger(); }

// Subsystems that must shut down before the Logger are added here, ahead of
// exit_logger, so the order of detach stays in one place. A thread's detach
// is the exit hook of the diagnostics' thread slot (DiagStacks).
__attribute__((destructor)) void plinth_process_detach() {
  exit_diag();
  exit_logger();
}
}  // namespace
