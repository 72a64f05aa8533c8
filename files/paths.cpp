// Path functions: splitting and joining, file names and extensions,
// absolute and relative paths, the platform's folders and the program's own
// location. The functions that touch the disk are in paths_disk.cpp.

// Large-file interfaces also on 32-bit systems: files past 2 GiB must
// stat, open and copy like any other.
#ifndef _FILE_OFFSET_BITS
#define _FILE_OFFSET_BITS 64
#endif

#include "files/paths.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/command_line.h"

namespace {

bool bIsSeparator(char c) {
  return c == '/' || c == '\\';
}

// Adds a "/" unless the text is empty or already ends with one.
void EnsureTrailingSlash(CLuString* pstr) {
  uint32_t nLen = pstr->nGetLength();
  if (nLen > 0 && pstr->pszGetString()[nLen - 1] != '/') *pstr += '/';
}

// Both variants of strerror_r: the GNU one returns the text, the XSI one
// fills the buffer and returns 0.
[[maybe_unused]] char const* pszErrorText(char* pszResult, char const*) {
  return pszResult;
}
[[maybe_unused]] char const* pszErrorText(int iResult, char const* pszBuffer) {
  return iResult == 0 ? pszBuffer : "Unknown error";
}

int iHexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes the %XX escapes of a URL path; malformed escapes and %00 stay as
// they are.
void DecodePercentEscapes(CLuString* pstr) {
  char const* psz = pstr->pszGetString();
  uint32_t nLen = pstr->nGetLength();
  if (!memchr(psz, '%', nLen)) return;
  CLuString strOut;
  for (uint32_t i = 0; i < nLen; ++i) {
    if (psz[i] == '%' && i + 2 < nLen) {
      int iHigh = iHexDigit(psz[i + 1]);
      int iLow = iHexDigit(psz[i + 2]);
      if (iHigh >= 0 && iLow >= 0 && (iHigh | iLow) != 0) {
        strOut += static_cast<char>(iHigh * 16 + iLow);
        i += 2;
        continue;
      }
    }
    strOut += psz[i];
  }
  *pstr = strOut;
}

// Lexical clean-up of an absolute path: drops "." parts and repeated
// separators, lets ".." remove the part before it (never above "/").
// With bTrailingSlash the result ends in "/".
CLuString strNormalizeAbsolute(CLuString const& strPath, bool bTrailingSlash) {
  char const* psz = strPath.pszGetString();
  uint32_t nLen = strPath.nGetLength();
  char* pszOut = static_cast<char*>(malloc(nLen + 2));
  CLuString strResult;
  if (!pszOut) return strResult;
  uint32_t nOut = 0;
  pszOut[nOut++] = '/';
  uint32_t i = 0;
  while (i < nLen) {
    while (i < nLen && psz[i] == '/') ++i;
    uint32_t nStart = i;
    while (i < nLen && psz[i] != '/') ++i;
    uint32_t nPart = i - nStart;
    if (nPart == 0 || (nPart == 1 && psz[nStart] == '.')) continue;
    if (nPart == 2 && psz[nStart] == '.' && psz[nStart + 1] == '.') {
      // pszOut always ends with "/"; step back over the last part.
      if (nOut > 1) {
        --nOut;
        while (nOut > 0 && pszOut[nOut - 1] != '/') --nOut;
      }
      continue;
    }
    memcpy(pszOut + nOut, psz + nStart, nPart);
    nOut += nPart;
    pszOut[nOut++] = '/';
  }
  if (!bTrailingSlash && nOut > 1) --nOut;
  strResult.Assign(pszOut, nOut);
  free(pszOut);
  return strResult;
}

// Whether the (separator-converted) path names a folder by its form: empty,
// ending in "/", or its last part "." or "..".
bool bLooksLikeFolder(CLuString const& strPath) {
  char const* psz = strPath.pszGetString();
  uint32_t nLen = strPath.nGetLength();
  if (nLen == 0 || psz[nLen - 1] == '/') return true;
  char const* pszLast = strrchr(psz, '/');
  pszLast = pszLast ? pszLast + 1 : psz;
  return strcmp(pszLast, ".") == 0 || strcmp(pszLast, "..") == 0;
}

// The home folder with a trailing "/": $HOME, else the user database.
CLuString strHomeFolder() {
  CLuString strHome = strLuGetEnvironmentVariable("HOME");
  if (strHome.bIsEmpty()) {
    struct passwd oEntry;
    struct passwd* poFound = nullptr;
    char szBuffer[4096];
    if (getpwuid_r(getuid(), &oEntry, szBuffer, sizeof szBuffer, &poFound) ==
            0 &&
        poFound && poFound->pw_dir) {
      strHome = poFound->pw_dir;
    }
  }
  EnsureTrailingSlash(&strHome);
  return strHome;
}

// An absolute folder from the environment variable pszName, else the home
// folder joined with pszBelowHome.
CLuString strXdgFolder(char const* pszName, char const* pszBelowHome) {
  CLuString str = strLuGetEnvironmentVariable(pszName);
  if (!bLuIsAbsolutePath(str)) {
    CLuString strHome = strHomeFolder();
    if (strHome.bIsEmpty()) return strHome;
    str = strHome;
    str += pszBelowHome;
  }
  EnsureTrailingSlash(&str);
  return str;
}

// Relative-to-folder conversions shared by the desktop and home forms.
void RelativeToReal(CLuString const& strFolder, CLuString const& strPath,
                    CLuString* pstrResult) {
  if (!pstrResult) return;
  char const* psz = strPath.pszGetString();
  if (psz[0] == '~' && (psz[1] == 0 || bIsSeparator(psz[1]))) {
    CLuString strHome = strHomeFolder();
    if (!strHome.bIsEmpty()) {
      CLuString strRest(psz[1] ? psz + 2 : "");
      *pstrResult =
          strLuCombinePath(CLuString(), strHome, strRest, CLuString());
      return;
    }
  }
  if (bLuIsAbsolutePath(strPath) || strFolder.bIsEmpty()) {
    if (pstrResult != &strPath) *pstrResult = strPath;
    return;
  }
  *pstrResult = strLuCombinePath(CLuString(), strFolder, strPath, CLuString());
}

void RealToRelative(CLuString const& strFolder, CLuString const& strPath,
                    CLuString* pstrResult) {
  if (!pstrResult) return;
  if (!strFolder.bIsEmpty() && bLuIsAbsolutePath(strPath)) {
    CLuString strClean = strLuAbsolutePath(strPath, "/");
    CLuString strFolderClean = strLuAbsolutePath(strFolder, "/");
    uint32_t nFolder = strFolderClean.nGetLength();
    char const* pszClean = strClean.pszGetString();
    if (strncmp(pszClean, strFolderClean.pszGetString(), nFolder) == 0) {
      *pstrResult = pszClean + nFolder;
      return;
    }
    // The folder itself, written without its trailing "/".
    if (strClean.nGetLength() + 1 == nFolder &&
        strncmp(pszClean, strFolderClean.pszGetString(), nFolder - 1) == 0) {
      *pstrResult = "";
      return;
    }
  }
  if (pstrResult != &strPath) *pstrResult = strPath;
}

// The running program's folder and name, taken once from argument 0.
struct SAppLocation {
  CLuString strFolder;
  CLuString strName;
  bool bKnown = false;
};

pthread_mutex_t g_mtxAppLocation = PTHREAD_MUTEX_INITIALIZER;

// Finds a bare program name the way the shell did: in the folders of $PATH
// (an empty entry is the current folder). Empty when not found.
CLuString strFindInSearchPath(CLuString const& strName) {
  CLuString strSearch = strLuGetEnvironmentVariable("PATH");
  char const* psz = strSearch.pszGetString();
  for (;;) {
    char const* pszEnd = strchr(psz, ':');
    uint32_t nLen = pszEnd ? static_cast<uint32_t>(pszEnd - psz)
                           : static_cast<uint32_t>(strlen(psz));
    CLuString strCandidate;
    if (nLen == 0) {
      strCandidate = "./";
    } else {
      strCandidate.Assign(psz, nLen);
      EnsureTrailingSlash(&strCandidate);
    }
    strCandidate += strName;
    struct stat st;
    if (stat(strCandidate.pszGetString(), &st) == 0 && S_ISREG(st.st_mode) &&
        access(strCandidate.pszGetString(), X_OK) == 0) {
      return strCandidate;
    }
    if (!pszEnd) break;
    psz = pszEnd + 1;
  }
  return CLuString();
}

void GetAppLocation(CLuString* pstrFolder, CLuString* pstrName) {
  static SAppLocation s_oLocation;
  pthread_mutex_lock(&g_mtxAppLocation);
  if (!s_oLocation.bKnown) {
    CLuString strArg0 = CLuCommandLine::poGlobal()->strArg(0, CLuString());
    if (!strArg0.bIsEmpty()) {
      CLuString strFull = strArg0;
      if (!strchr(strFull.pszGetString(), '/') &&
          !strchr(strFull.pszGetString(), '\\')) {
        CLuString strFound = strFindInSearchPath(strFull);
        if (!strFound.bIsEmpty()) strFull = strFound;
      }
      CLuString strAbsolute = strLuAbsolutePath(strFull, CLuString());
      if (!strAbsolute.bIsEmpty()) strFull = strAbsolute;
      s_oLocation.strFolder = strLuDirectoryFromPath(strFull);
      s_oLocation.strName = strLuFileNameFromPath(strFull);
      s_oLocation.bKnown = true;
    }
  }
  if (pstrFolder) *pstrFolder = s_oLocation.strFolder;
  if (pstrName) *pstrName = s_oLocation.strName;
  pthread_mutex_unlock(&g_mtxAppLocation);
}

}  // namespace

