// The process-wide crash handler. The host creates one OcExceptionReport
// early in main; from then on a crash of any thread (invalid access, bus
// error, division by zero, illegal instruction, abort, an exception that
// escapes) writes a text report and a core file into the crash directory,
// calls the host's OcExceptionExtraReport, and ends the process with code 99.
// Which sections the report holds is read from the user's registry file at
// crash time. All state is static; construct, set and destroy from one
// thread at start-up and shut-down. The crash path goes on past every
// failure: nothing throws, nothing is returned to tell.
#pragma once

#include <string>

#include "plinth/platform/crash/crash_signals.h"
#include "plinth/platform/crash/crash_support.h"
#include "plinth/plinth_export.h"

// What the filter is given: the crash as the platform saw it.
using OcExceptionPointers = plinth::platform::CrashEvent;
// A filter gives -1 (continue execution) or 0 (continue the search, which
// ends in the signal's default action).
using OcExceptionFilter = long (*)(OcExceptionPointers*);

class PLINTH_API OcExceptionExtraReport {
public:
  OcExceptionExtraReport() = default;
  OcExceptionExtraReport(const OcExceptionExtraReport&) = default;
  OcExceptionExtraReport& operator=(const OcExceptionExtraReport&) = default;
  virtual ~OcExceptionExtraReport();
  // Called on the crash path after the report: keep to async-signal-safe calls.
  virtual void GenerateExtraReport() = 0;
};

class PLINTH_API OcExceptionReport {
public:
  // Installs the handler unless OC_DISABLE_CRASH_REPORT is set (to anything);
  // builds the file names in every case. A null directory keeps the one
  // before; an empty one is the current directory.
  OcExceptionReport(const char* crashDirectory, OcExceptionExtraReport* extra);
  // Gives back the handlers that were in force before.
  ~OcExceptionReport();
  OcExceptionReport& operator=(const OcExceptionReport&) = default;

  static OcExceptionFilter& GetPreviousFilter() { return m_previousFilter; }
  static void SetShowErrMessage(int show) { m_bShowErrMsg = show; }
  static void SetTerminateProcess(int terminate) { m_bTerminateProcess = terminate; }
  static void SetCreateMiniDump(int create) { m_bMiniDump = create; }
  // A non-null name replaces the report's name as it is; null rebuilds the
  // default. The dump's name is built anew in both cases.
  static void SetLogFileName(char* name);
  // An alternate signal stack for the calling thread, so that a stack
  // overflow in it is reported too; the thread that constructs the handler
  // gets one by itself. True when the thread has one.
  static bool PrepareThread();

  static long OcUnhandledExceptionFilter(OcExceptionPointers* pointers);
  // The call chain from a thread's context (a ucontext_t), to the report
  // file; with writeVariables the parameters and locals of each frame.
  // One thread at a time: it works in the handler's static buffers.
  static void WriteStackDetails(void* thread, void* context, bool writeVariables);

  static constexpr unsigned kNameSize = 260;

  static std::string m_sCrashDIR;
  static char m_szLogFileName[kNameSize];
  static char m_szMiniDumpFileName[kNameSize];
  static char m_szModuleName[kNameSize];
  static int m_hReportFile;  // -1 while no report is written
  static unsigned long m_hProcess;
  static OcExceptionFilter m_previousFilter;
  static OcExceptionExtraReport* m_ocExceptionExtraReport;  // not owned

  // The report profile. The five section switches count only when they are
  // exactly 1, the others when they are not 0.
  static int m_bGetFaultReason;
  static int m_bShowRegs;
  static int m_bGetStackTraceString;
  static int m_bGetStackTraceVarsAndParams;
  static int m_bGetGlobalVariables;
  static int m_bLetItCrash;
  static int m_bShowErrMsg;
  static int m_bTerminateProcess;
  static int m_bMiniDump;
  // Set on the first entry into the filter and never cleared.
  static int m_bInFilter;

private:
  static void FormatFileName(const char* prefix, const char* extension, char* out);
  static void GetReportProfile();
  static void GenerateExceptionReport(OcExceptionPointers* pointers);
  static char* GetExceptionString(unsigned long code);
  static int printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
  static bool QueryIntValue(const plinth::platform::RegistryKey& key, const char* name, int& value);
  static int GetLogicalAddress(void* address, char* moduleName, unsigned long nameSize, unsigned long& section,
                               unsigned long& offset);
};
