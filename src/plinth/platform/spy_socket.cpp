#include "plinth/platform/spy_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace plinth::platform {

struct spy_window {
  int fd;
};

namespace {
bool FillAddress(const std::string& path, sockaddr_un& address, socklen_t& length) {
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
  return true;
}

void PutLittleEndian(unsigned char* out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out[i] = static_cast<unsigned char>(value >> (8 * i));
}
}  // namespace

std::string spy_directory() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime) return std::string(runtime) + "/plinth-spy";
  return "/tmp/plinth-spy-" + std::to_string(geteuid());
}

bool spy_directory_trusted(const std::string& dir) {
  struct stat info;
  if (lstat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return false;
  if (info.st_uid != geteuid() && info.st_uid != 0) return false;
  return (info.st_mode & 077) == 0;
}

spy_window* spy_find_window(const char* title) {
  const std::string dir = spy_directory();
  if (!title || !spy_directory_trusted(dir)) return nullptr;
  sockaddr_un address;
  socklen_t length;
  if (!FillAddress(dir + "/" + title, address, length)) return nullptr;
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return nullptr;
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
    ::close(fd);
    return nullptr;
  }
  return new spy_window{fd};
}

void spy_release(spy_window* window) {
  if (!window) return;
  ::close(window->fd);
  delete window;
}

bool spy_send(spy_window* window, uint32_t kind, uint32_t pid, const spy_piece* pieces, size_t count) {
  if (!window) return false;
  constexpr size_t kMaxPieces = 32;
  if (count + 1 > kMaxPieces) return false;
  unsigned char head[8];
  PutLittleEndian(head, kind);
  PutLittleEndian(head + 4, pid);
  iovec parts[kMaxPieces];
  parts[0] = {head, sizeof head};
  for (size_t i = 0; i < count; ++i) parts[i + 1] = {const_cast<void*>(pieces[i].data), pieces[i].size};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = count + 1;
  for (;;) {
    if (sendmsg(window->fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return true;
    if (errno != EINTR) return false;
  }
}

bool spy_sender_allowed(uint32_t uid) { return uid == 0 || uid == geteuid(); }

spy_control_socket::~spy_control_socket() { close(); }

bool spy_control_socket::open(const std::string& path) {
  close();
  sockaddr_un address;
  socklen_t length;
  if (!FillAddress(path, address, length)) return false;
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  const int on = 1;
  struct stat info;
  // A socket file of ours can only be left from an earlier process that had
  // the same pid: it is stale.
  if (lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode)) unlink(path.c_str());
  if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
      bind(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
    ::close(fd);
    return false;
  }
  m_nFd = fd;
  m_sPath = path;
  return true;
}

long spy_control_socket::receive(char* buffer, size_t size, uint32_t& senderUid, bool& canReply) {
  if (m_nFd < 0) return -1;
  for (;;) {
    pollfd waiting{m_nFd, POLLIN, 0};
    if (poll(&waiting, 1, -1) < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    if (waiting.revents & (POLLHUP | POLLRDHUP | POLLERR | POLLNVAL)) return 0;
    iovec part{buffer, size};
    alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(ucred))];
    sockaddr_un sender{};
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t got = recvmsg(m_nFd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (got < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return -1;
    }
    // A zero-length datagram and a shut-down socket read alike: both end the wait.
    if (got == 0) return 0;
    // Without credentials the sender is nobody we know.
    senderUid = UINT32_MAX;
    for (cmsghdr* item = CMSG_FIRSTHDR(&message); item; item = CMSG_NXTHDR(&message, item)) {
      if (item->cmsg_level == SOL_SOCKET && item->cmsg_type == SCM_CREDENTIALS) {
        ucred credentials;
        std::memcpy(&credentials, CMSG_DATA(item), sizeof credentials);
        senderUid = credentials.uid;
      }
    }
    m_nSenderLength = message.msg_namelen > sizeof(sa_family_t) ? message.msg_namelen : 0;
    if (m_nSenderLength > sizeof m_Sender) m_nSenderLength = 0;
    std::memcpy(m_Sender, &sender, m_nSenderLength);
    canReply = m_nSenderLength > 0;
    return static_cast<long>(got);
  }
}

void spy_control_socket::reply(const char* text, size_t size) {
  if (m_nFd < 0 || m_nSenderLength == 0) return;
  sendto(m_nFd, text, size, MSG_DONTWAIT | MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(m_Sender),
         static_cast<socklen_t>(m_nSenderLength));
}

void spy_control_socket::wake() {
  if (m_nFd >= 0) shutdown(m_nFd, SHUT_RDWR);
}

void spy_control_socket::close() {
  if (m_nFd < 0) return;
  ::close(m_nFd);
  m_nFd = -1;
  unlink(m_sPath.c_str());
  m_sPath.clear();
}

}  // namespace plinth::platform
