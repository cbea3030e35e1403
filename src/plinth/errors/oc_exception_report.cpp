#include "plinth/errors/oc_exception_report.h"

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "plinth/diag/tdiag.h"
#include "plinth/platform/crash/core_file.h"
#include "plinth/platform/crash/crash_stack.h"
#include "plinth/platform/crash/safe_format.h"
#include "plinth/platform/crash_io.h"
#include "plinth/platform/os/os_time.h"

using namespace plinth::platform;

namespace {

constexpr char kProfileKey[] = "Software\\Zaltrix Systems\\QUILLON\\QUILLON/Operations Center\\CrashHandler";
constexpr char kLongRule[] = "===============================================================\n";  // 63
constexpr char kShortRule[] = "===============================\n";  // 31
constexpr int kMaxFrames = 256;
// The debug information of a large program takes a while to read; a child
// that is still busy after this is given up and the plain walk is written.
constexpr int kSymbolTimeoutMs = 20000;

constexpr size_t kPrintBuffer = 16384;
char g_printBuffer[kPrintBuffer];
char g_exceptionText[512];
CrashFrame g_frames[kMaxFrames];
CrashSymbols* g_pSymbols = nullptr;  // set while the symbol sections are written
// Set once a crash is handled: from then on nothing may read the debug
// information in this process, only in the child made for it.
bool g_bCrashPath = false;
OcExceptionPointers* g_pCrash = nullptr;

bool DisabledByEnvironment() { return std::getenv("OC_DISABLE_CRASH_REPORT") != nullptr; }

// Parts of the report that a fault may cut short: each runs as a section,
// and a fault inside one skips the rest of it.
template <typename Body>
void Section(Body body) {
  crash_section([](void* argument) { (*static_cast<Body*>(argument))(); }, &body);
}

}  // namespace

OcExceptionExtraReport::~OcExceptionExtraReport() = default;

std::string OcExceptionReport::m_sCrashDIR;
char OcExceptionReport::m_szLogFileName[kNameSize];
char OcExceptionReport::m_szMiniDumpFileName[kNameSize];
char OcExceptionReport::m_szModuleName[kNameSize];
int OcExceptionReport::m_hReportFile = -1;
unsigned long OcExceptionReport::m_hProcess = 0;
OcExceptionFilter OcExceptionReport::m_previousFilter = nullptr;
OcExceptionExtraReport* OcExceptionReport::m_ocExceptionExtraReport = nullptr;
int OcExceptionReport::m_bGetFaultReason = 1;
int OcExceptionReport::m_bShowRegs = 0;
int OcExceptionReport::m_bGetStackTraceString = 1;
int OcExceptionReport::m_bGetStackTraceVarsAndParams = 0;
int OcExceptionReport::m_bGetGlobalVariables = 0;
int OcExceptionReport::m_bLetItCrash = 0;
int OcExceptionReport::m_bShowErrMsg = 0;
int OcExceptionReport::m_bTerminateProcess = 1;
int OcExceptionReport::m_bMiniDump = 1;
int OcExceptionReport::m_bInFilter = 0;

OcExceptionReport::OcExceptionReport(const char* crashDirectory, OcExceptionExtraReport* extra) {
  if (crashDirectory) m_sCrashDIR = crashDirectory;
  crash_prepare_clock();
  crash_prepare_registry();
  if (!DisabledByEnvironment() && crash_install(OcUnhandledExceptionFilter)) m_previousFilter = crash_previous_filter;
  char path[4096];
  crash_executable_path(path, sizeof path);
  const char* slash = std::strrchr(path, '/');
  const char* backslash = std::strrchr(path, '\\');
  const char* base = slash > backslash ? slash : backslash;
  safe_format(m_szModuleName, sizeof m_szModuleName, "%s", base ? base + 1 : path);
  FormatFileName("CrashReport", "log", m_szLogFileName);
  FormatFileName("MiniDump", "dmp", m_szMiniDumpFileName);
  m_hProcess = crash_process_id();
  m_ocExceptionExtraReport = extra;
}

OcExceptionReport::~OcExceptionReport() {
  if (!DisabledByEnvironment()) crash_uninstall();
}

bool OcExceptionReport::PrepareThread() { return crash_prepare_thread(); }

void OcExceptionReport::FormatFileName(const char* prefix, const char* extension, char* out) {
  char module[kNameSize];
  safe_format(module, sizeof module, "%s", m_szModuleName);
  if (char* dot = std::strrchr(module, '.')) *dot = '\0';
  char host[256];
  host_name_into(host, sizeof host);
  // An empty directory is the current one, not the root.
  const char* separator = m_sCrashDIR.empty() ? "" : "/";
  const size_t length = safe_format(out, kNameSize, "%s%s%s.%s.%s.%lu.%s", m_sCrashDIR.c_str(), separator, prefix,
                                    module, host, crash_process_id(), extension);
  // A cut name would name another file: better none, which fails to open.
  if (length >= kNameSize - 1) out[0] = '\0';
}

