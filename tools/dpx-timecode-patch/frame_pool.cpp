#include "tools/dpx-timecode-patch/frame_pool.h"

#include <pthread.h>
#include <signal.h>

#include <chrono>
#include <new>

// A worker thread of the pool: runs the pool's loop until shut-down.
class CFramePool::CWorker : public CLuThread {
 public:
  explicit CWorker(CFramePool* poPool)
      : CLuThread("Frame worker"), m_poPool(poPool) {}
  // The loop ends at shut-down, which the pool announces before deleting
  // its workers; wait for the thread before this object goes.
  ~CWorker() override { bWaitFor(nLuWaitForever); }
  void ThreadFunction() override { m_poPool->WorkerLoop(); }

 private:
  CFramePool* m_poPool;
};

// The write gate of one frame, handed to PatchFrame.
class CFramePool::CSlotGate : public CFrameWriteGate {
 public:
  CSlotGate(CFramePool* poPool, uint32_t nFrame)
      : m_poPool(poPool), m_nFrame(nFrame) {}
  void WaitForWriteTurn(bool bWillWrite, bool bIdentityKnown,
                        uint64_t n64Device, uint64_t n64Inode) override {
    m_poPool->WaitForWriteTurn(m_nFrame, bWillWrite, bIdentityKnown, n64Device,
                               n64Inode);
  }

 private:
  CFramePool* m_poPool;
  uint32_t m_nFrame;
};

CFramePool::CFramePool(CLuCompactArray<CLuString> const* paoFrames,
                       FILE* pOut)
    : m_paoFrames(paoFrames),
      m_pOut(pOut),
      m_aoSlots(nullptr),
      m_apoWorkers(),
      m_nWorkers(0),
      m_bShutDown(false),
      m_nHandedOut(0),
      m_nTaken(0),
      m_nCursor(0),
      m_nPrinted(0) {}

CFramePool::~CFramePool() {
  {
    std::lock_guard<std::mutex> oGuard(m_oLock);
    m_bShutDown = true;
  }
  m_cvWork.notify_all();
  for (uint32_t i = 0; i < m_nWorkers; ++i) delete m_apoWorkers[i];
  delete[] m_aoSlots;
}

bool CFramePool::bStart() {
  if (m_aoSlots == nullptr) m_aoSlots = new (std::nothrow) SSlot[kWindow];
  if (m_aoSlots == nullptr) return false;
  // The stop signals must reach the thread that decides to stop, never a
  // worker: threads inherit the signal mask of their creator.
  sigset_t oStopSignals, oOld;
  sigemptyset(&oStopSignals);
  sigaddset(&oStopSignals, SIGINT);
  sigaddset(&oStopSignals, SIGTERM);
  sigaddset(&oStopSignals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &oStopSignals, &oOld);
  while (m_nWorkers < kWorkers) {
    CWorker* poWorker = new (std::nothrow) CWorker(this);
    if (poWorker == nullptr) break;
    if (!poWorker->bStart()) {
      delete poWorker;
      break;
    }
    m_apoWorkers[m_nWorkers++] = poWorker;
  }
  pthread_sigmask(SIG_SETMASK, &oOld, nullptr);
  return m_nWorkers > 0;
}

bool CFramePool::bSameFile(SSlot const& o1, SSlot const& o2) const {
  // Two files whose identity is unknown are taken as one: ordering them
  // costs a little overlap, mixing them up could reorder appends.
  if (!o1.bIdentityKnown || !o2.bIdentityKnown)
    return o1.bIdentityKnown == o2.bIdentityKnown;
  return o1.n64Device == o2.n64Device && o1.n64Inode == o2.n64Inode;
}

void CFramePool::DoAdvanceCursor() {
  while (m_nCursor < m_nTaken && oSlot(m_nCursor).bReadDone) {
    SSlot& o = oSlot(m_nCursor);
    if (o.bWantsWrite) {
      // Every frame before this one has read its header, so every earlier
      // writer of the same file is known; frames before m_nPrinted are done.
      bool bEarlierPending = false;
      for (uint32_t n = m_nPrinted; n < m_nCursor && !bEarlierPending; ++n) {
        SSlot const& oEarlier = oSlot(n);
        bEarlierPending =
            oEarlier.bWantsWrite && !oEarlier.bDone && bSameFile(oEarlier, o);
      }
      if (!bEarlierPending) {
        o.bWriteAllowed = true;
        o.cvWriteTurn.notify_one();
      }
    }
    ++m_nCursor;
  }
}

