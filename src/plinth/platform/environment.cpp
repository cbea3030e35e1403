#include "plinth/platform/environment.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace plinth::platform {

char const* env_get(char const* name) { return std::getenv(name); }

int env_put(char* text) {
  char const* equals = std::strchr(text, '=');
  // glibc's putenv takes a text without "=" as a removal and one that starts
  // with "=" as a variable without a name; both are refused here.
  if (equals == nullptr || equals == text) return -1;
  return ::putenv(text) == 0 ? 0 : -1;
}

void env_remove(char const* name) { ::unsetenv(name); }

char** env_table() { return environ; }

}  // namespace plinth::platform