void OcExceptionReport::SetLogFileName(char* name) {
  if (name) safe_format(m_szLogFileName, sizeof m_szLogFileName, "%s", name);
  else FormatFileName("CrashReport", "log", m_szLogFileName);
  FormatFileName("MiniDump", "dmp", m_szMiniDumpFileName);
}

int OcExceptionReport::printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const size_t length = safe_vformat(g_printBuffer, sizeof g_printBuffer, format, args);
  va_end(args);
  if (m_hReportFile >= 0) raw_write(m_hReportFile, g_printBuffer, length);
  return static_cast<int>(length);
}

bool OcExceptionReport::QueryIntValue(const RegistryKey& key, const char* name, int& value) {
  return crash_registry_query(key, name, value);
}

void OcExceptionReport::GetReportProfile() {
  RegistryKey key;
  if (!crash_registry_open(kProfileKey, key)) return;
  QueryIntValue(key, "FaultReason", m_bGetFaultReason);
  QueryIntValue(key, "Registries", m_bShowRegs);
  QueryIntValue(key, "StackTrace", m_bGetStackTraceString);
  QueryIntValue(key, "StackTraceEx", m_bGetStackTraceVarsAndParams);
  QueryIntValue(key, "Globals", m_bGetGlobalVariables);
  QueryIntValue(key, "LetCrash", m_bLetItCrash);
  QueryIntValue(key, "ShowErrorMsg", m_bShowErrMsg);
  QueryIntValue(key, "TerminateProcess", m_bTerminateProcess);
  QueryIntValue(key, "MiniDump", m_bMiniDump);
}

int OcExceptionReport::GetLogicalAddress(void* address, char* moduleName, unsigned long nameSize,
                                         unsigned long& section, unsigned long& offset) {
  return crash_logical_address(address, moduleName, nameSize, section, offset) ? 1 : 0;
}

char* OcExceptionReport::GetExceptionString(unsigned long code) {
  static const struct {
    unsigned long code;
    const char* text;
  } kTexts[] = {
      {0xC0000005, "ACCESS_VIOLATION"},      {0x80000002, "DATATYPE_MISALIGNMENT"},
      {0x80000003, "BREAKPOINT"},            {0x80000004, "SINGLE_STEP"},
      {0xC000008C, "ARRAY_BOUNDS_EXCEEDED"}, {0xC000008D, "FLT_DENORMAL_OPERAND"},
      {0xC000008E, "FLT_DIVIDE_BY_ZERO"},    {0xC000008F, "FLT_INEXACT_RESULT"},
      {0xC0000090, "FLT_INVALID_OPERATION"}, {0xC0000091, "FLT_OVERFLOW"},
      {0xC0000092, "FLT_STACK_CHECK"},       {0xC0000093, "FLT_UNDERFLOW"},
      {0xC0000094, "INT_DIVIDE_BY_ZERO"},    {0xC0000095, "INT_OVERFLOW"},
      {0xC0000096, "PRIV_INSTRUCTION"},      {0xC0000006, "IN_PAGE_ERROR"},
      {0xC000001D, "ILLEGAL_INSTRUCTION"},   {0xC0000025, "NONCONTINUABLE_EXCEPTION"},
      {0xC00000FD, "STACK_OVERFLOW"},        {0xC0000026, "INVALID_DISPOSITION"},
      {0x80000001, "GUARD_PAGE"},            {0xC0000008, "INVALID_HANDLE"},
  };
  for (const auto& entry : kTexts)
    if (entry.code == code) return const_cast<char*>(entry.text);
  // The system's own message table stands for the rest; here it knows the
  // two codes that only this port gives.
  const char* other = code == 0x40000015 ? "FATAL_APP_EXIT" : code == 0xE06D7363 ? "CPP_EXCEPTION" : "";
  safe_format(g_exceptionText, sizeof g_exceptionText, "%s", other);
  return g_exceptionText;
}

namespace {

// One variable of the locals or globals sections, or the line that says it
// could not be read.
void WriteSymbol(void*, const char* text, const char* name) {
  const int fd = OcExceptionReport::m_hReportFile;
  if (fd < 0) return;
  if (text) {
    // The report's printf buffer would hold it too; the symbol's own limit is
    // 12,288 characters.
    static char line[CrashSymbols::kSymbolText + 3];
    raw_write(fd, line, safe_format(line, sizeof line, "\t%.12288s\n", text));
    return;
  }
  char line[1100];
  raw_write(fd, line, safe_format(line, sizeof line, "punting on symbol %s\n", name ? name : ""));
}

void Rule(int fd, const char* heading, bool blank) {
  if (fd < 0) return;
  raw_write(fd, "\n");
  raw_write(fd, kShortRule);
  raw_write(fd, heading);
  raw_write(fd, kShortRule);
  if (blank) raw_write(fd, "\n");
}

}  // namespace

