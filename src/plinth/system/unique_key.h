// Process-wide increasing numbers, the first being 1. Thread-safe through
// one critical section created when the library loads; wraps after the
// highest unsigned without notice.
#pragma once

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_critical_section.h"

class PLINTH_API UniqueKey {
public:
  // Gives the next key and moves on.
  static unsigned GetUniqueKey();
  // The key that the next GetUniqueKey gives.
  static unsigned QueryNextUniqueKey();

  static unsigned key;
  static os_critical_section* cs;

protected:
  UniqueKey() = default;
  UniqueKey& operator=(const UniqueKey&) = default;
  // Creates cs; run once while the library loads.
  static void Set();
};
