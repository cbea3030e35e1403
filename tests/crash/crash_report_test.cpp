// The crash handler seen from outside: plinth-crashme crashes in a child
// process, and the tests read what it left (report, core file, exit).
#include <elf.h>
#include <signal.h>
#include <spawn.h>
#include <sys/procfs.h>
#include <sys/wait.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "common/temp_dir.h"

extern char** environ;

namespace {

using plinth_test::ReadFile;
using plinth_test::TempDir;
using plinth_test::WriteFile;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers' own fault handlers and stack layout take these crashes over.
#define SKIP_UNDER_SANITIZERS() GTEST_SKIP() << "crash tests run in the default preset only"
#else
#define SKIP_UNDER_SANITIZERS() (void)0
#endif

const std::string kRule63(63, '=');
const std::string kRule31(31, '=');
const char kProfileSection[] = "[Software\\Zaltrix Systems\\QUILLON\\QUILLON/Operations Center\\CrashHandler]\n";

struct Outcome {
  int exitCode = -1;  // -1 when killed by a signal
  int signal = 0;
  std::string out, err, report, reportName, coreName;
  std::vector<std::string> lines;
};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  return lines;
}

// Runs plinth-crashme KIND --dir DIR ARGS with a registry of the given text
// (none when empty) and extra environment entries.
Outcome Crash(const TempDir& dir, const std::string& kind, std::vector<std::string> args = {},
          const std::string& profile = "", std::vector<std::string> env = {}) {
  std::vector<std::string> argv = {PLINTH_CRASHME, kind, "--dir", dir.path()};
  argv.insert(argv.end(), args.begin(), args.end());
  if (!profile.empty()) {
    mkdir((dir / "config").c_str(), 0700);
    mkdir((dir / "config/plinth").c_str(), 0700);
    WriteFile(dir / "config/plinth/registry.ini", profile);
  }
  env.push_back("XDG_CONFIG_HOME=" + dir / "config");
  for (char** e = environ; *e; ++e)
    if (std::strncmp(*e, "XDG_CONFIG_HOME=", 16) != 0 && std::strncmp(*e, "OC_DISABLE", 10) != 0) env.push_back(*e);
  std::vector<char*> a, e;
  for (auto& s : argv) a.push_back(s.data());
  for (auto& s : env) e.push_back(s.data());
  a.push_back(nullptr), e.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 1, (dir / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&files, 2, (dir / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = 0;
  Outcome run;
  EXPECT_EQ(posix_spawn(&pid, a[0], &files, nullptr, a.data(), e.data()), 0);
  posix_spawn_file_actions_destroy(&files);
  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) run.signal = WTERMSIG(status);
  run.out = ReadFile(dir / "out");
  run.err = ReadFile(dir / "err");
  for (const std::string& name : dir.names()) {
    if (name.rfind("CrashReport.plinth-crashme.", 0) == 0) run.reportName = dir / name;
    if (name.rfind("MiniDump.plinth-crashme.", 0) == 0) run.coreName = dir / name;
  }
  if (!run.reportName.empty()) run.report = ReadFile(run.reportName);
  run.lines = Lines(run.report);
  return run;
}

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The lines of the report from line `at` on are `expected`.
void ExpectLinesAt(const std::vector<std::string>& lines, size_t at, const std::vector<std::string>& expected) {
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(lines[at + i], expected[i]) << "line " << at + i;
}

TEST(CrashReport, EachKindOfCrashGivesItsCodeAndTheLayoutOfTheReport) {
  SKIP_UNDER_SANITIZERS();
  const struct {
    const char* kind;
    const char* codeLine;
    const char* accessLine;  // the line after the fault address, "" when the section ends there
    const char* function;    // a frame of the stack trace
    std::vector<std::string> args = {};
  } cases[] = {
      {"read", "Exception code: C0000005 ACCESS_VIOLATION", "Attempt to read from 0x00000000", "CrashRead"},
      {"write", "Exception code: C0000005 ACCESS_VIOLATION", "Attempt to write to 0x00000010", "CrashWrite"},
      {"divide", "Exception code: C0000094 INT_DIVIDE_BY_ZERO", "", "CrashDivide"},
      {"illegal", "Exception code: C000001D ILLEGAL_INSTRUCTION", "", "CrashIllegal"},
      {"bus", "Exception code: C0000006 IN_PAGE_ERROR", "", "CrashBus"},
      {"abort", "Exception code: 40000015 FATAL_APP_EXIT", "", "abort"},
      {"throw", "Exception code: E06D7363 CPP_EXCEPTION", "", "__cxa_throw"},
      {"stack", "Exception code: C00000FD STACK_OVERFLOW", "", "CrashStack"},
      // A thread that prepared its own alternate stack.
      {"stack", "Exception code: C00000FD STACK_OVERFLOW", "", "CrashStack", {"--thread"}},
  };
  const std::regex date("= Crash date: [01][0-9]/[0-3][0-9]/[0-9][0-9]");
  const std::regex time("= Crash time: [0-2][0-9]:[0-5][0-9]:[0-6][0-9]:[0-9]{1,3}");
  const std::regex address("Fault address:  0033:[0-9A-F]{16} plinth-crashme");
  const std::regex frame(" {1,2}[0-9]+  [^ ]+!.+");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kind);
    TempDir dir;
    const Outcome run = Crash(dir, c.kind, c.args);
    EXPECT_EQ(run.exitCode, 99);
    ASSERT_GT(run.lines.size(), 22u) << run.report;
    ExpectLinesAt(run.lines, 0, {kRule63, "= CRASH REPORT", "=", "= Program: plinth-crashme"});
    EXPECT_TRUE(std::regex_match(run.lines[4], date)) << run.lines[4];
    EXPECT_TRUE(std::regex_match(run.lines[5], time)) << run.lines[5];
    ExpectLinesAt(run.lines, 6, {kRule63, "", "", kRule31, "Fault Reason and Address:", kRule31, "", c.codeLine});
    EXPECT_TRUE(std::regex_match(run.lines[14], address)) << run.lines[14];
    size_t at = 15;
    if (*c.accessLine) { EXPECT_EQ(run.lines[at++], c.accessLine); }
    ExpectLinesAt(run.lines, at, {"", kRule31, "Stack Trace:", kRule31, "", "Call stack:"});
    bool found = false;
    size_t line = at + 6;
    for (; line < run.lines.size() && !run.lines[line].empty(); ++line) {
      EXPECT_TRUE(std::regex_match(run.lines[line], frame)) << run.lines[line];
      found = found || Has(run.lines[line], c.function);
    }
    EXPECT_TRUE(found) << run.report;
    // The blank line of the end closes the stack trace and the report.
    EXPECT_EQ(line + 1, run.lines.size()) << run.report;
    EXPECT_EQ(run.out.substr(run.out.find('\n') + 1), "MiniDump created in " + run.coreName + ".\n");
  }
}

