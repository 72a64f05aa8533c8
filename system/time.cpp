#include "system/time.h"

#include <cerrno>
#include <cstring>
#include <ctime>

namespace {

// White space trimmed from both ends of a text before it is parsed.
char const* const kWhiteSpace = "\n\t \r";

// The broken-down fields a failed conversion reads as: year 0 (tm_year
// -1900), month 1, day 1, everything else 0.
struct tm tmDefaults() {
  struct tm tmResult;
  std::memset(&tmResult, 0, sizeof(tmResult));
  tmResult.tm_year = -1900;
  tmResult.tm_mday = 1;
  return tmResult;
}

// Local broken-down time of a valid value; the defaults for the invalid value
// or when the conversion fails. localtime_r rather than localtime: the same
// conversion without the shared static buffer.
struct tm tmLocalFields(long iSeconds) {
  struct tm tmResult;
  time_t const t = static_cast<time_t>(iSeconds);
  if (iSeconds == -1 || localtime_r(&t, &tmResult) == nullptr) {
    return tmDefaults();
  }
  return tmResult;
}

// Formats a value with strftime after gmtime_r (bUTC) or localtime_r;
// "Invalid" for the invalid value or a failed conversion.
CLuString strFormatTime(long iSeconds, char const* pszFormat, bool bUTC) {
  CLuString strResult;
  struct tm tmFields;
  time_t const t = static_cast<time_t>(iSeconds);
  bool const bConverted =
      iSeconds != -1 && (bUTC ? gmtime_r(&t, &tmFields) != nullptr
                              : localtime_r(&t, &tmFields) != nullptr);
  char szBuffer[64];
  if (!bConverted ||
      std::strftime(szBuffer, sizeof(szBuffer), pszFormat, &tmFields) == 0) {
    strResult = "Invalid";
  } else {
    strResult = szBuffer;
  }
  return strResult;
}

// An unsigned field value less its offset (1900 for the year, 1 for the
// month, 0 otherwise) as the int field of struct tm receives it: the
// difference is taken in unsigned 32-bit arithmetic and read as int, so a
// value beyond int wraps (a day of 4294967295 is day -1, which mktime
// normalises to two days before the month's first).
int iFieldValue(unsigned int nValue, unsigned int nOffset) {
  return static_cast<int>(static_cast<uint32_t>(nValue - nOffset));
}

// mktime of a copy of the fields, with the daylight-saving field as given.
// -1 when it fails (a result of -1 alone is ambiguous, one second before
// 1970 being a real instant, so a weekday that mktime never filled in tells
// failure) or when the result does not fit the seconds count.
long iMakeTime(struct tm tmFields) {
  tmFields.tm_wday = -1;
  time_t const t = std::mktime(&tmFields);
  if (t == static_cast<time_t>(-1) && tmFields.tm_wday == -1) return -1;
  return CLuTime::timFromSeconds(t).iGetSeconds();
}

// Takes the next token up to one of pszSeparators from the front of strText
// and converts it into *pnValue within [nMin, nMax]. False when there is no
// token or it is not a number in the range.
bool bNextNumber(CLuString* pstrText, char const* pszSeparators,
                 uint32_t* pnValue, uint32_t nMin, uint32_t nMax) {
  CLuString strToken;
  if (!pstrText->bGetNextToken(pszSeparators, &strToken, false, 0)) {
    return false;
  }
  return strToken.bToUINT(pnValue, nMin, nMax);
}

// The common step of the field setters: local fields of the value (no guard
// against the invalid value; the defaults only if the conversion fails), one
// field replaced, mktime back. -1 when the field does not fit or mktime
// fails.
enum EField {
  eFieldYear,
  eFieldMonth,
  eFieldDay,
  eFieldHour,
  eFieldMinute,
  eFieldSecond
};

long iReplaceField(long iSeconds, EField eField, unsigned int nValue) {
  // The daylight-saving field stays as localtime gave it: a summer time
  // moved into winter keeps its summer offset, as mktime reads it.
  struct tm tmFields;
  time_t const t = static_cast<time_t>(iSeconds);
  if (localtime_r(&t, &tmFields) == nullptr) tmFields = tmDefaults();
  switch (eField) {
    case eFieldYear:
      tmFields.tm_year = iFieldValue(nValue, 1900);
      break;
    case eFieldMonth:
      tmFields.tm_mon = iFieldValue(nValue, 1);
      break;
    case eFieldDay:
      tmFields.tm_mday = iFieldValue(nValue, 0);
      break;
    case eFieldHour:
      tmFields.tm_hour = iFieldValue(nValue, 0);
      break;
    case eFieldMinute:
      tmFields.tm_min = iFieldValue(nValue, 0);
      break;
    case eFieldSecond:
      tmFields.tm_sec = iFieldValue(nValue, 0);
      break;
  }
  return iMakeTime(tmFields);
}

}  // namespace

