// CLuString core: storage and growth, assignment, formatting, number
// conversion, searching, cutting, comparing, case and line ends, files.
#include "base/string.h"

#include <strings.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/containers.h"

namespace {

// Used as the buffer when not even the first allocation succeeded, so that
// the string stays valid (empty, capacity 1) and the buffer is never null.
// Only a 0 is ever written into it.
char g_acNoBuffer[1] = {0};

bool bIsInSet(char c, CLuString const& strSet) {
  return c != '\0' && strSet.iFind(c) >= 0;
}

// Step 2 of iCompareEx: the plain comparison.
int32_t iPlainCompare(char const* psz1, char const* psz2, bool bCaseSensitive) {
  int const i = bCaseSensitive ? strcmp(psz1, psz2) : strcasecmp(psz1, psz2);
  return i < 0 ? -1 : (i > 0 ? 1 : 0);
}

}  // namespace

// ---- construction --------------------------------------------------------

CLuString::CLuString()
    : m_pszData(g_acNoBuffer),
      m_pszBuffer(g_acNoBuffer),
      m_nLength(0),
      m_nCapacity(1) {
  Construct(32);
}

CLuString::CLuString(char const* psz) : CLuString() {
  Assign(psz);
}

CLuString::CLuString(char const* psz, uint32_t nLength) : CLuString() {
  Assign(psz, nLength);
}

CLuString::CLuString(CLuString const& str)
    : m_pszData(g_acNoBuffer),
      m_pszBuffer(g_acNoBuffer),
      m_nLength(0),
      m_nCapacity(1) {
  // A copy receives a known text: sized for exactly that text.
  Construct(str.m_nLength);
  Assign(str.m_pszData, str.m_nLength);
}

CLuString::~CLuString() {
  if (m_pszBuffer != g_acNoBuffer) delete[] m_pszBuffer;
}

void CLuString::Construct(uint32_t n) {
  if (n == 0xFFFFFFFFu) n = 0xFFFFFFFEu;  // n + 1 must fit 32 bits
  char* psz = new (std::nothrow) char[n + 1];
  if (!psz) {
    Empty();
    return;
  }
  if (m_pszBuffer != g_acNoBuffer) delete[] m_pszBuffer;
  m_pszBuffer = m_pszData = psz;
  psz[0] = '\0';
  m_nLength = 0;
  m_nCapacity = n + 1;
}

bool CLuString::bDoReallocate(uint32_t nSize, bool bKeep) {
  if (bKeep && nSize <= m_nCapacity) {
    uint64_t const nOffset = uint64_t(m_pszData - m_pszBuffer);
    if (uint64_t(m_nCapacity) >= nSize + nOffset) return true;
    // A front cut left room only before the text: move it back.
    memmove(m_pszBuffer, m_pszData, m_nLength);
    m_pszData = m_pszBuffer;
    m_pszData[m_nLength] = '\0';
    return true;
  }
  uint64_t nNew = (uint64_t(m_nCapacity) * 3u) >> 1;
  if (nNew < nSize) nNew = nSize;
  if (nNew < 32) nNew = 32;
  if (nNew > 0xFFFFFFFFu) nNew = 0xFFFFFFFFu;
  char* psz = new (std::nothrow) char[nNew];
  if (!psz) return false;
  uint32_t nKeep = m_nLength;
  if (nKeep > nNew - 1) nKeep = uint32_t(nNew - 1);
  memcpy(psz, m_pszData, nKeep);
  psz[nKeep] = '\0';
  if (m_pszBuffer != g_acNoBuffer) delete[] m_pszBuffer;
  m_pszBuffer = m_pszData = psz;
  m_nLength = nKeep;
  m_nCapacity = uint32_t(nNew);
  return true;
}

void CLuString::Reallocate(uint32_t nSize, bool bKeep) {
  bDoReallocate(nSize, bKeep);
}

char* CLuString::pszGetBuffer(uint32_t n) {
  if (n == 0xFFFFFFFFu || !bDoReallocate(n + 1, true)) return nullptr;
  m_pszData[n] = '\0';
  return m_pszData;
}

void CLuString::ReleaseBuffer() {
  m_pszBuffer[m_nCapacity - 1] = '\0';
  m_nLength = uint32_t(strlen(m_pszData));
}

void CLuString::Empty() {
  m_pszData = m_pszBuffer;
  m_pszData[0] = '\0';
  m_nLength = 0;
}