TEST(CrashReport, ProfileSwitchesCountAsTheyShould) {
  SKIP_UNDER_SANITIZERS();
  const struct {
    std::string values;
    std::vector<std::string> present, absent;
    bool core;
  } cases[] = {
      // Only exactly 1 turns a section on; any value but 0 turns the dump on.
      {"FaultReason=2\nMiniDump=2\n", {"Stack Trace:"}, {"Fault Reason"}, true},
      {"registries = 1\nStackTrace=0\nMiniDump=0\n",
       {"Registers:\n===============================\n\nRAX:", "\nCS:RIP:0033:", "\nFlags:"},
       {"Stack Trace:", "Fault address:  0033:0000000000000000"},
       false},
      {"StackTraceEx=1\nGlobals=1\nStackTrace=0\nMiniDump=0\n",
       {"Local Variables And Parameters:\n===============================\n\nCall stack:\n",
        "\tLocal 'marker' = 7\n\tLocal 'where' Point\n\t\t x = 3\n\t\t y = 4\n",
        "Global Variables:\n===============================\n\n", "\t'g_zero' = 0\n"},
       {"Stack Trace:"},
       false},
      // A value that isn't a number, or another key's value, leaves the default.
      {"FaultReason=yes\n[Other]\nStackTrace=0\n", {"Fault Reason", "Stack Trace:"}, {}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.values);
    TempDir dir;
    const Outcome run = Crash(dir, "read", {}, kProfileSection + c.values);
    EXPECT_EQ(run.exitCode, 99);
    for (const auto& part : c.present) EXPECT_TRUE(Has(run.report, part)) << part << "\n" << run.report;
    for (const auto& part : c.absent) EXPECT_FALSE(Has(run.report, part)) << part;
    EXPECT_EQ(!run.coreName.empty(), c.core);
    EXPECT_EQ(Has(run.out, "MiniDump created in"), c.core);
  }
}

