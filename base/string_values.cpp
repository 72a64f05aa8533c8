// CLuString conversions between text and values: numbers in both
// directions, colours, points, rectangles, vectors and times. Built on the
// core operations of string.cpp.
#include <strings.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/containers.h"
#include "base/string.h"

namespace {

bool bIsDigit(char c) {
  return c >= '0' && c <= '9';
}

// The common tail of the whole-text conversions: something was consumed
// and nothing is left.
bool bConsumedAll(char const* psz, char const* pszEnd) {
  return pszEnd != psz && *pszEnd == '\0';
}

// Splits str at "," into exactly nCount fields, each trimmed of blanks.
bool bSplitFields(CLuString const& str, CLuString* pstrFields,
                  uint32_t nCount) {
  uint32_t nStart = 0;
  for (uint32_t i = 0; i < nCount; i++) {
    int32_t const iComma = str.iFind(',', nStart);
    bool const bLast = i + 1 == nCount;
    if (bLast != (iComma < 0)) return false;
    uint32_t const nEnd = bLast ? str.nGetLength() : uint32_t(iComma);
    pstrFields[i] = str.strMid(nStart, nEnd - nStart);
    pstrFields[i].TruncateWhiteSpace(" \t");
    nStart = nEnd + 1;
  }
  return true;
}

}  // namespace

// ---- numbers to text -------------------------------------------------------

void CLuString::FromNumber(bool b) {
  Assign(b ? "true" : "false");
}

void CLuString::FromNumber(int32_t i) {
  Format("%i", int(i));
}

void CLuString::FromNumber(int64_t i64) {
  Format("%lld", static_cast<long long>(i64));
}

void CLuString::FromNumber(uint64_t n64) {
  Format("%llu", static_cast<unsigned long long>(n64));
}

void CLuString::FromNumber(uint8_t by) {
  Format("%u", unsigned(by));
}

CLuString CLuString::strFromNumber(bool b) {
  CLuString str;
  str.FromNumber(b);
  return str;
}

CLuString CLuString::strFromNumber(int32_t i) {
  CLuString str;
  str.FromNumber(i);
  return str;
}

CLuString CLuString::strFromNumber(int64_t i64) {
  CLuString str;
  str.FromNumber(i64);
  return str;
}

CLuString CLuString::strFromNumber(uint64_t n64) {
  CLuString str;
  str.FromNumber(n64);
  return str;
}

CLuString CLuString::strFromNumber(uint8_t by) {
  CLuString str;
  str.FromNumber(by);
  return str;
}

// ---- text to numbers -------------------------------------------------------

bool CLuString::bToInt(int32_t* piValue, int32_t iMin, int32_t iMax) const {
  char* pszEnd = nullptr;
  long long const ll = strtoll(pszGetString(), &pszEnd, 10);
  if (!bConsumedAll(pszGetString(), pszEnd)) return false;
  // strtol with a 32-bit long saturates at the 32-bit limits.
  int32_t const i = ll > INT32_MAX   ? INT32_MAX
                    : ll < INT32_MIN ? INT32_MIN
                                     : int32_t(ll);
  if (i < iMin || i > iMax) return false;
  if (piValue) *piValue = i;
  return true;
}

bool CLuString::bToINT64(int64_t* pi64Value, int64_t i64Min,
                         int64_t i64Max) const {
  char* pszEnd = nullptr;
  long long const ll = strtoll(pszGetString(), &pszEnd, 10);
  if (!bConsumedAll(pszGetString(), pszEnd)) return false;
  if (ll < i64Min || ll > i64Max) return false;
  if (pi64Value) *pi64Value = ll;
  return true;
}

bool CLuString::bToUINT64(uint64_t* pn64Value, uint64_t n64Min,
                          uint64_t n64Max) const {
  char* pszEnd = nullptr;
  unsigned long long const ull = strtoull(pszGetString(), &pszEnd, 10);
  if (!bConsumedAll(pszGetString(), pszEnd)) return false;
  if (ull < n64Min || ull > n64Max) return false;
  if (pn64Value) *pn64Value = ull;
  return true;
}

