#include "system/timer.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "system/time.h"

namespace {

// Readings taken by a static initialiser of this file, before main.
CLuCorrectableTimer* const poTimerBeforeMain = poLuGlobalCorrectedTimer();
uint64_t const n64ReadingBeforeMain = poTimerBeforeMain->n64TimeNs();

TEST(LuTimer, ClockIsMonotonicInWholeMicroseconds) {
  CLuTimer oTimer;
  EXPECT_TRUE(oTimer.bIsAccurate());
  uint64_t n64Last = oTimer.n64TimeNs();
  for (int i = 0; i < 1000; ++i) {
    uint64_t n64Now = oTimer.n64TimeNs();
    ASSERT_GE(n64Now, n64Last);
    ASSERT_EQ(n64Now % 1000, 0u);
    n64Last = n64Now;
  }
}

TEST(LuCorrectableTimer, GlobalTimerIsBuiltBeforeMainAndKeepsCounting) {
  ASSERT_NE(poTimerBeforeMain, nullptr);
  EXPECT_EQ(poLuGlobalCorrectedTimer(), poTimerBeforeMain);
  EXPECT_GT(n64ReadingBeforeMain, 0u);
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
  for (auto* pa : {&aFirst, &aSecond})
    for (size_t i = 1; i < pa->size(); ++i)
      ASSERT_LT((*pa)[i - 1], (*pa)[i]);
  std::vector<uint64_t> aAll(aFirst);
  aAll.insert(aAll.end(), aSecond.begin(), aSecond.end());
  std::sort(aAll.begin(), aAll.end());
  EXPECT_EQ(std::adjacent_find(aAll.begin(), aAll.end()), aAll.end());
}

TEST(LuCorrectableTimer, ClockSetBackCreepsUntilCorrectNow) {
  CLuCorrectableTimer oTimer;
  EXPECT_TRUE(oTimer.bIsCorrect());  // no floor yet
  uint64_t n64Floor = oTimer.n64TimeNs();
  oTimer.SetDeviation(-3600LL * 1000000000LL);  // one hour back
  EXPECT_FALSE(oTimer.bIsCorrect());
  EXPECT_EQ(oTimer.n64TimeNs(), n64Floor + 1);
  EXPECT_EQ(oTimer.n64TimeNs(), n64Floor + 2);
  oTimer.CorrectNow();
  EXPECT_TRUE(oTimer.bIsCorrect());
  uint64_t n64Fallen = oTimer.n64TimeNs();
  EXPECT_LT(n64Fallen, n64Floor);
  EXPECT_GT(oTimer.n64TimeNs(), n64Fallen);
  // A deviation beyond the clock's start reads as 0, not as a wrapped sum.
  oTimer.SetDeviation(LLONG_MIN);
  EXPECT_FALSE(oTimer.bIsCorrect());
  EXPECT_LT(oTimer.n64TimeNs(), n64Floor);
}

TEST(LuCorrectableTimer, DeviationAndCorrectTimeShiftTheBaseClock) {
  CLuCorrectableTimer oTimer;
  CLuTimer oBase;
  int64_t const n64Day = 86400LL * 1000000000LL;
  oTimer.SetDeviation(n64Day);
  uint64_t n64Before = oBase.n64TimeNs();
  uint64_t n64Read = oTimer.n64TimeNs();
  EXPECT_GE(n64Read, n64Before + n64Day);
  EXPECT_LE(n64Read, oBase.n64TimeNs() + n64Day);
  EXPECT_TRUE(oTimer.bIsCorrect());
  uint64_t const n64Wanted = 5ULL * n64Day;
  oTimer.CorrectTime(n64Wanted);
  n64Read = oTimer.n64TimeNs();
  EXPECT_GE(n64Read, n64Wanted);
  EXPECT_LT(n64Read, n64Wanted + 5000000000ULL);
}

TEST(LuTimeStatistics, FullRingOverwritesItsOldestSample) {
  CLuTimeStatistics oStats("ring", 3);
  EXPECT_FALSE(oStats.bIsModified());
  for (uint64_t n : {1000000, 2000000, 3000000, 4000000, 5000000})
    oStats.Add(n);
  EXPECT_TRUE(oStats.bIsModified());
  EXPECT_EQ(oStats.nGetSampleCount(), 3u);
  EXPECT_EQ(oStats.nGetWriteIndex(), 2u);
  double const adWant[] = {4.0, 5.0, 3.0, 0.0};  // storage order; 3 is past
  for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(oStats.dSampleAtMs(i), adWant[i]);
  EXPECT_EQ(oStats.n64MinimumNs(), 3000000u);
  EXPECT_EQ(oStats.n64AverageNs(), 4000000u);
  EXPECT_EQ(oStats.n64MaximumNs(), 5000000u);
  EXPECT_EQ(oStats.dMaximumSec(), 0.005);
}

TEST(LuTimeStatistics, ConvertsSecondsAndTruncatesTheAverage) {
  CLuTimeStatistics oStats("seconds", 4);
  EXPECT_EQ(oStats.n64AverageNs(), 0u);
  EXPECT_EQ(oStats.dMinimumMs(), 0.0);
  oStats.Add(0.5);   // 500000000 ns
  oStats.Add(-1.0);  // nonsense counts as 0
  oStats.Add(1);
  EXPECT_EQ(oStats.n64MaximumNs(), 500000000u);
  EXPECT_EQ(oStats.n64MinimumNs(), 0u);
  EXPECT_EQ(oStats.n64AverageNs(), 166666667u);  // 500000001 / 3
  EXPECT_EQ(oStats.dAverageSec(), 0.166666667);
}

std::string strReadFile(std::string const& strPath) {
  std::ifstream oIn(strPath, std::ios::binary);
  std::ostringstream oText;
  oText << oIn.rdbuf();
  return oText.str();
}

// The report as it must read when written at calendar second t.
std::string strExpectedReport(time_t t, std::string const& strBody) {
  CLuTime tim(static_cast<long>(t));
  return std::string("Decode\n") + tim.strDate().pszGetString() + "\n" +
         tim.strTime().pszGetString() + "\n" + strBody;
}

// True when the file holds the report of some second from tFrom to tTo.
bool bReportMatches(std::string const& strText, time_t tFrom, time_t tTo,
                    std::string const& strBody) {
  for (time_t t = tFrom; t <= tTo; ++t)
    if (strText == strExpectedReport(t, strBody)) return true;
  ADD_FAILURE() << strText << "\nexpected:\n" << strExpectedReport(tTo, strBody);
  return false;
}

TEST(LuTimeStatistics, ReportListsSamplesInStorageOrder) {
  std::string strPath = testing::TempDir() + "lu_timer_report.txt";
  CLuTimeStatistics oStats("Decode", 3);
  for (uint64_t n : {500000, 3000000, 1500000, 750000}) oStats.Add(n);
  time_t tFrom = time(nullptr);
  ASSERT_TRUE(oStats.bSaveAsText(strPath.c_str()));
  time_t tTo = time(nullptr);
  EXPECT_TRUE(bReportMatches(strReadFile(strPath), tFrom, tTo,
                             "\nAll values in milliseconds\n"
                             "Min:     0.75\n"
                             "Ave:     1.75\n"
                             "Max:     3\n"
                             "Samples: 3\n"
                             "\n<---BEGIN SAMPLES--->\n"
                             "0.75ms\n"
                             "3ms\n"
                             "1.5ms\n"
                             "<---END SAMPLES--->\n"));
  remove(strPath.c_str());
}

TEST(LuTimeStatistics, EmptyReportHasZeroesAndNoSamples) {
  std::string strPath = testing::TempDir() + "lu_timer_empty.txt";
  CLuTimeStatistics oStats("Decode", 8);
  time_t tFrom = time(nullptr);
  ASSERT_TRUE(oStats.bSaveAsText(strPath.c_str()));
  time_t tTo = time(nullptr);
  EXPECT_TRUE(bReportMatches(strReadFile(strPath), tFrom, tTo,
                             "\nAll values in milliseconds\n"
                             "Min:     0\nAve:     0\nMax:     0\n"
                             "Samples: 0\n\n<---BEGIN SAMPLES--->\n"
                             "<---END SAMPLES--->\n"));
  remove(strPath.c_str());
  EXPECT_FALSE(oStats.bSaveAsText("/nonexistent-folder/report.txt"));
}

}  // namespace
