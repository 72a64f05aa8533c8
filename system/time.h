// CLuTime: a calendar date and time as seconds since 1970-01-01 00:00:00 UTC.
//
// The count is a signed long and -1 means invalid. The platform's time_t is
// 64-bit on every target (32-bit x86 builds with 64-bit time), while a long
// may be 32 bits there: a count that a long cannot hold (past 2038 on such a
// target) is the invalid value, never a wrapped date.
// Fields are read and set in local time (localtime_r / mktime, so the TZ
// environment applies); the text forms are fixed ISO-like layouts and two of
// them read back. Builds on CLuString (base/string.h). Nothing here throws
// or prints: failures give the invalid value, "Invalid" or default fields.
#pragma once

#include <cstdint>

#include "base/string.h"

// Day of the week as eDayOfWeek() gives it.
enum ELuDayOfWeek {
  eSunday = 0,
  eMonday = 1,
  eTuesday = 2,
  eWednesday = 3,
  eThursday = 4,
  eFriday = 5,
  eSaturday = 6,
};

class CLuTime {
 public:
  // The current time (time()).
  CLuTime();
  // The given seconds count; -1 gives the invalid value.
  CLuTime(long const& iSeconds);
  CLuTime(CLuTime const& timOther) = default;
  // From local fields: year (full, e.g. 2008), month 1-12, day, hour,
  // minute, second, daylight saving left to the time zone rules. Out-of-range
  // fields are normalised by mktime ("2008-02-30" is 1 March 2008). Each
  // field less its offset (year 1900, month 1) is taken in unsigned 32-bit
  // arithmetic and read as int, so a value beyond int wraps: day 4294967295
  // is day -1. A result mktime cannot represent, or a long cannot hold,
  // gives the invalid value.
  CLuTime(unsigned int nYear, unsigned int nMonth, unsigned int nDay,
          unsigned int nHour = 0, unsigned int nMinute = 0,
          unsigned int nSecond = 0);
  CLuTime& operator=(CLuTime const& timOther) = default;

  // The current time.
  static CLuTime timCurrent();
  // The given seconds count (a time_t, a file's time); the invalid value
  // when a long cannot hold it.
  static CLuTime timFromSeconds(int64_t i64Seconds);

  // The seconds count since 1970 (UTC); -1 for the invalid value.
  long iGetSeconds() const;
  // False for the invalid value (-1), true otherwise.
  bool bIsValid() const;

  // Local fields. When the value is invalid, or the conversion to local time
  // fails, they read year 0, month 1, day 1 and 0 for everything else.
  uint32_t nYear() const;           // full year
  uint32_t nMonth() const;          // 1-12
  uint32_t nDay() const;            // 1-31
  uint32_t nHour() const;           // 0-23
  uint32_t nMinute() const;         // 0-59
  uint32_t nSecond() const;         // 0-60 (60 only on a leap second)
  ELuDayOfWeek eDayOfWeek() const;  // eSunday (0) .. eSaturday (6)
  uint32_t nDayOfYear() const;      // 0-based: 1 January is 0
  // 1 for the invalid value, else (nMonth() + 2) / 3, i.e. 1-4.
  uint32_t nQuarter() const;

  // Field setters: break the value into local time, replace one field (the
  // month 1-12, the others as read; a value beyond int wraps as in the field
  // constructor), convert back with mktime (which normalises out-of-range
  // fields), store the result and return it; -1 (invalid) when mktime fails
  // or a long cannot hold the result. The daylight-saving field stays as
  // localtime gave it: moving a summer time into winter keeps the summer
  // offset (noon CEST set to January reads 11:00 CET). An invalid value is
  // not guarded against: it is broken down like any other count.
  long SetYear(unsigned int nYear);
  long SetMonth(unsigned int nMonth);
  long SetDay(unsigned int nDay);
  long SetHour(unsigned int nHour);
  long SetMinute(unsigned int nMinute);
  long SetSecond(unsigned int nSecond);

  // UTC as "%Y-%m-%d %H:%M:%S" (19 characters for years 1000-9999), or
  // "Invalid" for the invalid value or when the conversion fails.
  CLuString strAsGMTString() const;
  // Local date as "%Y-%m-%d", or "Invalid".
  CLuString strDate() const;
  // Local time of day as "%H:%M:%S", or "Invalid".
  CLuString strTime() const;
  // English month name for 1-12 ("January" .. "December"), "Invalid Month"
  // for 0 and every value above 12.
  static CLuString strMonthFromNumber(unsigned int nMonth);

  // Reads "YYYY-MM-DD" (what strDate() writes) as local midnight. White
  // space ("\n\t \r") around the text is ignored and separators may repeat
  // ("2008--01--05"). The year may be any unsigned number, the month must be
  // 1-12 and the day 1-31 (mktime normalises "2008-2-30"). The invalid value
  // on any failure.
  static CLuTime timFromYYYYMMDD(CLuString strText);
  // Reads "YYYY-MM-DD hh:mm:ss" (what strAsGMTString() writes) as a UTC
  // instant. Month 1-12, day 1-31, hour 0-23, minute and second 0-59;
  // surrounding white space ignored, separators may repeat. The invalid
  // value on any failure.
  static CLuTime timFromGMTString(CLuString strText);

 private:
  long m_iSeconds;
};

// Comparisons of the seconds counts (the invalid value compares as -1).
bool operator==(CLuTime const& timA, CLuTime const& timB);
bool operator!=(CLuTime const& timA, CLuTime const& timB);
bool operator<(CLuTime const& timA, CLuTime const& timB);
bool operator<=(CLuTime const& timA, CLuTime const& timB);
bool operator>(CLuTime const& timA, CLuTime const& timB);
bool operator>=(CLuTime const& timA, CLuTime const& timB);

// Every translation unit that includes this header has its own constant
// invalid time, built by the static initialisers before main. Start-up
// leaves the process's file-creation mask alone: clearing it would make
// every file and folder the framework creates writable by everyone.
static CLuTime const timInvalid(-1);
