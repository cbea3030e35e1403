#include "plinth/platform/crash/core_file.h"

#include <asm/prctl.h>
#include <elf.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/procfs.h>
#include <sys/syscall.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "plinth/platform/crash/safe_format.h"

namespace plinth::platform {
namespace {

constexpr int kMaxThreads = 256;
constexpr int kMaxMappings = 8192;
constexpr size_t kMapsText = 4 << 20;
constexpr size_t kNotes = kMaxThreads * 1024 + 64 * 1024;
constexpr size_t kChunk = 1 << 20;

struct ThreadRegisters {
  pid_t tid;
  greg_t gregs[NGREG];
  uint64_t fsBase, gsBase;
  bool hasFp;
  unsigned char fp[512];
};

struct Mapping {
  uint64_t start, end, offset;
  bool readable, writable, executable, shared, dump;
  bool changed;  // has private copies of pages (relocated data, say)
  const char* path;  // into g_maps, null for anonymous memory
};

ThreadRegisters g_threads[kMaxThreads];
std::atomic<int> g_threadCount{0};
std::atomic<int> g_answered{0};
std::atomic<bool> g_release{false};
char g_maps[kMapsText];
Mapping g_mappings[kMaxMappings];
unsigned char g_notes[kNotes];
Elf64_Phdr g_headers[kMaxMappings + 1];
char g_auxv[4096];
char g_cmdline[256];

uint64_t FsBase() {
  unsigned long value = 0;
  syscall(SYS_arch_prctl, ARCH_GET_FS, &value);
  return value;
}
uint64_t GsBase() {
  unsigned long value = 0;
  syscall(SYS_arch_prctl, ARCH_GET_GS, &value);
  return value;
}

void Record(ThreadRegisters& slot, pid_t tid, const ucontext_t* uc) {
  slot.tid = tid;
  std::memcpy(slot.gregs, uc->uc_mcontext.gregs, sizeof slot.gregs);
  slot.fsBase = FsBase();
  slot.gsBase = GsBase();
  slot.hasFp = uc->uc_mcontext.fpregs != nullptr;
  if (slot.hasFp) std::memcpy(slot.fp, uc->uc_mcontext.fpregs, sizeof slot.fp);
}

// Each other thread records its registers here and waits: its stack must
// not change while it is written.
void OnSnapshot(int, siginfo_t*, void* context) {
  const int index = g_threadCount.fetch_add(1);
  if (index < kMaxThreads) Record(g_threads[index], static_cast<pid_t>(syscall(SYS_gettid)), static_cast<ucontext_t*>(context));
  g_answered.fetch_add(1);
  while (!g_release.load(std::memory_order_acquire)) {
    timespec t{0, 5'000'000};
    nanosleep(&t, nullptr);
  }
}

int SnapshotSignal() { return SIGRTMAX - 3; }

ssize_t ReadAll(const char* path, char* buffer, size_t size) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return -1;
  size_t total = 0;
  while (total < size) {
    const ssize_t n = read(fd, buffer + total, size - total);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    total += static_cast<size_t>(n);
  }
  close(fd);
  return static_cast<ssize_t>(total);
}

// A record of getdents64, which glibc doesn't declare.
struct Dirent64 {
  uint64_t ino;
  int64_t off;
  unsigned short reclen;
  unsigned char type;
  char name[1];
};

// Stops every other thread of the process in OnSnapshot; waits up to a
// fifth of a second for them to answer.
void StopOtherThreads(pid_t self) {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_sigaction = OnSnapshot;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
  sigfillset(&action.sa_mask);
  if (sigaction(SnapshotSignal(), &action, nullptr) != 0) return;
  const int fd = open("/proc/self/task", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  char entries[4096];
  int sent = 0;
  for (;;) {
    const long n = syscall(SYS_getdents64, fd, entries, sizeof entries);
    if (n <= 0) break;
    for (long at = 0; at < n;) {
      const auto* entry = reinterpret_cast<const Dirent64*>(entries + at);
      at += entry->reclen;
      pid_t tid = 0;
      for (const char* c = entry->name; *c >= '0' && *c <= '9'; ++c) tid = tid * 10 + (*c - '0');
      if (tid <= 0 || tid == self || sent >= kMaxThreads - 1) continue;
      if (syscall(SYS_tgkill, getpid(), tid, SnapshotSignal()) == 0) ++sent;
    }
  }
  close(fd);
  for (int waited = 0; waited < 200 && g_answered.load() < sent; ++waited) {
    timespec t{0, 1'000'000};
    nanosleep(&t, nullptr);
  }
}

uint64_t Hex(const char*& p) {
  uint64_t value = 0;
  for (;; ++p) {
    const char c = *p;
    if (c >= '0' && c <= '9') value = value * 16 + static_cast<uint64_t>(c - '0');
    else if (c >= 'a' && c <= 'f') value = value * 16 + static_cast<uint64_t>(c - 'a' + 10);
    else return value;
  }
}

// What gdb can't take from the files: writable memory, anonymous memory,
// the vdso, and file pages that the process changed (relocated data that is
// read-only again). Never the kernel's [vvar] pages, nor devices.
void Decide(Mapping& m) {
  const bool special = m.path && m.path[0] == '[';
  const bool device = m.path && std::strncmp(m.path, "/dev/", 5) == 0 && !m.shared;
  m.dump = m.readable && !device && !(special && std::strcmp(m.path, "[vvar]") == 0) &&
           !(special && std::strcmp(m.path, "[vsyscall]") == 0) &&
           (m.writable || !m.path || special || m.changed);
}

bool IsHeader(const char* line) {
  for (const char* p = line; *p && *p != ' '; ++p)
    if (*p == ':') return false;
  return *line != '\0';
}

// /proc/self/smaps (or maps) as mappings; the texts stay in g_maps.
int ReadMappings() {
  ssize_t length = ReadAll("/proc/self/smaps", g_maps, sizeof g_maps - 1);
  if (length <= 0) length = ReadAll("/proc/self/maps", g_maps, sizeof g_maps - 1);
  if (length <= 0) return 0;
  g_maps[length] = '\0';
  int count = 0;
  Mapping* current = nullptr;
  char* line = g_maps;
  while (*line) {
    char* end = std::strchr(line, '\n');
    if (end) *end = '\0';
    if (!IsHeader(line)) {
      if (current && std::strncmp(line, "Anonymous:", 10) == 0) {
        const char* p = line + 10;
        while (*p == ' ') ++p;
        current->changed = *p != '0';
      }
    } else if (count < kMaxMappings) {
      const char* p = line;
      Mapping& m = g_mappings[count];
      m.start = Hex(p);
      if (*p == '-') ++p;
      m.end = Hex(p);
      while (*p == ' ') ++p;
      m.readable = p[0] == 'r';
      m.writable = p[1] == 'w';
      m.executable = p[2] == 'x';
      m.shared = p[3] == 's';
      m.changed = false;
      p += 4;
      while (*p == ' ') ++p;
      m.offset = Hex(p);
      // Device, inode, then the path after the blanks.
      for (int field = 0; field < 2; ++field) {
        while (*p == ' ') ++p;
        while (*p && *p != ' ') ++p;
      }
      while (*p == ' ') ++p;
      m.path = *p ? p : nullptr;
      current = m.end > m.start ? &m : nullptr;
      if (current) ++count;
    }
    if (!end) break;
    line = end + 1;
  }
  for (int i = 0; i < count; ++i) Decide(g_mappings[i]);
  return count;
}

struct NoteWriter {
  size_t length = 0;
  bool Add(uint32_t type, const char* name, const void* data, size_t size) {
    const size_t nameSize = std::strlen(name) + 1;
    const size_t total = 12 + ((nameSize + 3) & ~size_t{3}) + ((size + 3) & ~size_t{3});
    if (length + total > sizeof g_notes) return false;
    unsigned char* at = g_notes + length;
    std::memset(at, 0, total);
    const uint32_t header[3] = {static_cast<uint32_t>(nameSize), static_cast<uint32_t>(size), type};
    std::memcpy(at, header, 12);
    std::memcpy(at + 12, name, nameSize);
    std::memcpy(at + 12 + ((nameSize + 3) & ~size_t{3}), data, size);
    length += total;
    return true;
  }
};

void FillStatus(elf_prstatus& status, const ThreadRegisters& t, int signal) {
  std::memset(&status, 0, sizeof status);
  status.pr_cursig = static_cast<short>(signal);
  status.pr_info.si_signo = signal;
  status.pr_pid = t.tid;
  status.pr_ppid = getppid();
  status.pr_pgrp = getpgrp();
  status.pr_sid = getsid(0);
  const greg_t* g = t.gregs;
  user_regs_struct& r = *reinterpret_cast<user_regs_struct*>(&status.pr_reg);
  r.r15 = g[REG_R15], r.r14 = g[REG_R14], r.r13 = g[REG_R13], r.r12 = g[REG_R12];
  r.rbp = g[REG_RBP], r.rbx = g[REG_RBX], r.r11 = g[REG_R11], r.r10 = g[REG_R10];
  r.r9 = g[REG_R9], r.r8 = g[REG_R8], r.rax = g[REG_RAX], r.rcx = g[REG_RCX];
  r.rdx = g[REG_RDX], r.rsi = g[REG_RSI], r.rdi = g[REG_RDI];
  r.orig_rax = static_cast<unsigned long long>(-1);
  r.rip = g[REG_RIP];
  // The user selectors of x86-64 Linux: a context from getcontext has none.
  r.cs = 0x33;
  r.eflags = g[REG_EFL];
  r.rsp = g[REG_RSP];
  r.ss = 0x2B;
  r.fs_base = t.fsBase;
  r.gs_base = t.gsBase;
  status.pr_fpvalid = t.hasFp ? 1 : 0;
}

void Threads(NoteWriter& notes, const CrashEvent& event, int signal) {
  ThreadRegisters self{};
  Record(self, static_cast<pid_t>(event.threadId), static_cast<const ucontext_t*>(event.context));
  elf_prstatus status;
  FillStatus(status, self, signal);
  notes.Add(NT_PRSTATUS, "CORE", &status, sizeof status);

  elf_prpsinfo info;
  std::memset(&info, 0, sizeof info);
  info.pr_state = 0;
  info.pr_sname = 'R';
  info.pr_uid = getuid();
  info.pr_gid = getgid();
  info.pr_pid = getpid();
  info.pr_ppid = getppid();
  info.pr_pgrp = getpgrp();
  info.pr_sid = getsid(0);
  const ssize_t argsLength = ReadAll("/proc/self/cmdline", g_cmdline, sizeof g_cmdline - 1);
  if (argsLength > 0) {
    g_cmdline[argsLength] = '\0';
    const char* base = std::strrchr(g_cmdline, '/');
    safe_format(info.pr_fname, sizeof info.pr_fname, "%s", base ? base + 1 : g_cmdline);
    for (ssize_t i = 0; i < argsLength - 1; ++i)
      if (g_cmdline[i] == '\0') g_cmdline[i] = ' ';
    safe_format(info.pr_psargs, sizeof info.pr_psargs, "%s", g_cmdline);
  }
  notes.Add(NT_PRPSINFO, "CORE", &info, sizeof info);
  if (event.info) notes.Add(0x53494749 /* NT_SIGINFO */, "CORE", event.info, sizeof(siginfo_t));
  const ssize_t auxv = ReadAll("/proc/self/auxv", g_auxv, sizeof g_auxv);
  if (auxv > 0) notes.Add(NT_AUXV, "CORE", g_auxv, static_cast<size_t>(auxv));
  if (self.hasFp) notes.Add(NT_PRFPREG, "CORE", self.fp, sizeof self.fp);

  const int others = g_threadCount.load() < kMaxThreads ? g_threadCount.load() : kMaxThreads;
  for (int i = 0; i < others; ++i) {
    FillStatus(status, g_threads[i], 0);
    notes.Add(NT_PRSTATUS, "CORE", &status, sizeof status);
    if (g_threads[i].hasFp) notes.Add(NT_PRFPREG, "CORE", g_threads[i].fp, sizeof g_threads[i].fp);
  }
}

// Which file backs which memory: lets gdb find the libraries by itself.
unsigned char g_files[256 * 1024];

void Files(NoteWriter& notes, int count) {
  uint64_t files = 0;
  for (int i = 0; i < count; ++i)
    if (g_mappings[i].path && g_mappings[i].path[0] == '/') ++files;
  size_t at = 16;
  size_t nameAt = at + files * 24;
  if (nameAt > sizeof g_files) return;
  const uint64_t page = static_cast<uint64_t>(getpagesize());
  std::memcpy(g_files, &files, 8);
  std::memcpy(g_files + 8, &page, 8);
  for (int i = 0; i < count; ++i) {
    const Mapping& m = g_mappings[i];
    if (!m.path || m.path[0] != '/') continue;
    const size_t length = std::strlen(m.path) + 1;
    if (nameAt + length > sizeof g_files) return;
    const uint64_t triple[3] = {m.start, m.end, m.offset / page};
    std::memcpy(g_files + at, triple, 24);
    at += 24;
    std::memcpy(g_files + nameAt, m.path, length);
    nameAt += length;
  }
  notes.Add(0x46494c45 /* NT_FILE */, "CORE", g_files, nameAt);
}

bool WriteAt(int fd, const void* data, size_t size, off_t offset) {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = pwrite(fd, p, size, offset);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    size -= static_cast<size_t>(n);
    offset += n;
  }
  return true;
}

// Pages of anonymous memory that were never touched (or are swapped out)
// are left as holes of zeros, as the kernel's own dump leaves them.
unsigned char g_resident[kChunk / 4096];

// Memory that can't be read (a page past the end of its file, say) stays a
// hole of zeros; the rest of the segment is still written.
bool WriteMemory(int fd, uint64_t address, size_t size, off_t offset, bool anonymous) {
  const size_t page = static_cast<size_t>(getpagesize());
  for (size_t done = 0; done < size;) {
    const size_t chunk = size - done < kChunk ? size - done : kChunk;
    if (anonymous && page == 4096 && mincore(reinterpret_cast<void*>(address + done), chunk, g_resident) == 0) {
      const size_t pages = chunk / page;
      for (size_t first = 0; first < pages;) {
        if (!(g_resident[first] & 1)) {
          ++first;
          continue;
        }
        size_t last = first;
        while (last < pages && (g_resident[last] & 1)) ++last;
        const size_t at = done + first * page;
        if (!WriteAt(fd, reinterpret_cast<const void*>(address + at), (last - first) * page,
                     offset + static_cast<off_t>(at)) &&
            errno != EFAULT)
          return false;
        first = last;
      }
      done += chunk;
      continue;
    }
    if (!WriteAt(fd, reinterpret_cast<const void*>(address + done), chunk, offset + static_cast<off_t>(done))) {
      if (errno != EFAULT) return false;
      for (size_t p = 0; p < chunk; p += page)
        WriteAt(fd, reinterpret_cast<const void*>(address + done + p), page, offset + static_cast<off_t>(done + p));
    }
    done += chunk;
  }
  return true;
}

}  // namespace

