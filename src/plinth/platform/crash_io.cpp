#include "plinth/platform/crash_io.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace plinth::platform {
int raw_open_append(const char* path, int permissions) noexcept {
  int fd;
  do {
    fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, permissions);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool raw_write(int fd, const char* data, size_t size) noexcept {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

bool raw_write(int fd, const char* text) noexcept { return raw_write(fd, text, std::strlen(text)); }

// Not retried after EINTR: on Linux the descriptor is gone either way.
bool raw_close(int fd) noexcept { return ::close(fd) == 0; }

void raw_perror(const char* text) noexcept {
  const int saved = errno;
  // strerrordesc_np reads a constant table: no locale, no buffer.
  const char* description = strerrordesc_np(saved);
  raw_write(STDERR_FILENO, text);
  raw_write(STDERR_FILENO, ": ");
  raw_write(STDERR_FILENO, description ? description : "Unknown error");
  raw_write(STDERR_FILENO, "\n");
  errno = saved;
}

void host_name_into(char* buffer, size_t size) noexcept {
  if (!buffer || size == 0) return;
  if (gethostname(buffer, size) != 0) buffer[0] = '\0';
  buffer[size - 1] = '\0';
}
unsigned long raw_thread_id() noexcept { return static_cast<unsigned long>(syscall(SYS_gettid)); }

}  // namespace plinth::platform
