// Any bytes as the user's registry file: opening the crash handler's key
// and reading its values stays inside the file's text and never fails
// other than by saying "absent".
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "plinth/platform/crash/crash_support.h"

namespace {
const std::string& RegistryFile() {
  static const std::string path = [] {
    char templ[] = "/tmp/plinth-fuzz-registry-XXXXXX";
    if (!mkdtemp(templ)) std::abort();
    setenv("XDG_CONFIG_HOME", templ, 1);
    mkdir((std::string(templ) + "/plinth").c_str(), 0700);
    plinth::platform::crash_prepare_registry();
    return std::string(templ) + "/plinth/registry.ini";
  }();
  return path;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = RegistryFile();
  FILE* file = std::fopen(path.c_str(), "we");
  if (!file) std::abort();
  std::fwrite(data, 1, size, file);
  std::fclose(file);
  plinth::platform::RegistryKey key;
  if (!plinth::platform::crash_registry_open("Software\\Zaltrix Systems\\QUILLON\\QUILLON/Operations Center\\CrashHandler", key))
    return 0;
  if (key.m_nLength > size) __builtin_trap();
  for (const char* name : {"FaultReason", "Registries", "StackTrace", "StackTraceEx", "Globals", "LetCrash",
                           "ShowErrorMsg", "TerminateProcess", "MiniDump"}) {
    int value = 12345;
    if (!plinth::platform::crash_registry_query(key, name, value) && value != 12345) __builtin_trap();
  }
  return 0;
}
