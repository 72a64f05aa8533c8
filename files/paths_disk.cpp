// Path functions that touch the disk: existence, copying and deleting
// files, creating, deleting and testing folders. Declared in files/paths.h.

// Large-file interfaces also on 32-bit systems: files past 2 GiB must
// stat, open and copy like any other.
#ifndef _FILE_OFFSET_BITS
#define _FILE_OFFSET_BITS 64
#endif

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "files/paths.h"

namespace {

// Adds a "/" unless the text is empty or already ends with one.
void EnsureTrailingSlash(CLuString* pstr) {
  uint32_t nLen = pstr->nGetLength();
  if (nLen > 0 && pstr->pszGetString()[nLen - 1] != '/') *pstr += '/';
}

// Length of the folder part of a raw path: up to and including its last "/",
// 0 when it has none. Used where a path goes to the system unchanged.
uint32_t nRawFolderLength(CLuString const& strPath) {
  char const* psz = strPath.pszGetString();
  char const* pszSlash = strrchr(psz, '/');
  return pszSlash ? static_cast<uint32_t>(pszSlash - psz) + 1 : 0;
}

// The raw folder part of strPath, or "." when it has none: the folder that a
// new file named strPath would land in.
CLuString strRawFolderOf(CLuString const& strPath) {
  uint32_t nLen = nRawFolderLength(strPath);
  CLuString str;
  if (nLen == 0) {
    str = ".";
  } else {
    str.Assign(strPath.pszGetString(), nLen);
  }
  return str;
}

// Writes all of nLen bytes, riding over short writes and signals.
bool bWriteAll(int fd, char const* pby, size_t nLen) {
  while (nLen > 0) {
    ssize_t iWritten = write(fd, pby, nLen);
    if (iWritten < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    pby += iWritten;
    nLen -= static_cast<size_t>(iWritten);
  }
  return true;
}

// Copies everything readable from fdIn to fdOut through pbyBuffer.
bool bCopyDescriptor(int fdIn, int fdOut, char* pbyBuffer, size_t nChunk) {
  for (;;) {
    ssize_t iRead = read(fdIn, pbyBuffer, nChunk);
    if (iRead < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (iRead == 0) return true;
    if (!bWriteAll(fdOut, pbyBuffer, static_cast<size_t>(iRead))) return false;
  }
}

// Deletes everything inside the open folder fdFolder (which it takes over),
// depth first, without following symbolic links. Keeps going after a
// failure so that as much as possible goes; returns whether all went.
bool bDeleteFolderContent(int fdFolder) {
  DIR* pDir = fdopendir(fdFolder);
  if (!pDir) {
    close(fdFolder);
    return false;
  }
  bool bAllGone = true;
  while (struct dirent* pEntry = readdir(pDir)) {
    char const* pszName = pEntry->d_name;
    if (strcmp(pszName, ".") == 0 || strcmp(pszName, "..") == 0) continue;
    bool bFolder = pEntry->d_type == DT_DIR;
    if (pEntry->d_type == DT_UNKNOWN) {
      struct stat st;
      bFolder = fstatat(dirfd(pDir), pszName, &st, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISDIR(st.st_mode);
    }
    if (bFolder) {
      int fdChild = openat(dirfd(pDir), pszName,
                           O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      if (fdChild < 0 || !bDeleteFolderContent(fdChild) ||
          unlinkat(dirfd(pDir), pszName, AT_REMOVEDIR) != 0) {
        bAllGone = false;
      }
    } else if (unlinkat(dirfd(pDir), pszName, 0) != 0) {
      bAllGone = false;
    }
  }
  closedir(pDir);
  return bAllGone;
}

}  // namespace

// ---------------------------------------------------------------------------
// Files

bool bLuDoesFileExist(CLuString const& strPath, bool bIncludeFolders) {
  struct stat st;
  if (stat(strPath.pszGetString(), &st) != 0) return false;
  return bIncludeFolders || !S_ISDIR(st.st_mode);
}

bool bLuCopyFile(CLuString const& strSource, CLuString const& strDest,
                 bool bOverwrite) {
  return bLuCopyFileNew(strSource, strDest, bOverwrite, 0);
}

bool bLuCopyFileNew(CLuString const& strSource, CLuString const& strDest,
                    bool bOverwrite, uint32_t nChunkBytes) {
  const uint32_t nDefaultChunk = 1u << 20;
  const uint32_t nMaxChunk = 256u << 20;
  if (nChunkBytes == 0) nChunkBytes = nDefaultChunk;
  if (nChunkBytes > nMaxChunk) nChunkBytes = nMaxChunk;

  struct stat stDest;
  if (!bOverwrite && lstat(strDest.pszGetString(), &stDest) == 0) {
    errno = EEXIST;
    return false;
  }
  int fdIn = open(strSource.pszGetString(), O_RDONLY | O_CLOEXEC);
  if (fdIn < 0) return false;
  struct stat stSource;
  if (fstat(fdIn, &stSource) != 0) {
    int iError = errno;
    close(fdIn);
    errno = iError;
    return false;
  }
  if (!S_ISREG(stSource.st_mode)) {
    close(fdIn);
    errno = S_ISDIR(stSource.st_mode) ? EISDIR : EINVAL;
    return false;
  }

  // The copy grows under a temporary name beside the destination and only
  // takes the destination's name once it is complete: nobody ever sees a
  // half file under that name, and an old file stays until the new one is
  // whole.
  CLuString strTemp = strRawFolderOf(strDest);
  EnsureTrailingSlash(&strTemp);
  strTemp += ".lu-copy-XXXXXX";
  char* pszTemp = strTemp.pszGetBuffer(strTemp.nGetLength());
  int fdOut = pszTemp ? mkostemp(pszTemp, O_CLOEXEC) : -1;
  if (!pszTemp) errno = ENOMEM;
  strTemp.ReleaseBuffer();
  char* pbyBuffer = nullptr;
  bool bOk = fdOut >= 0;
  if (bOk) {
    pbyBuffer = static_cast<char*>(malloc(nChunkBytes));
    if (!pbyBuffer) errno = ENOMEM;
    bOk = pbyBuffer && bCopyDescriptor(fdIn, fdOut, pbyBuffer, nChunkBytes) &&
          fchmod(fdOut, stSource.st_mode & 0777) == 0 && fsync(fdOut) == 0;
  }
  free(pbyBuffer);
  int iError = errno;
  close(fdIn);
  // close reports late write errors of network file systems.
  if (fdOut >= 0 && close(fdOut) != 0 && bOk) {
    bOk = false;
    iError = errno;
  }

  if (bOk) {
    if (bOverwrite) {
      bOk = rename(strTemp.pszGetString(), strDest.pszGetString()) == 0;
      iError = errno;
    } else {
      // link refuses an existing name atomically; a file system without hard
      // links falls back to a check and a rename.
      bOk = link(strTemp.pszGetString(), strDest.pszGetString()) == 0;
      iError = errno;
      if (!bOk && iError != EEXIST) {
        struct stat st;
        if (lstat(strDest.pszGetString(), &st) == 0) {
          iError = EEXIST;
        } else {
          bOk = rename(strTemp.pszGetString(), strDest.pszGetString()) == 0;
          iError = errno;
        }
      }
    }
  }
  if (fdOut >= 0) unlink(strTemp.pszGetString());  // gone after a rename
  errno = bOk ? 0 : iError;
  return bOk;
}

bool bLuDeleteFile(CLuString const& strPath) {
  struct stat st;
  if (lstat(strPath.pszGetString(), &st) != 0) return false;
  if (S_ISDIR(st.st_mode)) {
    errno = EISDIR;
    return false;
  }
  return unlink(strPath.pszGetString()) == 0;
}

bool bLuIsFileWritable(CLuString const& strPath) {
  if (strPath.bIsEmpty()) return false;
  struct stat st;
  if (stat(strPath.pszGetString(), &st) == 0) {
    return !S_ISDIR(st.st_mode) &&
           faccessat(AT_FDCWD, strPath.pszGetString(), W_OK, AT_EACCESS) == 0;
  }
  if (errno != ENOENT) return false;
  CLuString strFolder = strRawFolderOf(strPath);
  return stat(strFolder.pszGetString(), &st) == 0 && S_ISDIR(st.st_mode) &&
         faccessat(AT_FDCWD, strFolder.pszGetString(), W_OK | X_OK,
                   AT_EACCESS) == 0;
}

// ---------------------------------------------------------------------------
// Folders

bool bLuDoesFolderExist(CLuString const& strPath) {
  struct stat st;
  return stat(strPath.pszGetString(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool bLuCreateFolderTree(CLuString const& strPath) {
  CLuString strPart(strPath);
  // The empty path is the current folder, which is there already.
  if (strPart.bIsEmpty()) return bLuDoesFolderExist(".");
  // Walk the path, ending it at each "/" in turn, so each folder is made
  // after its parent.
  char* psz = strPart.pszGetBuffer(strPart.nGetLength());
  if (!psz) return false;
  uint32_t nLen = static_cast<uint32_t>(strlen(psz));
  for (uint32_t i = 1; i <= nLen; ++i) {
    if (i < nLen && psz[i] != '/') continue;
    if (psz[i - 1] == '/') continue;  // repeated or trailing separator
    char cSaved = psz[i];
    psz[i] = 0;
    if (mkdir(psz, 0777) != 0 && errno != EEXIST) {
      // A read-only parent refuses mkdir even for a folder that exists.
      if (!bLuDoesFolderExist(psz)) return false;
    }
    psz[i] = cSaved;
  }
  strPart.ReleaseBuffer();
  if (!bLuDoesFolderExist(strPart)) {
    errno = ENOTDIR;
    return false;
  }
  return true;
}

bool bLuDeleteFolder(CLuString const& strPath, bool bRecursive) {
  struct stat st;
  if (lstat(strPath.pszGetString(), &st) != 0) return false;
  if (!S_ISDIR(st.st_mode)) {
    errno = ENOTDIR;
    return false;
  }
  if (bRecursive) {
    int fd = open(strPath.pszGetString(),
                  O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0 || !bDeleteFolderContent(fd)) return false;
  }
  return rmdir(strPath.pszGetString()) == 0;
}

bool bLuIsFolderWritable(CLuString const& strPath) {
  CLuString strTest =
      strLuCombinePath(CLuString(), strPath, ".veloma.test", CLuString());
  struct stat st;
  if (lstat(strTest.pszGetString(), &st) == 0 && !bLuDeleteFile(strTest)) {
    return false;
  }
  // O_EXCL: the name was just cleared, and a link planted under it since
  // must not be followed.
  int fd = open(strTest.pszGetString(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                0644);
  if (fd < 0) return false;
  close(fd);
  unlink(strTest.pszGetString());
  return true;
}
