// Numbered messages: a message file in the log directory, loaded into the
// catalogue; two entries and an unknown number formatted with arguments and
// context, and the logical names a build would generate.
#include <cstdio>
#include <fstream>
#include <string>

#include <plinth/plinth.h>

#include "demo.h"

namespace {

int demo_message(const DemoContext& ctx) {
  {
    std::ofstream out(ctx.logDir + "/demo-messages.txt", std::ios::trunc);
    out << "# demo messages\n"
           "@@ORDER 0 1 2 3 4 5 8 6 7\n"
           "FIL 1000 E FILE_ENTRY=1000 \"Open failed\" Files 400 200 "
           "[Cannot open {1}{endl}~Ask the administrator]\n"
           "FIL 1001 W FILE_SLOW \"Slow disk\" \"File manager\" 390 170 [Reading {%s} took {2} seconds]\n";
  }
  std::string error;
  if (!InitOCMessageMgr(ctx.logDir, "demo-messages.txt", OCMessageMgr::DefaultPattern, error)) {
    std::fprintf(stderr, "plinth-demo: %s\n", error.c_str());
    return 1;
  }

  OCMessage open(1000, nullptr);
  open.addArg("/var/data/input.dat");
  std::printf("%s\n\n", open.decorate().c_str());

  StreamArray context(true);
  context.addPair("disk", "sda");
  context.addPair("queue", "12");
  OCMessage slow(1001, &context);
  slow.addArg("big.dat");
  slow.addArg("12");
  std::printf("%s\n\n", slow.decorate().c_str());

  std::printf("%s\n\n", OCMessage(4711, nullptr).decorate().c_str());
  std::printf("logical names:\n%s", OCMessageMgr::getInstance()->generate_msg_header(error).c_str());
  exit_messagemgr();
  return 0;
}

}  // namespace

PLINTH_DEMO_SECTION(40, "numbered messages", demo_message);
