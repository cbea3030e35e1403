// Files the library keeps open are close-on-exec: a host's child processes
// don't inherit them.
#include <gtest/gtest.h>
#include <dirent.h>
#include <fcntl.h>

#include <cstdlib>
#include <string>

#include "common/temp_dir.h"
#include "plinth/plinth.h"

using namespace plinth_test;

namespace {
// Descriptors above standard error that would survive an exec.
std::string InheritedDescriptors() {
  std::string found;
  DIR* dir = opendir("/proc/self/fd");
  while (dirent* e = readdir(dir)) {
    const int fd = std::atoi(e->d_name);
    if (fd > 2 && fd != dirfd(dir) && !(fcntl(fd, F_GETFD) & FD_CLOEXEC)) found += std::string(e->d_name) + " ";
  }
  closedir(dir);
  return found;
}
}  // namespace

TEST(CloseOnExec, LogFilesTraceFileAndLevelsFile) {
  TempDir dir;
  const std::string before = InheritedDescriptors();  // the test's parent may hand some down
  setenv("PT_TRACE_ON", "1", 1);
  setenv("PT_TRACE_LEVEL", "4", 1);
  setenv("PT_TRACE_FILE", (dir / "trace.txt").c_str(), 1);
  Tracer::getInstance();
  WriteFile(dir / "DiagLvls.ini", "IsCyclic=1\n");
  TDiag::Instance()->Initialize(dir.path(), dir.path(), "");
  TDiag::Instance()->PrintDirectly("a line\n");
  LoggerParams p;
  p.InsertString("name", "seq");
  p.InsertString("logical_name", "seq");
  p.InsertInt("mode", 0x84);
  Logger::GetInstance()->createDest(p);
  Logger::GetInstance()->writeDest("seq", "x\n", 0, 0);
  EXPECT_EQ(InheritedDescriptors(), before);
  EXPECT_GE(dir.names().size(), 4u);  // levels, trace, ring and sequential files
}