CLuTime::CLuTime()
    : m_iSeconds(timFromSeconds(std::time(nullptr)).m_iSeconds) {}

CLuTime::CLuTime(long const& iSeconds) : m_iSeconds(iSeconds) {}

CLuTime::CLuTime(unsigned int nYear, unsigned int nMonth, unsigned int nDay,
                 unsigned int nHour, unsigned int nMinute, unsigned int nSecond)
    : m_iSeconds(-1) {
  struct tm tmFields;
  std::memset(&tmFields, 0, sizeof(tmFields));
  tmFields.tm_year = iFieldValue(nYear, 1900);
  tmFields.tm_mon = iFieldValue(nMonth, 1);
  tmFields.tm_mday = iFieldValue(nDay, 0);
  tmFields.tm_hour = iFieldValue(nHour, 0);
  tmFields.tm_min = iFieldValue(nMinute, 0);
  tmFields.tm_sec = iFieldValue(nSecond, 0);
  tmFields.tm_isdst = -1;  // left to the time zone rules
  m_iSeconds = iMakeTime(tmFields);
}

CLuTime CLuTime::timFromSeconds(int64_t i64Seconds) {
  // A 32-bit long cannot hold a count past 2038: that is the invalid value,
  // not a wrapped date in 1901.
  long const iSeconds = static_cast<long>(i64Seconds);
  return CLuTime(iSeconds == i64Seconds ? iSeconds : -1L);
}

CLuTime CLuTime::timCurrent() {
  return CLuTime();
}

long CLuTime::iGetSeconds() const {
  return m_iSeconds;
}

bool CLuTime::bIsValid() const {
  return m_iSeconds != -1;
}

uint32_t CLuTime::nYear() const {
  // Unsigned: the largest year localtime gives (tm_year INT_MAX) would
  // overflow int.
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_year) + 1900u;
}

uint32_t CLuTime::nMonth() const {
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_mon + 1);
}

uint32_t CLuTime::nDay() const {
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_mday);
}

uint32_t CLuTime::nHour() const {
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_hour);
}

uint32_t CLuTime::nMinute() const {
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_min);
}

uint32_t CLuTime::nSecond() const {
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_sec);
}

ELuDayOfWeek CLuTime::eDayOfWeek() const {
  return static_cast<ELuDayOfWeek>(tmLocalFields(m_iSeconds).tm_wday);
}

uint32_t CLuTime::nDayOfYear() const {
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_yday);
}

uint32_t CLuTime::nQuarter() const {
  if (!bIsValid()) return 1;
  return (nMonth() + 2) / 3;
}

long CLuTime::SetYear(unsigned int nYear) {
  return m_iSeconds = iReplaceField(m_iSeconds, eFieldYear, nYear);
}

long CLuTime::SetMonth(unsigned int nMonth) {
  return m_iSeconds = iReplaceField(m_iSeconds, eFieldMonth, nMonth);
}

long CLuTime::SetDay(unsigned int nDay) {
  return m_iSeconds = iReplaceField(m_iSeconds, eFieldDay, nDay);
}

long CLuTime::SetHour(unsigned int nHour) {
  return m_iSeconds = iReplaceField(m_iSeconds, eFieldHour, nHour);
}

long CLuTime::SetMinute(unsigned int nMinute) {
  return m_iSeconds = iReplaceField(m_iSeconds, eFieldMinute, nMinute);
}

long CLuTime::SetSecond(unsigned int nSecond) {
  return m_iSeconds = iReplaceField(m_iSeconds, eFieldSecond, nSecond);
}

