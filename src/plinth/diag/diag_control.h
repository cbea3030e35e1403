// Control messages: the small text by which the viewer asks a running
// process to change its diagnostic levels. A message is parsed whole before
// any of it is applied, and is applied through DiagAction. Any thread may
// parse; Apply follows the rules of DiagAction. Failures are results: a
// message that does not parse changes nothing and says why.
//
//   plinth-control 1
//   file <name> <level>        the file's debug and buffer level
//   context <mask> <level>     every context in the mask (decimal or 0x...)
//   minimum <level>            the minimum debug level alone
//   enabled <0|1>              diagnostics off or on
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "plinth/plinth_export.h"

class DiagAction;

class PLINTH_API DiagControlMessage {
public:
  enum Kind { eFile, eContext, eMinimum, eEnabled };
  struct Command {
    Kind m_eKind;
    std::string m_sName;  // the file of eFile
    unsigned m_nMask;     // the mask of eContext
    unsigned m_nValue;    // the level, or 0 and 1 for eEnabled
  };

  static constexpr const char* kHead = "plinth-control 1";
  static constexpr size_t kMaxSize = 4096;
  static constexpr size_t kMaxCommands = 64;
  static constexpr size_t kMaxName = 255;

  // Parses the bytes; false with m_sError set ("line 3: ...") when any line
  // is wrong, in which case m_vCommands is empty.
  bool Parse(const char* data, size_t size);
  // Applies every command in order; the number applied.
  size_t Apply(DiagAction& action) const;

  std::vector<Command> m_vCommands;
  std::string m_sError;
};
