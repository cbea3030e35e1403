// A scratch directory for one benchmark program, made on first use and
// removed with its contents when the program exits: benchmarks write
// millions of lines that nobody keeps.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace plinth_bench {

inline char* ScratchPath() {
  // A plain array, so that the exit handler can read it after static
  // strings are gone.
  static char path[] = "/tmp/plinth-bench-XXXXXX";
  return path;
}

inline void RemoveScratchDir() {
  const std::string command = std::string("rm -rf '") + ScratchPath() + "'";
  if (std::system(command.c_str()) != 0) std::fprintf(stderr, "cannot remove %s\n", ScratchPath());
}

inline std::string ScratchDir() {
  static const bool made = [] {
    if (!mkdtemp(ScratchPath())) std::abort();
    std::atexit(&RemoveScratchDir);
    return true;
  }();
  (void)made;
  return ScratchPath();
}

}  // namespace plinth_bench