CLuString CLuTime::strAsGMTString() const {
  return strFormatTime(m_iSeconds, "%Y-%m-%d %H:%M:%S", true);
}

CLuString CLuTime::strDate() const {
  return strFormatTime(m_iSeconds, "%Y-%m-%d", false);
}

CLuString CLuTime::strTime() const {
  return strFormatTime(m_iSeconds, "%H:%M:%S", false);
}

CLuString CLuTime::strMonthFromNumber(unsigned int nMonth) {
  static char const* const s_apszMonths[12] = {
      "January", "February", "March",     "April",   "May",      "June",
      "July",    "August",   "September", "October", "November", "December"};
  CLuString strResult;
  if (nMonth >= 1 && nMonth <= 12) {
    strResult = s_apszMonths[nMonth - 1];
  } else {
    strResult = "Invalid Month";
  }
  return strResult;
}

CLuTime CLuTime::timFromYYYYMMDD(CLuString strText) {
  strText.TruncateWhiteSpace(kWhiteSpace);
  uint32_t nYear = 0;
  uint32_t nMonth = 0;
  uint32_t nDay = 0;
  if (!bNextNumber(&strText, "-", &nYear, 0, 0xFFFFFFFFu) ||
      !bNextNumber(&strText, "-", &nMonth, 1, 12) ||
      !strText.bToUINT(&nDay, 1, 31)) {
    return CLuTime(-1);
  }
  return CLuTime(nYear, nMonth, nDay, 0, 0, 0);
}

CLuTime CLuTime::timFromGMTString(CLuString strText) {
  strText.TruncateWhiteSpace(kWhiteSpace);
  uint32_t nYear = 0;
  uint32_t nMonth = 0;
  uint32_t nDay = 0;
  uint32_t nHour = 0;
  uint32_t nMinute = 0;
  uint32_t nSecond = 0;
  if (!bNextNumber(&strText, "-", &nYear, 0, 0xFFFFFFFFu) ||
      !bNextNumber(&strText, "-", &nMonth, 1, 12) ||
      !bNextNumber(&strText, " ", &nDay, 1, 31) ||
      !bNextNumber(&strText, ":", &nHour, 0, 23) ||
      !bNextNumber(&strText, ":", &nMinute, 0, 59) ||
      !strText.bToUINT(&nSecond, 0, 59)) {
    return CLuTime(-1);
  }
  struct tm tmFields;
  std::memset(&tmFields, 0, sizeof(tmFields));
  tmFields.tm_year = iFieldValue(nYear, 1900);
  tmFields.tm_mon = static_cast<int>(nMonth) - 1;
  tmFields.tm_mday = static_cast<int>(nDay);
  tmFields.tm_hour = static_cast<int>(nHour);
  tmFields.tm_min = static_cast<int>(nMinute);
  tmFields.tm_sec = static_cast<int>(nSecond);
  // The fields are UTC. timegm converts (and normalises) them directly:
  // reading them as local time and adding the local offset back gives the
  // same instant except inside a local spring-forward hour, where it would
  // be one hour off.
  errno = 0;
  time_t const tim = timegm(&tmFields);
  if (tim == time_t(-1) && errno != 0) return CLuTime(-1);
  return timFromSeconds(tim);
}

bool operator==(CLuTime const& timA, CLuTime const& timB) {
  return timA.iGetSeconds() == timB.iGetSeconds();
}

bool operator!=(CLuTime const& timA, CLuTime const& timB) {
  return timA.iGetSeconds() != timB.iGetSeconds();
}

bool operator<(CLuTime const& timA, CLuTime const& timB) {
  return timA.iGetSeconds() < timB.iGetSeconds();
}

bool operator<=(CLuTime const& timA, CLuTime const& timB) {
  return timA.iGetSeconds() <= timB.iGetSeconds();
}

bool operator>(CLuTime const& timA, CLuTime const& timB) {
  return timA.iGetSeconds() > timB.iGetSeconds();
}

bool operator>=(CLuTime const& timA, CLuTime const& timB) {
  return timA.iGetSeconds() >= timB.iGetSeconds();
}
