#pragma once
// Timers and time statistics: CLuTimer reads the monotonic nanosecond clock
// that every wait and measurement of the framework uses;
// CLuCorrectableTimer can be offset to agree with an outside time and never
// returns the same or an earlier value twice (one process-wide instance,
// poLuGlobalCorrectedTimer); CLuTimeStatistics keeps the last N durations of
// something and reports them. Builds on CLuString (base/string), CLuMutex
// (system/thread) and CLuTime (system/time).
//
// Errors: results only; nothing here prints or throws.

#include <cstdint>
#include <type_traits>

#include "base/string.h"

class CLuMutex;

// The nanosecond clock. Stateless; any number of threads may use it.
class CLuTimer {
 public:
  virtual ~CLuTimer();

  // Nanoseconds on the monotonic clock: microseconds since an arbitrary
  // start (CLOCK_MONOTONIC, cut to whole microseconds) times 1000, so
  // values step by 1000 ns.
  virtual uint64_t n64TimeNs() const;
  // True: the clock has microsecond resolution.
  virtual bool bIsAccurate() const;
};

// A timer offset by a deviation that never returns the same or an earlier
// value twice, also across threads: every operation holds the timer's own
// lock for its whole length.
class CLuCorrectableTimer : public CLuTimer {
 public:
  // Deviation 0, no floor; creates the lock. Should the lock not be
  // allocated, operations run without it.
  CLuCorrectableTimer();
  // Deletes the lock.
  ~CLuCorrectableTimer() override;

  CLuCorrectableTimer(CLuCorrectableTimer const&) = delete;
  CLuCorrectableTimer& operator=(CLuCorrectableTimer const&) = delete;

  // Base time + deviation (ns) when that exceeds the last value returned;
  // otherwise the last value + 1. Each result becomes the floor for the
  // next, so successive calls increase by at least 1 ns. A negative sum
  // counts as 0.
  uint64_t n64TimeNs() const override;
  // Sets the deviation so that the clock reads n64WantedNs now. The floor
  // stays: the clock never goes back until CorrectNow.
  void CorrectTime(uint64_t n64WantedNs);
  // Sets the deviation (ns) added to the base clock.
  void SetDeviation(int64_t n64DeviationNs);
  // Clears the floor (the deviation stays), so that a clock set back by
  // SetDeviation or CorrectTime falls back at once.
  void CorrectNow();
  // True when base time + deviation exceeds the floor, i.e. the clock has
  // caught up with the values it already returned.
  bool bIsCorrect() const;

 private:
  // Base time + deviation, 0 when negative. Caller holds the lock.
  uint64_t n64DoCorrectedBaseNs() const;
  bool bLock() const;
  void Unlock(bool bLocked) const;

  int64_t n64DeviationNs;
  mutable uint64_t n64LastNs;
  CLuMutex* poLock;
};

// The process-wide corrected timer, built by a static initialiser before
// main and destroyed at exit. Never null.
CLuCorrectableTimer* poLuGlobalCorrectedTimer();

// The last N durations of something, kept in a ring (oldest overwritten),
// with minimum, average and maximum and a text report. Takes no lock: one
// thread owns each object.
class CLuTimeStatistics {
 public:
  // Room for nCapacity samples. Should the sample array not be allocated,
  // the capacity is 0 and samples are dropped.
  CLuTimeStatistics(CLuString const& strName, uint32_t nCapacity);
  // Frees the sample array.
  virtual ~CLuTimeStatistics();

  CLuTimeStatistics(CLuTimeStatistics const&) = delete;
  CLuTimeStatistics& operator=(CLuTimeStatistics const&) = delete;

  // Stores a sample (ns) at the write index and sets the modified flag; the
  // count grows up to the capacity, the write index wraps to 0 after
  // capacity - 1, so a full ring overwrites its oldest sample.
  void Add(uint64_t n64Ns);
  // Stores a sample given in seconds (seconds * 1e9 ns, truncated; negative
  // or NaN counts as 0, too large as 18446744073709551615).
  void Add(double dSeconds);
  // Any other integer type is a count of nanoseconds (so that Add(5) is not
  // ambiguous between the two forms above).
  template <typename T, typename = std::enable_if_t<std::is_integral<T>::value>>
  void Add(T nNs) {
    Add(static_cast<uint64_t>(nNs));
  }

  // Smallest, largest and average stored sample in ns (the average is the
  // 64-bit sum divided by the count, truncated); 0 when there are none.
  uint64_t n64MinimumNs() const;
  uint64_t n64MaximumNs() const;
  uint64_t n64AverageNs() const;
  // The same in milliseconds (ns / 1e6) and seconds (ns / 1e9).
  double dMinimumMs() const;
  double dAverageMs() const;
  double dMaximumMs() const;
  double dMinimumSec() const;
  double dAverageSec() const;
  double dMaximumSec() const;
  // The sample at storage position nIndex in ms; 0.0 when nIndex is not
  // below the count. Once the ring has wrapped, storage order is not time
  // order.
  double dSampleAtMs(uint32_t nIndex) const;

  // Writes the report (name, local date and time of day, minimum, average,
  // maximum, sample count and every sample in storage order, all in ms) to
  // strPath as text, replacing the file. Returns the result of the write.
  bool bSaveAsText(CLuString const& strPath) const;

  // The name given to the constructor.
  CLuString const& strGetName() const { return strName; }
  // Number of samples held (at most the capacity).
  uint32_t nGetSampleCount() const { return nCount; }
  // Room for samples, from the constructor.
  uint32_t nGetCapacity() const { return nCapacity; }
  // Storage position that the next Add writes.
  uint32_t nGetWriteIndex() const { return nWriteIndex; }
  // True once Add has been called since construction or ClearModified.
  bool bIsModified() const { return bModified; }
  // Clears the modified flag (for example after saving).
  void ClearModified() { bModified = false; }

 private:
  bool bModified;
  CLuString strName;
  uint64_t* pn64Samples;
  uint32_t nCapacity;
  uint32_t nCount;
  uint32_t nWriteIndex;
};
