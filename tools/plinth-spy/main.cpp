// plinth-spy: binds the two viewer sockets of the diagnostics, shows every
// record that running processes send as it arrives, filters by process,
// file, context and level, and can copy what it shows into a file. With
// --set it sends a control message to a process and prints its answer.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "plinth/diag/diag_control.h"

namespace {

const char* const kUsage =
    "usage: plinth-spy [options]\n"
    "       plinth-spy --set PID COMMAND [COMMAND...]\n"
    "\n"
    "Shows the diagnostic lines of running processes as they print them.\n"
    "A process that starts (or turns its diagnostics on) while the viewer runs\n"
    "sends its name, source files and contexts, then every line it prints.\n"
    "\n"
    "  --pid PID        only records of this process (may be repeated)\n"
    "  --file NAME      only lines of this source file: its base name without\n"
    "                   extension, in lower case, or its path (may be repeated)\n"
    "  --context ID     only lines of this context; -1 is a line without one\n"
    "  --level N        only lines of level N and below\n"
    "  --output FILE    also append what is shown to FILE\n"
    "  --quiet          show nothing on standard output\n"
    "  --count N        end after N lines were received, shown or not\n"
    "  --idle SECONDS   end after that long without a record\n"
    "  --summary        at the end, tell on standard error how many records came\n"
    "  --dir DIR        the sockets' directory (default: $XDG_RUNTIME_DIR/plinth-spy,\n"
    "                   or /tmp/plinth-spy-UID)\n"
    "  --help           this text\n"
    "\n"
    "--set sends one control message and prints the process's answer\n"
    "(\"ok N\", \"error ...\" or \"refused\"). Each COMMAND is one argument:\n"
    "  \"file NAME LEVEL\"      \"context MASK LEVEL\"\n"
    "  \"minimum LEVEL\"        \"enabled 0|1\"\n"
    "for example: plinth-spy --set 4242 \"file engine 6\" \"minimum 2\"\n"
    "\n"
    "A line looks like: time, pid, thread, [level], file, function, context, text,\n"
    "divided by tabs. Registration records start with \"== \".\n"
    "Exit status: 0 done, 1 a failure, 2 wrong arguments.\n";

const char* const kTitles[2] = {"OCData", "Result Window"};

volatile sig_atomic_t g_stop = 0;
void OnSignal(int) { g_stop = 1; }

std::string DefaultDir() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime) return std::string(runtime) + "/plinth-spy";
  return "/tmp/plinth-spy-" + std::to_string(geteuid());
}

bool Address(const std::string& path, sockaddr_un& address, socklen_t& length) {
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
  return true;
}

int Fail(const std::string& text) {
  std::fprintf(stderr, "plinth-spy: %s\n", text.c_str());
  return 1;
}

// ---- decoding records ----

// Reads a record's payload; every read checks the bytes are there.
class Reader {
public:
  Reader(const unsigned char* data, size_t size) : m_pData(data), m_nSize(size) {}
  bool Int(uint32_t& value) {
    if (m_nSize - m_nPos < 4) return false;
    value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<uint32_t>(m_pData[m_nPos + i]) << (8 * i);
    m_nPos += 4;
    return true;
  }
  bool Short(uint16_t& value) {
    if (m_nSize - m_nPos < 2) return false;
    value = static_cast<uint16_t>(m_pData[m_nPos] | (m_pData[m_nPos + 1] << 8));
    m_nPos += 2;
    return true;
  }
  // A length that doesn't count the terminator, the bytes and a zero byte.
  bool String(std::string& text) {
    uint32_t length;
    if (!Int(length) || m_nSize - m_nPos < static_cast<size_t>(length) + 1) return false;
    if (m_pData[m_nPos + length] != 0) return false;
    text.assign(reinterpret_cast<const char*>(m_pData + m_nPos), length);
    m_nPos += static_cast<size_t>(length) + 1;
    return true;
  }
  bool AtEnd() const { return m_nPos == m_nSize; }

private:
  const unsigned char* m_pData;
  size_t m_nSize;
  size_t m_nPos = 0;
};

std::string BaseName(const std::string& path) {
  const size_t slash = path.find_last_of("/\\");
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = base.rfind('.');
  if (dot != std::string::npos) base.erase(dot);
  for (char& c : base)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return base;
}

