#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <regex>
#include <thread>

#include "logger/logger_fixture.h"
#include "plinth/platform/system.h"

using namespace plinth_test;

TEST(ParamsHolder, UniqueInsertionAndLookUpIntoOutParameters) {
  LoggerParams p;
  EXPECT_TRUE(p.InsertString("name", "first"));
  EXPECT_FALSE(p.InsertString("name", "second"));
  int dummy = 7;
  p.InsertPointer("obj_ptr", &dummy);
  std::string s = "stale";
  EXPECT_TRUE(p.GetString("name", s));
  EXPECT_EQ(s, "first");
  EXPECT_FALSE(p.GetString("absent", s));
  EXPECT_EQ(s, "");
  // A copy owns its maps and still answers after the source is gone.
  auto* source = new LoggerParams(p);
  LoggerParams copy(*source);
  delete source;
  void* ptr = nullptr;
  EXPECT_TRUE(copy.GetPointer("obj_ptr", ptr));
  EXPECT_EQ(ptr, &dummy);
}

TEST_F(LoggerTest, EmergencyFileNameHasHostPidTimeAndTwoTxt) {
  std::string host = plinth::platform::host_name();
  host = host.substr(0, host.find('.'));
  const std::regex shape(std::regex_replace(dir.path(), std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)") +
                         "/OrbLogEmergencyFile\\." + host + "\\." + std::to_string(getpid()) +
                         "\\.[0-9]{6}_[0-9]{6}\\.txt\\.txt");
  EXPECT_TRUE(std::regex_match(logger->GetEmergencyFileName(), shape)) << logger->GetEmergencyFileName();
  EXPECT_TRUE(dir.names().empty());  // nothing is written until something fails
}

TEST_F(LoggerTest, SecondInitKeepsPathAndCallback) {
  TempDir other;
  Logger::InitParams init;
  init.InsertString("path", other.path());
  logger->initLogger(init, nullptr);
  ASSERT_EQ(Create(Sequential("app")), 0u);
  logger->writeDest("sequential_files", "x\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / "app.txt"), "x\n");
  // A ring written before it is opened refuses; the first callback is still in place.
  ASSERT_EQ(Create(Cyclic("bad", 2, 2, "x")), 0u);
  logger->writeDest("x", "refused: never opened\n", 0, 0);
  EXPECT_EQ(CallbackTexts(), std::vector<std::string>{"refused: never opened\n"});
}

TEST_F(LoggerTest, CreateFailuresGoToTheEmergencyFile) {
  LoggerParams bad = Sequential("app", "no_such_type");
  bad.m_mInts["type"] = 3;
  // The database slot is empty in a process without the database library.
  LoggerParams db = Sequential("app", "database");
  db.m_mInts["type"] = eDatabase;
  LoggerParams noSizes = Sequential("app", "ring_without_sizes");
  noSizes.m_mInts["type"] = eCyclicFile;
  LoggerParams noMode = Sequential("app", "no_mode");
  noMode.m_mInts.erase("mode");
  for (LoggerParams* p : {&bad, &db, &noSizes, &noMode}) EXPECT_EQ(logger->createDest(*p), 1u);
  EXPECT_EQ(logger->getDestCount(), 0u);
  EXPECT_EQ(Emergency(),
            "Failed to CREATEDEST : no_such_type\nFailed to CREATEDEST : database\n"
            "Failed to CREATEDEST : ring_without_sizes\nFailed to CREATEDEST : no_mode\n");
  EXPECT_TRUE(CallbackTexts().empty());
}

TEST_F(LoggerTest, TableOperationsOnKnownAndUnknownNames) {
  EXPECT_EQ(logger->writeAllDests("x\n", 0, 0), 1u);  // an empty table
  EXPECT_TRUE(logger->writeDest("nobody", "x\n", 0, 0));
  EXPECT_EQ(logger->removeDest("nobody"), 1u);
  EXPECT_FALSE(os_file_system::exists(logger->GetEmergencyFileName()));

  ASSERT_EQ(Create(Cyclic("ring", 3, 10)), 0u);
  EXPECT_EQ(logger->getDestType("cyclic_files"), 0x40000088u);
  EXPECT_EQ(logger->openDest("cyclic_files"), 1u);
  EXPECT_FALSE(logger->writeDest("cyclic_files", "line\n", 0, 0));
  EXPECT_EQ(logger->writeAllDests("all\n", 0, 0), 0u);
  // A write to a disabled ring brings it back, into the file it had open.
  EXPECT_EQ(logger->disableDest("cyclic_files"), 1u);
  EXPECT_FALSE(logger->writeDest("cyclic_files", "resumed\n", 0, 0));
  std::string file;
  CyclicDest()->GetFileName(file);
  EXPECT_EQ(ReadFile(file), "line\nall\nresumed\n");
  EXPECT_EQ(logger->removeDest("cyclic_files"), 0u);
  EXPECT_EQ(logger->getDestCount(), 0u);
}

TEST_F(LoggerTest, DuplicateLogicalNameKeepsTheFirstAndOwnPathWins) {
  TempDir own;
  LoggerParams second = Sequential("second");
  second.InsertString("path", own.path());
  ASSERT_EQ(Create(Sequential("first")), 0u);
  ASSERT_EQ(logger->createDest(second), 0u);
  EXPECT_EQ(logger->getDestCount(), 1u);
  EXPECT_FALSE(logger->writeDest("sequential_files", "here\n", 0, 0));
  EXPECT_EQ(ReadFile(dir / "first.txt"), "here\n");
  LoggerParams withPath = Sequential("mine", "own_path");
  withPath.InsertString("path", own.path());
  ASSERT_EQ(logger->createDest(withPath), 0u);
  EXPECT_FALSE(logger->writeDest("own_path", "there\n", 0, 0));
  EXPECT_EQ(own.names(), std::vector<std::string>{"mine.txt"});
}

TEST_F(LoggerTest, FailedWriteReportsTextAndCallsBackUpToNul) {
  // Writes to /dev/full fail with "no space left on device".
  ASSERT_EQ(symlink("/dev/full", (dir / "full.txt").c_str()), 0);
  ASSERT_EQ(Create(Sequential("full")), 0u);
  EXPECT_FALSE(logger->writeDest("sequential_files", std::string("disk is full\n\0hidden", 20), 0, 0));
  // The destination stays in the table and enabled, and fails again.
  EXPECT_TRUE(logger->getDest("sequential_files")->IsEnabled());
  EXPECT_FALSE(logger->writeDest("sequential_files", "again", 0, 0));
  EXPECT_EQ(CallbackTexts(), (std::vector<std::string>{"disk is full\n", "again"}));
  EXPECT_EQ(Emergency().rfind("Failed to WRITETODEST : disk is full\n", 0), 0u);
  EXPECT_NE(Emergency().find("Failed to WRITETODEST : again\n"), std::string::npos);
}

TEST_F(LoggerTest, AShortWriteLeavesNoFragmentBeforeTheNextLine) {
  // The file may grow to 12 bytes: the second line gets 1 of its 4 in.
  ASSERT_EQ(Create(Sequential("small")), 0u);
  signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  rlimit small = old;
  small.rlim_cur = 12;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_FALSE(logger->writeDest("sequential_files", "0123456789\n", 0, 0));
  EXPECT_FALSE(logger->writeDest("sequential_files", "cut\n", 0, 0));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
  EXPECT_FALSE(logger->writeDest("sequential_files", "next\n", 0, 0));
  EXPECT_EQ(ReadFile(dir / "small.txt"), "0123456789\nnext\n");
  EXPECT_EQ(CallbackTexts(), std::vector<std::string>{"cut\n"});
}

TEST_F(LoggerTest, EmergencyFallsBackToStandardErrorWithoutDirectory) {
  Logger::Destroy();
  logger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", dir / "missing");
  logger->initLogger(init, nullptr);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Create(Sequential("x", "lost")), 0u);
  EXPECT_FALSE(logger->writeDest("lost", "nowhere\n", 0, 0));
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("Failed to WRITETODEST : nowhere\n"), std::string::npos) << err;
}

