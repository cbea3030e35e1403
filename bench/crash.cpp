// The crash handler's cost: a process with a 64 MB heap crashes, and the
// time until it has ended is set against the same process ending without a
// crash and against the kernel's own core dump of it (RLIMIT_CORE raised;
// the kernel writes "core" into the working directory only when
// /proc/sys/kernel/core_pattern is a plain name, which the benchmark tells).
// Counters: the core file's size and the blocks it takes, and how deep the
// handler went into its alternate stack.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "scratch_dir.h"

extern char** environ;

namespace {

struct Size {
  double bytes = 0, blocks = 0;
};

Size SizeOf(const std::string& path) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return {};
  return {static_cast<double>(info.st_size), static_cast<double>(info.st_blocks) * 512};
}

std::string CorePattern() {
  std::ifstream in("/proc/sys/kernel/core_pattern");
  std::string line;
  std::getline(in, line);
  return line;
}

// Runs plinth-crashme in its own fresh directory; gives its standard error.
std::string Run(const std::vector<std::string>& args, const std::string& dir) {
  std::vector<std::string> argv = {PLINTH_CRASHME};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> a;
  for (auto& s : argv) a.push_back(s.data());
  a.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addchdir_np(&files, dir.c_str());
  posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&files, 2, (dir + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = 0;
  if (posix_spawn(&pid, a[0], &files, nullptr, a.data(), environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&files);
  int status = 0;
  waitpid(pid, &status, 0);
  std::ifstream in(dir + "/err");
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string FreshDir(const char* name) {
  const std::string dir = plinth_bench::ScratchDir() + "/" + name;
  (void)!std::system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "'").c_str());
  return dir;
}

void BM_NoCrash(benchmark::State& state) {
  for (auto _ : state) Run({"none", "--heap", "64"}, FreshDir("none"));
}

void BM_HandlerReportAndCore(benchmark::State& state) {
  Size core;
  double used = 0;
  for (auto _ : state) {
    const std::string dir = FreshDir("handler");
    const std::string err = Run({"read", "--heap", "64", "--dir", dir, "--extra"}, dir);
    state.PauseTiming();
    const size_t at = err.find("used ");
    if (at != std::string::npos) used = std::atof(err.c_str() + at + 5);
    (void)!std::system(("ls '" + dir + "' > '" + dir + "/list'").c_str());
    std::ifstream list(dir + "/list");
    for (std::string name; std::getline(list, name);)
      if (name.rfind("MiniDump.", 0) == 0) core = SizeOf(dir + "/" + name);
    state.ResumeTiming();
  }
  state.counters["core_bytes"] = core.bytes;
  state.counters["core_disk_bytes"] = core.blocks;
  state.counters["altstack_used_bytes"] = used;
}

void BM_KernelCore(benchmark::State& state) {
  const std::string pattern = CorePattern();
  if (pattern != "core") {
    state.SkipWithError(("core_pattern is '" + pattern + "', not a plain file name").c_str());
    return;
  }
  rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_CORE, &unlimited);
  Size core;
  for (auto _ : state) {
    const std::string dir = FreshDir("kernel");
    Run({"read", "--heap", "64", "--no-handler"}, dir);
    state.PauseTiming();
    core = SizeOf(dir + "/core");
    state.ResumeTiming();
  }
  state.counters["core_bytes"] = core.bytes;
  state.counters["core_disk_bytes"] = core.blocks;
}

BENCHMARK(BM_NoCrash)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_HandlerReportAndCore)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_KernelCore)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace
