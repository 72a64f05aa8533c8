#include "system/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

int64_t iMsSince(steady_clock::time_point tStart) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() -
                                                  tStart)
      .count();
}

// Polls a condition for up to five seconds.
template <typename F>
bool bEventually(F fnCondition) {
  auto tStart = steady_clock::now();
  while (!fnCondition()) {
    if (iMsSince(tStart) > 5000) return false;
    std::this_thread::sleep_for(milliseconds(1));
  }
  return true;
}

// Holds a lock on another thread until Leave is called.
class CHolder {
 public:
  explicit CHolder(CLuMutex* poLock) {
    std::promise<void> oTaken;
    oThread = std::thread([this, poLock, &oTaken] {
      poLock->bAcquire(nLuWaitForever);
      oTaken.set_value();
      oLeave.get_future().wait();
      poLock->Release();
    });
    oTaken.get_future().wait();
  }
  ~CHolder() { Leave(); }
  void Leave() {
    if (!oThread.joinable()) return;
    oLeave.set_value();
    oThread.join();
  }

 private:
  std::promise<void> oLeave;
  std::thread oThread;
};

TEST(LuMutex, ZeroTimeOutAgainstAnotherThreadsLockFailsAtOnce) {
  CLuMutex oLock;
  CHolder oHolder(&oLock);
  auto tStart = steady_clock::now();
  EXPECT_FALSE(oLock.bAcquire(0));
  EXPECT_LT(iMsSince(tStart), 2000);
  EXPECT_EQ(oLock.nGetCount(), 1u);
  oHolder.Leave();
  EXPECT_TRUE(oLock.bAcquire(0));
  oLock.Release();
}

TEST(LuMutex, OwnerReentersAndEachAcquireNeedsOneRelease) {
  CLuMutex oLock;
  ASSERT_TRUE(oLock.bAcquire(0));
  ASSERT_TRUE(oLock.bAcquire(0));
  EXPECT_EQ(oLock.nGetCount(), 2u);
  oLock.Release();
  EXPECT_EQ(oLock.nGetCount(), 1u);
  oLock.Release();
  oLock.Release();  // on a free lock: nothing happens
  EXPECT_EQ(oLock.nGetCount(), 0u);
}

TEST(LuMutex, FiniteTimeOutWaitsAtLeastItsLength) {
  CLuMutex oLock;
  CHolder oHolder(&oLock);
  auto tStart = steady_clock::now();
  EXPECT_FALSE(oLock.bAcquire(50));
  EXPECT_GE(iMsSince(tStart), 40);
  EXPECT_LT(iMsSince(tStart), 5000);
}

TEST(LuMutex, WaiterGetsTheLockWhenTheOwnerLeaves) {
  CLuMutex oLock;
  CHolder oHolder(&oLock);
  auto oWaiter = std::async(std::launch::async, [&] {
    bool b = oLock.bAcquire(nLuWaitForever);
    oLock.Release();
    return b;
  });
  std::this_thread::sleep_for(milliseconds(20));
  oHolder.Leave();
  EXPECT_TRUE(oWaiter.get());
}

TEST(LuMutex, DeadlineMicrosecondSumWrapsAt32Bits) {
  struct SCase {
    long iSec, iUsec;
    uint32_t nTimeoutMs;
    long iWantSec, iWantNsec;
  } const aCases[] = {
      {100, 0, 0, 100, 0},
      {100, 999999, 1, 101, 999000},
      {100, 0, 4294967, 4394, 967000000},    // last time-out that fits
      {100, 0, 4294968, 100, 704000},        // 4294968000 - 2^32 = 704
      {100, 500000, 4294967295u, 100, 499000000},  // -1000 us + 500000
  };
  for (SCase const& c : aCases) {
    SCOPED_TRACE(c.nTimeoutMs);
    timeval tvNow = {c.iSec, c.iUsec};
    timespec ts = {-1, -1};
    CLuMutex::ComputeDeadline(tvNow, c.nTimeoutMs, &ts);
    EXPECT_EQ(ts.tv_sec, c.iWantSec);
    EXPECT_EQ(ts.tv_nsec, c.iWantNsec);
  }
  CLuMutex::ComputeDeadline(timeval{1, 0}, 5, nullptr);  // no output wanted
}

TEST(LuMutex, TimeOutPastTheWrapEndsWithinASecond) {
  CLuMutex oLock;
  CHolder oHolder(&oLock);
  auto tStart = steady_clock::now();
  EXPECT_FALSE(oLock.bAcquire(4294968));  // about 71 minutes, wrapped
  EXPECT_LT(iMsSince(tStart), 5000);
}

TEST(LuExclusiveWrite, WriterTimesOutWhileReadingAndLeavesWriteLockFree) {
  CLuExclusiveWrite oLock;
  ASSERT_TRUE(oLock.bBeginReading(1000));
  EXPECT_EQ(oLock.nReaders, 1u);
  auto tStart = steady_clock::now();
  EXPECT_FALSE(oLock.bBeginWriting(5));
  EXPECT_GE(iMsSince(tStart), 4);
  EXPECT_LT(iMsSince(tStart), 5000);
  EXPECT_EQ(oLock.oWriteLock.nGetCount(), 0u);
  // A reader on another thread still gets in.
  EXPECT_TRUE(std::async(std::launch::async, [&] {
                return oLock.bBeginReading(1000);
              }).get());
  EXPECT_EQ(oLock.nReaders, 2u);
  oLock.EndReading();
  oLock.EndReading();
  oLock.EndReading();  // no active reader: stays at 0
  EXPECT_EQ(oLock.nReaders, 0u);
}

TEST(LuExclusiveWrite, WriterWaitsForReadersThenShutsReadersOut) {
  CLuExclusiveWrite oLock;
  ASSERT_TRUE(oLock.bBeginReading(nLuWaitForever));
  auto oWriter = std::async(std::launch::async, [&] {
    bool b = oLock.bBeginWriting(nLuWaitForever);
    bool bReaderGotIn = std::async(std::launch::async, [&] {
                          return oLock.bBeginReading(20);
                        }).get();
    if (b) oLock.EndWriting();
    return b && !bReaderGotIn;
  });
  std::this_thread::sleep_for(milliseconds(20));
  oLock.EndReading();
  EXPECT_TRUE(oWriter.get());
  EXPECT_TRUE(oLock.bBeginReading(0));  // idle lock: even 0 ms suffices
  oLock.EndReading();
  EXPECT_TRUE(oLock.bBeginWriting(0));
  oLock.EndWriting();
}

// A thread whose body counts its runs and ends on a stop request or when
// the test lets the current run go.
class CCountingThread : public CLuThread {
 public:
  CCountingThread() : CLuThread("Test") {}
  ~CCountingThread() override {
    SetStopFlag();
    bWaitFor(5000);
  }
  void ThreadFunction() override {
    int nRun = ++nRuns;
    bSelfInside = bSelf();
    if (bWaitInside) {
      auto tStart = steady_clock::now();
      bWaitResult = bWaitFor(5000);
      iWaitMs = iMsSince(tStart);
    }
    while (!bStop && nLetGo < nRun)
      std::this_thread::sleep_for(milliseconds(1));
  }
  std::atomic<int> nRuns{0}, nLetGo{0};
  std::atomic<bool> bSelfInside{false}, bWaitInside{false};
  std::atomic<bool> bWaitResult{false};
  std::atomic<int64_t> iWaitMs{-1};
};

TEST(LuThread, RunsBodyUntilStopFlagAndIgnoresSecondStart) {
  CCountingThread oThread;
  ASSERT_TRUE(oThread.bStart());
  EXPECT_TRUE(oThread.bRunning);
  EXPECT_TRUE(oThread.bStart());
  ASSERT_TRUE(bEventually([&] { return oThread.nRuns == 1; }));
  EXPECT_TRUE(oThread.bSelfInside);
  EXPECT_FALSE(oThread.bSelf());
  std::this_thread::sleep_for(milliseconds(20));
  EXPECT_EQ(oThread.nRuns, 1);
  oThread.SetStopFlag();
  EXPECT_TRUE(oThread.bWaitFor(5000));
  EXPECT_FALSE(oThread.bRunning);
  EXPECT_FALSE(oThread.bStop);  // cleared after the body returned
  EXPECT_EQ(oThread.hThread.load(), pthread_t());
}

