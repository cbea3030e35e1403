// What the locale handles of gc.h hold, for the files of this folder only.
#pragma once

#include <unicode/ucasemap.h>
#include <unicode/ucnv.h>

#include <atomic>
#include <mutex>
#include <string>

#include "plinth/platform/gc/gc.h"

struct GCLocale {
  std::string name;      // as asked for
  std::string language;  // an ICU locale id; empty for a bare encoding
  // Never converts: every user clones it, and clones copy the STOP
  // callbacks set on it.
  UConverter* prototype = nullptr;
  UCaseMap* caseMap = nullptr;
  bool utf8 = false;
  bool stateful = false;  // shift states: a restart mid-text loses them
  int maxCharSize = 1;
  std::atomic<int> lastError{0};
  // For patterns and subjects of a single-byte encoding: the character of
  // each byte, so that UTF-16 offsets are byte offsets. Made on first use.
  std::once_flag singleByteOnce;
  UChar singleByte[256] = {};
};

namespace plinth::platform::gc {
// The ICU converter name for an encoding name of the library ("MS1252",
// "MS65001", or a name ICU knows itself); null when ICU can't open it.
// The converter comes with STOP callbacks both ways.
UConverter* OpenConverter(const std::string& encoding, UErrorCode* error);
}  // namespace plinth::platform::gc
