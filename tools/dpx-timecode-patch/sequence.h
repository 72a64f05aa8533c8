// Frame sequence discovery: from the one path the user typed (a real frame
// such as /shots/a/plate.0001.dpx, or plate.#.dpx with "#" in the number's
// place) to the full paths of every frame of that numbered sequence.
//
// Builds on CLuString (base/string.h), CLuCompactArray (base/containers.h),
// the path functions (files/paths.h) and CLuFileFind (files/file_find.h).
// Prints nothing and catches nothing.
//
// Membership rule: a file belongs when its file name with the frame number
// cut out by LuCutOffNumber equals the input's file name cut the same way,
// ignoring ASCII case. Folders, the dot entries and hidden entries (a
// leading "." or listed in the folder's ".hidden" file) never belong.
#pragma once

#include <cstdint>

#include "base/containers.h"
#include "base/string.h"

// Appends to *paoFrames one newly allocated CLuString (owned by the caller)
// holding the full path, as the directory listing reports it, of every
// member of strFramePath's sequence, in listing order. Never clears or
// sorts the list. Nothing found (no such folder, no member) leaves the list
// as it was. The folder is listed once; each candidate costs one status
// query, one split and one number cut. A null paoFrames does nothing.
void FileListFromFramePath(CLuString const& strFramePath,
                           CLuCompactArray<CLuString>* paoFrames);

// Cuts the frame number out of the file name of strPath (any folder part is
// dropped) and puts "#" in its place:
//   plate.0001.dpx -> plate.#.dpx (1)     sequence0001.dpx -> sequence#.dpx
//   0001.dpx       -> #.dpx               plate0001        -> plate#.
//   plate.0001     -> plate..# (1)        plate.take2      -> plate.take.# (2)
//   plate.#.dpx, plate.dpx -> unchanged (0)
// The number is the run of digits ending the extension (never its dot) or,
// when the extension does not end in a digit, the run ending the name.
// *pstrResult receives the cut name (it may be the same string as strPath's
// source), *piNumber the number's value (atoi; 0 when there is none) and
// *pstrDigits, when not null, the digits with their leading zeros (empty
// when there are none). Any output pointer may be null.
void LuCutOffNumber(CLuString strPath, CLuString* pstrResult, int* piNumber,
                    CLuString* pstrDigits);

// LuCutOffNumber's result for a bare file name (no folder) of nLength
// bytes that holds no "/", "\\", double quote or NUL, computed without
// splitting and joining strings: the same text, NUL-terminated, into pszKey
// (nKeyRoom bytes; nLength + 3 are enough), and true. False, pszKey
// untouched, for any other name or too little room: such a name must take
// LuCutOffNumber itself.
bool bCutOffNumberOfBareName(char const* pszName, uint32_t nLength,
                             char* pszKey, uint32_t nKeyRoom);