void CFramePool::WaitForWriteTurn(uint32_t nFrame, bool bWillWrite,
                                  bool bIdentityKnown, uint64_t n64Device,
                                  uint64_t n64Inode) {
  std::unique_lock<std::mutex> oGuard(m_oLock);
  SSlot& o = oSlot(nFrame);
  o.bReadDone = true;
  o.bWantsWrite = bWillWrite;
  o.bIdentityKnown = bIdentityKnown;
  o.n64Device = n64Device;
  o.n64Inode = n64Inode;
  DoAdvanceCursor();
  while (bWillWrite && !o.bWriteAllowed) o.cvWriteTurn.wait(oGuard);
}

void CFramePool::WorkerLoop() {
  std::unique_lock<std::mutex> oGuard(m_oLock);
  for (;;) {
    while (!m_bShutDown && m_nTaken == m_nHandedOut) m_cvWork.wait(oGuard);
    if (m_bShutDown) return;
    uint32_t const nFrame = m_nTaken++;
    SSlot& o = oSlot(nFrame);
    oGuard.unlock();

    CSlotGate oGate(this, nFrame);
    PatchFrame(&o.oPatch, &oGate);

    oGuard.lock();
    o.bDone = true;
    if (o.bWantsWrite) {
      // The next writer of the same file, if it already waits, may go.
      for (uint32_t n = nFrame + 1; n < m_nCursor; ++n) {
        SSlot& oLater = oSlot(n);
        if (oLater.bWantsWrite && !oLater.bWriteAllowed &&
            bSameFile(oLater, o)) {
          oLater.bWriteAllowed = true;
          oLater.cvWriteTurn.notify_one();
          break;
        }
      }
    }
    if (nFrame == m_nPrinted) m_cvPrint.notify_one();
  }
}

uint32_t CFramePool::nRun(uint32_t nFirst, CLuTimeCode* ptcWanted,
                          std::atomic<int> const* piStopSignal) {
  uint32_t const nFrames = m_paoFrames->nGetCount();
  CLuString strScratch;
  std::unique_lock<std::mutex> oGuard(m_oLock);
  m_nHandedOut = m_nTaken = m_nCursor = m_nPrinted = nFirst;
  for (;;) {
    bool const bStop = piStopSignal->load() != 0;
    if (bStop) {
      // No further frame starts: what no worker has taken is taken back.
      m_nHandedOut = m_nTaken;
    }
    uint32_t nNew = 0;
    while (!bStop && m_nHandedOut < nFrames &&
           m_nHandedOut - m_nPrinted < kWindow) {
      SSlot& o = oSlot(m_nHandedOut);
      o.tcWanted = *ptcWanted;
      o.oPatch.pstrPath = m_paoFrames->poGetAt(m_nHandedOut);
      o.oPatch.ptcWanted = &o.tcWanted;
      o.bReadDone = o.bWantsWrite = o.bIdentityKnown = false;
      o.bWriteAllowed = o.bDone = false;
      // Frame n is given start + n, counted in order here.
      *ptcWanted += 1;
      ++m_nHandedOut;
      ++nNew;
    }
    if (nNew == 1) m_cvWork.notify_one();
    if (nNew > 1) m_cvWork.notify_all();

    uint32_t nReady = m_nPrinted;
    while (nReady < m_nHandedOut && oSlot(nReady).bDone) ++nReady;
    if (nReady > m_nPrinted) {
      // Done slots are not touched by workers, and only this thread hands
      // them out again: print them without holding the lock.
      oGuard.unlock();
      for (uint32_t n = m_nPrinted; n < nReady; ++n)
        PrintFrameLine(m_pOut, oSlot(n).oPatch, &strScratch);
      oGuard.lock();
      m_nPrinted = nReady;
      continue;
    }
    if (m_nPrinted == m_nHandedOut && (bStop || m_nHandedOut == nFrames))
      return m_nPrinted;
    // The time-out lets a stop signal be seen while every frame in flight
    // is still waiting for its storage.
    m_cvPrint.wait_for(oGuard, std::chrono::milliseconds(20));
  }
}
