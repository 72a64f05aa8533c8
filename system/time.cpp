#include "system/time.h"

#include <climits>
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

// Stores a 64-bit field value into an int field of struct tm; false when it
// does not fit, so an absurd field gives the invalid value instead of
// wrapping into a plausible but wrong date.
bool bSetField(int* piField, int64_t i64Value) {
  if (i64Value < INT_MIN || i64Value > INT_MAX) return false;
  *piField = static_cast<int>(i64Value);
  return true;
}

// mktime of a copy of the fields with daylight saving "unknown". False when
// it fails: a result of -1 alone is ambiguous (one second before 1970 is a
// real instant), so a weekday that mktime never filled in tells failure.
// *piSeconds receives the count (-1 on failure); pTmOut (may be null) the
// normalised fields.
bool bMakeTime(struct tm tmFields, long* piSeconds, struct tm* pTmOut) {
  tmFields.tm_isdst = -1;
  tmFields.tm_wday = -1;
  time_t const t = std::mktime(&tmFields);
  bool const bOk = !(t == static_cast<time_t>(-1) && tmFields.tm_wday == -1);
  *piSeconds = bOk ? static_cast<long>(t) : -1;
  if (pTmOut != nullptr) *pTmOut = tmFields;
  return bOk;
}

// mktime of the fields as a plain count: -1 when it fails.
long iMakeTime(struct tm const& tmFields) {
  long iSeconds = -1;
  bMakeTime(tmFields, &iSeconds, nullptr);
  return iSeconds;
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
  struct tm tmFields;
  time_t const t = static_cast<time_t>(iSeconds);
  if (localtime_r(&t, &tmFields) == nullptr) tmFields = tmDefaults();
  bool bFits = false;
  switch (eField) {
    case eFieldYear:
      bFits = bSetField(&tmFields.tm_year, int64_t{nValue} - 1900);
      break;
    case eFieldMonth:
      bFits = bSetField(&tmFields.tm_mon, int64_t{nValue} - 1);
      break;
    case eFieldDay:
      bFits = bSetField(&tmFields.tm_mday, nValue);
      break;
    case eFieldHour:
      bFits = bSetField(&tmFields.tm_hour, nValue);
      break;
    case eFieldMinute:
      bFits = bSetField(&tmFields.tm_min, nValue);
      break;
    case eFieldSecond:
      bFits = bSetField(&tmFields.tm_sec, nValue);
      break;
  }
  return bFits ? iMakeTime(tmFields) : -1;
}

}  // namespace

CLuTime::CLuTime() : m_iSeconds(static_cast<long>(std::time(nullptr))) {}

CLuTime::CLuTime(long const& iSeconds) : m_iSeconds(iSeconds) {}

CLuTime::CLuTime(unsigned int nYear, unsigned int nMonth, unsigned int nDay,
                 unsigned int nHour, unsigned int nMinute, unsigned int nSecond)
    : m_iSeconds(-1) {
  struct tm tmFields;
  std::memset(&tmFields, 0, sizeof(tmFields));
  if (bSetField(&tmFields.tm_year, int64_t{nYear} - 1900) &&
      bSetField(&tmFields.tm_mon, int64_t{nMonth} - 1) &&
      bSetField(&tmFields.tm_mday, nDay) &&
      bSetField(&tmFields.tm_hour, nHour) &&
      bSetField(&tmFields.tm_min, nMinute) &&
      bSetField(&tmFields.tm_sec, nSecond)) {
    m_iSeconds = iMakeTime(tmFields);
  }
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
  return static_cast<uint32_t>(tmLocalFields(m_iSeconds).tm_year + 1900);
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
  if (!bSetField(&tmFields.tm_year, int64_t{nYear} - 1900)) return CLuTime(-1);
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
  return CLuTime(long(tim));
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
