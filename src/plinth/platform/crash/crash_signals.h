// The process's crash hooks: handlers for the fatal signals on an alternate
// stack and a terminate handler for a C++ exception that escapes. A crash
// becomes a CrashEvent in the terms of the original system (its exception
// codes, its register names) and goes to one filter. Everything reached
// from a handler is async-signal-safe; install and uninstall are meant for
// start-up and shut-down, from one thread. Failures are results; nothing
// throws.
#pragma once

#include <cstdint>

namespace plinth::platform {

// x86-64's registers, as a crash report shows them.
struct CrashRegisters {
  uint64_t rax, rbx, rcx, rdx, rsi, rdi, rbp, rsp, rip;
  uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
  uint64_t eflags;
  uint16_t cs, ss, ds, es, fs, gs;
};

struct CrashEvent {
  unsigned long code = 0;          // the original system's exception code
  uint64_t address = 0;            // the instruction that failed
  unsigned long accessKind = 0;    // access violations: 0 read, 1 write, 8 execute
  uint64_t accessAddress = 0;      // access violations: the address touched
  int signal = 0;                  // 0 for an escaping C++ exception
  int signalCode = 0;
  void* info = nullptr;            // siginfo_t*, null without a signal
  void* context = nullptr;         // ucontext_t* of the failing thread
  unsigned long threadId = 0;
  CrashRegisters regs{};
};

// What a filter gives back, as on the original system.
constexpr long kCrashContinueExecution = -1;
constexpr long kCrashContinueSearch = 0;

using CrashFilter = long (*)(CrashEvent*);

// Installs the filter: handlers for SIGSEGV, SIGBUS, SIGFPE, SIGILL and
// SIGABRT, the terminate handler, and an alternate stack for the calling
// thread. The handlers before are kept for crash_previous_filter and
// crash_uninstall. False when a signal handler could not be set.
bool crash_install(CrashFilter filter) noexcept;
// Gives the kept handlers back.
void crash_uninstall() noexcept;
// The handlers that were in force before, as one filter: calls a previous
// handler function and gives kCrashContinueExecution, or gives
// kCrashContinueSearch where the default action was in force.
long crash_previous_filter(CrashEvent* event) noexcept;
// An alternate signal stack for the calling thread, so that a stack overflow
// still reaches the handler; freed when the thread ends. True when the
// thread has one (also one of its own from before).
bool crash_prepare_thread() noexcept;
// Size of the alternate stacks that crash_prepare_thread makes.
constexpr unsigned long kCrashAltStackSize = 64 * 1024;

// The thread that handles a crash marks itself: a fault in that thread
// then skips the running section (below) instead of starting over, and other
// threads that fault wait until crash_leave_handling.
void crash_enter_handling() noexcept;
void crash_leave_handling() noexcept;
// True in the thread that has entered handling.
bool crash_is_handling_thread() noexcept;
// Runs body; a fault inside it, in the handling thread, ends the body and
// gives false. Sections nest a few levels deep.
bool crash_section(void (*body)(void*), void* argument) noexcept;
}  // namespace plinth::platform
