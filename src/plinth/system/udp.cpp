#include "plinth/system/udp.h"

#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>

#include "plinth/platform/os/os_thread.h"
#include "plinth/platform/os/os_udp_socket.h"

namespace {
// The server's wait: the flag is tested at least this often.
constexpr long kPollSeconds = 1;
}  // namespace

int UdpClient::send_udp_message(char const* host, int port, char const* data, int length,
                                std::string& error, long& errorCode) {
  if (length >= MaxDatagram) return 5;
  try {
    const os_socket_address target(os_ip_address(host), port);
    os_udp_socket socket(os_udp_socket::unbound);
    if (socket.send_to(target, data, length) != length) {
      error = "number of bytes actually sent differs from requested len";
      return 6;
    }
    return 0;
  } catch (const os_network_toolkit_error& e) {
    error = os_network_toolkit_error::description(e.code());
    errorCode = e.code2();
    return 1;
  } catch (const os_toolkit_error& e) {
    error = e.what();
    return 2;
  } catch (const std::exception& e) {
    error = e.what();
    return 3;
  }
}

// What the copies of one server share. The join lock keeps two copies that
// go away on two threads from joining at once; the error lock orders the
// thread's record of its end against a copy that reads it.
struct UdpServer::Shared {
  std::atomic<bool> m_bShutdown{false};
  std::unique_ptr<os_udp_socket> m_pSocket;
  std::unique_ptr<os_thread> m_pThread;
  std::mutex m_JoinLock;
  std::mutex m_ErrorLock;
};

UdpServer::UdpServer(std::string host, int port, void (*handler)(char*, int))
    : m_sHost(std::move(host)), m_nPort(port), m_pHandler(handler), m_pShared(std::make_shared<Shared>()) {
  if (!handler) throw os_toolkit_error(EINVAL, "a UDP server needs a handler");
  const os_socket_address address(os_ip_address(m_sHost), m_nPort);
  m_pShared->m_pSocket = std::make_unique<os_udp_socket>(address);
  m_pSocket = m_pShared->m_pSocket.get();
  m_nActualPort = m_pSocket->socket_address().port();
  m_pShared->m_pThread = std::make_unique<os_thread>(&UdpServer::server_func, this, 0, false);
  m_pThread = m_pShared->m_pThread.get();
}

UdpServer::UdpServer(UdpServer const& other)
    : m_pThread(other.m_pThread),
      m_pSocket(other.m_pSocket),
      m_sHost(other.m_sHost),
      m_nPort(other.m_nPort),
      m_nActualPort(other.m_nActualPort),
      m_pHandler(other.m_pHandler),
      m_pShared(other.m_pShared) {
  if (!m_pShared) return;
  std::lock_guard<std::mutex> guard(m_pShared->m_ErrorLock);
  m_sError = other.m_sError;
  m_nErrorCode = other.m_nErrorCode;
  m_nStatus = other.m_nStatus;
}

UdpServer& UdpServer::operator=(UdpServer const& other) {
  if (this == &other) return *this;
  // This object's own thread writes into it: it ends before the fields change.
  Release();
  m_pThread = other.m_pThread;
  m_pSocket = other.m_pSocket;
  m_sHost = other.m_sHost;
  m_nPort = other.m_nPort;
  m_nActualPort = other.m_nActualPort;
  m_pHandler = other.m_pHandler;
  m_pShared = other.m_pShared;
  if (m_pShared) {
    std::lock_guard<std::mutex> guard(m_pShared->m_ErrorLock);
    m_sError = other.m_sError;
    m_nErrorCode = other.m_nErrorCode;
    m_nStatus = other.m_nStatus;
  }
  return *this;
}

UdpServer::~UdpServer() { Release(); }

void UdpServer::Release() {
  if (!m_pShared) return;
  m_pShared->m_bShutdown.store(true);
  {
    std::lock_guard<std::mutex> guard(m_pShared->m_JoinLock);
    m_pShared->m_pThread->join();
  }
  // The last copy closes the socket and frees the thread object.
  m_pShared.reset();
  m_pThread = nullptr;
  m_pSocket = nullptr;
}

int UdpServer::GetPort() { return m_nActualPort; }

void UdpServer::RequestShutdown() {
  if (m_pShared) m_pShared->m_bShutdown.store(true, std::memory_order_relaxed);
}

bool UdpServer::ShutdownRequested() const {
  return !m_pShared || m_pShared->m_bShutdown.load(std::memory_order_relaxed);
}

void* UdpServer::server_func(void* arg) {
  auto* server = static_cast<UdpServer*>(arg);
  Shared& shared = *server->m_pShared;
  // Only a network error has a code of its own; the others keep theirs.
  auto finish = [&](int status, const std::string& text, const long* code) {
    std::lock_guard<std::mutex> guard(shared.m_ErrorLock);
    server->m_nStatus = status;
    if (status == 0) return;
    server->m_sError = text;
    if (code) server->m_nErrorCode = *code;
  };
  try {
    os_io_multiplexer multiplexer;
    multiplexer.read_scan({shared.m_pSocket->handle()});
    // One buffer for the thread's life; a handler may not keep the pointer.
    // The last byte is kept for the NUL behind the longest datagram.
    std::unique_ptr<char[]> buffer(new char[UdpClient::MaxDatagram]);
    while (!server->ShutdownRequested()) {
      if (multiplexer.select(kPollSeconds, 0) == 0) continue;
      for (int handle : multiplexer.readable()) {
        os_udp_socket socket(handle, false);
        os_socket_address sender;
        const int count = socket.receive_from(sender, buffer.get(), UdpClient::MaxDatagram - 1);
        if (count < 0) continue;
        buffer[count] = '\0';
        server->m_pHandler(buffer.get(), count);
      }
    }
    finish(0, {}, nullptr);
    return nullptr;
  } catch (const os_network_toolkit_error& e) {
    const long code = e.code2();
    finish(1, os_network_toolkit_error::description(e.code()), &code);
  } catch (const os_toolkit_error& e) {
    finish(2, e.what(), nullptr);
  } catch (const std::exception& e) {
    finish(3, e.what(), nullptr);
  }
  return reinterpret_cast<void*>(1);
}
