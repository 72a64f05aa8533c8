#include "system/time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace {

// POSIX rule strings need no zone database: UTC, and Central European time
// with summer time from the last Sunday of March to the last of October.
char const* const kUTC = "UTC0";
char const* const kCET = "CET-1CEST,M3.5.0,M10.5.0/3";

// Every test runs in a pinned time zone and gives the previous one back.
class Time : public ::testing::Test {
 protected:
  void SetUp() override {
    char const* pszOld = std::getenv("TZ");
    m_bHadTZ = pszOld != nullptr;
    if (m_bHadTZ) m_strOldTZ = pszOld;
    UseZone(kUTC);
  }
  void TearDown() override {
    if (m_bHadTZ) {
      setenv("TZ", m_strOldTZ.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  static void UseZone(char const* pszZone) {
    setenv("TZ", pszZone, 1);
    tzset();
  }

 private:
  bool m_bHadTZ = false;
  std::string m_strOldTZ;
};

// Seconds counts computed independently of this code (days since 1970 by
// hand, cross-checked with the system's date tool).
constexpr long k20080301Noon = 1204372800L;   // Sat 2008-03-01 12:00 UTC
constexpr long k20080301 = 1204329600L;       // Sat 2008-03-01 00:00 UTC
constexpr long k20080105 = 1199491200L;       // Sat 2008-01-05 00:00 UTC
constexpr long k20081231Last = 1230767999L;   // Wed 2008-12-31 23:59:59
constexpr long k20090704 = 1246687628L;       // Sat 2009-07-04 06:07:08
constexpr long k2038Past32Bit = 2147483648L;  // Tue 2038-01-19 03:14:08

TEST_F(Time, InvalidValuePrintsInvalidEverywhereAndHasDefaultFields) {
  CLuTime const tim(-1L);
  EXPECT_FALSE(tim.bIsValid());
  EXPECT_STREQ("Invalid", tim.strAsGMTString().pszGetString());
  EXPECT_STREQ("Invalid", tim.strDate().pszGetString());
  EXPECT_STREQ("Invalid", tim.strTime().pszGetString());
  EXPECT_EQ(1u, tim.nQuarter());
  EXPECT_EQ(0u, tim.nYear());
  EXPECT_EQ(1u, tim.nMonth());
  EXPECT_EQ(1u, tim.nDay());
  EXPECT_EQ(0u, tim.nHour() + tim.nMinute() + tim.nSecond());
  EXPECT_EQ(eSunday, tim.eDayOfWeek());
  EXPECT_EQ(0u, tim.nDayOfYear());
  // The per-unit constant is the same invalid value.
  EXPECT_EQ(-1L, timInvalid.iGetSeconds());
  EXPECT_TRUE(timInvalid == tim);
}

TEST_F(Time, TextFormsInUTCAndLocalZone) {
  CLuTime const tim(k20080301Noon);
  EXPECT_STREQ("2008-03-01 12:00:00", tim.strAsGMTString().pszGetString());
  EXPECT_STREQ("2008-03-01", tim.strDate().pszGetString());
  EXPECT_STREQ("12:00:00", tim.strTime().pszGetString());
  EXPECT_STREQ("1970-01-01 00:00:00",
               CLuTime(0L).strAsGMTString().pszGetString());
  EXPECT_STREQ("2038-01-19 03:14:08",
               CLuTime(k2038Past32Bit).strAsGMTString().pszGetString());

  // Local forms follow the zone, the GMT form does not. Late evening UTC is
  // already the next day in Central Europe.
  UseZone(kCET);
  EXPECT_STREQ("2008-03-01 12:00:00", tim.strAsGMTString().pszGetString());
  EXPECT_STREQ("13:00:00", tim.strTime().pszGetString());
  CLuTime const timLate(k20081231Last);
  EXPECT_STREQ("2009-01-01", timLate.strDate().pszGetString());
  EXPECT_STREQ("00:59:59", timLate.strTime().pszGetString());
}

TEST_F(Time, LocalFieldsWeekdayDayOfYearAndQuarter) {
  struct Case {
    long iSeconds;
    uint32_t nYear, nMonth, nDay, nHour, nMinute, nSecond;
    ELuDayOfWeek eWeekday;
    uint32_t nDayOfYear, nQuarter;
  };
  Case const aCases[] = {
      {k20080301Noon, 2008, 3, 1, 12, 0, 0, eSaturday, 60, 1},
      {k20081231Last, 2008, 12, 31, 23, 59, 59, eWednesday, 365, 4},
      {k20090704, 2009, 7, 4, 6, 7, 8, eSaturday, 184, 3},
      {k2038Past32Bit, 2038, 1, 19, 3, 14, 8, eTuesday, 18, 1},
      {0L, 1970, 1, 1, 0, 0, 0, eThursday, 0, 1},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.iSeconds);
    CLuTime const tim(c.iSeconds);
    EXPECT_EQ(c.nYear, tim.nYear());
    EXPECT_EQ(c.nMonth, tim.nMonth());
    EXPECT_EQ(c.nDay, tim.nDay());
    EXPECT_EQ(c.nHour, tim.nHour());
    EXPECT_EQ(c.nMinute, tim.nMinute());
    EXPECT_EQ(c.nSecond, tim.nSecond());
    EXPECT_EQ(c.eWeekday, tim.eDayOfWeek());
    EXPECT_EQ(c.nDayOfYear, tim.nDayOfYear());
    EXPECT_EQ(c.nQuarter, tim.nQuarter());
  }
  // Quarter boundaries: months 3/4, 6/7, 9/10.
  uint32_t const anQuarters[13] = {0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4};
  for (uint32_t nMonth = 1; nMonth <= 12; ++nMonth) {
    SCOPED_TRACE(nMonth);
    EXPECT_EQ(anQuarters[nMonth], CLuTime(2008, nMonth, 15).nQuarter());
  }
}

TEST_F(Time, MonthNamesAndInvalidMonth) {
  char const* const apszNames[] = {
      "Invalid Month", "January",  "February", "March",        "April",
      "May",           "June",     "July",     "August",       "September",
      "October",       "November", "December", "Invalid Month"};
  for (unsigned int n = 0; n <= 13; ++n) {
    SCOPED_TRACE(n);
    EXPECT_STREQ(apszNames[n], CLuTime::strMonthFromNumber(n).pszGetString());
  }
  EXPECT_STREQ("Invalid Month",
               CLuTime::strMonthFromNumber(4294967295u).pszGetString());
}

TEST_F(Time, FieldConstructorIsLocalAndNormalisedByMktime) {
  EXPECT_EQ(k20080301Noon, CLuTime(2008, 3, 1, 12, 0, 0).iGetSeconds());
  // Out-of-range fields roll over instead of failing.
  EXPECT_EQ(k20080301, CLuTime(2008, 2, 30).iGetSeconds());
  EXPECT_EQ(1196467200L, CLuTime(2008, 0, 1).iGetSeconds());  // 2007-12-01
  EXPECT_EQ(k20080301 + 3600, CLuTime(2008, 2, 29, 25, 0, 0).iGetSeconds());
  // A year past the broken-down time's reach is invalid, not wrapped.
  EXPECT_FALSE(CLuTime(4294967295u, 1, 1).bIsValid());

  // Local time: noon in Central Europe is 11:00 UTC in winter and, with
  // daylight saving left to the zone rules, 10:00 UTC in summer.
  UseZone(kCET);
  EXPECT_EQ(k20080301Noon - 3600, CLuTime(2008, 3, 1, 12, 0, 0).iGetSeconds());
  EXPECT_EQ(1214906400L, CLuTime(2008, 7, 1, 12, 0, 0).iGetSeconds());
}

TEST_F(Time, SettersReplaceOneFieldAndNormalise) {
  struct Case {
    char const* pszWhat;
    long (CLuTime::*pfnSet)(unsigned int);
    unsigned int nValue;
    char const* pszExpected;
  };
  Case const aCases[] = {
      {"year", &CLuTime::SetYear, 2009, "2009-03-01 12:00:00"},
      {"month", &CLuTime::SetMonth, 12, "2008-12-01 12:00:00"},
      {"day", &CLuTime::SetDay, 31, "2008-03-31 12:00:00"},
      {"day 0 is the last of February", &CLuTime::SetDay, 0,
       "2008-02-29 12:00:00"},
      {"hour", &CLuTime::SetHour, 23, "2008-03-01 23:00:00"},
      {"hour 24 rolls into the next day", &CLuTime::SetHour, 24,
       "2008-03-02 00:00:00"},
      {"minute", &CLuTime::SetMinute, 59, "2008-03-01 12:59:00"},
      {"second", &CLuTime::SetSecond, 7, "2008-03-01 12:00:07"},
      {"month 13 is next January", &CLuTime::SetMonth, 13,
       "2009-01-01 12:00:00"},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszWhat);
    CLuTime tim(k20080301Noon);
    long const iResult = (tim.*c.pfnSet)(c.nValue);
    EXPECT_EQ(tim.iGetSeconds(), iResult);
    EXPECT_STREQ(c.pszExpected, tim.strAsGMTString().pszGetString());
  }
  // The invalid value is broken down like any other count: one second
  // before 1970.
  CLuTime timInvalidSet(-1L);
  timInvalidSet.SetYear(2000);
  EXPECT_STREQ("2000-12-31 23:59:59",
               timInvalidSet.strAsGMTString().pszGetString());
  // 29 February in a year without it becomes 1 March.
  CLuTime timLeap(CLuTime(2008, 2, 29));
  timLeap.SetYear(2009);
  EXPECT_STREQ("2009-03-01", timLeap.strDate().pszGetString());
}

TEST_F(Time, DateParserRangeChecksAndSeparators) {
  struct Case {
    char const* pszText;
    long iExpected;  // -1: invalid
  };
  Case const aCases[] = {
      {"2008-03-01", k20080301},
      {" \t2008-03-01\r\n", k20080301},
      {"2008--01--05", k20080105},
      {"2008-1-5", k20080105},
      {"2008-2-30", k20080301},  // day <= 31 passes, mktime rolls it over
      {"2008-13-01", -1},
      {"2008-00-01", -1},
      {"2008-01-32", -1},
      {"2008-01-00", -1},
      {"2008-01", -1},
      {"2008", -1},
      {"", -1},
      {"   ", -1},
      {"2008-01-05x", -1},
      {"2008-01-05 12:00:00", -1},
      {"abcd-01-05", -1},
      {"4294967295-01-01", -1},  // a year no calendar count holds
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszText);
    EXPECT_EQ(c.iExpected,
              CLuTime::timFromYYYYMMDD(CLuString(c.pszText)).iGetSeconds());
  }
  // Local midnight, and what strDate writes reads back.
  UseZone(kCET);
  CLuTime const tim = CLuTime::timFromYYYYMMDD(CLuString("2008-03-01"));
  EXPECT_EQ(k20080301 - 3600, tim.iGetSeconds());
  EXPECT_EQ(tim, CLuTime::timFromYYYYMMDD(tim.strDate()));
}

