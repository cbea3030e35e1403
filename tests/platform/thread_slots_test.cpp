// The platform pieces under the diagnostics: thread slots and their exit
// hook, the event that gates scopes, local time and the crash-path file calls.
#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <thread>
#include <vector>

#include "common/temp_dir.h"
#include "plinth/platform.h"
#include "plinth/platform/crash_io.h"
#include "plinth/platform/local_time.h"
#include "plinth/platform/os/os_event_semaphore.h"
#include "plinth/platform/os/os_tls.h"

using namespace plinth_test;
using namespace plinth::platform;

namespace {
std::atomic<void*> g_released{nullptr};
void Release(void* value) { g_released = value; }
}  // namespace

TEST(OsTls, TheExitHookGetsTheValueOfAThreadThatEnded) {
  const long slot = os_tls::alloc(&Release);
  ASSERT_NE(slot, -1);
  int value = 0;
  std::thread([&] { EXPECT_TRUE(os_tls::set(slot, &value)); }).join();
  EXPECT_EQ(g_released.load(), &value);
  EXPECT_EQ(os_tls::get(slot), nullptr);  // each thread has its own value
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
  auto fields = [](int64_t us) {
    _SYSTEMTIME t{};
    local_time(us, t);
    return std::vector<int>{t.wYear, t.wDay, t.wDayOfWeek, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds};
  };
  EXPECT_EQ(fields(before), (std::vector<int>{2026, 29, 0, 1, 59, 59, 500}));
  EXPECT_EQ(fields(before + 1499000), (std::vector<int>{2026, 29, 0, 3, 0, 0, 999}));
  // Before the epoch, the milliseconds still count forward within the second.
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(fields(-1500), (std::vector<int>{1969, 31, 3, 23, 59, 59, 998}));
}

TEST(CrashIo, AppendsAndReportsFailure) {
  TempDir dir;
  for (int i = 0; i < 2; ++i) {
    const int fd = raw_open_append((dir / "crash.txt").c_str(), 0755);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(raw_write(fd, "line\n"));
    raw_close(fd);
  }
  EXPECT_EQ(ReadFile(dir / "crash.txt"), "line\nline\n");
  EXPECT_EQ(raw_open_append((dir / "missing/x").c_str(), 0755), -1);
  ::testing::internal::CaptureStderr();
  raw_perror("context");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "context: No such file or directory\n");
  const int full = raw_open_append("/dev/full", 0644);  // takes no byte
  ASSERT_GE(full, 0);
  EXPECT_FALSE(raw_write(full, "x"));
  raw_close(full);
}
