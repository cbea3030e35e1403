#include "plinth/platform/system.h"

#include <unistd.h>

#include <cstring>

#include "plinth/platform/os/os_error.h"

namespace plinth::platform {
std::string host_name() {
  char buf[256] = {};
  if (gethostname(buf, sizeof buf - 1) != 0) return {};
  return buf;
}

unsigned long process_id() { return static_cast<unsigned long>(getpid()); }

std::string error_text(int errnum) { return os_file_toolkit_error::description(errnum); }
}  // namespace plinth::platform