struct Options {
  std::string dir = DefaultDir();
  std::set<uint32_t> pids;
  std::set<std::string> files;
  bool haveContext = false;
  int32_t context = -1;
  bool haveLevel = false;
  uint32_t level = 7;
  std::string output;
  bool quiet = false;
  long long count = -1;
  long long idleSeconds = -1;
  bool summary = false;
};

class Viewer {
public:
  explicit Viewer(const Options& options) : m_Options(options) {}
  ~Viewer() {
    if (m_pOutput) std::fclose(m_pOutput);
  }

  bool OpenOutput() {
    if (m_Options.output.empty()) return true;
    m_pOutput = std::fopen(m_Options.output.c_str(), "ae");
    return m_pOutput != nullptr;
  }

  // One datagram: kind, pid, payload.
  void Take(const unsigned char* data, size_t size) {
    Reader head(data, size);
    uint32_t kind, pid;
    ++m_nRecords;
    if (!head.Int(kind) || !head.Int(pid)) return Malformed(size, "short record", 0, 0);
    if (kind == 0) ++m_nLines;
    if (!m_Options.pids.empty() && !m_Options.pids.count(pid)) return;
    Reader payload(data + 8, size - 8);
    switch (kind) {
      case 0:
        return Line(payload, pid, size);
      case 1:
        return Module(payload, pid, size);
      case 2:
        return Files(payload, pid, size);
      case 3:
        return Contexts(payload, pid, size);
      default:
        return Malformed(size, "unknown kind", kind, pid);
    }
  }

  long long lines() const { return m_nLines; }
  long long records() const { return m_nRecords; }
  void Flush() {
    if (!m_Options.quiet) std::fflush(stdout);
    if (m_pOutput) std::fflush(m_pOutput);
  }

private:
  void Show(const std::string& text) {
    if (!m_Options.quiet) std::fwrite(text.data(), 1, text.size(), stdout);
    if (m_pOutput) std::fwrite(text.data(), 1, text.size(), m_pOutput);
  }

  void Malformed(size_t size, const char* why, uint32_t kind, uint32_t pid) {
    std::fprintf(stderr, "plinth-spy: %s: kind %u from pid %u, %zu bytes\n", why, kind, pid, size);
  }

  void Line(Reader& in, uint32_t pid, size_t size) {
    uint32_t context, level, thread;
    std::string file, function, text;
    uint16_t t[8];
    bool ok = in.Int(context) && in.String(file) && in.Int(level) && in.String(function) && in.Int(thread) &&
              in.String(text);
    for (int i = 0; ok && i < 8; ++i) ok = in.Short(t[i]);
    if (!ok || !in.AtEnd()) return Malformed(size, "malformed line", 0, pid);
    if (m_Options.haveLevel && level > m_Options.level) return;
    if (m_Options.haveContext && static_cast<int32_t>(context) != m_Options.context) return;
    if (!m_Options.files.empty() && !m_Options.files.count(BaseName(file)) && !m_Options.files.count(file)) return;
    char stamp[64];
    std::snprintf(stamp, sizeof stamp, "%02u/%02u/%04u %02u:%02u:%02u.%03u", t[3], t[1], t[0], t[4], t[5], t[6], t[7]);
    Show(std::string(stamp) + "\t" + std::to_string(pid) + "\t" + std::to_string(thread) + "\t[" +
         std::to_string(level) + "]\t" + BaseName(file) + "\t" + function + "\t" +
         std::to_string(static_cast<int32_t>(context)) + "\t" + text + "\n");
  }

  void Module(Reader& in, uint32_t pid, size_t size) {
    std::string name;
    uint32_t version;
    if (!in.String(name) || !in.Int(version) || !in.AtEnd()) return Malformed(size, "malformed module", 1, pid);
    Show("== " + std::to_string(pid) + " module " + name + " (protocol " + std::to_string(version) + ")\n");
  }

  void Files(Reader& in, uint32_t pid, size_t size) {
    uint32_t count;
    if (!in.Int(count)) return Malformed(size, "malformed files", 2, pid);
    std::string text = "== " + std::to_string(pid) + " files (" + std::to_string(count) + "):";
    for (uint32_t i = 0; i < count; ++i) {
      std::string name;
      if (!in.String(name)) return Malformed(size, "malformed files", 2, pid);
      text += " " + name;
    }
    if (!in.AtEnd()) return Malformed(size, "malformed files", 2, pid);
    Show(text + "\n");
  }

