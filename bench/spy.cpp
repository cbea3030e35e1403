// The viewer's cost: a diagnostic line into the file alone, the same line
// into the file and an attached viewer, and a bare datagram of a record's
// size as the one system call the viewer should cost. Then plinth-spy with
// four processes writing 50,000 lines each: records received against sent.
#include <benchmark/benchmark.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "plinth/plinth.h"
#include "scratch_dir.h"

PLINTH_DIAG_FILE();

namespace {

using plinth_bench::ScratchDir;

const char* const kText = "the quick brown fox jumps over the lazy dog, value 12345";

std::string SpyDir() { return ScratchDir() + "/plinth-spy"; }

TDiag* Engine() {
  static TDiag* diag = [] {
    setenv("XDG_RUNTIME_DIR", ScratchDir().c_str(), 1);
    mkdir(SpyDir().c_str(), 0700);
    TDiag* d = TDiag::Instance();
    d->Initialize(ScratchDir(), "", "");
    DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
    return d;
  }();
  return diag;
}

sockaddr_un Address(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

// A viewer thread that binds "Result Window" and drains it.
class DrainingViewer {
public:
  DrainingViewer() {
    m_nFd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const std::string path = SpyDir() + "/Result Window";
    unlink(path.c_str());
    const sockaddr_un address = Address(path);
    bind(m_nFd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    m_Thread = std::thread([this] {
      char record[4096];
      while (!m_bStop.load()) {
        pollfd waiting{m_nFd, POLLIN, 0};
        if (poll(&waiting, 1, 50) == 1)
          while (recv(m_nFd, record, sizeof record, MSG_DONTWAIT) > 0) m_nReceived.fetch_add(1);
      }
    });
  }
  ~DrainingViewer() {
    m_bStop = true;
    m_Thread.join();
    close(m_nFd);
    unlink((SpyDir() + "/Result Window").c_str());
  }
  long received() const { return m_nReceived.load(); }

private:
  int m_nFd;
  std::atomic<bool> m_bStop{false};
  std::atomic<long> m_nReceived{0};
  std::thread m_Thread;
};

void BM_LineToFile(benchmark::State& state) {
  TDiag* diag = Engine();
  diag->SetDiagEnabled(true);  // no viewer: the window is null
  int n = 0;
  for (auto _ : state) PLINTH_DIAG_AT("BM_Line", 3, kText << ' ' << ++n);
  state.SetItemsProcessed(state.iterations());
}

void BM_LineToFileAndViewer(benchmark::State& state) {
  TDiag* diag = Engine();
  DrainingViewer viewer;
  diag->SetDiagEnabled(true);
  long reattached = 0;
  int n = 0;
  for (auto _ : state) {
    PLINTH_DIAG_AT("BM_Line", 3, kText << ' ' << ++n);
    if (!diag->m_hSpyWindow) {
      // The viewer fell behind and was dropped: attach it again, untimed.
      state.PauseTiming();
      ++reattached;
      diag->SetDiagEnabled(true);
      state.ResumeTiming();
    }
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["reattached"] = static_cast<double>(reattached);
}

// One datagram of a line record's size to a drained socket.
void BM_BareDatagram(benchmark::State& state) {
  Engine();
  DrainingViewer viewer;
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const sockaddr_un address = Address(SpyDir() + "/Result Window");
  connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  char record[160] = {};
  long failed = 0;
  for (auto _ : state)
    if (send(fd, record, sizeof record, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) ++failed;
  close(fd);
  state.SetItemsProcessed(state.iterations());
  state.counters["failed"] = static_cast<double>(failed);
}

BENCHMARK(BM_LineToFile);
BENCHMARK(BM_LineToFileAndViewer);
BENCHMARK(BM_BareDatagram);

#ifdef PLINTH_SPY_PROGRAM
// Four processes write 50,000 lines each while plinth-spy watches and
// copies them to a file. A process stops sending when a send fails (the
// viewer was full); sent counts the sends that went out.
void BM_SpyKeepsUpWithFourWriters(benchmark::State& state) {
  TDiag* diag = Engine();
  constexpr int kWriters = 4;
  constexpr int kLines = 50000;
  for (auto _ : state) {
    const std::string out = ScratchDir() + "/spy-out.txt", summary = ScratchDir() + "/spy-summary.txt";
    const pid_t viewer = fork();
    if (viewer == 0) {
      freopen(summary.c_str(), "w", stderr);
      execl(PLINTH_SPY_PROGRAM, PLINTH_SPY_PROGRAM, "--dir", SpyDir().c_str(), "--quiet", "--summary", "--output",
            out.c_str(), "--idle", "2", nullptr);
      _exit(127);
    }
    const sockaddr_un address = Address(SpyDir() + "/Result Window");
    for (int i = 0; i < 500; ++i) {
      const int probe = socket(AF_UNIX, SOCK_DGRAM, 0);
      const bool live = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
      close(probe);
      if (live) break;
      usleep(10000);
    }
    int pipeFds[2];
    if (pipe(pipeFds) != 0) std::abort();
    for (int w = 0; w < kWriters; ++w) {
      if (fork() != 0) continue;
      diag->SetDiagEnabled(true);  // this process looks for the viewer itself
      long sent = 0;
      for (int i = 0; i < kLines; ++i) {
        PLINTH_DIAG_AT("Writer", 3, kText << ' ' << i);
        if (diag->m_hSpyWindow) ++sent;
      }
      (void)!write(pipeFds[1], &sent, sizeof sent);
      _exit(0);
    }
    close(pipeFds[1]);
    long sent = 0, one = 0;
    while (read(pipeFds[0], &one, sizeof one) == sizeof one) sent += one;
    close(pipeFds[0]);
    for (int w = 0; w < kWriters + 1; ++w) wait(nullptr);
    long long records = 0, lines = 0;
    if (FILE* f = std::fopen(summary.c_str(), "r")) {
      if (std::fscanf(f, "plinth-spy: %lld records, %lld lines received", &records, &lines) != 2) lines = -1;
      std::fclose(f);
    }
    state.counters["printed"] = kWriters * kLines;
    state.counters["sent"] = static_cast<double>(sent);
    state.counters["received"] = static_cast<double>(lines);
    state.counters["received_per_sent"] = sent ? static_cast<double>(lines) / static_cast<double>(sent) : 0;
  }
}
BENCHMARK(BM_SpyKeepsUpWithFourWriters)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace
