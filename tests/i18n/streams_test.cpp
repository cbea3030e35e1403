#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "common/temp_dir.h"
#include "plinth/i18n.h"

namespace {

void SetMode(bool unicode) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(unicode);
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS1252");
}

void WriteFile(std::string const& path, std::string const& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace

TEST(SkipSignature, ResultAndWhereTheStreamStands) {
  struct Case {
    std::string bytes;
    int result;
    int next;  // the next byte read, EOF when the read fails
    bool failed;
  } const cases[] = {
      {"\xEF\xBB\xBFx", 1, 'x', false},
      {"\xEF\xBB\xBF", 1, EOF, false},
      {"\xEF\xBBxy", 0, 0xEF, false},
      {std::string("\xFF\xFE\0\0", 4), 2, 0, false},
      {"\xFE\xFF" "a", 3, 'a', false},
      {"\xFF\xFE", 0, EOF, true},  // the short first read leaves the stream failed
      {"ab", 0, EOF, true},
      {"abcd", 0, 'a', false},
  };
  plinth_test::TempDir dir;
  for (auto const& c : cases) {
    std::string const& bytes = c.bytes;
    WriteFile(dir / "f", bytes);
    Osl_Ifstream in(dir / "f", std::ios::binary);
    ASSERT_TRUE(in.good());
    EXPECT_EQ(in.SkipSignature(), c.result) << bytes;
    EXPECT_EQ(in.fail(), c.failed) << bytes;
    int const next = in.get();
    EXPECT_EQ(next == EOF ? EOF : static_cast<unsigned char>(next), c.next) << bytes;
  }
  // Any input stream, from where it stands.
  std::istringstream text("ab\xFE\xFFz");
  text.ignore(2);
  EXPECT_EQ(Osl_Ifstream_SkipSignature(text), 3);
  EXPECT_EQ(text.get(), 'z');
}

TEST(FileStreams, ModesNamesStateAndCloseOnExec) {
  plinth_test::TempDir dir;
  // Mode 0 still opens for output, and input for the reader.
  Osl_Ofstream out((dir / "a").c_str(), 0);
  out << "data";
  out.close();
  Osl_Ifstream in;
  in.open(os_path(dir / "a"), 0);
  std::string read;
  in >> read;
  EXPECT_EQ(read, "data");

  // A failed open sets the fail bit; a later good open clears it.
  Osl_Fstream both;
  both.open(dir / "missing/x", std::ios::in | std::ios::out);
  EXPECT_TRUE(both.fail());
  both.open(dir / "a", std::ios::in | std::ios::out);
  EXPECT_TRUE(both.good());
  EXPECT_EQ(both.SkipSignature(), 0);

  // The descriptor is close-on-exec.
  std::string const self = "/proc/self/fd";
  bool found = false;
  for (auto const& name : plinth_test::TempDir::ListNames(self)) {
    char target[4096] = {};
    if (readlink((self + "/" + name).c_str(), target, sizeof target - 1) <= 0) continue;
    if (std::string(target) != dir / "a") continue;
    found = true;
    EXPECT_NE(fcntl(std::stoi(name), F_GETFD) & FD_CLOEXEC, 0) << name;
  }
  EXPECT_TRUE(found);

  // The name is program text: converted from UTF-8 in Unicode mode only.
  SetMode(true);
  Osl_Ofstream(dir / "\xC3\xA4", std::ios::out) << "u";
  SetMode(false);
  Osl_Ofstream(dir / "\xC3\xB6", std::ios::out) << "l";
  EXPECT_EQ(dir.names(), (std::vector<std::string>{"a", "\xC3\xB6", "\xE4"}));
}

TEST(StreambufHelper, ConvertsStringsPassesBytesAndNeverWritesShort) {
  std::stringbuf target;
  i18n_aux::streambuf_helper helper(&target, "ctx");
  EXPECT_EQ(helper.m_Context, "[ctx] ");
  std::ostream out(&helper);

  SetMode(true);
  out << "\xC3\xA4\xE2\x82\xAC!";  // 6 bytes in, 3 out
  EXPECT_TRUE(out.good());
  out.put('\xC3');  // one byte at a time: unconverted
  SetMode(false);
  out << "\xC3\xA4";
  EXPECT_TRUE(out.good());
  EXPECT_EQ(target.str(), "\xE4\x80!\xC3\xC3\xA4");
  EXPECT_EQ(helper.sputn("abc", 3), 3);
}

TEST(StreamGuard, TiesOnceAndTheFirstEndUntiesForEverybody) {
  std::stringbuf console;
  std::streambuf* const original = std::cout.rdbuf(&console);
  SetMode(true);
  {
    i18n_aux::stream_guard outer;
    std::streambuf* const tied = std::cout.rdbuf();
    EXPECT_NE(tied, &console);
    i18n_aux::stream_helper_tie::getInstance()->set_utf_stream();
    EXPECT_EQ(std::cout.rdbuf(), tied);  // a second tie changes nothing
    std::cout << "\xC3\xA4";
    {
      i18n_aux::stream_guard inner;
      EXPECT_EQ(std::cout.rdbuf(), tied);
    }
    EXPECT_EQ(std::cout.rdbuf(), &console);
    EXPECT_EQ(i18n_aux::stream_helper_tie::m_pTheObject, nullptr);
    std::cout << "\xC3\xB6";
  }
  EXPECT_EQ(std::cout.rdbuf(), &console);
  std::cout.rdbuf(original);
  EXPECT_EQ(console.str(), "\xE4\xC3\xB6");
}
