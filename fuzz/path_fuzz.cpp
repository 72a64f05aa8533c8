// Fuzz target: arbitrary text as a path. LuSplitPath and LuCutOffNumber
// must never fault, and their results must hold: the drive is always empty,
// a name without a number cuts to its bare file name with number 0, and
// cutting in place gives the same as cutting into another string.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "files/paths.h"
#include "tools/dpx-timecode-patch/sequence.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pbyData, size_t nSize) {
  // CLuString is NUL-terminated text: the bytes up to the first NUL.
  CLuString strPath;
  strPath.Append(
      reinterpret_cast<char const*>(pbyData),
      uint32_t(strnlen(reinterpret_cast<char const*>(pbyData), nSize)));

  CLuString strDrive, strFolder, strName, strExt;
  LuSplitPath(strPath, &strDrive, &strFolder, &strName, &strExt);
  if (!strDrive.bIsEmpty()) abort();
  (void)strLuFileNameFromPath(strPath);
  (void)strLuDirectoryFromPath(strPath);

  CLuString strCut, strDigits;
  int iNumber = -1;
  LuCutOffNumber(strPath, &strCut, &iNumber, &strDigits);
  if (iNumber < 0) abort();
  if (strDigits.bIsEmpty() &&
      (iNumber != 0 || strcmp(strCut.pszGetString(),
                              strLuFileNameFromPath(strPath).pszGetString())))
    abort();
  CLuString strInPlace(strPath);
  LuCutOffNumber(strInPlace, &strInPlace, nullptr, nullptr);
  if (strcmp(strInPlace.pszGetString(), strCut.pszGetString()) != 0) abort();
  return 0;
}
