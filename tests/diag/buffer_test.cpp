// The memory buffer: sizes and states, the wrap-around, its files, and the
// engine's lines at the buffer's own level.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cstdio>
#include <fstream>
#include <regex>

#include "diag_fixture.h"

using namespace plinth_test;
using ::testing::ElementsAre;
using ::testing::EndsWith;

// A block that can't be had must come back as null, not end the process.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

PLINTH_DIAG_FILE();

namespace {
constexpr unsigned kSmallest = 20480;
constexpr unsigned kArea = kSmallest - DbgBuffer::kMarkerSize;

std::string TextArea(DbgBuffer& buffer) {
  const char* block = reinterpret_cast<const char*>(buffer.GetMemBuffer());
  return std::string(block + DbgBuffer::kHeadSize, buffer.GetSize() - DbgBuffer::kMarkerSize);
}

std::string PrintOf(DbgBuffer& buffer, const std::string& path) {
  unlink(path.c_str());
  EXPECT_EQ(buffer.Print(path.c_str()), 1);
  return ReadFile(path);
}

// Lines of varying length; the whole stream is kept to compare against.
void WriteLines(DbgBuffer& buffer, std::string& stream, int count, int seed) {
  for (int i = 0; i < count; ++i) {
    std::string line = "line " + std::to_string(seed + i) + " " + std::string((i * 37 + seed) % 300, 'a' + i % 26) + "\n";
    buffer.WriteMsg(line.data(), static_cast<unsigned>(line.size()));
    stream += line;
  }
}

// Leaves room for the process's present mappings and 512 MB more.
void LimitAddressSpace() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t bytes = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (512ull << 20);
  const struct rlimit limit{bytes, bytes};
  ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
}
}  // namespace

TEST(DbgBuffer, SizesStatesAndMarkers) {
  DbgBuffer buffer;
  EXPECT_EQ(buffer.Print("/tmp/never"), 13);
  EXPECT_EQ(buffer.Dump("/tmp/never"), 13);
  EXPECT_EQ(buffer.Destroy(), 13);
  const struct {
    bool enabled;
    unsigned kb, size;
  } sizes[] = {{true, 0, 1024000}, {false, 100, 0}, {true, 5, kSmallest}, {true, 20, kSmallest}};
  for (const auto& s : sizes) {
    EXPECT_EQ(buffer.Initialize(s.enabled, s.kb), 1);
    EXPECT_EQ(buffer.GetSize(), s.size) << s.kb;
    EXPECT_EQ(buffer.Create(), 13) << s.kb;  // live already, or of no size
  }
  const char* block = reinterpret_cast<const char*>(buffer.GetMemBuffer());
  EXPECT_EQ(std::string(block, 18), std::string("ZLT_BUFFER_\0BEGIN\0", 18));
  EXPECT_EQ(std::string(block + kSmallest - 16, 16), std::string("ZLT_BUFFER_\0END\0", 16));

  buffer.WriteMsg("lost on resize", 14);
  EXPECT_EQ(buffer.ResetSize(30), 1);
  EXPECT_EQ(buffer.GetSize(), 30u * 1024);
  EXPECT_TRUE(TextArea(buffer) == std::string(30 * 1024 - 34, '\0'));
  EXPECT_EQ(buffer.Destroy(), 1);
  EXPECT_EQ(buffer.GetMemBuffer(), nullptr);
  EXPECT_EQ(buffer.ResetSize(40), 1);  // only stored
  EXPECT_FALSE(buffer.IsEnabled());
  EXPECT_EQ(buffer.Create(), 1);
  EXPECT_EQ(buffer.GetSize(), 40u * 1024);
  EXPECT_EQ(DbgBuffer::SizeInBytes(~0u), (~0u / 1024) * 1024);
}

