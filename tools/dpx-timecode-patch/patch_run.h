// The patch run: the last stage of the program. Orders the frames of a
// sequence, prints the default notes and gives frame n the start timecode
// plus n frames, writing a header only where the packed word differs.
//
// Builds on CLuCompactArray (base/containers.h), CLuTimeCode
// (media/timecode.h), the frame steps (frame_patch.h), the worker pool
// (frame_pool.h) and CLuTimer (system/timer.h). Prints on standard output;
// a failure on one frame is reported on that frame's line and the run goes
// on.
//
// Scheduling: frames run one after the other on the calling thread while
// they are quick (a local disk: then the job is system calls, and handing
// frames to other threads would only add to them). When several frames in
// a row each take longer than kSlowFrameNs, the storage is answering with
// round trips (a network file system, a cold disk) and the rest of the run
// goes to a pool that keeps many frames in flight. Either way the output,
// the order of the lines and the bytes of every file are those of a run of
// one frame after the other.
//
// Interruption: SIGINT, SIGTERM and SIGHUP (unless ignored when the run
// starts, as under nohup) stop the run between frames: no further frame
// starts, the frames in flight finish and their lines are printed in order,
// standard output is flushed, and the process then ends by the same signal,
// so that the shell sees its usual status. A header is never half written
// because of a signal.
#pragma once

#include <cstdint>
#include <cstdio>

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
// Returns the exit code of the run: 0, whatever single frames did. Does not
// return when a stop signal arrived (see above). Exceptions outside the
// per-frame steps are not caught.
int iPatchFrameSequence(CLuCompactArray<CLuString>* paoFrames,
                        CLuTimeCode const& tcStart, bool bRateGiven,
                        bool bTimeCodeGiven);

// How the frames of a run are scheduled. The program always lets the run
// choose (eScheduleAdaptive); tests pin the other two.
enum EFrameScheduling {
  eScheduleAdaptive = 0,  // one at a time until frames prove slow
  eScheduleInline = 1,    // one at a time throughout
  eSchedulePooled = 2,    // the worker pool from the first frame
};

// iPatchFrameSequence with its output on pOut and the scheduling given.
// After a stop signal it returns instead of ending the process: *piSignal
// (when not null) receives the signal, 0 when the run went through every
// frame. The handlers are in place for the length of the call only.
int iRunFrameSequence(CLuCompactArray<CLuString>* paoFrames,
                      CLuTimeCode const& tcStart, bool bRateGiven,
                      bool bTimeCodeGiven, FILE* pOut,
                      EFrameScheduling eScheduling, int* piSignal);

// A frame that takes longer than this, in ns, counts as slow; after
// kSlowFramesInARow slow frames in a row the run hands its frames to the
// pool. A frame on network storage costs at least four round trips of
// 0.1 ms or more, a frame on a local disk with a warm cache some
// microseconds; a frame that was merely preempted, or met a cold cache, is
// slow alone and does not switch.
constexpr uint64_t kSlowFrameNs = 250000;
constexpr uint32_t kSlowFramesInARow = 8;
