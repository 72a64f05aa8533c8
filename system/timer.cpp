#include "system/timer.h"

#include <time.h>

#include <cmath>
#include <new>

#include "system/thread.h"
#include "system/time.h"

// ---------------------------------------------------------------- CLuTimer

CLuTimer::~CLuTimer() {}

uint64_t CLuTimer::n64TimeNs() const {
  // The clock is a microsecond counter since system start scaled to
  // nanoseconds; on Linux that counter is clock_gettime(CLOCK_MONOTONIC)
  // cut to whole microseconds, times 1000.
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  uint64_t n64Micro = static_cast<uint64_t>(ts.tv_sec) * 1000000u +
                      static_cast<uint64_t>(ts.tv_nsec) / 1000u;
  return n64Micro * 1000u;
}

bool CLuTimer::bIsAccurate() const {
  return true;
}

// ----------------------------------------------------- CLuCorrectableTimer

CLuCorrectableTimer::CLuCorrectableTimer()
    : n64DeviationNs(0), n64LastNs(0), poLock(new (std::nothrow) CLuMutex) {}

CLuCorrectableTimer::~CLuCorrectableTimer() {
  // Cleared so that a late reading by another exit handler runs unlocked
  // instead of touching a deleted lock.
  delete poLock;
  poLock = nullptr;
}

bool CLuCorrectableTimer::bLock() const {
  return poLock != nullptr && poLock->bAcquire(nLuWaitForever);
}

void CLuCorrectableTimer::Unlock(bool bLocked) const {
  if (bLocked) poLock->Release();
}

uint64_t CLuCorrectableTimer::n64DoCorrectedBaseNs() const {
  // A deviation further back than the clock's start would wrap the sum to
  // a huge value and pin the floor there; it counts as 0 instead.
  uint64_t n64Base = CLuTimer::n64TimeNs();
  if (n64DeviationNs < 0 &&
      static_cast<uint64_t>(-(n64DeviationNs + 1)) + 1 > n64Base)
    return 0;
  return n64Base + static_cast<uint64_t>(n64DeviationNs);
}

uint64_t CLuCorrectableTimer::n64TimeNs() const {
  bool bLocked = bLock();
  uint64_t n64Now = n64DoCorrectedBaseNs();
  n64LastNs = n64Now > n64LastNs ? n64Now : n64LastNs + 1;
  uint64_t n64Result = n64LastNs;
  Unlock(bLocked);
  return n64Result;
}

void CLuCorrectableTimer::CorrectTime(uint64_t n64WantedNs) {
  bool bLocked = bLock();
  n64DeviationNs = static_cast<int64_t>(n64WantedNs - CLuTimer::n64TimeNs());
  Unlock(bLocked);
}

void CLuCorrectableTimer::SetDeviation(int64_t n64Deviation) {
  bool bLocked = bLock();
  n64DeviationNs = n64Deviation;
  Unlock(bLocked);
}

void CLuCorrectableTimer::CorrectNow() {
  bool bLocked = bLock();
  n64LastNs = 0;
  Unlock(bLocked);
}

bool CLuCorrectableTimer::bIsCorrect() const {
  bool bLocked = bLock();
  bool bCorrect = n64DoCorrectedBaseNs() > n64LastNs;
  Unlock(bLocked);
  return bCorrect;
}

namespace {

// Built on first use; the initialiser below makes that first use happen
// before main, and the exit handlers destroy it.
CLuCorrectableTimer* poBuildGlobalCorrectedTimer() {
  static CLuCorrectableTimer oTimer;
  return &oTimer;
}

CLuCorrectableTimer* const poGlobalCorrectedTimerAtStart =
    poBuildGlobalCorrectedTimer();

}  // namespace

CLuCorrectableTimer* poLuGlobalCorrectedTimer() {
  return poBuildGlobalCorrectedTimer();
}

// ------------------------------------------------------- CLuTimeStatistics

CLuTimeStatistics::CLuTimeStatistics(CLuString const& strName,
                                     uint32_t nCapacity)
    : bModified(false),
      strName(strName),
      pn64Samples(nCapacity > 0 ? new (std::nothrow) uint64_t[nCapacity]
                                : nullptr),
      nCapacity(pn64Samples != nullptr ? nCapacity : 0),
      nCount(0),
      nWriteIndex(0) {}

