// The levels file as a user sees it: the names Initialize looks for, which
// one it finds, and what each line does, read by the engine's own rules but
// without touching the engine. For tools and for the library's trace; any
// thread may use it. Nothing here fails: a line that has no effect is
// listed with its reason.
#pragma once

#include <istream>
#include <map>
#include <string>
#include <vector>

#include "plinth/plinth_export.h"

// The names Initialize tries, in its order: "<dir>/<output>.<logical>_DiagLvls.ini",
// "<dir>/<output>_DiagLvls.ini", "<dir>/DiagLvls.ini" (no "<dir>/" when
// iniPath is empty; the first only with a logical name).
PLINTH_API std::vector<std::string> DiagLevelsFileNames(const std::string& iniPath, const std::string& outputName,
                                                        const std::string& logicalName);
// The first of those names that is a regular file that opens for reading, or
// empty text when none is.
PLINTH_API std::string FindDiagLevelsFile(const std::string& iniPath, const std::string& outputName,
                                          const std::string& logicalName);

// One line of a levels file that has no effect, or a part of one.
struct PLINTH_API DiagLevelsFileLine {
  unsigned m_nLine = 0;  // counted from 1
  std::string m_sText;   // as read, without its line end
  std::string m_sReason;
};

// Why a line, already split into key and value, has no effect (or not the
// one its writer likely meant); empty text when it does what it says.
PLINTH_API std::string DiagLevelsLineProblem(const std::string& key, const std::string& value);

// What a levels file would set, if Initialize read it first.
class PLINTH_API DiagLevelsFileReport {
public:
  struct Levels {
    unsigned m_nDebug = 0;
    unsigned m_nBuffer = 0;
  };

  // Reads the whole stream by the engine's rules; may be called once.
  void Read(std::istream& in);

  // The levels a registered source file gets (by any spelling the engine
  // normalises), and those of a context index 0 to 31, as the engine's level
  // tests see them.
  Levels FileLevels(const std::string& file) const;
  Levels ContextLevels(unsigned index) const;

  std::vector<DiagLevelsFileLine> m_vIgnored;
  // Keywords in the order of the file, each with its value as written.
  std::vector<std::pair<std::string, std::string>> m_vKeywords;
  Levels m_Minimum;
  bool m_bIgnoreMinimum = false;
  std::map<std::string, Levels> m_mFiles;  // normalised name, from tokens
  std::map<unsigned, Levels> m_mContexts;  // context index, from tokens
};
