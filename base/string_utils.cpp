// CLuString utilities: tokens, wildcards, number splitting, searching and
// replacing substrings, comparing, case and layout, character sets and
// encodings. Everything here is built on the core operations of
// string.cpp.
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

// Result of matching one wildcard pattern.
enum EPatternResult { ePatternFails, ePatternMatches, eWholeTestFails };

// Walks one upper-cased name and one upper-cased pattern together.
EPatternResult eMatchPattern(char const* pszName, uint32_t nNameLength,
                             char const* pszPattern, uint32_t nPatternLength) {
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
  // A single short pattern, which is what a directory listing asks of every
  // entry: the same test on upper-case copies on the stack, without building
  // strings. A list (";" or ","), an embedded NUL or a long text takes the
  // general way below.
  char const* pszList = strPatterns.pszGetString();
  uint32_t const nList = strPatterns.nGetLength();
  char acName[256], acPattern[256];
  if (nList > 0 && nList < sizeof acPattern && m_nLength < sizeof acName &&
      memchr(pszList, ';', nList) == nullptr &&
      memchr(pszList, ',', nList) == nullptr &&
      memchr(pszList, '\0', nList) == nullptr) {
    if (strPatterns == "*.*" || strPatterns == "*") return true;
    for (uint32_t i = 0; i < m_nLength; i++)
      acName[i] = char(toupper(static_cast<unsigned char>(m_pszData[i])));
    for (uint32_t i = 0; i < nList; i++)
      acPattern[i] = char(toupper(static_cast<unsigned char>(pszList[i])));
    return eMatchPattern(acName, m_nLength, acPattern, nList) ==
           ePatternMatches;
  }

  CLuString strList(strPatterns), strPattern;
  CLuString strName(*this);
  strName.MakeUpper();
  while (strList.bGetNextToken(";,", &strPattern, false, 0)) {
    if (strPattern == "*.*" || strPattern == "*") return true;
    strPattern.MakeUpper();
    EPatternResult const e =
        eMatchPattern(strName.pszGetString(), strName.nGetLength(),
                      strPattern.pszGetString(), strPattern.nGetLength());
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
