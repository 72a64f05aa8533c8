#include "system/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

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

TEST(LuMutex, RecursiveWithTimeOutsAgainstAnotherThread) {
  CLuMutex oLock;
  ASSERT_TRUE(oLock.bAcquire(0));
  ASSERT_TRUE(oLock.bAcquire(0));  // the owner re-enters
  std::thread([&] {  // fails to acquire and says how long that took
    auto iMsToFail = [&](uint32_t nTimeoutMs) {
      auto t = steady_clock::now();
      EXPECT_FALSE(oLock.bAcquire(nTimeoutMs));
      return iMsSince(t);
    };
    EXPECT_LT(iMsToFail(0), 2000);  // at once
    EXPECT_GE(iMsToFail(50), 40);
    EXPECT_LT(iMsToFail(4294968), 5000);  // 71 minutes, wrapped to ~1 ms
  }).join();
  oLock.Release();
  EXPECT_EQ(1u, oLock.nGetCount());  // each acquire needs one release
  oLock.Release();
  oLock.Release();  // on a free lock: nothing happens
  EXPECT_EQ(0u, oLock.nGetCount());
}

TEST(LuMutex, ExcludesOtherThreadsAndWakesEveryWaiter) {
  // Four threads, each entering twice (recursively) per step: a lost
  // wake-up hangs the test, a broken exclusion loses increments.
  CLuMutex oLock;
  uint32_t nShared = 0;  // guarded by oLock alone
  std::vector<std::thread> aThreads;
  for (int t = 0; t < 4; ++t)
    aThreads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        ASSERT_TRUE(oLock.bAcquire(nLuWaitForever));
        ASSERT_TRUE(oLock.bAcquire(0));
        ++nShared;
        oLock.Release();
        oLock.Release();
      }
    });
  for (std::thread& oThread : aThreads) oThread.join();
  EXPECT_EQ(8000u, nShared);
  EXPECT_EQ(0u, oLock.nGetCount());
}

TEST(LuMutex, DeadlineMicrosecondSumWrapsAt32Bits) {
  // Microseconds past second 100, time-out in ms, deadline s and ns.
  long const aiCases[][4] = {
      {999999, 1, 101, 999000},
      {0, 4294967, 4394, 967000000},  // the last that fits
      {0, 4294968, 100, 704000},      // 4294968000 - 2^32 = 704
  };
  for (auto const& ai : aiCases) {
    SCOPED_TRACE(ai[1]);
    timespec ts = {-1, -1};
    CLuMutex::ComputeDeadline(timeval{100, ai[0]}, uint32_t(ai[1]), &ts);
    EXPECT_EQ(ai[2], ts.tv_sec);
    EXPECT_EQ(ai[3], ts.tv_nsec);
  }
}

TEST(LuExclusiveWrite, WriterTimesOutWhileReadingAndLeavesWriteLockFree) {
  CLuExclusiveWrite oLock;
  ASSERT_TRUE(oLock.bBeginReading(1000));
  EXPECT_FALSE(oLock.bBeginWriting(5));
  EXPECT_EQ(0u, oLock.oWriteLock.nGetCount());
  auto fnReadElsewhere = [&] {
    return std::async(std::launch::async, [&] {
      return oLock.bBeginReading(20);
    }).get();
  };
  EXPECT_TRUE(fnReadElsewhere());  // readers do not block each other
  oLock.EndReading();
  oLock.EndReading();
  ASSERT_TRUE(oLock.bBeginWriting(1000));
  EXPECT_FALSE(fnReadElsewhere());  // but a writer blocks them
  oLock.EndWriting();
}

TEST(LuExclusiveWrite, ZeroTimeOutFailsEvenOnAnIdleLock) {
  for (auto pfnBegin :
       {&CLuExclusiveWrite::bBeginReading, &CLuExclusiveWrite::bBeginWriting}) {
    SCOPED_TRACE(pfnBegin == &CLuExclusiveWrite::bBeginReading ? "reader"
                                                               : "writer");
    CLuExclusiveWrite oLock;
    EXPECT_FALSE((oLock.*pfnBegin)(0));
    EXPECT_EQ(0u, oLock.nReaders);
    EXPECT_EQ(0u, oLock.oWriteLock.nGetCount());
    EXPECT_EQ(0u, oLock.oCountLock.nGetCount());
  }
}

