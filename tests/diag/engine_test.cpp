// The engine's life cycle, registration, level decision and the lines of its
// print path.
#include <gmock/gmock.h>

#include <cstring>
#include <regex>
#include <thread>

#include "diag_fixture.h"

using namespace plinth_test;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

PLINTH_DIAG_FILE();

namespace {
int g_evaluated = 0;
int Evaluated() { return ++g_evaluated; }

void PrintFromScope(unsigned level, const std::string& text) {
  PLINTH_DIAG_FUNC("PrintFromScope");
  PLINTH_DIAG(level, text);
}
}  // namespace

TEST_F(DiagTest, BeforeInitializeNothingPrintsAndAfterDestroyInstanceThrows) {
  EXPECT_FALSE(TDiag::IsInitialized());
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 7);
  PrintFromScope(1, "never");
  PLINTH_DIAG_AT("Test", 1, "never " << Evaluated());
  EXPECT_EQ(g_evaluated, 0);
  EXPECT_EQ(diag->FlushDiagLog(), 1);
  EXPECT_TRUE(dir.names().empty());

  EXPECT_TRUE(TDiag::IsAlive());
  exit_diag();
  EXPECT_FALSE(TDiag::IsAlive());
  try {
    TDiag::Instance();
    FAIL() << "Instance after Destroy returned";
  } catch (const char* text) {
    EXPECT_STREQ(text, "what are you doing man, don't call me after Destroy!!!");
  }
  TDiagFunc scope(__FILE__, &plinth_diag_levels_, "AfterDestroy");  // does nothing
  EXPECT_EQ(scope.m_pTlsObj, nullptr);
}

TEST_F(DiagTest, RegistrationKeepsTheFirstOfANormalisedName) {
  static DbgLevels first, second{5, 5}, late;
  diag->SetMinimumDebugLevel(2);
  diag->Register("/src/Twice.cpp", &first);
  diag->Register("C:\\other\\TWICE.h", &second);
  EXPECT_EQ(diag->m_mFiles.at("twice"), &first);
  EXPECT_EQ(first.m_nDebugLevel, 2u);
  EXPECT_EQ(second.m_nDebugLevel, 5u);  // never touched
  Init();
  diag->SetMinimumDebugLevel(3);
  diag->Register("late.cpp", &late);
  EXPECT_EQ(late.m_nDebugLevel, 3u);
  EXPECT_EQ(late.m_nBufferLevel, 0u);
}

TEST_F(DiagTest, MinimumRaisesFilesUnlessIgnored) {
  Init();
  DbgLevels file{1, 0};
  bool toLog = false, toBuffer = true;
  diag->SetMinimumDebugLevel(3);
  EXPECT_TRUE(TDiag::TestLevels(file, 3, toLog, toBuffer));
  EXPECT_TRUE(toLog);
  EXPECT_FALSE(toBuffer);
  EXPECT_FALSE(TDiag::TestLevels(file, 4, toLog, toBuffer));
  diag->UseFixedFileLevel(true);
  EXPECT_FALSE(TDiag::TestLevels(file, 3, toLog, toBuffer));
  EXPECT_TRUE(TDiag::TestLevels(file, 1, toLog, toBuffer));
  diag->SetDiagEnabled(false);
  EXPECT_FALSE(TDiag::TestLevels(file, 1, toLog, toBuffer));
}

