// One frame of the patch run: read its DPX header, compare the packed
// timecode word with the wanted one, write a patched header where they
// differ, and the line that reports it.
//
// Builds on CLuDPXHeader (media/dpx_header.h), CLuTimeCode
// (media/timecode.h) and the path functions (files/paths.h). Catches every
// exception of the frame's own steps; prints only in PrintFrameLine.
#pragma once

#include <cstdint>
#include <cstdio>

#include "base/string.h"
#include "media/timecode.h"

// How a frame ended.
enum EFrameOutcome {
  eFrameUnchanged = 0,    // header already right; file untouched
  eFramePatched = 1,      // header block appended with the new timecode
  eFrameReadFailed = 2,   // "error reading DPX header"
  eFrameWriteFailed = 3,  // "error writing DPX header" (anything after a
                          // successful read)
};

// Work and result of one frame. The caller sets the two pointers; PatchFrame
// fills the rest. Reusing one object for many frames reuses its texts'
// buffers.
struct SFramePatch {
  CLuString const* pstrPath = nullptr;     // full path; not owned
  CLuTimeCode const* ptcWanted = nullptr;  // start + n; not owned
  EFrameOutcome eOutcome = eFrameUnchanged;
  CLuString strOld;  // the header's timecode text (eFramePatched)
  CLuString strNew;  // the wanted timecode text (eFrameUnchanged, Patched)
};

// Where a frame waits, between its read and its write, until it may write.
// Appends to one file must land in frame order, so a scheduler that runs
// frames side by side holds a frame back here; the run that does one frame
// at a time passes none.
class CFrameWriteGate {
 public:
  virtual ~CFrameWriteGate() = default;
  // Called once per frame after its read phase, whatever happened in it.
  // bWillWrite: the frame is about to append a header. bIdentityKnown,
  // n64Device, n64Inode: the file the header was read from (hard links share
  // them). Returns when the frame may write (at once when it will not).
  virtual void WaitForWriteTurn(bool bWillWrite, bool bIdentityKnown,
                                uint64_t n64Device, uint64_t n64Inode) = 0;
};

// Patches one frame: ReadFromFile, the packed-word comparison, and where the
// words differ SetHeaderTimeCode and WriteToExistingFile (which appends the
// whole header block). Any exception of these steps is caught and decides
// the outcome: before the read returned "read failed", after it "write
// failed" (the split is deliberately coarse). poGate, when not null, is
// asked between read and write. Never throws.
void PatchFrame(SFramePatch* poFrame, CFrameWriteGate* poGate);

// Prints the frame's line on pOut: "<file name>: " followed by
// "<old> -> <new>\n", "<wanted> (doesn't need updating)\n",
// "error reading DPX header\n" or "error writing DPX header\n".
// pstrScratch holds the file name where it has to be built.
void PrintFrameLine(FILE* pOut, SFramePatch const& oFrame,
                    CLuString* pstrScratch);

// The file name of strPath exactly as strLuFileNameFromPath gives it. For a
// plain path (a "/" before the name, no "\" and no closing double quote,
// which are what the path functions rewrite) that is the text after the
// last "/", pointed to inside strPath without building a string; otherwise
// it is built into *pstrScratch. Valid while both strings live unchanged.
char const* pszFrameFileName(CLuString const& strPath, CLuString* pstrScratch);
