#include "system/profiling.h"

#include <errno.h>
#include <pthread.h>
#include <time.h>

#include <cstddef>
#include <cstring>
#include <new>

#include "files/file.h"

static_assert(offsetof(CLuProfilingManager::SInterval, aEntries) ==
                  CLuProfilingManager::kIntervalFixedSize,
              "the fixed part of an interval record is 28 bytes");
static_assert(offsetof(CLuProfilingManager::SInterval, nEntryCount) == 1,
              "the entry count is the record's second byte");
static_assert(sizeof(CLuProfilingManager::SIntervalEntry) ==
                  CLuProfilingManager::kIntervalEntrySize,
              "an interval entry is 12 bytes");
static_assert(sizeof(CLuProfilingManager::SInterval) ==
                  CLuProfilingManager::kIntervalFixedSize +
                      255 * CLuProfilingManager::kIntervalEntrySize,
              "records are copied straight out of SInterval");

namespace {

// Sleeps about one millisecond, resuming after signals.
void SleepOneMs() {
  timespec tsWait = {0, 1000000};
  timespec tsLeft;
  while (nanosleep(&tsWait, &tsLeft) != 0 && errno == EINTR) tsWait = tsLeft;
}

// The three locks are owned pointers; should one not have been allocated,
// the manager runs without it rather than not at all.
void Lock(CLuMutex* poLock) {
  if (poLock != nullptr) poLock->bAcquire(nLuWaitForever);
}
void Unlock(CLuMutex* poLock) {
  if (poLock != nullptr) poLock->Release();
}

}  // namespace

// ---------------------------------------------------------- CLuCodeLocation

std::atomic<uint32_t> CLuCodeLocation::s_nNextID(0);

CLuCodeLocation::CLuCodeLocation(char const* pszFile, char const* pszFunction,
                                 int iLine)
    : m_nID(s_nNextID.fetch_add(1)),
      m_pszFile(pszFile),
      m_pszFunction(pszFunction),
      m_iLine(iLine) {}

CLuCodeLocation::~CLuCodeLocation() {}

// ------------------------------------------------------ CLuProfilingManager

std::atomic<bool> CLuProfilingManager::s_bGlobalAlive(false);

CLuProfilingManager::SInterval::SInterval() {
  // Only the fixed part: entries beyond nEntryCount are never copied.
  memset(static_cast<void*>(this), 0, kIntervalFixedSize);
  byKind = kIntervalKind;
}

CLuProfilingManager::CLuProfilingManager(CLuString const& strLogPath)
    : CLuThread("Profiler", 0), m_strLogPath(strLogPath) {
  m_bIsGlobal = false;
  Construct();
}

CLuProfilingManager::CLuProfilingManager(SGlobalTag)
    : CLuThread("Profiler", 0) {
  m_bIsGlobal = true;
  Construct();
  s_bGlobalAlive = true;
}

void CLuProfilingManager::Construct() {
  m_poCodeLocationLock = new (std::nothrow) CLuMutex;
  m_poThreadLock = new (std::nothrow) CLuMutex;
  m_poBlockLock = new (std::nothrow) CLuMutex;
  m_nThreadRows = 0;
  m_nQueuedBytes = 0;
  m_poFile = nullptr;
  m_bSomethingRecorded = false;
  m_bWriteSucceeded = false;
  // Thread number 0 means "not registered" and has no name.
  m_oThreadNames.Add(nullptr);
}

