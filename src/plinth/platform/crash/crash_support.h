// Small services of the crash handler: a child process for the work that
// can't run in a signal handler, the local time without localtime, and
// the user's registry file. Everything marked async-signal-safe may run in
// a crash handler; the preparations run at start-up. Failures are results.
#pragma once

#include <cstddef>
#include <cstdint>

#include "plinth/platform/local_time.h"

namespace plinth::platform {

// Runs body in a forked child on a fresh stack of its own, with the default
// action for the crash signals, and waits up to timeoutMs for it. The
// child's exit status, or -1 when it failed, ended by a signal or was late
// (a late child is killed).
// Async-signal-safe in the parent (_Fork, waitpid, nanosleep, kill).
int crash_run_in_child(void (*body)(void*), void* argument, int timeoutMs) noexcept;

// Takes the local time's offset from UTC for crash_local_time. Start-up.
void crash_prepare_clock() noexcept;
// The local time now, with the offset taken by crash_prepare_clock (a change
// of daylight saving time since then is not seen). Async-signal-safe.
void crash_local_time(_SYSTEMTIME& out) noexcept;

// The user's registry: $XDG_CONFIG_HOME/plinth/registry.ini (or
// ~/.config/plinth/registry.ini), a section for each key path, a decimal
// integer for each value. The path is found at start-up.
void crash_prepare_registry() noexcept;
// The path found, empty when there is none.
const char* crash_registry_path() noexcept;

// An open key: the text of its section in a buffer of the crash handler.
struct RegistryKey {
  const char* m_pText = nullptr;
  size_t m_nLength = 0;
};
// Reads the file and finds the section of the key path (case-insensitive,
// as the registry's names are). False when the file or the key is absent.
// Async-signal-safe; the key lives until the next call.
bool crash_registry_open(const char* keyPath, RegistryKey& key) noexcept;
// One 32-bit value of the key; false when it is absent or not a number.
bool crash_registry_query(const RegistryKey& key, const char* name, int& value) noexcept;

// ---- files and process, async-signal-safe unless marked otherwise ----
// Opens a report for writing at its end, created if absent, each write
// reaching the disk before the call returns. -1 on failure.
int crash_open_report(const char* path) noexcept;
// Size of an open file or of a named one; 0 when it can't be told.
uint64_t crash_file_size(int fd) noexcept;
uint64_t crash_path_size(const char* path) noexcept;
// Cuts an open file back to a size, dropping what a failed step wrote.
void crash_truncate(int fd, uint64_t size) noexcept;
// Copies a file from the given offset to its end onto an open descriptor,
// without the blanks and zeros that end it.
bool crash_copy_file(const char* path, uint64_t from, int fd) noexcept;
// Ends the process at once with the code, running no exit handlers.
[[noreturn]] void crash_exit(int code) noexcept;
// The process id.
unsigned long crash_process_id() noexcept;
// The executable's full path into the buffer (start-up); false on failure.
bool crash_executable_path(char* buffer, size_t size) noexcept;
// The module that holds an address: its file name, the 1-based number of
// its loadable segment that holds the address, and the offset in it.
// Start-up and normal code (it walks the loader's list).
bool crash_logical_address(const void* address, char* moduleName, unsigned long nameSize,
                           unsigned long& section, unsigned long& offset) noexcept;

}  // namespace plinth::platform