TEST(CrashReport, DisabledLetCrashOrNotTerminatingLetsTheDefaultActionHappen) {
  SKIP_UNDER_SANITIZERS();
  const struct {
    const char* kind;
    std::vector<std::string> args, env;
    std::string profile;
    int signal;
    bool report;
  } cases[] = {
      {"read", {}, {"OC_DISABLE_CRASH_REPORT="}, "", SIGSEGV, false},
      {"read", {"--let-crash"}, {}, "", SIGSEGV, false},
      {"abort", {"--let-crash"}, {}, "", SIGABRT, false},
      {"divide", {}, {}, std::string(kProfileSection) + "TerminateProcess=0\nMiniDump=0\nShowErrorMsg=1\n", SIGFPE,
       true},
      {"throw", {}, {}, std::string(kProfileSection) + "TerminateProcess=0\nMiniDump=0\n", SIGABRT, true},
      // The profile's LetCrash is read after the filter has tested it.
      {"read", {}, {}, std::string(kProfileSection) + "LetCrash=1\nMiniDump=0\n", 0, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.kind) + " " + c.profile);
    TempDir dir;
    const Outcome run = Crash(dir, c.kind, c.args, c.profile, c.env);
    EXPECT_EQ(run.signal, c.signal);
    EXPECT_EQ(run.exitCode, c.signal ? -1 : 99);
    EXPECT_EQ(Has(run.report, "= CRASH REPORT\n"), c.report);
    EXPECT_EQ(Has(run.err, "Unknown application error.\nExiting application ...\n"), Has(c.profile, "ShowErrorMsg"));
  }
}

TEST(CrashReport, ReportsCollectInOneFileAndAFaultInTheHandlerSkipsItsSection) {
  SKIP_UNDER_SANITIZERS();
  TempDir dir;
  const std::string name = dir / "crashes.log";
  Crash(dir, "read", {"--log", name});
  const Outcome second = Crash(dir, "divide", {"--log", name, "--extra-faults"});
  EXPECT_EQ(second.exitCode, 99);
  const std::string text = ReadFile(name);
  EXPECT_NE(text.find("C0000005"), std::string::npos);
  EXPECT_NE(text.find("C0000094", text.find("= CRASH REPORT", 1)), std::string::npos);
  // No directory: neither file can be made, and the process still ends with 99.
  TempDir gone;
  const Outcome lost = Crash(gone, "read", {"--dir", gone / "missing", "--extra"});
  EXPECT_EQ(lost.exitCode, 99);
  EXPECT_TRUE(Has(lost.out, "\nCreateFile failed. Error: 2 \n")) << lost.out;
  EXPECT_TRUE(Has(lost.err, "extra report")) << lost.err;
  // A dump that can't be written says so; the report is there all the same.
  const Outcome full = Crash(gone, "write", {"--dump", "/dev/full"});
  EXPECT_EQ(full.exitCode, 99);
  EXPECT_TRUE(Has(full.out, "\nMiniDumpWriteDump failed. Error: 28 \n")) << full.out;
  EXPECT_TRUE(Has(full.report, "Attempt to write to 0x00000010\n"));
  // Four threads fault at once: the first reports, the others wait for the end.
  const Outcome race = Crash(dir, "race", {"--extra"});
  EXPECT_EQ(race.exitCode, 99);
  EXPECT_EQ(race.report.find("= CRASH REPORT"), race.report.rfind("= CRASH REPORT"));
  EXPECT_TRUE(Has(race.err, "extra report: alternate stack used")) << race.err;
}