CLuTimeStatistics::~CLuTimeStatistics() {
  delete[] pn64Samples;
}

void CLuTimeStatistics::Add(uint64_t n64Ns) {
  bModified = true;
  // Without a sample array (capacity 0) there is no position to store at.
  if (nCapacity == 0) return;
  pn64Samples[nWriteIndex] = n64Ns;
  if (nCount < nCapacity) ++nCount;
  if (++nWriteIndex > nCapacity - 1) nWriteIndex = 0;
}

void CLuTimeStatistics::Add(double dSeconds) {
  // Only doubles within the unsigned 64-bit range may be converted; the
  // rest is pinned to its nearer end.
  double dNs = dSeconds * 1e9;
  uint64_t n64Ns;
  if (!(dNs > 0.0))  // also NaN
    n64Ns = 0;
  else if (dNs >= 18446744073709551616.0)
    n64Ns = UINT64_MAX;
  else
    n64Ns = static_cast<uint64_t>(dNs);
  Add(n64Ns);
}

uint64_t CLuTimeStatistics::n64MinimumNs() const {
  if (nCount == 0) return 0;
  uint64_t n64Min = pn64Samples[0];
  for (uint32_t i = 1; i < nCount; ++i)
    if (pn64Samples[i] < n64Min) n64Min = pn64Samples[i];
  return n64Min;
}

uint64_t CLuTimeStatistics::n64MaximumNs() const {
  if (nCount == 0) return 0;
  uint64_t n64Max = pn64Samples[0];
  for (uint32_t i = 1; i < nCount; ++i)
    if (pn64Samples[i] > n64Max) n64Max = pn64Samples[i];
  return n64Max;
}

uint64_t CLuTimeStatistics::n64AverageNs() const {
  if (nCount == 0) return 0;
  uint64_t n64Sum = 0;
  for (uint32_t i = 0; i < nCount; ++i) n64Sum += pn64Samples[i];
  return n64Sum / nCount;
}

double CLuTimeStatistics::dMinimumMs() const {
  return n64MinimumNs() / 1e6;
}
double CLuTimeStatistics::dAverageMs() const {
  return n64AverageNs() / 1e6;
}
double CLuTimeStatistics::dMaximumMs() const {
  return n64MaximumNs() / 1e6;
}
double CLuTimeStatistics::dMinimumSec() const {
  return n64MinimumNs() / 1e9;
}
double CLuTimeStatistics::dAverageSec() const {
  return n64AverageNs() / 1e9;
}
double CLuTimeStatistics::dMaximumSec() const {
  return n64MaximumNs() / 1e9;
}

double CLuTimeStatistics::dSampleAtMs(uint32_t nIndex) const {
  if (nIndex >= nCount) return 0.0;
  return pn64Samples[nIndex] / 1e6;
}

bool CLuTimeStatistics::bSaveAsText(CLuString const& strPath) const {
  // One reading of the clock for both date and time, so that a report
  // written at midnight cannot pair one day's date with the next day's time.
  CLuTime timNow;
  CLuString strReport(strName);
  strReport += "\n";
  strReport += timNow.strDate();
  strReport += "\n";
  strReport += timNow.strTime();
  strReport += "\n";
  strReport += "\nAll values in milliseconds\n";
  // The labels are nine characters wide so that the numbers line up.
  strReport += "Min:     ";
  strReport += CLuString::strFromNumber(dMinimumMs(), 15, false);
  strReport += "\nAve:     ";
  strReport += CLuString::strFromNumber(dAverageMs(), 15, false);
  strReport += "\nMax:     ";
  strReport += CLuString::strFromNumber(dMaximumMs(), 15, false);
  strReport += "\nSamples: ";
  strReport += CLuString::strFromNumber(nCount);
  strReport += "\n";
  strReport += "\n<---BEGIN SAMPLES--->\n";
  for (uint32_t i = 0; i < nCount; ++i) {
    strReport += CLuString::strFromNumber(dSampleAtMs(i), 15, false);
    strReport += "ms\n";
  }
  strReport += "<---END SAMPLES--->\n";
  return strReport.bWriteToFile(strPath, false);
}
