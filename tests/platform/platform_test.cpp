#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>

#include "common/temp_dir.h"
#include "plinth/platform/os/os_clock_hooks.h"
#include "plinth/platform.h"
#include "plinth/platform/numbers.h"

using namespace plinth_test;

TEST(OsRegexp, SearchMatchAndQuote) {
  const os_regexp number("#[0-9]{4}", false, false);
  const std::string text = "a#12.b#0042.txt";
  EXPECT_EQ(number.search(text.c_str(), 0, static_cast<unsigned>(text.size())), std::make_pair(6u, 11u));
  // The range's end is a hard limit: no match may run past it.
  EXPECT_EQ(number.search(text.c_str(), 0, 9).first, os_regexp::npos);
  const os_regexp caseless("abc\\.txt", true, false);
  EXPECT_TRUE(caseless.matches_whole("ABC.TXT"));
  EXPECT_FALSE(caseless.matches_whole("abc.txt.bak"));
  EXPECT_THROW(os_regexp("(unclosed", false, false), os_toolkit_error);
  // Quoted text matches only itself.
  const std::string raw("x+y(1)[2]{3}\\^$|?*.-#\0", 22);
  EXPECT_TRUE(os_regexp(os_regexp::quote(raw), false, false).matches_whole(raw));
  EXPECT_FALSE(os_regexp(os_regexp::quote("a.b"), false, false).matches_whole("axb"));
}

TEST(OsFiles, DirectoryListingRemovalAndStatus) {
  TempDir dir;
  WriteFile(dir / "one.txt", "1");
  auto names = os_directory(dir.path(), 0).filenames();
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".", "..", "one.txt"}));
  EXPECT_THROW(os_directory(dir / "missing", 0), os_file_toolkit_error);
  AgeFile(dir / "one.txt", 3600);
  const os_time_and_date modified(os_io_status(dir / "one.txt").last_modification_time());
  EXPECT_EQ((os_time_and_date::now() - modified).to_seconds() / 60, 60);
  EXPECT_THROW(os_io_status(dir / "missing"), os_file_toolkit_error);

  os_file_system::remove_if_exists(dir / "one.txt");
  os_file_system::remove_if_exists(dir / "one.txt");  // already gone: fine
  EXPECT_FALSE(os_file_system::exists(dir / "one.txt"));
  ASSERT_EQ(mkdir((dir / "sub").c_str(), 0755), 0);
  try {
    os_file_system::remove_if_exists(dir / "sub");
    FAIL() << "removing a directory as a file must fail";
  } catch (const os_file_toolkit_error& e) {
    EXPECT_NE(std::string(e.what()).find("sub"), std::string::npos);
    EXPECT_FALSE(os_file_toolkit_error::description(e.code()).empty());
  }
}

TEST(OsFiles, LogFilesHeldOpenAreKnownByIdentityNotByName) {
  TempDir dir;
  FILE* f = os_log_files::open(dir / "held.txt", "w+");
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(symlink((dir / "held.txt").c_str(), (dir / "link.txt").c_str()), 0);
  EXPECT_TRUE(os_log_files::is_held_open(dir / "link.txt"));
  EXPECT_TRUE(os_log_files::write_all(f, "abc\n", 4));
  os_log_files::close(f);
  EXPECT_FALSE(os_log_files::is_held_open(dir / "held.txt"));
  EXPECT_EQ(ReadFile(dir / "held.txt"), "abc\n");
  EXPECT_EQ(os_log_files::open(dir / "missing/x.txt", "w+"), nullptr);
}

TEST(OsTime, ClockMovesAndFormatsInLocalTime) {
  setenv("TZ", "UTC", 1);
  tzset();
  // 2026-11-24 12:45:00.123456 UTC
  const os_time_and_date t = os_time_and_date::from_us(1795524300LL * 1000000 + 123456);
  EXPECT_EQ(t.to_string("%y%m%d_%H%M%S.%q 100%%"), "261124_124500.123 100%");
  EXPECT_EQ(os_time_period(2, 23, 59, 59, 500).to_days(), 2);

  const os_time_and_date before = os_time_and_date::now();
  os_clock::advance_seconds(86400 * 3);
  EXPECT_EQ((os_time_and_date::now() - before).to_days(), 3);
  os_clock::set_offset_us(0);
  EXPECT_LT((os_time_and_date::now() - before).to_seconds(), 5);
}

TEST(Numbers, ReadAsAtoiReadsButHeldAtTheLimits) {
  constexpr long long kMax = LLONG_MAX, kMin = LLONG_MIN;
  const struct {
    const char* text;
    bool digits;
    long long value;
    int asInt;
  } cases[] = {
      {" \t\n42x", true, 42, 42},        {"+3", true, 3, 3},
      {"-7", true, -7, -7},                {"abc", false, 0, 0},
      {"-", false, 0, 0},                  {"", false, 0, 0},
      {"3000000000", true, 3000000000, INT_MAX},
      {"-3000000000", true, -3000000000, INT_MIN},
      {"9223372036854775807", true, kMax, INT_MAX},
      {"-9223372036854775808", true, kMin, INT_MIN},
      {"99999999999999999999", true, kMax, INT_MAX},
      {"-99999999999999999999", true, kMin, INT_MIN},
  };
  for (const auto& c : cases) {
    long long value = 1;
    EXPECT_EQ(plinth::platform::read_integer(c.text, value), c.digits) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(plinth::platform::read_int(c.text), c.asInt) << c.text;
  }
}
