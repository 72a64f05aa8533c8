#include "files/file_find.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/vfs.h>
#endif

#include "files/paths.h"

namespace {

int iCompareNamesIgnoringCase(void const* pA, void const* pB) {
  return strcasecmp(*static_cast<char const* const*>(pA),
                    *static_cast<char const* const*>(pB));
}

bool bIsDotName(char const* pszName) {
  return pszName[0] == '.' &&
         (pszName[1] == 0 || (pszName[1] == '.' && pszName[2] == 0));
}

// Reads the whole file at pszPath into a new NUL-terminated block (owned by
// the caller, free). Null when it cannot be read or is not a plain file.
// Opened without blocking: a ".hidden" that is a named pipe must not stall
// the search (for a plain file the flag changes nothing).
char* pszReadWholeFile(char const* pszPath, size_t* pnLength) {
  int fd = open(pszPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return nullptr;
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    return nullptr;
  }
  size_t nCapacity = static_cast<size_t>(st.st_size) + 1;
  size_t nLength = 0;
  char* psz = static_cast<char*>(malloc(nCapacity + 1));
  while (psz) {
    if (nLength == nCapacity) {  // the file grew while being read
      nCapacity *= 2;
      char* pszBigger = static_cast<char*>(realloc(psz, nCapacity + 1));
      if (!pszBigger) {
        free(psz);
        psz = nullptr;
        break;
      }
      psz = pszBigger;
    }
    ssize_t iRead = read(fd, psz + nLength, nCapacity - nLength);
    if (iRead < 0 && errno == EINTR) continue;
    if (iRead < 0) {
      free(psz);
      psz = nullptr;
    } else if (iRead == 0) {
      psz[nLength] = 0;
      *pnLength = nLength;
    } else {
      nLength += static_cast<size_t>(iRead);
      continue;
    }
    break;
  }
  close(fd);
  return psz;
}

}  // namespace

CLuFileFind::CLuFileFind(CLuString const& strPathWithWildcard,
                         bool bIncludeHidden)
    : m_strPattern(strLuFileNameFromPath(strPathWithWildcard)),
      m_strFolder(strLuDirectoryFromPath(strPathWithWildcard)),
      m_bIncludeHidden(bIncludeHidden),
      m_bMatchAll(false),
      m_pszHiddenText(nullptr),
      m_ppszHiddenNames(nullptr),
      m_nHiddenNames(0),
      m_pDir(nullptr),
      m_bHasEntry(false),
      m_byDirType(DT_UNKNOWN),
      m_bAttributesCached(false),
      m_i64Size(-1),
      m_iModified(-1),
      m_iCreated(-1) {
  m_strFolder.ConvertPathToOSSpecific();
  if (m_strFolder.bIsEmpty()) m_strFolder = "./";
  // Both forms match every name at once; spare the matcher 100,000 calls.
  m_bMatchAll = strcmp(m_strPattern.pszGetString(), "*") == 0 ||
                strcmp(m_strPattern.pszGetString(), "*.*") == 0;
  if (!m_bIncludeHidden) ReadHiddenNames();
}

CLuFileFind::~CLuFileFind() {
  if (m_pDir) closedir(m_pDir);
  free(m_ppszHiddenNames);
  free(m_pszHiddenText);
}

void CLuFileFind::ReadHiddenNames() {
  CLuString strHiddenFile = m_strFolder;
  strHiddenFile += ".hidden";
  size_t nLength = 0;
  m_pszHiddenText = pszReadWholeFile(strHiddenFile.pszGetString(), &nLength);
  if (!m_pszHiddenText) return;

  // Cut the text into names at CR and LF; empty lines name nothing.
  size_t nNames = 0;
  for (size_t i = 0; i < nLength; ++i) {
    char c = m_pszHiddenText[i];
    if (c == '\n' || c == '\r') {
      m_pszHiddenText[i] = 0;
    } else if (i == 0 || m_pszHiddenText[i - 1] == 0) {
      ++nNames;
    }
  }
  if (nNames == 0) return;
  m_ppszHiddenNames =
      static_cast<char const**>(malloc(nNames * sizeof(char const*)));
  if (!m_ppszHiddenNames) return;
  size_t nFound = 0;
  for (size_t i = 0; i < nLength; ++i) {
    if (m_pszHiddenText[i] != 0 && (i == 0 || m_pszHiddenText[i - 1] == 0)) {
      m_ppszHiddenNames[nFound++] = m_pszHiddenText + i;
    }
  }
  // Sorted ignoring case, each name kept once: a lookup is a binary search,
  // so a long ".hidden" beside a big folder costs n log n, not n squared.
  qsort(m_ppszHiddenNames, nFound, sizeof(char const*),
        iCompareNamesIgnoringCase);
  size_t nKept = 0;
  for (size_t i = 0; i < nFound; ++i) {
    if (nKept > 0 &&
        strcasecmp(m_ppszHiddenNames[nKept - 1], m_ppszHiddenNames[i]) == 0) {
      continue;
    }
    m_ppszHiddenNames[nKept++] = m_ppszHiddenNames[i];
  }
  m_nHiddenNames = static_cast<uint32_t>(nKept);
}

bool CLuFileFind::bIsHiddenName(char const* pszName) const {
  if (m_nHiddenNames > 0 &&
      bsearch(&pszName, m_ppszHiddenNames, m_nHiddenNames, sizeof(char const*),
              iCompareNamesIgnoringCase)) {
    return true;
  }
  if (bIsDotName(pszName)) return false;
  return pszName[0] == '.';
}