CLuProfilingManager::~CLuProfilingManager() {
  if (m_bIsGlobal) s_bGlobalAlive = false;
  SetStopFlag();
  bWaitFor(nLuWaitForever);

  // The thread has ended (or never ran): whatever it left is written here,
  // oldest block first.
  while (SDataBlock* poBlock = poDetachFirstBlock()) WriteAndFreeBlock(poBlock);

  m_oCodeLocations.DeleteAll();
  for (uint32_t i = 0; i < m_nThreadRows; ++i)
    delete m_oThreadEntries.poGetAt(i);
  m_oThreadEntries.RemoveAll();
  for (uint32_t i = 0; i < m_oThreadNames.nGetCount(); ++i)
    delete m_oThreadNames.poGetAt(i);
  m_oThreadNames.RemoveAll();
  m_oThreadNameIndex.RemoveAll();
  delete m_poCodeLocationLock;
  delete m_poThreadLock;
  delete m_poBlockLock;
  delete m_poFile;  // closes the file
}

CLuProfilingManager* CLuProfilingManager::poGlobal() {
  // Built on first use; the initialiser below makes that happen before
  // main, and the exit handlers destroy it in reverse order of building.
  static CLuProfilingManager oGlobal{SGlobalTag()};
  return s_bGlobalAlive ? &oGlobal : nullptr;
}

bool CLuProfilingManager::bIsGlobalAlive() {
  return s_bGlobalAlive;
}

namespace {
CLuProfilingManager* const poProfilingManagerAtStart =
    CLuProfilingManager::poGlobal();
}  // namespace

// The tool never calls into this file, yet the global manager must exist in
// it: the library's link options name this symbol as undefined, so every
// program linked with lu pulls this object file, and its initialiser, in.
extern "C" {
extern int g_iLuProfilingLinkAnchor;
int g_iLuProfilingLinkAnchor = 0;
}

CLuCodeLocation* CLuProfilingManager::poNewCodeLocation(char const* pszFile,
                                                        char const* pszFunction,
                                                        int iLine) {
  Lock(m_poCodeLocationLock);
  CLuCodeLocation* poLocation =
      new (std::nothrow) CLuCodeLocation(pszFile, pszFunction, iLine);
  if (poLocation != nullptr &&
      m_oCodeLocations.posAddTail(poLocation) == nullptr) {
    delete poLocation;
    poLocation = nullptr;
  }
  Unlock(m_poCodeLocationLock);
  return poLocation;
}

void CLuProfilingManager::AddInterval(SInterval const& oInterval, bool bFlag) {
  if (bFlag) m_bSomethingRecorded = true;
  Lock(m_poBlockLock);
  uint32_t nSize = oInterval.nGetSize();
  SDataBlock* poLast = m_oBlocks.poGetTail();
  if (poLast == nullptr || poLast->nUsed + nSize > kBlockSize) {
    // A record never straddles two blocks: it starts a fresh one.
    poLast = new (std::nothrow) SDataBlock;
    if (poLast != nullptr) {
      poLast->pbyData = new (std::nothrow) unsigned char[kBlockSize];
      poLast->nUsed = 0;
      if (poLast->pbyData == nullptr ||
          m_oBlocks.posAddTail(poLast) == nullptr) {
        delete[] poLast->pbyData;
        delete poLast;
        poLast = nullptr;
      }
    }
  }
  if (poLast != nullptr) {
    memcpy(poLast->pbyData + poLast->nUsed, &oInterval, nSize);
    poLast->nUsed += nSize;
    m_nQueuedBytes += nSize;
  }
  Unlock(m_poBlockLock);
}

int64_t CLuProfilingManager::i64OSThreadID() {
  return static_cast<int64_t>(pthread_self());
}

uint32_t CLuProfilingManager::nDoFindSlot(int64_t i64ID) const {
  uint32_t nLow = 0;
  uint32_t nHigh = m_nThreadRows;
  while (nLow < nHigh) {
    uint32_t nMiddle = nLow + (nHigh - nLow) / 2;
    if (m_oThreadEntries.poGetAt(nMiddle)->i64OSThreadID < i64ID)
      nLow = nMiddle + 1;
    else
      nHigh = nMiddle;
  }
  return nLow;
}

