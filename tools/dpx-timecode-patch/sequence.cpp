#include "tools/dpx-timecode-patch/sequence.h"

#include <strings.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "files/file_find.h"
#include "files/paths.h"

namespace {

bool bIsAsciiDigit(char c) {
  return c >= '0' && c <= '9';
}

// atoi of a run of digits as a 32-bit long would give it: values past the
// 32-bit range saturate at 2147483647 instead of being undefined.
int iDigitValue(char const* pszDigits) {
  long long const i = strtoll(pszDigits, nullptr, 10);
  return i > INT_MAX ? INT_MAX : int(i);
}

}  // namespace

// Such a name splits at its last dot, and splitting it again after the
// digits are cut does not move that dot, so the key is: for an extension
// ending in digits (plate.0001) the name without them + ".#"; else, for
// digits ending the part before the last dot (plate0001.dpx), that part
// without them + "#" + the extension, or "#." without extension; with no
// digits the name itself.
bool bCutOffNumberOfBareName(char const* pszName, uint32_t nLength,
                             char* pszKey, uint32_t nKeyRoom) {
  if (nKeyRoom < 3 || nLength > nKeyRoom - 3) return false;
  uint32_t nDot = nLength;  // the last dot, or none
  for (uint32_t i = 0; i < nLength; ++i) {
    char const c = pszName[i];
    if (c > '/' && c != '\\') continue;  // letters and digits, mostly
    if (c == '.')
      nDot = i;
    else if (c == '/' || c == '\\' || c == '"' || c == '\0')
      return false;
  }
  uint32_t nOut = 0;
  if (nDot < nLength && bIsAsciiDigit(pszName[nLength - 1])) {
    uint32_t nStart = nLength;  // the dot itself is never a digit
    while (bIsAsciiDigit(pszName[nStart - 1])) --nStart;
    memcpy(pszKey, pszName, nStart);
    nOut = nStart;
    pszKey[nOut++] = '.';
    pszKey[nOut++] = '#';
  } else {
    uint32_t nStart = nDot;
    while (nStart > 0 && bIsAsciiDigit(pszName[nStart - 1])) --nStart;
    if (nStart == nDot) {
      memcpy(pszKey, pszName, nLength);
      nOut = nLength;
    } else {
      memcpy(pszKey, pszName, nStart);
      nOut = nStart;
      pszKey[nOut++] = '#';
      if (nDot < nLength) {
        memcpy(pszKey + nOut, pszName + nDot, nLength - nDot);
        nOut += nLength - nDot;
      } else {
        pszKey[nOut++] = '.';
      }
    }
  }
  pszKey[nOut] = '\0';
  return true;
}

void LuCutOffNumber(CLuString strPath, CLuString* pstrResult, int* piNumber,
                    CLuString* pstrDigits) {
  CLuString strName, strExt, strDigits;
  LuSplitPath(strPath, nullptr, nullptr, &strName, &strExt);

  bool bExtensionCase = false;
  uint32_t const nExtLength = strExt.nGetLength();
  if (nExtLength > 0 && bIsAsciiDigit(strExt.cGetAt(nExtLength - 1))) {
    // The digits ending the extension; its leading dot is never one of them.
    uint32_t nStart = nExtLength;
    while (nStart > 1 && bIsAsciiDigit(strExt.cGetAt(nStart - 1))) --nStart;
    strDigits = strExt.strMid(nStart, nExtLength - nStart);
    CLuString strJoined(strName);
    strJoined.Append(strExt.pszGetString(), nStart);
    LuSplitPath(strJoined, nullptr, nullptr, &strName, &strExt);
    bExtensionCase = true;
  } else {
    // The digits ending the name; an all-digit name becomes empty.
    uint32_t const nNameLength = strName.nGetLength();
    uint32_t nStart = nNameLength;
    while (nStart > 0 && bIsAsciiDigit(strName.cGetAt(nStart - 1))) --nStart;
    if (nStart < nNameLength) {
      strDigits = strName.strMid(nStart, nNameLength - nStart);
      strName.ShortenAtEnd(nNameLength - nStart);
    }
  }

  CLuString strResult;
  int iNumber = 0;
  if (strDigits.bIsEmpty()) {
    strResult = strLuCombinePath(CLuString(), CLuString(), strName, strExt);
  } else {
    if (strExt.cGetAt(0) == '.') strExt.ShortenAtBegin(1);
    strResult = strName;
    if (bExtensionCase) {
      strResult += ".";
      strResult += strExt;
      strResult += ".#";
    } else {
      strResult += "#.";
      strResult += strExt;
    }
    iNumber = iDigitValue(strDigits.pszGetString());
  }

  if (pstrResult != nullptr) *pstrResult = strResult;
  if (piNumber != nullptr) *piNumber = iNumber;
  if (pstrDigits != nullptr) *pstrDigits = strDigits;
}

