// Where the library is put together when it is loaded into a process and
// taken apart when it is unloaded. This file is the one place that knows
// every area; the areas below it know only their own layer and the lower
// ones (scripts/check-layers).
//
// Start-up: the static objects of each source file run first (the
// diagnostic engine comes into being at the first file's registration, on
// the loading thread), then plinth_process_attach creates the destination
// factory.
//
// Shut-down, in the order the library itself uses at unload:
//   1. exit_diag: the engine stops printing. It is retired, not freed:
//      threads that passed a level test a moment before finish their line
//      into nothing (no file, no buffer), and the memory stays until the
//      process ends.
//   2. exit_logger: every destination is closed and removed, then the
//      factory goes. The Logger itself lives in static storage and is only
//      retired, so clients that kept its pointer find no destination.
//   3. The message logger's destructor (at exit, registered when it was
//      made) stops and joins its reader after draining the queue.
// A host may end the services in any other order, and from any thread while
// others still work; each order loses lines at most, never memory:
//   - exit_logger while the message logger's reader writes a batch: the rest
//     of the batch and every later message are lost (the reader writes to
//     the Logger that lives, and that one has no destinations).
//   - any diagnostic line after exit_logger (a TDiagFunc's "Exit", say):
//     lost for the file; the memory buffer still takes it.
//   - a level test racing exit_diag: the line is printed whole before the
//     engine retires, or lost.
//   - WaitForThread after exit_logger: the queue drains into nothing.
//   - Logger use after exit_logger: GetInstance brings the same Logger back,
//     empty and not initialised, and initLogger sets it up again.
// A thread's end is handled by the diagnostics' thread slot (DiagStacks).
#include "plinth/diag/tdiag.h"
#include "plinth/logger/logger.h"

namespace {
__attribute__((constructor)) void plinth_process_attach() { init_logger(); }

__attribute__((destructor)) void plinth_process_detach() {
  exit_diag();
  exit_logger();
}
}  // namespace