bool CLuString::bIsInside(char const* p) const {
  return p >= m_pszBuffer && p < m_pszBuffer + m_nCapacity;
}

// ---- assignment and appending ----------------------------------------------

void CLuString::Assign(char const* psz, uint32_t n) {
  if (!psz) {
    Empty();
    return;
  }
  if (bIsInside(psz)) {
    // Our own text (or a tail of it): growing first would free the source,
    // so copy forwards towards the buffer start, which never overtakes it.
    uint32_t const nAvail =
        uint32_t(strnlen(psz, size_t(m_pszBuffer + m_nCapacity - psz)));
    if (n > nAvail) n = nAvail;
    memmove(m_pszBuffer, psz, n);
    m_pszData = m_pszBuffer;
    m_pszData[n] = '\0';
    m_nLength = n;
    return;
  }
  m_pszData = m_pszBuffer;
  if (n == 0xFFFFFFFFu) {
    size_t const nText = strlen(psz);
    n = nText < 0xFFFFFFFFu ? uint32_t(nText) : 0xFFFFFFFEu;  // n + 1 fits
  }
  // The buffer is sized from n, whatever the source holds.
  if (!bDoReallocate(n + 1, true)) {
    // Keep what fits rather than nothing.
    n = m_nCapacity - 1;
  }
  uint32_t i = 0;
  while (i < n && psz[i] != '\0') {
    m_pszData[i] = psz[i];
    i++;
  }
  m_pszData[i] = '\0';
  m_nLength = i;
}

void CLuString::Append(char const* psz, uint32_t n) {
  if (!psz) return;
  if (n > 0xFFFFFFFEu) {
    size_t const nText = strlen(psz);
    n = nText < 0xFFFFFFFFu ? uint32_t(nText) : 0xFFFFFFFEu;
  }
  if (n == 0) return;
  if (bIsInside(psz)) {
    // Growing may move or free our buffer: append from a copy of the n
    // bytes (NULs included), taken no further than the buffer's end.
    uint32_t const nInBuffer = uint32_t(m_pszBuffer + m_nCapacity - psz);
    if (n > nInBuffer) n = nInBuffer;
    CLuString strCopy;
    if (!strCopy.bDoReallocate(n + 1, false)) return;
    memcpy(strCopy.m_pszData, psz, n);
    strCopy.m_pszData[n] = '\0';
    DoAppend(strCopy.m_pszData, n);
    return;
  }
  DoAppend(psz, n);
}

void CLuString::DoAppend(char const* psz, uint32_t n) {
  // Callers pass kLuStringAll or the exact length of the source: exactly n
  // bytes are copied, NULs included.
  if (uint64_t(n) + m_nLength + 1 > 0xFFFFFFFFu) n = 0xFFFFFFFEu - m_nLength;
  if (!bDoReallocate(n + m_nLength + 1, true)) {
    // Copy what still fits behind the text.
    uint32_t const nRoom =
        m_nCapacity - 1 - uint32_t(m_pszData - m_pszBuffer) - m_nLength;
    if (n > nRoom) n = nRoom;
  }
  // The copy's early stop tests the character at the copy index counted
  // from the start of the string; that only ever fires for an empty string,
  // whose text then ends at the source's first NUL.
  uint32_t const nCopy = m_nLength == 0 ? uint32_t(strnlen(psz, n)) : n;
  char* pszDest = m_pszData + m_nLength;
  memcpy(pszDest, psz, nCopy);
  pszDest[nCopy] = '\0';
  m_nLength += nCopy;
}

CLuString& CLuString::operator=(CLuString const& str) {
  if (this != &str) Assign(str.m_pszData, str.m_nLength);
  return *this;
}

CLuString& CLuString::operator=(char const* psz) {
  Assign(psz);
  return *this;
}

CLuString& CLuString::operator+=(CLuString const& str) {
  Append(str.m_pszData, str.m_nLength);
  return *this;
}

CLuString& CLuString::operator+=(char const* psz) {
  Append(psz);
  return *this;
}

CLuString& CLuString::operator+=(char c) {
  if (c != '\0') Append(&c, 1);
  return *this;
}

// ---- formatting and numbers ------------------------------------------------

void CLuString::Format(char const* pszFormat, ...) {
  va_list args;
  va_start(args, pszFormat);
  FormatV(pszFormat, args);
  va_end(args);
}

