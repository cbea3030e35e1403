#include <sys/stat.h>
#include <unistd.h>

#include "logger/logger_fixture.h"

using namespace plinth_test;

namespace {
std::string RingName(const std::string& base, int n, const os_date& d = os_date::today()) {
  char buf[64];
  std::snprintf(buf, sizeof buf, ".%d%02d%02d.#%04d.txt", d.year(), d.month(), d.day(), n);
  return base + buf;
}
}  // namespace

TEST_F(LoggerTest, RingRotatesAndKeepsFileNumFiles) {
  ASSERT_EQ(Create(Cyclic("ring", 3, 2)), 0u);
  ASSERT_EQ(logger->openDest("cyclic_files"), 1u);
  for (int i = 1; i <= 9; ++i) ASSERT_FALSE(logger->writeDest("cyclic_files", std::to_string(i) + "\n", 0, 0));
  // Five files were written (2+2+2+2+1); the ring keeps the newest three.
  EXPECT_EQ(dir.names(), (std::vector<std::string>{RingName("ring", 3), RingName("ring", 4), RingName("ring", 5)}));
  EXPECT_EQ(ReadFile(dir / RingName("ring", 3)), "5\n6\n");
  EXPECT_EQ(ReadFile(dir / RingName("ring", 5)), "9\n");
}