uint32_t CLuProfilingManager::nDoThreadID() const {
  if (m_nThreadRows == 0) return 0;
  int64_t i64ID = i64OSThreadID();
  if (i64ID < m_oThreadEntries.poGetAt(0)->i64OSThreadID ||
      i64ID > m_oThreadEntries.poGetAt(m_nThreadRows - 1)->i64OSThreadID)
    return 0;
  SThreadEntry const* poEntry = m_oThreadEntries.poGetAt(nDoFindSlot(i64ID));
  return poEntry->i64OSThreadID == i64ID ? poEntry->nThreadID : 0;
}

uint32_t CLuProfilingManager::nThreadID() const {
  Lock(m_poThreadLock);
  uint32_t nID = nDoThreadID();
  Unlock(m_poThreadLock);
  return nID;
}

char const* CLuProfilingManager::pszThreadName() const {
  Lock(m_poThreadLock);
  CLuString const* poName = m_oThreadNames.poGetAt(nDoThreadID());
  Unlock(m_poThreadLock);
  return poName != nullptr ? poName->pszGetString() : nullptr;
}

void CLuProfilingManager::RegisterThread(char const* pszName) {
  CLuString strBase(pszName != nullptr && *pszName != '\0' ? pszName
                                                           : "Thread");
  Lock(m_poThreadLock);
  // Slot 0 (no name) must exist before the first thread gets number 1.
  if (m_oThreadNames.nGetCount() == 0) m_oThreadNames.Add(nullptr);
  if (m_oThreadNames.nGetCount() == 0) {
    Unlock(m_poThreadLock);
    return;
  }
  uint32_t nID = nDoThreadID();
  bool bNew = nID == 0;
  if (bNew) nID = m_oThreadNames.nGetCount();

  // A name that another thread already holds gets this thread's number.
  CLuString strName(strBase);
  CLuString* poHolder = m_oThreadNameIndex.poGetAt(strName);
  CLuString* poOwn = bNew ? nullptr : m_oThreadNames.poGetAt(nID);
  if (poHolder != nullptr && poHolder != poOwn) {
    strName += " (";
    strName += CLuString::strFromNumber(nID);
    strName += ")";
  }

  if (bNew) {
    CLuString* poStored = new (std::nothrow) CLuString(strName);
    SThreadEntry* poEntry = new (std::nothrow) SThreadEntry;
    // Every step that can fail comes first and is undone on failure, so
    // that the table never holds half a thread.
    bool bOk = poStored != nullptr && poEntry != nullptr &&
               m_oThreadEntries.bSetAt(m_nThreadRows, poEntry);
    if (bOk) {
      m_oThreadNames.Add(poStored);
      bOk = m_oThreadNames.poGetAt(nID) == poStored;
    }
    if (bOk && !m_oThreadNameIndex.bSetAt(strName, poStored)) {
      m_oThreadNames.poRemoveAt(nID);
      bOk = false;
    }
    if (bOk) {
      // Insert the row at its sorted place; the slot at m_nThreadRows
      // exists now, so the moves cannot fail.
      poEntry->i64OSThreadID = i64OSThreadID();
      poEntry->nThreadID = nID;
      uint32_t nSlot = nDoFindSlot(poEntry->i64OSThreadID);
      for (uint32_t i = m_nThreadRows; i > nSlot; --i)
        m_oThreadEntries.bSetAt(i, m_oThreadEntries.poGetAt(i - 1));
      m_oThreadEntries.bSetAt(nSlot, poEntry);
      ++m_nThreadRows;
    } else {
      m_oThreadEntries.bSetAt(m_nThreadRows, nullptr);
      delete poEntry;
      delete poStored;
    }
  } else if (poOwn != nullptr && *poOwn != strName) {
    // Known thread, new name: free the old name, keep the number.
    if (m_oThreadNameIndex.poGetAt(*poOwn) == poOwn)
      m_oThreadNameIndex.bSetAt(*poOwn, nullptr);
    *poOwn = strName;
    m_oThreadNameIndex.bSetAt(strName, poOwn);
  }
  Unlock(m_poThreadLock);
}