TEST_F(DiagTest, LinesOfTheMainThreadOfOthersAndOfScopes) {
  Init();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 4);
  SetClockUtc(2026, 11, 18, 12, 54, 49, 100);
  PLINTH_DIAG_AT("Main::Run", 4, "value " << 42);
  PLINTH_DIAG_AT("Main::Run", 5, "too fine " << Evaluated());
  std::string worker;
  std::thread([&] {
    worker = Tid();
    PrintFromScope(3, "from a worker");  // its "Enter" is level 6, finer than 4
  }).join();
  os_clock::advance_seconds(86400 + 1);  // the next day, a second later
  PLINTH_DIAG_AT("Main::Run", 4, "tomorrow");
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 7);
  PrintFromScope(2, "inside");
  EXPECT_EQ(g_evaluated, 0);

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_TRUE(std::regex_match(lines[0], std::regex("18/11/2026\t12:54:49\\.[0-9]{3}\t.*"))) << lines[0];
  EXPECT_EQ(lines[2].substr(0, 20), "19/11/2026\t12:54:50.");
  const std::string scope = "\tengine_test\tPrintFromScope\t";
  EXPECT_THAT(Bodies(), ElementsAre("\t[4]\tengine_test\tMain::Run\tvalue 42",
                                    "\t[3]\tengine_test\tPrintFromScope(thread " + worker + ")\tfrom a worker",
                                    "\t[4]\tengine_test\tMain::Run\ttomorrow", "\t[6]" + scope + "Enter",
                                    "\t[2]" + scope + "inside", "\t[7]" + scope + "Exit"));
}

TEST_F(DiagTest, LongTextsAreCutAtTheirLimits) {
  Init();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 7);
  const std::string text(2000, 'x');
  PLINTH_DIAG_AT("Cut", 1, text);
  DiagLocalData data{__FILE__, "Cut", 1, -1, true, false};
  diag->Printf(&data, "%s", text.c_str());
  diag->Printf(nullptr, "%s", "nothing");
  // PrintMsg's limit counts the line end: 44 bytes of stamp and fields, so a
  // text of 1,954 just fits, and one more byte cuts the line end away.
  diag->PrintMsg(text.substr(0, 1954), __FILE__, "Cut", 1, -1, true, false);
  diag->PrintMsg(text.substr(0, 1955), __FILE__, "Cut", 1, -1, true, false);
  // A function name that can't fit still leaves a whole line.
  const std::string longName(3000, 'f');
  data.m_pFunction = longName.c_str();
  diag->Printf(&data, "tail");

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 4u);
  const std::string prefix = "\t[1]\tengine_test\tCut\t";
  EXPECT_EQ(Body(lines[0]), prefix + std::string(TDiag::kMaxFlushText, 'x'));
  EXPECT_EQ(Body(lines[1]), prefix + std::string(TDiag::kPrintfBuffer - 1, 'x'));
  EXPECT_EQ(lines[2].size() + 1, TDiag::kMaxPrintMsgLine);
  // The cut line and the next share a line of the file.
  EXPECT_EQ(lines[3].size(), TDiag::kMaxPrintMsgLine + TDiag::kMaxPrintlnLine - 2);
  EXPECT_EQ(lines[3].substr(TDiag::kMaxPrintMsgLine - 2, 5), "xx" + lines[0].substr(0, 3));
}

TEST_F(DiagTest, PrintMsgNormalisesTheFileNameAndObeysToLog) {
  Init();
  diag->PrintMsg("a", "C:\\src\\Foo.Bar.cpp", "F", 3, -1, true, false);
  diag->PrintMsg("b", "/home/src.d/Baz.CXX", "G", 4, 5, true, true);
  diag->PrintMsg("c", "/a.b/c\\d/README", "H", 1, -1, true, false);
  diag->PrintMsg("d", "/x/y.cpp", "I", 1, -1, false, true);
  diag->Println(DiagLocalData{"/x/y.cpp", "I", 1, -1, false, true}, "e");
  EXPECT_THAT(Bodies(), ElementsAre("\t[3]\tfoo.bar\tF\ta", "\t[4]\tbaz\tG\tb", "\t[1]\treadme\tH\tc"));
}

TEST_F(DiagTest, DisablingClosesTheFileAndStopsLines) {
  Init();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 4);
  PLINTH_DIAG_AT("Toggle", 4, "one");
  diag->SetDiagEnabled(false);
  EXPECT_FALSE(os_log_files::is_held_open(DiagFile()));
  PLINTH_DIAG_AT("Toggle", 4, "unseen " << Evaluated());
  diag->SetDiagEnabled(true);
  diag->SetDiagEnabled(true);
  PLINTH_DIAG_AT("Toggle", 4, "two");
  diag->PrintDirectly("raw text\n");
  EXPECT_EQ(diag->FlushDiagLog(), 0);
  EXPECT_THAT(Bodies(), ElementsAre("\t[4]\tengine_test\tToggle\tone", "\t[4]\tengine_test\tToggle\ttwo", "raw text"));
  EXPECT_EQ(g_evaluated, 0);
}