bool CLuString::bToBYTE(uint8_t* pbyValue, uint8_t byMin, uint8_t byMax) const {
  uint32_t n = 0;
  if (!bToUINT(&n, byMin, byMax)) return false;
  if (pbyValue) *pbyValue = uint8_t(n);
  return true;
}

bool CLuString::bToBool(bool* pbValue) const {
  CLuString str(*this);
  str.TruncateWhiteSpace();
  bool b;
  if (strcasecmp(str, "true") == 0 || str == "1")
    b = true;
  else if (strcasecmp(str, "false") == 0 || str == "0")
    b = false;
  else
    return false;
  if (pbValue) *pbValue = b;
  return true;
}

bool CLuString::bToTime(time_t* ptimValue) const {
  CLuString str(*this);
  str.TruncateWhiteSpace();
  int iYear, iMonth, iDay, iHour = 0, iMinute = 0, iSecond = 0, iUsed = -1;
  int const iFields = sscanf(str, "%4d-%2d-%2d %2d:%2d:%2d%n", &iYear, &iMonth,
                             &iDay, &iHour, &iMinute, &iSecond, &iUsed);
  if (iFields == 6 && uint32_t(iUsed) == str.nGetLength()) {
    // date and time
  } else {
    iUsed = -1;
    iHour = iMinute = iSecond = 0;
    if (sscanf(str, "%4d-%2d-%2d%n", &iYear, &iMonth, &iDay, &iUsed) != 3 ||
        uint32_t(iUsed) != str.nGetLength())
      return false;
  }
  if (iMonth < 1 || iMonth > 12 || iDay < 1 || iDay > 31 || iHour < 0 ||
      iHour > 23 || iMinute < 0 || iMinute > 59 || iSecond < 0 ||
      iSecond > 60 || iYear < 1)
    return false;
  struct tm oTime;
  memset(&oTime, 0, sizeof oTime);
  oTime.tm_year = iYear - 1900;
  oTime.tm_mon = iMonth - 1;
  oTime.tm_mday = iDay;
  oTime.tm_hour = iHour;
  oTime.tm_min = iMinute;
  oTime.tm_sec = iSecond;
  oTime.tm_isdst = -1;
  time_t const tim = mktime(&oTime);
  // A day that does not exist (31 April) comes back normalised: refuse it.
  if (tim == time_t(-1) || oTime.tm_mday != iDay || oTime.tm_mon != iMonth - 1)
    return false;
  if (ptimValue) *ptimValue = tim;
  return true;
}

bool CLuString::bToRect(int32_t* piLeft, int32_t* piTop, int32_t* piRight,
                        int32_t* piBottom) const {
  CLuString astr[4];
  int32_t ai[4];
  if (!bSplitFields(*this, astr, 4)) return false;
  for (int i = 0; i < 4; i++)
    if (!astr[i].bToInt(&ai[i])) return false;
  if (piLeft) *piLeft = ai[0];
  if (piTop) *piTop = ai[1];
  if (piRight) *piRight = ai[2];
  if (piBottom) *piBottom = ai[3];
  return true;
}

bool CLuString::bToPoint(int32_t* piX, int32_t* piY) const {
  CLuString astr[2];
  int32_t ai[2];
  if (!bSplitFields(*this, astr, 2)) return false;
  for (int i = 0; i < 2; i++)
    if (!astr[i].bToInt(&ai[i])) return false;
  if (piX) *piX = ai[0];
  if (piY) *piY = ai[1];
  return true;
}

bool CLuString::bToVector(double* pdX, double* pdY) const {
  CLuString astr[2];
  double ad[2];
  if (!bSplitFields(*this, astr, 2)) return false;
  for (int i = 0; i < 2; i++)
    if (!astr[i].bToDouble(&ad[i])) return false;
  if (pdX) *pdX = ad[0];
  if (pdY) *pdY = ad[1];
  return true;
}

bool CLuString::bToVector(double* pdX, double* pdY, double* pdZ) const {
  CLuString astr[3];
  double ad[3];
  if (!bSplitFields(*this, astr, 3)) return false;
  for (int i = 0; i < 3; i++)
    if (!astr[i].bToDouble(&ad[i])) return false;
  if (pdX) *pdX = ad[0];
  if (pdY) *pdY = ad[1];
  if (pdZ) *pdZ = ad[2];
  return true;
}

