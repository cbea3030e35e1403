#include "plinth/platform/os/os_stream.h"

#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace {
using FdBuf = __gnu_cxx::stdio_filebuf<char>;

int OpenCloexec(const std::string& path, int flags) {
  int fd;
  do {
    fd = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// The buffer owns the descriptor and closes it.
std::unique_ptr<std::streambuf> Buffer(int fd, std::ios::openmode mode) {
  if (fd < 0) return nullptr;
  return std::make_unique<FdBuf>(fd, mode | std::ios::binary);
}
}  // namespace

os_ifstream::os_ifstream() : std::istream(nullptr) { setstate(std::ios::badbit); }
os_ifstream::~os_ifstream() = default;

bool os_ifstream::open(const std::string& path) {
  close();
  m_pBuf = Buffer(OpenCloexec(path, O_RDONLY), std::ios::in);
  rdbuf(m_pBuf.get());  // also resets the state: bad while closed
  return is_open();
}

void os_ifstream::close() {
  rdbuf(nullptr);
  m_pBuf.reset();
}

os_ofstream::os_ofstream() : std::ostream(nullptr) { setstate(std::ios::badbit); }
os_ofstream::~os_ofstream() = default;

bool os_ofstream::open(const std::string& path) {
  close();
  m_pBuf = Buffer(OpenCloexec(path, O_WRONLY | O_CREAT | O_TRUNC), std::ios::out);
  rdbuf(m_pBuf.get());
  return is_open();
}

void os_ofstream::close() {
  if (m_pBuf) m_pBuf->pubsync();
  rdbuf(nullptr);
  m_pBuf.reset();
}
