// Datagram sockets for IPv4 and IPv6: addresses, a UDP socket that sends and
// receives, and a multiplexer that waits for readable sockets. Failures of
// the system throw os_network_toolkit_error; bad arguments (a null host, a
// port outside 0..65535, a negative length) throw os_toolkit_error with
// EINVAL. One object is used by one thread at a time; every socket is
// close-on-exec.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "plinth/platform/os/os_network_error.h"
#include "plinth/plinth_export.h"

// One IPv4 or IPv6 address. An address literal is taken as it stands; any
// other text is resolved through the system's resolver and the first answer
// wins. An empty text is the IPv4 wildcard (bind to every interface).
class PLINTH_API os_ip_address {
public:
  os_ip_address();
  explicit os_ip_address(const char* host);
  explicit os_ip_address(const std::string& host) : os_ip_address(host.c_str()) {}

  bool is_ipv6() const { return m_bIPv6; }
  // The numeric form, "127.0.0.1" or "::1".
  std::string to_string() const;
  // 4 or 16 bytes in network order.
  const unsigned char* bytes() const { return m_Bytes.data(); }

private:
  bool m_bIPv6 = false;
  std::array<unsigned char, 16> m_Bytes{};
  unsigned m_nScope = 0;
  friend class os_socket_address;
};

// An address and a port, kept as the system's socket address record.
class PLINTH_API os_socket_address {
public:
  // Empty: no family yet, filled by receive_from or socket_address().
  explicit os_socket_address(int = 0);
  os_socket_address(const os_ip_address& address, int port);

  int port() const;
  bool empty() const { return m_nLength == 0; }
  int family() const;

  // The raw record for the socket calls of the platform layer.
  const void* data() const { return m_Storage.data(); }
  void* data() { return m_Storage.data(); }
  unsigned length() const { return m_nLength; }
  void set_length(unsigned length) { m_nLength = length; }
  static constexpr unsigned capacity = 28;  // an IPv6 record

private:
  alignas(8) std::array<unsigned char, capacity> m_Storage{};
  unsigned m_nLength = 0;
};

// A socket handle owned (closed at destruction) or borrowed.
class PLINTH_API os_socket {
public:
  os_socket(const os_socket&) = delete;
  os_socket& operator=(const os_socket&) = delete;
  virtual ~os_socket();

  int handle() const { return m_nHandle; }
  // The local address the socket is bound to.
  os_socket_address socket_address() const;

protected:
  os_socket(int handle, bool owned) : m_nHandle(handle), m_bOwned(owned) {}
  int m_nHandle;
  bool m_bOwned;
};

class PLINTH_API os_connectable_socket : public os_socket {
public:
  // Takes one datagram into buffer, at most length bytes (the rest of a
  // longer one is lost, as the system does), and fills address with the
  // sender. Gives the count, or -1 when no datagram is waiting: the socket
  // is never left blocked here.
  int receive_from(os_socket_address& address, void* buffer, int length);

protected:
  using os_socket::os_socket;
};

class PLINTH_API os_udp_socket : public os_connectable_socket {
public:
  enum bind_t { unbound = 0 };

  // No socket yet: the first send_to opens one of the target's family.
  explicit os_udp_socket(bind_t = unbound);
  // Opens a socket bound to address (port 0: any free port).
  explicit os_udp_socket(const os_socket_address& address);
  // Wraps an existing handle; owned says whether destruction closes it.
  os_udp_socket(int handle, bool owned);

  // Sends one datagram and gives the count of bytes that went out.
  int send_to(const os_socket_address& address, const void* data, int length);
};

// Waits until one of a set of sockets has something to read.
class PLINTH_API os_io_multiplexer {
public:
  void read_scan(const std::vector<int>& handles);
  // Waits at most the time given; gives the number of readable handles,
  // 0 at the time-out or when a signal cut the wait short.
  int select(long seconds, long microseconds);
  // The handles that the last select found readable.
  const std::vector<int>& readable() const { return m_vReadable; }

private:
  std::vector<int> m_vHandles;
  std::vector<int> m_vReadable;
};