// ---------------------------------------------------------------------------
// Splitting and joining

void LuSplitPath(CLuString strPath, CLuString* pstrDrive, CLuString* pstrFolder,
                 CLuString* pstrName, CLuString* pstrExtension) {
  strPath.ConvertPathToOSSpecific();
  char const* psz = strPath.pszGetString();
  uint32_t nLen = strPath.nGetLength();
  // The two ends lose their quotes independently: "a and a" both give a.
  while (nLen > 0 && psz[0] == '"') {
    ++psz;
    --nLen;
  }
  while (nLen > 0 && psz[nLen - 1] == '"') --nLen;

  if (pstrDrive) *pstrDrive = "";
  if (pstrFolder) *pstrFolder = "";
  if (pstrName) *pstrName = "";
  if (pstrExtension) *pstrExtension = "";
  if (nLen == 0) return;

  if (psz[nLen - 1] == '/') {
    if (pstrFolder) pstrFolder->Assign(psz, nLen);
    return;
  }

  uint32_t nRest = nLen;
  uint32_t iDot = nLen;
  uint32_t iSlash = nLen;
  for (uint32_t i = nLen; i-- > 0;) {
    if (psz[i] == '/') {
      iSlash = i;
      break;
    }
    if (psz[i] == '.' && iDot == nLen) iDot = i;
  }
  // A dot left of the last "/" belongs to a folder name: no extension.
  if (iDot < nLen) {
    if (pstrExtension) pstrExtension->Assign(psz + iDot, nLen - iDot);
    nRest = iDot;
  }
  if (iSlash < nLen) {
    if (pstrName) pstrName->Assign(psz + iSlash + 1, nRest - iSlash - 1);
    if (pstrFolder) pstrFolder->Assign(psz, iSlash + 1);
  } else if (pstrName) {
    pstrName->Assign(psz, nRest);
  }
}

