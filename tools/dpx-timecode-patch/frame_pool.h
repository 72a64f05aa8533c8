// A pool of worker threads that keeps many frames of the patch run in
// flight. On network storage every open, status query, read, write and
// close is a round trip, so one frame at a time leaves the link idle; the
// pool overlaps the round trips of up to kWorkers frames while everything a
// user sees stays as in a run of one frame after the other:
//   - frames are handed out in order, each with its wanted timecode, which
//     the calling thread advances one frame at a time;
//   - lines are printed by the calling thread, strictly in frame order;
//   - appends to one file (hard links, or links to one file, share device
//     and inode) land in frame order: a frame writes only once every
//     earlier frame has finished its read, so that every earlier writer of
//     the same file is known, and none of those still has to write. The
//     header at the start of a file never changes (patched headers are
//     appended), so reads overlap freely.
// At most kWindow frames are between hand-out and print, so memory stays
// bounded whatever the length of the sequence.
//
// Builds on CLuThread (system/thread.h), the standard library's mutex and
// condition variables (CLuMutex has no condition to wait on), and
// frame_patch.h. Prints only on the FILE it is given.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>

#include "base/containers.h"
#include "base/string.h"
#include "media/timecode.h"
#include "system/thread.h"
#include "tools/dpx-timecode-patch/frame_patch.h"

class CFramePool {
 public:
  static constexpr uint32_t kWorkers = 32;  // frames in flight at most
  static constexpr uint32_t kWindow = 128;  // frames handed out, not printed

  // The pool works on *paoFrames (sorted, not owned, not changed) and prints
  // on pOut. No thread runs before bStart.
  CFramePool(CLuCompactArray<CLuString> const* paoFrames, FILE* pOut);
  // Stops the workers and waits for them.
  virtual ~CFramePool();

  CFramePool(CFramePool const&) = delete;
  CFramePool& operator=(CFramePool const&) = delete;

  // Starts the worker threads with SIGINT, SIGTERM and SIGHUP blocked in
  // them, so those reach the calling thread only. True when at least one
  // started.
  bool bStart();

  // Runs frames nFirst, nFirst + 1, ... and prints their lines in order.
  // *ptcWanted is the wanted timecode of frame nFirst and is advanced by one
  // frame for every frame handed out. Once *piStopSignal is not 0, no
  // further frame is started: the frames in flight are finished and
  // printed. Returns the index after the last frame printed (the frame
  // count when the run was not stopped).
  uint32_t nRun(uint32_t nFirst, CLuTimeCode* ptcWanted,
                std::atomic<int> const* piStopSignal);

 private:
  class CWorker;
  class CSlotGate;

  // One frame between hand-out and print; slot n % kWindow holds frame n.
  struct SSlot {
    CLuTimeCode tcWanted;
    SFramePatch oPatch;
    bool bReadDone = false;    // read phase over (write wanted or not)
    bool bWantsWrite = false;  // will append a header
    bool bIdentityKnown = false;
    uint64_t n64Device = 0;
    uint64_t n64Inode = 0;
    bool bWriteAllowed = false;  // may append now
    bool bDone = false;          // result ready to print
    std::condition_variable cvWriteTurn;
  };

  SSlot& oSlot(uint32_t nFrame) { return m_aoSlots[nFrame % kWindow]; }
  // The worker's loop: takes the lowest frame handed out, patches it,
  // marks it done. Returns at shut-down.
  void WorkerLoop();
  // The gate of frame nFrame (see CFrameWriteGate).
  void WaitForWriteTurn(uint32_t nFrame, bool bWillWrite, bool bIdentityKnown,
                        uint64_t n64Device, uint64_t n64Inode);
  // Walks the sequence cursor over frames whose read is done, in order,
  // letting each writer write unless an earlier writer of its file has not
  // written yet. Caller holds m_oLock.
  void DoAdvanceCursor();
  // True when the two frames' files are one file.
  bool bSameFile(SSlot const& o1, SSlot const& o2) const;

  CLuCompactArray<CLuString> const* m_paoFrames;
  FILE* m_pOut;
  SSlot* m_aoSlots;  // kWindow slots
  CWorker* m_apoWorkers[kWorkers];
  uint32_t m_nWorkers;

  std::mutex m_oLock;  // guards everything below and the slots' flags
  std::condition_variable m_cvWork;   // workers: a frame was handed out
  std::condition_variable m_cvPrint;  // caller: the next frame is done
  bool m_bShutDown;
  uint32_t m_nHandedOut;  // frames [.., m_nHandedOut) handed out
  uint32_t m_nTaken;      // frames [.., m_nTaken) taken by a worker
  uint32_t m_nCursor;     // frames [.., m_nCursor) past the write sequencing
  uint32_t m_nPrinted;    // frames [.., m_nPrinted) printed
};
