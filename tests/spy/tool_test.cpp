// plinth-spy fed through real sockets: what it shows and filters, its
// sockets' life, and the control messages it sends.
#include <sys/wait.h>

#include <chrono>
#include <thread>

#include "spy_fixture.h"

using namespace plinth_test;

DbgLevels g_tool;
TDiagRegister g_toolRegister("/src/Tool.cpp", &g_tool);

namespace {
const _SYSTEMTIME kTime{2026, 11, 3, 18, 12, 54, 49, 7};

Bytes Line(uint32_t pid, int32_t context, const char* file, uint32_t level, const char* text) {
  Bytes time;
  for (uint16_t field : {kTime.wYear, kTime.wMonth, kTime.wDayOfWeek, kTime.wDay, kTime.wHour, kTime.wMinute,
                         kTime.wSecond, kTime.wMilliseconds})
    time.insert(time.end(), {static_cast<unsigned char>(field), static_cast<unsigned char>(field >> 8)});
  return Cat({Le(0), Le(pid), Le(static_cast<uint32_t>(context)), Str(file), Le(level), Str("Fn"), Le(77), Str(text), time});
}

class ToolTest : public SpyTest {
protected:
  // Starts the viewer with the arguments and waits until both sockets are there.
  pid_t Start(std::vector<std::string> args) {
    args.insert(args.begin(), {PLINTH_SPY_PROGRAM, "--dir", spyDir});
    const pid_t child = fork();
    if (child == 0) {
      freopen((runtime / "out").c_str(), "w", stdout);
      freopen((runtime / "err").c_str(), "w", stderr);
      std::vector<char*> argv;
      for (std::string& arg : args) argv.push_back(arg.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    // Ready once the second window takes connections (or the viewer gave up).
    const sockaddr_un address = UnixAddress(spyDir + "/Result Window");
    for (int i = 0; i < 500; ++i) {
      siginfo_t ended{};
      if (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0) break;
      const int probe = socket(AF_UNIX, SOCK_DGRAM, 0);
      const bool live = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
      close(probe);
      if (live) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return child;
  }
  // The exit status; a program still running after ten seconds is killed.
  int Wait(pid_t child) {
    int status = 0;
    for (int i = 0; i < 1000 && waitpid(child, &status, WNOHANG) == 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (kill(child, SIGKILL) == 0) waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void SendTo(const char* title, const Bytes& record) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address = UnixAddress(spyDir + "/" + title);
    ASSERT_EQ(sendto(fd, record.data(), record.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address),
              static_cast<ssize_t>(record.size()));
    close(fd);
  }
};
}  // namespace

TEST_F(ToolTest, ShowsAndFiltersRecordsAsTheyArrive) {
  const struct {
    std::vector<std::string> filter;
    std::string shown;  // the texts of the lines shown
  } cases[] = {{{}, "abcd"},
               {{"--pid", "11"}, "ad"},
               {{"--file", "other"}, "b"},
               {{"--file", "/src/Main.cpp"}, "acd"},
               {{"--context", "-1"}, "ab"},
               {{"--context", "5"}, "cd"},
               {{"--level", "3"}, "abc"}};
  for (const auto& c : cases) {
    std::vector<std::string> args{"--count", "4", "--output", runtime / "copy"};
    args.insert(args.end(), c.filter.begin(), c.filter.end());
    unlink((runtime / "copy").c_str());
    const pid_t viewer = Start(args);
    SendTo("OCData", Cat({Le(1), Le(11), Str("general"), Le(1)}));
    SendTo("OCData", Cat({Le(3), Le(11), Le(1), Le(4), Str("net")}));
    SendTo("Result Window", Bytes{1, 2, 3});  // too short to be a record
    SendTo("Result Window", Line(11, -1, "/src/Main.cpp", 3, "a"));
    SendTo("Result Window", Line(12, -1, "C:\\x\\Other.h", 2, "b"));
    SendTo("Result Window", Line(12, 5, "/src/Main.cpp", 1, "c"));
    SendTo("Result Window", Line(11, 5, "/src/Main.cpp", 6, "d"));
    ASSERT_EQ(Wait(viewer), 0);
    std::string shown;
    for (const std::string& line : SplitLines(ReadFile(runtime / "copy")))
      if (line.rfind("==", 0) != 0) shown += line.substr(line.rfind('\t') + 1);
    EXPECT_EQ(shown, c.shown) << c.filter.size();
    EXPECT_EQ(ReadFile(runtime / "out"), ReadFile(runtime / "copy"));
    EXPECT_NE(ReadFile(runtime / "err").find("short record"), std::string::npos);
    EXPECT_EQ(access((spyDir + "/OCData").c_str(), F_OK), -1);  // removed at the end
  }
  EXPECT_EQ(ReadFile(runtime / "out").substr(0, 107),
            "== 11 module general (protocol 1)\n== 11 contexts (1): 4=net\n"
            "18/11/2026 12:54:49.007\t11\t77\t[3]\tmain\tFn\t-1\ta\n");
}

TEST_F(ToolTest, TakesOverAStaleSocketButNotALiveOne) {
  Bind(1);
  const pid_t refused = Start({"--count", "1"});
  EXPECT_EQ(Wait(refused), 1);
  EXPECT_NE(ReadFile(runtime / "err").find("another viewer listens there"), std::string::npos);
  close(fds[1]);  // the file stays behind, refusing connections
  fds[1] = -1;
  const pid_t viewer = Start({"--count", "1"});
  SendTo("Result Window", Line(1, -1, "f", 1, "x"));
  EXPECT_EQ(Wait(viewer), 0);
}

TEST_F(ToolTest, SteersAWatchedProcessAndWatchesIt) {
  const pid_t viewer = Start({"--count", "1", "--pid", Pid()});
  Init();
  ASSERT_NE(diag->m_hSpyWindow, nullptr);
  const std::string self = Pid();  // read before fork
  pid_t setter = fork();
  if (setter == 0) {
    freopen((runtime / "answer").c_str(), "w", stdout);
    execl(PLINTH_SPY_PROGRAM, PLINTH_SPY_PROGRAM, "--dir", spyDir.c_str(), "--set", self.c_str(), "file tool 4",
          "minimum 1", nullptr);
    _exit(127);
  }
  EXPECT_EQ(Wait(setter), 0);
  EXPECT_EQ(ReadFile(runtime / "answer"), "ok 2\n");
  EXPECT_EQ(DbgLevelLoad(g_tool.m_nDebugLevel), 4u);
  PLINTH_DIAG_WRITE(g_tool, "/src/Tool.cpp", "Steered", 4, diag->GetFormatObj(), "now visible");
  EXPECT_EQ(Wait(viewer), 0);
  EXPECT_NE(ReadFile(runtime / "out").find("\t[4]\ttool\tSteered\t-1\tnow visible\n"), std::string::npos);

  setter = fork();
  if (setter == 0) {
    execl(PLINTH_SPY_PROGRAM, PLINTH_SPY_PROGRAM, "--set", self.c_str(), "file tool 9", nullptr);
    _exit(127);
  }
  EXPECT_EQ(Wait(setter), 2);  // checked before anything is sent
}