CLuString strLuCombinePath(CLuString const& strDrive,
                           CLuString const& strFolder, CLuString const& strName,
                           CLuString const& strExtension) {
  uint32_t nDrive = strDrive.nGetLength();
  uint32_t nFolder = strFolder.nGetLength();
  uint32_t nName = strName.nGetLength();
  uint32_t nExtension = strExtension.nGetLength();
  CLuString strResult;
  char* pszOut =
      strResult.pszGetBuffer(nDrive + nFolder + nName + nExtension + 3);
  if (!pszOut) return strResult;  // no memory: empty
  uint32_t nOut = 0;

  char const* psz = strDrive.pszGetString();
  memcpy(pszOut, psz, nDrive);
  nOut = nDrive;
  if (nDrive > 0 && !bIsSeparator(psz[nDrive - 1])) pszOut[nOut++] = '/';

  if (nFolder > 0) {
    psz = strFolder.pszGetString();
    uint32_t nSkip = (nOut > 0 && bIsSeparator(psz[0])) ? 1 : 0;
    memcpy(pszOut + nOut, psz + nSkip, nFolder - nSkip);
    nOut += nFolder - nSkip;
    if (nOut > 0 && !bIsSeparator(pszOut[nOut - 1])) pszOut[nOut++] = '/';
  }

  if (nName > 0) {
    // A name is always relative to the folder, deliberately: "./" and a
    // leading separator go even when nothing was written before.
    psz = strName.pszGetString();
    if (nName >= 2 && psz[0] == '.' && bIsSeparator(psz[1])) {
      psz += 2;
      nName -= 2;
    }
    if (nName >= 1 && bIsSeparator(psz[0])) {
      ++psz;
      --nName;
    }
    memcpy(pszOut + nOut, psz, nName);
    nOut += nName;
  }

  if (nExtension > 0) {
    psz = strExtension.pszGetString();
    pszOut[nOut++] = '.';
    if (psz[0] == '.') {
      ++psz;
      --nExtension;
    }
    memcpy(pszOut + nOut, psz, nExtension);
    nOut += nExtension;
  }

  pszOut[nOut] = 0;
  strResult.ReleaseBuffer();
  strResult.ConvertPathToOSSpecific();
  return strResult;
}

