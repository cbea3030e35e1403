#include <sys/stat.h>
#include <unistd.h>

#include "logger/logger_fixture.h"

using namespace plinth_test;

namespace {
std::string Today() {
  const os_date d = os_date::today();
  char buf[32];
  std::snprintf(buf, sizeof buf, "%d%02d%02d", d.year(), d.month(), d.day());
  return buf;
}

std::string RingName(const std::string& base, const std::string& date, int n) {
  char buf[64];
  std::snprintf(buf, sizeof buf, ".%s.#%04d.txt", date.c_str(), n);
  return base + buf;
}
}  // namespace

TEST_F(LoggerTest, RingRotatesAndKeepsFileNumFiles) {
  ASSERT_EQ(Create(Cyclic("ring", 3, 2)), 0u);
  ASSERT_EQ(logger->openDest("cyclic_files"), 1u);
  for (int i = 1; i <= 9; ++i) ASSERT_FALSE(logger->writeDest("cyclic_files", std::to_string(i) + "\n", 0, 0));
  const std::string d = Today();
  // Five files were written (2+2+2+2+1); the ring keeps the newest three.
  EXPECT_EQ(dir.names(), (std::vector<std::string>{RingName("ring", d, 3), RingName("ring", d, 4),
                                                    RingName("ring", d, 5)}));
  EXPECT_EQ(ReadFile(dir / RingName("ring", d, 3)), "5\n6\n");
  EXPECT_EQ(ReadFile(dir / RingName("ring", d, 5)), "9\n");
  EXPECT_EQ(CyclicDest()->m_vFileList.front(), dir / RingName("ring", d, 3));
}

TEST_F(LoggerTest, RingEdgeSizes) {
  // message_num 0 rotates before every write: each file holds one write.
  ASSERT_EQ(Create(Cyclic("zero", 10, 0, "zero")), 0u);
  logger->openDest("zero");
  for (int i = 0; i < 3; ++i) logger->writeDest("zero", "x\n", 0, 0);
  const std::string d = Today();
  EXPECT_EQ(ReadFile(dir / RingName("zero", d, 1)), "");
  for (int n = 2; n <= 4; ++n) EXPECT_EQ(ReadFile(dir / RingName("zero", d, n)), "x\n");

  // file_num 1: the only file goes at each rotation.
  ASSERT_EQ(Create(Cyclic("one", 1, 1, "one")), 0u);
  logger->openDest("one");
  for (int i = 0; i < 4; ++i) logger->writeDest("one", std::to_string(i) + "\n", 0, 0);
  std::vector<std::string> ones;
  for (const std::string& n : dir.names())
    if (n.rfind("one.", 0) == 0) ones.push_back(n);
  EXPECT_EQ(ones, std::vector<std::string>{RingName("one", d, 4)});
  EXPECT_EQ(ReadFile(dir / RingName("one", d, 4)), "3\n");
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
  EXPECT_FALSE(os_file_system::exists(dir / "svc.20261101.#0007.txt"));
  EXPECT_FALSE(os_file_system::exists(dir / "svc.20261102.#0008.txt"));
  for (const char* n : {"other.20261101.#0001.txt", "xsvc.20261101.#0001.txt", "svc.20261101.#0001.txt.bak"})
    EXPECT_TRUE(os_file_system::exists(dir / n)) << n;
  ring->Open();
  EXPECT_TRUE(os_file_system::exists(dir / RingName("svc", Today(), 11)));
}

TEST_F(LoggerTest, RingWithFewerFilesCountsTheCurrentOne) {
  WriteFile(dir / "svc.20261101.#0042.txt", "old\n");
  ASSERT_EQ(Create(Cyclic("svc", 5, 100)), 0u);
  EXPECT_EQ(CyclicDest()->m_nFileCount, 2);
  EXPECT_EQ(CyclicDest()->m_nSequence, 43);
}

