#pragma once
// Path functions: taking paths apart and putting them together, plus the
// small file-system helpers around them (existence, copy, delete, folders,
// well-known folders, absolute paths). Builds on CLuString (base/string.h),
// the command line store (base/command_line.h) and POSIX.
//
// Path model: the separator is "/". Where a path is joined both "/" and "\"
// are accepted, and every joined result has its "\" turned into "/". There
// are no drive letters: the drive part is always empty. A folder path ends
// with "/" ("/shots/a/"); functions that return folders keep that form.
//
// Errors: every function reports by its result (false, empty string) and
// prints nothing; strLuLastOSError gives the reason of the last failed call.

#include <cstdint>

#include "base/string.h"

// ---------------------------------------------------------------------------
// Splitting and joining

// Takes strPath apart into drive (always empty), folder (up to and including
// the last "/"), name (after the last "/" up to the last ".") and extension
// (from the last "." on, dot included). "\" counts as "/"; double quotes at
// either end are dropped. A dot inside a folder name is not an extension. A
// path ending in "/" is all folder. Every non-null output is overwritten
// (emptied first); null outputs are skipped.
// Example: /shots/a/plate.0001.dpx -> "", "/shots/a/", "plate.0001", ".dpx".
void LuSplitPath(CLuString strPath, CLuString* pstrDrive, CLuString* pstrFolder,
                 CLuString* pstrName, CLuString* pstrExtension);

// Joins the four parts made by LuSplitPath. A "/" is put behind a non-empty
// drive and folder when they lack one; a leading separator of the folder is
// skipped when something precedes it; the name loses a leading "./" and then
// a leading separator (a name is always relative to the folder); the
// extension gets exactly one leading dot. "\" in the result becomes "/".
// Example: ("", "/shots/a", "plate", "dpx") -> "/shots/a/plate.dpx".
CLuString strLuCombinePath(CLuString const& strDrive,
                           CLuString const& strFolder, CLuString const& strName,
                           CLuString const& strExtension);

// The file name of strPath without its folder (name and extension joined);
// empty for a path ending in "/".
CLuString strLuFileNameFromPath(CLuString const& strPath);

// The folder of strPath with its trailing "/" (drive and folder joined);
// empty when the path has no folder part ("plate.dpx").
CLuString strLuDirectoryFromPath(CLuString const& strPath);

// The extension of strPath as LuSplitPath gives it, leading dot included
// (".dpx"); empty when there is none. A dot in a folder name does not count.
CLuString strLuGetExtension(CLuString const& strPath);

// The folder one level above strPath, which is taken as a folder whether or
// not it ends with "/": "/shots/a/" and "/shots/a" give "/shots/"; "a/b"
// gives "a/"; "a" gives "". Purely textual: "/" stays "/", and a last
// component "." or ".." is climbed by appending "../" ("../" -> "../../").
// "\" counts as "/". Empty in, empty out.
CLuString strLuGetPrevDirectory(CLuString const& strPath);

// True when strPath begins with "/" or "\" (the root of the file system).
bool bLuIsAbsolutePath(CLuString const& strPath);

// strPath made absolute against strBase and cleaned up textually: "." parts
// and repeated separators vanish, ".." removes the part before it (never
// above "/"). An absolute strPath ignores the base. An empty base means the
// current folder; a relative base is first made absolute against the current
// folder. A trailing "/" of strPath is kept. Symbolic links are not resolved.
// Empty when the current folder is needed and cannot be read.
// Example: ("../b/./c.dpx", "/shots/a/") -> "/shots/b/c.dpx".
CLuString strLuAbsolutePath(CLuString const& strPath, CLuString const& strBase);

// ---------------------------------------------------------------------------
// Files

// True when something that is not a folder exists at strPath (regular files,
// devices, pipes; symbolic links are followed, so a dangling link does not
// exist). With bIncludeFolders a folder counts as well.
bool bLuDoesFileExist(CLuString const& strPath, bool bIncludeFolders = false);

// Copies the regular file strSource to strDest byte for byte, in chunks of
// 1 MiB, and gives the copy the permission bits of the source. See
// bLuCopyFileNew for the rules.
bool bLuCopyFile(CLuString const& strSource, CLuString const& strDest,
                 bool bOverwrite);

// Copies the regular file strSource to strDest byte for byte in chunks of
// nChunkBytes (0 = 1 MiB; larger than 256 MiB is capped there), so files of
// any size need only one chunk of memory. True when the whole file was
// copied. Without bOverwrite an existing strDest is refused (false, left
// untouched). With bOverwrite the copy is written to a temporary file beside
// strDest and renamed over it at the end, so strDest is either the old file
// or the complete copy, never a part (copying a file onto itself is
// harmless). Any failure (missing or non-regular source, read or write
// error, full disk, no memory) returns false and removes whatever part was
// written; a half file is never left behind.
bool bLuCopyFileNew(CLuString const& strSource, CLuString const& strDest,
                    bool bOverwrite, uint32_t nChunkBytes);