void CLuString::FormatV(char const* pszFormat, va_list args) {
  // The bounded formatter gets size - 1 = 1,023 as its limit, so at most
  // 1,022 characters are kept. The enlarge-and-retry step for formatters
  // that report -1 on truncation never runs with a C99 vsnprintf, which
  // reports the needed length instead: the cut at 1,022 is deliberate.
  // Formatting goes through a local buffer first so that an argument may
  // be this string's own text.
  uint32_t const nSize = 1024;
  char acText[nSize];
  acText[0] = '\0';
  if (pszFormat) {
    va_list argsCopy;
    va_copy(argsCopy, args);
    int const iResult = vsnprintf(acText, nSize - 1, pszFormat, argsCopy);
    va_end(argsCopy);
    if (iResult < 0) acText[0] = '\0';
  }
  char* psz = pszGetBuffer(nSize);
  if (!psz) {
    Assign(acText);
    return;
  }
  memcpy(psz, acText, strlen(acText) + 1);
  ReleaseBuffer();
}

void CLuString::FromNumber(uint32_t n) {
  char acText[12];
  snprintf(acText, sizeof acText, "%u", n);
  Assign(acText);
}

void CLuString::FromNumber(double d, uint32_t nDecimals,
                           bool bStripLeadingZero) {
  // Only the first 1,022 characters of a formatted result are kept, and a
  // double's decimal expansion ends within 1,074 places: more decimals than
  // that change nothing but would make the formatter work for seconds.
  if (nDecimals > 1100) nDecimals = 1100;
  char acFormat[24];
  snprintf(acFormat, sizeof acFormat, "%%.%uf", nDecimals);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  Format(acFormat, d);
#pragma GCC diagnostic pop
  StripTrailingZeroes();
  if (bStripLeadingZero && cGetAt(0) == '0' && m_nLength > 1) ShortenAtBegin(1);
}

CLuString CLuString::strFromNumber(uint32_t n) {
  CLuString str;
  str.FromNumber(n);
  return str;
}

CLuString CLuString::strFromNumber(double d, uint32_t nDecimals,
                                   bool bStripLeadingZero) {
  CLuString str;
  str.FromNumber(d, nDecimals, bStripLeadingZero);
  return str;
}

void CLuString::StripTrailingZeroes() {
  // The decimal point of the current locale.
  char acZero[32];
  snprintf(acZero, sizeof acZero, "%f", 0.0);
  char const cPoint = acZero[1];

  while (cGetAt(0) == '0' && cGetAt(1) != cPoint && cGetAt(1) != '\0')
    ShortenAtBegin(1);
  if (iFind(cPoint) >= 0) {
    while (m_nLength > 0 && cGetAt(m_nLength - 1) == '0') ShortenAtEnd(1);
    if (m_nLength > 0 && cGetAt(m_nLength - 1) == cPoint) ShortenAtEnd(1);
  }
  if (m_nLength == 0) Assign("0");
}

// ---- text to value ---------------------------------------------------------

bool CLuString::bToUINT(uint32_t* pnValue, uint32_t nMin, uint32_t nMax) const {
  // strtoul with a 32-bit long: the magnitude saturates at 4294967295, a
  // minus sign then negates in 32 bits ("-1" -> 4294967295).
  char const* psz = m_pszData;
  char* pszEnd = nullptr;
  errno = 0;
  unsigned long long const n64 = strtoull(psz, &pszEnd, 10);
  bool const bRange = errno == ERANGE;
  if (pszEnd == psz || *pszEnd != '\0') return false;
  char const* pszSign = psz;
  while (isspace(static_cast<unsigned char>(*pszSign))) pszSign++;
  bool const bNegative = *pszSign == '-';
  uint64_t nMagnitude = bNegative ? uint64_t(0) - n64 : n64;
  uint32_t nValue;
  if (bRange || nMagnitude > 0xFFFFFFFFu)
    nValue = 0xFFFFFFFFu;
  else
    nValue =
        bNegative ? uint32_t(0u - uint32_t(nMagnitude)) : uint32_t(nMagnitude);
  if (nValue < nMin || nValue > nMax) return false;
  if (pnValue) *pnValue = nValue;
  return true;
}

