#include "plinth/platform/os/os_udp_socket.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
static_assert(sizeof(sockaddr_in6) <= os_socket_address::capacity);

[[noreturn]] void ThrowSystem(long kind, int err, const std::string& what) {
  throw os_network_toolkit_error(kind, err, what + ": " + std::strerror(err));
}

[[noreturn]] void ThrowArgument(const std::string& what) { throw os_toolkit_error(EINVAL, what); }

int OpenDatagramSocket(int family) {
  const int fd = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) ThrowSystem(os_network_toolkit_error::socket_failed, errno, "cannot create a UDP socket");
  return fd;
}
}  // namespace

std::string os_network_toolkit_error::description(long code) {
  switch (code) {
    case resolve_failed: return "the host name could not be resolved";
    case socket_failed: return "a socket could not be created";
    case bind_failed: return "the socket could not be bound to the address";
    case send_failed: return "the datagram could not be sent";
    case receive_failed: return "a datagram could not be received";
    case wait_failed: return "waiting for the socket failed";
    case address_failed: return "the socket's address could not be read";
    default: return "unknown network error " + std::to_string(code);
  }
}

os_ip_address::os_ip_address() = default;

os_ip_address::os_ip_address(const char* host) {
  if (!host) ThrowArgument("no host name given");
  if (!*host) return;  // the IPv4 wildcard
  // Literals skip the resolver: that is what most callers pass, and
  // getaddrinfo costs as much as the send itself.
  if (inet_pton(AF_INET, host, m_Bytes.data()) == 1) return;
  if (inet_pton(AF_INET6, host, m_Bytes.data()) == 1) {
    m_bIPv6 = true;
    return;
  }
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  const int rc = getaddrinfo(host, nullptr, &hints, &found);
  if (rc != 0 || !found) {
    const int err = errno;
    const bool system = rc == EAI_SYSTEM;
    throw os_network_toolkit_error(os_network_toolkit_error::resolve_failed, system ? err : rc,
                                   std::string("cannot resolve host '") + host +
                                       "': " + (system ? std::strerror(err) : gai_strerror(rc)));
  }
  if (found->ai_family == AF_INET6) {
    sockaddr_in6 a;
    std::memcpy(&a, found->ai_addr, sizeof a);
    std::memcpy(m_Bytes.data(), &a.sin6_addr, 16);
    m_nScope = a.sin6_scope_id;
    m_bIPv6 = true;
  } else {
    sockaddr_in a;
    std::memcpy(&a, found->ai_addr, sizeof a);
    std::memcpy(m_Bytes.data(), &a.sin_addr, 4);
  }
  freeaddrinfo(found);
}

std::string os_ip_address::to_string() const {
  char text[INET6_ADDRSTRLEN] = {};
  inet_ntop(m_bIPv6 ? AF_INET6 : AF_INET, m_Bytes.data(), text, sizeof text);
  return text;
}

os_socket_address::os_socket_address(int) {}

os_socket_address::os_socket_address(const os_ip_address& address, int port) {
  if (port < 0 || port > 65535) ThrowArgument("port " + std::to_string(port) + " is outside 0..65535");
  if (address.m_bIPv6) {
    sockaddr_in6 a{};
    a.sin6_family = AF_INET6;
    a.sin6_port = htons(static_cast<uint16_t>(port));
    std::memcpy(&a.sin6_addr, address.m_Bytes.data(), 16);
    a.sin6_scope_id = address.m_nScope;
    std::memcpy(m_Storage.data(), &a, sizeof a);
    m_nLength = sizeof a;
    return;
  }
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  std::memcpy(&a.sin_addr, address.m_Bytes.data(), 4);
  std::memcpy(m_Storage.data(), &a, sizeof a);
  m_nLength = sizeof a;
}

int os_socket_address::family() const {
  if (m_nLength < sizeof(sa_family_t)) return AF_UNSPEC;
  sa_family_t family;
  std::memcpy(&family, m_Storage.data(), sizeof family);
  return family;
}

int os_socket_address::port() const {
  // The port sits at the same offset in both records.
  static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
  const int f = family();
  if (f != AF_INET && f != AF_INET6) return 0;
  uint16_t port;
  std::memcpy(&port, m_Storage.data() + offsetof(sockaddr_in, sin_port), sizeof port);
  return ntohs(port);
}

