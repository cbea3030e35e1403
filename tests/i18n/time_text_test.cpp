#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "plinth/i18n.h"

using namespace i18n_aux;

namespace {
std::string Hms(const os_time& t) {
  return std::to_string(t.hours()) + ":" + std::to_string(t.minutes()) + ":" + std::to_string(t.seconds());
}
std::string Dmy(const os_date& d) {
  return std::to_string(d.day()) + "/" + std::to_string(d.month()) + "/" + std::to_string(d.year());
}
long Seconds(const os_time_period& p) { return static_cast<long>(p.to_seconds()); }
// Local time is what the printers show; pin it for the process.
void UseZone(const char* tz) {
  setenv("TZ", tz, 1);
  tzset();
}
}  // namespace

TEST(PeriodParser, FieldsSplitByColonsNeverFail) {
  EXPECT_EQ(Seconds(GetPeriodFromString("12:34:56", 0, 8)), 12 * 3600 + 34 * 60 + 56);
  EXPECT_EQ(Seconds(GetPeriodFromString("a:b", 0, 3)), 0);
  // Only count bytes from pos take part, and a fourth field is ignored.
  EXPECT_EQ(Seconds(GetPeriodFromString("xx01:02:03:04", 2, 5)), 3600 + 2 * 60);
  // atoi rules: leading blanks and a sign count, the first non-digit stops;
  // large fields are not limited.
  EXPECT_EQ(Seconds(GetPeriodFromString(" -1:5x:07", 0, 9)), -3600 + 5 * 60 + 7);
  EXPECT_EQ(Seconds(GetPeriodFromString("100:90:61", 0, 9)), 100 * 3600 + 90 * 60 + 61);
  EXPECT_THROW(GetPeriodFromString("12", 3, 1), std::out_of_range);
  EXPECT_EQ(Seconds(GetPeriodFromString("12", 2, 1)), 0);  // at the end: empty, no failure
  // A time of day wraps around midnight rather than failing.
  EXPECT_EQ(Hms(GetTimeFromString("25:00:00", 0, 8)), "1:0:0");
  EXPECT_EQ(Hms(GetTimeFromString("-1", 0, 2)), "23:0:0");
}

TEST(PeriodParser, FixedFormHhmmss) {
  EXPECT_EQ(Seconds(GetPeriodFromString2("123456", 0, 6)), 12 * 3600 + 34 * 60 + 56);
  EXPECT_EQ(Hms(GetTimeFromString2("123456", 0, 4)), "12:34:0");  // count 4: no seconds
  EXPECT_EQ(Hms(GetTimeFromString2("T091530", 1, 6)), "9:15:30");
  // The length test is on the whole text, not on what follows pos.
  EXPECT_EQ(Hms(GetTimeFromString2("ab0102", 2, 5)), "1:2:0");
  EXPECT_EQ(Hms(GetTimeFromString2("zz99", 0, 4)), "1:39:0");
  EXPECT_THROW(GetPeriodFromString2("12", 3, 4), std::out_of_range);
}

TEST(DateParser, FieldsAreBroughtIntoRange) {
  EXPECT_EQ(Dmy(GetDateFromString("31/12/1999", 0, 10, "/")), "31/12/1999");
  EXPECT_EQ(Dmy(GetDateFromString("", 0, 10, "/")), "1/1/1");
  // A day of 32 becomes 1, a month of 13 becomes 1; nothing checks the
  // month's length.
  EXPECT_EQ(Dmy(GetDateFromString("32.13.2000", 0, 10, ".")), "1/1/2000");
  EXPECT_EQ(Dmy(GetDateFromString("31--2--77", 0, 9, "--")), "31/2/77");
  EXPECT_EQ(Dmy(GetDateFromString("-1/-1/-44", 0, 9, "/")), "30/11/-44");
  // No separator found: the whole piece is the day.
  EXPECT_EQ(Dmy(GetDateFromString("15/06/2024", 0, 10, "-")), "15/1/1");
  EXPECT_EQ(Dmy(GetDateFromString("2147483647/-2147483648/99999", 0, 28, "/")),
            "1/4/" + std::to_string(static_cast<short>(99999)));
}

TEST(TimePrinters, PeriodsAndTimesInLocalTime) {
  EXPECT_EQ(TimePeriodToString(os_time_period(0, 0, 0, 360000)), "100:00:00");
  EXPECT_EQ(TimePeriodToString(os_time_period(0, 0, 0, -3661)), "-1:-1:-1");
  EXPECT_EQ(TimePeriodToString(os_time_period(0, 0, 0, 59, 999)), "00:00:59");

  UseZone("UTC");
  // 2026-11-24 07:05:09.750 UTC
  const os_time_and_date t = os_time_and_date::from_us(1795503909750000LL);
  EXPECT_EQ(TimeAndDateToString(t), "07:05:09 24/11/2026 UTC");
  UseZone("XYZ-3");  // a zone of our own naming, three hours east
  EXPECT_EQ(TimeAndDateToString(t), "10:05:09 24/11/2026 XYZ");
}

TEST(TimePrinters, UnreadableTimeGivesBadData) {
  UseZone("UTC");
  // Year 40000 is beyond what a date holds.
  const os_time_and_date far = os_time_and_date::from_us(38000LL * 31556952 * 1000000);
  testing::internal::CaptureStderr();
  EXPECT_EQ(TimeAndDateToString(far), "BAD DATA");
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(err.starts_with("TimeAndDateToString: ") && err.ends_with('\n')) << err;
}