TEST_F(Time, GMTParserRangeChecksAndSeparators) {
  struct Case {
    char const* pszText;
    long iExpected;  // -1: invalid
  };
  Case const aCases[] = {
      {"2008-03-01 12:00:00", k20080301Noon},
      {"\n 2008-03-01 12:00:00 \t", k20080301Noon},
      {"2008--03--01   12::00::00", k20080301Noon},
      {"2009-07-04 06:07:08", k20090704},
      {"2008-12-31 23:59:59", k20081231Last},
      {"2038-01-19 03:14:08", k2038Past32Bit},  // needs the 64-bit count
      {"2008-03-01 24:00:00", -1},
      {"2008-03-01 12:60:00", -1},
      {"2008-03-01 12:00:60", -1},
      {"2008-13-01 12:00:00", -1},
      {"2008-03-32 12:00:00", -1},
      {"2008-03-00 12:00:00", -1},
      {"2008-03-01 12:00", -1},
      {"2008-03-01", -1},
      {"2008-03-01T12:00:00", -1},
      {"", -1},
  };
  for (char const* pszZone : {kUTC, kCET}) {
    UseZone(pszZone);
    for (Case const& c : aCases) {
      SCOPED_TRACE(std::string(pszZone) + " " + c.pszText);
      EXPECT_EQ(c.iExpected,
                CLuTime::timFromGMTString(CLuString(c.pszText)).iGetSeconds());
    }
  }
  // 00:59:59 read as Central European time is one second before 1970, for
  // which mktime returns -1: a real instant, not a failure.
  UseZone(kCET);
  EXPECT_EQ(3599L, CLuTime::timFromGMTString(CLuString("1970-01-01 00:59:59"))
                       .iGetSeconds());
  CLuTime const timSummer(k20090704);
  EXPECT_EQ(timSummer, CLuTime::timFromGMTString(timSummer.strAsGMTString()));
}

TEST_F(Time, CurrentTimeIsNow) {
  long const iBefore = static_cast<long>(std::time(nullptr));
  long const iNow = CLuTime::timCurrent().iGetSeconds();
  long const iDefault = CLuTime().iGetSeconds();
  long const iAfter = static_cast<long>(std::time(nullptr));
  EXPECT_LE(iBefore, iNow);
  EXPECT_LE(iNow, iDefault);
  EXPECT_LE(iDefault, iAfter);
}

}  // namespace
