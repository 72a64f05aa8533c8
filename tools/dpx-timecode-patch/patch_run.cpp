#include "tools/dpx-timecode-patch/patch_run.h"

#include <signal.h>

#include <atomic>
#include <cstdlib>

#include "system/timer.h"
#include "tools/dpx-timecode-patch/frame_patch.h"
#include "tools/dpx-timecode-patch/frame_pool.h"

namespace {

// The stop signal that arrived during the run, 0 while none did. A
// lock-free atomic is safe to set from a handler.
std::atomic<int> g_iStopSignal(0);
static_assert(std::atomic<int>::is_always_lock_free,
              "the stop flag is set from a signal handler");

void StopHandler(int iSignal) {
  int iNone = 0;
  g_iStopSignal.compare_exchange_strong(iNone, iSignal);
}

// Catches SIGINT, SIGTERM and SIGHUP for its lifetime, each only when it is
// not ignored already (a run under nohup keeps ignoring the hang-up), and
// puts the previous handling back at the end. Handlers restart interrupted
// system calls, so a frame's transfers never fail because of a signal.
class CStopSignals {
 public:
  CStopSignals() {
    g_iStopSignal.store(0);
    struct sigaction oAction = {};
    oAction.sa_handler = StopHandler;
    oAction.sa_flags = SA_RESTART;
    sigemptyset(&oAction.sa_mask);
    for (int iSignal : kaiSignals) sigaddset(&oAction.sa_mask, iSignal);
    for (int i = 0; i < kCount; ++i) {
      m_abInstalled[i] =
          sigaction(kaiSignals[i], &oAction, &m_aoPrevious[i]) == 0;
      if (m_abInstalled[i] && !(m_aoPrevious[i].sa_flags & SA_SIGINFO) &&
          m_aoPrevious[i].sa_handler == SIG_IGN) {
        sigaction(kaiSignals[i], &m_aoPrevious[i], nullptr);
        m_abInstalled[i] = false;
      }
    }
  }
  ~CStopSignals() {
    for (int i = 0; i < kCount; ++i)
      if (m_abInstalled[i]) sigaction(kaiSignals[i], &m_aoPrevious[i], nullptr);
  }
  CStopSignals(CStopSignals const&) = delete;
  CStopSignals& operator=(CStopSignals const&) = delete;

 private:
  static constexpr int kCount = 3;
  static constexpr int kaiSignals[kCount] = {SIGINT, SIGTERM, SIGHUP};
  struct sigaction m_aoPrevious[kCount];
  bool m_abInstalled[kCount];
};

// Runs frames nFirst, ... one at a time on this thread, printing each line
// as the frame ends, and advancing *ptcWanted by one frame per frame. Stops
// before starting a frame once a stop signal arrived, and, with
// bMaySwitch, once kSlowFramesInARow frames in a row were slow. Returns the
// index of the first frame not run.
uint32_t nRunInline(CLuCompactArray<CLuString> const* paoFrames,
                    uint32_t nFirst, CLuTimeCode* ptcWanted, FILE* pOut,
                    bool bMaySwitch) {
  uint32_t const nFrames = paoFrames->nGetCount();
  CLuTimer const oClock;
  SFramePatch oFrame;  // reused: its texts keep their buffers
  CLuString strScratch;
  uint32_t nSlowInARow = 0;
  for (uint32_t n = nFirst; n < nFrames; ++n) {
    if (g_iStopSignal.load(std::memory_order_relaxed) != 0) return n;
    if (nSlowInARow >= kSlowFramesInARow) return n;
    oFrame.pstrPath = paoFrames->poGetAt(n);
    oFrame.ptcWanted = ptcWanted;
    if (bMaySwitch) {
      // Only the frame's own work is timed: a slow reader of the output
      // must not make the storage look slow.
      uint64_t const n64Start = oClock.n64TimeNs();
      PatchFrame(&oFrame, nullptr);
      bool const bSlow = oClock.n64TimeNs() - n64Start > kSlowFrameNs;
      nSlowInARow = bSlow ? nSlowInARow + 1 : 0;
    } else {
      PatchFrame(&oFrame, nullptr);
    }
    PrintFrameLine(pOut, oFrame, &strScratch);
    *ptcWanted += 1;
  }
  return nFrames;
}

}  // namespace

int iRunFrameSequence(CLuCompactArray<CLuString>* paoFrames,
                      CLuTimeCode const& tcStart, bool bRateGiven,
                      bool bTimeCodeGiven, FILE* pOut,
                      EFrameScheduling eScheduling, int* piSignal) {
  uint32_t const nFrames = paoFrames->nGetCount();
  // Byte order of the whole path: frames of one sequence share prefix and
  // suffix, so the numbers decide, and only equal widths sort numerically.
  if (nFrames > 1)
    qsort(paoFrames->ppGetData(), nFrames, sizeof(CLuString*),
          CLuCompactArray<CLuString>::iCompareAscending);

  if (!bRateGiven) fputs("Frame rate not specified, using default (24)\n", pOut);
  if (!bTimeCodeGiven)
    fputs("Starting time code not specified, using default (00:00:00:00)\n",
          pOut);
  if (!bRateGiven || !bTimeCodeGiven) fputc('\n', pOut);

  CStopSignals const oSignals;
  CLuTimeCode tcWanted(tcStart);
  uint32_t n = 0;
  if (eScheduling != eSchedulePooled)
    n = nRunInline(paoFrames, 0, &tcWanted, pOut,
                   eScheduling == eScheduleAdaptive);
  if (n < nFrames && g_iStopSignal.load() == 0) {
    CFramePool oPool(paoFrames, pOut);
    if (oPool.bStart())
      oPool.nRun(n, &tcWanted, &g_iStopSignal);
    else  // no thread to be had: on with one frame at a time
      nRunInline(paoFrames, n, &tcWanted, pOut, false);
  }
  if (piSignal != nullptr) *piSignal = g_iStopSignal.load();
  return 0;
}

int iPatchFrameSequence(CLuCompactArray<CLuString>* paoFrames,
                        CLuTimeCode const& tcStart, bool bRateGiven,
                        bool bTimeCodeGiven) {
  int iSignal = 0;
  int const iExitCode =
      iRunFrameSequence(paoFrames, tcStart, bRateGiven, bTimeCodeGiven, stdout,
                        eScheduleAdaptive, &iSignal);
  if (iSignal == 0) return iExitCode;
  // Stopped by a signal: everything that ran is printed; end the way the
  // signal would have ended the process, so the shell sees its status.
  fflush(stdout);
  signal(iSignal, SIG_DFL);
  sigset_t oSet;
  sigemptyset(&oSet);
  sigaddset(&oSet, iSignal);
  pthread_sigmask(SIG_UNBLOCK, &oSet, nullptr);
  raise(iSignal);
  return 128 + iSignal;  // not reached: the default action ends the process
}
