// Thread-local slots: one pointer for each thread under a process-wide
// index, null until the thread stores one. Any thread may use a slot;
// allocation reports failure as -1, nothing here throws.
#pragma once

namespace os_tls {
// Called at the end of a thread whose value in the slot isn't null. The
// slot has already been cleared when it runs: it gets the value instead.
using ThreadExitHook = void (*)(void* value);

// A new slot, or -1 when the process has none left.
long alloc(ThreadExitHook onThreadExit) noexcept;
// Gives the slot back; the hook no longer runs for it.
void free(long slot) noexcept;
// The calling thread's value; null at first and for a slot of -1.
void* get(long slot) noexcept;
// False when the value couldn't be stored.
bool set(long slot, void* value) noexcept;
}  // namespace os_tls