TEST_F(DiagTest, FormatTimeNeedsRoomForTheWholeStamp) {
  SetClockUtc(2030, 1, 2, 3, 4, 5, 678);
  char small[23] = "untouched";
  TDiag::FormatTime(small, sizeof small);
  EXPECT_STREQ(small, "untouched");
  char stamp[40];
  _SYSTEMTIME time{};
  TDiag::FormatTime(stamp, sizeof stamp, time);
  EXPECT_EQ(std::string(stamp).substr(0, 20), "02/01/2030\t03:04:05.");
  EXPECT_EQ(std::strlen(stamp), 23u);
  EXPECT_EQ(time.wDayOfWeek, 3);  // a Wednesday
}

TEST_F(DiagTest, PoolKeepsObjectZeroForTheMainThread) {
  Init();
  FormatObj* const first = diag->m_vFormatPool[0];
  EXPECT_EQ(diag->GetFormatObj(), first);
  std::thread([&] { EXPECT_NE(diag->GetFormatObjFromPool(), first); }).join();
  // A thread's first scope gives it an object of its own.
  TDiagFunc scope(__FILE__, &plinth_diag_levels_, "Pool");
  ASSERT_NE(scope.m_pTlsObj, nullptr);
  EXPECT_NE(scope.m_pTlsObj->m_pFormatObj, first);
  EXPECT_EQ(diag->GetFormatObj(), scope.m_pTlsObj->m_pFormatObj);
  EXPECT_EQ(diag->GetFormatObjFromPool(), first);
  TDiag::GetObjectAndVerifyMainThread("/a/b.cpp", "Fn");
  EXPECT_STREQ(first->m_LocalData.m_pFunction, "Fn");
  // A further Initialize keeps the pool other threads may be using.
  diag->Initialize(dir.path(), "/etc", "second");
  EXPECT_EQ(diag->m_vFormatPool.size(), 40u);
  EXPECT_EQ(diag->m_vFormatPool[0], first);
}

TEST_F(DiagTest, TheBannerOpensTheFile) {
  static char argument[] = "host program 1.0";
  diag->SetAppInfoProvider([](void* arg) { return std::string(static_cast<const char*>(arg)); }, argument);
  Init();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 1);
  PLINTH_DIAG_AT("Banner", 1, "first");
  EXPECT_THAT(Lines(), ElementsAre("------ host program 1.0 ------", EndsWith("\t[1]\tengine_test\tBanner\tfirst")));
}

TEST_F(DiagTest, MissingLogDirectoryDropsLinesToStandardError) {
  diag->Initialize(dir / "missing", "", "");
  EXPECT_TRUE(TDiag::IsInitialized());
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 4);
  // The emergency file can't be made there either: the Logger reports to
  // standard error.
  testing::internal::CaptureStderr();
  PLINTH_DIAG_AT("Lost", 4, "nowhere");
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_THAT(err, HasSubstr("Failed to WRITETODEST : "));
  EXPECT_THAT(err, HasSubstr("nowhere"));
  EXPECT_FALSE(os_file_system::exists(dir / "missing"));
}

TEST_F(DiagTest, ADestinationThatCantBeCreatedLeavesTheEngineRunning) {
  diag->SetCyclic(true);
  testing::internal::CaptureStderr();
  diag->Initialize(dir / "missing", "", "");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Failed to CREATEDEST : cyclic_files"));
  EXPECT_TRUE(TDiag::IsInitialized());
  EXPECT_EQ(Logger::GetInstance()->getDest("cyclic_files"), nullptr);
  EXPECT_EQ(diag->FlushDiagLog(), 1);
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 4);
  PLINTH_DIAG_AT("Lost", 4, "nowhere");
  diag->SetDiagEnabled(false);
  diag->SetDiagEnabled(true);
  EXPECT_TRUE(diag->GetDiagEnabled());
}
