#include "system/thread.h"

#include <errno.h>

#include "system/timer.h"

namespace {

constexpr uint64_t kNsPerMs = 1000000;

// Sleeps for the given nanoseconds (below one second), resuming after
// signals until the time has passed.
void SleepNs(long nNs) {
  timespec tsWait = {0, nNs};
  timespec tsLeft;
  while (nanosleep(&tsWait, &tsLeft) != 0 && errno == EINTR) tsWait = tsLeft;
}

// The nanosecond clock every wait uses.
uint64_t n64NowNs() {
  return CLuTimer().n64TimeNs();
}

}  // namespace

// ---------------------------------------------------------------- CLuMutex

CLuMutex::CLuMutex() : hOwner(), nCount(0) {
  pthread_mutex_init(&hMutex, nullptr);
  pthread_cond_init(&hCondition, nullptr);
}

CLuMutex::~CLuMutex() {
  pthread_cond_destroy(&hCondition);
  pthread_mutex_destroy(&hMutex);
}

void CLuMutex::ComputeDeadline(timeval const& tvNow, uint32_t nTimeoutMs,
                               timespec* pDeadline) {
  // The sum is 32-bit on purpose: this lock has always computed it that
  // way, and time-outs above 4,294,967 ms wrap to a short wait.
  uint32_t nMicro = nTimeoutMs * 1000u + static_cast<uint32_t>(tvNow.tv_usec);
  if (pDeadline == nullptr) return;
  pDeadline->tv_sec = tvNow.tv_sec + nMicro / 1000000u;
  pDeadline->tv_nsec = static_cast<long>(nMicro % 1000000u) * 1000;
}

bool CLuMutex::bAcquire(uint32_t nTimeoutMs) {
  pthread_t hSelf = pthread_self();
  pthread_mutex_lock(&hMutex);
  while (nCount != 0 && !pthread_equal(hOwner, hSelf)) {
    if (nTimeoutMs == nLuWaitForever) {
      pthread_cond_wait(&hCondition, &hMutex);
      continue;
    }
    // Condition waits use the wall clock by default, hence gettimeofday.
    timeval tvNow;
    gettimeofday(&tvNow, nullptr);
    timespec tsDeadline;
    ComputeDeadline(tvNow, nTimeoutMs, &tsDeadline);
    if (pthread_cond_timedwait(&hCondition, &hMutex, &tsDeadline) ==
        ETIMEDOUT) {
      pthread_mutex_unlock(&hMutex);
      return false;
    }
  }
  hOwner = hSelf;
  ++nCount;
  pthread_mutex_unlock(&hMutex);
  return true;
}

void CLuMutex::Release() {
  pthread_mutex_lock(&hMutex);
  if (nCount == 0) {
    pthread_mutex_unlock(&hMutex);
    return;
  }
  // The waiter is woken before the platform mutex is unlocked: once it is
  // unlocked, another thread may take the lock, release it and destroy it,
  // and a late signal would then touch a destroyed condition.
  if (--nCount == 0) pthread_cond_signal(&hCondition);
  pthread_mutex_unlock(&hMutex);
}

uint32_t CLuMutex::nGetCount() const {
  pthread_mutex_lock(&hMutex);
  uint32_t n = nCount;
  pthread_mutex_unlock(&hMutex);
  return n;
}

// ------------------------------------------------------- CLuExclusiveWrite

CLuExclusiveWrite::CLuExclusiveWrite() : nReaders(0) {}

CLuExclusiveWrite::~CLuExclusiveWrite() {}

bool CLuExclusiveWrite::bBeginReading(uint32_t nTimeoutMs) {
  uint64_t n64Deadline = n64NowNs() + uint64_t(nTimeoutMs) * kNsPerMs;
  if (!oWriteLock.bAcquire(nTimeoutMs)) return false;
  bool bCounted;
  if (nTimeoutMs == nLuWaitForever) {
    bCounted = oCountLock.bAcquire(nLuWaitForever);
  } else {
    // A reader whose time is used up by now fails, so a zero time-out
    // never enters.
    uint64_t n64Now = n64NowNs();
    if (n64Now >= n64Deadline) {
      oWriteLock.Release();
      return false;
    }
    bCounted = oCountLock.bAcquire(
        static_cast<uint32_t>((n64Deadline - n64Now) / kNsPerMs));
  }
  if (bCounted) {
    ++nReaders;
    oCountLock.Release();
  }
  oWriteLock.Release();
  return bCounted;
}