TEST_F(LoggerTest, SequenceWrapsAfter9999AndDateChangesAtRotation) {
  WriteFile(dir / "svc.20261101.#9998.txt", "old\n");
  ASSERT_EQ(Create(Cyclic("svc", 5, 1)), 0u);
  LoggerCyclicDest* ring = CyclicDest();
  EXPECT_EQ(ring->m_nSequence, 9999);
  logger->openDest("cyclic_files");
  const std::string day1 = Today();
  logger->writeDest("cyclic_files", "a\n", 0, 0);
  os_clock::advance_seconds(86400);
  const std::string day2 = Today();
  ASSERT_NE(day1, day2);
  logger->writeDest("cyclic_files", "b\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / RingName("svc", day1, 9999)), "a\n");
  // The new date is in the name; the numbering goes on, wrapping to 1.
  EXPECT_EQ(ReadFile(dir / RingName("svc", day2, 1)), "b\n");
}

TEST_F(LoggerTest, OpenTwiceListsTheCurrentFileTwice) {
  ASSERT_EQ(Create(Cyclic("svc", 2, 1)), 0u);
  logger->openDest("cyclic_files");
  logger->openDest("cyclic_files");
  LoggerCyclicDest* ring = CyclicDest();
  ASSERT_EQ(ring->m_vFileList.size(), 2u);
  EXPECT_EQ(ring->m_vFileList[0], ring->m_vFileList[1]);
  for (int i = 0; i < 3; ++i) logger->writeDest("cyclic_files", "x\n", 0, 0);
  // The duplicate name costs one removal that finds nothing left to remove.
  const std::string d = Today();
  EXPECT_EQ(dir.names(), (std::vector<std::string>{RingName("svc", d, 2), RingName("svc", d, 3)}));
}

TEST_F(LoggerTest, WriteBeforeOpenIsRefused) {
  ASSERT_EQ(Create(Cyclic("svc", 2, 10)), 0u);
  EXPECT_FALSE(logger->getDest("cyclic_files")->Write("x\n", 0, 0));
  EXPECT_TRUE(dir.names().empty());
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
  WriteFile(oldest, "");
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
  std::string current;
  CyclicDest("first")->GetFileName(current);
  EXPECT_TRUE(os_file_system::exists(current));
  logger->writeDest("first", "still here\n", 0, 0);
  EXPECT_EQ(ReadFile(current), "kept\nstill here\n");
}

TEST_F(LoggerTest, FailedOpenDisablesForNineHundredSeconds) {
  LoggerParams p = Cyclic("svc", 3, 10);
  ASSERT_EQ(logger->createDest(p), 0u);
  LoggerCyclicDest* ring = CyclicDest();
  // Point the ring at a directory that disappears after creation.
  const std::string sub = dir / "sub";
  ASSERT_EQ(mkdir(sub.c_str(), 0755), 0);
  ring->m_sPath = sub;
  rmdir(sub.c_str());
  EXPECT_EQ(ring->Open(), 0u);
  EXPECT_FALSE(ring->IsEnabled());
  ASSERT_EQ(mkdir(sub.c_str(), 0755), 0);
  os_clock::advance_seconds(600);
  EXPECT_FALSE(logger->writeDest("cyclic_files", "too early\n", 0, 0));
  EXPECT_TRUE(TempDir::ListNames(sub).empty());
  os_clock::advance_seconds(300);
  EXPECT_FALSE(logger->writeDest("cyclic_files", "back\n", 0, 0));
  EXPECT_TRUE(ring->IsEnabled());
  std::string name;
  ring->GetFileName(name);
  EXPECT_EQ(ReadFile(name), "back\n");
  EXPECT_EQ(CallbackTexts(), std::vector<std::string>{"too early\n"});
}

TEST_F(LoggerTest, SequentialFailuresAndRecovery) {
  // A path through a regular file can never be opened.
  WriteFile(dir / "plain", "x");
  LoggerParams p = Sequential("app");
  p.InsertString("path", dir / "plain");
  ASSERT_EQ(logger->createDest(p), 0u);
  EXPECT_FALSE(logger->writeDest("sequential_files", "first\n", 0, 0));
  EXPECT_FALSE(logger->getDest("sequential_files")->IsEnabled());
  EXPECT_EQ(CallbackTexts().size(), 1u);
  EXPECT_NE(Emergency().find("Failed to WRITETODEST : first\n"), std::string::npos);

  // A missing directory that appears: quiet until 900 s after the last failure.
  LoggerParams q = Sequential("late", "late");
  q.InsertString("path", dir / "later");
  ASSERT_EQ(logger->createDest(q), 0u);
  EXPECT_FALSE(logger->writeDest("late", "lost\n", 0, 0));
  ASSERT_EQ(mkdir((dir / "later").c_str(), 0755), 0);
  os_clock::advance_seconds(899);
  logger->writeDest("late", "still quiet\n", 0, 0);
  EXPECT_FALSE(logger->getDest("late")->IsEnabled());
  os_clock::advance_seconds(1);
  logger->writeDest("late", "written\n", 0, 0);
  EXPECT_TRUE(logger->getDest("late")->IsEnabled());
  EXPECT_EQ(ReadFile(dir / "later/late.txt"), "written\n");
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
  LoggerParams p = Sequential("app");
  p.InsertPointer("app_info_cb", reinterpret_cast<void*>(+banner));
  p.InsertPointer("app_info_userdata", &bannerText);
  ASSERT_EQ(logger->createDest(p), 0u);
  logger->writeDest("sequential_files", "a\n", 0, 0);
  logger->closeDest("sequential_files");
  logger->writeDest("sequential_files", "b\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / "app.txt"), "------ app 1.0 ------\na\n------ app 1.0 ------\nb\n");

  // An empty banner writes nothing; half of the pair gives no banner at all.
  bannerText.clear();
  LoggerParams q = Sequential("quiet", "quiet");
  q.InsertPointer("app_info_cb", reinterpret_cast<void*>(+banner));
  q.InsertPointer("app_info_userdata", &bannerText);
  LoggerParams r = Sequential("half", "half");
  r.InsertPointer("app_info_cb", reinterpret_cast<void*>(+banner));
  ASSERT_EQ(logger->createDest(q), 0u);
  ASSERT_EQ(logger->createDest(r), 0u);
  logger->writeDest("quiet", "q\n", 0, 0);
  logger->writeDest("half", "h\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / "quiet.txt"), "q\n");
  EXPECT_EQ(ReadFile(dir / "half.txt"), "h\n");
}

TEST_F(LoggerTest, DisabledRingResumesIntoItsOpenFile) {
  ASSERT_EQ(Create(Cyclic("svc", 2, 10)), 0u);
  logger->openDest("cyclic_files");
  logger->writeDest("cyclic_files", "1\n", 0, 0);
  logger->disableDest("cyclic_files");
  logger->writeDest("cyclic_files", "2\n", 0, 0);
  std::string name;
  CyclicDest()->GetFileName(name);
  EXPECT_EQ(ReadFile(name), "1\n2\n");
}

TEST_F(LoggerTest, CleanUpRemovesOldFilesOfEarlierRunsOnly) {
  const std::string pid = std::to_string(getpid());
  LoggerParams p = Sequential("diag_" + pid);
  ASSERT_EQ(logger->createDest(p), 0u);
  logger->writeDest("sequential_files", "live\n", 0, 0);
  WriteFile(dir / "diag_1234.txt", "old run\n");
  WriteFile(dir / "diag_99.TXT", "older run\n");
  WriteFile(dir / "diag_5.txt", "recent run\n");
  WriteFile(dir / "diag_1234.log", "not ours\n");
  WriteFile(dir / "other.txt", "not ours\n");
  AgeFile(dir / "diag_1234.txt", 3 * 86400);
  AgeFile(dir / "diag_99.TXT", 10 * 86400);
  AgeFile(dir / "diag_1234.log", 10 * 86400);
  AgeFile(dir / "other.txt", 10 * 86400);
  AgeFile(dir / ("diag_" + pid + ".txt"), 10 * 86400);

  EXPECT_EQ(logger->cleanupAllDests(2), 1u);
  EXPECT_FALSE(os_file_system::exists(dir / "diag_1234.txt"));
  EXPECT_FALSE(os_file_system::exists(dir / "diag_99.TXT"));
  EXPECT_TRUE(os_file_system::exists(dir / "diag_5.txt"));
  EXPECT_TRUE(os_file_system::exists(dir / "diag_1234.log"));
  EXPECT_TRUE(os_file_system::exists(dir / "other.txt"));
  // The file this process writes is never removed, however old it looks.
  EXPECT_TRUE(os_file_system::exists(dir / ("diag_" + pid + ".txt")));

  // Ages follow the platform clock; CleanUp(0) takes every match of any age.
  os_clock::advance_seconds(5 * 86400);
  WriteFile(dir / "diag_6.txt", "new\n");
  EXPECT_EQ(logger->cleanupAllDests(0), 1u);
  EXPECT_FALSE(os_file_system::exists(dir / "diag_5.txt"));
  EXPECT_FALSE(os_file_system::exists(dir / "diag_6.txt"));
  logger->writeDest("sequential_files", "still live\n", 0, 0);
  EXPECT_EQ(ReadFile(dir / ("diag_" + pid + ".txt")), "live\nstill live\n");
}

TEST_F(LoggerTest, CleanUpFailures) {
  ASSERT_EQ(Create(Sequential("svc")), 0u);
  // A matching name that cannot be removed ends the loop with 0.
  ASSERT_EQ(mkdir((dir / "svc_dir.txt").c_str(), 0755), 0);
  WriteFile(dir / "svc_dir.txt/x", "");
  EXPECT_EQ(logger->cleanupAllDests(0), 0u);
  // A directory that can't be listed: printed, and 0.
  auto* dest = dynamic_cast<LoggerFileDest*>(logger->getDest("sequential_files"));
  dest->m_sPath = dir / "gone";
  testing::internal::CaptureStderr();
  EXPECT_EQ(dest->CleanUp(0), 0u);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("gone"), std::string::npos);
}

TEST_F(LoggerTest, ScanFailureFailsCreation) {
  LoggerParams p = Cyclic("svc", 3, 10);
  p.InsertString("path", dir / "missing");
  testing::internal::CaptureStderr();
  EXPECT_EQ(logger->createDest(p), 1u);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("missing"), std::string::npos);
  EXPECT_EQ(Emergency(), "Failed to CREATEDEST : cyclic_files\n");
}

namespace {
class TestBaseDest : public LoggerBaseDest {
public:
  bool Open() override {
    SetOutPutFile(std::fopen(m_sDestPath.c_str(), "w"));
    return GetOutPutFile() != nullptr;
  }
  bool Close() override {
    CloseOutPutFile();
    return true;
  }
  bool Write(const std::string& t) override { return std::fputs(t.c_str(), GetOutPutFile()) >= 0; }
  bool Flush() override { return FlushOutPutFile() == 0; }
  void GetFileName(std::string& out) override { out = m_sDestPath; }
  using LoggerBaseDest::SetDestPath;
};
}  // namespace

TEST(LoggerBaseDest, BufferingTimeOutAndCopies) {
  TestBaseDest dest;
  dest.SetBufferingParams(0, 100);
  EXPECT_EQ(dest.m_nBufferSize, 512u);
  dest.SetBufferingParams(_IONBF, 513);
  EXPECT_EQ(dest.m_nBufferSize, 513u);

  dest.DisableDest(60);
  dest.EnableDest();
  EXPECT_FALSE(dest.IsEnabled());
  os_clock::advance_seconds(60);
  dest.EnableDest();
  EXPECT_TRUE(dest.IsEnabled());
  os_clock::set_offset_us(0);

  TempDir dir;
  dest.SetDestPath(dir / "base.txt");
  ASSERT_TRUE(dest.Open());
  {
    // A copy never closes the original's stream.
    TestBaseDest copy(dest);
    EXPECT_EQ(copy.GetDestPath(), dest.GetDestPath());
  }
  EXPECT_TRUE(dest.Write("still open\n"));
  EXPECT_TRUE(dest.Close());
  EXPECT_EQ(ReadFile(dir / "base.txt"), "still open\n");
}
