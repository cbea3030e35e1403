// The viewer records as bytes on real sockets: registration to the first
// window, lines to the second, and a window forgotten at its first failed
// send.
#include "spy_fixture.h"

using namespace plinth_test;

PLINTH_DIAG_FILE();

namespace {
Bytes TimeBytes(const Bytes& record) { return Bytes(record.end() - 16, record.end()); }
Bytes WithoutTime(const Bytes& record) { return Bytes(record.begin(), record.end() - 16); }
Bytes LineRecord(int32_t context, const char* file, unsigned level, const char* function, const std::string& text) {
  return Cat({Le(0), Le(static_cast<uint32_t>(getpid())), Le(static_cast<uint32_t>(context)), Str(file), Le(level),
              Str(function), Le(os_this_thread::id()), Str(text)});
}
}  // namespace

TEST_F(SpyTest, RegistrationGoesToTheFirstWindowAndLinesToTheSecond) {
  Bind(0);
  Bind(1);
  diag->AddContext("net", 4);
  diag->AddContext("db", 1);
  diag->AddContext("again", 4);  // an id keeps its first name
  SetClockUtc(2026, 11, 18, 12, 54, 49, 0);
  Init();

  EXPECT_EQ(Take(0), Cat({Head(1), Le(7), Bytes{'g', 'e', 'n', 'e', 'r', 'a', 'l', 0}, Le(1)}));
  Bytes files = Cat({Head(2), Le(static_cast<uint32_t>(diag->m_mFiles.size()))});
  for (const auto& entry : diag->m_mFiles) files = Cat({files, Str(entry.first)});
  EXPECT_EQ(Take(0), files);
  EXPECT_EQ(Take(0), Cat({Head(3), Le(2), Le(1), Str("db"), Le(4), Str("net")}));
  EXPECT_TRUE(Take(0, 50).empty());

  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 3);
  PLINTH_DIAG_AT("Fn", 3, "hello");
  PLINTH_DIAG_AT("Fn", 3, "");
  const Bytes line = Take(1);
  ASSERT_GT(line.size(), 16u);
  EXPECT_EQ(WithoutTime(line), LineRecord(-1, __FILE__, 3, "Fn", "hello"));
  // 2026-11-18 is a Wednesday (3); the milliseconds are what has passed.
  const Bytes time = TimeBytes(line);
  EXPECT_EQ(Bytes(time.begin(), time.begin() + 14), (Bytes{0xEA, 0x07, 11, 0, 3, 0, 18, 0, 12, 0, 54, 0, 49, 0}));
  EXPECT_EQ(WithoutTime(Take(1)), LineRecord(-1, __FILE__, 3, "Fn", ""));
  EXPECT_TRUE(Take(0, 50).empty());
}

TEST_F(SpyTest, ABufferOnlyLineIsSentWithItsContext) {
  Bind(1);
  Init();
  EXPECT_TRUE(Take(1, 50).empty());  // no registration without "OCData"
  diag->PrintMsg("to the buffer", "/a/B.cpp", "Fb", 5, 6, false, true);
  EXPECT_EQ(WithoutTime(Take(1)), LineRecord(6, "/a/B.cpp", 5, "Fb", "to the buffer"));
}

TEST_F(SpyTest, WithoutTheSecondWindowNoLineIsSent) {
  Bind(0);
  Init();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(Take(0).empty());
  EXPECT_EQ(diag->m_hSpyWindow, nullptr);
  diag->PrintMsg("nobody hears", __FILE__, "F", 2, -1, true, false);
  EXPECT_TRUE(Take(0, 50).empty());
}

TEST_F(SpyTest, AGoneViewerIsForgottenUntilTheDiagnosticsAreTurnedOnAgain) {
  Bind(1);
  Init();
  Unbind(1);
  diag->PrintMsg("lost", __FILE__, "F", 2, -1, true, false);
  EXPECT_EQ(diag->m_hSpyWindow, nullptr);
  Bind(1);
  diag->PrintMsg("not looked for", __FILE__, "F", 2, -1, true, false);
  EXPECT_TRUE(Take(1, 50).empty());
  diag->SetDiagEnabled(true);  // already on: the windows are looked for again
  diag->PrintMsg("found", __FILE__, "F", 2, -1, true, false);
  EXPECT_EQ(WithoutTime(Take(1)), LineRecord(-1, __FILE__, 2, "F", "found"));
}

TEST_F(SpyTest, AViewerThatDoesNotReadIsDroppedWithoutBlockingTheWriter) {
  Bind(1);
  Init();
  for (int i = 0; i < 1000 && diag->m_hSpyWindow; ++i) diag->PrintMsg("flood", __FILE__, "F", 2, -1, true, false);
  EXPECT_EQ(diag->m_hSpyWindow, nullptr);
  // The file still got every line.
  EXPECT_GE(Lines().size(), 10u);
}

TEST_F(SpyTest, ADirectoryOpenToOthersOrALinkIsNotSentInto) {
  Bind(1);
  ASSERT_EQ(chmod(spyDir.c_str(), 0755), 0);
  Init();
  EXPECT_EQ(diag->m_hSpyWindow, nullptr);
  ASSERT_EQ(chmod(spyDir.c_str(), 0700), 0);
  ASSERT_EQ(rename(spyDir.c_str(), (runtime / "real").c_str()), 0);
  ASSERT_EQ(symlink((runtime / "real").c_str(), spyDir.c_str()), 0);
  diag->SetDiagEnabled(true);
  EXPECT_EQ(diag->m_hSpyWindow, nullptr);
  ASSERT_EQ(unlink(spyDir.c_str()), 0);
  ASSERT_EQ(rename((runtime / "real").c_str(), spyDir.c_str()), 0);
  diag->SetDiagEnabled(true);
  EXPECT_NE(diag->m_hSpyWindow, nullptr);
}
