// The platform pieces under the diagnostics: thread slots and their exit
// hook, the event that gates scopes, local time and the crash-path file calls.
#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <thread>

#include "common/temp_dir.h"
#include "plinth/platform.h"
#include "plinth/platform/crash_io.h"
#include "plinth/platform/local_time.h"
#include "plinth/platform/os/os_event_semaphore.h"
#include "plinth/platform/os/os_tls.h"

using namespace plinth_test;

namespace {
std::atomic<void*> g_released{nullptr};
void Release(void* value) { g_released = value; }
}  // namespace

TEST(OsTls, TheExitHookGetsTheValueOfAThreadThatEnded) {
  const long slot = os_tls::alloc(&Release);
  ASSERT_NE(slot, -1);
  int value = 0;
  std::thread([&] {
    EXPECT_EQ(os_tls::get(slot), nullptr);
    EXPECT_TRUE(os_tls::set(slot, &value));
    EXPECT_EQ(os_tls::get(slot), &value);
  }).join();
  EXPECT_EQ(g_released.load(), &value);
  EXPECT_EQ(os_tls::get(slot), nullptr);  // each thread has its own value
  EXPECT_EQ(os_tls::get(-1), nullptr);
  EXPECT_FALSE(os_tls::set(-1, &value));
  os_tls::free(slot);
}

TEST(OsEventSemaphore, APostedEventLetsEveryWaiterThroughUntilReset) {
  os_event_semaphore event(0);
  std::atomic<int> through{0};
  std::thread a([&] { event.wait(); ++through; });
  std::thread b([&] { event.wait(); ++through; });
  event.post();
  a.join();
  b.join();
  EXPECT_EQ(through.load(), 2);
  event.wait();  // still posted
  event.reset();
  std::thread c([&] { event.wait(); ++through; });
  event.post();
  c.join();
  EXPECT_EQ(through.load(), 3);
}

TEST(LocalTime, EachSecondHasItsOwnFieldsAcrossASummerTimeChange) {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  // 2026-03-29 00:59:59.500 UTC is 01:59:59 winter time; a second later the
  // clocks read 03:00:00 summer time.
  const int64_t before = 1774745999LL * 1000000 + 500000;
  _SYSTEMTIME t{};
  plinth::platform::local_time(before, t);
  EXPECT_EQ(t.wHour, 1);
  EXPECT_EQ(t.wMinute, 59);
  EXPECT_EQ(t.wSecond, 59);
  EXPECT_EQ(t.wMilliseconds, 500);
  plinth::platform::local_time(before + 1000000, t);
  EXPECT_EQ(t.wHour, 3);
  EXPECT_EQ(t.wMinute, 0);
  EXPECT_EQ(t.wSecond, 0);
  EXPECT_EQ(t.wDay, 29);
  EXPECT_EQ(t.wDayOfWeek, 0);  // a Sunday
  plinth::platform::local_time(before + 1499000, t);
  EXPECT_EQ(t.wSecond, 0);
  EXPECT_EQ(t.wMilliseconds, 999);
  // Before the epoch, the milliseconds still count forward within the second.
  setenv("TZ", "UTC", 1);
  tzset();
  plinth::platform::local_time(-1500, t);
  EXPECT_EQ(t.wYear, 1969);
  EXPECT_EQ(t.wSecond, 59);
  EXPECT_EQ(t.wMilliseconds, 998);
}

TEST(CrashIo, AppendsAndReportsFailure) {
  TempDir dir;
  const std::string path = dir / "crash.txt";
  for (int i = 0; i < 2; ++i) {
    const int fd = plinth::platform::raw_open_append(path.c_str(), 0755);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(plinth::platform::raw_write(fd, "line\n"));
    plinth::platform::raw_close(fd);
  }
  EXPECT_EQ(ReadFile(path), "line\nline\n");
  EXPECT_EQ(plinth::platform::raw_open_append((dir / "missing/x").c_str(), 0755), -1);
  ::testing::internal::CaptureStderr();
  plinth::platform::raw_perror("context");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "context: No such file or directory\n");
  // /dev/full takes no byte.
  const int full = plinth::platform::raw_open_append("/dev/full", 0644);
  ASSERT_GE(full, 0);
  EXPECT_FALSE(plinth::platform::raw_write(full, "x"));
  plinth::platform::raw_close(full);
}
