// A viewer played by the test: the two window sockets bound in a scratch
// viewer directory, records taken back as bytes. Each test runs in its own
// process, so the engine singleton starts fresh.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>
#include <string>
#include <vector>

#include "../diag/diag_fixture.h"

namespace plinth_test {

using Bytes = std::vector<unsigned char>;

inline Bytes Le(uint32_t value) {
  return {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
          static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
}
inline Bytes Str(const std::string& text) {
  Bytes out(4 + text.size() + 1, 0);
  const Bytes length = Le(static_cast<uint32_t>(text.size()));
  std::copy(length.begin(), length.end(), out.begin());
  std::copy(text.begin(), text.end(), out.begin() + 4);
  return out;
}
inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

inline sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

class SpyTest : public DiagTest {
protected:
  void SetUp() override {
    DiagTest::SetUp();
    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
    spyDir = runtime / "plinth-spy";
    ASSERT_EQ(mkdir(spyDir.c_str(), 0700), 0);
  }
  void TearDown() override {
    for (int fd : fds)
      if (fd >= 0) close(fd);
    DiagTest::TearDown();
  }

  // Binds a window; index 0 is "OCData", 1 "Result Window".
  void Bind(int index) {
    const char* titles[] = {"OCData", "Result Window"};
    fds[index] = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = UnixAddress(spyDir + "/" + titles[index]);
    ASSERT_EQ(bind(fds[index], reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  void Unbind(int index) {
    close(fds[index]);
    fds[index] = -1;
    unlink((spyDir + (index == 0 ? "/OCData" : "/Result Window")).c_str());
  }
  // The next record on a window within a second, or an empty one.
  Bytes Take(int index, int waitMs = 1000) {
    pollfd waiting{fds[index], POLLIN, 0};
    if (poll(&waiting, 1, waitMs) != 1) return {};
    Bytes record(70000);
    const ssize_t got = recv(fds[index], record.data(), record.size(), 0);
    record.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return record;
  }
  // The head every record starts with: kind and this process's id.
  static Bytes Head(uint32_t kind) { return Cat({Le(kind), Le(static_cast<uint32_t>(getpid()))}); }

  TempDir runtime;
  std::string spyDir;
  int fds[2] = {-1, -1};
};

}  // namespace plinth_test
