#include "plinth/platform/os/os_terminal.h"

#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

static_assert(sizeof(termios) <= 64, "the saved settings need more room");

bool os_terminal::input_is_terminal() { return isatty(STDIN_FILENO) == 1; }

int os_terminal::read_input_byte() {
  unsigned char c;
  for (;;) {
    const ssize_t n = ::read(STDIN_FILENO, &c, 1);
    if (n == 1) return c;
    if (n < 0 && errno == EINTR) continue;
    return -1;
  }
}

os_terminal_key_mode::os_terminal_key_mode() {
  termios saved;
  if (tcgetattr(STDIN_FILENO, &saved) != 0) return;
  termios keys = saved;
  keys.c_lflag &= ~(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
  keys.c_cc[VMIN] = 1;
  keys.c_cc[VTIME] = 0;
  if (tcsetattr(STDIN_FILENO, TCSANOW, &keys) != 0) return;
  std::memcpy(m_Saved, &saved, sizeof saved);
  m_bActive = true;
}

os_terminal_key_mode::~os_terminal_key_mode() { restore(); }

void os_terminal_key_mode::restore() {
  if (!m_bActive) return;
  termios saved;
  std::memcpy(&saved, m_Saved, sizeof saved);
  tcsetattr(STDIN_FILENO, TCSANOW, &saved);
  m_bActive = false;
}
