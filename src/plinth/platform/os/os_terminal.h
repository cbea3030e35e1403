// The process's standard input as a login prompt sees it: whether it is a
// terminal, one byte at a time with no buffering of our own (so nothing
// read ahead is lost to the next reader), and a key mode without echo,
// line editing or signal keys. For the main thread of a tool; nothing
// throws, and end of input or an error reads as -1.
#pragma once

#include "plinth/plinth_export.h"

class PLINTH_API os_terminal {
public:
  static bool input_is_terminal();
  // The next byte of the standard input, 0..255, or -1 at its end.
  static int read_input_byte();
};

// While it lives, a terminal on the standard input hands over each key as
// it is typed, unechoed, Ctrl-C included as the byte 3. Does nothing when
// the input is no terminal; gives the previous settings back at the end.
class PLINTH_API os_terminal_key_mode {
public:
  os_terminal_key_mode();
  ~os_terminal_key_mode();
  os_terminal_key_mode(const os_terminal_key_mode&) = delete;
  os_terminal_key_mode& operator=(const os_terminal_key_mode&) = delete;
  // Gives the previous settings back now (before an exit, say).
  void restore();

private:
  bool m_bActive = false;
  alignas(8) unsigned char m_Saved[64];
};