TEST(LoggerEmptyPath, EmergencyFileLiesInTheRootDirectory) {
  Logger::Destroy();
  Logger::GetInstance()->initLogger(Logger::InitParams(), nullptr);
  EXPECT_EQ(Logger::GetInstance()->GetEmergencyFileName().rfind("/OrbLogEmergencyFile.", 0), 0u);
  Logger::Destroy();
}

TEST_F(LoggerTest, ClientsOnSeveralThreadsShareTheTableAndADestination) {
  // Four clients write to one ring with no lock of their own while another
  // creates and removes destinations: the Logger guards both.
  ASSERT_EQ(Create(Cyclic("ring", 4, 500)), 0u);
  ASSERT_EQ(logger->openDest("cyclic_files"), 1u);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) logger->writeDest("cyclic_files", "line\n", 0, 0);
    });
  threads.emplace_back([&] {
    for (int i = 0; i < 200; ++i) {
      const std::string name = "other" + std::to_string(i % 3);
      Create(Sequential(name, name));
      logger->writeDest(name, "x\n", 0, 0);
      logger->removeDest(name);
    }
  });
  for (auto& t : threads) t.join();
  // Four whole files of 500 lines: rotation never lost count.
  size_t files = 0;
  for (const std::string& n : dir.names())
    if (n.rfind("ring.", 0) == 0) {
      EXPECT_EQ(ReadFile(dir / n).size(), 500u * 5) << n;
      ++files;
    }
  EXPECT_EQ(files, 4u);
  EXPECT_TRUE(CallbackTexts().empty());
}

TEST(LoggerLifeCycle, TwoClientsInitialiseAtOnceAndTheFirstWins) {
  Logger::Destroy();
  TempDir a, b;
  std::thread other([&] {
    Logger::InitParams init;
    init.InsertString("path", a.path());
    Logger::GetInstance()->initLogger(init, nullptr);
  });
  Logger::InitParams init;
  init.InsertString("path", b.path());
  Logger::GetInstance()->initLogger(init, nullptr);
  other.join();
  const std::string& path = Logger::GetInstance()->m_sLogPath;
  EXPECT_TRUE(path == a.path() || path == b.path()) << path;
  EXPECT_EQ(Logger::GetInstance()->GetEmergencyFileName().rfind(path + "/OrbLogEmergencyFile.", 0), 0u);
  Logger::Destroy();
}

TEST(LoggerLifeCycle, ExitLoggerAndInitLoggerRebuildTheSingletons) {
  init_logger();
  Logger::GetInstance();
  exit_logger();
  EXPECT_EQ(Logger::m_theObject.load(), nullptr);
  EXPECT_EQ(LoggerDestsFactory::m_theObject.load(), nullptr);
  // A new Logger brings the factory back at initLogger.
  TempDir dir;
  Logger::InitParams init;
  init.InsertString("path", dir.path());
  Logger::GetInstance()->initLogger(init, nullptr);
  LoggerParams p;
  p.InsertString("name", "again");
  p.InsertString("logical_name", "seq");
  p.InsertInt("mode", 0x84);
  EXPECT_EQ(Logger::GetInstance()->createDest(p), 0u);
  Logger::Destroy();
}
