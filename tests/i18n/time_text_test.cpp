#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "plinth/i18n.h"

using namespace i18n_aux;

namespace {
struct Hms {
  long h, m, s;
};
Hms Split(const os_time_period& p) {
  const long t = static_cast<long>(p.to_seconds());
  return {t / 3600, t / 60 % 60, t % 60};
}
void ExpectTime(const os_time& t, int h, int m, int s) {
  EXPECT_EQ(t.hours(), h);
  EXPECT_EQ(t.minutes(), m);
  EXPECT_EQ(t.seconds(), s);
}
void ExpectDate(const os_date& d, int day, int month, int year) {
  EXPECT_EQ(d.day(), day);
  EXPECT_EQ(d.month(), month);
  EXPECT_EQ(d.year(), year);
}
// Local time is what the printers show; pin it for the process.
void UseUtc() {
  setenv("TZ", "UTC", 1);
  tzset();
}
}  // namespace

TEST(PeriodParser, FieldsSplitByColonsNeverFail) {
  EXPECT_EQ(GetPeriodFromString("12:34:56", 0, 8).to_seconds(), 12 * 3600 + 34 * 60 + 56);
  EXPECT_EQ(GetPeriodFromString("12", 0, 99).to_seconds(), 12 * 3600);
  EXPECT_EQ(GetPeriodFromString("a:b", 0, 3).to_seconds(), 0);
  EXPECT_EQ(GetPeriodFromString("", 0, 3).to_seconds(), 0);
  // Only count bytes from pos take part, and a fourth field is ignored.
  EXPECT_EQ(GetPeriodFromString("xx01:02:03:04", 2, 5).to_seconds(), 3600 + 2 * 60);
  EXPECT_EQ(GetPeriodFromString("1:2:3:4", 0, 7).to_seconds(), 3723);
  // atoi rules: leading blanks and a sign count, the first non-digit stops.
  EXPECT_EQ(GetPeriodFromString(" -1:5x:07", 0, 9).to_seconds(), -3600 + 5 * 60 + 7);
  // Large fields neither fail nor are limited.
  const Hms big = Split(GetPeriodFromString("100:90:61", 0, 9));
  EXPECT_EQ(big.h, 101);
  EXPECT_EQ(big.m, 31);
  EXPECT_EQ(big.s, 1);
  EXPECT_THROW(GetPeriodFromString("12", 3, 1), std::out_of_range);
  EXPECT_EQ(GetPeriodFromString("12", 2, 1).to_seconds(), 0);  // at the end: empty, no failure

  ExpectTime(GetTimeFromString("23:59:58", 0, 8), 23, 59, 58);
  // A time of day wraps around midnight rather than failing.
  ExpectTime(GetTimeFromString("25:00:00", 0, 8), 1, 0, 0);
  ExpectTime(GetTimeFromString("-1", 0, 2), 23, 0, 0);
}

TEST(PeriodParser, FixedFormHhmmss) {
  EXPECT_EQ(GetPeriodFromString2("1234", 0, 4).to_seconds(), 12 * 3600 + 34 * 60);
  EXPECT_EQ(GetPeriodFromString2("123456", 0, 6).to_seconds(), 12 * 3600 + 34 * 60 + 56);
  ExpectTime(GetTimeFromString2("123456", 0, 4), 12, 34, 0);  // count 4: no seconds
  ExpectTime(GetTimeFromString2("123456", 0, 5), 12, 34, 56);
  ExpectTime(GetTimeFromString2("T091530", 1, 6), 9, 15, 30);
  ExpectTime(GetTimeFromString2("0915", 0, 6), 9, 15, 0);  // a short text: no seconds
  // The length test is on the whole text, not on what follows pos.
  ExpectTime(GetTimeFromString2("ab0102", 2, 5), 1, 2, 0);
  ExpectTime(GetTimeFromString2("1", 0, 9), 1, 0, 0);
  ExpectTime(GetTimeFromString2("zz99", 0, 4), 1, 39, 0);
  EXPECT_EQ(GetPeriodFromString2("", 0, 6).to_seconds(), 0);
  EXPECT_THROW(GetPeriodFromString2("12", 3, 4), std::out_of_range);
}

TEST(DateParser, FieldsAreBroughtIntoRange) {
  ExpectDate(GetDateFromString("31/12/1999", 0, 10, "/"), 31, 12, 1999);
  ExpectDate(GetDateFromString("", 0, 10, "/"), 1, 1, 1);
  ExpectDate(GetDateFromString("32.13.2000", 0, 10, "."), 1, 1, 2000);
  ExpectDate(GetDateFromString("62--24--77", 0, 10, "--"), 31, 12, 77);
  ExpectDate(GetDateFromString("0/0/0", 0, 5, "/"), 1, 1, 1);
  ExpectDate(GetDateFromString("-1/-1/-44", 0, 9, "/"), 30, 11, -44);
  ExpectDate(GetDateFromString("5", 0, 1, "/"), 5, 1, 1);
  // Nothing checks the month's length.
  ExpectDate(GetDateFromString("31/2/2001", 0, 9, "/"), 31, 2, 2001);
  // No separator found: the whole piece is the day.
  ExpectDate(GetDateFromString("15/06/2024", 0, 10, "-"), 15, 1, 1);
  ExpectDate(GetDateFromString("2147483647/-2147483648/99999", 0, 28, "/"), 1, 4,
             static_cast<short>(99999));
}

TEST(TimePrinters, PeriodsShowSignedFields) {
  EXPECT_EQ(TimePeriodToString(os_time_period(0, 0, 0, 3661)), "01:01:01");
  EXPECT_EQ(TimePeriodToString(os_time_period(0, 0, 0, 360000)), "100:00:00");
  EXPECT_EQ(TimePeriodToString(os_time_period()), "00:00:00");
  EXPECT_EQ(TimePeriodToString(os_time_period(0, 0, 0, -3661)), "-1:-1:-1");
  EXPECT_EQ(TimePeriodToString(os_time_period(0, 0, 0, 59, 999)), "00:00:59");
}

TEST(TimePrinters, TimeAndDateInLocalTime) {
  UseUtc();
  // 2026-11-24 07:05:09.750 UTC
  const os_time_and_date t = os_time_and_date::from_us(1795503909750000LL);
  EXPECT_EQ(TimeAndDateToString(t), "07:05:09 24/11/2026 UTC");
  EXPECT_EQ(TimeAndDateToString(os_time_and_date()), "00:00:00 01/01/1970 UTC");

  setenv("TZ", "XYZ-3", 1);  // a zone of our own naming, three hours east
  tzset();
  EXPECT_EQ(TimeAndDateToString(t), "10:05:09 24/11/2026 XYZ");
}

TEST(TimePrinters, UnreadableTimeGivesBadData) {
  UseUtc();
  // Year 40000 is beyond what a date holds.
  const os_time_and_date far = os_time_and_date::from_us(38000LL * 31556952 * 1000000);
  testing::internal::CaptureStderr();
  EXPECT_EQ(TimeAndDateToString(far), "BAD DATA");
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err.rfind("TimeAndDateToString: ", 0), 0u) << err;
  EXPECT_EQ(err.back(), '\n');
}
