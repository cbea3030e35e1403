// Datagrams on loopback: the client's results, what a handler receives, the
// server's shut-down, errors, signals, copies and descriptors.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <thread>

#include "plinth/plinth.h"

namespace {
std::mutex g_Lock;
std::condition_variable g_Arrived;
std::vector<std::string> g_Received;

void Collect(char* data, int length) {
  std::lock_guard<std::mutex> guard(g_Lock);
  // The NUL behind the datagram is part of the contract.
  g_Received.emplace_back(data, length + 1);
  g_Arrived.notify_all();
}

// Waits for n datagrams in all; false after two seconds.
bool WaitFor(std::size_t n) {
  std::unique_lock<std::mutex> guard(g_Lock);
  return g_Arrived.wait_for(guard, std::chrono::seconds(2), [n] { return g_Received.size() >= n; });
}

int Send(int port, const std::string& data) {
  std::string error;
  long code = 0;
  return UdpClient::send_udp_message("127.0.0.1", port, data.data(), static_cast<int>(data.size()), error, code);
}

long OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Sees what the server records about the end of its thread.
struct Probe : UdpServer {
  using UdpServer::UdpServer;
  using UdpServer::m_nErrorCode, UdpServer::m_nStatus, UdpServer::m_pSocket, UdpServer::m_pThread,
      UdpServer::m_sError;
};
}  // namespace

TEST(UdpClient, ResultsAndWhatTheyTouch) {
  const std::string big(UdpClient::MaxDatagram, 'x');
  struct Case {
    const char* host;
    int port, length, result;
    std::string error;
    long code;
  } cases[] = {
      {nullptr, 9, UdpClient::MaxDatagram, 5, "untouched", -7},  // no resolution of a null host
      {"127.0.0.1", 9, UdpClient::MaxDatagram - 1, 0, "untouched", -7},
      {"no.such.host.invalid", 9, 1, 1, "the host name could not be resolved", 0},
      {"127.0.0.1", 0, 1, 1, "the datagram could not be sent", EINVAL},
      {nullptr, 9, 1, 2, "no host name given", -7},
      {"127.0.0.1", 65536, 1, 2, "port 65536 is outside 0..65535", -7},
      {"::1", 9, -1, 2, "negative datagram length -1", -7},
  };
  for (const Case& c : cases) {
    std::string error = "untouched";
    long code = -7;
    EXPECT_EQ(UdpClient::send_udp_message(c.host, c.port, big.data(), c.length, error, code), c.result)
        << c.length;
    EXPECT_EQ(error, c.error);
    EXPECT_TRUE(c.code ? code == c.code : code != -7) << code;  // 0: any resolver code
  }
}

TEST(UdpServer, HandsEachDatagramWholeWithANulBehind) {
  const long before = OpenDescriptors();
  {
    Probe server("127.0.0.1", 0, Collect);
    ASSERT_GT(server.GetPort(), 0);
    const std::string payloads[] = {"", std::string("a\0b\0", 4), std::string(UdpClient::MaxDatagram - 1, 'z')};
    for (const std::string& p : payloads) ASSERT_EQ(Send(server.GetPort(), p), 0);
    ASSERT_TRUE(WaitFor(3));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(g_Received[i], payloads[i] + '\0') << i;
    // A signal cuts the wait short but doesn't end the thread.
    struct sigaction action{};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    for (int i = 0; i < 5; ++i) {  // spaced, so that they find the thread waiting
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      pthread_kill(server.m_pThread->record().m_Thread.native_handle(), SIGUSR1);
    }
    ASSERT_EQ(Send(server.GetPort(), "after"), 0);
    ASSERT_TRUE(WaitFor(4));
    // The same port can't be bound twice; the refused server leaves nothing open.
    try {
      UdpServer("127.0.0.1", server.GetPort(), Collect);
      ADD_FAILURE();
    } catch (const os_network_toolkit_error& e) {
      EXPECT_EQ(std::pair(e.code(), e.code2()), std::pair(long(os_network_toolkit_error::bind_failed), long(EADDRINUSE)));
    }
    server.RequestShutdown();
    server.m_pThread->join();
    EXPECT_EQ(server.m_nStatus, 0);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(UdpServer, ShutdownWithinThePollInterval) {
  auto timed = [](auto&& step) {
    const auto start = std::chrono::steady_clock::now();
    step();
    return std::chrono::steady_clock::now() - start;
  };
  auto* server = new UdpServer("127.0.0.1", 0, Collect);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_LT(timed([&] { server->RequestShutdown(); }), std::chrono::milliseconds(50));
  // Asked once, the loop ends at its next test: destruction only waits for it.
  EXPECT_LT(timed([&] { delete server; }), std::chrono::milliseconds(1300));
  EXPECT_LT(timed([] { UdpServer idle("::1", 0, Collect); }), std::chrono::milliseconds(1300));
}

TEST(UdpServer, CopiesShareOneThreadAndCloseOnce) {
  const long before = OpenDescriptors();
  {
    UdpServer first("127.0.0.1", 0, Collect);
    UdpServer other("127.0.0.1", 0, Collect);
    auto* copy = new UdpServer(first);
    other = *copy;  // other's own thread ends first
    EXPECT_EQ(other.GetPort(), first.GetPort());
    EXPECT_EQ(OpenDescriptors(), before + 1);
    const std::size_t seen = g_Received.size();
    ASSERT_EQ(Send(first.GetPort(), "shared"), 0);
    ASSERT_TRUE(WaitFor(seen + 1));
    other.RequestShutdown();
    delete copy;  // joins the stopped thread; the others keep the socket
    EXPECT_EQ(OpenDescriptors(), before + 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(UdpServer, RecordsWhatEndedTheThread) {
  struct Case {
    void (*handler)(char*, int);
    int status;
    std::string error;
    long code;
  } cases[] = {
      {[](char*, int) { throw os_toolkit_error(5, "platform says no"); }, 2, "platform says no", 0},
      {[](char*, int) { throw std::runtime_error("handler says no"); }, 3, "handler says no", 0},
      // The socket's handle made into a file: receiving from it fails.
      {nullptr, 1, "a datagram could not be received", ENOTSOCK},
  };
  for (const Case& c : cases) {
    Probe server("127.0.0.1", 0, c.handler ? c.handler : Collect);
    if (c.handler) {
      ASSERT_EQ(Send(server.GetPort(), "x"), 0);
    } else {
      const int file = open("/dev/zero", O_RDONLY | O_CLOEXEC);
      dup2(file, server.m_pSocket->handle());
      close(file);
    }
    server.m_pThread->join();  // the thread ends by itself
    EXPECT_EQ(std::tie(server.m_nStatus, server.m_sError, server.m_nErrorCode), std::tie(c.status, c.error, c.code));
  }
}