bool CLuString::bToDouble(double* pdValue, double dMin, double dMax) const {
  char const* psz = m_pszData;
  char* pszEnd = nullptr;
  double const d = strtod(psz, &pszEnd);
  if (pszEnd == psz || *pszEnd != '\0') return false;
  // Written as two comparisons on purpose: a NaN passes every range.
  if (dMin > d || d > dMax) return false;
  if (pdValue) *pdValue = d;
  return true;
}

// ---- searching -------------------------------------------------------------

int32_t CLuString::iFind(char c, uint32_t nStart) const {
  for (uint32_t i = nStart; i < m_nLength; i++)
    if (m_pszData[i] == c) return int32_t(i);
  return -1;
}

int32_t CLuString::iFindOneOf(char const* pszSet, uint32_t nStart) const {
  if (!pszSet || !*pszSet) return -1;
  for (uint32_t i = nStart; i < m_nLength; i++)
    if (m_pszData[i] != '\0' && strchr(pszSet, m_pszData[i])) return int32_t(i);
  return -1;
}

int32_t CLuString::iReverseFind(char c, uint32_t nStart) const {
  if (m_nLength == 0) return -1;
  if (nStart > m_nLength - 1) nStart = m_nLength - 1;
  for (int64_t i = nStart; i >= 0; i--)
    if (m_pszData[i] == c) return int32_t(i);
  return -1;
}

// ---- cutting ---------------------------------------------------------------

CLuString CLuString::strMid(uint32_t nStart, uint32_t nCount) const {
  CLuString str;
  // "start + 1 > length", tested without the 32-bit wrap of start + 1 that
  // would let kLuStringAll through to read in front of the text.
  if (nStart >= m_nLength) return str;
  if (nCount > m_nLength - nStart) nCount = m_nLength - nStart;
  str.Assign(m_pszData + nStart, nCount);
  return str;
}

void CLuString::ShortenAtBegin(uint32_t n) {
  if (n <= m_nLength) {
    m_pszData += n;
    m_nLength -= n;
  } else {
    Empty();
  }
}

void CLuString::ShortenAtEnd(uint32_t n) {
  if (n <= m_nLength) {
    m_pszData[m_nLength - n] = '\0';
    m_nLength -= n;
  } else {
    Empty();
  }
}

void CLuString::TruncateWhiteSpace(CLuString const& strSet) {
  // The end first; this pass never examines the first character.
  uint32_t nCut = 0;
  for (uint32_t i = m_nLength; i > 1 && bIsInSet(cGetAt(i - 1), strSet); i--)
    nCut++;
  ShortenAtEnd(nCut);
  nCut = 0;
  while (nCut < m_nLength && bIsInSet(cGetAt(nCut), strSet)) nCut++;
  ShortenAtBegin(nCut);
}

// ---- case, comparing -------------------------------------------------------

void CLuString::MakeUpper() {
  for (uint32_t i = 0; i < m_nLength; i++)
    m_pszData[i] = char(toupper(static_cast<unsigned char>(m_pszData[i])));
}

void CLuString::MakeLower() {
  for (uint32_t i = 0; i < m_nLength; i++)
    m_pszData[i] = char(tolower(static_cast<unsigned char>(m_pszData[i])));
}

int32_t CLuString::iCompareEx(CLuString const& strOther, EComparisonFn eFn,
                              bool bSplitNumbers) const {
  if (eFn == eComparePath) {
    if (bIsEmpty()) return strOther.bIsEmpty() ? 0 : -1;
    if (strOther.bIsEmpty()) return 1;
    CLuString str1(*this), str2(strOther);
    str1.ConvertPathToOSSpecific();
    str2.ConvertPathToOSSpecific();
    if (str1.cGetAt(str1.m_nLength - 1) == '/') str1.ShortenAtEnd(1);
    if (str2.cGetAt(str2.m_nLength - 1) == '/') str2.ShortenAtEnd(1);
    return str1.iCompareEx(str2, eCompareIgnoreCase, bSplitNumbers);
  }
  bool const bCaseSensitive = eFn == eCompareCaseSensitive;
  if (bSplitNumbers) {
    CLuString str1(*this), str2(strOther);
    CLuList<void> oNumbers1, oNumbers2;
    str1.SplitOffNumbers(&oNumbers1);
    str2.SplitOffNumbers(&oNumbers2);
    if (iPlainCompare(str1, str2, bCaseSensitive) == 0 &&
        oNumbers1.nGetCount() == oNumbers2.nGetCount()) {
      SLuPosition* pos1 = oNumbers1.posGetHead();
      SLuPosition* pos2 = oNumbers2.posGetHead();
      for (; pos1 && pos2; pos1 = pos1->poNext, pos2 = pos2->poNext) {
        uint32_t const n1 = uint32_t(uintptr_t(pos1->poElement));
        uint32_t const n2 = uint32_t(uintptr_t(pos2->poElement));
        if (n1 != n2) return int32_t(n1 - n2);  // 32-bit, wraps
      }
      return 0;
    }
  }
  return bCaseSensitive ? strcmp(m_pszData, strOther.m_pszData)
                        : strcasecmp(m_pszData, strOther.m_pszData);
}

