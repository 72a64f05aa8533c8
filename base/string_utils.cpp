// CLuString utilities: tokens, wildcards, number splitting, conversions
// between text and values, searching and replacing substrings, character
// sets, encodings, XML / HTML / CSV helpers and path helpers. Everything
// here is built on the core operations of string.cpp.
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

char const kAlphaNumericSet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.";
char const kFileNameSet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-."
    "^&'@()[],$=!-#{}%+";
char const kPathSet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-."
    "^&'@()[],$=!-#{}%+ /";

bool bInSet(char c, char const* pszSet) {
  return c != '\0' && strchr(pszSet, c) != nullptr;
}

bool bIsDigit(char c) {
  return c >= '0' && c <= '9';
}

int iUpper(char c) {
  return toupper(static_cast<unsigned char>(c));
}

// Compares n characters, ignoring case unless bCaseSensitive.
bool bSameText(char const* psz1, char const* psz2, uint32_t n,
               bool bCaseSensitive) {
  return bCaseSensitive ? strncmp(psz1, psz2, n) == 0
                        : strncasecmp(psz1, psz2, n) == 0;
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

// Escapes the characters that XML / HTML text may not hold literally.
CLuString strEscapeMarkup(CLuString const& str, bool bQuotes) {
  CLuString strOut;
  for (uint32_t i = 0; i < str.nGetLength(); i++) {
    char const c = str.cGetAt(i);
    if (c == '&')
      strOut += "&amp;";
    else if (c == '<')
      strOut += "&lt;";
    else if (c == '>')
      strOut += "&gt;";
    else if (c == '"' && bQuotes)
      strOut += "&quot;";
    else
      strOut += c;
  }
  return strOut;
}

// Result of matching one wildcard pattern.
enum EPatternResult { ePatternFails, ePatternMatches, eWholeTestFails };

// Walks one upper-cased name and one upper-cased pattern together.
EPatternResult eMatchPattern(CLuString const& strName,
                             CLuString const& strPattern) {
  char const* pszName = strName.pszGetString();
  char const* pszPattern = strPattern.pszGetString();
  uint32_t const nNameLength = strName.nGetLength();
  uint32_t const nPatternLength = strPattern.nGetLength();
  uint32_t n = 0, p = 0;
  for (;;) {
    if (n >= nNameLength) {
      while (p < nPatternLength && pszPattern[p] == '*') p++;
      return p == nPatternLength ? ePatternMatches : ePatternFails;
    }
    if (p == nPatternLength) return ePatternFails;
    char const c = pszPattern[p];
    if (c == '?') {
      n++;
      p++;
    } else if (c == '*') {
      // The run of "*" and "?": its "?" count is the least to skip.
      uint32_t nSkip = 0;
      while (p < nPatternLength &&
             (pszPattern[p] == '*' || pszPattern[p] == '?')) {
        if (pszPattern[p] == '?') nSkip++;
        p++;
      }
      uint32_t nSegmentEnd = p;
      while (nSegmentEnd < nPatternLength && pszPattern[nSegmentEnd] != '*' &&
             pszPattern[nSegmentEnd] != '?')
        nSegmentEnd++;
      uint32_t const nSegment = nSegmentEnd - p;
      if (nSegment == 0) return ePatternMatches;
      // Leftmost occurrence only: no backtracking to later ones.
      uint64_t k = uint64_t(n) + nSkip;
      while (k + nSegment <= nNameLength &&
             memcmp(pszName + k, pszPattern + p, nSegment) != 0)
        k++;
      if (k + nSegment > nNameLength) {
        n = nNameLength;  // the name ended first; pattern at the segment
      } else {
        n = uint32_t(k) + nSegment;
        p = nSegmentEnd;
      }
    } else {
      // Deliberately final: a literal mismatch fails the whole list.
      if (c != pszName[n]) return eWholeTestFails;
      n++;
      p++;
    }
  }
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

// ---- searching -------------------------------------------------------------

int32_t CLuString::iFind(CLuString const& strText, uint32_t nStart,
                         bool bCaseSensitive) const {
  uint32_t const nText = strText.nGetLength();
  if (nStart > nGetLength() || nText > nGetLength()) return -1;
  for (uint32_t i = nStart; i + nText <= nGetLength(); i++)
    if (bSameText(pszGetString() + i, strText, nText, bCaseSensitive))
      return int32_t(i);
  return -1;
}

int32_t CLuString::iReverseFind(CLuString const& strText, uint32_t nStart,
                                bool bCaseSensitive) const {
  uint32_t const nText = strText.nGetLength();
  if (nText > nGetLength()) return -1;
  uint32_t nLast = nGetLength() - nText;
  if (nStart < nLast) nLast = nStart;
  for (int64_t i = nLast; i >= 0; i--)
    if (bSameText(pszGetString() + i, strText, nText, bCaseSensitive))
      return int32_t(i);
  return -1;
}

int32_t CLuString::iReverseFindOneOf(char const* pszSet,
                                     uint32_t nStart) const {
  if (!pszSet || !*pszSet || bIsEmpty()) return -1;
  if (nStart > nGetLength() - 1) nStart = nGetLength() - 1;
  for (int64_t i = nStart; i >= 0; i--)
    if (bInSet(pszGetString()[i], pszSet)) return int32_t(i);
  return -1;
}

uint32_t CLuString::nCountAll(char c) const {
  uint32_t n = 0;
  for (uint32_t i = 0; i < nGetLength(); i++)
    if (pszGetString()[i] == c) n++;
  return n;
}

// ---- cutting and tokens ----------------------------------------------------

void CLuString::StripWhiteSpace(CLuString const& strSet) {
  uint32_t nOut = 0;
  for (uint32_t i = 0; i < m_nLength; i++)
    if (!bInSet(m_pszData[i], strSet)) m_pszData[nOut++] = m_pszData[i];
  ShortenAtEnd(m_nLength - nOut);
}

void CLuString::StripNumericalPostfix(char cSeparator) {
  int32_t const iPos = iReverseFind(cSeparator);
  if (iPos < 0 || uint32_t(iPos) + 1 == m_nLength) return;
  for (uint32_t i = uint32_t(iPos) + 1; i < m_nLength; i++)
    if (!bIsDigit(m_pszData[i])) return;
  ShortenAtEnd(m_nLength - uint32_t(iPos));
}

bool CLuString::bGetNextToken(CLuString const& strSeparators,
                              CLuString* pstrToken, bool bQuotes,
                              char cEscape) {
  if (bIsEmpty()) return false;
  if (pstrToken) pstrToken->Empty();
  char const* pszSeparators = strSeparators.pszGetString();
  uint32_t nStart = 0;
  while (nStart < m_nLength && bInSet(m_pszData[nStart], pszSeparators))
    nStart++;
  if (nStart >= m_nLength) {
    Empty();
    return false;
  }
  // Only the first pair of quotes of the remaining text protects.
  int32_t iOpen = -1, iClose = -1;
  if (bQuotes) {
    iOpen = iFind('"', nStart);
    if (iOpen >= 0) iClose = iFind('"', uint32_t(iOpen) + 1);
  }
  uint32_t nEnd = m_nLength;
  uint32_t nSearch = nStart;
  for (;;) {
    int32_t const iSeparator = iFindOneOf(pszSeparators, nSearch);
    if (iSeparator < 0) break;  // the token runs to the end
    uint32_t const nSeparator = uint32_t(iSeparator);
    if (cEscape != '\0' && nSeparator > nStart &&
        m_pszData[nSeparator - 1] == cEscape) {
      nSearch = nSeparator + 1;
      continue;
    }
    if (iOpen >= 0 && iSeparator > iOpen) {
      if (iClose < 0) break;  // unclosed: to the end
      if (iSeparator < iClose) {
        nSearch = uint32_t(iClose) + 1;
        continue;
      }
    }
    nEnd = nSeparator;
    break;
  }
  if (pstrToken) pstrToken->Assign(m_pszData + nStart, nEnd - nStart);
  uint32_t nConsumed = nEnd;
  while (nConsumed < m_nLength && bInSet(m_pszData[nConsumed], pszSeparators))
    nConsumed++;
  ShortenAtBegin(nConsumed);
  return true;
}

void CLuString::SplitOffNumbers(CLuList<void>* poNumbers) {
  CLuString str;
  uint32_t i = 0;
  while (i < m_nLength) {
    uint32_t j = i;
    while (j < m_nLength && !bIsDigit(m_pszData[j])) j++;
    str.Append(m_pszData + i, j - i);
    if (j >= m_nLength) break;
    uint32_t nValue = 0;
    while (j < m_nLength && bIsDigit(m_pszData[j]))
      nValue = nValue * 10u + uint32_t(m_pszData[j++] - '0');  // wraps
    if (poNumbers)
      poNumbers->posAddTail(reinterpret_cast<void*>(uintptr_t(nValue)));
    i = j;
  }
  *this = str;
}

// ---- replacing -------------------------------------------------------------

void CLuString::DoReplace(uint32_t nPos, uint32_t nCount,
                          CLuString const& strTo) {
  CLuString str(m_pszData, nPos);
  str += strTo;
  str.Append(m_pszData + nPos + nCount, m_nLength - nPos - nCount);
  *this = str;
}

bool CLuString::bReplaceAll(CLuString const& strFrom, CLuString const& strTo,
                            bool bCaseSensitive) {
  if (strFrom.bIsEmpty()) return false;
  int32_t iPos = iFind(strFrom, 0, bCaseSensitive);
  if (iPos < 0) return false;
  CLuString str;
  uint32_t nDone = 0;
  while (iPos >= 0) {
    str.Append(m_pszData + nDone, uint32_t(iPos) - nDone);
    str += strTo;
    nDone = uint32_t(iPos) + strFrom.nGetLength();
    iPos = iFind(strFrom, nDone, bCaseSensitive);
  }
  str.Append(m_pszData + nDone, m_nLength - nDone);
  *this = str;
  return true;
}

bool CLuString::bReplaceFirst(CLuString const& strFrom, CLuString const& strTo,
                              bool bCaseSensitive) {
  if (strFrom.bIsEmpty()) return false;
  int32_t const iPos = iFind(strFrom, 0, bCaseSensitive);
  if (iPos < 0) return false;
  DoReplace(uint32_t(iPos), strFrom.nGetLength(), strTo);
  return true;
}

bool CLuString::bReplaceLast(CLuString const& strFrom, CLuString const& strTo,
                             bool bCaseSensitive) {
  if (strFrom.bIsEmpty()) return false;
  int32_t const iPos = iReverseFind(strFrom, kLuStringAll, bCaseSensitive);
  if (iPos < 0) return false;
  DoReplace(uint32_t(iPos), strFrom.nGetLength(), strTo);
  return true;
}

// ---- comparing -------------------------------------------------------------

bool CLuString::bEndsWith(CLuString const& strSuffix,
                          bool bCaseSensitive) const {
  uint32_t const nSuffix = strSuffix.nGetLength();
  if (nSuffix > m_nLength) return false;
  return bSameText(m_pszData + m_nLength - nSuffix, strSuffix, nSuffix,
                   bCaseSensitive);
}

bool CLuString::bStripPrefix(CLuString const& strPrefix, bool bCaseSensitive) {
  if (!bStartsWith(strPrefix, bCaseSensitive)) return false;
  ShortenAtBegin(strPrefix.nGetLength());
  return true;
}

bool CLuString::bPathStartsWith(CLuString const& strPrefix) const {
  CLuString strPath(*this), strStart(strPrefix);
  strPath.ConvertPathToOSSpecific();
  strStart.ConvertPathToOSSpecific();
  if (strStart.nGetLength() > 1 &&
      strStart.cGetAt(strStart.nGetLength() - 1) == '/')
    strStart.ShortenAtEnd(1);
  uint32_t const n = strStart.nGetLength();
  if (n == 0 || n > strPath.nGetLength()) return false;
  if (strncasecmp(strPath, strStart, n) != 0) return false;
  return n == strPath.nGetLength() || strStart == "/" ||
         strPath.cGetAt(n) == '/';
}

bool CLuString::bMatchesWildCard(CLuString const& strPatterns) const {
  CLuString strList(strPatterns), strPattern;
  CLuString strName(*this);
  strName.MakeUpper();
  while (strList.bGetNextToken(";,", &strPattern, false, 0)) {
    if (strPattern == "*.*" || strPattern == "*") return true;
    strPattern.MakeUpper();
    EPatternResult const e = eMatchPattern(strName, strPattern);
    if (e == ePatternMatches) return true;
    if (e == eWholeTestFails) return false;
  }
  return false;
}

uint32_t CLuString::nHash(bool bCaseSensitive) const {
  uint32_t nHash = 2166136261u;  // FNV-1a
  for (uint32_t i = 0; i < m_nLength; i++) {
    unsigned char const c = static_cast<unsigned char>(
        bCaseSensitive ? m_pszData[i] : char(iUpper(m_pszData[i])));
    nHash = (nHash ^ c) * 16777619u;
  }
  return nHash;
}

// ---- case and layout -------------------------------------------------------

void CLuString::MatchCase(CLuString const& strModel) {
  int iLastCase = 0;  // 1 upper, -1 lower
  for (uint32_t i = 0; i < m_nLength; i++) {
    if (i < strModel.nGetLength()) {
      unsigned char const c = static_cast<unsigned char>(strModel.cGetAt(i));
      if (isupper(c))
        iLastCase = 1;
      else if (islower(c))
        iLastCase = -1;
      else
        continue;
    }
    unsigned char const c = static_cast<unsigned char>(m_pszData[i]);
    if (iLastCase > 0) m_pszData[i] = char(toupper(c));
    if (iLastCase < 0) m_pszData[i] = char(tolower(c));
  }
}

CLuString CLuString::strRepeat(char c, uint32_t nCount) {
  CLuString str;
  if (c == '\0' || nCount == 0) return str;
  char* psz = str.pszGetBuffer(nCount);
  if (!psz) return str;
  memset(psz, c, nCount);
  str.ReleaseBuffer();
  return str;
}

void CLuString::Indent(uint32_t nCount) {
  if (nCount == 0 || bIsEmpty()) return;
  CLuString const strBlanks = strRepeat(' ', nCount);
  CLuString str;
  bool bLineStart = true;
  for (uint32_t i = 0; i < m_nLength; i++) {
    char const c = m_pszData[i];
    bool const bEmptyLine = c == '\n' || (c == '\r' && cGetAt(i + 1) == '\n');
    if (bLineStart && !bEmptyLine) str += strBlanks;
    str += c;
    bLineStart = c == '\n';
  }
  *this = str;
}

bool CLuString::bExpandTabs(uint32_t nTabWidth) {
  if (nTabWidth == 0 || iFind('\t') < 0) return false;
  CLuString str;
  uint32_t nColumn = 0;
  for (uint32_t i = 0; i < m_nLength; i++) {
    char const c = m_pszData[i];
    if (c == '\t') {
      uint32_t const nBlanks = nTabWidth - nColumn % nTabWidth;
      str += strRepeat(' ', nBlanks);
      nColumn += nBlanks;
    } else {
      str += c;
      nColumn = (c == '\n' || c == '\r') ? 0 : nColumn + 1;
    }
  }
  *this = str;
  return true;
}

// ---- character sets --------------------------------------------------------

bool CLuString::bEnsureCharacterSet(CLuString const& strSet) const {
  for (uint32_t i = 0; i < m_nLength; i++)
    if (!bInSet(m_pszData[i], strSet)) return false;
  return true;
}

bool CLuString::bEnsureAlphaNumeric() const {
  return bEnsureCharacterSet(kAlphaNumericSet);
}

bool CLuString::bEnsureFileName() const {
  return bEnsureCharacterSet(kFileNameSet);
}

bool CLuString::bEnsurePath() const {
  return bEnsureCharacterSet(kPathSet);
}

void CLuString::EnforceCharacterSet(CLuString const& strSet,
                                    char cReplacement) {
  uint32_t nOut = 0;
  for (uint32_t i = 0; i < m_nLength; i++) {
    char const c = m_pszData[i];
    if (bInSet(c, strSet))
      m_pszData[nOut++] = c;
    else if (cReplacement != '\0')
      m_pszData[nOut++] = cReplacement;
  }
  ShortenAtEnd(m_nLength - nOut);
}

void CLuString::EnforceAlphaNumeric(char cReplacement) {
  EnforceCharacterSet(kAlphaNumericSet, cReplacement);
}

void CLuString::EnforceFileName(char cReplacement) {
  EnforceCharacterSet(kFileNameSet, cReplacement);
}

void CLuString::EnforcePath(char cReplacement) {
  EnforceCharacterSet(kPathSet, cReplacement);
}

// ---- encodings -------------------------------------------------------------

uint32_t CLuString::nEncodedStringLength(uint32_t nBytes, uint32_t nMode) {
  uint64_t const n = nMode == 2 ? (nBytes ? uint64_t(nBytes) * 3 - 1 : 0)
                                : uint64_t(nBytes) * 2;
  return n > 0xFFFFFFFEu ? 0xFFFFFFFFu : uint32_t(n);
}

void CLuString::EncodeString(void const* pData, uint32_t nBytes,
                             uint32_t nMode) {
  Empty();
  uint32_t const nLength = nEncodedStringLength(nBytes, nMode);
  if (!pData || nBytes == 0 || nLength == 0xFFFFFFFFu) return;
  char const* pszDigits = nMode == 0 ? "0123456789abcdef" : "0123456789ABCDEF";
  char* psz = pszGetBuffer(nLength);
  if (!psz) return;
  uint8_t const* pby = static_cast<uint8_t const*>(pData);
  uint32_t nOut = 0;
  for (uint32_t i = 0; i < nBytes; i++) {
    if (nMode == 2 && i > 0) psz[nOut++] = ' ';
    psz[nOut++] = pszDigits[pby[i] >> 4];
    psz[nOut++] = pszDigits[pby[i] & 0x0F];
  }
  psz[nOut] = '\0';
  ReleaseBuffer();
}

bool CLuString::bDecodeString(void* pData, uint32_t nBytes,
                              uint32_t nMode) const {
  if (nEncodedStringLength(nBytes, nMode) != m_nLength) return false;
  if (nBytes == 0) return true;
  if (!pData) return false;
  auto iDigit = [](char c) -> int {
    char const* pszDigits = "0123456789ABCDEFabcdef";
    char const* p = c ? strchr(pszDigits, c) : nullptr;
    if (!p) return -1;
    int const i = int(p - pszDigits);
    return i < 16 ? i : i - 6;
  };
  uint32_t const nStep = nMode == 2 ? 3 : 2;
  // Validate everything before writing anything.
  for (uint32_t i = 0; i < nBytes; i++) {
    char const* psz = m_pszData + i * nStep;
    if (iDigit(psz[0]) < 0 || iDigit(psz[1]) < 0) return false;
    if (nStep == 3 && i + 1 < nBytes && psz[2] != ' ') return false;
  }
  uint8_t* pby = static_cast<uint8_t*>(pData);
  for (uint32_t i = 0; i < nBytes; i++) {
    char const* psz = m_pszData + i * nStep;
    pby[i] = uint8_t(iDigit(psz[0]) << 4 | iDigit(psz[1]));
  }
  return true;
}

// ---- network ---------------------------------------------------------------

bool CLuString::bIsIPAddress() const {
  uint32_t nPart = 0, nDigits = 0, nValue = 0;
  for (uint32_t i = 0; i <= m_nLength; i++) {
    char const c = cGetAt(i);
    if (bIsDigit(c)) {
      if (++nDigits > 3) return false;
      nValue = nValue * 10 + uint32_t(c - '0');
    } else if (c == '.' || c == '\0') {
      if (nDigits == 0 || nValue > 255) return false;
      nPart++;
      nDigits = nValue = 0;
      if (c == '.' && nPart == 4) return false;
    } else {
      return false;
    }
  }
  return nPart == 4;
}

void CLuString::IPAddressStripZeroPrefixes() {
  unsigned a, b, c, d;
  if (!bIsIPAddress() || sscanf(m_pszData, "%u.%u.%u.%u", &a, &b, &c, &d) != 4)
    return;
  Format("%u.%u.%u.%u", a, b, c, d);
}

// ---- XML, HTML and CSV ---------------------------------------------------

CLuString CLuString::strToXML(CLuString const& strName,
                              CLuString const& strValue, uint32_t nIndent) {
  CLuString str = strRepeat(' ', nIndent);
  str += "<";
  str += strName;
  str += ">";
  str += strEscapeMarkup(strValue, true);
  str += "</";
  str += strName;
  str += ">\n";
  return str;
}

CLuString CLuString::strColorToXML(CLuString const& strName, uint32_t nColor,
                                   uint32_t nIndent) {
  return strToXML(strName, strFromColor(nColor), nIndent);
}

void CLuString::CutOutXMLSection(CLuString const& strName,
                                 CLuString* pstrSection) {
  if (pstrSection) pstrSection->Empty();
  if (strName.bIsEmpty()) return;
  CLuString const strOpen = "<" + strName;
  CLuString const strClose = "</" + strName + ">";
  // An opening tag is "<name" followed by ">", "/" or white space.
  auto bIsOpenTag = [&](uint32_t nPos) {
    char const c = cGetAt(nPos + strOpen.nGetLength());
    return c == '>' || c == '/' || c == ' ' || c == '\t' || c == '\n' ||
           c == '\r';
  };
  int32_t iStart = iFind(strOpen);
  while (iStart >= 0 && !bIsOpenTag(uint32_t(iStart)))
    iStart = iFind(strOpen, uint32_t(iStart) + 1);
  if (iStart < 0) return;
  int32_t const iTagEnd = iFind('>', uint32_t(iStart));
  if (iTagEnd < 0) return;
  uint32_t nEnd;
  if (cGetAt(uint32_t(iTagEnd) - 1) == '/') {
    nEnd = uint32_t(iTagEnd) + 1;  // <name ... />
  } else {
    // Find the matching close tag, counting nested elements of the name.
    uint32_t nDepth = 1, nPos = uint32_t(iTagEnd) + 1;
    for (;;) {
      int32_t const iClose = iFind(strClose, nPos);
      if (iClose < 0) return;
      int32_t iNested = iFind(strOpen, nPos);
      while (iNested >= 0 && iNested < iClose && !bIsOpenTag(uint32_t(iNested)))
        iNested = iFind(strOpen, uint32_t(iNested) + 1);
      if (iNested >= 0 && iNested < iClose) {
        int32_t const iNestedEnd = iFind('>', uint32_t(iNested));
        if (iNestedEnd < 0) return;
        if (cGetAt(uint32_t(iNestedEnd) - 1) != '/') nDepth++;
        nPos = uint32_t(iNestedEnd) + 1;
        continue;
      }
      nPos = uint32_t(iClose) + strClose.nGetLength();
      if (--nDepth == 0) break;
    }
    nEnd = nPos;
  }
  if (pstrSection)
    *pstrSection = strMid(uint32_t(iStart), nEnd - uint32_t(iStart));
  DoReplace(uint32_t(iStart), nEnd - uint32_t(iStart), CLuString());
}

void CLuString::ConvertToHTMLParagraphs() {
  CLuString strText(*this);
  strText.NormalizeLineEnds(eLineEndsLF);
  strText = strEscapeMarkup(strText, false);
  CLuString str, strLine;
  while (strText.bGetNextToken("\n", &strLine)) {
    str += "<p>";
    str += strLine;
    str += "</p>\n";
  }
  *this = str;
}

CLuString CLuString::strHTMLHeader(CLuString const& strTitle) {
  CLuString str =
      "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>";
  str += strEscapeMarkup(strTitle, false);
  str += "</title>\n<style type=\"text/css\">\n";
  str += strDefaultVELOMACSS();
  str += "</style>\n</head>\n<body>\n";
  return str;
}

CLuString CLuString::strDefaultVELOMACSS() {
  return "body, p, td, th, li, blockquote {\n"
         "  font-family: Helvetica, Arial, sans-serif;\n"
         "  font-size: 10pt;\n"
         "  color: #000000;\n"
         "}\n"
         "h1 { font-family: Helvetica, Arial, sans-serif; font-size: 14pt; "
         "font-weight: bold; }\n"
         "h2 { font-family: Helvetica, Arial, sans-serif; font-size: 12pt; "
         "font-weight: bold; }\n"
         "h3 { font-family: Helvetica, Arial, sans-serif; font-size: 10pt; "
         "font-weight: bold; }\n"
         "pre, code { font-family: Courier, monospace; font-size: 10pt; }\n"
         "a:link { color: #0033BB; text-decoration: none; }\n"
         "a:visited { color: #4477EE; text-decoration: none; }\n"
         "a:active { color: #745733; text-decoration: none; }\n"
         "a:hover { color: #000000; text-decoration: underline; }\n";
}

void CLuString::ConvertVELOMAFormattedToCSV() {
  CLuString strText(*this);
  strText.NormalizeLineEnds(eLineEndsLF);
  CLuString str, strField;
  bool bFieldStart = true;
  auto Flush = [&]() {
    if (strField.iFindOneOf(",\"\n\r") >= 0) {
      strField.bReplaceAll("\"", "\"\"");
      str += '"';
      str += strField;
      str += '"';
    } else {
      str += strField;
    }
    strField.Empty();
  };
  for (uint32_t i = 0; i < strText.nGetLength(); i++) {
    char const c = strText.cGetAt(i);
    if (c == '\t') {
      Flush();
      str += ',';
    } else if (c == '\n') {
      Flush();
      str += '\n';
    } else {
      strField += c;
    }
    bFieldStart = c == '\t' || c == '\n';
  }
  if (!bFieldStart || !strField.bIsEmpty()) Flush();
  *this = str;
}

// ---- paths and files -------------------------------------------------------

CLuString CLuString::strExtractNormalizedFileExtension() const {
  CLuString str;
  int32_t const iSlash = iReverseFindOneOf("/\\");
  uint32_t const nNameStart = uint32_t(iSlash + 1);
  int32_t const iDot = iReverseFind('.');
  // A leading dot marks a hidden file, not an extension.
  if (iDot < 0 || uint32_t(iDot) <= nNameStart) return str;
  str = strMid(uint32_t(iDot) + 1);
  str.MakeLower();
  return str;
}

bool CLuString::bAppendExtensionIfNotPresent(CLuString const& strExtension) {
  CLuString strDotted(strExtension);
  if (strDotted.cGetAt(0) == '.') strDotted.ShortenAtBegin(1);
  if (strDotted.bIsEmpty()) return false;
  strDotted = "." + strDotted;
  if (bEndsWith(strDotted, false)) return false;
  *this += strDotted;
  return true;
}

bool CLuString::bMakeRelativePath(CLuString const& strBase) {
  CLuString strPath(*this), strFrom(strBase);
  strPath.ConvertPathToOSSpecific();
  strFrom.ConvertPathToOSSpecific();
  if ((strPath.cGetAt(0) == '/') != (strFrom.cGetAt(0) == '/')) return false;
  // Walk the common leading elements ("." and empty elements skipped).
  CLuString strElement1, strElement2;
  auto bNext = [](CLuString* pstr, CLuString* pstrElement) {
    while (pstr->bGetNextToken("/", pstrElement))
      if (*pstrElement != ".") return true;
    return false;
  };
  bool b1 = bNext(&strPath, &strElement1);
  bool b2 = bNext(&strFrom, &strElement2);
  while (b1 && b2 && strElement1 == strElement2) {
    b1 = bNext(&strPath, &strElement1);
    b2 = bNext(&strFrom, &strElement2);
  }
  CLuString str;
  while (b2) {
    if (strElement2 == "..") return false;  // cannot climb back down
    str += "../";
    b2 = bNext(&strFrom, &strElement2);
  }
  while (b1) {
    str += strElement1;
    b1 = bNext(&strPath, &strElement1);
    if (b1) str += '/';
  }
  if (str.bIsEmpty()) str = ".";
  if (str.nGetLength() > 1 && str.cGetAt(str.nGetLength() - 1) == '/')
    str.ShortenAtEnd(1);
  *this = str;
  return true;
}

CLuString CLuString::strDeriveNumberFormatFromFrameName() const {
  CLuString str;
  uint32_t const nNameStart = uint32_t(iReverseFindOneOf("/\\") + 1);
  int64_t iLastDigit = -1;
  for (int64_t i = int64_t(m_nLength) - 1; i >= int64_t(nNameStart); i--) {
    if (bIsDigit(m_pszData[i])) {
      iLastDigit = i;
      break;
    }
  }
  if (iLastDigit < 0) return str;
  int64_t iFirstDigit = iLastDigit;
  while (iFirstDigit > int64_t(nNameStart) &&
         bIsDigit(m_pszData[iFirstDigit - 1]))
    iFirstDigit--;
  for (uint32_t i = 0; i < m_nLength; i++) {
    if (int64_t(i) == iFirstDigit) {
      CLuString strField;
      strField.Format("%%0%uu", unsigned(iLastDigit - iFirstDigit + 1));
      str += strField;
      i = uint32_t(iLastDigit);
    } else if (m_pszData[i] == '%') {
      str += "%%";
    } else {
      str += m_pszData[i];
    }
  }
  return str;
}

CLuString CLuString::strFileDateTimePostFix(time_t tim) {
  CLuString str;
  struct tm oTime;
  char acText[64];
  if (localtime_r(&tim, &oTime) &&
      strftime(acText, sizeof acText, "_%Y%m%d_%H%M%S", &oTime) != 0)
    str.Assign(acText);
  return str;
}

void CLuString::ExpandEnvironmentVariables() {
  if (iFind('$') < 0) return;
  CLuString str;
  auto bNameChar = [](char c, bool bFirst) {
    return c == '_' || isalpha(static_cast<unsigned char>(c)) ||
           (!bFirst && bIsDigit(c));
  };
  uint32_t i = 0;
  while (i < m_nLength) {
    char const c = m_pszData[i];
    if (c != '$') {
      str += c;
      i++;
      continue;
    }
    if (cGetAt(i + 1) == '$') {
      str += '$';
      i += 2;
      continue;
    }
    uint32_t nNameStart = i + 1, nNameEnd, nNext;
    bool const bBraced = cGetAt(i + 1) == '{';
    if (bBraced) {
      nNameStart = i + 2;
      int32_t const iClose = iFind('}', nNameStart);
      nNameEnd = iClose < 0 ? nNameStart : uint32_t(iClose);
      nNext = nNameEnd + 1;
      if (iClose < 0) nNameEnd = nNameStart;  // no closing brace: literal
    } else {
      nNameEnd = nNameStart;
      while (nNameEnd < m_nLength &&
             bNameChar(m_pszData[nNameEnd], nNameEnd == nNameStart))
        nNameEnd++;
      nNext = nNameEnd;
    }
    char const* pszValue = nullptr;
    if (nNameEnd > nNameStart) {
      CLuString const strName = strMid(nNameStart, nNameEnd - nNameStart);
      pszValue = getenv(strName);
    }
    if (pszValue) {
      str += pszValue;
      i = nNext;
    } else {
      str += c;  // undefined or no name: keep the text as written
      i++;
    }
  }
  *this = str;
}

void CLuString::EliminateDuplicateStringsIgnoreCase(
    CLuString const& strSeparators) {
  if (strSeparators.bIsEmpty()) return;
  char const cJoin = strSeparators.cGetAt(0);
  CLuString strRest(*this), strToken, str;
  while (strRest.bGetNextToken(strSeparators, &strToken)) {
    bool bSeen = false;
    CLuString strKept(str), strOld;
    while (!bSeen && strKept.bGetNextToken(CLuString(&cJoin, 1), &strOld))
      bSeen = strcasecmp(strOld, strToken) == 0;
    if (bSeen) continue;
    if (!str.bIsEmpty()) str += cJoin;
    str += strToken;
  }
  *this = str;
}