CoreResult crash_write_core(const char* path, const CrashEvent& event, int& error) noexcept {
  error = 0;
  const int fd = path && path[0] ? open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600) : -1;
  if (fd < 0) {
    error = path && path[0] ? errno : ENOENT;
    return kCoreOpenFailed;
  }
  StopOtherThreads(static_cast<pid_t>(event.threadId));
  const int count = ReadMappings();
  NoteWriter notes;
  // An escaping C++ exception ends in abort: the core says so.
  Threads(notes, event, event.signal ? event.signal : SIGABRT);
  Files(notes, count);

  const uint64_t page = static_cast<uint64_t>(getpagesize());
  const size_t headers = sizeof(Elf64_Ehdr) + sizeof(Elf64_Phdr) * static_cast<size_t>(count + 1);
  uint64_t offset = (headers + notes.length + page - 1) & ~(page - 1);
  Elf64_Phdr& note = g_headers[0];
  std::memset(&note, 0, sizeof note);
  note.p_type = PT_NOTE;
  note.p_offset = headers;
  note.p_filesz = notes.length;
  note.p_align = 4;
  for (int i = 0; i < count; ++i) {
    const Mapping& m = g_mappings[i];
    Elf64_Phdr& h = g_headers[i + 1];
    std::memset(&h, 0, sizeof h);
    h.p_type = PT_LOAD;
    h.p_flags = (m.readable ? PF_R : 0) | (m.writable ? PF_W : 0) | (m.executable ? PF_X : 0);
    h.p_vaddr = m.start;
    h.p_memsz = m.end - m.start;
    h.p_filesz = m.dump ? h.p_memsz : 0;
    h.p_offset = offset;
    h.p_align = page;
    offset += h.p_filesz;
  }
  Elf64_Ehdr elf;
  std::memset(&elf, 0, sizeof elf);
  std::memcpy(elf.e_ident, ELFMAG, SELFMAG);
  elf.e_ident[EI_CLASS] = ELFCLASS64;
  elf.e_ident[EI_DATA] = ELFDATA2LSB;
  elf.e_ident[EI_VERSION] = EV_CURRENT;
  elf.e_ident[EI_OSABI] = ELFOSABI_NONE;
  elf.e_type = ET_CORE;
  elf.e_machine = EM_X86_64;
  elf.e_version = EV_CURRENT;
  elf.e_phoff = sizeof elf;
  elf.e_ehsize = sizeof elf;
  elf.e_phentsize = sizeof(Elf64_Phdr);
  elf.e_phnum = static_cast<Elf64_Half>(count + 1);

  bool ok = WriteAt(fd, &elf, sizeof elf, 0) &&
            WriteAt(fd, g_headers, sizeof(Elf64_Phdr) * static_cast<size_t>(count + 1), sizeof elf) &&
            WriteAt(fd, g_notes, notes.length, static_cast<off_t>(headers));
  for (int i = 0; ok && i < count; ++i) {
    const Elf64_Phdr& h = g_headers[i + 1];
    const Mapping& m = g_mappings[i];
    const bool anonymous = !m.path || std::strcmp(m.path, "[heap]") == 0 || std::strncmp(m.path, "[stack", 6) == 0;
    if (h.p_filesz) ok = WriteMemory(fd, h.p_vaddr, h.p_filesz, static_cast<off_t>(h.p_offset), anonymous);
  }
  if (ok && ftruncate(fd, static_cast<off_t>(offset)) != 0) ok = false;
  if (!ok) error = errno;
  if (close(fd) != 0 && ok) {
    error = errno;
    ok = false;
  }
  return ok ? kCoreWritten : kCoreWriteFailed;
}

void crash_release_threads() noexcept { g_release.store(true, std::memory_order_release); }

}  // namespace plinth::platform
