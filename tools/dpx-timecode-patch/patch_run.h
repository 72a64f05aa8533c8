// The patch run: the last stage of the program. Orders the frames of a
// sequence, prints the default notes and gives frame n the start timecode
// plus n frames, writing a header only where the packed word differs.
//
// Builds on CLuCompactArray (base/containers.h), CLuTimeCode
// (media/timecode.h), CLuDPXHeader (media/dpx_header.h) and the path
// functions (files/paths.h). Prints on standard output; a failure on one
// frame is reported on that frame's line and the run goes on.
#pragma once

#include "base/containers.h"
#include "base/string.h"
#include "media/timecode.h"

// Sorts *paoFrames in place in byte order of the full paths (a.10.dpx
// before a.9.dpx), then prints:
//   "Frame rate not specified, using default (24)" unless bRateGiven,
//   "Starting time code not specified, using default (00:00:00:00)" unless
//   bTimeCodeGiven, and one empty line when either note was printed;
//   per frame "<file name>: " followed by "<old> -> <new>" (header written,
//   appended at the end of the file), "<wanted> (doesn't need updating)"
//   (file untouched), "error reading DPX header" or "error writing DPX
//   header".
// Frame n is compared with tcStart + n whatever happened to earlier frames.
// tcStart must already carry the final frame rate; it is not changed.
// Returns the exit code of the run: 0, whatever single frames did.
// Exceptions outside the per-frame steps are not caught.
int iPatchFrameSequence(CLuCompactArray<CLuString>* paoFrames,
                        CLuTimeCode const& tcStart, bool bRateGiven,
                        bool bTimeCodeGiven);
