#include "plinth/platform/crash/crash_signals.h"

#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace plinth::platform {
namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int kSignalCount = sizeof kSignals / sizeof kSignals[0];
constexpr unsigned long kCppExceptionCode = 0xE06D7363;  // the other compiler's code for C++ throws
constexpr unsigned long kStackGuardReach = 64 * 1024;

CrashFilter g_filter = nullptr;
struct sigaction g_previous[kSignalCount];
bool g_installed = false;
std::terminate_handler g_previousTerminate = nullptr;

std::atomic<unsigned long> g_handlingThread{0};
std::atomic<bool> g_handlingDone{false};
constexpr int kMaxSections = 4;
sigjmp_buf g_sections[kMaxSections];
volatile int g_sectionDepth = 0;

unsigned long ThisThread() noexcept { return static_cast<unsigned long>(syscall(SYS_gettid)); }

int SignalIndex(int signal) noexcept {
  for (int i = 0; i < kSignalCount; ++i)
    if (kSignals[i] == signal) return i;
  return -1;
}

void Sleep(long nanoseconds) noexcept {
  timespec t{0, nanoseconds};
  nanosleep(&t, nullptr);
}

uint16_t Selector(int which) noexcept {
  uint16_t value = 0;
  switch (which) {
    case 0: __asm__ volatile("mov %%ds, %0" : "=r"(value)); break;
    case 1: __asm__ volatile("mov %%es, %0" : "=r"(value)); break;
    case 2: __asm__ volatile("mov %%ss, %0" : "=r"(value)); break;
    case 3: __asm__ volatile("mov %%cs, %0" : "=r"(value)); break;
    case 4: __asm__ volatile("mov %%fs, %0" : "=r"(value)); break;
    default: __asm__ volatile("mov %%gs, %0" : "=r"(value)); break;
  }
  return value;
}

// fromSignal: the kernel filled the context; getcontext leaves the
// selectors out, so they are read here instead.
void FillRegisters(CrashEvent& event, const ucontext_t* uc, bool fromSignal) noexcept {
  const greg_t* g = uc->uc_mcontext.gregs;
  CrashRegisters& r = event.regs;
  r.rax = g[REG_RAX], r.rbx = g[REG_RBX], r.rcx = g[REG_RCX], r.rdx = g[REG_RDX];
  r.rsi = g[REG_RSI], r.rdi = g[REG_RDI], r.rbp = g[REG_RBP], r.rsp = g[REG_RSP], r.rip = g[REG_RIP];
  r.r8 = g[REG_R8], r.r9 = g[REG_R9], r.r10 = g[REG_R10], r.r11 = g[REG_R11];
  r.r12 = g[REG_R12], r.r13 = g[REG_R13], r.r14 = g[REG_R14], r.r15 = g[REG_R15];
  r.eflags = g[REG_EFL];
  const uint64_t segments = fromSignal ? static_cast<uint64_t>(g[REG_CSGSFS]) : 0;
  r.cs = fromSignal ? segments & 0xFFFF : Selector(3);
  r.gs = fromSignal ? (segments >> 16) & 0xFFFF : Selector(5);
  r.fs = fromSignal ? (segments >> 32) & 0xFFFF : Selector(4);
  // The kernel saves SS only where it says so in the flags (UC_SIGCONTEXT_SS).
  r.ss = fromSignal && (uc->uc_flags & 0x2) ? (segments >> 48) & 0xFFFF : Selector(2);
  r.ds = Selector(0);
  r.es = Selector(1);
  event.address = r.rip;
}

// The original system's code for a signal and its si_code.
unsigned long ExceptionCode(int signal, const siginfo_t* info, const CrashRegisters& regs) noexcept {
  const int code = info ? info->si_code : 0;
  switch (signal) {
    case SIGSEGV: {
      const uint64_t fault = info ? reinterpret_cast<uint64_t>(info->si_addr) : 0;
      // A fault just below the stack pointer is a stack that ran out.
      if (code > 0 && fault < regs.rsp + 4096 && fault + kStackGuardReach > regs.rsp) return 0xC00000FD;
      return 0xC0000005;
    }
    case SIGBUS:
      return code == BUS_ADRALN ? 0x80000002 : 0xC0000006;
    case SIGFPE:
      switch (code) {
        case FPE_INTDIV: return 0xC0000094;
        case FPE_INTOVF: return 0xC0000095;
        case FPE_FLTDIV: return 0xC000008E;
        case FPE_FLTOVF: return 0xC0000091;
        case FPE_FLTUND: return 0xC0000093;
        case FPE_FLTRES: return 0xC000008F;
        case FPE_FLTSUB: return 0xC000008C;
        default: return 0xC0000090;
      }
    case SIGILL:
      return (code == ILL_PRVOPC || code == ILL_PRVREG) ? 0xC0000096 : 0xC000001D;
    case SIGABRT:
      return 0x40000015;  // the other system's fatal application exit
    default:
      return 0;
  }
}

// Lets the default action of the signal happen: a fault re-runs its
// instruction on return; a signal that was sent is sent again.
void DefaultAction(int signal, const siginfo_t* info) noexcept {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = SIG_DFL;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
  if (!info || info->si_code <= 0 || signal == SIGABRT) syscall(SYS_tgkill, getpid(), ThisThread(), signal);
}

void WaitForTheEnd() noexcept {
  while (!g_handlingDone.load(std::memory_order_acquire)) Sleep(10'000'000);
}

