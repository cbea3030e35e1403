// Message logger: a message file with levels and contexts, three threads
// sending numbered messages, a level change while they run, and a drained
// queue at the end.
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <plinth/plinth.h>

#include "demo.h"

namespace {

// Field by field: code and number, severity, level, contexts, destinations,
// exit routine ("*": none), an unused field, then the printf format.
const char* const kMessageFile =
    "- messages of the demo's file manager\n"
    "QRX1201 E 2 general,files demo_msgs * - Cannot open %s for %s\n"
    "QRX1202 I 5 files demo_msgs * - Opened %s\n"
    "QRX1203 W 3 scheduler demo_msgs * - Job %s is late by %s seconds\n";

int demo_msglogger(const DemoContext& ctx) {
  const std::string file = ctx.logDir + "/demo-messages.txt";
  std::ofstream(file) << kMessageFile;

  // "files" lets levels up to 3 through: 1202 (level 5) is held back.
  StringIntPair contexts[] = {{"files", 3}, {"scheduler", 3}};
  StringPair objects[] = {{"host", "demo-host"}};
  DestinationData ring;
  ring.m_nType = eCyclicFile;
  std::snprintf(ring.m_sName, sizeof ring.m_sName, "demo-msglog");
  std::snprintf(ring.m_sLogicalName, sizeof ring.m_sLogicalName, "demo_msgs");
  ring.m_nNumOfFiles = 3;
  ring.m_nMsgsPerFile = 100;
  const int rc = Init(file.c_str(), "QRX", "demo", contexts, 2, objects, 1, &ring, 1, 256, 0, ctx.logDir.c_str());
  if (rc != 100 && rc != 500) {
    std::fprintf(stderr, "plinth-demo: the message logger did not start (%d)\n", rc);
    return 1;
  }
  if (rc == 500) std::printf("no exits library (libzlt-loggerexits.so): messages go out unchecked\n");

  const int each = ctx.lines / 3;
  std::vector<std::thread> senders;
  for (int t = 0; t < 3; ++t)
    senders.emplace_back([t, each] {
      for (int i = 0; i < each; ++i) {
        const std::string n = std::to_string(i);
        WriteToLog(1201, ("report-" + n + ".txt").c_str(), t == 0 ? "reading" : "writing", nullptr);
        WriteToLog(1202, ("input-" + n + ".txt").c_str(), nullptr);
        WriteToLog(1203, ("job-" + std::to_string(t)).c_str(), n.c_str(), nullptr);
      }
    });
  // An operator turns the file messages up while the senders run.
  StringIntPair louder[] = {{"files", 5}, {"scheduler", 3}};
  LoadContexts(louder, 2);
  for (std::thread& s : senders) s.join();
  WaitForThread();

  std::printf("sent %d messages from 3 threads through %s; the ring's newest file:\n", 3 * 3 * each, file.c_str());
  LoggerBaseDestination* dest = Logger::GetInstance()->getDest("demo_msgs");
  if (auto* cyclic = dynamic_cast<LoggerCyclicDest*>(dest)) {
    std::string name;
    cyclic->GetFileName(name);
    std::printf("  %s\n", name.c_str());
    std::ifstream in(name);
    std::string line;
    for (int i = 0; i < 3 && std::getline(in, line); ++i) std::printf("    %s\n", line.c_str());
  }
  return 0;
}

}  // namespace

PLINTH_DEMO_SECTION(50, "message logger", demo_msglogger);