bool CLuString::bToColor(uint32_t* pnColor) const {
  CLuString str(*this);
  str.TruncateWhiteSpace();
  uint32_t nColor = 0;
  if (str.cGetAt(0) == '#') {
    uint32_t const nDigits = str.nGetLength() - 1;
    uint8_t aby[4];
    if (nDigits != 6 && nDigits != 8) return false;
    if (!str.strMid(1).bDecodeString(aby, nDigits / 2, 1)) return false;
    nColor = nDigits == 6 ? 0xFF000000u | uint32_t(aby[0]) << 16 |
                                uint32_t(aby[1]) << 8 | aby[2]
                          : uint32_t(aby[0]) << 24 | uint32_t(aby[1]) << 16 |
                                uint32_t(aby[2]) << 8 | aby[3];
  } else if (bIsDigit(str.cGetAt(0))) {
    CLuString astr[4];
    uint32_t anComponent[4] = {0, 0, 0, 255};
    uint32_t const nCount = str.nCountAll(',') + 1;
    if (nCount != 3 && nCount != 4) return false;
    if (!bSplitFields(str, astr, nCount)) return false;
    for (uint32_t i = 0; i < nCount; i++)
      if (!astr[i].bToUINT(&anComponent[i], 0, 255)) return false;
    nColor = anComponent[3] << 24 | anComponent[0] << 16 | anComponent[1] << 8 |
             anComponent[2];
  } else {
    struct SNamedColor {
      char const* pszName;
      uint32_t nColor;
    };
    static SNamedColor const aoColors[] = {
        {"black", 0xFF000000u},      {"white", 0xFFFFFFFFu},
        {"red", 0xFFFF0000u},        {"green", 0xFF00FF00u},
        {"blue", 0xFF0000FFu},       {"cyan", 0xFF00FFFFu},
        {"magenta", 0xFFFF00FFu},    {"yellow", 0xFFFFFF00u},
        {"transparent", 0x00000000u}};
    CLuString strWord, strModifier;
    CLuString strRest(str);
    if (!strRest.bGetNextToken(" \t", &strWord)) return false;
    if (strcasecmp(strWord, "dark") == 0 || strcasecmp(strWord, "light") == 0 ||
        strcasecmp(strWord, "medium") == 0) {
      strModifier = strWord;
      strModifier.MakeLower();
      if (!strRest.bGetNextToken(" \t", &strWord)) return false;
    }
    if (!strRest.bIsEmpty()) return false;
    bool bFound = false;
    for (SNamedColor const& o : aoColors) {
      if (strcasecmp(strWord, o.pszName) == 0) {
        nColor = o.nColor;
        bFound = true;
      }
    }
    if (!bFound) return false;
    // dark: half intensity; medium: three quarters; light: halfway to white.
    uint32_t nResult = nColor & 0xFF000000u;
    for (int iShift = 0; iShift <= 16; iShift += 8) {
      uint32_t c = (nColor >> iShift) & 0xFFu;
      if (strModifier == "dark")
        c = c / 2;
      else if (strModifier == "medium")
        c = c * 3 / 4;
      else if (strModifier == "light")
        c = c + (255 - c) / 2;
      nResult |= c << iShift;
    }
    nColor = nResult;
  }
  if (pnColor) *pnColor = nColor;
  return true;
}

int32_t CLuString::iAsValue(int32_t iDefault) const {
  int32_t i = iDefault;
  bToInt(&i);
  return i;
}

uint32_t CLuString::nAsValue(uint32_t nDefault) const {
  uint32_t n = nDefault;
  bToUINT(&n);
  return n;
}

int64_t CLuString::i64AsValue(int64_t i64Default) const {
  int64_t i64 = i64Default;
  bToINT64(&i64);
  return i64;
}

uint64_t CLuString::n64AsValue(uint64_t n64Default) const {
  uint64_t n64 = n64Default;
  bToUINT64(&n64);
  return n64;
}