TEST(LuThread, RestartRunsTheBodyOnceMoreOrStartsAnIdleThread) {
  CCountingThread oThread;
  EXPECT_TRUE(oThread.Restart());  // idle: starts it
  ASSERT_TRUE(bEventually([&] { return oThread.nRuns == 1; }));
  EXPECT_TRUE(oThread.Restart());  // running: one more run
  oThread.nLetGo = 1;
  ASSERT_TRUE(bEventually([&] { return oThread.nRuns == 2; }));
  oThread.nLetGo = 2;
  EXPECT_TRUE(oThread.bWaitFor(5000));
  EXPECT_EQ(oThread.nRuns, 2);
  ASSERT_TRUE(oThread.bStart());  // idle again: may start anew
  oThread.nLetGo = 3;
  EXPECT_TRUE(oThread.bWaitFor(5000));
  EXPECT_EQ(oThread.nRuns, 3);
}

TEST(LuThread, StopFlagCancelsRestart) {
  CCountingThread oThread;
  oThread.bRestart = true;
  oThread.SetStopFlag();
  EXPECT_TRUE(oThread.bStop);
  EXPECT_FALSE(oThread.bRestart);
}

TEST(LuThread, WaitForNeverStartedAndFromInsideReturnAtOnce) {
  CCountingThread oThread;
  auto tStart = steady_clock::now();
  EXPECT_TRUE(oThread.bWaitFor(nLuWaitForever));
  EXPECT_LT(iMsSince(tStart), 1000);
  oThread.bWaitInside = true;
  ASSERT_TRUE(oThread.bStart());
  ASSERT_TRUE(bEventually([&] { return oThread.iWaitMs >= 0; }));
  EXPECT_TRUE(oThread.bWaitResult);
  EXPECT_LT(oThread.iWaitMs, 1000);
}

TEST(LuThread, WaitForTimesOutWhileTheBodyRuns) {
  CCountingThread oThread;
  ASSERT_TRUE(oThread.bStart());
  auto tStart = steady_clock::now();
  EXPECT_FALSE(oThread.bWaitFor(30));
  EXPECT_GE(iMsSince(tStart), 25);
  EXPECT_TRUE(oThread.bRunning);
}

class CSelfDeletingThread : public CLuThread {
 public:
  explicit CSelfDeletingThread(std::atomic<bool>* pbGone)
      : CLuThread("Once"), pbGone(pbGone) {}
  ~CSelfDeletingThread() override { *pbGone = true; }
  void ThreadFunction() override {}
  std::atomic<bool>* pbGone;
};

TEST(LuThread, DeleteWhenDoneEndsTheObjectsLife) {
  std::atomic<bool> bGone{false};
  CSelfDeletingThread* poThread = new CSelfDeletingThread(&bGone);
  poThread->bDeleteWhenDone = true;
  ASSERT_TRUE(poThread->bStart());
  EXPECT_TRUE(bEventually([&] { return bGone.load(); }));
}

class CCountedGroup : public CLuThreadGroup {
 public:
  explicit CCountedGroup(std::atomic<bool>* pbGone) : pbGone(pbGone) {}
  ~CCountedGroup() override { *pbGone = true; }
  std::atomic<bool>* pbGone;
};

TEST(LuThread, GroupIsDeletedByItsLastThread) {
  std::atomic<bool> bGroupGone{false};
  CCountedGroup* poGroup = new CCountedGroup(&bGroupGone);
  CCountingThread oFirst, oSecond;
  for (CCountingThread* po : {&oFirst, &oSecond}) {
    poGroup->nThreads++;
    po->poGroup = poGroup;
    ASSERT_TRUE(po->bStart());
  }
  oFirst.nLetGo = 1;
  EXPECT_TRUE(oFirst.bWaitFor(5000));
  EXPECT_FALSE(bGroupGone);
  oSecond.nLetGo = 1;
  EXPECT_TRUE(oSecond.bWaitFor(5000));
  EXPECT_TRUE(bEventually([&] { return bGroupGone.load(); }));
}

}  // namespace
