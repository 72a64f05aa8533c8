#pragma once
// Directory enumeration: CLuFileFind walks the entries of one folder whose
// names match a wildcard, one entry per call, without descending into
// subfolders, and answers questions about the current entry. Builds on
// CLuString (wildcards of bMatchesWildCard, ignoring case), the path
// functions (files/paths.h), CLuTime (system/time.h) and POSIX opendir and
// readdir.
//
// Hidden entries: a name listed in the folder's ".hidden" file (one name per
// line, compared ignoring case), else any name beginning with "." except the
// two dot entries "." and "..".
//
// Cost: the folder is read in one pass of readdir. Nothing is asked of the
// file system per entry unless a question needs it: bIsDirectory answers
// from the entry's type when readdir reports a plain file or a folder (and
// the name holds no backslash), and otherwise asks the file system about
// strPath. Size and times are read once per entry, on first demand.
// ".hidden" names are looked up by binary search.
//
// Errors: none are reported; a folder that cannot be opened simply yields no
// entry. Nothing is printed.

#include <dirent.h>

#include <cstdint>

#include "base/string.h"
#include "system/time.h"

class CLuFileFind {
 public:
  // Prepares a search of the folder part of strPathWithWildcard ("./" when
  // it has none) for names matching its file-name part (the wildcard list
  // of CLuString::bMatchesWildCard, for example "plate*?.dpx"). With
  // bIncludeHidden false, hidden entries are skipped and the folder's
  // ".hidden" file is read now (a missing or unreadable one hides nothing);
  // otherwise nothing is read until the first bFindFile.
  CLuFileFind(CLuString const& strPathWithWildcard, bool bIncludeHidden);

  // Closes the folder if it is open.
  virtual ~CLuFileFind();

  CLuFileFind(CLuFileFind const&) = delete;
  CLuFileFind& operator=(CLuFileFind const&) = delete;

  // Advances to the next matching entry (in the order the file system
  // gives). False when there is none left or the folder cannot be opened;
  // there is then no current entry. The dot entries "." and ".." are
  // yielded when they match: callers skip them with bIsDots.
  bool bFindFile();

  // The current entry's full path: the folder joined with its name, so
  // "./name" for a search without a folder. Empty without a current entry.
  CLuString strPath() const;

  // The current entry's own name without folder, as the folder holds it;
  // empty without a current entry.
  CLuString strDisplayName() const;

  // True when strPath names a folder (or a symbolic link to one); false for
  // anything else, for a dangling link, when the query fails, and without a
  // current entry. A name holding a backslash is asked about through
  // strPath, where the backslash is a folder separator: "sub\\x" is a folder
  // when sub/x is one.
  bool bIsDirectory() const;

  // True when the current entry is "." or "..".
  bool bIsDots() const;

  // True when the current entry is hidden by the rules above. Names in
  // ".hidden" count only when hidden entries were excluded at construction
  // (otherwise that file is not read).
  bool bIsHiddenFile() const;

  // True when the current entry lives on a network file system (NFS, SMB,
  // CIFS, AFS, Coda, NCP, 9P). False for local entries, on failure and
  // without a current entry. Asks the file system on every call.
  bool bIsNetworkNode() const;

  // The current entry's size in bytes (of the target for a symbolic link,
  // of the link itself when dangling); -1 when it cannot be queried or
  // there is no current entry.
  int64_t i64FileSize() const;

  // The current entry's last modification time; invalid (-1) when it cannot
  // be queried or there is no current entry.
  CLuTime timModified() const;

  // The current entry's creation (birth) time where the file system records
  // one, else the time of its last status change; invalid (-1) when it
  // cannot be queried or there is no current entry.
  CLuTime timCreated() const;

 private:
  void ReadHiddenNames();
  bool bIsHiddenName(char const* pszName) const;
  void CacheAttributes() const;

  CLuString m_strPattern;  // file-name wildcard list
  CLuString m_strFolder;   // with trailing "/"; "./" when none was given
  bool m_bIncludeHidden;
  bool m_bMatchAll;  // the pattern is "*" or "*.*": no matching needed

  // ".hidden" names: one owned text block cut into names at line ends, and
  // a sorted (ignoring case) array of pointers into it, without repeats.
  char* m_pszHiddenText;
  char const** m_ppszHiddenNames;
  uint32_t m_nHiddenNames;

  DIR* m_pDir;  // opened by the first bFindFile
  bool m_bHasEntry;
  CLuString m_strName;        // current entry's name
  unsigned char m_byDirType;  // current entry's d_type

  // Per-entry attributes, read once on first demand.
  mutable bool m_bAttributesCached;
  mutable int64_t m_i64Size;
  mutable int64_t m_iModified;  // seconds since 1970, -1 unknown
  mutable int64_t m_iCreated;
};
