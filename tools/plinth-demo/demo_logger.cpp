// Logging framework: a sequential file with a banner and a ring of cyclic
// files, written from two threads.
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include <plinth/plinth.h>

#include "demo.h"

namespace {

std::string banner(void* userData) {
  return std::string("plinth-demo, ") + static_cast<const char*>(userData);
}

void on_logger_error(const std::string& text) {
  std::fprintf(stderr, "plinth-demo: logging failed for: %s", text.c_str());
}

int demo_logger(const DemoContext& ctx) {
  Logger* logger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", ctx.logDir);
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
    for (int i = 1; i <= ctx.lines / 2; ++i) {
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
  std::printf("plinth-demo wrote %d lines to each destination\n", (ctx.lines / 2) * 2);
  std::printf("  sequential file: %s\n", seqName.c_str());
  std::printf("  ring of %d files (%d lines each), oldest first:\n", cyclic->m_nNumOfFiles, cyclic->m_nMsgsPerFile);
  for (const std::string& name : cyclic->m_vFileList)
    if (os_file_system::exists(name)) std::printf("    %s\n", name.c_str());
  return 0;
}

}  // namespace

PLINTH_DEMO_SECTION(10, "logging framework", demo_logger);
