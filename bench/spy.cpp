// The viewer's cost: a diagnostic line into the file alone, the same line
// into the file and an attached viewer, and a bare datagram of a record's
// size as the one system call the viewer should cost (the reader's recv is
// in both). Then plinth-spy with four processes writing 50,000 lines each:
// records received against sent. A viewer may lag by the kernel's queue
// length of a datagram socket (net.unix.max_dgram_qlen); to see the effect
// of a longer queue without touching the machine's setting, run the
// program in a network namespace of its own:
//   unshare -n sh -c 'echo 10000 > /proc/sys/net/unix/max_dgram_qlen; plinth-bench-spy'

#include <benchmark/benchmark.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

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

// The viewer's socket, read by the benchmark's own thread right after each
// line, so that it never falls behind and is never dropped.
class InlineViewer {
public:
  InlineViewer() {
    m_nFd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    unlink(Path().c_str());
    const sockaddr_un address = Address(Path());
    bind(m_nFd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
  ~InlineViewer() {
    close(m_nFd);
    unlink(Path().c_str());
  }
  // One record if there is one; false when none was there.
  bool Take() { return recv(m_nFd, m_Record, sizeof m_Record, MSG_DONTWAIT) > 0; }
  static std::string Path() { return SpyDir() + "/Result Window"; }

private:
  int m_nFd;
  char m_Record[4096];
};

void BM_LineToFile(benchmark::State& state) {
  TDiag* diag = Engine();
  diag->SetDiagEnabled(true);  // no viewer: the window is null
  int n = 0;
  for (auto _ : state) PLINTH_DIAG_AT("BM_Line", 3, kText << ' ' << ++n);
  state.SetItemsProcessed(state.iterations());
}

// The same line, and the viewer takes its record.
void BM_LineToFileAndViewer(benchmark::State& state) {
  TDiag* diag = Engine();
  InlineViewer viewer;
  diag->SetDiagEnabled(true);
  long missing = 0;
  int n = 0;
  for (auto _ : state) {
    PLINTH_DIAG_AT("BM_Line", 3, kText << ' ' << ++n);
    if (!viewer.Take()) ++missing;
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["missing"] = static_cast<double>(missing);
  diag->SetDiagEnabled(true);
}

// The one system call the viewer may cost: a datagram of a line record's
// size, taken by the same reader.
void BM_BareDatagram(benchmark::State& state) {
  Engine();
  InlineViewer viewer;
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const sockaddr_un address = Address(InlineViewer::Path());
  connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  char record[160] = {};
  long failed = 0;
  for (auto _ : state) {
    if (send(fd, record, sizeof record, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) ++failed;
    viewer.Take();
  }
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
