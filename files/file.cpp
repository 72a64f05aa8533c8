#include "files/file.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

// ---------------------------------------------------------------------------
// Type identifiers

namespace {
// Constant-initialised, so it is ready even for static initialisers of other
// translation units.
std::atomic<uint32_t> g_nNextTypeID{0};
}  // namespace

CLuRunTimeTypeInfo::CLuRunTimeTypeInfo() : m_anTypeIDs{}, m_nTypeIDCount(0) {
  bAddTypeID(CLuRunTimeTypeInfo::nTypeID());
}

CLuRunTimeTypeInfo::~CLuRunTimeTypeInfo() = default;

uint32_t CLuRunTimeTypeInfo::nNextTypeID() {
  return g_nNextTypeID.fetch_add(1);
}

// Each nTypeID() holds its identifier in a function-local static: the
// language guarantees the initialisation runs once even when threads race.
uint32_t CLuRunTimeTypeInfo::nTypeID() {
  static uint32_t const s_nID = nNextTypeID();
  return s_nID;
}

bool CLuRunTimeTypeInfo::bIsKindOf(uint32_t nID) const {
  for (uint32_t i = 0; i < m_nTypeIDCount; ++i) {
    if (m_anTypeIDs[i] == nID) return true;
  }
  return false;
}

uint32_t CLuRunTimeTypeInfo::nGetTypeIDAt(uint32_t i) const {
  return i < m_nTypeIDCount ? m_anTypeIDs[i] : 4294967295u;
}

bool CLuRunTimeTypeInfo::bAddTypeID(uint32_t nID) {
  if (m_nTypeIDCount >= kMaxTypeIDs) return false;
  m_anTypeIDs[m_nTypeIDCount++] = nID;
  return true;
}

CLuByteSink::CLuByteSink() {
  bAddTypeID(CLuByteSink::nTypeID());
}

CLuByteSink::~CLuByteSink() = default;

uint32_t CLuByteSink::nTypeID() {
  static uint32_t const s_nID = nNextTypeID();
  return s_nID;
}

CLuString CLuByteSink::strFileName() const {
  return CLuString();
}

// ---------------------------------------------------------------------------
// CLuFile

bool CLuFile::m_bDirectIOEnabled = true;

namespace {
// Flags added to every open. Non-blocking: opening a FIFO without a writer
// (or a terminal) must never hang; regular files and block devices ignore
// the flag. Close-on-exec: descriptors never leak into child processes.
constexpr int kAlwaysFlags = O_NONBLOCK | O_CLOEXEC;
// Flags that only make sense for the first open of a bOpen: a reopen for the
// other caching mode must never truncate the file or create a deleted one.
constexpr int kFirstOpenOnlyFlags = O_CREAT | O_TRUNC;
}  // namespace

CLuFile::CLuFile()
    : m_iHandle(-1),
      m_bDirectIO(false),
      m_n64Position(0),
      m_bPositionStale(false),
      m_bHandleCached(false),
      m_nOpenFlags(0),
      m_n64FileSize(0),
      m_bFileSizeKnown(false),
      m_nBlockSize(0),
      m_bBlockSizeKnown(false) {
  bAddTypeID(CLuFile::nTypeID());
}

CLuFile::~CLuFile() {
  Close();
}

uint32_t CLuFile::nTypeID() {
  static uint32_t const s_nID = nNextTypeID();
  return s_nID;
}

bool CLuFile::bOpen(CLuString const& strPath, ELuFileAccess eAccess,
                    ELuFileCreate eCreate, bool bAllowDirectIO) {
  Close();
  m_strPath = strPath;
  // A fresh opening: forget what a previous object life (or a reopen that
  // failed, which Close does not see) left behind.
  m_n64Position = 0;
  m_bPositionStale = false;
  m_bFileSizeKnown = false;
  m_bBlockSizeKnown = false;

  m_bDirectIO = false;
  int iFlags = (eAccess == eAccessReadWrite) ? O_RDWR : O_RDONLY;
  if (eCreate == eCreateAlways) {
    iFlags |= O_CREAT | O_TRUNC;
  } else if (eCreate == eOpenExisting && eAccess == eAccessReadWrite) {
    // Append mode is deliberate: the system places every write at the end of
    // the file, so a file opened this way can be read anywhere but only
    // grows when written; a patched header never overwrites the original.
    iFlags |= O_APPEND;
  }
  m_nOpenFlags = static_cast<uint32_t>(iFlags | kAlwaysFlags);

  if (bAllowDirectIO && m_bDirectIOEnabled && eAccess == eAccessRead) {
    m_bDirectIO = true;
  }

  bool bOpened = bOpenHandle(!m_bDirectIO);
  if (!bOpened && m_bDirectIO) {
    // The uncached open was refused (file systems without direct I/O, such
    // as procfs, or tmpfs before Linux 6.6, answer EINVAL to O_DIRECT): read
    // this file through the cache instead.
    m_bDirectIO = false;
    bOpened = bOpenHandle(true);
  }
  if (!bOpened) return false;
  m_nOpenFlags &= ~static_cast<uint32_t>(kFirstOpenOnlyFlags);

  if (eAccess == eAccessReadWrite && eCreate == eOpenExisting) {
    n64Seek(0, eSeekEnd);
  }
  return true;
}

