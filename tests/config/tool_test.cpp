// plinth-ini, run as an operator would run it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "common/temp_dir.h"

using plinth_test::ReadFile;
using plinth_test::TempDir;
using plinth_test::WriteFile;

#ifdef PLINTH_INI_PATH
TEST(IniTool, ReadsChecksChangesAndReportsTheFirstBadLine) {
  TempDir dir;
  std::string out, err;
  auto run = [&](const std::string& args) {
    const int raw = std::system((std::string("'") + PLINTH_INI_PATH + "' " + args + " >'" + (dir / "out") + "' 2>'" +
                                 (dir / "err") + "'").c_str());
    out = ReadFile(dir / "out");
    err = ReadFile(dir / "err");
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  };
  auto q = [&](const std::string& name) { return "'" + (dir / name) + "' "; };
  WriteFile(dir / "a.ini", "; settings\n[Main]\npath = %PLINTH_TOOL_HOME%/x\n[other]\n");
  WriteFile(dir / "bad.ini", "[a]\nk=1\n\n; c\nbad key=2\n[b;]\n");
  WriteFile(dir / "last.ini", "[a]\nk=1\nk x=1");
  WriteFile(dir / "empty.ini", "; nothing\n");
  setenv("PLINTH_TOOL_HOME", "/home/t", 1);
  const std::string p = "plinth-ini: " + dir.path() + "/";
  struct Case {
    std::string args;
    int status;
    std::string out, err;
  } cases[] = {
      {"get " + q("a.ini") + "main PATH", 0, "%PLINTH_TOOL_HOME%/x\n", ""},
      {"get --expand " + q("a.ini") + "main PATH", 0, "/home/t/x\n", ""},
      {"list " + q("a.ini"), 0, "Main\nother\n", ""},
      {"list " + q("a.ini") + "MAIN", 0, "path=%PLINTH_TOOL_HOME%/x\n", ""},
      {"check " + q("a.ini"), 0, (dir / "a.ini") + ": ok, 2 groups\n", ""},
      {"get " + q("a.ini") + "main nokey", 1, "", p + "a.ini: no key 'nokey' in group [main]\n"},
      {"list " + q("a.ini") + "nogroup", 1, "", p + "a.ini: no group [nogroup]\n"},
      {"check " + q("bad.ini"), 1, "", p + "bad.ini:5: error 8:  = Expected\n"},
      {"get " + q("last.ini") + "a k", 1, "", p + "last.ini:3: error 8:  = Expected\n"},
      {"check " + q("empty.ini"), 1, "", p + "empty.ini: error 5: Ini file is empty\n"},
      {"check " + q("none.ini"), 1, "", p + "none.ini: error 1: Error opening file\n"},
      {"set " + q("bad.ini") + "a k 2", 1, "", p + "bad.ini:5: error 8:  = Expected\n"},
      {"set " + q("no/b.ini") + "a k 2", 1, "", p + "no/b.ini: error 3: Failure to open file before flushing\n"},
      {"set " + q("a.ini") + "main new 'v 1'", 0, "", ""},
      {"set " + q("b.ini") + "g k v", 0, "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(run(c.args), c.status) << c.args;
    EXPECT_EQ(out + "|" + err, c.out + "|" + c.err) << c.args;
  }
  EXPECT_EQ(ReadFile(dir / "a.ini"), "[Main]\nnew=v 1\npath=%PLINTH_TOOL_HOME%/x\n\n[other]\n\n");
  EXPECT_EQ(ReadFile(dir / "b.ini"), "[g]\nk=v\n\n");
  EXPECT_EQ(ReadFile(dir / "bad.ini"), "[a]\nk=1\n\n; c\nbad key=2\n[b;]\n");
  for (const char* args : {"", "get", "get a b", "list", "frobnicate x", "set a b c"}) EXPECT_EQ(run(args), 2) << args;
  EXPECT_EQ(run("--help"), 0);
  EXPECT_EQ(out.rfind("usage: plinth-ini get", 0), 0u);
}
#endif
