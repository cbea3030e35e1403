// plinth-demo: a host program that shows the library at work.
//
//   plinth-demo [--log-dir DIR] [--lines N]
//
// Each area of the library shows itself in a section (demo_<area>.cpp); all
// files go under DIR (default ./plinth-demo-logs).
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "demo.h"

namespace {

struct Options {
  std::string logDir = "./plinth-demo-logs";
  int lines = 300;
};

void usage(const char* argv0) {
  std::printf("usage: %s [--log-dir DIR] [--lines N]\n", argv0);
}

bool parse(int argc, char** argv, Options& opt) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if ((arg == "--log-dir" || arg == "-d") && i + 1 < argc) {
      opt.logDir = argv[++i];
    } else if (arg == "--lines" && i + 1 < argc) {
      opt.lines = std::max(1, std::atoi(argv[++i]));
    } else if (arg == "--help" || arg == "-h") {
      usage(argv[0]);
      std::exit(0);
    } else {
      std::fprintf(stderr, "plinth-demo: unknown argument '%s'\n", arg.c_str());
      usage(argv[0]);
      return false;
    }
  }
  return true;
}

std::vector<DemoSection>& Registry() {
  static std::vector<DemoSection> sections;
  return sections;
}

std::vector<DemoSection> DemoSections() {
  std::vector<DemoSection> sections = Registry();
  std::stable_sort(sections.begin(), sections.end(),
                   [](const DemoSection& a, const DemoSection& b) { return a.order < b.order; });
  return sections;
}

}  // namespace

bool RegisterDemoSection(int order, const char* title, std::function<int(const DemoContext&)> run) {
  Registry().push_back(DemoSection{order, title, std::move(run)});
  return true;
}

int main(int argc, char** argv) {
  Options opt;
  if (!parse(argc, argv, opt)) return 2;
  if (mkdir(opt.logDir.c_str(), 0755) != 0 && errno != EEXIST) {
    std::fprintf(stderr, "plinth-demo: cannot create %s: %s\n", opt.logDir.c_str(), std::strerror(errno));
    return 1;
  }
  DemoContext ctx;
  ctx.logDir = opt.logDir;
  ctx.lines = opt.lines;

  for (const DemoSection& section : DemoSections()) {
    std::printf("== %s ==\n", section.title);
    if (int rc = section.run(ctx)) {
      std::fprintf(stderr, "plinth-demo: section '%s' failed (%d)\n", section.title, rc);
      return rc;
    }
  }
  return 0;
}