CLuString strLuFileNameFromPath(CLuString const& strPath) {
  CLuString strName, strExtension;
  LuSplitPath(strPath, nullptr, nullptr, &strName, &strExtension);
  return strLuCombinePath(CLuString(), CLuString(), strName, strExtension);
}

CLuString strLuDirectoryFromPath(CLuString const& strPath) {
  CLuString strDrive, strFolder;
  LuSplitPath(strPath, &strDrive, &strFolder, nullptr, nullptr);
  return strLuCombinePath(strDrive, strFolder, CLuString(), CLuString());
}

CLuString strLuGetExtension(CLuString const& strPath) {
  CLuString strExtension;
  LuSplitPath(strPath, nullptr, nullptr, nullptr, &strExtension);
  return strExtension;
}

CLuString strLuGetPrevDirectory(CLuString const& strPath) {
  CLuString str(strPath);
  str.ConvertPathToOSSpecific();
  char const* psz = str.pszGetString();
  uint32_t nLen = str.nGetLength();
  CLuString strResult;
  if (nLen == 0) return strResult;
  while (nLen > 0 && psz[nLen - 1] == '/') --nLen;
  if (nLen == 0) {
    strResult = "/";  // the root has no parent
    return strResult;
  }
  uint32_t nStart = nLen;
  while (nStart > 0 && psz[nStart - 1] != '/') --nStart;
  uint32_t nLast = nLen - nStart;
  bool bDots = (nLast == 1 && psz[nStart] == '.') ||
               (nLast == 2 && psz[nStart] == '.' && psz[nStart + 1] == '.');
  if (bDots) {
    strResult.Assign(psz, nLen);
    strResult += "/../";
  } else {
    strResult.Assign(psz, nStart);
  }
  return strResult;
}

bool bLuIsAbsolutePath(CLuString const& strPath) {
  return bIsSeparator(strPath.pszGetString()[0]);
}

CLuString strLuAbsolutePath(CLuString const& strPath,
                            CLuString const& strBase) {
  CLuString strFull(strPath);
  strFull.ConvertPathToOSSpecific();
  bool bTrailingSlash = bLooksLikeFolder(strFull);
  if (!bLuIsAbsolutePath(strFull)) {
    CLuString strAnchor(strBase);
    strAnchor.ConvertPathToOSSpecific();
    if (!bLuIsAbsolutePath(strAnchor)) {
      CLuString strCurrent = strLuCurrentDirectory();
      if (strCurrent.bIsEmpty()) return strCurrent;
      strCurrent += strAnchor;
      strAnchor = strCurrent;
    }
    strAnchor += '/';
    strAnchor += strFull;
    strFull = strAnchor;
  }
  return strNormalizeAbsolute(strFull, bTrailingSlash);
}

// ---------------------------------------------------------------------------
// Process and platform

