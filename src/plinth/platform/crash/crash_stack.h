// The call chain of a crashed thread and what the debug information says
// about it. crash_walk is async-signal-safe (libunwind's local walk, which
// allocates nothing). CrashSymbols reads the debug information with libdw,
// which allocates: use it in normal code or in a process forked for the
// purpose, never in a signal handler. Failures are results; nothing throws.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plinth::platform {

// One frame: where it runs and the registers that locate its data.
struct CrashFrame {
  uint64_t pc = 0;
  uint64_t sp = 0;
  uint64_t cfa = 0;  // the caller's stack pointer, 0 when unknown
  uint64_t rbp = 0, rbx = 0, r12 = 0, r13 = 0, r14 = 0, r15 = 0;
  bool exact = false;  // pc is the instruction itself, not a return address
};

// Walks the thread of a ucontext_t, innermost frame first; stops at a
// return address of 0, a failed step or max frames. -1 when the first step
// already fails. The first frame of a context that the kernel made for a
// signal is exact; one from getcontext (uc_flags cleared before the call,
// as the kernel always sets them) stands at a return address.
int crash_walk(void* context, CrashFrame* frames, int max) noexcept;

class CrashSymbols {
public:
  // Base types of the debug information in the other system's numbering:
  // 0 none, 2 char, 3 wide char, 6 signed, 7 unsigned, 8 float, 10 bool.
  enum BasicType { btNoType = 0, btChar = 2, btWChar = 3, btInt = 6, btUInt = 7, btFloat = 8, btBool = 10 };
  // What one address is: module file name, symbol and source position.
  struct Place {
    char m_szModule[256];
    char m_szSymbol[1024];
    char m_szFile[1024];
    uint64_t m_nDisplacement;
    unsigned m_nLine;
    bool m_bModule, m_bSymbol, m_bLine;
  };
  // A formatted variable, or null text when its memory could not be read
  // ("punting"); name is the variable's name.
  using Sink = void (*)(void* user, const char* text, const char* name);

  CrashSymbols() = default;
  ~CrashSymbols();
  CrashSymbols(const CrashSymbols&) = delete;
  CrashSymbols& operator=(const CrashSymbols&) = delete;

  // Reports the modules of this process; false when libdw can't.
  bool Open() noexcept;
  // caller: the frame's pc is a return address, so its call site is pc - 1.
  void Describe(uint64_t pc, bool caller, Place& out) noexcept;
  // Parameters and locals of a frame in scope at its pc; callerFrame as above.
  void EnumerateLocals(const CrashFrame& frame, bool caller, Sink sink, void* user) noexcept;
  // The global variables of the program's executable.
  void EnumerateGlobals(Sink sink, void* user) noexcept;

  // Limits of the texts, as the report has them.
  static constexpr size_t kSymbolText = 12288;
  static constexpr unsigned kMaxChildren = 1024;
  static constexpr unsigned kMaxGlobals = 4096;

private:
  void* m_pDwfl = nullptr;
};

// The file name of the mapping that holds an address, from /proc/self/maps:
// the module of a frame when the debug information can't be read.
// Async-signal-safe; false when no file backs the address.
bool crash_module_name(uint64_t address, char* out, size_t size) noexcept;

// Reads memory of this process without faulting; false when any byte of it
// can't be read.
bool crash_read_memory(uint64_t address, void* out, size_t size) noexcept;

}  // namespace plinth::platform
