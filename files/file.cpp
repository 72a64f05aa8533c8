// File offsets are 64-bit on every target, the 32-bit one included.
#ifndef _FILE_OFFSET_BITS
#define _FILE_OFFSET_BITS 64
#endif

#include "files/file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

static_assert(sizeof(off_t) == 8, "file offsets must be 64-bit");

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
int (*CLuFile::m_pfnCloseHandle)(int iHandle) = ::close;

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
      m_bBlockSizeKnown(false),
      m_bPositioned(false),
      m_n64SeekBound(0),
      m_n64HandleOffset(0),
      m_bHandleOffsetKnown(false),
      m_n64Device(0),
      m_n64Inode(0),
      m_bIdentityKnown(false) {
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
  // Only Close of an open descriptor resets the position and the caches; an
  // object whose descriptor is already gone keeps them for the new opening.
  Close();
  // A path longer than the held buffer gets a buffer of its own size at
  // once, instead of the default one being grown by half first.
  if (strPath.nGetLength() >= m_strPath.nGetCapacity())
    m_strPath.Construct(strPath.nGetLength());
  m_strPath = strPath;

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
    // The uncached open failed: try once more through the cache.
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
    m_pfnCloseHandle(m_iHandle);
    m_iHandle = -1;
  }
  ForgetHandle();
  // The permission bits go with every open, not only read-write ones: a
  // create flag with read-only access would otherwise leave open reading a
  // mode argument that was never passed.
  int iHandle;
  do {
    iHandle =
        ::open(m_strPath.pszGetString(), static_cast<int>(m_nOpenFlags), 0644);
  } while (iHandle < 0 && errno == EINTR);
  m_iHandle = iHandle;
  // The descriptor's no-caching switch. Linux has no per-descriptor request,
  // so "on" asks the kernel to drop the file's cached pages (works on every
  // file system, tmpfs and procfs included, unlike O_DIRECT); later reads
  // still go through the cache but do not keep the pages of the earlier
  // ones. "Off" is what a fresh descriptor is anyway: no call.
  if (m_iHandle >= 0 && !bCached) {
    ::posix_fadvise(m_iHandle, 0, 0, POSIX_FADV_DONTNEED);
  }
  return m_iHandle >= 0;
}

void CLuFile::Close() {
  bClose();
}

bool CLuFile::bClose() {
  if (m_iHandle < 0) return true;
  // Never retried, not even after EINTR: Linux frees the descriptor anyway,
  // and a retry could close one another thread has just been given. An
  // interrupted close may not have flushed, so it counts as failed.
  bool const bClosed = m_pfnCloseHandle(m_iHandle) == 0;
  m_iHandle = -1;
  ForgetHandle();
  m_n64Position = 0;
  m_bPositionStale = false;
  m_bFileSizeKnown = false;
  m_bBlockSizeKnown = false;
  return bClosed;
}

void CLuFile::ForgetHandle() {
  // A new descriptor stands at offset 0; nothing is known about its file yet.
  m_bPositioned = false;
  m_n64SeekBound = 0;
  m_n64HandleOffset = 0;
  m_bHandleOffsetKnown = true;
  m_bIdentityKnown = false;
}

bool CLuFile::bStatHandle() const {
  struct stat oStat;
  if (m_iHandle < 0 || ::fstat(m_iHandle, &oStat) != 0) return false;
  m_n64Device = static_cast<uint64_t>(oStat.st_dev);
  m_n64Inode = static_cast<uint64_t>(oStat.st_ino);
  m_bIdentityKnown = true;
  if (m_bFileSizeKnown || !S_ISREG(oStat.st_mode) || oStat.st_size < 0)
    return true;
  // A regular file's size is the end a seek would find: the same query
  // answers the size, without moving the descriptor. The position is still
  // marked stale, as after that seek; re-establishing it within the file
  // costs no call.
  uint64_t const n64Size = static_cast<uint64_t>(oStat.st_size);
  m_bPositioned = true;
  if (n64Size > m_n64SeekBound) m_n64SeekBound = n64Size;
  m_n64FileSize = n64Size;
  m_bFileSizeKnown = true;
  m_bPositionStale = true;
  return true;
}

