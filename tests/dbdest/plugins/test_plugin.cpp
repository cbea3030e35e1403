// Stand-ins for the database library, built under its file name:
// VARIANT 1 lacks CreateDBDest, 2 gives null, 3 records every call into
// the file named by the string parameter "record_file".
#include <fstream>

#include "plinth/logger/destination.h"

#if VARIANT == 3
namespace {
class RecordingDest : public LoggerBaseDestination {
public:
  explicit RecordingDest(std::string file) : m_sFile(std::move(file)) {}
  ~RecordingDest() override { Record("destroy"); }
  unsigned Init(LoggerParams& params, std::vector<dst_aux::ElementProperties> elements) override {
    void* stream = nullptr;
    Record("init err_stream=" + std::string(params.GetPointer("err_stream", stream) && stream ? "set" : "none") +
           " elements=" + std::to_string(elements.size()));
    return 5;
  }
  unsigned Open() override { return Record("open"), 7; }
  bool Close() override { return Record("close"), true; }
  unsigned CleanUp(int days) override { return Record("cleanup " + std::to_string(days)), 9; }
  unsigned SmartClean(const std::string&, const std::vector<dst_aux::QueryElement>&, int, std::string& error,
                      long&) override {
    error = "smart clean refused";
    return 4;
  }
  int Flush() override { return Record("flush"), 8; }
  bool Write(const std::string& text, unsigned a, unsigned b) override {
    Record("write " + text + " " + std::to_string(a) + " " + std::to_string(b));
    return text != "fail";
  }
  // Not called by the framework.
  bool IsReady() override { return true; }
  bool Prepare(const std::string&) override { return true; }
  unsigned WriteCtx(dst_aux::DataContext&, std::string&, unsigned, unsigned) override { return 0; }
  LoggerBaseDestination* Create(LoggerParams&) override { return nullptr; }
  LoggerDataInserter* GetInserter(const std::string&, std::string&, LoggerParams*) override { return nullptr; }
  void Attach(void*) override {}
  void Detach() override {}
  bool Accepts(const std::string&) override { return true; }
  int QueryInt(int) override { return 0; }
  int ControlInt(int) override { return 0; }

private:
  void Record(const std::string& line) { std::ofstream(m_sFile, std::ios::app) << line << '\n'; }
  std::string m_sFile;
};
}  // namespace
#endif

#if VARIANT != 1
extern "C" __attribute__((visibility("default"))) LoggerBaseDestination* CreateDBDest(LoggerParams params) {
#if VARIANT == 3
  std::string file, logical, path, extra;
  params.GetString("record_file", file);
  params.GetString("logical_name", logical);
  params.GetString("path", path);
  params.GetString("extra", extra);
  auto* dest = new RecordingDest(file);
  dest->m_sLogicalName = logical;
  int mode = 0;
  params.GetInt("mode", mode);
  dest->m_nMode = static_cast<uint32_t>(mode) | kLoggerModeFlag;
  std::ofstream(file, std::ios::app) << "create " << logical << " path=" << path << " extra=" << extra << '\n';
  return dest;
#else
  (void)params;
  return nullptr;
#endif
}
#endif