TEST(DbgBuffer, WrapKeepsTheNewestTextInOrder) {
  TempDir dir;
  const std::string path = dir / "print.txt";
  DbgBuffer buffer;
  ASSERT_EQ(buffer.Initialize(true, 20), 1);
  const std::string tooLong(kArea, 'x');
  buffer.WriteMsg(tooLong.data(), kArea);
  EXPECT_EQ(PrintOf(buffer, path), "");
  const std::string fits(kArea - 1, 'y');
  buffer.WriteMsg(fits.data(), kArea - 1);
  EXPECT_FALSE(buffer.m_bWrapped);
  EXPECT_EQ(PrintOf(buffer, path), fits);

  // Ending exactly at the end sends the cursor back to the start.
  buffer.WriteMsg("z", 1);
  EXPECT_TRUE(buffer.m_bWrapped);
  EXPECT_EQ(buffer.m_pCursor, buffer.m_pDataStart);

  ASSERT_EQ(buffer.Initialize(true, 20), 1);
  std::string stream;
  WriteLines(buffer, stream, 40, 0);
  EXPECT_FALSE(buffer.m_bWrapped);
  EXPECT_TRUE(PrintOf(buffer, path) == stream);
  // The young buffer's dump is the whole area: the text, then zeros.
  const std::string dump = dir / "dump.txt";
  EXPECT_EQ(buffer.Dump(dump.c_str()), 1);
  EXPECT_TRUE(ReadFile(dump) == stream + std::string(kArea - stream.size(), '\0'));

  for (int round = 1; round <= 3; ++round) {
    WriteLines(buffer, stream, 97, round * 1000);
    ASSERT_TRUE(buffer.m_bWrapped);
    // From the cursor on: the zero byte there comes first.
    EXPECT_TRUE(PrintOf(buffer, path) == std::string(1, '\0') + stream.substr(stream.size() - (kArea - 1))) << round;
    unlink(dump.c_str());
    EXPECT_EQ(buffer.Dump(dump.c_str()), 1);
    EXPECT_TRUE(ReadFile(dump) == TextArea(buffer)) << round;
  }

  DbgBuffer copy;
  EXPECT_EQ(copy.Copy(buffer), 1);
  EXPECT_TRUE(copy.m_bWrapped);  // the copied text, zero byte included, fills it
  const std::string original = PrintOf(buffer, path);
  EXPECT_TRUE(PrintOf(copy, path) == original);
  copy = copy;
  EXPECT_TRUE(PrintOf(copy, path) == original);
}