void CLuProfilingManager::SetLogPath(CLuString const& strLogPath) {
  Lock(m_poBlockLock);
  m_strLogPath = strLogPath;
  Unlock(m_poBlockLock);
}

CLuString CLuProfilingManager::strGetLogPath() const {
  Lock(m_poBlockLock);
  CLuString strPath(m_strLogPath);
  Unlock(m_poBlockLock);
  return strPath;
}

CLuProfilingManager::SDataBlock* CLuProfilingManager::poDetachFirstBlock() {
  Lock(m_poBlockLock);
  SDataBlock* poBlock = nullptr;
  if (!m_oBlocks.bIsEmpty()) {
    poBlock = m_oBlocks.poRemoveHead();
    m_nQueuedBytes -= poBlock->nUsed;
  }
  Unlock(m_poBlockLock);
  return poBlock;
}

void CLuProfilingManager::WriteAndFreeBlock(SDataBlock* poBlock) {
  if (m_poFile == nullptr) m_poFile = new (std::nothrow) CLuFile;
  if (m_poFile != nullptr && !m_poFile->bIsOpen()) {
    CLuString strPath = strGetLogPath();
    strPath += kFileSuffix;
    m_poFile->bOpen(strPath, eAccessReadWrite, eCreateAlways, false);
  }
  // A file that could not be opened writes nothing; the block is dropped
  // all the same, so that memory does not fill up behind a broken path.
  if (m_poFile != nullptr && poBlock->nUsed > 0 &&
      m_poFile->ipWrite(poBlock->pbyData, poBlock->nUsed) == poBlock->nUsed)
    m_bWriteSucceeded = true;
  delete[] poBlock->pbyData;
  delete poBlock;
}

void CLuProfilingManager::ThreadFunction() {
  for (;;) {
    // Wait for a full batch, or for the request to stop.
    while (nGetQueuedBytes() < kWriteThreshold && !bStop && !bRestart)
      SleepOneMs();
    // Write at least what is queued now (a stop request: everything), so
    // that disk writes come in bursts of 10 MiB or more. Going back to the
    // wait after every single block would write 64 KiB pieces instead, each
    // as soon as the queue is back near 10 MiB.
    uint64_t n64Burst = nGetQueuedBytes();
    uint64_t n64Written = 0;
    do {
      SDataBlock* poBlock = poDetachFirstBlock();
      if (poBlock == nullptr) {
        if (bStop || bRestart) return;
        break;
      }
      n64Written += poBlock->nUsed;
      WriteAndFreeBlock(poBlock);
    } while (bStop || n64Written < n64Burst);
  }
}

uint32_t CLuProfilingManager::nGetQueuedBytes() const {
  Lock(m_poBlockLock);
  uint32_t nBytes = m_nQueuedBytes;
  Unlock(m_poBlockLock);
  return nBytes;
}

uint32_t CLuProfilingManager::nGetBlockCount() const {
  Lock(m_poBlockLock);
  uint32_t nCount = m_oBlocks.nGetCount();
  Unlock(m_poBlockLock);
  return nCount;
}

uint32_t CLuProfilingManager::nGetBlockUsedAt(uint32_t i) const {
  Lock(m_poBlockLock);
  SDataBlock const* poBlock = m_oBlocks.poGetAtIndex(i);
  uint32_t nUsed = poBlock != nullptr ? poBlock->nUsed : 0;
  Unlock(m_poBlockLock);
  return nUsed;
}

uint32_t CLuProfilingManager::nGetCodeLocationCount() const {
  Lock(m_poCodeLocationLock);
  uint32_t nCount = m_oCodeLocations.nGetCount();
  Unlock(m_poCodeLocationLock);
  return nCount;
}

char const* pszLuThreadName() {
  CLuProfilingManager* poManager = CLuProfilingManager::poGlobal();
  return poManager != nullptr ? poManager->pszThreadName() : nullptr;
}
