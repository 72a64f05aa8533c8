#include "system/time.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

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
constexpr long kJuly4 = 1246687628L;      // Sat 2009-07-04 06:07:08 UTC
constexpr long kPast32Bit = 2147483648L;  // Tue 2038-01-19 03:14:08 UTC

std::string Gmt(CLuTime const& tim) {
  return tim.strAsGMTString().pszGetString();
}

TEST_F(Time, InvalidValuePrintsInvalidEverywhereAndHasDefaultFields) {
  CLuTime const tim(-1L);
  EXPECT_EQ("Invalid", Gmt(tim));
  EXPECT_STREQ("Invalid", tim.strDate().pszGetString());
  EXPECT_STREQ("Invalid", tim.strTime().pszGetString());
  EXPECT_EQ(1u, tim.nQuarter());
  EXPECT_EQ(0u, tim.nYear());
  EXPECT_EQ(1u, tim.nMonth());
  EXPECT_EQ(1u, tim.nDay());
  EXPECT_EQ(0u, tim.nHour() + tim.nMinute() + tim.nSecond() + tim.nDayOfYear());
  EXPECT_FALSE(tim.bIsValid());
  EXPECT_TRUE(timInvalid == tim);  // this unit's own constant
}

TEST_F(Time, TextFormsAndLocalFields) {
  struct Case {
    long iSeconds;
    char const* pszGmt;
    ELuDayOfWeek eWeekday;
    uint32_t nDayOfYear, nQuarter;
  };
  // clang-format off
  Case const aCases[] = {
      {kNoon,       "2008-03-01 12:00:00", eSaturday,  60,  1},
      {kYearEnd,    "2008-12-31 23:59:59", eWednesday, 365, 4},
      {kJuly4,      "2009-07-04 06:07:08", eSaturday,  184, 3},
      {kPast32Bit,  "2038-01-19 03:14:08", eTuesday,   18,  1},
      {0L,          "1970-01-01 00:00:00", eThursday,  0,   1},
  };
  // clang-format on
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszGmt);
    CLuTime const tim(c.iSeconds);
    std::string const strGmt = c.pszGmt;
    EXPECT_EQ(strGmt, Gmt(tim));
    // In UTC the local forms are the two halves of the GMT form.
    EXPECT_EQ(strGmt.substr(0, 10), tim.strDate().pszGetString());
    EXPECT_EQ(strGmt.substr(11), tim.strTime().pszGetString());
    char szFields[64];
    snprintf(szFields, sizeof(szFields), "%04u-%02u-%02u %02u:%02u:%02u",
             tim.nYear(), tim.nMonth(), tim.nDay(), tim.nHour(), tim.nMinute(),
             tim.nSecond());
    EXPECT_EQ(strGmt, szFields);
    EXPECT_EQ(c.eWeekday, tim.eDayOfWeek());
    EXPECT_EQ(c.nDayOfYear, tim.nDayOfYear());
    EXPECT_EQ(c.nQuarter, tim.nQuarter());
  }
  uint32_t const anQuarter[] = {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4};
  for (uint32_t nMonth = 1; nMonth <= 12; ++nMonth)
    EXPECT_EQ(anQuarter[nMonth - 1], CLuTime(2008, nMonth, 15).nQuarter());

  // Local forms follow the zone, the GMT form does not: late evening UTC is
  // already the next day in Central Europe.
  UseZone(kCET);
  EXPECT_EQ("2008-12-31 23:59:59", Gmt(CLuTime(kYearEnd)));
  EXPECT_STREQ("2009-01-01", CLuTime(kYearEnd).strDate().pszGetString());
  EXPECT_STREQ("00:59:59", CLuTime(kYearEnd).strTime().pszGetString());
}

TEST_F(Time, MonthNames) {
  char const* const apszNames[] = {
      "Invalid Month", "January",  "February", "March",        "April",
      "May",           "June",     "July",     "August",       "September",
      "October",       "November", "December", "Invalid Month"};
  for (unsigned int n = 0; n <= 13; ++n)
    EXPECT_STREQ(apszNames[n], CLuTime::strMonthFromNumber(n).pszGetString());
  EXPECT_STREQ("Invalid Month",
               CLuTime::strMonthFromNumber(4294967295u).pszGetString());
}