// A body that counts its runs and ends on a stop request or when the test
// lets the current run go; with pbGone set it reports its destruction.
class CCountingThread : public CLuThread {
 public:
  CCountingThread() : CLuThread("Test") {}
  ~CCountingThread() override {
    SetStopFlag();
    bWaitFor(5000);
    if (pbGone) *pbGone = true;
  }
  void ThreadFunction() override {
    int nRun = ++nRuns;
    auto t = steady_clock::now();
    iWaitInsideMs = bWaitFor(5000) ? iMsSince(t) : 99999;
    while (!bStop && nLetGo < nRun)
      std::this_thread::sleep_for(milliseconds(1));
  }
  std::atomic<int> nRuns{0}, nLetGo{0};
  std::atomic<int64_t> iWaitInsideMs{-1};
  std::atomic<bool>* pbGone = nullptr;
};

TEST(LuThread, StartsOnceStopsRestartsAndWaits) {
  CCountingThread oThread;
  EXPECT_TRUE(oThread.bWaitFor(nLuWaitForever));  // never started: at once
  ASSERT_TRUE(oThread.bStart());
  EXPECT_TRUE(oThread.bStart());  // already running: starts nothing
  // From inside its own thread bWaitFor is true at once.
  ASSERT_TRUE(bEventually([&] { return oThread.iWaitInsideMs >= 0; }));
  EXPECT_LT(oThread.iWaitInsideMs, 1000);
  EXPECT_FALSE(oThread.bWaitFor(30));  // the body is still running
  EXPECT_TRUE(oThread.Restart());      // running: one more run
  oThread.nLetGo = 1;
  ASSERT_TRUE(bEventually([&] { return oThread.nRuns == 2; }));

  EXPECT_TRUE(oThread.Restart());
  oThread.SetStopFlag();  // a stop cancels the pending restart: no 3rd run
  EXPECT_TRUE(oThread.bWaitFor(5000));
  EXPECT_EQ(2, oThread.nRuns);
  EXPECT_FALSE(oThread.bStop);  // cleared after the body returned

  EXPECT_TRUE(oThread.Restart());  // idle: starts it anew
  oThread.nLetGo = 3;
  EXPECT_TRUE(oThread.bWaitFor(5000));
  EXPECT_EQ(3, oThread.nRuns);
}

// A group that reports its destruction.
class CWatchedGroup : public CLuThreadGroup {
 public:
  explicit CWatchedGroup(std::atomic<bool>* pbGone) : pbGone(pbGone) {}
  ~CWatchedGroup() override { *pbGone = true; }
  std::atomic<bool>* pbGone;
};

TEST(LuThread, GroupEndsWithTheStepToZeroOnly) {
  // From 1 the group is deleted; 0 wraps like any unsigned counter.
  for (uint32_t nBefore : {1u, 0u}) {
    SCOPED_TRACE(nBefore);
    std::atomic<bool> bGone{false};
    CWatchedGroup* poGroup = new CWatchedGroup(&bGone);
    poGroup->nThreads = nBefore;
    auto nCount = [&] {
      poGroup->oLock.bAcquire(nLuWaitForever);
      uint32_t n = poGroup->nThreads;
      poGroup->oLock.Release();
      return n;
    };
    {
      CCountingThread oThread;
      oThread.poGroup = poGroup;
      oThread.nLetGo = 1;
      ASSERT_TRUE(oThread.bStart());
      if (nBefore == 1) {
        EXPECT_TRUE(bEventually([&] { return bGone.load(); }));
        continue;
      }
      EXPECT_TRUE(bEventually([&] { return nCount() != nBefore; }));
    }
    EXPECT_EQ(4294967295u, nCount());
    EXPECT_FALSE(bGone);
    delete poGroup;
  }
}

TEST(LuThread, DeleteWhenDoneEndsTheObjectsLife) {
  std::atomic<bool> bGone{false};
  CCountingThread* poThread = new CCountingThread;
  poThread->pbGone = &bGone;
  poThread->nLetGo = 1;
  poThread->bDeleteWhenDone = true;
  ASSERT_TRUE(poThread->bStart());
  EXPECT_TRUE(bEventually([&] { return bGone.load(); }));
}

}  // namespace
