// What the Logger leaves unsaid in its results is told to the trace.
#include "common/trace_file.h"
#include "logger_fixture.h"

using namespace plinth_test;

namespace {
void OtherCallback(const std::string&) {}
}  // namespace

TEST_F(LoggerTest, TheTraceTellsWhatASecondInitTakenNameOrUnusableDirectoryChangedNot) {
  TraceFile trace(dir);
  const struct {
    const char* path;
    Logger::ErrorCallback callback;
    const char* told;  // null: nothing to tell
  } inits[] = {
      {nullptr, &RecordCallback, nullptr},  // the same path and callback
      {"/elsewhere", &RecordCallback, "path \"/elsewhere\" ignored"},
      {nullptr, &OtherCallback, "the new error callback is dropped, the first one stays"},
  };
  for (const auto& c : inits) {
    const std::string before = trace.Text();
    Logger::InitParams init;
    init.InsertString("path", c.path ? c.path : dir.path());
    logger->initLogger(init, c.callback);
    const std::string said = trace.Text().substr(before.size());
    EXPECT_EQ(said.find("already initialized") != std::string::npos, c.told != nullptr) << said;
    if (c.told) {
      EXPECT_NE(said.find(c.told), std::string::npos) << said;
    }
  }
  EXPECT_EQ(logger->m_sLogPath, dir.path());

  EXPECT_EQ(Create(Sequential("first")), 0u);
  EXPECT_EQ(Create(Sequential("second")), 0u);
  EXPECT_TRUE(trace.Has("logical name \"sequential_files\" is already taken")) << trace.Text();

  LoggerParams gone = Sequential("x", "gone");
  gone.InsertString("path", dir / "no/such/dir");
  EXPECT_EQ(Create(gone), 0u);
  logger->writeDest("gone", "lost\n", 0, 0);
  EXPECT_TRUE(trace.Has("destination \"gone\" can't open " + (dir / "no/such/dir"))) << trace.Text();
  EXPECT_TRUE(trace.Has("x.txt: No such file or directory"));
}
