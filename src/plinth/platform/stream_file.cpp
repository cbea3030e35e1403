#include "plinth/platform/stream_file.h"

#include <fcntl.h>

namespace plinth::platform {
namespace {

// The descriptor behind a libstdc++ file buffer. The standard gives no way to
// open a std::filebuf with O_CLOEXEC; a member pointer taken in a derived
// class reaches the protected file object without a cast.
struct filebuf_access : std::filebuf {
  static int fd(std::filebuf& buffer) {
    auto file = &filebuf_access::_M_file;
    return (buffer.*file).fd();
  }
};

}  // namespace

std::filebuf* open_close_on_exec(std::filebuf& buffer, char const* name,
                                 std::ios_base::openmode mode) {
  if (buffer.open(name, mode) == nullptr) return nullptr;
  // A fork and exec on another thread between the open and this call would
  // still inherit the descriptor; libstdc++ offers nothing narrower.
  int fd = filebuf_access::fd(buffer);
  if (fd >= 0) ::fcntl(fd, F_SETFD, ::fcntl(fd, F_GETFD) | FD_CLOEXEC);
  return &buffer;
}

}  // namespace plinth::platform
