// Login prompts driven through pipes and through a real pseudo-terminal,
// login files and the command-line check. Each reading runs in a child.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <utility>

#include "common/temp_dir.h"
#include "plinth/plinth.h"

namespace {
struct ChildRun {
  std::string output, result;
  int exitStatus = -1;  // -1 when it ended by a signal
};

enum Read { User, Password, Both };

std::string Drain(int fd) {
  std::string out;
  char buf[4096];
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) out.append(buf, n);
  return out;
}

// Runs the reading in a child whose input and output are a pseudo-terminal
// or pipes. On the terminal each step waits until the screen shows its
// text, then types its keys; through pipes all keys go at once. The answer
// comes back through a pipe of its own.
ChildRun InChild(bool terminal, Read what, const std::vector<std::pair<std::string, std::string>>& steps) {
  int result[2], in[2], out[2], master = -1;
  if (pipe2(result, O_CLOEXEC) || pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC)) abort();
  const pid_t pid = terminal ? forkpty(&master, nullptr, nullptr, nullptr) : fork();
  if (pid == 0) {
    if (!terminal) dup2(in[0], 0), dup2(out[1], 1), dup2(out[1], 2), close(in[1]);
    std::string user, password;
    if (what != Password) getUserFromStdin(user);
    if (what != User) getPasswdFromStdin(password);
    const std::string answer = what == Both ? user + "|" + password : user + password;
    _exit(write(result[1], answer.data(), answer.size()) < 0 ? 3 : 0);
  }
  close(result[1]), close(in[0]), close(out[1]);
  const int input = terminal ? master : in[1], output = terminal ? master : out[0];
  ChildRun run;
  auto readSome = [&] {
    pollfd p{output, POLLIN, 0};
    char buf[4096];
    const ssize_t n = poll(&p, 1, 5000) == 1 ? read(output, buf, sizeof buf) : -1;
    if (n > 0) run.output.append(buf, n);
    return n > 0;
  };
  for (const auto& [wait, keys] : steps) {
    while (terminal && run.output.find(wait) == std::string::npos && readSome()) {
    }
    if (write(input, keys.data(), keys.size()) < 0) break;
  }
  close(in[1]);
  while (readSome()) {
  }
  close(master), close(out[0]);
  run.result = Drain(result[0]);
  close(result[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status)) run.exitStatus = WEXITSTATUS(status);
  return run;
}

const std::string kUserPrompt = "Please provide username (Default: ocuser)\r\n";
const std::string kPasswordPrompt = "Please provide password\r\n";
const std::string kBlanks = "The username cannot contain blanks !!!\nPlease specify a different username !!!\n";
const std::string kInvalid = "The password contains invalid characters !!!\nPlease specify a different password !!!\n";
}  // namespace

TEST(LoginParams, PipedInput) {
  const std::string p512(512, 'p'), u513(513, 'u');
  struct Case {
    Read what;
    std::string input, result, output;
    int exitStatus;
  } cases[] = {
      {User, "\n", "ocuser", "", 0},
      {User, "", "ocuser", "", 0},
      {User, "a b", "ocuser", kBlanks, 0},
      {User, "a b\r\nbo\tb\r\n", "bo\tb", kBlanks, 0},
      {User, u513 + "\n" + u513.substr(1) + "\n", u513.substr(1),
       "The username cannot exceed 512 symbols !!!\nPlease specify a different username !!!\n", 0},
      {Both, "alice\nsecret\n", "alice|secret", "******\n", 0},
      {Password, "a\bb\r", "b", "*\b \b*\n", 0},
      {Password, p512 + "\n", p512, std::string(512, '*') + "\n", 0},
      {Password, p512 + "p\n\nx\t\x7f\nok\n", "ok",
       std::string(513, '*') + "\nPassword is too long. It can be up to 512 characters\n\n" +
           "The password must have a value !!!\n**\b \b\n" + kInvalid + "**\n", 0},
      {Password, std::string(5000, 'q') + "\nok\n", "ok", "", 0},
      {Password, "abc", "", "", 1},
      {Password, "ab\x03", "", "**", 1},
  };
  for (const Case& c : cases) {
    const ChildRun run = InChild(false, c.what, {{"", c.input}});
    EXPECT_EQ(run.exitStatus, c.exitStatus) << c.input.substr(0, 20);
    EXPECT_EQ(run.result, c.result) << c.input.substr(0, 20);
    if (c.input.size() < 4000) {
      EXPECT_EQ(run.output.substr(0, c.output.size()), c.output) << c.input.substr(0, 20);
    }
  }
}

TEST(LoginParams, TerminalPromptsEchoesStarsAndTakesCtrlC) {
  auto crlf = [](std::string text) {
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) text.insert(at, "\r");
    return text;
  };
  const ChildRun run = InChild(true, Both, {{kUserPrompt, "bob\n"}, {kPasswordPrompt, "a\x7f\tb\rok\r"}});
  EXPECT_EQ(run.result, "bob|ok");
  // The user line echoes as the terminal does; password keys only as stars.
  EXPECT_EQ(run.output, kUserPrompt + "bob\r\n" + kPasswordPrompt + "*\b \b**\r\n" + crlf(kInvalid) + "**\r\n");
  const ChildRun interrupted = InChild(true, Password, {{kPasswordPrompt, "x\x03"}});
  EXPECT_EQ(interrupted.exitStatus, 1);
  EXPECT_EQ(interrupted.output, kPasswordPrompt + "*");
}

TEST(LoginParams, LoginFile) {
  plinth_test::TempDir dir;
  struct Case {
    std::string content, user, password;
  } cases[] = {
      {"user=a\n", "a", ""},
      {"x\r\nmyuser=bob\r\npassword=p w=\r\nuser=last\rtail\n", "last", "p w="},
      {std::string(600, 'z') + "user=cut\n", "cut", ""},
  };
  for (const Case& c : cases) {
    plinth_test::WriteFile(dir / "login", c.content);
    std::string user = "old", password = "old";
    EXPECT_EQ(getUsrAndPasswdFromFile(dir / "login", user, password), 1);
    EXPECT_EQ(user + "|" + password, c.user + "|" + c.password);
  }
  testing::internal::CaptureStderr();
  std::string user, password;
  EXPECT_EQ(getUsrAndPasswdFromFile(dir / "missing", user, password), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "getLoginParams::getFromFile failed open file: : No such file or directory\n");
}

TEST(LoginParams, CommandLineConsistency) {
  struct Case {
    std::vector<const char*> args;
    int result;
  } cases[] = {{{"-pf", "file", "-U", "x"}, 0}, {{"-U", "x", "-P", "y"}, 1}, {{"-pf", "file"}, 1},
               {{"-Pf", "-U"}, 1},          {{"tool", "-P", "-pf"}, 0},   {{}, 1}};
  for (Case& c : cases) {
    int argc = static_cast<int>(c.args.size());
    EXPECT_EQ(dml_check_params_consist(&argc, const_cast<char**>(c.args.data())), c.result) << argc;
  }
}