// Deletes the file (or symbolic link) strPath. False when it does not exist,
// is a folder, or cannot be deleted.
bool bLuDeleteFile(CLuString const& strPath);

// True when strPath could be written: an existing file (not a folder) that
// the process may write to, or a missing file whose folder exists and
// accepts new files. Nothing is created.
bool bLuIsFileWritable(CLuString const& strPath);

// ---------------------------------------------------------------------------
// Folders

// True when strPath is a folder (symbolic links followed).
bool bLuDoesFolderExist(CLuString const& strPath);

// Creates the folder strPath and every missing folder above it (mode 0777
// less the process's file-creation mask). True when the folder exists at the
// end, also when it existed before (so true for the empty path, the current
// folder); false when a part of the path is a file or a folder cannot be
// made (folders made before the failure stay).
bool bLuCreateFolderTree(CLuString const& strPath);

// Deletes the folder strPath. Without bRecursive the folder must be empty.
// With bRecursive its whole content goes first, depth first; symbolic links
// inside are deleted as links and never followed. True when the folder is
// gone; false when it did not exist, is not a folder (a link to a folder is
// refused) or something could not be deleted (what was deleted stays
// deleted).
bool bLuDeleteFolder(CLuString const& strPath, bool bRecursive);

// True when a file can be created in the folder strPath, found out by doing
// it: the file ".veloma.test" in that folder is deleted if present (a failed
// deletion means not writable), created for writing, closed and deleted.
bool bLuIsFolderWritable(CLuString const& strPath);

// ---------------------------------------------------------------------------
// Process and platform

// The value of the environment variable strName; empty when it is not set.
CLuString strLuGetEnvironmentVariable(CLuString const& strName);

// The system's text for the current errno (the reason the last failed system
// call gave, for example "No such file or directory"); empty when errno is 0.
CLuString strLuLastOSError();

// The current working folder with a trailing "/"; empty when it cannot be
// read (for example when it was deleted).
CLuString strLuCurrentDirectory();

// Well-known folders of the platform for strLuOSPath.
enum ELuOSPath {
  eOSPathHome = 0,     // $HOME, else the user database entry
  eOSPathDesktop,      // home + "Desktop/"
  eOSPathDocuments,    // home + "Documents/"
  eOSPathSettings,     // $XDG_CONFIG_HOME, else home + ".config/"
  eOSPathCache,        // $XDG_CACHE_HOME, else home + ".cache/"
  eOSPathTemp,         // $TMPDIR, else "/tmp/"
  eOSPathApplication,  // strLuAppPath()
};

// The folder named by ePath, absolute and with a trailing "/". The folder is
// not checked or created. Empty for an unknown value or when the home folder
// cannot be found.
CLuString strLuOSPath(ELuOSPath ePath);

// The folder of the running program with a trailing "/", and its file name.
// Both come from argument 0 of the global command line store, read the first
// time either is asked for while that argument is present, made absolute
// against the then current folder (a bare name is looked up in $PATH) and
// kept for the rest of the run. Empty while the store holds no argument 0.
CLuString strLuAppPath();
CLuString strLuExeName();

// ---------------------------------------------------------------------------
// Virtual and relative paths. Each writes its result to *pstrResult (ignored
// when null), which may be strPath itself.

// Removes a URL prefix "file://" or "file://localhost" so that the plain
// path remains ("file:///shots/a" -> "/shots/a"); other paths are copied
// unchanged.
void LuStripVirtualPathPrefix(CLuString const& strPath, CLuString* pstrResult);

// Relative paths below the desktop and the home folder: the relative form is
// the path below that folder without a leading "/" ("shots/a.dpx"); the
// folder itself is the empty path. The to-real forms make a relative path
// absolute below the folder (a leading "~/" or "~" always means the home
// folder) and copy absolute paths unchanged; the to-relative forms shorten
// paths inside the folder and copy every other path unchanged. When the
// folder is unknown the path is copied unchanged.
void LuDesktopRelativeToRealPath(CLuString const& strPath,
                                 CLuString* pstrResult);
void LuRealPathToDesktopRelativePath(CLuString const& strPath,
                                     CLuString* pstrResult);
void LuHomeRelativeToRealPath(CLuString const& strPath, CLuString* pstrResult);
void LuRealPathToHomeRelativePath(CLuString const& strPath,
                                  CLuString* pstrResult);
