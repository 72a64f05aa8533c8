#include "system/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

int64_t iMsSince(steady_clock::time_point t) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - t)
      .count();
}

// Polls a condition for up to five seconds.
template <typename F>
bool bEventually(F fnCondition) {
  auto tStart = steady_clock::now();
  while (!fnCondition() && iMsSince(tStart) < 5000)
    std::this_thread::sleep_for(milliseconds(1));
  return fnCondition();
}

// Runs fn on another thread while it holds the lock.
template <typename F>
auto HoldOnOtherThread(CLuMutex* poLock, F fn) {
  std::promise<void> oTaken, oDone;
  std::thread oHolder([&] {
    poLock->bAcquire(nLuWaitForever);
    oTaken.set_value();
    oDone.get_future().wait();
    poLock->Release();
  });
  oTaken.get_future().wait();
  auto oResult = fn();
  oDone.set_value();
  oHolder.join();
  return oResult;
}

TEST(LuMutex, TimeOutsAgainstAnotherThreadsLock) {
  CLuMutex oLock;
  HoldOnOtherThread(&oLock, [&] {
    auto t = steady_clock::now();
    EXPECT_FALSE(oLock.bAcquire(0));
    EXPECT_LT(iMsSince(t), 2000);
    t = steady_clock::now();
    EXPECT_FALSE(oLock.bAcquire(50));
    EXPECT_GE(iMsSince(t), 40);
    t = steady_clock::now();
    EXPECT_FALSE(oLock.bAcquire(4294968));  // 71 minutes, wrapped to ~1 ms
    EXPECT_LT(iMsSince(t), 5000);
    return oLock.nGetCount();
  });
  EXPECT_EQ(oLock.nGetCount(), 0u);
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

TEST(LuMutex, DeadlineMicrosecondSumWrapsAt32Bits) {
  struct SCase {
    long iUsec;
    uint32_t nTimeoutMs;
    long iWantSec, iWantNsec;
  } const aCases[] = {
      {0, 0, 100, 0},
      {999999, 1, 101, 999000},
      {0, 4294967, 4394, 967000000},          // the last that fits
      {0, 4294968, 100, 704000},              // 4294968000 - 2^32 = 704
      {500000, 4294967295u, 100, 499000000},  // -1000 us
  };
  for (SCase const& c : aCases) {
    SCOPED_TRACE(c.nTimeoutMs);
    timespec ts = {-1, -1};
    CLuMutex::ComputeDeadline(timeval{100, c.iUsec}, c.nTimeoutMs, &ts);
    EXPECT_EQ(ts.tv_sec, c.iWantSec);
    EXPECT_EQ(ts.tv_nsec, c.iWantNsec);
  }
}

TEST(LuExclusiveWrite, WriterTimesOutWhileReadingAndLeavesWriteLockFree) {
  CLuExclusiveWrite oLock;
  ASSERT_TRUE(oLock.bBeginReading(1000));
  auto t = steady_clock::now();
  EXPECT_FALSE(oLock.bBeginWriting(5));
  EXPECT_GE(iMsSince(t), 4);
  EXPECT_EQ(oLock.oWriteLock.nGetCount(), 0u);
  auto oReader =
      std::async(std::launch::async, [&] { return oLock.bBeginReading(1000); });
  EXPECT_TRUE(oReader.get());  // readers do not block each other
  EXPECT_EQ(oLock.nReaders, 2u);
  for (int i = 0; i < 3; ++i) oLock.EndReading();  // the third: no effect
  EXPECT_EQ(oLock.nReaders, 0u);
  ASSERT_TRUE(oLock.bBeginWriting(0));
  auto oBlocked =
      std::async(std::launch::async, [&] { return oLock.bBeginReading(20); });
  EXPECT_FALSE(oBlocked.get());
  oLock.EndWriting();
}

// A body that counts its runs and ends on a stop request or when the test
// lets the current run go.
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
    auto t = steady_clock::now();
    bWaitInside = bWaitFor(5000);
    iWaitInsideMs = iMsSince(t);
    while (!bStop && nLetGo < nRun)
      std::this_thread::sleep_for(milliseconds(1));
  }
  std::atomic<int> nRuns{0}, nLetGo{0};
  std::atomic<bool> bSelfInside{false}, bWaitInside{false};
  std::atomic<int64_t> iWaitInsideMs{-1};
};

TEST(LuThread, RunsBodyUntilStopFlagAndIgnoresSecondStart) {
  CCountingThread oThread;
  auto t = steady_clock::now();
  EXPECT_TRUE(oThread.bWaitFor(nLuWaitForever));  // never started
  EXPECT_LT(iMsSince(t), 1000);
  ASSERT_TRUE(oThread.bStart());
  EXPECT_TRUE(oThread.bStart());
  ASSERT_TRUE(bEventually([&] { return oThread.iWaitInsideMs >= 0; }));
  EXPECT_TRUE(oThread.bSelfInside);
  EXPECT_TRUE(oThread.bWaitInside);
  EXPECT_LT(oThread.iWaitInsideMs, 1000);
  EXPECT_FALSE(oThread.bSelf());
  t = steady_clock::now();
  EXPECT_FALSE(oThread.bWaitFor(30));  // the body is still running
  EXPECT_GE(iMsSince(t), 25);
  oThread.bRestart = true;
  oThread.SetStopFlag();  // a stop cancels a pending restart
  EXPECT_FALSE(oThread.bRestart);
  EXPECT_TRUE(oThread.bWaitFor(5000));
  EXPECT_EQ(oThread.nRuns, 1);
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
  ASSERT_TRUE(oThread.bStart());  // idle again: may start anew
  oThread.nLetGo = 3;
  EXPECT_TRUE(oThread.bWaitFor(5000));
  EXPECT_EQ(oThread.nRuns, 3);
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

}  // namespace