void FileListFromFramePath(CLuString const& strFramePath,
                           CLuCompactArray<CLuString>* paoFrames) {
  if (paoFrames == nullptr) return;

  CLuString strDrive, strFolder, strName, strExt;
  LuSplitPath(strFramePath, &strDrive, &strFolder, &strName, &strExt);

  // The sequence key: the bare file name with its number cut out.
  CLuString strKey =
      strLuCombinePath(CLuString(), CLuString(), strName, strExt);
  LuCutOffNumber(strKey, &strKey, nullptr, nullptr);

  // The listing pattern: every placeholder becomes "*?". A "%" takes just
  // the one character after it along (%d -> *?, %04d -> *?4d). The pattern
  // only narrows the listing; the key comparison below decides.
  CLuString strPattern;
  uint32_t const nKeyLength = strKey.nGetLength();
  for (uint32_t i = 0; i < nKeyLength; ++i) {
    char const c = strKey.cGetAt(i);
    if (c == '#' || c == '@') {
      strPattern += "*?";
    } else if (c == '%') {
      if (i + 1 >= nKeyLength) break;
      strPattern += "*?";
      ++i;
    } else {
      strPattern += c;
    }
  }

  CLuFileFind oFind(
      strLuCombinePath(strDrive, strFolder, strPattern, CLuString()), false);
  CLuString strEntryName, strEntryExt, strEntryKey;
  char szKey[512];
  while (oFind.bFindFile()) {
    // The dot test looks at the name only; the folder test is the one
    // status query a candidate costs.
    if (oFind.bIsDots() || oFind.bIsDirectory()) continue;
    // The key of the entry's full path: split, file name joined again, cut.
    // The path functions rewrite only "\" and double quotes at a path's
    // ends, so for a file name without them (the path has a "/" before it)
    // the joined file name is the text after the last "/", and its key comes
    // without building strings: in a folder of many thousand frames that is
    // most of the listing's cost.
    CLuString* pstrPath = new CLuString(oFind.strPath());
    if (pstrPath == nullptr) continue;  // no memory: the entry is dropped
    char const* pszPath = pstrPath->pszGetString();
    uint32_t const nPath = pstrPath->nGetLength();
    char const* pszSlash = strrchr(pszPath, '/');
    char const* pszEntryKey = szKey;
    if (pszSlash == nullptr || memchr(pszPath, '\\', nPath) != nullptr ||
        !bCutOffNumberOfBareName(pszSlash + 1,
                                 nPath - uint32_t(pszSlash + 1 - pszPath),
                                 szKey, sizeof szKey)) {
      LuSplitPath(*pstrPath, nullptr, nullptr, &strEntryName, &strEntryExt);
      strEntryKey = strLuCombinePath(CLuString(), CLuString(), strEntryName,
                                     strEntryExt);
      LuCutOffNumber(strEntryKey, &strEntryKey, nullptr, nullptr);
      pszEntryKey = strEntryKey.pszGetString();
    }
    if (strcasecmp(pszEntryKey, strKey.pszGetString()) != 0) {
      delete pstrPath;
      continue;
    }
    uint32_t const nBefore = paoFrames->nGetCount();
    paoFrames->Add(pstrPath);
    if (paoFrames->nGetCount() == nBefore) delete pstrPath;  // add dropped
  }
}
