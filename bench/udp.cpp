// Datagrams on loopback, one sender and one receiving thread with a handler
// that counts. UdpClient and UdpServer against the same work in bare system
// calls: a socket, sendto and close per datagram, recvfrom in a poll loop.
// A bare sendto on a kept socket shows what the socket per send costs.
// Every 32 datagrams the sender waits for the handler to catch up, so that
// none is dropped and the rate is that of delivery.
// Name-value text: 1,000 pairs written and read on streams, and read with
// nv_read_namevalue from one buffer.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "plinth/plinth.h"

namespace {
std::atomic<long> g_nReceived{0};
void Count(char*, int) { g_nReceived.fetch_add(1, std::memory_order_relaxed); }

const std::string kPayload(64, 'd');
constexpr long kBatch = 32;

// Sends with send(port) until the benchmark stops, waiting at each batch.
template <class Send>
void Drive(benchmark::State& state, Send send) {
  const long start = g_nReceived.load();
  long sent = 0;
  for (auto _ : state) {
    if (!send()) state.SkipWithError("send failed");
    if (++sent % kBatch == 0)
      while (g_nReceived.load(std::memory_order_relaxed) - start < sent) std::this_thread::yield();
  }
  while (g_nReceived.load() - start < sent) std::this_thread::yield();
  state.SetItemsProcessed(sent);
}

// The bare receiver: the server's loop without the library.
class BareServer {
public:
  BareServer() {
    m_nFd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(m_nFd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t len = sizeof a;
    getsockname(m_nFd, reinterpret_cast<sockaddr*>(&a), &len);
    m_Address = a;
    m_Thread = std::thread([this] {
      std::vector<char> buffer(UdpClient::MaxDatagram);
      while (!m_bStop.load(std::memory_order_relaxed)) {
        pollfd p{m_nFd, POLLIN, 0};
        if (poll(&p, 1, 1000) <= 0) continue;
        sockaddr_in from;
        socklen_t fromLen = sizeof from;
        const ssize_t n = recvfrom(m_nFd, buffer.data(), buffer.size() - 1, MSG_DONTWAIT,
                                   reinterpret_cast<sockaddr*>(&from), &fromLen);
        if (n < 0) continue;
        buffer[n] = '\0';
        Count(buffer.data(), static_cast<int>(n));
      }
    });
  }
  ~BareServer() {
    m_bStop = true;
    m_Thread.join();
    close(m_nFd);
  }
  const sockaddr_in& address() const { return m_Address; }

private:
  int m_nFd;
  sockaddr_in m_Address;
  std::atomic<bool> m_bStop{false};
  std::thread m_Thread;
};

void BM_Udp_Library(benchmark::State& state) {
  UdpServer server("127.0.0.1", 0, Count);
  const int port = server.GetPort();
  std::string error;
  long code = 0;
  Drive(state, [&] {
    return UdpClient::send_udp_message("127.0.0.1", port, kPayload.data(), static_cast<int>(kPayload.size()),
                                       error, code) == 0;
  });
}
BENCHMARK(BM_Udp_Library)->UseRealTime();

void BM_Udp_BareSocketPerSend(benchmark::State& state) {
  BareServer server;
  Drive(state, [&] {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const ssize_t n = sendto(fd, kPayload.data(), kPayload.size(), 0,
                             reinterpret_cast<const sockaddr*>(&server.address()), sizeof(sockaddr_in));
    close(fd);
    return n == static_cast<ssize_t>(kPayload.size());
  });
}
BENCHMARK(BM_Udp_BareSocketPerSend)->UseRealTime();

void BM_Udp_BareKeptSocket(benchmark::State& state) {
  BareServer server;
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  Drive(state, [&] {
    return sendto(fd, kPayload.data(), kPayload.size(), 0, reinterpret_cast<const sockaddr*>(&server.address()),
                  sizeof(sockaddr_in)) == static_cast<ssize_t>(kPayload.size());
  });
  close(fd);
}
BENCHMARK(BM_Udp_BareKeptSocket)->UseRealTime();

// 1,000 pairs of short names and values, some with characters to escape.
std::vector<NVStrings> Pairs() {
  std::vector<NVStrings> pairs;
  for (int i = 0; i < 1000; ++i)
    pairs.emplace_back("name" + std::to_string(i), i % 10 ? "value of pair " + std::to_string(i) : "a<b>c\\d");
  return pairs;
}

std::string Encoded() {
  std::ostringstream out;
  for (const NVStrings& p : Pairs()) out << p;
  return out.str();
}

void BM_NV_Encode1000(benchmark::State& state) {
  const std::vector<NVStrings> pairs = Pairs();
  const std::size_t bytes = Encoded().size();
  for (auto _ : state) {
    std::ostringstream out;
    for (const NVStrings& p : pairs) out << p;
    benchmark::DoNotOptimize(out.str().data());
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_NV_Encode1000);

void BM_NV_DecodeStream1000(benchmark::State& state) {
  const std::string text = Encoded();
  for (auto _ : state) {
    std::istringstream in(text);
    NVStrings pair;
    int n = 0;
    while (pair.ReadFromStream(in)) ++n;
    if (n != 1000) state.SkipWithError("lost pairs");
  }
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_NV_DecodeStream1000);

void BM_NV_DecodeBuffer1000(benchmark::State& state) {
  const std::string text = Encoded();
  char name[64], value[64];
  for (auto _ : state) {
    int n = 0;
    for (int pos = 0; text[pos] && pos >= 0; ++n) pos = nv_read_namevalue(text.c_str(), pos, name, 63, value, 63);
    if (n != 1000) state.SkipWithError("lost pairs");
  }
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_NV_DecodeBuffer1000);

// The floor for both directions: copying the same bytes through a stream.
void BM_NV_StreamCopyBaseline(benchmark::State& state) {
  const std::string text = Encoded();
  for (auto _ : state) {
    std::istringstream in(text);
    std::ostringstream out;
    out << in.rdbuf();
    benchmark::DoNotOptimize(out.str().data());
  }
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_NV_StreamCopyBaseline);
}  // namespace