CLuString strLuGetEnvironmentVariable(CLuString const& strName) {
  CLuString strValue;
  if (strName.bIsEmpty()) return strValue;
  char const* pszValue = getenv(strName.pszGetString());
  if (pszValue) strValue = pszValue;
  return strValue;
}

CLuString strLuLastOSError() {
  int iError = errno;
  CLuString strText;
  if (iError != 0) {
    char szBuffer[256];
    szBuffer[0] = 0;
    strText =
        pszErrorText(strerror_r(iError, szBuffer, sizeof szBuffer), szBuffer);
  }
  errno = iError;  // asking for the reason must not change it
  return strText;
}

CLuString strLuCurrentDirectory() {
  CLuString strResult;
  for (size_t nSize = 4096; nSize <= (1u << 20); nSize *= 2) {
    char* pszBuffer = static_cast<char*>(malloc(nSize));
    if (!pszBuffer) break;
    if (getcwd(pszBuffer, nSize)) {
      strResult = pszBuffer;
      free(pszBuffer);
      // Linux marks a deleted current folder with a leading "(unreachable)".
      if (!bLuIsAbsolutePath(strResult)) strResult = "";
      EnsureTrailingSlash(&strResult);
      return strResult;
    }
    free(pszBuffer);
    if (errno != ERANGE) break;
  }
  return strResult;
}

CLuString strLuOSPath(ELuOSPath ePath) {
  CLuString str;
  switch (ePath) {
    case eOSPathHome:
      return strHomeFolder();
    case eOSPathDesktop:
    case eOSPathDocuments:
      str = strHomeFolder();
      if (!str.bIsEmpty()) {
        str += ePath == eOSPathDesktop ? "Desktop/" : "Documents/";
      }
      return str;
    case eOSPathSettings:
      return strXdgFolder("XDG_CONFIG_HOME", ".config");
    case eOSPathCache:
      return strXdgFolder("XDG_CACHE_HOME", ".cache");
    case eOSPathTemp:
      str = strLuGetEnvironmentVariable("TMPDIR");
      if (!bLuIsAbsolutePath(str)) str = "/tmp";
      EnsureTrailingSlash(&str);
      return str;
    case eOSPathApplication:
      return strLuAppPath();
  }
  return str;
}

CLuString strLuAppPath() {
  CLuString str;
  GetAppLocation(&str, nullptr);
  return str;
}

CLuString strLuExeName() {
  CLuString str;
  GetAppLocation(nullptr, &str);
  return str;
}

// ---------------------------------------------------------------------------
// Virtual and relative paths

void LuStripVirtualPathPrefix(CLuString const& strPath, CLuString* pstrResult) {
  if (!pstrResult) return;
  char const* psz = strPath.pszGetString();
  if (strncasecmp(psz, "file:", 5) == 0 && psz[5] == '/') {
    char const* pszRest = psz + 5;
    if (pszRest[1] == '/') {
      pszRest += 2;  // authority follows: empty or localhost only
      if (strncasecmp(pszRest, "localhost", 9) == 0 &&
          (pszRest[9] == '/' || pszRest[9] == 0)) {
        pszRest += 9;
      }
    }
    if (pszRest[0] == '/' || pszRest[0] == 0) {
      CLuString strPlain(pszRest[0] ? pszRest : "/");
      DecodePercentEscapes(&strPlain);
      *pstrResult = strPlain;
      return;
    }
  }
  if (pstrResult != &strPath) *pstrResult = strPath;
}

void LuDesktopRelativeToRealPath(CLuString const& strPath,
                                 CLuString* pstrResult) {
  RelativeToReal(strLuOSPath(eOSPathDesktop), strPath, pstrResult);
}

void LuRealPathToDesktopRelativePath(CLuString const& strPath,
                                     CLuString* pstrResult) {
  RealToRelative(strLuOSPath(eOSPathDesktop), strPath, pstrResult);
}

void LuHomeRelativeToRealPath(CLuString const& strPath, CLuString* pstrResult) {
  RelativeToReal(strLuOSPath(eOSPathHome), strPath, pstrResult);
}

void LuRealPathToHomeRelativePath(CLuString const& strPath,
                                  CLuString* pstrResult) {
  RealToRelative(strLuOSPath(eOSPathHome), strPath, pstrResult);
}