bool CLuFile::bOpenHandle(bool bCached) {
  if (m_iHandle >= 0 && m_bHandleCached == bCached) return true;

  // The new descriptor starts at offset 0; the object's position survives.
  if (m_n64Position != 0) m_bPositionStale = true;
  m_bHandleCached = bCached;

  if (m_iHandle >= 0) {
    ::close(m_iHandle);
    m_iHandle = -1;
  }
  int iFlags = static_cast<int>(m_nOpenFlags);
  // The descriptor's no-caching switch: on Linux the per-descriptor request
  // is the O_DIRECT open flag, so uncached mode is requested by the open
  // itself. Cached mode is what a new descriptor has anyway: no call at all.
  if (!bCached) iFlags |= O_DIRECT;
  int iHandle;
  do {
    iHandle = ::open(m_strPath.pszGetString(), iFlags, 0644);
  } while (iHandle < 0 && errno == EINTR);
  m_iHandle = iHandle;
  return m_iHandle >= 0;
}

void CLuFile::Close() {
  if (m_iHandle < 0) return;
  ::close(m_iHandle);  // never retried: Linux frees the descriptor anyway
  m_iHandle = -1;
  m_n64Position = 0;
  m_bPositionStale = false;
  m_bFileSizeKnown = false;
  m_bBlockSizeKnown = false;
}

uint32_t CLuFile::ipRead(void* pBuffer, uint32_t nLength) {
  if (nLength == 0) return 0;
  if (m_bDirectIO) {
    uint32_t const nBlock = nGetHDBlockSize();
    if (reinterpret_cast<uintptr_t>(pBuffer) % nBlock == 0 &&
        nLength % nBlock == 0 && m_n64Position % nBlock == 0) {
      return ipDoRead(pBuffer, nLength, false);
    }
  }
  return ipDoRead(pBuffer, nLength, true);
}

bool CLuFile::bSyncPosition() {
  if (!m_bPositionStale) return true;
  off_t const iTarget = static_cast<off_t>(m_n64Position);
  off_t const iLanded = ::lseek(m_iHandle, iTarget, SEEK_SET);
  // A failed seek (a FIFO, a position past the largest offset) moved
  // nothing: keep the position and try again before the next transfer.
  if (iLanded < 0) return false;
  if (iLanded != iTarget) {
    m_n64Position = static_cast<uint64_t>(iLanded);
    return false;
  }
  m_bPositionStale = false;
  return true;
}

uint32_t CLuFile::ipDoRead(void* pBuffer, uint32_t nLength, bool bCached) {
  if (!bOpenHandle(bCached)) return 0;
  if (!bSyncPosition()) return 0;
  if (bCached) return nDoReadBlock(pBuffer, nLength);

  unsigned char* pby = static_cast<unsigned char*>(pBuffer);
  uint32_t nTotal = 0;
  uint32_t const nChunks = nLength / kDirectChunkSize;
  uint32_t const nRest = nLength % kDirectChunkSize;
  for (uint32_t i = 0; i <= nChunks; ++i) {
    uint32_t const nWant = (i < nChunks) ? kDirectChunkSize : nRest;
    if (nWant == 0) break;
    // The buffer advances by what arrived, so the bytes stay contiguous even
    // after a short chunk; each call stays within the caller's length.
    uint32_t const nGot = nDoReadBlock(pby + nTotal, nWant);
    if (nGot == 0) {
      // Kept quirk: the position is advanced by the total once more, on top
      // of what the calls added, and runs ahead of the descriptor.
      m_n64Position += nTotal;
      return nTotal;
    }
    nTotal += nGot;
  }
  return nTotal;
}

uint32_t CLuFile::nDoReadBlock(void* pBuffer, uint32_t nLength) {
  if (m_iHandle < 0) return 0;
  ssize_t iGot;
  do {
    iGot = ::read(m_iHandle, pBuffer, nLength);
  } while (iGot < 0 && errno == EINTR);
  if (iGot <= 0) return 0;
  m_n64Position += static_cast<uint64_t>(iGot);
  return static_cast<uint32_t>(iGot);
}