TEST_F(Time, FieldsAreLocalAndNormalisedByMktime) {
  EXPECT_EQ(kMarch1, CLuTime(2008, 2, 30).iGetSeconds());
  EXPECT_EQ(1196467200L, CLuTime(2008, 0, 1).iGetSeconds());  // 2007-12-01
  EXPECT_EQ(kMarch1 + 3600, CLuTime(2008, 2, 29, 25, 0, 0).iGetSeconds());
  EXPECT_FALSE(CLuTime(4294967295u, 1, 1).bIsValid());  // not wrapped

  struct Case {
    long (CLuTime::*pfnSet)(unsigned int);
    unsigned int nValue;
    char const* pszExpected;
  };
  Case const aCases[] = {
      {&CLuTime::SetYear, 2009, "2009-03-01 12:00:00"},
      {&CLuTime::SetMonth, 13, "2009-01-01 12:00:00"},
      {&CLuTime::SetDay, 0, "2008-02-29 12:00:00"},
      {&CLuTime::SetHour, 24, "2008-03-02 00:00:00"},
      {&CLuTime::SetMinute, 59, "2008-03-01 12:59:00"},
      {&CLuTime::SetSecond, 7, "2008-03-01 12:00:07"},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszExpected);
    CLuTime tim(kNoon);
    EXPECT_EQ(tim.iGetSeconds(), (tim.*c.pfnSet)(c.nValue));
    EXPECT_EQ(c.pszExpected, Gmt(tim));
  }
  // The invalid value is not guarded: it is one second before 1970.
  CLuTime timInvalidSet(-1L);
  timInvalidSet.SetYear(2000);
  EXPECT_EQ("2000-12-31 23:59:59", Gmt(timInvalidSet));

  // Noon in Central Europe: 11:00 UTC in winter, 10:00 UTC in summer.
  UseZone(kCET);
  EXPECT_EQ(kNoon - 3600, CLuTime(2008, 3, 1, 12, 0, 0).iGetSeconds());
  EXPECT_EQ(1214906400L, CLuTime(2008, 7, 1, 12, 0, 0).iGetSeconds());
}

TEST_F(Time, DateParserRangeChecksAndSeparators) {
  struct Case {
    char const* pszText;
    long iExpected;  // -1: invalid
  };
  // clang-format off
  Case const aCases[] = {
      {"2008-03-01", kMarch1},  {" \t2008-03-01\r\n", kMarch1},
      {"2008--01--05", kJan5},  {"2008-1-5", kJan5},
      {"2008-2-30", kMarch1},   {"2008-13-01", -1},  {"2008-00-01", -1},
      {"2008-01-32", -1},       {"2008-01-00", -1},  {"2008-01", -1},
      {"", -1},                 {"2008-01-05x", -1}, {"abcd-01-05", -1},
      {"2008-01-05 12:00:00", -1},
  };
  // clang-format on
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszText);
    EXPECT_EQ(c.iExpected, CLuTime::timFromYYYYMMDD(c.pszText).iGetSeconds());
  }
  // Local midnight; what strDate writes reads back.
  UseZone(kCET);
  CLuTime const tim = CLuTime::timFromYYYYMMDD("2008-03-01");
  EXPECT_EQ(kMarch1 - 3600, tim.iGetSeconds());
  EXPECT_EQ(tim, CLuTime::timFromYYYYMMDD(tim.strDate()));
}

TEST_F(Time, GMTParserRangeChecksAndSeparatorsInAnyZone) {
  struct Case {
    char const* pszText;
    long iExpected;  // -1: invalid
  };
  // clang-format off
  Case const aCases[] = {
      {"2008-03-01 12:00:00", kNoon},
      {"\n 2008--03--01   12::00::00 \t", kNoon},
      {"2009-07-04 06:07:08", kJuly4},  // summer time in Central Europe
      {"2038-01-19 03:14:08", kPast32Bit},
      {"2008-03-01 24:00:00", -1}, {"2008-03-01 12:60:00", -1},
      {"2008-03-01 12:00:60", -1}, {"2008-13-01 12:00:00", -1},
      {"2008-03-32 12:00:00", -1}, {"2008-03-01 12:00", -1},
      {"2008-03-01T12:00:00", -1},
  };
  // clang-format on
  for (char const* pszZone : {kUTC, kCET}) {
    UseZone(pszZone);
    for (Case const& c : aCases) {
      SCOPED_TRACE(std::string(pszZone) + " " + c.pszText);
      EXPECT_EQ(c.iExpected,
                CLuTime::timFromGMTString(c.pszText).iGetSeconds());
    }
  }
  // 00:59:59 read as Central European time is one second before 1970, for
  // which mktime returns -1: a real instant, not a failure.
  EXPECT_EQ(3599L,
            CLuTime::timFromGMTString("1970-01-01 00:59:59").iGetSeconds());
  EXPECT_EQ(
      kJuly4,
      CLuTime::timFromGMTString(Gmt(CLuTime(kJuly4)).c_str()).iGetSeconds());
}

TEST_F(Time, CurrentTimeIsNow) {
  long const iBefore = static_cast<long>(std::time(nullptr));
  long const iNow = CLuTime::timCurrent().iGetSeconds();
  long const iDefault = CLuTime().iGetSeconds();
  EXPECT_LE(iBefore, iNow);
  EXPECT_LE(iNow, iDefault);
  EXPECT_LE(iDefault, static_cast<long>(std::time(nullptr)));
}

}  // namespace