void OcExceptionReport::WriteStackDetails(void*, void* context, bool writeVariables) {
  printf("\nCall stack:\n");
  const int count = crash_walk(context, g_frames, kMaxFrames);
  if (count < 0) return;
  CrashSymbols local;
  CrashSymbols* symbols = g_pSymbols;
  if (!symbols && !g_bCrashPath && local.Open()) symbols = &local;
  for (int i = 0; i < count; ++i) {
    const CrashFrame& frame = g_frames[i];
    CrashSymbols::Place place;
    std::memset(&place, 0, sizeof place);
    // Each pc but a signal's own is a return address.
    if (symbols) symbols->Describe(frame.pc, !frame.exact, place);
    else place.m_bModule = crash_module_name(frame.pc, place.m_szModule, sizeof place.m_szModule);
    printf(" %2d  ", i);
    printf("%s!", place.m_bModule ? place.m_szModule : "<Unknown module>");
    if (place.m_bSymbol)
      printf("%s + %llX", place.m_szSymbol, static_cast<unsigned long long>(place.m_nDisplacement));
    else
      printf("'no symbol found'");
    if (place.m_bLine) printf(" [%s : %u]", place.m_szFile, place.m_nLine);
    printf("\n");
    if (writeVariables && symbols) {
      symbols->EnumerateLocals(frame, !frame.exact, WriteSymbol, nullptr);
      printf("\n");
    }
  }
}