void OnSignal(int signal, siginfo_t* info, void* context) {
  const int savedErrno = errno;
  if (g_handlingThread.load(std::memory_order_acquire) == ThisThread()) {
    const int depth = g_sectionDepth;
    if (depth > 0) siglongjmp(g_sections[depth - 1], 1);
    // A fault of the handling thread outside any section: nothing more can
    // be done for the report.
    DefaultAction(signal, info);
    return;
  }
  CrashEvent event;
  FillRegisters(event, static_cast<ucontext_t*>(context), true);
  event.signal = signal;
  event.signalCode = info ? info->si_code : 0;
  event.info = info;
  event.context = context;
  event.threadId = ThisThread();
  event.code = ExceptionCode(signal, info, event.regs);
  if (signal == SIGSEGV && info) {
    const greg_t error = static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_ERR];
    event.accessKind = (error & 0x10) ? 8 : (error & 0x2) ? 1 : 0;
    event.accessAddress = reinterpret_cast<uint64_t>(info->si_addr);
  }
  const CrashFilter filter = g_filter;
  const long result = filter ? filter(&event) : kCrashContinueSearch;
  if (result == kCrashContinueExecution) {
    const unsigned long handler = g_handlingThread.load(std::memory_order_acquire);
    if (handler == 0 || handler == event.threadId) {
      errno = savedErrno;
      return;
    }
    WaitForTheEnd();
  }
  DefaultAction(signal, info);
  errno = savedErrno;
}

void OnTerminate() {
  // Captured in this frame, which stays alive while the filter walks it.
  ucontext_t context;
  context.uc_flags = 0;  // getcontext leaves it; the walk reads it
  getcontext(&context);
  CrashEvent event;
  FillRegisters(event, &context, false);
  event.context = &context;
  event.threadId = ThisThread();
  event.code = kCppExceptionCode;
  const CrashFilter filter = g_filter;
  const long result = filter ? filter(&event) : kCrashContinueSearch;
  if (result == kCrashContinueExecution && g_handlingThread.load() != event.threadId) WaitForTheEnd();
  crash_uninstall();
  if (g_previousTerminate) g_previousTerminate();
  std::abort();
}

struct AltStack {
  void* m_pBase = nullptr;
  ~AltStack() {
    if (!m_pBase) return;
    stack_t off;
    std::memset(&off, 0, sizeof off);
    off.ss_flags = SS_DISABLE;
    sigaltstack(&off, nullptr);
    munmap(m_pBase, kCrashAltStackSize + static_cast<size_t>(getpagesize()));
  }
};
thread_local AltStack t_altStack;

}  // namespace

bool crash_prepare_thread() noexcept {
  stack_t current;
  if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE)) return true;
  const size_t guard = static_cast<size_t>(getpagesize());
  void* base = mmap(nullptr, kCrashAltStackSize + guard, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) return false;
  // The lowest page stays unmapped, so that a handler that runs out of its
  // stack faults instead of writing over the memory below.
  mprotect(base, guard, PROT_NONE);
  stack_t stack;
  std::memset(&stack, 0, sizeof stack);
  stack.ss_sp = static_cast<char*>(base) + guard;
  stack.ss_size = kCrashAltStackSize;
  if (sigaltstack(&stack, nullptr) != 0) {
    munmap(base, kCrashAltStackSize + guard);
    return false;
  }
  t_altStack.m_pBase = base;
  return true;
}

bool crash_install(CrashFilter filter) noexcept {
  crash_prepare_thread();
  g_filter = filter;
  bool complete = true;
  for (int i = 0; i < kSignalCount; ++i) {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_sigaction = OnSignal;
    // No deferring: a fault inside the handler must reach it again, so that
    // it can skip the section it was in.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    struct sigaction previous;
    if (sigaction(kSignals[i], &action, &previous) != 0) {
      complete = false;
      continue;
    }
    if (!g_installed) g_previous[i] = previous;
  }
  std::terminate_handler before = std::set_terminate(OnTerminate);
  if (!g_installed) g_previousTerminate = before;
  g_installed = true;
  return complete;
}

void crash_uninstall() noexcept {
  if (!g_installed) return;
  for (int i = 0; i < kSignalCount; ++i) sigaction(kSignals[i], &g_previous[i], nullptr);
  std::set_terminate(g_previousTerminate);
  g_installed = false;
}

long crash_previous_filter(CrashEvent* event) noexcept {
  if (!event || !g_installed) return kCrashContinueSearch;
  if (event->signal == 0) return kCrashContinueSearch;  // the previous terminate handler runs on the way out
  const int index = SignalIndex(event->signal);
  if (index < 0) return kCrashContinueSearch;
  const struct sigaction& previous = g_previous[index];
  if (previous.sa_flags & SA_SIGINFO) {
    if (!previous.sa_sigaction) return kCrashContinueSearch;
    previous.sa_sigaction(event->signal, static_cast<siginfo_t*>(event->info), event->context);
    return kCrashContinueExecution;
  }
  if (previous.sa_handler == SIG_DFL || previous.sa_handler == SIG_IGN) return kCrashContinueSearch;
  previous.sa_handler(event->signal);
  return kCrashContinueExecution;
}

void crash_enter_handling() noexcept { g_handlingThread.store(ThisThread(), std::memory_order_release); }
void crash_leave_handling() noexcept { g_handlingDone.store(true, std::memory_order_release); }
bool crash_is_handling_thread() noexcept {
  return g_handlingThread.load(std::memory_order_acquire) == ThisThread();
}

bool crash_section(void (*body)(void*), void* argument) noexcept {
  const int depth = g_sectionDepth;
  if (depth >= kMaxSections) {
    body(argument);
    return true;
  }
  if (sigsetjmp(g_sections[depth], 1) != 0) {
    g_sectionDepth = depth;
    return false;
  }
  g_sectionDepth = depth + 1;
  body(argument);
  g_sectionDepth = depth;
  return true;
}

}  // namespace plinth::platform
