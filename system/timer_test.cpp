#include "system/timer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "system/time.h"

namespace {

// Taken by a static initialiser of this file, before main.
CLuCorrectableTimer* const poTimerBeforeMain = poLuGlobalCorrectedTimer();
uint64_t const n64ReadingBeforeMain = poTimerBeforeMain->n64TimeNs();

TEST(LuCorrectableTimer, GlobalTimerIsBuiltBeforeMainAndKeepsCounting) {
  EXPECT_EQ(poLuGlobalCorrectedTimer(), poTimerBeforeMain);
  EXPECT_GT(poLuGlobalCorrectedTimer()->n64TimeNs(), n64ReadingBeforeMain);
}

TEST(LuCorrectableTimer, StrictlyIncreasingAcrossTwoThreads) {
  CLuCorrectableTimer oTimer;
  std::vector<uint64_t> aFirst(20000), aSecond(20000);
  auto fnRead = [&oTimer](std::vector<uint64_t>* pa) {
    for (uint64_t& n : *pa) n = oTimer.n64TimeNs();
  };
  std::thread oOther(fnRead, &aSecond);
  fnRead(&aFirst);
  oOther.join();
  // Each thread's readings rise; no two readings anywhere are equal.
  for (auto* pa : {&aFirst, &aSecond})
    EXPECT_TRUE(std::is_sorted(pa->begin(), pa->end()));
  aFirst.insert(aFirst.end(), aSecond.begin(), aSecond.end());
  std::sort(aFirst.begin(), aFirst.end());
  EXPECT_EQ(std::adjacent_find(aFirst.begin(), aFirst.end()), aFirst.end());
}

TEST(LuCorrectableTimer, ClockSetBackCreepsUntilCorrectNow) {
  CLuCorrectableTimer oTimer;
  EXPECT_TRUE(oTimer.bIsCorrect());  // no floor yet
  uint64_t n64Floor = oTimer.n64TimeNs();
  // Back by half the reading: the base clock may have started minutes ago.
  oTimer.SetDeviation(-static_cast<int64_t>(n64Floor / 2));
  EXPECT_FALSE(oTimer.bIsCorrect());
  EXPECT_EQ(oTimer.n64TimeNs(), n64Floor + 1);  // creeps by 1 ns a reading
  EXPECT_EQ(oTimer.n64TimeNs(), n64Floor + 2);
  oTimer.CorrectNow();
  EXPECT_TRUE(oTimer.bIsCorrect());
  EXPECT_LT(oTimer.n64TimeNs(), n64Floor);
  oTimer.SetDeviation(LLONG_MIN);  // beyond the clock's start: reads as 0
  EXPECT_LT(oTimer.n64TimeNs(), n64Floor);
}

TEST(LuTimeStatistics, FullRingOverwritesItsOldestSample) {
  CLuTimeStatistics oStats("ring", 3);
  EXPECT_EQ(oStats.n64AverageNs(), 0u);  // no samples: no division
  for (uint64_t n : {1000000, 2000000, 3000000, 4000000}) oStats.Add(n);
  oStats.Add(0.005);  // seconds
  EXPECT_EQ(oStats.nGetSampleCount(), 3u);
  double const adWant[] = {4.0, 5.0, 3.0, 0.0};  // storage order; 3 is past
  for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(oStats.dSampleAtMs(i), adWant[i]);
  EXPECT_EQ(oStats.n64MinimumNs(), 3000000u);
  oStats.Add(1);  // replaces 3 ms: 9000001 ns over 3, truncated
  EXPECT_EQ(oStats.n64AverageNs(), 3000000u);
}

TEST(LuTimeStatistics, ReportListsSamplesInStorageOrder) {
  CLuTimeStatistics oStats("Decode", 3);
  for (uint64_t n : {500000, 3000000, 1500000, 750000}) oStats.Add(n);
  std::string strPath = testing::TempDir() + "lu_timer_report.txt";
  long iFrom = time(nullptr);
  ASSERT_TRUE(oStats.bSaveAsText(strPath.c_str()));
  long iTo = time(nullptr);
  std::ifstream oIn(strPath, std::ios::binary);
  std::string strText(std::istreambuf_iterator<char>(oIn), {}), strWant;
  remove(strPath.c_str());
  for (long i = iFrom; i <= iTo && strText != strWant; ++i) {
    CLuTime tim(i);  // the report may be stamped with any of these seconds
    strWant = std::string("Decode\n") + tim.strDate().pszGetString() + "\n" +
              tim.strTime().pszGetString() +
              "\n\nAll values in milliseconds\nMin:     0.75\nAve:     1.75\n"
              "Max:     3\nSamples: 3\n\n<---BEGIN SAMPLES--->\n0.75ms\n3ms\n"
              "1.5ms\n<---END SAMPLES--->\n";
  }
  EXPECT_EQ(strText, strWant);
  EXPECT_FALSE(oStats.bSaveAsText("/nonexistent-folder/report.txt"));
}

}  // namespace
