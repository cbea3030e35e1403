// Any text, quoted, must compile as a pattern and match exactly itself: the
// ring scan and the clean-up build their patterns from base names this way.
#include <cstddef>
#include <cstdint>
#include <string>

#include "plinth/platform/os/os_regexp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  // PCRE2 without UTF mode treats every byte as a character, NULs included.
  const os_regexp literal(os_regexp::quote(text), false, false);
  if (!literal.matches_whole(text)) __builtin_trap();
  const os_regexp ring(os_regexp::quote(text) + "\\.[0-9]{8}\\.#[0-9]{4}\\.txt", true, false);
  if (!ring.matches_whole(text + ".20261124.#0001.txt")) __builtin_trap();
  if (ring.matches_whole(text + ".2026112.#0001.txt")) __builtin_trap();
  return 0;
}
