// plinth-demo: a host program that shows the library at work.
//
//   plinth-demo [--log-dir DIR] [--lines N]
//
// It writes a sequential file and a ring of cyclic files under DIR (default
// ./plinth-demo-logs) from two threads, then lists what it wrote.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <plinth/plinth.h>

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

std::string banner(void* userData) {
  return std::string("plinth-demo, ") + static_cast<const char*>(userData);
}

void on_logger_error(const std::string& text) {
  std::fprintf(stderr, "plinth-demo: logging failed for: %s", text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options opt;
  if (!parse(argc, argv, opt)) return 2;
  if (mkdir(opt.logDir.c_str(), 0755) != 0 && errno != EEXIST) {
    std::fprintf(stderr, "plinth-demo: cannot create %s: %s\n", opt.logDir.c_str(), std::strerror(errno));
    return 1;
  }

  Logger* logger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", opt.logDir);
  logger->initLogger(init, on_logger_error);

  static char bannerText[] = "logging framework demo";
  LoggerParams seq;
  seq.InsertString("name", "demo-sequential");
  seq.InsertString("logical_name", "sequential_files");
  seq.InsertInt("type", eSequentialFile);
  seq.InsertInt("mode", 0x84);
  seq.InsertPointer("app_info_cb", reinterpret_cast<void*>(&banner));
  seq.InsertPointer("app_info_userdata", bannerText);

  LoggerParams ring;
  ring.InsertString("name", "demo-cyclic");
  ring.InsertString("logical_name", "cyclic_files");
  ring.InsertInt("type", eCyclicFile);
  ring.InsertInt("mode", 0x88);
  ring.InsertInt("file_num", 4);
  ring.InsertInt("message_num", 50);

  if (logger->createDest(seq) != 0 || logger->createDest(ring) != 0) {
    std::fprintf(stderr, "plinth-demo: cannot create destinations; see %s\n",
                 logger->GetEmergencyFileName().c_str());
    return 1;
  }
  logger->openDest("cyclic_files");

  // The Logger leaves writing to one destination to its client to
  // serialise; one lock for both destinations does that here.
  std::mutex writeLock;
  auto worker = [&](int id) {
    for (int i = 1; i <= opt.lines / 2; ++i) {
      char line[160];
      std::snprintf(line, sizeof line, "worker %d line %4d: the quick brown fox jumps over the lazy dog\n", id, i);
      std::lock_guard<std::mutex> guard(writeLock);
      logger->writeDest("sequential_files", line, 0, 0);
      logger->writeDest("cyclic_files", line, 0, 0);
    }
  };
  std::thread a(worker, 1), b(worker, 2);
  a.join();
  b.join();

  std::string seqName;
  static_cast<LoggerFileDest*>(logger->getDest("sequential_files"))->GetFileName(seqName);
  auto* cyclic = static_cast<LoggerCyclicDest*>(logger->getDest("cyclic_files"));
  std::printf("plinth-demo wrote %d lines to each destination\n", (opt.lines / 2) * 2);
  std::printf("  sequential file: %s\n", seqName.c_str());
  std::printf("  ring of %d files (%d lines each), oldest first:\n", cyclic->m_nNumOfFiles, cyclic->m_nMsgsPerFile);
  for (const std::string& name : cyclic->m_vFileList)
    if (os_file_system::exists(name)) std::printf("    %s\n", name.c_str());
  return 0;
}
