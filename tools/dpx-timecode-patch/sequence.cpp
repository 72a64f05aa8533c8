#include "tools/dpx-timecode-patch/sequence.h"

#include <strings.h>

#include <climits>
#include <cstdlib>

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
  while (oFind.bFindFile()) {
    // The dot test looks at the name only; the folder test is the one
    // status query a candidate costs.
    if (oFind.bIsDots() || oFind.bIsDirectory()) continue;
    CLuString const strPath = oFind.strPath();
    LuSplitPath(strPath, nullptr, nullptr, &strEntryName, &strEntryExt);
    strEntryKey =
        strLuCombinePath(CLuString(), CLuString(), strEntryName, strEntryExt);
    LuCutOffNumber(strEntryKey, &strEntryKey, nullptr, nullptr);
    if (strcasecmp(strEntryKey.pszGetString(), strKey.pszGetString()) != 0)
      continue;
    CLuString* pstrMember = new CLuString(strPath);
    if (pstrMember == nullptr) continue;
    uint32_t const nBefore = paoFrames->nGetCount();
    paoFrames->Add(pstrMember);
    if (paoFrames->nGetCount() == nBefore) delete pstrMember;  // add dropped
  }
}