TEST_F(LoggerTest, RingEdgeSizes) {
  // message_num 0 rotates before every write: each file holds one write.
  ASSERT_EQ(Create(Cyclic("zero", 10, 0, "zero")), 0u);
  logger->openDest("zero");
  for (int i = 0; i < 2; ++i) logger->writeDest("zero", "x\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / RingName("zero", 1)) + "|" + ReadFile(dir / RingName("zero", 3)), "|x\n");
  // file_num 1: the only file goes at each rotation.
  ASSERT_EQ(Create(Cyclic("one", 1, 1, "one")), 0u);
  logger->openDest("one");
  for (int i = 0; i < 4; ++i) logger->writeDest("one", std::to_string(i) + "\n", 0, 0);
  EXPECT_FALSE(os_file_system::exists(dir / RingName("one", 3)));
  EXPECT_EQ(ReadFile(dir / RingName("one", 4)), "3\n");
}

TEST_F(LoggerTest, RingContinuesAfterRestartAndRemovesTheOldest) {
  // Four old files, another base name and a name the pattern doesn't cover.
  for (const char* n : {"svc.20261101.#0007.txt", "svc.20261102.#0008.txt", "svc.20261102.#0009.txt",
                        "svc.20261103.#0010.txt", "other.20261101.#0001.txt", "xsvc.20261101.#0001.txt",
                        "svc.20261101.#0001.txt.bak"})
    WriteFile(dir / n, "old\n");
  ASSERT_EQ(Create(Cyclic("svc", 3, 100)), 0u);
  LoggerCyclicDest* ring = CyclicDest();
  EXPECT_EQ(ring->m_nSequence, 11);
  EXPECT_EQ(ring->m_nFileCount, 3);
  EXPECT_EQ(ring->m_vFileList, (std::vector<std::string>{dir / "svc.20261102.#0009.txt", dir / "svc.20261103.#0010.txt"}));
  EXPECT_EQ(dir.names(), (std::vector<std::string>{"other.20261101.#0001.txt", "svc.20261101.#0001.txt.bak",
                                                    "svc.20261102.#0009.txt", "svc.20261103.#0010.txt",
                                                    "xsvc.20261101.#0001.txt"}));
  ring->Open();
  EXPECT_TRUE(os_file_system::exists(dir / RingName("svc", 11)));
  // With fewer files than file_num, the count includes the current one.
  WriteFile(dir / "few.20261101.#0042.txt", "old\n");
  ASSERT_EQ(Create(Cyclic("few", 5, 100, "few")), 0u);
  EXPECT_EQ(CyclicDest("few")->m_nFileCount, 2);
  EXPECT_EQ(CyclicDest("few")->m_nSequence, 43);
}

TEST_F(LoggerTest, SequenceWrapsAfter9999AndDateChangesAtRotation) {
  WriteFile(dir / "svc.20261101.#9998.txt", "old\n");
  ASSERT_EQ(Create(Cyclic("svc", 5, 1)), 0u);
  logger->openDest("cyclic_files");
  const os_date day1 = os_date::today();
  logger->writeDest("cyclic_files", "a\n", 0, 0);
  os_clock::advance_seconds(86400);
  logger->writeDest("cyclic_files", "b\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / RingName("svc", 9999, day1)), "a\n");
  // The new date is in the name; the numbering goes on, wrapping to 1.
  ASSERT_NE(RingName("svc", 1), RingName("svc", 1, day1));
  EXPECT_EQ(ReadFile(dir / RingName("svc", 1)), "b\n");
}

TEST_F(LoggerTest, OpenTwiceListsTheCurrentFileTwice) {
  ASSERT_EQ(Create(Cyclic("svc", 2, 1)), 0u);
  logger->openDest("cyclic_files");
  logger->openDest("cyclic_files");
  EXPECT_EQ(CyclicDest()->m_vFileList, std::vector<std::string>(2, dir / RingName("svc", 1)));
  for (int i = 0; i < 3; ++i) logger->writeDest("cyclic_files", "x\n", 0, 0);
  // The duplicate name costs one removal that finds nothing left to remove.
  EXPECT_EQ(dir.names(), (std::vector<std::string>{RingName("svc", 2), RingName("svc", 3)}));
}

TEST_F(LoggerTest, UnremovableRingFileStaysListedAndRotationGoesOn) {
  ASSERT_EQ(Create(Cyclic("svc", 2, 1)), 0u);
  LoggerCyclicDest* ring = CyclicDest();
  ring->Open();
  ring->Write("1\n", 0, 0);
  ring->Write("2\n", 0, 0);
  // Replace the oldest file by a non-empty directory: unlink fails.
  const std::string oldest = ring->m_vFileList.front();
  ASSERT_EQ(unlink(oldest.c_str()), 0);
  ASSERT_EQ(mkdir(oldest.c_str(), 0755), 0);
  WriteFile(oldest + "/keep", "k");
  testing::internal::CaptureStderr();
  EXPECT_TRUE(ring->Write("3\n", 0, 0));
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("Exception's code = "), std::string::npos) << err;
  EXPECT_NE(err.find("Description = "), std::string::npos) << err;
  EXPECT_EQ(ring->m_vFileList.front(), oldest);
  // Once removable, the next rotation takes it.
  TempDir::RemoveTree(oldest);
  EXPECT_TRUE(ring->Write("4\n", 0, 0));
  EXPECT_NE(ring->m_vFileList.front(), oldest);
}

TEST_F(LoggerTest, RingFileHeldOpenByAnotherDestinationIsNotRemoved) {
  // Two rings of one base name in one directory: the second's scan must not
  // unlink the file the first is writing.
  ASSERT_EQ(Create(Cyclic("svc", 2, 100, "first")), 0u);
  logger->openDest("first");
  logger->writeDest("first", "kept\n", 0, 0);
  WriteFile(dir / "svc.20200101.#0001.txt", "older\n");
  testing::internal::CaptureStderr();
  ASSERT_EQ(Create(Cyclic("svc", 1, 100, "second")), 0u);
  testing::internal::GetCapturedStderr();
  logger->writeDest("first", "still here\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / RingName("svc", 1)), "kept\nstill here\n");
}

TEST_F(LoggerTest, FailedOpenDisablesForNineHundredSeconds) {
  // A ring whose directory disappears after creation.
  ASSERT_EQ(mkdir((dir / "sub").c_str(), 0755), 0);
  LoggerParams p = Cyclic("svc", 3, 10);
  p.InsertString("path", dir / "sub");
  ASSERT_EQ(logger->createDest(p), 0u);
  rmdir((dir / "sub").c_str());
  EXPECT_EQ(CyclicDest()->Open(), 0u);
  EXPECT_FALSE(CyclicDest()->IsEnabled());
  ASSERT_EQ(mkdir((dir / "sub").c_str(), 0755), 0);
  os_clock::advance_seconds(899);
  logger->writeDest("cyclic_files", "too early\n", 0, 0);
  os_clock::advance_seconds(1);
  EXPECT_FALSE(logger->writeDest("cyclic_files", "back\n", 0, 0));
  EXPECT_EQ(ReadFile(dir / ("sub/" + RingName("svc", 1))), "back\n");
  EXPECT_EQ(CallbackTexts(), std::vector<std::string>{"too early\n"});
}

TEST_F(LoggerTest, SequentialFailuresAndRecovery) {
  // A path through a regular file can never be opened.
  WriteFile(dir / "plain", "x");
  LoggerParams p = Sequential("app");
  p.InsertString("path", dir / "plain");
  ASSERT_EQ(logger->createDest(p), 0u);
  logger->writeDest("sequential_files", "first\n", 0, 0);
  EXPECT_FALSE(logger->getDest("sequential_files")->IsEnabled());
  // A missing directory that appears: quiet until 900 s after the last failure.
  LoggerParams q = Sequential("late", "late");
  q.InsertString("path", dir / "later");
  ASSERT_EQ(logger->createDest(q), 0u);
  logger->writeDest("late", "lost\n", 0, 0);
  ASSERT_EQ(mkdir((dir / "later").c_str(), 0755), 0);
  os_clock::advance_seconds(899);
  logger->writeDest("late", "still quiet\n", 0, 0);
  os_clock::advance_seconds(1);
  EXPECT_FALSE(logger->writeDest("late", "written\n", 0, 0));
  EXPECT_EQ(ReadFile(dir / "later/late.txt"), "written\n");
  EXPECT_EQ(CallbackTexts(), (std::vector<std::string>{"first\n", "lost\n", "still quiet\n"}));
}

TEST_F(LoggerTest, DisableWithoutTimeOutComesBackAtTheNextWrite) {
  ASSERT_EQ(Create(Sequential("app")), 0u);
  logger->writeDest("sequential_files", "one\n", 0, 0);
  logger->disableDest("sequential_files");
  EXPECT_FALSE(logger->getDest("sequential_files")->IsEnabled());
  logger->writeDest("sequential_files", "two\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / "app.txt"), "one\ntwo\n");
  // With a time-out of its own, the destination stays out until it passes;
  // a clock that went back does not bring it back.
  auto* dest = dynamic_cast<LoggerFileDest*>(logger->getDest("sequential_files"));
  dest->Disable(60);
  os_clock::advance_seconds(-30);
  EXPECT_FALSE(dest->Write("three\n", 0, 0));
  dest->Enable();
  EXPECT_FALSE(dest->IsEnabled());
  os_clock::advance_seconds(100);
  dest->Enable();
  EXPECT_TRUE(dest->IsEnabled());
}

TEST_F(LoggerTest, SequentialBannerAtEachOpening) {
  static std::string bannerText = "app 1.0";
  auto banner = [](void* data) { return *static_cast<std::string*>(data); };
  auto withBanner = [&](const std::string& name, bool userData) {
    LoggerParams p = Sequential(name, name);
    p.InsertPointer("app_info_cb", reinterpret_cast<void*>(+banner));
    if (userData) p.InsertPointer("app_info_userdata", &bannerText);
    EXPECT_EQ(logger->createDest(p), 0u);
  };
  withBanner("app", true);
  withBanner("half", false);  // half of the pair gives no banner at all
  logger->writeDest("app", "a\n", 0, 0);
  logger->closeDest("app");
  logger->writeDest("app", "b\n", 0, 0);
  logger->writeDest("half", "h\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / "app.txt"), "------ app 1.0 ------\na\n------ app 1.0 ------\nb\n");
  EXPECT_EQ(ReadFile(dir / "half.txt"), "h\n");
  // An empty banner writes nothing.
  bannerText.clear();
  withBanner("quiet", true);
  logger->writeDest("quiet", "q\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / "quiet.txt"), "q\n");
}

TEST_F(LoggerTest, CleanUpRemovesOldFilesOfEarlierRunsOnly) {
  const std::string own = "diag_" + std::to_string(getpid()) + ".txt";
  ASSERT_EQ(Create(Sequential("diag_" + std::to_string(getpid()))), 0u);
  logger->writeDest("sequential_files", "live\n", 0, 0);
  for (const char* n : {"diag_1234.txt", "diag_99.TXT", "diag_5.txt", "diag_1234.log", "other.txt"})
    WriteFile(dir / n, "x\n");
  for (const std::string& n : {std::string("diag_1234.txt"), std::string("diag_99.TXT"), std::string("diag_1234.log"),
                               std::string("other.txt"), own})
    AgeFile(dir / n, 3 * 86400);
  auto sorted = [](std::vector<std::string> v) { return std::sort(v.begin(), v.end()), v; };
  EXPECT_EQ(logger->cleanupAllDests(2), 1u);
  // The file this process writes is never removed, however old it looks.
  EXPECT_EQ(dir.names(), sorted({own, "diag_1234.log", "diag_5.txt", "other.txt"}));
  // Ages follow the platform clock; CleanUp(0) takes every match of any age.
  os_clock::advance_seconds(5 * 86400);
  WriteFile(dir / "diag_6.txt", "new\n");
  EXPECT_EQ(logger->cleanupAllDests(0), 1u);
  EXPECT_EQ(dir.names(), sorted({own, "diag_1234.log", "other.txt"}));
  logger->writeDest("sequential_files", "still live\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / own), "live\nstill live\n");
}

TEST_F(LoggerTest, CleanUpAndScanFailures) {
  ASSERT_EQ(Create(Sequential("svc")), 0u);
  // A matching name that cannot be removed ends the loop with 0.
  ASSERT_EQ(mkdir((dir / "svc_dir.txt").c_str(), 0755), 0);
  WriteFile(dir / "svc_dir.txt/x", "");
  EXPECT_EQ(logger->cleanupAllDests(0), 0u);
  // A directory that can't be listed: printed, and 0; a ring can't be created.
  auto* dest = dynamic_cast<LoggerFileDest*>(logger->getDest("sequential_files"));
  dest->m_sPath = dir / "gone";
  LoggerParams ring = Cyclic("svc", 3, 10);
  ring.InsertString("path", dir / "gone");
  testing::internal::CaptureStderr();
  EXPECT_EQ(dest->CleanUp(0), 0u);
  EXPECT_EQ(logger->createDest(ring), 1u);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("gone"), err.rfind("gone")) << err;  // once from each
  EXPECT_EQ(Emergency(), "Failed to CREATEDEST : cyclic_files\n");
}

namespace {
class TestBaseDest : public LoggerBaseDest {
public:
  bool Open() override {
    SetOutPutFile(std::fopen(m_sDestPath.c_str(), "w"));
    return GetOutPutFile() != nullptr;
  }
  bool Close() override { return CloseOutPutFile(), true; }
  bool Write(const std::string& t) override { return std::fputs(t.c_str(), GetOutPutFile()) >= 0; }
  bool Flush() override { return FlushOutPutFile() == 0; }
  void GetFileName(std::string& out) override { out = m_sDestPath; }
  using LoggerBaseDest::SetDestPath;
};
}  // namespace

TEST(LoggerBaseDest, ACopyNeverClosesTheOriginalsStream) {
  TempDir dir;
  TestBaseDest dest;
  dest.SetDestPath(dir / "base.txt");
  ASSERT_TRUE(dest.Open());
  { TestBaseDest copy(dest); }
  EXPECT_TRUE(dest.Write("still open\n"));
  EXPECT_TRUE(dest.Close());
  EXPECT_EQ(ReadFile(dir / "base.txt"), "still open\n");
}
