// A small exits library for the message logger's tests: one routine that
// looks at messages, one that vetoes them, and a record of what it was asked.
#include <string>

#include "plinth/plinth.h"

namespace {
int g_lookUps = 0;
std::string g_seen;

bool Audit(int id, OCMsgObjects* objects, int count, char** args) {
  g_seen = std::to_string(id) + "/" + std::to_string(count) + "/" + (count > 0 ? args[0] : "") + "/" +
           objects->Get("host");
  return true;
}

bool Veto(int, OCMsgObjects*, int, char**) { return false; }
}  // namespace

extern "C" OCMsgExitFunc GetExitFunc(const std::string& name) {
  ++g_lookUps;
  if (name == "audit_exit") return Audit;
  if (name == "veto_exit") return Veto;
  return nullptr;
}

extern "C" int ExitLookUps() { return g_lookUps; }
extern "C" const char* LastAudit() { return g_seen.c_str(); }
