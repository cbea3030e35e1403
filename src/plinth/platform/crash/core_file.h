// An ELF core file of the running process, written by the process itself
// from a crash handler, that gdb opens with the program: the registers of
// every thread that answers in time (the crashing thread always), and the
// writable memory. Async-signal-safe: static buffers and plain system
// calls only. Failure is a result with the errno value.
#pragma once

#include "plinth/platform/crash/crash_signals.h"

namespace plinth::platform {
enum CoreResult { kCoreWritten = 0, kCoreOpenFailed = 1, kCoreWriteFailed = 2 };
// Writes the core to path, created anew; error takes the errno value of a
// failure. The other threads are stopped in a signal handler of their own
// for the time of the writing.
CoreResult crash_write_core(const char* path, const CrashEvent& event, int& error) noexcept;
// Lets the threads stopped by crash_write_core go on.
void crash_release_threads() noexcept;
}  // namespace plinth::platform
