#pragma once
// The profiling service: CLuProfilingManager collects timing intervals that
// instrumented code reports from any thread, buffers them in 64 KiB memory
// blocks and streams them to the binary file <log path>.intervals from its
// writer thread ("Profiler"). One process-wide instance (poGlobal) is built
// by a static initialiser before main and destroyed at exit; a program that
// reports nothing never starts its thread and never touches the disk.
//
// Builds on CLuString (base/string), the containers (base/containers),
// CLuFile (files/file), CLuThread and CLuMutex (system/thread) and the
// nanosecond clock (system/timer).
//
// Errors: results only; nothing here throws or prints. Memory that cannot be
// allocated (the framework's operator new may return null) drops the one
// record, code location or thread name concerned and leaves everything else
// intact.
//
// Interval file layout. The file is the plain concatenation of the interval
// records in the order AddInterval received them, with no file header. All
// fields are in host byte order (little-endian on x86-64); 64-bit times are
// stored as two 32-bit halves, low half first, so that the record has no
// padding and its fixed part is exactly 28 bytes:
//
//   Fixed part (28 bytes)
//   | Offset | Size | Field            | Meaning                            |
//   |--------|------|------------------|------------------------------------|
//   |      0 |    1 | byKind           | record kind, kIntervalKind (1)     |
//   |      1 |    1 | nEntryCount      | k, the number of 12-byte entries   |
//   |      2 |    2 | nFlags           | free for the reporter, 0 by default|
//   |      4 |    4 | nThreadID        | small thread number (nThreadID)    |
//   |      8 |    4 | nCodeLocationID  | CLuCodeLocation id of the interval |
//   |     12 |    8 | start            | start time, ns (CLuTimer clock)    |
//   |     20 |    8 | end              | end time, ns (CLuTimer clock)      |
//
//   then k entries of 12 bytes each (marks inside the interval)
//   | Offset | Size | Field            | Meaning                            |
//   |--------|------|------------------|------------------------------------|
//   |      0 |    4 | nCodeLocationID  | where the mark was taken           |
//   |      4 |    8 | time             | time of the mark, ns               |
//
// A record is 28 + 12 * k bytes, at most 28 + 12 * 255 = 3088 bytes, so it
// always fits in one block; a block never holds part of a record.

#include <atomic>
#include <cstdint>

#include "base/containers.h"
#include "base/string.h"
#include "system/thread.h"

class CLuFile;

// One registered source location. The id comes from a counter shared by all
// code locations of the process (0 for the first, then 1, 2, ...). The texts
// are not copied: pass literals such as __FILE__ and __func__.
class CLuCodeLocation {
 public:
  // Takes the next id of the process-wide counter and stores the pointers.
  CLuCodeLocation(char const* pszFile, char const* pszFunction, int iLine);
  virtual ~CLuCodeLocation();

  CLuCodeLocation(CLuCodeLocation const&) = delete;
  CLuCodeLocation& operator=(CLuCodeLocation const&) = delete;

  // The unique id, as written into interval records.
  uint32_t nGetID() const { return m_nID; }
  // The file and function texts as given (not owned; may be null).
  char const* pszGetFile() const { return m_pszFile; }
  char const* pszGetFunction() const { return m_pszFunction; }
  // The line number as given.
  int iGetLine() const { return m_iLine; }

 private:
  static std::atomic<uint32_t> s_nNextID;

  uint32_t m_nID;
  char const* m_pszFile;
  char const* m_pszFunction;
  int m_iLine;
};

// The profiling manager. Three locks keep reporters apart: one for the code
// locations, one for the thread table and one for the data blocks. The
// writer thread holds the block lock only to detach one block, never while
// writing to disk.
class CLuProfilingManager : public CLuThread {
 public:
  // Size of one buffer block in bytes.
  static constexpr uint32_t kBlockSize = 65536;
  // Bytes that must be queued before the running writer thread writes.
  static constexpr uint32_t kWriteThreshold = 10485760;  // 10 MiB
  // Size of the fixed part of an interval record and of one entry, bytes.
  static constexpr uint32_t kIntervalFixedSize = 28;
  static constexpr uint32_t kIntervalEntrySize = 12;
  // The kind byte of an interval record.
  static constexpr uint8_t kIntervalKind = 1;
  // Appended to the log path to name the output file.
  static constexpr char const* kFileSuffix = ".intervals";

