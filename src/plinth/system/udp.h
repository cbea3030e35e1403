// Datagrams without any header: UdpClient sends one to a host and port,
// UdpServer runs a thread that hands each datagram it receives to a handler.
// The client turns every failure into a result code and a text; a server's
// constructor throws the network classes' errors, and its thread records
// the error that stopped it. Any thread may send; the handler runs on the
// server's thread, one datagram at a time.
#pragma once

#include <memory>
#include <string>

#include "plinth/plinth_export.h"

class os_thread;
class os_udp_socket;

class PLINTH_API UdpClient {
public:
  // The receive buffer of a server; a datagram must be shorter than this.
  static constexpr int MaxDatagram = 65488;

  // 0 sent; 1 network error (error gets the error's description, errorCode
  // its second code); 2 other platform error and 3 other exception (error
  // gets its text); 5 length of MaxDatagram or more, refused before anything
  // else is done; 6 fewer bytes went out than requested.
  static int send_udp_message(char const* host, int port, char const* data, int length,
                              std::string& error, long& errorCode);
  UdpClient& operator=(UdpClient const&) = default;
};

class PLINTH_API UdpServer {
public:
  // Binds to host and port (0: any free port) and starts the thread. A host
  // that can't be resolved or a port that can't be bound throws
  // os_network_toolkit_error; nothing is left open then.
  UdpServer(std::string host, int port, void (*handler)(char*, int));
  // Copies share the source's thread and socket, and its shut-down: a
  // request on any of them stops the one thread. Each copy that goes away
  // stops and waits for the thread; the last one closes the socket.
  UdpServer(UdpServer const& other);
  UdpServer& operator=(UdpServer const& other);
  // Stops the thread and waits for it: at most about one second.
  ~UdpServer();

  int GetPort();
  // Asks the thread to stop at its next test of the flag (within a second);
  // returns at once.
  void RequestShutdown();

protected:
  static void* server_func(void* server);

  // The thread records its end in the object it was started for; a copy
  // holds what had been recorded when it was made.
  std::string m_sError;
  // The second code of a network error.
  long m_nErrorCode = 0;
  // 0 running or ended cleanly; 1 network error, 2 other platform error,
  // 3 other exception.
  int m_nStatus = 0;
  os_thread* m_pThread = nullptr;
  os_udp_socket* m_pSocket = nullptr;
  std::string m_sHost;
  int m_nPort = 0;
  int m_nActualPort = 0;
  void (*m_pHandler)(char*, int) = nullptr;

  // The shut-down flag lives with the thread and socket that copies share,
  // so a request through any copy reaches the one loop.
  bool ShutdownRequested() const;

private:
  struct Shared;
  void Release();
  std::shared_ptr<Shared> m_pShared;
};