int32_t CLuString::iCompareEx(CLuString const& strOther, int iFn,
                              bool bSplitNumbers) const {
  EComparisonFn const eFn =
      iFn == 0 ? eCompareCaseSensitive
               : (iFn == 2 ? eComparePath : eCompareIgnoreCase);
  return iCompareEx(strOther, eFn, bSplitNumbers);
}

bool CLuString::bStartsWith(CLuString const& strPrefix,
                            bool bCaseSensitive) const {
  if (strPrefix.bIsEmpty()) return bIsEmpty();
  if (bIsEmpty()) return false;
  CLuString const strStart = strMid(0, strPrefix.m_nLength);
  return bCaseSensitive ? strcmp(strStart, strPrefix) == 0
                        : strcasecmp(strStart, strPrefix) == 0;
}

// ---- line ends and paths ---------------------------------------------------

void CLuString::NormalizeLineEnds(ELineEnds eMode) {
  NormalizeLineEnds(int(eMode));
}

void CLuString::NormalizeLineEnds(int iMode) {
  char* const psz = m_pszData;
  uint32_t const nLen = m_nLength;
  if (iMode < 2) {
    // LF, in place, left to right.
    uint32_t nOut = 0;
    for (uint32_t i = 0; i < nLen; i++) {
      char const c = psz[i];
      if (c == '\r' || c == '\n') {
        char const cOpposite = c == '\r' ? '\n' : '\r';
        if (i + 1 < nLen && psz[i + 1] == cOpposite) i++;
        psz[nOut++] = '\n';
      } else {
        psz[nOut++] = c;
      }
    }
    psz[nOut] = '\0';
    m_nLength = nOut;
    return;
  }
  // CR LF: count the line ends that need one more character.
  uint32_t nExtra = 0;
  for (uint32_t i = 0; i < nLen; i++) {
    char const c = psz[i];
    if (c != '\r' && c != '\n') continue;
    char const cOpposite = c == '\r' ? '\n' : '\r';
    if (i + 1 < nLen && psz[i + 1] == cOpposite)
      i++;
    else
      nExtra++;
  }
  // No early return when nothing needs to grow: an LF CR pair still becomes
  // CR LF in the pass below.
  if (uint64_t(nLen) + nExtra + 1 > 0xFFFFFFFFu ||
      !bDoReallocate(nLen + nExtra + 1, true))
    return;  // no memory: leave the text as it was
  // Back to front into the enlarged buffer.
  char* const pszOut = m_pszData;
  int64_t iIn = int64_t(nLen) - 1;
  int64_t iOut = int64_t(nLen) + nExtra - 1;
  pszOut[nLen + nExtra] = '\0';
  while (iIn >= 0) {
    char const c = pszOut[iIn];
    if (c == '\r' || c == '\n') {
      char const cOpposite = c == '\r' ? '\n' : '\r';
      if (iIn > 0 && pszOut[iIn - 1] == cOpposite)
        iIn -= 2;
      else
        iIn -= 1;
      pszOut[iOut--] = '\n';
      pszOut[iOut--] = '\r';
    } else {
      pszOut[iOut--] = pszOut[iIn--];
    }
  }
  m_nLength = nLen + nExtra;
}

void CLuString::ConvertPathToOSSpecific() {
  nReplace('\\', '/');
}

uint32_t CLuString::nReplace(char cFrom, char cTo) {
  uint32_t nCount = 0;
  if (cFrom == '\0') return 0;
  for (uint32_t i = 0; i < m_nLength; i++) {
    if (m_pszData[i] == cFrom) {
      m_pszData[i] = cTo;
      nCount++;
    }
  }
  // Replacing by NUL shortens the text.
  if (cTo == '\0' && nCount) m_nLength = uint32_t(strlen(m_pszData));
  return nCount;
}

