// The crash handler's pieces that run without a crash: file names, the
// crash-safe formatter, the registry file and the clock.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <ucontext.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "common/temp_dir.h"
#include "plinth/errors.h"
#include "plinth/platform/crash/crash_support.h"
#include "plinth/platform/crash/safe_format.h"

namespace {

using plinth_test::TempDir;
using plinth_test::WriteFile;

std::string Host() {
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  return host;
}

TEST(OcExceptionReport, FileNamesFromDirectoryModuleHostAndProcess) {
  // Disabled: the names are built all the same, and no handler is installed.
  setenv("OC_DISABLE_CRASH_REPORT", "", 1);
  OcExceptionReport report("/var/crash", nullptr);
  const std::string tail = "." + Host() + "." + std::to_string(getpid());
  EXPECT_STREQ(OcExceptionReport::m_szModuleName, "test_crash");
  EXPECT_EQ(OcExceptionReport::m_szLogFileName, "/var/crash/CrashReport.test_crash" + tail + ".log");
  EXPECT_EQ(OcExceptionReport::m_szMiniDumpFileName, "/var/crash/MiniDump.test_crash" + tail + ".dmp");
  EXPECT_EQ(OcExceptionReport::GetPreviousFilter(), nullptr);

  char own[] = "/tmp/own.log";
  std::strcpy(OcExceptionReport::m_szModuleName, "server.bin.exe");
  OcExceptionReport::SetLogFileName(own);
  EXPECT_STREQ(OcExceptionReport::m_szLogFileName, own);
  EXPECT_EQ(OcExceptionReport::m_szMiniDumpFileName, "/var/crash/MiniDump.server.bin" + tail + ".dmp");
  OcExceptionReport::SetLogFileName(nullptr);
  EXPECT_EQ(OcExceptionReport::m_szLogFileName, "/var/crash/CrashReport.server.bin" + tail + ".log");
  // A name that doesn't fit is no name at all, rather than another file's.
  OcExceptionReport::m_sCrashDIR = std::string(300, 'd');
  OcExceptionReport::SetLogFileName(nullptr);
  EXPECT_STREQ(OcExceptionReport::m_szLogFileName, "");
}

TEST(OcExceptionReport, InstallsAndGivesBackThePreviousHandlers) {
  unsetenv("OC_DISABLE_CRASH_REPORT");
  struct sigaction before {};
  sigaction(SIGSEGV, nullptr, &before);
  {
    OcExceptionReport report("", nullptr);
    EXPECT_NE(OcExceptionReport::GetPreviousFilter(), nullptr);
    struct sigaction during {};
    sigaction(SIGSEGV, nullptr, &during);
    EXPECT_NE(during.sa_sigaction, before.sa_sigaction);
    EXPECT_TRUE(during.sa_flags & SA_ONSTACK);
    // An empty directory is the current one.
    EXPECT_EQ(std::string(OcExceptionReport::m_szLogFileName).rfind("CrashReport.test_crash.", 0), 0u);
  }
  struct sigaction after {};
  sigaction(SIGSEGV, nullptr, &after);
  EXPECT_EQ(after.sa_sigaction, before.sa_sigaction);
}

// Outside a crash, the call chain of a thread may be written to a report
// by the host; the debug information is read in the process itself.
__attribute__((noinline)) std::string WriteOwnStack(const TempDir& dir) {
  volatile int depthMarker = 0x5A;
  ucontext_t context;
  context.uc_flags = 0;
  getcontext(&context);
  const std::string path = dir / "stack.txt";
  OcExceptionReport::m_hReportFile = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  OcExceptionReport::WriteStackDetails(nullptr, &context, true);
  close(OcExceptionReport::m_hReportFile);
  OcExceptionReport::m_hReportFile = -1;
  return plinth_test::ReadFile(path) + std::to_string(depthMarker);
}

TEST(OcExceptionReport, WritesTheCallChainWithSymbolsLinesAndLocals) {
  TempDir dir;
  const std::string text = WriteOwnStack(dir);
  EXPECT_EQ(text.rfind("\nCall stack:\n  0  test_crash!", 0), 0u) << text;
  EXPECT_TRUE(text.find("WriteOwnStack") != std::string::npos) << text;
  EXPECT_TRUE(text.find("crash_parts_test.cpp : ") != std::string::npos) << text;
#if defined(__SANITIZE_ADDRESS__)
  // The address sanitizer moves locals to a frame of its own, where the
  // simple locations don't reach; the parameters stay.
  EXPECT_TRUE(text.find("\tParameter 'dir' = ") != std::string::npos) << text;
#else
  EXPECT_TRUE(text.find("\tLocal 'depthMarker' = 5A\n") != std::string::npos) << text;
#endif
}

template <size_t N = 64, typename... Args>
std::string Format(const char* format, Args... args) {
  char buffer[N];
  plinth::platform::safe_format(buffer, sizeof buffer, format, args...);
  return buffer;
}

TEST(CrashParts, SafeFormatPrintsAsTheReportNeeds) {
  EXPECT_EQ(Format("%08lX|%04X", 0xC0000005ul, 0x33u), "C0000005|0033");
  EXPECT_EQ(Format("%p", reinterpret_cast<void*>(0xABCull)), "0000000000000ABC");
  EXPECT_EQ(Format("[%2d][%-3s][%.2s]", 7, "a", "xyz"), "[ 7][a  ][xy]");
  EXPECT_EQ(Format("%d %u %llX", -42, 42u, 0x1234567890ull), "-42 42 1234567890");
  EXPECT_EQ(Format("%f %f", 2.5, -0.0000004), "2.500000 -0.000000");
  // Cut at the buffer, always terminated.
  EXPECT_EQ(Format<6>("%s", "overflowing"), "overf");
}

TEST(CrashParts, RegistryValuesAreReadAsTheRegistryWould) {
  TempDir dir;
  setenv("XDG_CONFIG_HOME", dir.path().c_str(), 1);
  plinth::platform::crash_prepare_registry();
  EXPECT_EQ(plinth::platform::crash_registry_path(), dir / "plinth/registry.ini");
  plinth::platform::RegistryKey key;
  EXPECT_FALSE(plinth::platform::crash_registry_open("A\\B", key));
  mkdir((dir / "plinth").c_str(), 0700);
  WriteFile(dir / "plinth/registry.ini",
            "[Other]\nOne=5\n[ a\\b ]\r\n One = 1\r\nBig=4294967295\nNeg=-3\nWord=3x\nEmpty=\n[Next]\nTwo=2\n");
  ASSERT_TRUE(plinth::platform::crash_registry_open("A\\B", key));
  const struct {
    const char* name;
    bool found;
    int value;
  } cases[] = {{"one", true, 1},   {"Big", true, -1},   {"Neg", true, -3}, {"Word", false, 0},
               {"Empty", false, 0}, {"Two", false, 0}, {"Missing", false, 0}};
  for (const auto& c : cases) {
    int value = 0;
    EXPECT_EQ(plinth::platform::crash_registry_query(key, c.name, value), c.found) << c.name;
    EXPECT_EQ(value, c.value) << c.name;
  }
}

TEST(CrashParts, LocalTimeWithoutTheLibraryMatchesLocaltime) {
  for (const char* zone : {"UTC0", "EST5", "NZST-12"}) {
    setenv("TZ", zone, 1);
    plinth::platform::crash_prepare_clock();
    _SYSTEMTIME mine{};
    plinth::platform::crash_local_time(mine);
    const time_t now = time(nullptr);
    tm fields{};
    localtime_r(&now, &fields);
    if (fields.tm_sec != mine.wSecond) continue;  // a second passed in between
    EXPECT_EQ(std::vector<int>({mine.wYear, mine.wMonth, mine.wDay, mine.wDayOfWeek, mine.wHour, mine.wMinute}),
              std::vector<int>({fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, fields.tm_wday,
                                fields.tm_hour, fields.tm_min})) << zone;
  }
}

}  // namespace