TEST(CrashReport, DiagnosticsCallChainsAndMemoryBufferFollowTheReport) {
  SKIP_UNDER_SANITIZERS();
  TempDir dir;
  const Outcome run = Crash(dir, "write", {"--thread", "--diag", dir.path()});
  EXPECT_EQ(run.exitCode, 99);
  const size_t stacks = run.report.find("\n" + kRule31 + "\nDiagnostic Call Stacks:\n" + kRule31 + "\n");
  ASSERT_NE(stacks, std::string::npos) << run.report;
  EXPECT_NE(run.report.find("   main\n", stacks), std::string::npos);
  EXPECT_NE(run.report.find("   worker\n", stacks), std::string::npos);
  const size_t buffer = run.report.find("Diagnostic Memory Buffer:\n" + kRule31 + "\n\n", stacks);
  ASSERT_NE(buffer, std::string::npos);
  EXPECT_NE(run.report.find("\tworker crashes\n", buffer), std::string::npos);
  EXPECT_EQ(run.report.back(), '\n');
  EXPECT_NE(run.report[run.report.size() - 2], ' ');
}

TEST(CrashReport, CoreFileIsAnElfCoreThatGdbOpens) {
  SKIP_UNDER_SANITIZERS();
  TempDir dir;
  const Outcome run = Crash(dir, "write", {"--thread"});
  ASSERT_FALSE(run.coreName.empty());
  const std::string core = ReadFile(run.coreName);
  ASSERT_GT(core.size(), sizeof(Elf64_Ehdr));
  Elf64_Ehdr elf;
  std::memcpy(&elf, core.data(), sizeof elf);
  EXPECT_EQ(std::memcmp(elf.e_ident, ELFMAG, SELFMAG), 0);
  EXPECT_EQ(elf.e_ident[EI_CLASS], ELFCLASS64);
  EXPECT_EQ(elf.e_type, ET_CORE);
  EXPECT_EQ(elf.e_machine, EM_X86_64);
  Elf64_Phdr note;
  std::memcpy(&note, core.data() + elf.e_phoff, sizeof note);
  ASSERT_EQ(note.p_type, static_cast<unsigned>(PT_NOTE));
  // The notes: the crashing thread first, with the fault's instruction.
  std::vector<elf_prstatus> threads;
  elf_prpsinfo process{};
  bool auxv = false, files = false;
  for (size_t at = note.p_offset; at + 12 <= note.p_offset + note.p_filesz;) {
    uint32_t header[3];
    std::memcpy(header, core.data() + at, 12);
    const size_t desc = at + 12 + ((header[0] + 3) & ~3u);
    if (header[2] == NT_PRSTATUS) {
      elf_prstatus status;
      std::memcpy(&status, core.data() + desc, sizeof status);
      threads.push_back(status);
    }
    if (header[2] == NT_PRPSINFO) std::memcpy(&process, core.data() + desc, sizeof process);
    auxv = auxv || header[2] == NT_AUXV;
    files = files || header[2] == 0x46494c45;
    at = desc + ((header[1] + 3) & ~3u);
  }
  ASSERT_EQ(threads.size(), 2u);
  EXPECT_TRUE(auxv && files);
  EXPECT_EQ(threads[0].pr_cursig, SIGSEGV);
  char rip[40];
  std::snprintf(rip, sizeof rip, "0033:%016llX", static_cast<unsigned long long>(threads[0].pr_reg[16]));
  EXPECT_TRUE(Has(run.report, rip)) << rip;
  EXPECT_STREQ(process.pr_fname, "plinth-crashme");
  // Every thread's stack is in the file: a loaded segment holds each RSP.
  for (const elf_prstatus& thread : threads) {
    const uint64_t sp = thread.pr_reg[19];
    bool held = false;
    for (int i = 1; i < elf.e_phnum; ++i) {
      Elf64_Phdr load;
      std::memcpy(&load, core.data() + elf.e_phoff + i * sizeof load, sizeof load);
      held = held || (load.p_type == PT_LOAD && sp >= load.p_vaddr && sp < load.p_vaddr + load.p_filesz &&
                      load.p_offset + load.p_filesz <= core.size());
    }
    EXPECT_TRUE(held) << std::hex << sp;
  }
  if (access("/usr/bin/gdb", X_OK) != 0) return;
  const std::string command = std::string("/usr/bin/gdb -nx -batch -ex bt ") + PLINTH_CRASHME + " " + run.coreName +
                              " > " + dir / "gdb.txt" + " 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_TRUE(Has(ReadFile(dir / "gdb.txt"), "CrashWrite")) << ReadFile(dir / "gdb.txt");
}

}  // namespace