void OcExceptionReport::GenerateExceptionReport(OcExceptionPointers* pointers) {
  _SYSTEMTIME now;
  crash_local_time(now);
  printf("%s", kLongRule);
  printf("= CRASH REPORT\n");
  printf("=\n= Program: %s\n", m_szModuleName);
  printf("= Crash date: %02u/%02u/%02u\n", now.wMonth, now.wDay, now.wYear % 100u);
  printf("= Crash time: %02u:%02u:%02u:%u\n", now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
  printf("%s\n", kLongRule);

  if (m_bGetFaultReason == 1) Section([pointers] {
      printf("\n%s", kShortRule);
      printf("Fault Reason and Address:\n");
      printf("%s\n", kShortRule);
      printf("Exception code: %08lX %s\n", pointers->code, GetExceptionString(pointers->code));
      printf("Fault address:  %04X:%p %s\n", pointers->regs.cs, reinterpret_cast<void*>(pointers->address),
             m_szModuleName);
      if (pointers->code == 0xC0000005)
        printf("Attempt to %s 0x%08llX\n", pointers->accessKind == 1 ? "write to" : "read from",
               static_cast<unsigned long long>(pointers->accessAddress));
    });

  if (m_bShowRegs == 1) Section([pointers] {
      const CrashRegisters& r = pointers->regs;
      printf("\n%s", kShortRule);
      printf("Registers:\n");
      printf("%s\n", kShortRule);
      printf("RAX:%016llX\nRBX:%016llX\nRCX:%016llX\nRDX:%016llX\nRSI:%016llX\nRDI:%016llX\n",
             static_cast<unsigned long long>(r.rax), static_cast<unsigned long long>(r.rbx),
             static_cast<unsigned long long>(r.rcx), static_cast<unsigned long long>(r.rdx),
             static_cast<unsigned long long>(r.rsi), static_cast<unsigned long long>(r.rdi));
      printf("R8:%016llX\nR9:%016llX\nR10:%016llX\nR11:%016llX\n", static_cast<unsigned long long>(r.r8),
             static_cast<unsigned long long>(r.r9), static_cast<unsigned long long>(r.r10),
             static_cast<unsigned long long>(r.r11));
      printf("R12:%016llX\nR13:%016llX\nR14:%016llX\nR15:%016llX\n", static_cast<unsigned long long>(r.r12),
             static_cast<unsigned long long>(r.r13), static_cast<unsigned long long>(r.r14),
             static_cast<unsigned long long>(r.r15));
      printf("CS:RIP:%04X:%016llX\n", r.cs, static_cast<unsigned long long>(r.rip));
      printf("SS:RSP:%04X:%016llX  RBP:%016llX\n", r.ss, static_cast<unsigned long long>(r.rsp),
             static_cast<unsigned long long>(r.rbp));
      printf("DS:%04X  ES:%04X  FS:%04X  GS:%04X\n", r.ds, r.es, r.fs, r.gs);
      printf("Flags:%08X\n", static_cast<unsigned>(r.eflags));
    });

  // The sections of the debug information run in a child process: reading
  // it allocates, and the crash may have left the allocator locked or broken.
  if (m_hReportFile < 0) return;
  const uint64_t before = crash_file_size(m_hReportFile);
  g_pCrash = pointers;
  const int status = crash_run_in_child(
      [](void*) {
        CrashSymbols symbols;
        if (!symbols.Open()) crash_exit(4);
        g_pSymbols = &symbols;
        if (m_bGetStackTraceString == 1) {
          Rule(m_hReportFile, "Stack Trace:\n", false);
          WriteStackDetails(nullptr, g_pCrash->context, false);
        }
        if (m_bGetStackTraceVarsAndParams == 1) {
          Rule(m_hReportFile, "Local Variables And Parameters:\n", false);
          WriteStackDetails(nullptr, g_pCrash->context, true);
        }
        if (m_bGetGlobalVariables == 1) {
          Rule(m_hReportFile, "Global Variables:\n", true);
          symbols.EnumerateGlobals(WriteSymbol, nullptr);
        }
        printf("\n");
      },
      nullptr, kSymbolTimeoutMs);
  if (status == 0) return;
  // No symbols at all: the report ends with the registers. A child that
  // failed half-way: its part goes, and the plain walk stands instead.
  crash_truncate(m_hReportFile, before);
  if (status == 4) return;
  if (m_bGetStackTraceString == 1) Section([pointers] {
      Rule(m_hReportFile, "Stack Trace:\n", false);
      WriteStackDetails(nullptr, pointers->context, false);
    });
  printf("\n");
}

namespace {

// Beyond the report of the crash itself: every thread's call chain as the
// diagnostics recorded it, and the lines of their memory buffer.
void WriteDiagnostics(int fd) {
  if (fd < 0 || !TDiag::IsInitialized()) return;
  TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_relaxed);
  if (!diag) return;
  const int64_t seconds = os_clock::now_us() / 1000000;
  char name[1024];
  if (diag->IsStacksEnabled()) Section([&] {
      name[0] = '\0';
      diag->BuildFileName4TypeSafe("_diagstacks", seconds, name, sizeof name);
      const uint64_t from = crash_path_size(name);
      diag->PrintStacksSafe(seconds, nullptr);
      Rule(fd, "Diagnostic Call Stacks:\n", false);
      if (name[0]) crash_copy_file(name, from, fd);
    });
  if (diag->IsBufferEnabled()) Section([&] {
      name[0] = '\0';
      diag->BuildFileName4TypeSafe("_membuffer", seconds, name, sizeof name);
      const uint64_t from = crash_path_size(name);
      Rule(fd, "Diagnostic Memory Buffer:\n", true);
      if (name[0] && diag->DumpBufferSafe(seconds) == 1) crash_copy_file(name, from, fd);
      raw_write(fd, "\n");
    });
}

void WriteDump(OcExceptionPointers* pointers) {
  char line[512];
  int error = 0;
  switch (crash_write_core(OcExceptionReport::m_szMiniDumpFileName, *pointers, error)) {
    case kCoreOpenFailed:
      raw_write(1, line, safe_format(line, sizeof line, "CreateFile failed. Error: %u \n", error));
      break;
    case kCoreWritten:
      raw_write(1, line,
                safe_format(line, sizeof line, "MiniDump created in %s.\n", OcExceptionReport::m_szMiniDumpFileName));
      break;
    case kCoreWriteFailed:
      raw_write(1, line, safe_format(line, sizeof line, "MiniDumpWriteDump failed. Error: %u \n", error));
      break;
  }
}

}  // namespace

long OcExceptionReport::OcUnhandledExceptionFilter(OcExceptionPointers* pointers) {
  if (std::atomic_ref<int>(m_bInFilter).exchange(1, std::memory_order_acq_rel) != 0)
    return kCrashContinueExecution;
  crash_enter_handling();
  g_bCrashPath = true;
  if (m_bLetItCrash != 0 && m_previousFilter) {
    const long result = m_previousFilter(pointers);
    crash_leave_handling();
    return result;
  }
  m_hReportFile = crash_open_report(m_szLogFileName);
  Section([] { GetReportProfile(); });
  GenerateExceptionReport(pointers);
  WriteDiagnostics(m_hReportFile);
  if (m_hReportFile >= 0) raw_close(m_hReportFile);
  m_hReportFile = -1;
  if (m_bMiniDump != 0) Section([pointers] { WriteDump(pointers); });
  if (m_bShowErrMsg != 0)
    raw_write(2, "QUILLON/Operations Center: Unknown application error.\nExiting application ...\n");
  if (m_ocExceptionExtraReport) Section([] { m_ocExceptionExtraReport->GenerateExtraReport(); });
  if (m_bTerminateProcess != 0) crash_exit(99);
  crash_release_threads();
  crash_leave_handling();
  return kCrashContinueSearch;
}