bool CLuFile::bGetFileIdentity(uint64_t* pn64Device,
                               uint64_t* pn64Inode) const {
  if (!m_bIdentityKnown && !bStatHandle()) return false;
  if (pn64Device != nullptr) *pn64Device = m_n64Device;
  if (pn64Inode != nullptr) *pn64Inode = m_n64Inode;
  return true;
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
  // Every system call is a round trip on network storage. On a regular file
  // a seek to a place within its size always lands there, so that seek is
  // only booked here and the next transfer goes positioned (pread/pwrite)
  // to the place: same bytes, same positions, one call less.
  if (m_iHandle >= 0 && m_bPositioned && m_n64Position <= m_n64SeekBound) {
    m_n64HandleOffset = m_n64Position;
    m_bHandleOffsetKnown = true;
    m_bPositionStale = false;
    return true;
  }
  off_t const iTarget = static_cast<off_t>(m_n64Position);
  // A closed descriptor cannot seek: the call would fail, so it is not made.
  off_t const iLanded =
      m_iHandle >= 0 ? ::lseek(m_iHandle, iTarget, SEEK_SET) : off_t(-1);
  if (iLanded >= 0) {
    m_n64HandleOffset = static_cast<uint64_t>(iLanded);
    m_bHandleOffsetKnown = true;
  }
  if (iLanded != iTarget) {
    // Landed elsewhere: that place is the position now. A failed seek
    // (a FIFO, a position past the largest offset) "lands" at -1, which
    // becomes 18446744073709551615. The position stays stale.
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
  // Positioned where the descriptor would stand, so no seek is needed first.
  bool const bPositioned = m_bPositioned && m_bHandleOffsetKnown;
  off_t const iAt = static_cast<off_t>(m_n64HandleOffset);
  ssize_t iGot;
  do {  // interrupted before any byte arrived: ask again
    iGot = bPositioned ? ::pread(m_iHandle, pBuffer, nLength, iAt)
                       : ::read(m_iHandle, pBuffer, nLength);
  } while (iGot < 0 && errno == EINTR);
  if (iGot <= 0) return 0;
  m_n64Position += static_cast<uint64_t>(iGot);
  m_n64HandleOffset += static_cast<uint64_t>(iGot);
  return static_cast<uint32_t>(iGot);
}

uint32_t CLuFile::ipWrite(const void* pBuffer, uint32_t nLength) {
  // Also in append mode the position is re-established first: a seek that
  // fails or lands elsewhere stops the write, whatever the flag would do.
  if (!bSyncPosition()) return 0;
  // Nothing to transfer (or no descriptor, where write would fail): no call.
  if (nLength == 0 || m_iHandle < 0) return 0;
  bool const bAppend = (m_nOpenFlags & O_APPEND) != 0;
  bool const bPositioned = !bAppend && m_bPositioned && m_bHandleOffsetKnown;
  off_t const iAt = static_cast<off_t>(m_n64HandleOffset);
  ssize_t iPut;
  do {  // interrupted before any byte went out: try again
    iPut = bPositioned ? ::pwrite(m_iHandle, pBuffer, nLength, iAt)
                       : ::write(m_iHandle, pBuffer, nLength);
  } while (iPut < 0 && errno == EINTR);
  if (iPut <= 0) return 0;
  uint32_t const nPut = static_cast<uint32_t>(iPut);
  // In append mode the bytes, and the descriptor, went to the end of the
  // file, wherever that is now; the position still only grows by the count,
  // so a read that follows without a seek reads at the end of the file. The
  // cached size is the one seen at the first query of this opening and is
  // not updated.
  m_n64Position += nPut;
  if (bAppend) {
    m_bHandleOffsetKnown = false;  // the descriptor itself knows
  } else {
    m_n64HandleOffset += nPut;
    if (bPositioned && m_n64HandleOffset > m_n64SeekBound)
      m_n64SeekBound = m_n64HandleOffset;  // the file has this size now
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
  return m_n64FileSize;
}

CLuString CLuFile::strFileName() const {
  return m_strPath;
}

void CLuFile::DetermineFileSize() const {
  if (m_bFileSizeKnown) return;
  // One seek to the end: the cheapest call that answers. A closed object
  // makes no call (it would fail); one that cannot seek (a FIFO) answers -1,
  // which is cached as 18446744073709551615 like any other answer.
  uint64_t const n64Before = m_n64HandleOffset;
  bool const bBeforeKnown = m_bHandleOffsetKnown;
  off_t const iEnd =
      m_iHandle >= 0 ? ::lseek(m_iHandle, 0, SEEK_END) : off_t(-1);
  m_n64FileSize = static_cast<uint64_t>(iEnd);
  if (iEnd >= 0) {
    uint64_t const n64End = static_cast<uint64_t>(iEnd);
    m_n64HandleOffset = n64End;
    m_bHandleOffsetKnown = true;
    // A seek that really moved the descriptor to the end of what it holds
    // (a file, a block device) lands exactly on any place up to there, so
    // positioned transfers may stand in for those seeks. One that stayed
    // where it was (an empty file, a device whose seek ignores its target)
    // proves nothing: there every seek is made.
    if (bBeforeKnown && n64End != n64Before) {
      m_bPositioned = true;
      if (n64End > m_n64SeekBound) m_n64SeekBound = n64End;
    }
  }
  m_bFileSizeKnown = true;
  m_bPositionStale = true;
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
  // Also an empty text goes through ipWrite, which re-establishes a stale
  // position; its 0 bytes count as all written.
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
  if (n == 0) {
    m_bHasData = true;  // an empty append still marks the queue
    return;
  }
  if (pBytes == nullptr) return;
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
  m_nCount = nLeft;  // the has-data flag stays as it is
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
