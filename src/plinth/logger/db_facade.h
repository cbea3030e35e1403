// The prototype of database destinations (type 2). It makes nothing itself:
// Create loads the optional library libzlt-plinth-db-4.0.so and asks its
// "CreateDBDest" for the real destination. Called under the client's
// serialisation like every destination; failures are a null result, which
// the Logger reports as a failed creation.
#pragma once

#include "plinth/logger/destination.h"
#include "plinth/plinth_export.h"

// What the database library exports under kDBDestSymbol. The parameters are
// a copy, owned by the callee; the result is deleted by the framework.
using CreateDBDestFunc = LoggerBaseDestination* (*)(LoggerParams params);

extern PLINTH_API const char kDBDestLibrary[];  // "libzlt-plinth-db-4.0.so"
extern PLINTH_API const char kDBDestSymbol[];   // "CreateDBDest"

class PLINTH_API LoggerDBDestinationFacade : public LoggerBaseDestination {
public:
  unsigned Init(LoggerParams&, std::vector<dst_aux::ElementProperties>) override { return 0; }
  unsigned Open() override { return 0; }
  bool Close() override { return false; }
  bool IsReady() override { return false; }
  unsigned CleanUp(int) override { return 0; }
  unsigned SmartClean(const std::string&, const std::vector<dst_aux::QueryElement>&, int, std::string&,
                      long&) override {
    return 0;
  }
  bool Prepare(const std::string&) override { return false; }
  int Flush() override { return 0; }
  bool Write(const std::string&, unsigned, unsigned) override { return false; }
  unsigned WriteCtx(dst_aux::DataContext&, std::string&, unsigned, unsigned) override { return 0; }
  // Loads the library unless it is loaded (a failed load is tried again at
  // the next call), looks up "CreateDBDest" and calls it with a copy of
  // params. Null when the library, the function or the object is missing.
  LoggerBaseDestination* Create(LoggerParams& params) override;
  LoggerDataInserter* GetInserter(const std::string&, std::string&, LoggerParams*) override { return nullptr; }
  void Attach(void*) override {}
  void Detach() override {}
  bool Accepts(const std::string&) override { return false; }
  int QueryInt(int) override { return 0; }
  int ControlInt(int) override { return 0; }
};