bool CLuFileFind::bFindFile() {
  m_bAttributesCached = false;
  m_bHasEntry = false;
  if (!m_pDir) {
    m_pDir = opendir(m_strFolder.pszGetString());
    if (!m_pDir) return false;
  }
  // readdir's end and its errors both end the walk.
  while (struct dirent* pEntry = readdir(m_pDir)) {
    char const* pszName = pEntry->d_name;
    if (!m_bIncludeHidden && bIsHiddenName(pszName)) continue;
    m_strName = pszName;
    if (!m_bMatchAll && !m_strName.bMatchesWildCard(m_strPattern)) continue;
    m_byDirType = pEntry->d_type;
    m_bHasEntry = true;
    return true;
  }
  return false;
}

CLuString CLuFileFind::strPath() const {
  if (!m_bHasEntry) return CLuString();
  // Asked for every entry of a listing: the empty parts are shared rather
  // than built (and allocated) twice per call. Only ever read.
  static CLuString const s_strNone;
  return strLuCombinePath(s_strNone, m_strFolder, m_strName, s_strNone);
}

CLuString CLuFileFind::strDisplayName() const {
  return m_bHasEntry ? m_strName : CLuString();
}

bool CLuFileFind::bIsDirectory() const {
  if (!m_bHasEntry) return false;
  // The answer is a status query on strPath. readdir's type stands in for
  // it, saving one query per entry, only where the two cannot differ: a
  // plain file or a folder whose name strPath keeps as it is. A backslash
  // in the name becomes a folder separator in strPath, which then names
  // another entry; links and "unknown" types need the query anyway.
  bool const bPathIsName = strchr(m_strName.pszGetString(), '\\') == nullptr;
  if (bPathIsName && m_byDirType == DT_DIR) return true;
  if (bPathIsName && m_byDirType == DT_REG) return false;
  struct stat oStat;
  return stat(strPath().pszGetString(), &oStat) == 0 && S_ISDIR(oStat.st_mode);
}

bool CLuFileFind::bIsDots() const {
  return m_bHasEntry && bIsDotName(m_strName.pszGetString());
}

bool CLuFileFind::bIsHiddenFile() const {
  return m_bHasEntry && bIsHiddenName(m_strName.pszGetString());
}

bool CLuFileFind::bIsNetworkNode() const {
#ifdef __linux__
  if (!m_bHasEntry) return false;
  struct statfs oFs;
  if (statfs(strPath().pszGetString(), &oFs) != 0) return false;
  switch (static_cast<unsigned long>(oFs.f_type)) {
    case 0x6969UL:      // NFS
    case 0x517BUL:      // SMB
    case 0xFE534D42UL:  // SMB2
    case 0xFF534D42UL:  // CIFS
    case 0x5346414FUL:  // AFS
    case 0x73757245UL:  // Coda
    case 0x564CUL:      // NCP
    case 0x01021997UL:  // 9P
      return true;
    default:
      return false;
  }
#else
  return false;
#endif
}

void CLuFileFind::CacheAttributes() const {
  if (m_bAttributesCached) return;
  m_bAttributesCached = true;
  m_i64Size = -1;
  m_iModified = -1;
  m_iCreated = -1;
  if (!m_bHasEntry || !m_pDir) return;
  // Asked relative to the open folder by the entry's own name: one lookup
  // less than the full path, and right even for names that the path joining
  // would read as separators.
  int fdFolder = dirfd(m_pDir);
  char const* pszName = m_strName.pszGetString();
#if defined(__linux__) && defined(STATX_BTIME)
  // statx (Linux) is the only way to the birth time; where it is refused
  // (old kernels, sandboxes) the plain status query below takes over.
  static const int aiStatxFlags[] = {0, AT_SYMLINK_NOFOLLOW};
  for (int iFlags : aiStatxFlags) {
    struct statx oStat;
    if (statx(fdFolder, pszName, iFlags,
              STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_BTIME | STATX_CTIME,
              &oStat) == 0) {
      m_i64Size = static_cast<int64_t>(oStat.stx_size);
      m_iModified = oStat.stx_mtime.tv_sec;
      m_iCreated = (oStat.stx_mask & STATX_BTIME) ? oStat.stx_btime.tv_sec
                                                  : oStat.stx_ctime.tv_sec;
      return;
    }
    if (errno == ENOSYS || errno == EPERM) break;
  }
#endif
  static const int aiStatFlags[] = {0, AT_SYMLINK_NOFOLLOW};
  for (int iFlags : aiStatFlags) {
    struct stat oStat;
    if (fstatat(fdFolder, pszName, &oStat, iFlags) == 0) {
      m_i64Size = static_cast<int64_t>(oStat.st_size);
      m_iModified = oStat.st_mtime;
      m_iCreated = oStat.st_ctime;  // no birth time here: last status change
      return;
    }
  }
}

int64_t CLuFileFind::i64FileSize() const {
  CacheAttributes();
  return m_i64Size;
}

CLuTime CLuFileFind::timModified() const {
  CacheAttributes();
  return CLuTime::timFromSeconds(m_iModified);
}

CLuTime CLuFileFind::timCreated() const {
  CacheAttributes();
  return CLuTime::timFromSeconds(m_iCreated);
}