uint8_t CLuString::byAsValue(uint8_t byDefault) const {
  uint8_t by = byDefault;
  bToBYTE(&by);
  return by;
}

double CLuString::dAsValue(double dDefault) const {
  double d = dDefault;
  bToDouble(&d);
  return d;
}

bool CLuString::bAsValue(bool bDefault) const {
  bool b = bDefault;
  bToBool(&b);
  return b;
}

uint32_t CLuString::clrAsValue(uint32_t clrDefault) const {
  uint32_t clr = clrDefault;
  bToColor(&clr);
  return clr;
}

// ---- values to text --------------------------------------------------------

void CLuString::FromColor(uint32_t nColor) {
  int const iRed = int((nColor >> 16) & 0xFF);
  int const iGreen = int((nColor >> 8) & 0xFF);
  int const iBlue = int(nColor & 0xFF);
  int const iAlpha = int(nColor >> 24);
  if (iAlpha == 255)
    Format("%i,%i,%i", iRed, iGreen, iBlue);
  else
    Format("%i,%i,%i,%i", iRed, iGreen, iBlue, iAlpha);
}

void CLuString::FromColor(double dRed, double dGreen, double dBlue,
                          double dAlpha) {
  Format("%g, %g, %g, %g", dRed, dGreen, dBlue, dAlpha);
}

void CLuString::FromPoint(int32_t iX, int32_t iY) {
  Format("%i,%i", int(iX), int(iY));
}

void CLuString::FromRect(int32_t iLeft, int32_t iTop, int32_t iRight,
                         int32_t iBottom) {
  Format("%i,%i,%i,%i", int(iLeft), int(iTop), int(iRight), int(iBottom));
}

void CLuString::FromVector(double dX, double dY) {
  Format("%g,%g", dX, dY);
}

void CLuString::FromVector(double dX, double dY, double dZ) {
  Format("%g,%g,%g", dX, dY, dZ);
}

void CLuString::FromTime(time_t tim) {
  struct tm oTime;
  char acText[64];
  if (!localtime_r(&tim, &oTime) ||
      strftime(acText, sizeof acText, "%Y-%m-%d %H:%M:%S", &oTime) == 0) {
    Empty();
    return;
  }
  Assign(acText);
}

CLuString CLuString::strFromColor(uint32_t nColor) {
  CLuString str;
  str.FromColor(nColor);
  return str;
}

CLuString CLuString::strFromColor(double dRed, double dGreen, double dBlue,
                                  double dAlpha) {
  CLuString str;
  str.FromColor(dRed, dGreen, dBlue, dAlpha);
  return str;
}

CLuString CLuString::strFromPoint(int32_t iX, int32_t iY) {
  CLuString str;
  str.FromPoint(iX, iY);
  return str;
}

CLuString CLuString::strFromRect(int32_t iLeft, int32_t iTop, int32_t iRight,
                                 int32_t iBottom) {
  CLuString str;
  str.FromRect(iLeft, iTop, iRight, iBottom);
  return str;
}

CLuString CLuString::strFromVector(double dX, double dY) {
  CLuString str;
  str.FromVector(dX, dY);
  return str;
}

CLuString CLuString::strFromVector(double dX, double dY, double dZ) {
  CLuString str;
  str.FromVector(dX, dY, dZ);
  return str;
}

CLuString CLuString::strTimeCode(double dSeconds, double dFps) {
  CLuString str;
  if (!(dSeconds >= 0.0) || !(dFps > 0.0) || std::isinf(dFps)) {
    str.Assign("00:00:00:00");
    return str;
  }
  // Keep the hours within int range.
  double const dWhole = std::floor(std::fmin(dSeconds, 7.0e12));
  int64_t const nWhole = int64_t(dWhole);
  double dFrames = std::floor((dSeconds - dWhole) * dFps);
  if (!(dFrames >= 0.0)) dFrames = 0.0;
  if (dFrames > 2147483647.0) dFrames = 2147483647.0;
  str.Format("%02i:%02i:%02i:%02i", int(nWhole / 3600), int(nWhole / 60 % 60),
             int(nWhole % 60), int(dFrames));
  return str;
}
