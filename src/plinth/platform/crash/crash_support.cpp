#include "plinth/platform/crash/crash_support.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "plinth/platform/crash/safe_format.h"

namespace plinth::platform {
namespace {

constexpr size_t kChildStack = 8 << 20;

void (*g_childBody)(void*) = nullptr;
void* g_childArgument = nullptr;

void ChildMain() {
  g_childBody(g_childArgument);
  _exit(0);
}

void Sleep(long nanoseconds) noexcept {
  timespec t{0, nanoseconds};
  nanosleep(&t, nullptr);
}

long g_utcOffset = 0;

char g_registryPath[4096];
char g_registryText[64 * 1024];

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(const char* a, size_t length, const char* b) {
  for (size_t i = 0; i < length; ++i, ++b)
    if (*b == '\0' || Lower(a[i]) != Lower(*b)) return false;
  return *b == '\0';
}

void Trim(const char*& begin, const char*& end) {
  while (begin < end && (*begin == ' ' || *begin == '\t')) ++begin;
  while (end > begin && (end[-1] == ' ' || end[-1] == '\t' || end[-1] == '\r')) --end;
}

}  // namespace

int crash_run_in_child(void (*body)(void*), void* argument, int timeoutMs) noexcept {
  g_childBody = body;
  g_childArgument = argument;
  const pid_t pid = _Fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    // A fault in the child ends the child, and the parent goes on without it.
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) ::signal(signal, SIG_DFL);
    sigset_t all;
    sigemptyset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    void* stack = mmap(nullptr, kChildStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (stack == MAP_FAILED) _exit(2);
    static ucontext_t run;
    getcontext(&run);
    run.uc_stack.ss_sp = stack;
    run.uc_stack.ss_size = kChildStack;
    run.uc_link = nullptr;
    makecontext(&run, ChildMain, 0);
    setcontext(&run);
    _exit(3);
  }
  int status = 0;
  for (int waited = 0; waited <= timeoutMs; ++waited) {
    const pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (done < 0 && errno != EINTR) return -1;
    Sleep(1'000'000);
  }
  kill(pid, SIGKILL);
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return -1;
}

void crash_prepare_clock() noexcept {
  tzset();
  const time_t now = time(nullptr);
  tm fields;
  if (localtime_r(&now, &fields)) g_utcOffset = fields.tm_gmtoff;
}

void crash_local_time(_SYSTEMTIME& out) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const int64_t seconds = static_cast<int64_t>(now.tv_sec) + g_utcOffset;
  int64_t days = seconds / 86400;
  int64_t rest = seconds % 86400;
  if (rest < 0) rest += 86400, --days;
  out.wHour = static_cast<uint16_t>(rest / 3600);
  out.wMinute = static_cast<uint16_t>(rest % 3600 / 60);
  out.wSecond = static_cast<uint16_t>(rest % 60);
  out.wMilliseconds = static_cast<uint16_t>(now.tv_nsec / 1'000'000);
  out.wDayOfWeek = static_cast<uint16_t>(((days % 7) + 11) % 7);  // 1970-01-01 was a Thursday
  // Civil date from a count of days (proleptic Gregorian calendar).
  const int64_t z = days + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t dayOfEra = z - era * 146097;
  const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t mp = (5 * dayOfYear + 2) / 153;
  const int64_t day = dayOfYear - (153 * mp + 2) / 5 + 1;
  const int64_t month = mp < 10 ? mp + 3 : mp - 9;
  out.wYear = static_cast<uint16_t>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
  out.wMonth = static_cast<uint16_t>(month);
  out.wDay = static_cast<uint16_t>(day);
}

void crash_prepare_registry() noexcept {
  g_registryPath[0] = '\0';
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config && config[0] == '/') {
    safe_format(g_registryPath, sizeof g_registryPath, "%s/plinth/registry.ini", config);
    return;
  }
  const char* home = std::getenv("HOME");
  if (home && home[0]) safe_format(g_registryPath, sizeof g_registryPath, "%s/.config/plinth/registry.ini", home);
}

const char* crash_registry_path() noexcept { return g_registryPath; }