  void Contexts(Reader& in, uint32_t pid, size_t size) {
    uint32_t count;
    if (!in.Int(count)) return Malformed(size, "malformed contexts", 3, pid);
    std::string text = "== " + std::to_string(pid) + " contexts (" + std::to_string(count) + "):";
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t id;
      std::string name;
      if (!in.Int(id) || !in.String(name)) return Malformed(size, "malformed contexts", 3, pid);
      text += " " + std::to_string(id) + "=" + name;
    }
    if (!in.AtEnd()) return Malformed(size, "malformed contexts", 3, pid);
    Show(text + "\n");
  }

  const Options& m_Options;
  FILE* m_pOutput = nullptr;
  long long m_nLines = 0;
  long long m_nRecords = 0;
};

// ---- sockets ----

// Makes the directory (0700) or checks one that is there: a real
// directory of this user, closed to everyone else.
bool PrepareDir(const std::string& dir) {
  if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) return false;
  struct stat info;
  if (lstat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return false;
  if (info.st_uid != geteuid() || (info.st_mode & 077) != 0) {
    errno = EPERM;
    return false;
  }
  return true;
}

// Binds the title's socket; a socket file that refuses connections is a
// viewer's leftover and goes first. -1 with errno when it can't.
int BindTitle(const std::string& path) {
  sockaddr_un address;
  socklen_t length;
  if (!Address(path, address, length)) {
    errno = ENAMETOOLONG;
    return -1;
  }
  struct stat info;
  if (lstat(path.c_str(), &info) == 0) {
    const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool live = probe >= 0 && connect(probe, reinterpret_cast<sockaddr*>(&address), length) == 0;
    if (probe >= 0) close(probe);
    if (live) {
      errno = EADDRINUSE;
      return -1;
    }
    if (S_ISSOCK(info.st_mode)) unlink(path.c_str());
  }
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return -1;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0) {
    const int saved = errno;
    close(fd);
    errno = saved;
    return -1;
  }
  return fd;
}

// A process forgets the viewer at its first send that would wait, and the
// kernel lets a datagram socket queue only this many records.
void HintAtQueueLength() {
  long length = 0;
  if (FILE* f = std::fopen("/proc/sys/net/unix/max_dgram_qlen", "re")) {
    if (std::fscanf(f, "%ld", &length) != 1) length = 0;
    std::fclose(f);
  }
  if (length > 0 && length < 1000)
    std::fprintf(stderr,
                 "plinth-spy: note: a process stops sending when %ld of its records wait here; "
                 "raise net.unix.max_dgram_qlen to give the viewer more slack\n",
                 length);
}

int Watch(const Options& options) {
  if (!PrepareDir(options.dir)) return Fail(options.dir + ": " + std::strerror(errno));
  HintAtQueueLength();
  Viewer viewer(options);
  if (!viewer.OpenOutput()) return Fail(options.output + ": " + std::strerror(errno));
  int fds[2] = {-1, -1};
  std::string paths[2];
  for (int i = 0; i < 2; ++i) {
    paths[i] = options.dir + "/" + kTitles[i];
    fds[i] = BindTitle(paths[i]);
    if (fds[i] < 0) {
      const std::string why = errno == EADDRINUSE ? "another viewer listens there" : std::strerror(errno);
      if (i == 1) {
        close(fds[0]);
        unlink(paths[0].c_str());
      }
      return Fail(paths[i] + ": " + why);
    }
  }
  struct sigaction action{};
  action.sa_handler = OnSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);

  // A datagram is at most a line of a few kilobytes; a larger one is cut
  // and then reported as malformed.
  std::vector<unsigned char> buffer(1 << 16);
  int status = 0;
  long long idleMs = 0;
  while (!g_stop && (options.count < 0 || viewer.lines() < options.count)) {
    pollfd waiting[2] = {{fds[0], POLLIN, 0}, {fds[1], POLLIN, 0}};
    const int ready = poll(waiting, 2, 200);
    if (ready < 0 && errno != EINTR) {
      status = Fail(std::string("poll: ") + std::strerror(errno));
      break;
    }
    idleMs = ready == 0 ? idleMs + 200 : 0;
    if (options.idleSeconds >= 0 && idleMs >= options.idleSeconds * 1000) break;
    bool took = true;
    // Drain both sockets before anything is flushed: the senders never
    // wait, so a queue that fills loses the viewer.
    while (took && (options.count < 0 || viewer.lines() < options.count)) {
      took = false;
      for (int i = 0; i < 2; ++i) {
        const ssize_t got = recv(fds[i], buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (got < 0) continue;
        viewer.Take(buffer.data(), static_cast<size_t>(got));
        took = true;
      }
    }
    viewer.Flush();
  }
  viewer.Flush();
  if (options.summary)
    std::fprintf(stderr, "plinth-spy: %lld records, %lld lines received\n", viewer.records(), viewer.lines());
  for (int i = 0; i < 2; ++i) {
    close(fds[i]);
    unlink(paths[i].c_str());
  }
  return status;
}