TEST(DbgBuffer, FilesThatCantBeOpenedOrWritten) {
  TempDir dir;
  DbgBuffer buffer;
  ASSERT_EQ(buffer.Initialize(true, 20), 1);
  buffer.WriteMsg("kept\n", 5);
  EXPECT_EQ(buffer.Print((dir / "missing/x.txt").c_str()), 42);
  EXPECT_EQ(buffer.Dump((dir / "missing/x.txt").c_str()), 42);
  EXPECT_EQ(buffer.Print(nullptr), 42);
  ASSERT_EQ(symlink("/dev/full", (dir / "full.txt").c_str()), 0);
  EXPECT_EQ(buffer.Print((dir / "full.txt").c_str()), 0);
  EXPECT_EQ(buffer.Dump((dir / "full.txt").c_str()), 0);
  // A name that is reused gets the new text behind the old.
  WriteFile(dir / "old.txt", "older text\n");
  EXPECT_EQ(buffer.Print((dir / "old.txt").c_str()), 1);
  EXPECT_EQ(ReadFile(dir / "old.txt"), "older text\nkept\n");
  struct stat st;
  ASSERT_EQ(stat((dir / "new.txt").c_str(), &st), -1);
  EXPECT_EQ(buffer.Print((dir / "new.txt").c_str()), 1);
  ASSERT_EQ(stat((dir / "new.txt").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  char name[200];
  buffer.BuildFileName(name, "host", "/var/log");
  EXPECT_TRUE(std::regex_match(name, std::regex("/var/log/host_membuffer\\.20[0-9]{6}_[0-9]{6}\\.txt"))) << name;
}

TEST_F(DiagTest, LinesReachTheBufferAtItsOwnLevel) {
  WriteFile(dir / "general_DiagLvls.ini", "IsBuffer=1\nMemBufferSize=20\nbuffer_test=2 6\n");
  Init();
  ASSERT_TRUE(diag->IsBufferEnabled());
  PLINTH_DIAG_AT("Both", 2, "to file and buffer");
  PLINTH_DIAG_AT("Buffer", 5, "to the buffer only");
  PLINTH_DIAG_AT("Neither", 7, "nowhere");
  diag->PrintMsg(std::string(3000, 'c'), __FILE__, "Cut", 1, -1, true, true);  // cut: file only
  { TDiagFunc scope(__FILE__, &plinth_diag_levels_, "Scope"); }  // "Exit" is level 7

  const std::string printed = dir / "printed.txt";
  EXPECT_EQ(diag->PrintBuffer(printed.c_str()), 1);
  std::vector<std::string> bodies;
  for (const std::string& line : SplitLines(ReadFile(printed))) bodies.push_back(Body(line));
  EXPECT_THAT(bodies, ElementsAre("\t[2]\tbuffer_test\tBoth\tto file and buffer", "\t[5]\tbuffer_test\tBuffer\tto the buffer only"));
  EXPECT_EQ(Lines().size(), 2u);
  EXPECT_EQ(diag->QuickPrintBuffer((dir / "quick.txt").c_str()), 1);
  EXPECT_EQ(ReadFile(dir / "quick.txt"), ReadFile(printed));
  EXPECT_EQ(diag->DumpBufferSafe(1500000000), 1);
  EXPECT_TRUE(ReadFile(dir / ("general_membuffer." + ShortHost() + "." + Pid() + ".1500000000.txt")) ==
              TextArea(*diag->GetMemBuffer()));
  EXPECT_EQ(diag->DumpBuffer(nullptr), 1);

  EXPECT_EQ(diag->CreateBuffer(), 13);
  EXPECT_EQ(diag->DestroyBuffer(), 1);
  EXPECT_FALSE(diag->IsBufferEnabled());
  PLINTH_DIAG_AT("Buffer", 5, "gone");
  EXPECT_EQ(diag->PrintBuffer(printed.c_str()), 13);
  EXPECT_EQ(diag->QuickPrintBuffer(printed.c_str()), 13);
  EXPECT_EQ(diag->DumpBufferSafe(0), 13);
  EXPECT_EQ(diag->ResetBufferSize(25), 1);
  EXPECT_EQ(diag->CreateBuffer(), 1);
  EXPECT_EQ(diag->GetBufferSize(), 25u * 1024);
}

TEST_F(DiagTest, ABufferThatCantBeAllocatedTurnsOff) {
  WriteFile(dir / "general_DiagLvls.ini", "IsBuffer=1\nMemBufferSize=4000000\nbuffer_test=3\n");
  LimitAddressSpace();
  Init();
  EXPECT_TRUE(TDiag::IsInitialized());
  EXPECT_FALSE(diag->IsBufferEnabled());
  PLINTH_DIAG_AT("After", 3, "still printing");
  EXPECT_THAT(Lines(), ElementsAre(EndsWith("\tCannot allocate memory for DIAG buffer. DIAG buffer is turned to OFF"),
                                   EndsWith("\tbuffer_test\tAfter\tstill printing")));
  // At run time the result says it; the file doesn't.
  EXPECT_EQ(diag->CreateBuffer(), 3);
  EXPECT_EQ(diag->ResetBufferSize(4000000), 1);
  EXPECT_EQ(diag->CreateBuffer(), 3);
  EXPECT_FALSE(diag->IsBufferEnabled());
  EXPECT_EQ(Lines().size(), 2u);
  EXPECT_EQ(diag->ResetBufferSize(20), 1);
  EXPECT_EQ(diag->CreateBuffer(), 1);
}
