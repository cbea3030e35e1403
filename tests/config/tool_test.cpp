// plinth-ini, run as an operator would run it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "common/temp_dir.h"

using plinth_test::ReadFile;
using plinth_test::TempDir;
using plinth_test::WriteFile;

class IniTool : public ::testing::Test {
protected:
  void SetUp() override {
#ifndef PLINTH_INI_PATH
    GTEST_SKIP() << "plinth-ini is not built";
#endif
  }
  int Run(const std::string& args) {
#ifdef PLINTH_INI_PATH
    const std::string cmd = std::string("'") + PLINTH_INI_PATH + "' " + args + " >'" + (dir / "stdout") +
                            "' 2>'" + (dir / "stderr") + "'";
    const int raw = std::system(cmd.c_str());
    out = ReadFile(dir / "stdout");
    err = ReadFile(dir / "stderr");
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
#else
    return -1;
#endif
  }
  std::string Q(const std::string& name) const { return "'" + (dir / name) + "'"; }
  TempDir dir;
  std::string out, err;
};

TEST_F(IniTool, ReadsChecksAndChanges) {
  WriteFile(dir / "a.ini", "; settings\n[Main]\npath = %PLINTH_TOOL_HOME%/x\n[other]\n");
  struct Case {
    std::string args;
    int status;
    std::string out;
  } cases[] = {
      {"get " + Q("a.ini") + " main PATH", 0, "%PLINTH_TOOL_HOME%/x\n"},
      {"get --expand " + Q("a.ini") + " main PATH", 0, "/home/t/x\n"},
      {"list " + Q("a.ini"), 0, "Main\nother\n"},
      {"list " + Q("a.ini") + " MAIN", 0, "path=%PLINTH_TOOL_HOME%/x\n"},
      {"check " + Q("a.ini"), 0, (dir / "a.ini") + ": ok, 2 groups\n"},
      {"get " + Q("a.ini") + " main nokey", 1, ""},
      {"list " + Q("a.ini") + " nogroup", 1, ""},
  };
  setenv("PLINTH_TOOL_HOME", "/home/t", 1);
  for (const Case& c : cases) {
    EXPECT_EQ(Run(c.args), c.status) << c.args << err;
    EXPECT_EQ(out, c.out) << c.args;
  }
  EXPECT_EQ(Run("set " + Q("a.ini") + " main new 'v 1'"), 0) << err;
  EXPECT_EQ(Run("set " + Q("b.ini") + " g k v"), 0) << err;
  EXPECT_EQ(ReadFile(dir / "a.ini"), "[Main]\nnew=v 1\npath=%PLINTH_TOOL_HOME%/x\n\n[other]\n\n");
  EXPECT_EQ(ReadFile(dir / "b.ini"), "[g]\nk=v\n\n");
}

TEST_F(IniTool, ReportsTheFirstBadLine) {
  WriteFile(dir / "bad.ini", "[a]\nk=1\n\n; c\nbad key=2\n[b;]\n");
  WriteFile(dir / "last.ini", "[a]\nk=1\nk x=1");
  WriteFile(dir / "empty.ini", "; nothing\n");
  struct Case {
    std::string args;
    std::string err;
  } cases[] = {
      {"check " + Q("bad.ini"), (dir / "bad.ini") + ":5: error 8:  = Expected\n"},
      {"get " + Q("last.ini") + " a k", (dir / "last.ini") + ":3: error 8:  = Expected\n"},
      {"check " + Q("empty.ini"), (dir / "empty.ini") + ": error 5: Ini file is empty\n"},
      {"check " + Q("none.ini"), (dir / "none.ini") + ": error 1: Error opening file\n"},
      {"set " + Q("bad.ini") + " a k 2", (dir / "bad.ini") + ":5: error 8:  = Expected\n"},
      {"set " + Q("no/b.ini") + " a k 2", (dir / "no/b.ini") + ": error 3: Failure to open file before flushing\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Run(c.args), 1) << c.args;
    EXPECT_EQ(err, "plinth-ini: " + c.err) << c.args;
  }
  EXPECT_EQ(ReadFile(dir / "bad.ini"), "[a]\nk=1\n\n; c\nbad key=2\n[b;]\n");
  for (const char* args : {"", "get", "get a b", "list", "frobnicate x", "set a b c"}) EXPECT_EQ(Run(args), 2) << args;
  EXPECT_EQ(Run("--help"), 0);
  EXPECT_EQ(out.rfind("usage: plinth-ini get", 0), 0u);
}