  // One mark inside an interval (12 bytes, see the file layout above).
  struct SIntervalEntry {
    uint32_t nCodeLocationID;
    uint32_t nTimeNsLow;
    uint32_t nTimeNsHigh;

    uint64_t n64TimeNs() const {
      return (uint64_t(nTimeNsHigh) << 32) | nTimeNsLow;
    }
    void SetTimeNs(uint64_t n64) {
      nTimeNsLow = uint32_t(n64);
      nTimeNsHigh = uint32_t(n64 >> 32);
    }
  };

  // An interval record: the 28-byte fixed part followed by room for the
  // largest number of entries. Only the first nEntryCount entries are
  // recorded. Build one with SInterval() (all zero, kind 1), fill it and
  // pass it to AddInterval.
  struct SInterval {
    uint8_t byKind;
    uint8_t nEntryCount;
    uint16_t nFlags;
    uint32_t nThreadID;
    uint32_t nCodeLocationID;
    uint32_t nStartNsLow;
    uint32_t nStartNsHigh;
    uint32_t nEndNsLow;
    uint32_t nEndNsHigh;
    SIntervalEntry aEntries[255];

    // An empty record of kind kIntervalKind.
    SInterval();
    uint64_t n64StartNs() const {
      return (uint64_t(nStartNsHigh) << 32) | nStartNsLow;
    }
    uint64_t n64EndNs() const {
      return (uint64_t(nEndNsHigh) << 32) | nEndNsLow;
    }
    void SetStartNs(uint64_t n64) {
      nStartNsLow = uint32_t(n64);
      nStartNsHigh = uint32_t(n64 >> 32);
    }
    void SetEndNs(uint64_t n64) {
      nEndNsLow = uint32_t(n64);
      nEndNsHigh = uint32_t(n64 >> 32);
    }
    // Bytes this record occupies in a block and in the file:
    // 28 + 12 * nEntryCount.
    uint32_t nGetSize() const {
      return kIntervalFixedSize + kIntervalEntrySize * nEntryCount;
    }
  };

  // A buffer waiting to be written: kBlockSize bytes, nUsed of them filled
  // with whole records.
  struct SDataBlock {
    unsigned char* pbyData;
    uint32_t nUsed;
  };

  // A manager of its own (the global one is reached through poGlobal): log
  // path strLogPath (empty: set it later with SetLogPath), its thread not
  // started. Does not touch the process-wide alive flag.
  explicit CLuProfilingManager(CLuString const& strLogPath = CLuString());
  // Stops the writer thread and waits for it without limit (it drains the
  // queue), then writes every block still queued, in order, opening the
  // file only when there is one; frees blocks, code locations, the thread
  // table, the locks and the file. Nothing recorded: no file is created.
  // For the global instance the alive flag is cleared first of all.
  ~CLuProfilingManager() override;

  // The process-wide instance, built before main by a static initialiser
  // (or by the first call, should another initialiser call earlier) and
  // destroyed by an exit handler. Null once it has been destroyed.
  static CLuProfilingManager* poGlobal();
  // True from the end of the global instance's constructor until the start
  // of its destructor.
  static bool bIsGlobalAlive();

  // Registers a source location: under the code location lock, creates a
  // CLuCodeLocation with the next id and appends it to the list. The
  // manager owns the result (deleted with the manager); null when memory
  // runs out.
  CLuCodeLocation* poNewCodeLocation(char const* pszFile,
                                     char const* pszFunction, int iLine);

  // Queues one interval record (28 + 12 * nEntryCount bytes copied from
  // oInterval). With bFlag set, marks the manager as having recorded
  // something. The record goes into the last block when it fits there whole,
  // otherwise into a new 64 KiB block appended to the list. When that block
  // cannot be allocated the record is dropped (the flag is still set).
  void AddInterval(SInterval const& oInterval, bool bFlag);