void CLuExclusiveWrite::EndReading() {
  oCountLock.bAcquire(nLuWaitForever);
  if (nReaders > 0) --nReaders;
  oCountLock.Release();
}

bool CLuExclusiveWrite::bBeginWriting(uint32_t nTimeoutMs) {
  if (!oWriteLock.bAcquire(nTimeoutMs)) return false;
  // From here no new reader can enter; wait for the active ones to leave.
  // The time-out is checked first, so a zero time-out never enters.
  uint64_t n64Deadline = n64NowNs() + uint64_t(nTimeoutMs) * kNsPerMs;
  for (;;) {
    if (nTimeoutMs != nLuWaitForever && n64NowNs() >= n64Deadline) {
      oWriteLock.Release();
      return false;
    }
    oCountLock.bAcquire(nLuWaitForever);
    uint32_t n = nReaders;
    oCountLock.Release();
    if (n == 0) return true;
    SleepNs(1000000);
  }
}

void CLuExclusiveWrite::EndWriting() {
  oWriteLock.Release();
}

// ---------------------------------------------------------- CLuThreadGroup

CLuThreadGroup::CLuThreadGroup() : nThreads(0) {}

CLuThreadGroup::~CLuThreadGroup() {}

// --------------------------------------------------------------- CLuThread

CLuThread::CLuThread(char const* pszName, uint32_t nThreadParam)
    : bStop(false),
      bRestart(false),
      bDeleteWhenDone(false),
      poGroup(nullptr),
      hThread(pthread_t()),
      bRunning(false),
      nThreadParam(nThreadParam),
      pszName(pszName) {}

CLuThread::~CLuThread() {
  SetStopFlag();
  bWaitFor(500);
}

bool CLuThread::bStart() {
  if (bRunning) return true;
  bRunning = true;
  bStop = false;
  // The new thread records its own handle before it runs the body, so that
  // bSelf holds from its first instruction; the handle pthread_create
  // returns is not stored, because an object that deletes itself when done
  // may already be gone when pthread_create returns.
  hThread = pthread_t();
  pthread_attr_t hAttr;
  if (pthread_attr_init(&hAttr) != 0) {
    bRunning = false;
    return false;
  }
  pthread_attr_setdetachstate(&hAttr, PTHREAD_CREATE_DETACHED);
  pthread_t hNew;
  int iResult = pthread_create(&hNew, &hAttr, &CLuThread::pThreadCallback,
                               static_cast<void*>(this));
  pthread_attr_destroy(&hAttr);
  if (iResult != 0) {
    bRunning = false;
    return false;
  }
  return true;
}

bool CLuThread::Restart() {
  bRestart = true;
  if (bRunning) return true;
  return bStart();
}

void CLuThread::SetStopFlag() {
  // Restart is cleared before stop is set, not after: a body that sees the
  // stop and returns at once would otherwise find the restart still pending
  // and run again with bStop already cleared by its callback, so the stop
  // would be lost and whoever waits for the thread would wait in vain (and
  // the destructor would free an object whose thread still runs).
  bRestart = false;
  bStop = true;
}

bool CLuThread::bSelf() const {
  return pthread_equal(hThread.load(), pthread_self()) != 0;
}

bool CLuThread::bWaitFor(uint32_t nTimeoutMs) {
  if (!bRunning || bSelf()) return true;
  uint64_t n64Deadline = n64NowNs() + uint64_t(nTimeoutMs) * kNsPerMs;
  while (bRunning) {
    if (n64NowNs() >= n64Deadline) break;
    SleepNs(10000000);
  }
  if (bRunning) return false;
  hThread = pthread_t();
  return true;
}

void* CLuThread::pThreadCallback(void* pThread) {
  static_cast<CLuThread*>(pThread)->ThreadCallback();
  return nullptr;
}

void CLuThread::ThreadCallback() {
  hThread = pthread_self();
  do {
    bRestart = false;
    ThreadFunction();
    bStop = false;
  } while (bRestart);
  // Read what decides the object's end before clearing bRunning: from that
  // moment a waiting owner may delete the object.
  CLuThreadGroup* poMyGroup = poGroup;
  bool bDelete = bDeleteWhenDone;
  bRunning = false;
  if (poMyGroup != nullptr) {
    poMyGroup->oLock.bAcquire(nLuWaitForever);
    // A count already at 0 wraps like any unsigned counter, and the group
    // then stays: only the step to 0 ends its life.
    uint32_t nLeft = --poMyGroup->nThreads;
    poMyGroup->oLock.Release();
    if (nLeft == 0) delete poMyGroup;
  } else if (bDelete) {
    delete this;
  }
}
