// Diagnostics: a registered source file, scopes and lines from several
// worker threads, and the call chains of all threads printed while the
// workers sit inside their scopes.
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <plinth/plinth.h>

#include "demo.h"

namespace {

PLINTH_DIAG_FILE();
const TDiagSetFileName g_diagFileName("plinth-demo");

constexpr int kWorkers = 4;

// Holds the workers inside their deepest scope until the stacks are printed.
struct Rendezvous {
  std::mutex lock;
  std::condition_variable changed;
  int inside = 0;
  bool printed = false;
};

void Step(Rendezvous& meet, int worker) {
  PLINTH_DIAG_FUNC("DemoWorker::Step");
  PLINTH_DIAG(4, "worker " << worker << " waits inside three scopes");
  std::unique_lock<std::mutex> guard(meet.lock);
  ++meet.inside;
  meet.changed.notify_all();
  meet.changed.wait(guard, [&] { return meet.printed; });
}

void Stage(Rendezvous& meet, int worker, int lines) {
  PLINTH_DIAG_FUNC("DemoWorker::Stage");
  for (int i = 1; i <= lines; ++i) PLINTH_DIAG(3, "worker " << worker << " line " << i);
  Step(meet, worker);
}

void Work(Rendezvous& meet, int worker, int lines) {
  PLINTH_DIAG_FUNC("DemoWorker::Work");
  Stage(meet, worker, lines);
  PLINTH_DIAG(2, "worker " << worker << " done");
}

std::string Banner(void*) { return "plinth-demo, diagnostics section"; }

int demo_diag(const DemoContext& ctx) {
  // The logging section is over; its two destinations leave the table so
  // that the diagnostics can create theirs under the same logical names.
  Logger::GetInstance()->removeDest("sequential_files");
  Logger::GetInstance()->removeDest("cyclic_files");

  TDiag* diag = TDiag::Instance();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 7);
  diag->SetAppInfoProvider(&Banner, nullptr);
  diag->Initialize(ctx.logDir, ctx.logDir, "demo");
  diag->EnableStacks(TDiag::eStacksRecording);

  PLINTH_DIAG_FUNC("demo_diag");
  Rendezvous meet;
  std::vector<std::thread> workers;
  for (int w = 1; w <= kWorkers; ++w) workers.emplace_back(Work, std::ref(meet), w, ctx.lines / kWorkers);
  {
    std::unique_lock<std::mutex> guard(meet.lock);
    meet.changed.wait(guard, [&] { return meet.inside == kWorkers; });
  }
  diag->PrintStacks();
  diag->PrintStacksSafe(0, "plinth-demo: crash-path dump of the same stacks\n");
  {
    std::lock_guard<std::mutex> guard(meet.lock);
    meet.printed = true;
  }
  meet.changed.notify_all();
  for (std::thread& t : workers) t.join();
  diag->FlushDiagLog();

  std::string fileName;
  auto* dest = dynamic_cast<LoggerFileDest*>(Logger::GetInstance()->getDest(diag->m_sDestName));
  if (!dest) {
    std::fprintf(stderr, "plinth-demo: no diagnostic destination in %s\n", ctx.logDir.c_str());
    return 1;
  }
  dest->GetFileName(fileName);
  std::printf("plinth-demo: %d workers wrote to %s\n", kWorkers, fileName.c_str());
  std::printf("PrintStacks output:\n");
  std::ifstream in(fileName);
  for (std::string line; std::getline(in, line);)
    if (line.find("\tDiagStacks::Print\t") != std::string::npos) std::printf("  %s\n", line.c_str());
  return 0;
}

}  // namespace

PLINTH_DEMO_SECTION(20, "diagnostics", demo_diag);