  // Records pszName as the calling thread's name. A thread registered for
  // the first time gets the next small number (1, 2, ...); a thread that
  // registers again keeps its number and gets the new name. A null or empty
  // name is stored as "Thread". A name that another thread already holds
  // gets its number appended: "Worker (2)". Does nothing when memory runs
  // out. Threads are told apart by platform id, which the platform may hand
  // to a new thread once an old one has ended: such a thread inherits the
  // old number and name until it registers itself.
  void RegisterThread(char const* pszName);
  // The calling thread's small number; 0 when it never registered.
  uint32_t nThreadID() const;
  // The name registered for the calling thread; null when it never
  // registered. Owned by the manager, valid until the thread registers
  // again or the manager is destroyed.
  char const* pszThreadName() const;
  // The calling thread's platform handle (pthread_self) widened to 64 bits.
  static int64_t i64OSThreadID();

  // Sets the base of the output file name (the file is strLogPath followed
  // by ".intervals"). Takes effect for a file not opened yet.
  void SetLogPath(CLuString const& strLogPath);
  // The log path as set (empty until set).
  CLuString strGetLogPath() const;

  // The writer thread's body. While fewer than 10 MiB are queued and no stop
  // or restart is requested it polls every 1 ms; once 10 MiB are queued it
  // writes a burst of at least that much, block by block; on a stop request
  // it writes every queued block and returns. The file is opened (created
  // or truncated) on the first write.
  void ThreadFunction() override;

  // Bytes queued in the data blocks.
  uint32_t nGetQueuedBytes() const;
  // Number of data blocks queued.
  uint32_t nGetBlockCount() const;
  // Used bytes of queued block i (0 = oldest); 0 when there is no block i.
  uint32_t nGetBlockUsedAt(uint32_t i) const;
  // Number of registered code locations.
  uint32_t nGetCodeLocationCount() const;
  // True once an interval was added with its flag set.
  bool bSomethingRecorded() const { return m_bSomethingRecorded; }
  // True once a block was written completely (stays true).
  bool bWriteSucceeded() const { return m_bWriteSucceeded; }

 private:
  struct SGlobalTag {};
  explicit CLuProfilingManager(SGlobalTag);

  // A thread table row: platform thread id and small thread number.
  struct SThreadEntry {
    int64_t i64OSThreadID;
    uint32_t nThreadID;
  };

  void Construct();
  // Detaches the oldest block under the block lock and subtracts its bytes;
  // null when the queue is empty.
  SDataBlock* poDetachFirstBlock();
  // Writes one block (opening the file first when needed) and frees it.
  void WriteAndFreeBlock(SDataBlock* poBlock);
  // Number of the calling thread; caller holds the thread table lock.
  uint32_t nDoThreadID() const;
  // Slot of the first of the m_nThreadRows rows whose id is not below
  // i64ID (m_nThreadRows when none); caller holds the thread table lock.
  uint32_t nDoFindSlot(int64_t i64ID) const;

  static std::atomic<bool> s_bGlobalAlive;

  CLuString m_strLogPath;
  CLuList<CLuCodeLocation> m_oCodeLocations;
  CLuMutex* m_poCodeLocationLock;
  CLuSparseArray<SThreadEntry> m_oThreadEntries;  // sorted by platform id
  uint32_t m_nThreadRows;                         // rows in m_oThreadEntries
  CLuCompactArray<CLuString> m_oThreadNames;      // by thread number
  CLuIndex<CLuString, true> m_oThreadNameIndex;   // names in use
  CLuMutex* m_poThreadLock;
  CLuMutex* m_poBlockLock;
  CLuList<SDataBlock> m_oBlocks;
  uint32_t m_nQueuedBytes;
  CLuFile* m_poFile;
  std::atomic<bool> m_bSomethingRecorded;
  std::atomic<bool> m_bWriteSucceeded;
  bool m_bIsGlobal;  // the process-wide instance (owns the alive flag)
};

// The name registered for the calling thread with the global profiling
// manager (pszThreadName); null when the thread never registered or the
// global manager no longer exists.
char const* pszLuThreadName();