uint32_t CLuFile::ipWrite(const void* pBuffer, uint32_t nLength) {
  if (nLength == 0 || m_iHandle < 0) return 0;
  bool const bAppend = (m_nOpenFlags & O_APPEND) != 0;
  // In append mode the system puts the bytes at the end of the file whatever
  // the descriptor's offset, so re-establishing a stale position first would
  // be a wasted call; the flag stays set for the next read.
  if (!bAppend && !bSyncPosition()) return 0;
  ssize_t iPut;
  do {
    iPut = ::write(m_iHandle, pBuffer, nLength);
  } while (iPut < 0 && errno == EINTR);
  if (iPut <= 0) return 0;
  uint32_t const nPut = static_cast<uint32_t>(iPut);
  m_n64Position += nPut;
  if (bAppend) {
    // The bytes went to the end of the file, and so did the descriptor; the
    // object's position stays the reader's, so the next transfer seeks.
    m_bPositionStale = true;
    if (m_bFileSizeKnown) m_n64FileSize += nPut;
  } else if (m_bFileSizeKnown && m_n64Position > m_n64FileSize) {
    m_n64FileSize = m_n64Position;
  }
  return nPut;
}

uint64_t CLuFile::n64Seek(uint64_t n64Offset, ELuSeekMode eMode) {
  if (m_bDirectIO && n64Offset % nGetHDBlockSize() != 0) return m_n64Position;
  uint64_t n64Target;
  switch (eMode) {
    case eSeekCurrent:
      n64Target = m_n64Position + n64Offset;
      break;
    case eSeekEnd:
      n64Target = n64GetSize() + n64Offset;
      break;
    case eSeekBegin:
    default:
      n64Target = n64Offset;
      break;
  }
  if (n64Target != m_n64Position) {
    m_n64Position = n64Target;
    m_bPositionStale = true;
  }
  return m_n64Position;
}

uint64_t CLuFile::n64GetSize() const {
  DetermineFileSize();
  return m_bFileSizeKnown ? m_n64FileSize : 0;
}

CLuString CLuFile::strFileName() const {
  return m_strPath;
}

void CLuFile::DetermineFileSize() const {
  if (m_bFileSizeKnown || m_iHandle < 0) return;
  off_t const iEnd = ::lseek(m_iHandle, 0, SEEK_END);
  if (iEnd < 0) {
    // FIFOs and some devices have no end to seek to; the descriptor did not
    // move, so the position is not stale.
    m_n64FileSize = 0;
  } else {
    m_n64FileSize = static_cast<uint64_t>(iEnd);
    m_bPositionStale = true;
  }
  m_bFileSizeKnown = true;
}

void CLuFile::DetermineHDBlockSize() const {
  if (m_bBlockSizeKnown) return;
  m_nBlockSize = kHDBlockSize;
  m_bBlockSizeKnown = true;
}

uint32_t CLuFile::nGetHDBlockSize() const {
  DetermineHDBlockSize();
  return m_nBlockSize;
}

unsigned char* CLuFile::pbyAlignBuffer(unsigned char* p) const {
  if (!m_bDirectIO) return p;
  uintptr_t const nBlock = nGetHDBlockSize();
  uintptr_t const nAddress = reinterpret_cast<uintptr_t>(p);
  uintptr_t const nRest = nAddress % nBlock;
  return nRest == 0 ? p : p + (nBlock - nRest);
}

unsigned char const* CLuFile::pbyAlignBuffer(unsigned char const* p) const {
  return pbyAlignBuffer(const_cast<unsigned char*>(p));
}

bool CLuFile::bAlign() {
  uint32_t const nBlock = nGetHDBlockSize();
  uint64_t const n64Unit = nBlock >= kHDBlockSize ? nBlock : kHDBlockSize;
  uint64_t const n64End = n64Seek(0, eSeekEnd);
  uint64_t const n64Rest = n64End % n64Unit;
  if (n64Rest == 0) return true;
  uint32_t const nMissing = static_cast<uint32_t>(n64Unit - n64Rest);
  void* pZeros = std::calloc(nMissing, 1);
  if (pZeros == nullptr) return false;
  uint32_t const nPut = ipWrite(pZeros, nMissing);
  std::free(pZeros);
  return nPut == nMissing;
}

bool CLuFile::bWriteString(CLuString const& strText, bool bAddNewline) {
  CLuString strOut(strText);
  if (bAddNewline) strOut += "\n";
  // Files always get LF line ends (the string class's mode 1).
  strOut.NormalizeLineEnds(CLuString::eLineEndsLF);
  uint32_t const nLength = strOut.nGetLength();
  if (nLength == 0) return true;
  return ipWrite(strOut.pszGetString(), nLength) == nLength;
}

