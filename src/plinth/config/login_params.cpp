#include "plinth/config/login_params.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plinth/platform/os/os_terminal.h"

namespace {
constexpr int kMaxUser = 512;
constexpr int kMaxPassword = 512;
const char kDefaultUser[] = "ocuser";

// Every line goes out at once: stars must show as keys are typed, and the
// output may be a pipe.
void Print(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Print(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
  std::fflush(stdout);
}

// One line of the standard input, read byte by byte so that nothing behind
// its line end is taken from the input. The first bytes that fit are kept;
// length counts them all, without the line end (LF, or CR LF).
struct InputLine {
  char text[2 * kMaxUser + 1] = {};
  std::size_t length = 0;
  bool blank = false;
};

void ReadInputLine(InputLine& line) {
  line = InputLine{};
  bool pendingCR = false;
  for (;;) {
    const int c = os_terminal::read_input_byte();
    if (c < 0 || c == '\n') break;
    if (pendingCR) {
      // The CR was no part of a line end after all.
      if (line.length < sizeof line.text - 1) line.text[line.length] = '\r';
      ++line.length;
    }
    pendingCR = c == '\r';
    if (pendingCR) continue;
    if (c == ' ') line.blank = true;
    if (line.length < sizeof line.text - 1) line.text[line.length] = static_cast<char>(c);
    ++line.length;
  }
  // A CR right before the end of the input ends the line as well. The
  // text was zeroed, so it ends in a zero whatever was cut.
}

// One attempt at a password: keys up to a line end. Gives false when the
// input ends first.
struct PasswordAttempt {
  char text[kMaxPassword + 1] = {};
  std::size_t length = 0;
  bool valid = true;
};

bool ReadPasswordAttempt(PasswordAttempt& attempt, os_terminal_key_mode& keys) {
  attempt = PasswordAttempt{};
  for (;;) {
    const int c = os_terminal::read_input_byte();
    if (c < 0) return false;
    // 8 is Backspace as the design knows it; a Linux terminal sends DEL.
    if (c == 8 || c == 127) {
      Print("%c%c%c", 8, 32, 8);
      if (attempt.length > 0) --attempt.length;
      continue;
    }
    if (c == 3) {
      keys.restore();
      std::exit(1);
    }
    if (c == '\n' || c == '\r') return true;
    Print("*");
    // Keys past the buffer are counted, not kept: the length message follows.
    if (attempt.length < kMaxPassword) attempt.text[attempt.length] = static_cast<char>(c);
    ++attempt.length;
    if (!std::isprint(c)) attempt.valid = false;
  }
}

// Looks for key on each line of the file; what follows the last hit ends
// up in value. False when the file can't be opened.
bool FindInLoginFile(const std::string& path, const char* key, char (&value)[512]) {
  FILE* file = std::fopen(path.c_str(), "re");
  if (!file) {
    std::perror("getLoginParams::getFromFile failed open file: ");
    return false;
  }
  const std::size_t keyLength = std::strlen(key);
  char line[512];
  while (std::fgets(line, sizeof line, file)) {
    if (char* lf = std::strchr(line, '\n')) *lf = '\0';
    if (char* cr = std::strchr(line, '\r')) *cr = '\0';
    if (const char* at = std::strstr(line, key)) std::strcpy(value, at + keyLength);
  }
  std::fclose(file);
  return true;
}
}  // namespace

int getUserFromStdin(std::string& user) {
  if (os_terminal::input_is_terminal()) Print("Please provide username (Default: ocuser)\n");
  InputLine line;
  ReadInputLine(line);
  while (line.blank || line.length > kMaxUser) {
    if (line.blank)
      Print("The username cannot contain blanks !!!\nPlease specify a different username !!!\n");
    else
      Print("The username cannot exceed %d symbols !!!\nPlease specify a different username !!!\n", kMaxUser);
    ReadInputLine(line);
  }
  user = line.length == 0 ? kDefaultUser : line.text;
  return 1;
}

int getPasswdFromStdin(std::string& password) {
  // Keys are taken unechoed from before the prompt shows, so that nothing
  // typed in answer to it is echoed in clear.
  os_terminal_key_mode keys;
  if (os_terminal::input_is_terminal()) Print("Please provide password\n");
  PasswordAttempt attempt;
  for (;;) {
    if (!ReadPasswordAttempt(attempt, keys)) {
      keys.restore();
      std::fprintf(stderr, "\nThe input ended before a password was given\n");
      std::exit(1);
    }
    Print("\n");
    if (!attempt.valid) {
      Print("The password contains invalid characters !!!\nPlease specify a different password !!!\n");
    } else if (attempt.length > kMaxPassword) {
      Print("Password is too long. It can be up to %d characters\n", kMaxPassword);
      attempt.valid = false;
    }
    if (attempt.length == 0) {
      Print("The password must have a value !!!\n");
      continue;
    }
    if (attempt.valid) break;
  }
  password.assign(attempt.text, attempt.length);
  return 1;
}

int getUsrAndPasswdFromFile(const std::string& path, std::string& user, std::string& password) {
  char userValue[512] = {};
  if (!FindInLoginFile(path, "user=", userValue)) return 0;
  char passwordValue[512] = {};
  if (!FindInLoginFile(path, "password=", passwordValue)) return 0;
  user.clear();
  if (userValue[0]) user = userValue;
  password.clear();
  if (passwordValue[0]) password = passwordValue;
  return 1;
}

int dml_check_params_consist(int* argc, char** argv) {
  if (!argc || *argc < 1 || !argv) return 1;
  bool user = false, password = false, passwordFile = false;
  for (int i = 0; i < *argc; ++i) {
    if (!argv[i]) continue;
    user |= std::strcmp(argv[i], "-U") == 0;
    password |= std::strcmp(argv[i], "-P") == 0;
    passwordFile |= std::strcmp(argv[i], "-pf") == 0;
  }
  if (!passwordFile) return 1;
  if (password) return 0;
  return user ? 0 : 1;
}