// ---- files -----------------------------------------------------------------

bool CLuString::bReadFromFile(CLuString strPath, bool bRawBytes) {
  strPath.ConvertPathToOSSpecific();
  FILE* pFile = fopen(strPath, bRawBytes ? "rb" : "rt");
  if (!pFile) return false;
  // A folder opens on Linux but has no text: refuse it.
  struct stat oStat;
  if (fstat(fileno(pFile), &oStat) == 0 && S_ISDIR(oStat.st_mode)) {
    fclose(pFile);
    return false;
  }
  // off_t with fseeko/ftello: positions past 2 GiB on a 32-bit build too.
  // A stream whose end cannot be found (a FIFO) counts as size unknown.
  off_t nSize = -1;
  if (fseeko(pFile, 0, SEEK_END) == 0) {
    nSize = ftello(pFile);
    rewind(pFile);
  }
  clearerr(pFile);
  bool bOk = true;
  if (nSize > 0) {
    if (uint64_t(nSize) >= 0xFFFFFFFFu) {
      bOk = false;  // more than a string can hold: leave it as it was
    } else {
      char* psz = pszGetBuffer(uint32_t(nSize));
      if (!psz) {
        bOk = false;
      } else {
        // Terminated behind what was really read, should the file have
        // shrunk meanwhile: never behind bytes nobody wrote.
        size_t const nRead = fread(psz, 1, size_t(nSize), pFile);
        psz[nRead] = '\0';
        ReleaseBuffer();
      }
    }
  } else if (nSize == 0) {
    Empty();
  }
  // Size unknown: the old contents stay and the stream is appended to them.
  if (bOk) {
    // Whatever follows (streams whose size is not known up front).
    char acPiece[1024];
    size_t nRead;
    while ((nRead = fread(acPiece, 1, sizeof acPiece - 1, pFile)) > 0) {
      acPiece[nRead] = '\0';
      Append(acPiece);
    }
  }
  fclose(pFile);
  if (!bOk) return false;
  if (!bRawBytes) NormalizeLineEnds(eLineEndsLF);
  return true;
}

bool CLuString::bWriteToFile(CLuString const& strPath, bool bRawBytes) const {
  CLuString strOSPath(strPath);
  strOSPath.ConvertPathToOSSpecific();
  FILE* pFile = fopen(strOSPath, bRawBytes ? "wb" : "wt");
  if (!pFile) return false;
  size_t const nWritten =
      m_nLength ? fwrite(m_pszData, 1, m_nLength, pFile) : 0;
  bool const bClosed = fclose(pFile) == 0;
  return nWritten == m_nLength && bClosed;
}

// ---- operators -------------------------------------------------------------

CLuString operator+(CLuString const& str1, CLuString const& str2) {
  CLuString str(str1);
  str += str2;
  return str;
}

CLuString operator+(CLuString const& str1, char const* psz) {
  CLuString str(str1);
  str += psz;
  return str;
}

CLuString operator+(char const* psz, CLuString const& str2) {
  CLuString str(psz);
  str += str2;
  return str;
}

CLuString operator+(char c, CLuString const& str2) {
  CLuString str;
  str += c;
  str += str2;
  return str;
}

CLuString operator+(CLuString const& str1, char c) {
  CLuString str(str1);
  str += c;
  return str;
}

bool operator==(CLuString const& str1, CLuString const& str2) {
  return strcmp(str1.m_pszData, str2.m_pszData) == 0;
}
bool operator==(CLuString const& str, char const* psz) {
  return strcmp(str.m_pszData, psz ? psz : "") == 0;
}
bool operator==(char const* psz, CLuString const& str) {
  return str == psz;
}
bool operator!=(CLuString const& str1, CLuString const& str2) {
  return !(str1 == str2);
}
bool operator!=(CLuString const& str, char const* psz) {
  return !(str == psz);
}
bool operator!=(char const* psz, CLuString const& str) {
  return !(str == psz);
}
bool operator<(CLuString const& str1, CLuString const& str2) {
  return strcmp(str1.m_pszData, str2.m_pszData) < 0;
}
bool operator<(CLuString const& str, char const* psz) {
  return strcmp(str.m_pszData, psz ? psz : "") < 0;
}
bool operator<(char const* psz, CLuString const& str) {
  return strcmp(psz ? psz : "", str.m_pszData) < 0;
}