bool CLuFile::bReadString(CLuString* pstrText, bool bDropNewline) {
  CLuString strDiscard;
  CLuString* pstr = pstrText != nullptr ? pstrText : &strDiscard;
  pstr->Empty();
  bool bFirst = true;
  for (;;) {
    char c;
    if (ipRead(&c, 1) != 1) return !bFirst;
    bFirst = false;
    if (c == 13) continue;
    if (c == 10) {
      if (!bDropNewline) *pstr += c;
      return true;
    }
    *pstr += c;
  }
}

// ---------------------------------------------------------------------------
// CLuThreadSafeByteFifo

namespace {
constexpr uint32_t kWaitForever = 4294967295u;
}  // namespace

CLuThreadSafeByteFifo::CLuThreadSafeByteFifo()
    : m_bHasData(false), m_pbyBuffer(nullptr), m_nCapacity(0), m_nCount(0) {
  m_pbyBuffer = new (std::nothrow) unsigned char[kInitialCapacity];
  if (m_pbyBuffer != nullptr) {
    m_nCapacity = kInitialCapacity;
    std::memset(m_pbyBuffer, kFillByte, m_nCapacity);
  }
}

CLuThreadSafeByteFifo::~CLuThreadSafeByteFifo() {
  m_oLock.bAcquire(kWaitForever);
  delete[] m_pbyBuffer;
  m_pbyBuffer = nullptr;
  m_oLock.Release();
}

void CLuThreadSafeByteFifo::DoAppend(void const* pBytes, uint32_t n) {
  if (n == 0 || pBytes == nullptr) return;
  if (n > 4294967295u - m_nCount) return;
  uint32_t const nNeeded = m_nCount + n;
  if (nNeeded > m_nCapacity) {
    uint64_t const n64Rounded =
        (uint64_t{nNeeded} + kGrowthUnit - 1) / kGrowthUnit * kGrowthUnit;
    if (n64Rounded > 4294967295u) return;
    uint32_t const nNewCapacity = static_cast<uint32_t>(n64Rounded);
    unsigned char* pbyNew = new (std::nothrow) unsigned char[nNewCapacity];
    if (pbyNew == nullptr) return;
    if (m_nCount != 0) std::memcpy(pbyNew, m_pbyBuffer, m_nCount);
    std::memcpy(pbyNew + m_nCount, pBytes, n);
    std::memset(pbyNew + nNeeded, kFillByte, nNewCapacity - nNeeded);
    // The old buffer goes only now: pBytes may point into it (a queue
    // appending its own bytes).
    delete[] m_pbyBuffer;
    m_pbyBuffer = pbyNew;
    m_nCapacity = nNewCapacity;
  } else {
    std::memcpy(m_pbyBuffer + m_nCount, pBytes, n);
  }
  m_nCount = nNeeded;
  m_bHasData = true;
}

void CLuThreadSafeByteFifo::DoRemove(uint32_t n) {
  uint32_t const nGone = n < m_nCount ? n : m_nCount;
  if (nGone == 0) return;
  uint32_t const nLeft = m_nCount - nGone;
  std::memmove(m_pbyBuffer, m_pbyBuffer + nGone, nLeft);
  std::memset(m_pbyBuffer + nLeft, kFillByte, m_nCapacity - nLeft);
  m_nCount = nLeft;
  if (m_nCount == 0) m_bHasData = false;
}

void CLuThreadSafeByteFifo::Append(void const* pBytes, uint32_t n) {
  m_oLock.bAcquire(kWaitForever);
  DoAppend(pBytes, n);
  m_oLock.Release();
}

void CLuThreadSafeByteFifo::Remove(uint32_t n) {
  m_oLock.bAcquire(kWaitForever);
  DoRemove(n);
  m_oLock.Release();
}

unsigned char CLuThreadSafeByteFifo::byGetValueAt(uint32_t i) const {
  return i < m_nCount ? m_pbyBuffer[i] : 0;
}

// ---------------------------------------------------------------------------
// CLuPosixFile

CLuPosixFile::CLuPosixFile(FILE* poStream) : m_poStream(poStream) {}

CLuPosixFile::~CLuPosixFile() {
  bClose();
}

bool CLuPosixFile::bOpen(CLuString const& strPath, char const* pszMode) {
  bClose();
  if (pszMode == nullptr) return false;
  m_poStream = std::fopen(strPath.pszGetString(), pszMode);
  return m_poStream != nullptr;
}

bool CLuPosixFile::bClose() {
  if (m_poStream == nullptr) return true;
  int const iResult = std::fclose(m_poStream);
  m_poStream = nullptr;
  return iResult == 0;
}

FILE* CLuPosixFile::poDetach() {
  FILE* poStream = m_poStream;
  m_poStream = nullptr;
  return poStream;
}