os_socket::~os_socket() {
  if (m_bOwned && m_nHandle >= 0) ::close(m_nHandle);
}

os_socket_address os_socket::socket_address() const {
  os_socket_address address;
  socklen_t length = os_socket_address::capacity;
  if (getsockname(m_nHandle, static_cast<sockaddr*>(address.data()), &length) != 0)
    ThrowSystem(os_network_toolkit_error::address_failed, errno, "cannot read the socket's address");
  address.set_length(length);
  return address;
}

int os_connectable_socket::receive_from(os_socket_address& address, void* buffer, int length) {
  if (length < 0 || (!buffer && length > 0)) ThrowArgument("bad receive buffer");
  for (;;) {
    socklen_t size = os_socket_address::capacity;
    const ssize_t n = recvfrom(m_nHandle, buffer, static_cast<size_t>(length), MSG_DONTWAIT,
                               static_cast<sockaddr*>(address.data()), &size);
    if (n >= 0) {
      address.set_length(size);
      return static_cast<int>(n);
    }
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return -1;
    // An unconnected socket may hold the ICMP error of an earlier send;
    // it concerns that send, not the datagrams still to come.
    if (errno == ECONNREFUSED) continue;
    ThrowSystem(os_network_toolkit_error::receive_failed, errno, "cannot receive a datagram");
  }
}

os_udp_socket::os_udp_socket(bind_t) : os_connectable_socket(-1, true) {}

os_udp_socket::os_udp_socket(int handle, bool owned) : os_connectable_socket(handle, owned) {}

os_udp_socket::os_udp_socket(const os_socket_address& address) : os_connectable_socket(-1, true) {
  m_nHandle = OpenDatagramSocket(address.family());
  if (::bind(m_nHandle, static_cast<const sockaddr*>(address.data()), address.length()) != 0) {
    const int err = errno;
    ::close(m_nHandle);
    m_nHandle = -1;
    ThrowSystem(os_network_toolkit_error::bind_failed, err, "cannot bind a UDP socket");
  }
}

int os_udp_socket::send_to(const os_socket_address& address, const void* data, int length) {
  if (length < 0) ThrowArgument("negative datagram length " + std::to_string(length));
  if (!data && length > 0) ThrowArgument("no data to send");
  if (address.empty()) ThrowArgument("no address to send to");
  if (m_nHandle < 0) m_nHandle = OpenDatagramSocket(address.family());
  for (;;) {
    const ssize_t n = sendto(m_nHandle, data, static_cast<size_t>(length), MSG_NOSIGNAL,
                             static_cast<const sockaddr*>(address.data()), address.length());
    if (n >= 0) return static_cast<int>(n);
    if (errno == EINTR) continue;
    ThrowSystem(os_network_toolkit_error::send_failed, errno, "cannot send a datagram");
  }
}

void os_io_multiplexer::read_scan(const std::vector<int>& handles) { m_vHandles = handles; }

int os_io_multiplexer::select(long seconds, long microseconds) {
  m_vReadable.clear();
  std::vector<pollfd> fds;
  fds.reserve(m_vHandles.size());
  for (int h : m_vHandles) fds.push_back({h, POLLIN, 0});
  const long long ms = seconds * 1000LL + (microseconds + 999) / 1000;
  const int n = ::poll(fds.data(), fds.size(), ms > 0x7fffffff ? 0x7fffffff : static_cast<int>(ms));
  if (n < 0) {
    // A signal ends the wait early; the caller loops and tests its flags.
    if (errno == EINTR) return 0;
    ThrowSystem(os_network_toolkit_error::wait_failed, errno, "cannot wait for the sockets");
  }
  for (const pollfd& p : fds) {
    if (p.revents & (POLLNVAL))
      throw os_network_toolkit_error(os_network_toolkit_error::wait_failed, EBADF,
                                     "cannot wait for the sockets: a handle is not open");
    if (p.revents & (POLLIN | POLLERR)) m_vReadable.push_back(p.fd);
  }
  return static_cast<int>(m_vReadable.size());
}
