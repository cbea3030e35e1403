// plinth-crashme: installs the crash handler and crashes in the way asked
// for, so that tests and benchmarks see what a host program would leave.
//
//   plinth-crashme KIND [--dir D] [--log NAME] [--let-crash] [--extra]
//                       [--extra-faults] [--heap MB] [--diag LOGDIR] [--thread]
//                       [--dump FILE]
//                       [--no-handler]
//
// KIND: read, write, divide, illegal, abort, throw, bus, stack, race, none.
// --extra-faults makes the extra report fault in its turn.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "plinth/diag.h"
#include "plinth/errors.h"

PLINTH_DIAG_FILE();

namespace {

struct Point {
  int x;
  int y;
};

int g_crashCounter = 42;
const char* g_crashWord = "crashme";
volatile int g_zero = 0;
std::vector<char> g_heap;

// Writes to standard error after the report: how deep the handler went into
// its alternate stack (untouched bytes of a fresh stack are zero).
class StackMark : public OcExceptionExtraReport {
public:
  bool m_bFault = false;
  void GenerateExtraReport() override {
    if (m_bFault) *static_cast<volatile int*>(nullptr) = 1;
    stack_t stack;
    if (sigaltstack(nullptr, &stack) != 0 || (stack.ss_flags & SS_DISABLE)) return;
    const unsigned char* base = static_cast<const unsigned char*>(stack.ss_sp);
    size_t untouched = 0;
    while (untouched < stack.ss_size && base[untouched] == 0) ++untouched;
    char line[128];
    const int n = std::snprintf(line, sizeof line, "extra report: alternate stack used %zu of %zu bytes\n",
                                stack.ss_size - untouched, stack.ss_size);
    if (n > 0) (void)!write(2, line, static_cast<size_t>(n));
  }
};

__attribute__((noinline)) void CrashRead(int depth) {
  volatile int marker = 7;
  volatile Point where{3, 4};
  if (depth > 0) return CrashRead(depth - 1);
  std::printf("%d %d\n", *static_cast<volatile int*>(nullptr), marker + where.x);
}

__attribute__((noinline)) void CrashWrite() {
  volatile uintptr_t place = 0x10;
  volatile int* bad = reinterpret_cast<volatile int*>(place);
  *bad = g_crashCounter;
}

__attribute__((noinline)) int CrashDivide(int value) { return value / g_zero; }

__attribute__((noinline)) void CrashIllegal() { __builtin_trap(); }

__attribute__((noinline)) void CrashBus(const char* dir) {
  std::string path = std::string(dir) + "/crashme.bus";
  FILE* file = std::fopen(path.c_str(), "we");
  if (!file) std::exit(3);
  std::fclose(file);
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  void* page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, fd, 0);
  if (page == MAP_FAILED) std::exit(3);
  std::printf("%d\n", *static_cast<volatile char*>(page));
}

__attribute__((noinline)) int CrashStack(int depth) {
  volatile char room[1024];
  room[0] = static_cast<char>(depth);
  if (g_zero > 0) return 0;
  return CrashStack(depth + 1) + room[0];
}

void Crash(const std::string& kind, const char* dir) {
  if (kind == "read") CrashRead(2);
  else if (kind == "write") CrashWrite();
  else if (kind == "divide") std::printf("%d\n", CrashDivide(g_crashCounter));
  else if (kind == "illegal") CrashIllegal();
  else if (kind == "abort") std::abort();
  else if (kind == "throw") throw std::runtime_error("escaped");
  else if (kind == "bus") CrashBus(dir);
  else if (kind == "stack") std::printf("%d\n", CrashStack(0));
  else if (kind == "race") {
    // Several threads fault at the same moment; one report must come out.
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([&ready] {
        OcExceptionReport::PrepareThread();
        ready.fetch_add(1);
        while (ready.load() < 4) {
        }
        CrashWrite();
      });
    for (auto& t : threads) t.join();
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: plinth-crashme KIND [options]\n");
    return 2;
  }
  const std::string kind = argv[1];
  const char* dir = ".";
  const char* log = nullptr;
  const char* diagDir = nullptr;
  const char* dump = nullptr;
  static StackMark mark;
  bool letCrash = false, extra = false, inThread = false, handler = true;
  long heapMb = 0;
  for (int i = 2; i < argc; ++i) {
    const std::string option = argv[i];
    const bool more = i + 1 < argc;
    if (option == "--dir" && more) dir = argv[++i];
    else if (option == "--log" && more) log = argv[++i];
    else if (option == "--diag" && more) diagDir = argv[++i];
    else if (option == "--dump" && more) dump = argv[++i];
    else if (option == "--heap" && more) heapMb = std::atol(argv[++i]);
    else if (option == "--let-crash") letCrash = true;
    else if (option == "--extra") extra = true;
    else if (option == "--extra-faults") extra = mark.m_bFault = true;
    else if (option == "--thread") inThread = true;
    else if (option == "--no-handler") handler = false;
    else {
      std::fprintf(stderr, "plinth-crashme: unknown option %s\n", option.c_str());
      return 2;
    }
  }
  if (diagDir) {
    std::ofstream(std::string(diagDir) + "/general_DiagLvls.ini") << "crashme 6 6\nIsBuffer=1\nMemBufferSize=64\nEnable=1\n";
    TDiag* diag = TDiag::Instance();
    diag->Initialize(diagDir, diagDir, "");
    diag->EnableStacks(TDiag::eStacksRecording);
  }
  // Never destroyed: the handler stays until the process ends.
  if (handler) new OcExceptionReport(dir, extra ? &mark : nullptr);
  if (log) OcExceptionReport::SetLogFileName(const_cast<char*>(log));
  if (letCrash) OcExceptionReport::m_bLetItCrash = 1;
  if (dump) std::snprintf(OcExceptionReport::m_szMiniDumpFileName, OcExceptionReport::kNameSize, "%s", dump);
  if (heapMb > 0) {
    g_heap.resize(static_cast<size_t>(heapMb) << 20);
    for (size_t i = 0; i < g_heap.size(); i += 4096) g_heap[i] = static_cast<char>(i >> 12);
  }
  std::printf("%s %d\n", g_crashWord, g_crashCounter);
  std::fflush(stdout);
  PLINTH_DIAG_FUNC("main");
  PLINTH_DIAG(4, "about to crash: " << kind);
  if (inThread) {
    std::thread worker([&] {
      PLINTH_DIAG_FUNC("worker");
      PLINTH_DIAG(4, "worker crashes");
      OcExceptionReport::PrepareThread();
      Crash(kind, dir);
    });
    worker.join();
  } else {
    Crash(kind, dir);
  }
  return 0;
}