bool crash_registry_open(const char* keyPath, RegistryKey& key) noexcept {
  key = RegistryKey{};
  if (!g_registryPath[0] || !keyPath) return false;
  const int fd = open(g_registryPath, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  size_t length = 0;
  while (length < sizeof g_registryText - 1) {
    const ssize_t n = read(fd, g_registryText + length, sizeof g_registryText - 1 - length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    length += static_cast<size_t>(n);
  }
  close(fd);
  g_registryText[length] = '\0';
  const char* end = g_registryText + length;
  for (const char* line = g_registryText; line < end;) {
    const char* next = static_cast<const char*>(std::memchr(line, '\n', static_cast<size_t>(end - line)));
    const char* lineEnd = next ? next : end;
    const char* begin = line;
    const char* stop = lineEnd;
    Trim(begin, stop);
    if (key.m_pText) {
      // The section runs to the next heading.
      if (begin < stop && *begin == '[') {
        key.m_nLength = static_cast<size_t>(line - key.m_pText);
        return true;
      }
    } else if (stop - begin >= 2 && *begin == '[' && stop[-1] == ']') {
      const char* name = begin + 1;
      const char* nameEnd = stop - 1;
      Trim(name, nameEnd);
      if (SameName(name, static_cast<size_t>(nameEnd - name), keyPath)) key.m_pText = next ? next + 1 : end;
    }
    line = next ? next + 1 : end;
  }
  if (!key.m_pText) return false;
  key.m_nLength = static_cast<size_t>(end - key.m_pText);
  return true;
}

bool crash_registry_query(const RegistryKey& key, const char* name, int& value) noexcept {
  if (!key.m_pText || !name) return false;
  const char* end = key.m_pText + key.m_nLength;
  for (const char* line = key.m_pText; line < end;) {
    const char* next = static_cast<const char*>(std::memchr(line, '\n', static_cast<size_t>(end - line)));
    const char* lineEnd = next ? next : end;
    const char* equals = static_cast<const char*>(std::memchr(line, '=', static_cast<size_t>(lineEnd - line)));
    if (equals) {
      const char* nameBegin = line;
      const char* nameEnd = equals;
      Trim(nameBegin, nameEnd);
      if (SameName(nameBegin, static_cast<size_t>(nameEnd - nameBegin), name)) {
        const char* text = equals + 1;
        const char* textEnd = lineEnd;
        Trim(text, textEnd);
        bool negative = false;
        if (text < textEnd && (*text == '-' || *text == '+')) negative = *text++ == '-';
        if (text == textEnd) return false;
        int64_t number = 0;
        for (; text < textEnd; ++text) {
          if (*text < '0' || *text > '9') return false;
          number = number * 10 + (*text - '0');
          if (number > 0xFFFFFFFFLL) return false;
        }
        // A 32-bit value: 4294967295 reads as -1, as a DWORD would.
        if (negative) number = -number;
        if (number < INT_MIN) return false;
        value = static_cast<int>(static_cast<uint32_t>(number));
        return true;
      }
    }
    line = next ? next + 1 : end;
  }
  return false;
}

int crash_open_report(const char* path) noexcept {
  if (!path || !path[0]) return -1;
  int fd;
  do {
    fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_DSYNC | O_CLOEXEC, 0644);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

uint64_t crash_file_size(int fd) noexcept {
  struct stat info;
  return fstat(fd, &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

uint64_t crash_path_size(const char* path) noexcept {
  struct stat info;
  return path && stat(path, &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

void crash_truncate(int fd, uint64_t size) noexcept {
  if (fd >= 0) (void)ftruncate(fd, static_cast<off_t>(size));
}

bool crash_copy_file(const char* path, uint64_t from, int fd) noexcept {
  static char buffer[64 * 1024];
  const int in = open(path, O_RDONLY | O_CLOEXEC);
  if (in < 0) return false;
  // Blanks and zeros at the end are room never written (the memory
  // buffer's unused part): they are left out.
  struct stat info;
  uint64_t end = fstat(in, &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
  while (end > from) {
    const uint64_t start = end - from > sizeof buffer ? end - sizeof buffer : from;
    const ssize_t n = pread(in, buffer, static_cast<size_t>(end - start), static_cast<off_t>(start));
    if (n <= 0) break;
    ssize_t i = n;
    while (i > 0 && (buffer[i - 1] == ' ' || buffer[i - 1] == '\0')) --i;
    if (i > 0) {
      end = start + static_cast<uint64_t>(i);
      break;
    }
    end = start;
  }
  bool ok = lseek(in, static_cast<off_t>(from), SEEK_SET) >= 0;
  while (ok && from < end) {
    const size_t want = end - from < sizeof buffer ? static_cast<size_t>(end - from) : sizeof buffer;
    const ssize_t n = read(in, buffer, want);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      ok = n == 0;
      break;
    }
    from += static_cast<uint64_t>(n);
    for (ssize_t done = 0; done < n;) {
      const ssize_t w = write(fd, buffer + done, static_cast<size_t>(n - done));
      if (w < 0 && errno == EINTR) continue;
      if (w <= 0) {
        ok = false;
        break;
      }
      done += w;
    }
  }
  close(in);
  return ok;
}

void crash_exit(int code) noexcept { _exit(code); }

unsigned long crash_process_id() noexcept { return static_cast<unsigned long>(getpid()); }

bool crash_executable_path(char* buffer, size_t size) noexcept {
  if (!buffer || size == 0) return false;
  const ssize_t n = readlink("/proc/self/exe", buffer, size - 1);
  if (n <= 0) {
    buffer[0] = '\0';
    return false;
  }
  buffer[n] = '\0';
  return true;
}

bool crash_logical_address(const void* address, char* moduleName, unsigned long nameSize, unsigned long& section,
                           unsigned long& offset) noexcept {
  Dl_info info;
  if (!address || !moduleName || nameSize == 0 || dladdr(address, &info) == 0 || !info.dli_fname) return false;
  struct Search {
    uintptr_t address;
    unsigned long section, offset;
    bool found;
  } search{reinterpret_cast<uintptr_t>(address), 0, 0, false};
  dl_iterate_phdr(
      [](dl_phdr_info* module, size_t, void* data) -> int {
        Search* s = static_cast<Search*>(data);
        unsigned long number = 0;
        for (int i = 0; i < module->dlpi_phnum; ++i) {
          const ElfW(Phdr)& h = module->dlpi_phdr[i];
          if (h.p_type != PT_LOAD) continue;
          ++number;
          const uintptr_t start = module->dlpi_addr + h.p_vaddr;
          // The larger of the size in the file and in memory.
          const uintptr_t size = h.p_memsz > h.p_filesz ? h.p_memsz : h.p_filesz;
          if (s->address >= start && s->address < start + size) {
            s->section = number;
            s->offset = s->address - start;
            s->found = true;
            return 1;
          }
        }
        return 0;
      },
      &search);
  if (!search.found) return false;
  safe_format(moduleName, nameSize, "%s", info.dli_fname);
  section = search.section;
  offset = search.offset;
  return true;
}

}  // namespace plinth::platform