// Sends one control message to the process and waits up to five seconds
// for its answer.
int SetLevels(const Options& options, const std::string& pid, const std::vector<std::string>& commands) {
  std::string message = std::string(DiagControlMessage::kHead) + "\n";
  for (const std::string& command : commands) message += command + "\n";
  DiagControlMessage check;
  if (!check.Parse(message.data(), message.size())) {
    std::fprintf(stderr, "plinth-spy: %s (the first command is line 2)\n", check.m_sError.c_str());
    return 2;
  }
  sockaddr_un address;
  socklen_t length;
  const std::string path = options.dir + "/control." + pid;
  if (!Address(path, address, length)) return Fail(path + ": name too long");
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  // With credentials passed the socket gets an address of its own, so the
  // process can answer.
  if (fd < 0 || setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0)
    return Fail(std::string("socket: ") + std::strerror(errno));
  if (sendto(fd, message.data(), message.size(), 0, reinterpret_cast<sockaddr*>(&address), length) < 0) {
    const int saved = errno;
    close(fd);
    return Fail(path + ": " + std::strerror(saved) + " (is process " + pid + " watched by a viewer?)");
  }
  pollfd waiting{fd, POLLIN, 0};
  char answer[512];
  ssize_t got = -1;
  if (poll(&waiting, 1, 5000) == 1) got = recv(fd, answer, sizeof answer - 1, 0);
  close(fd);
  if (got < 0) return Fail("no answer from process " + pid);
  answer[got] = '\0';
  std::fputs(answer, stdout);
  return std::strncmp(answer, "ok", 2) == 0 ? 0 : 1;
}

bool Number(const char* text, long long& value) {
  char* end = nullptr;
  errno = 0;
  value = std::strtoll(text, &end, 10);
  return errno == 0 && end != text && *end == '\0';
}

int Usage(const std::string& why) {
  std::fprintf(stderr, "plinth-spy: %s\n\n%s", why.c_str(), kUsage);
  return 2;
}
}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    long long number = 0;
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (arg == "--quiet" || arg == "--summary") {
      (arg == "--quiet" ? options.quiet : options.summary) = true;
      continue;
    }
    if (!hasValue) return Usage("unknown option or missing value: " + arg);
    const char* value = argv[++i];
    if (arg == "--set") {
      if (!Number(value, number) || number <= 0 || i + 1 >= argc) return Usage("--set needs a pid and commands");
      return SetLevels(options, value, std::vector<std::string>(argv + i + 1, argv + argc));
    } else if (arg == "--pid") {
      if (!Number(value, number) || number <= 0 || number > UINT32_MAX) return Usage("bad pid: " + std::string(value));
      options.pids.insert(static_cast<uint32_t>(number));
    } else if (arg == "--file") {
      options.files.insert(value);
    } else if (arg == "--context") {
      if (!Number(value, number) || number < INT32_MIN || number > UINT32_MAX)
        return Usage("bad context: " + std::string(value));
      options.haveContext = true;
      options.context = static_cast<int32_t>(static_cast<uint32_t>(number));
    } else if (arg == "--level") {
      if (!Number(value, number) || number < 0 || number > 7) return Usage("level must be 0 to 7");
      options.haveLevel = true;
      options.level = static_cast<uint32_t>(number);
    } else if (arg == "--output") {
      options.output = value;
    } else if (arg == "--count") {
      if (!Number(value, number) || number < 0) return Usage("bad count: " + std::string(value));
      options.count = number;
    } else if (arg == "--idle") {
      if (!Number(value, number) || number < 0) return Usage("bad idle time: " + std::string(value));
      options.idleSeconds = number;
    } else if (arg == "--dir") {
      options.dir = value;
    } else {
      return Usage("unknown option: " + arg);
    }
  }
  return Watch(options);
}
