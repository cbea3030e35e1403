// Control messages: what parses and what doesn't, and the socket that takes
// them only from the process's own user or root.
#include <pwd.h>
#include <sys/wait.h>

#include "spy_fixture.h"

using namespace plinth_test;

DbgLevels g_target;
TDiagRegister g_targetRegister("/src/Target.cpp", &g_target);

TEST(DiagControlMessage, ParsesWholeOrNotAtAll) {
  const std::string head = "plinth-control 1\n";
  std::string many = head;
  for (int i = 0; i < 65; ++i) many += "minimum 1\n";
  const struct {
    std::string text;
    size_t commands;  // 0 with an error
    const char* error;
  } cases[] = {
      {head + "file target 5\ncontext 0x14 3\nminimum 2\nenabled 0\n", 4, ""},
      {head + "\n  file\ttarget   7\r\n", 1, ""},
      {head, 0, ""},  // nothing to do is no error
      {"plinth-control 2\nminimum 1\n", 0, "line 1: not a control message"},
      {head + "minimum 8\n", 0, "line 2: level must be 0 to 7"},
      {head + "minimum 1\nfile x -1\n", 0, "line 3: level must be 0 to 7"},
      {head + "context 0 3\n", 0, "line 2: bad context mask"},
      {head + "context 0x 3\n", 0, "line 2: bad context mask"},
      {head + "context 99999999999 3\n", 0, "line 2: bad context mask"},
      {head + "enabled 2\n", 0, "line 2: enabled takes 0 or 1"},
      {head + "minimum 1 2\n", 0, "line 2: unknown command"},
      {head + "file " + std::string(256, 'a') + " 1\n", 0, "line 2: file name too long"},
      {head + std::string("minimum 1\0", 10), 0, "line 1: zero byte in message"},
      {head + std::string(5000, '\n'), 0, "line 1: message too long"},
      {many, 0, "line 66: too many commands"},
  };
  for (const auto& c : cases) {
    DiagControlMessage message;
    const bool parsed = message.Parse(c.text.data(), c.text.size());
    EXPECT_EQ(parsed, *c.error == '\0') << c.text.substr(0, 60);
    EXPECT_EQ(message.m_vCommands.size(), c.commands) << c.text.substr(0, 60);
    EXPECT_EQ(message.m_sError, c.error);
  }
}

class ControlTest : public SpyTest {
protected:
  // Sends the text to the process's control socket from a child, as root or
  // as nobody, and returns the answer.
  std::string Send(const std::string& text, bool asNobody = false) {
    const sockaddr_un address = UnixAddress(spyDir + "/control." + Pid());
    const uid_t nobody = getpwnam("nobody")->pw_uid;  // not after fork: it may take locks
    int pipeFds[2];
    if (pipe(pipeFds) != 0) return "pipe";
    const pid_t child = fork();
    if (child == 0) {
      const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
      const int on = 1;
      setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
      connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
      // Connected while still root: from here on only the credentials say
      // who sends.
      if (asNobody && setresuid(nobody, nobody, nobody) != 0) _exit(3);
      send(fd, text.data(), text.size(), 0);
      pollfd waiting{fd, POLLIN, 0};
      char answer[256] = {};
      if (poll(&waiting, 1, 3000) == 1) (void)!write(pipeFds[1], answer, recv(fd, answer, sizeof answer, 0));
      _exit(0);
    }
    close(pipeFds[1]);
    char answer[256] = {};
    const ssize_t got = read(pipeFds[0], answer, sizeof answer - 1);
    close(pipeFds[0]);
    waitpid(child, nullptr, 0);
    return got > 0 ? std::string(answer, static_cast<size_t>(got)) : "";
  }
};

TEST_F(ControlTest, AWatchedProcessTakesLevelsFromItsOwnUserOnly) {
  Bind(1);
  Init();
  EXPECT_EQ(Send("plinth-control 1\nfile target 5\ncontext 6 4\nminimum 3\n"), "ok 3\n");
  EXPECT_EQ(diag->GetFileDebugLevel("target", true), 5u);
  EXPECT_EQ(diag->GetContextDebugLevel(4, true), 4u);
  EXPECT_EQ(diag->GetMinimumDebugLevel(), 3u);
  EXPECT_EQ(Send("plinth-control 1\nfile target 9\n"), "error line 2: level must be 0 to 7\n");
  EXPECT_EQ(Send("plinth-control 1\nfile target 1\n", true), "refused\n");
  EXPECT_EQ(diag->GetFileDebugLevel("target", true), 5u);
  EXPECT_EQ(Send("plinth-control 1\nenabled 0\n"), "ok 1\n");
  EXPECT_FALSE(diag->GetDiagEnabled());
}

TEST_F(ControlTest, AnUnwatchedProcessHasNoControlSocket) {
  Init();
  EXPECT_NE(access((spyDir + "/control." + Pid()).c_str(), F_OK), 0);
  Bind(0);
  diag->SetDiagEnabled(true);
  EXPECT_EQ(access((spyDir + "/control." + Pid()).c_str(), F_OK), 0);
  TDiag::Destroy();  // stops the listener and removes its socket
  EXPECT_NE(access((spyDir + "/control." + Pid()).c_str(), F_OK), 0);
}
