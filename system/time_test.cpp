#include "system/time.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

namespace {

// POSIX rule strings need no zone database: UTC, and Central European time
// with summer time from the last Sunday of March to the last of October.
char const* const kUTC = "UTC0";
char const* const kCET = "CET-1CEST,M3.5.0,M10.5.0/3";

void UseZone(char const* pszZone) {
  setenv("TZ", pszZone, 1);
  tzset();
}

// Every test starts in UTC: results must not depend on the machine's zone.
class Time : public ::testing::Test {
 protected:
  void SetUp() override { UseZone(kUTC); }
};

// Seconds counts worked out by hand (days since 1970) and cross-checked with
// the system's date tool.
constexpr long kNoon = 1204372800L;       // Sat 2008-03-01 12:00:00 UTC
constexpr long kMarch1 = 1204329600L;     // Sat 2008-03-01 00:00:00 UTC
constexpr long kJan5 = 1199491200L;       // Sat 2008-01-05 00:00:00 UTC
constexpr long kYearEnd = 1230767999L;    // Wed 2008-12-31 23:59:59 UTC
constexpr long kSpringGap = 1206844200L;  // Sun 2008-03-30 02:30:00 UTC
// Beyond a 32-bit long: these counts are the invalid value where long is 32
// bits wide.
constexpr int64_t kPast32Bit = 2147483648LL;  // Tue 2038-01-19 03:14:08 UTC
// Wed 2147485547-12-31 23:59:59 UTC, the last second that localtime breaks
// down (its year field is then INT_MAX).
constexpr int64_t kLastYearEnd = 67768036191676799LL;

std::string Gmt(CLuTime const& tim) {
  return tim.strAsGMTString().pszGetString();
}
// The local fields in the GMT text's layout.
std::string Fields(CLuTime const& tim) {
  char sz[64];
  snprintf(sz, sizeof(sz), "%04u-%02u-%02u %02u:%02u:%02u", tim.nYear(),
           tim.nMonth(), tim.nDay(), tim.nHour(), tim.nMinute(), tim.nSecond());
  return sz;
}

TEST_F(Time, InvalidValuePrintsInvalidEverywhereAndHasDefaultFields) {
  CLuTime const tim(-1L);
  EXPECT_EQ("Invalid", Gmt(tim));
  EXPECT_STREQ("Invalid", tim.strDate().pszGetString());
  EXPECT_STREQ("Invalid", tim.strTime().pszGetString());
  EXPECT_EQ("0000-01-01 00:00:00", Fields(tim));
  EXPECT_EQ(0u, tim.nDayOfYear() + tim.eDayOfWeek());
  EXPECT_EQ(1u, tim.nQuarter());
  EXPECT_TRUE(timInvalid == tim);  // this unit's own constant
}

TEST_F(Time, TextFormsLocalFieldsAndQuarters) {
  struct {
    int64_t i64Seconds;
    char const* pszGmt;
    ELuDayOfWeek eWeekday;
    uint32_t nDayOfYear;
  } const aCases[] = {
      {kNoon, "2008-03-01 12:00:00", eSaturday, 60},
      {kYearEnd, "2008-12-31 23:59:59", eWednesday, 365},
      {kPast32Bit, "2038-01-19 03:14:08", eTuesday, 18},
      {0L, "1970-01-01 00:00:00", eThursday, 0},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszGmt);
    CLuTime const tim = CLuTime::timFromSeconds(c.i64Seconds);
    if (static_cast<long>(c.i64Seconds) != c.i64Seconds) {
      EXPECT_EQ("Invalid", Gmt(tim));  // a 32-bit long: not 1901
      continue;
    }
    EXPECT_EQ(c.pszGmt, Gmt(tim));
    EXPECT_EQ(c.pszGmt, Fields(tim));  // in UTC
    EXPECT_EQ(c.eWeekday, tim.eDayOfWeek());
    EXPECT_EQ(c.nDayOfYear, tim.nDayOfYear());
  }
  // The last second localtime breaks down: its year field is INT_MAX, and
  // the full year still comes out whole.
  if (sizeof(long) > 4) {
    EXPECT_EQ(2147485547u, CLuTime::timFromSeconds(kLastYearEnd).nYear());
  }
  EXPECT_EQ(4u, CLuTime(kYearEnd).nQuarter());

  // Local forms follow the zone, the GMT form does not: late evening UTC is
  // already the next day in Central Europe.
  UseZone(kCET);
  EXPECT_EQ("2008-12-31 23:59:59", Gmt(CLuTime(kYearEnd)));
  EXPECT_STREQ("2009-01-01", CLuTime(kYearEnd).strDate().pszGetString());
  EXPECT_STREQ("00:59:59", CLuTime(kYearEnd).strTime().pszGetString());
}

// kNoon (or iStart) with one field replaced; the setter returns what it
// stores.
CLuTime Set(long (CLuTime::*pfnSet)(unsigned int), unsigned int nValue,
            long iStart = kNoon) {
  CLuTime tim(iStart);
  long const iReturned = (tim.*pfnSet)(nValue);
  EXPECT_EQ(iReturned, tim.iGetSeconds());
  return tim;
}

