// The database facade with stand-in libraries. The library is looked up by
// its bare name on a search path that a process fixes when it starts, so
// each case runs again in a child process whose LD_LIBRARY_PATH is a fresh
// directory holding the stand-in that the case wants.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "logger/logger_fixture.h"
#include "plinth/system/dynamic_library.h"

// Only a database library gives it content; the test needs an empty vector.
struct dst_aux::QueryElement {};

namespace plinth_test {
namespace {

const char* ChildDir() { return std::getenv("PLINTH_DBTEST_DIR"); }

// Runs the current test in a child with dir on its library search path,
// holding a copy of the stand-in variant (none when null); caseIndex is
// the child's PLINTH_DBTEST_CASE. Gives the exit status, -1 for a signal.
int RunChild(const std::string& dir, const char* variant, int caseIndex = 0) {
  if (variant) std::filesystem::copy_file(variant, dir + "/libzlt-plinth-db-4.0.so");
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  const std::string filter = std::string("--gtest_filter=") + info->test_suite_name() + "." + info->name();
  const pid_t pid = fork();
  if (pid == 0) {
    setenv("LD_LIBRARY_PATH", dir.c_str(), 1);
    setenv("PLINTH_DBTEST_DIR", dir.c_str(), 1);
    setenv("PLINTH_DBTEST_CASE", std::to_string(caseIndex).c_str(), 1);
    execl("/proc/self/exe", "test_dbdest", filter.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class FacadeTest : public LoggerTest {
protected:
  LoggerParams Db(const std::string& logical = "db") {
    LoggerParams p;
    p.InsertString("logical_name", logical);
    p.InsertInt("type", eDatabase);
    p.InsertInt("mode", 0x88);
    p.InsertString("record_file", Record());
    p.InsertString("extra", "kept");
    return p;
  }
  static std::string Record() { return std::string(ChildDir()) + "/record.txt"; }
};

// The stand-in found first, whether the library then stays loaded, and the
// result of a creation after the recording stand-in took the file's name:
// a failed load is tried again, a loaded library is kept.
TEST_F(FacadeTest, CreationFailsUntilALibraryGivesAnObject) {
  struct Case {
    const char* variant;
    bool loaded;
    unsigned afterwards;
  };
  const Case cases[] = {{nullptr, false, 0}, {DBDEST_VARIANT_1, true, 1}, {DBDEST_VARIANT_2, true, 1}};
  if (!ChildDir()) {
    for (int i = 0; i < 3; ++i) {
      TempDir lib;
      EXPECT_EQ(RunChild(lib.path(), cases[i].variant, i), 0) << i;
    }
    return;
  }
  const Case& c = cases[std::atoi(std::getenv("PLINTH_DBTEST_CASE"))];
  LoggerParams p = Db();
  EXPECT_EQ(logger->createDest(p), 1u);
  EXPECT_EQ(logger->createDest(p), 1u);
  EXPECT_EQ(Logger::GetLibraryLoader()->IsLoaded(), c.loaded);
  const std::string lib = std::string(ChildDir()) + "/libzlt-plinth-db-4.0.so";
  std::filesystem::copy_file(DBDEST_VARIANT_3, lib + ".new");
  std::filesystem::rename(lib + ".new", lib);
  EXPECT_EQ(logger->createDest(p), c.afterwards);
  EXPECT_EQ(logger->getDestCount(), 1 - c.afterwards);
  std::string failures;
  for (unsigned i = 0; i < 2 + c.afterwards; ++i) failures += "Failed to CREATEDEST : db\n";
  EXPECT_EQ(Emergency(), failures);
}

TEST_F(FacadeTest, LibraryDestinationIsDrivenThroughTheLogger) {
  if (!ChildDir()) {
    TempDir lib;
    ASSERT_EQ(RunChild(lib.path(), DBDEST_VARIANT_3), 0);
    return;
  }
  LoggerParams p = Db();
  ASSERT_EQ(logger->createDest(p), 0u);
  std::vector<dst_aux::ElementProperties> elements(2);
  EXPECT_EQ(logger->initDest(p, elements), 5u);
  EXPECT_EQ(logger->openDest("db"), 7u);
  EXPECT_FALSE(logger->writeDest("db", "hello", 3, 4));
  EXPECT_TRUE(CallbackTexts().empty());
  EXPECT_FALSE(logger->writeDest("db", "fail", 0, 0));
  EXPECT_EQ(logger->flushDest("db"), 8u);
  EXPECT_EQ(logger->cleanupAllDests(6), 9u);
  std::string error;
  long count = 0;
  EXPECT_EQ(logger->smartClean("db", "", {}, 0, error, count), 4u);
  EXPECT_EQ(CallbackTexts(), (std::vector<std::string>{"fail", "smart clean refused"}));
  EXPECT_EQ(logger->closeDest("db"), 1u);
  EXPECT_EQ(logger->getDestType("db"), 0x40000088u);
  EXPECT_EQ(logger->removeDest("db"), 0u);
  EXPECT_EQ(ReadFile(Record()), "create db path=" + dir.path() + " extra=kept\ninit err_stream=set elements=2\n"
                                "open\nwrite hello 3 4\nwrite fail 0 0\nflush\ncleanup 6\nclose\ndestroy\n");
}

TEST_F(FacadeTest, DestinationLeftAtExitIsDeletedWhileItsLibraryIsLoaded) {
  if (!ChildDir()) {
    TempDir lib;
    ASSERT_EQ(RunChild(lib.path(), DBDEST_VARIANT_3), 0);
    EXPECT_EQ(ReadFile(lib / "record.txt"), "create db path=" + lib.path() + " extra=kept\nclose\ndestroy\n");
    return;
  }
  LoggerParams p = Db();
  p.m_mStrings["path"] = ChildDir();  // outlives this process's scratch directory
  ASSERT_EQ(logger->createDest(p), 0u);
  TempDir::RemoveTree(dir.path());
  std::exit(0);  // the library's unload deletes the Logger and its destination
}

}  // namespace
}  // namespace plinth_test