TEST_F(Time, FieldsAreLocalAndNormalisedByMktime) {
  std::pair<CLuTime, char const*> const aCases[] = {
      {CLuTime(2008, 2, 30), "2008-03-01 00:00:00"},
      {CLuTime(2008, 2, 29, 25, 0, 0), "2008-03-01 01:00:00"},
      {Set(&CLuTime::SetYear, 2009), "2009-03-01 12:00:00"},
      {Set(&CLuTime::SetMonth, 13), "2009-01-01 12:00:00"},
      {Set(&CLuTime::SetDay, 0), "2008-02-29 12:00:00"},
      {Set(&CLuTime::SetHour, 24), "2008-03-02 00:00:00"},
      {Set(&CLuTime::SetMinute, 59), "2008-03-01 12:59:00"},
      {Set(&CLuTime::SetSecond, 7), "2008-03-01 12:00:07"},
      // beyond int: day 4294967295 is day -1, two days before 1 March
      {CLuTime(2008, 3, 4294967295u), "2008-02-28 00:00:00"},
      {Set(&CLuTime::SetDay, 4294967295u), "2008-02-28 12:00:00"},
      // the invalid value is not guarded: it is one second before 1970
      {Set(&CLuTime::SetYear, 2000, -1L), "2000-12-31 23:59:59"},
  };
  for (auto const& [tim, pszGmt] : aCases) EXPECT_EQ(pszGmt, Gmt(tim));
  // Noon in Central Europe: 11:00 UTC in winter, 10:00 UTC in summer.
  UseZone(kCET);
  EXPECT_EQ(kNoon - 3600, CLuTime(2008, 3, 1, 12, 0, 0).iGetSeconds());
  EXPECT_EQ(1214906400L, CLuTime(2008, 7, 1, 12, 0, 0).iGetSeconds());
  // The setters keep the daylight-saving field that localtime gave: summer
  // noon moved to January keeps the summer offset (10:00 UTC, 11:00 winter
  // time), winter noon moved to July the winter one (11:00 UTC).
  EXPECT_EQ(1199181600L, Set(&CLuTime::SetMonth, 1, 1214906400L).iGetSeconds());
  EXPECT_EQ(1214910000L,
            Set(&CLuTime::SetMonth, 7, kNoon - 3600).iGetSeconds());
}

// Both parsers check every field's range and skip runs of separators. The
// GMT text gives the same instant in any zone, also in summer time.
TEST_F(Time, ParsersCheckRangesAndSkipRepeatedSeparators) {
  auto* const pfnDate = &CLuTime::timFromYYYYMMDD;
  auto* const pfnGmt = &CLuTime::timFromGMTString;
  // clang-format off
  struct {
    CLuTime (*pfnParse)(CLuString);
    char const* pszText;
    int64_t i64Expected;  // -1: invalid
  } const aCases[] = {
      {pfnDate, " \t2008-03-01\r\n", kMarch1}, {pfnDate, "2008--01--05", kJan5},
      {pfnDate, "2008-2-30", kMarch1},  {pfnDate, "2008-13-01", -1},
      {pfnDate, "2008-01-32", -1},      {pfnDate, "2008-01", -1},
      {pfnDate, "2008-01-05x", -1},     {pfnDate, "abcd-01-05", -1},
      {pfnGmt, "\n 2008--03--01   12::00::00 \t", kNoon},
      {pfnGmt, "2038-01-19 03:14:08", kPast32Bit},
      // a local spring-forward hour: the UTC reading is still exact
      {pfnGmt, "2008-03-30 02:30:00", kSpringGap},
      {pfnGmt, "2008-03-01 24:00:00", -1}, {pfnGmt, "2008-03-01 12:60:00", -1},
      {pfnGmt, "2008-03-01 12:00:60", -1}, {pfnGmt, "2008-03-01 12:00", -1},
      {pfnGmt, "2008-03-01T12:00:00", -1},
  };
  // clang-format on
  for (char const* pszZone : {kUTC, kCET}) {
    UseZone(pszZone);
    for (auto const& c : aCases) {
      if (c.pfnParse == pfnDate && pszZone == kCET) continue;  // see below
      SCOPED_TRACE(std::string(pszZone) + " " + c.pszText);
      EXPECT_EQ(CLuTime::timFromSeconds(c.i64Expected).iGetSeconds(),
                c.pfnParse(c.pszText).iGetSeconds());
    }
  }
  // Local midnight, an hour before UTC's in winter; what strDate writes reads
  // back.
  CLuTime const tim = CLuTime::timFromYYYYMMDD("2008-03-01");
  EXPECT_EQ(kMarch1 - 3600, tim.iGetSeconds());
  EXPECT_EQ(tim, CLuTime::timFromYYYYMMDD(tim.strDate()));
  // 00:59:59 read as Central European time is one second before 1970, for
  // which mktime returns -1: a real instant, not a failure.
  EXPECT_EQ(3599L,
            CLuTime::timFromGMTString("1970-01-01 00:59:59").iGetSeconds());
}

TEST_F(Time, DefaultAndCurrentAreNow) {
  long const iNow = std::time(nullptr);
  for (CLuTime const& tim : {CLuTime(), CLuTime::timCurrent()})
    EXPECT_LE(std::labs(tim.iGetSeconds() - iNow), 2L);
}

}  // namespace
