#pragma once
// File I/O: CLuFile, the framework's file object over POSIX descriptors, with
// its own 64-bit position, lazy seeking and optional uncached block reads;
// its bases CLuRunTimeTypeInfo (type identity without compiler RTTI) and
// CLuByteSink (anything bytes can be written to); CLuThreadSafeByteFifo, a
// growable byte queue guarded by a CLuMutex; CLuPosixFile, the owner of one
// standard-library stream.
//
// Builds on base/string.h (CLuString), system/thread.h (CLuMutex) and
// system/timer.h (CLuTimer). Errors are results: nothing here throws or
// prints. Transfers report byte counts (0 on failure), opens report false.
//
// Every system call is a round trip on network storage, so the object keeps
// its books instead of asking: once the size query (one seek to the end)
// has shown that the descriptor seeks, a position within the file is
// reached by a positioned transfer (pread/pwrite) instead of a seek followed
// by the transfer. Reading a header costs open, seek, read, close; appending
// one after it costs open, seek, read, write, close. Positions, stale flags
// and landing places behave exactly as if every seek had been made.
//
// Linux has no per-descriptor no-caching switch. Turning it on for an
// uncached descriptor asks the kernel to drop the file's cached pages
// (posix_fadvise DONTNEED), which every file system accepts, tmpfs and procfs
// included; turning it off on a fresh descriptor changes nothing and makes no
// call.

#include <cstdint>
#include <cstdio>

#include "base/string.h"
#include "system/thread.h"
#include "system/timer.h"

// How bOpen opens a file. Any value other than eAccessReadWrite reads only.
enum ELuFileAccess {
  eAccessRead = 0,
  eAccessReadWrite = 1,
};

// eOpenExisting: the file must exist; with eAccessReadWrite the file is
// opened for appending (see CLuFile::bOpen). eCreateAlways: create the file,
// or truncate it when it exists. Any other value adds no flag.
enum ELuFileCreate {
  eOpenExisting = 0,
  eCreateAlways = 1,
};

// Origin of CLuFile::n64Seek. Unknown values count as eSeekBegin.
enum ELuSeekMode {
  eSeekBegin = 0,
  eSeekCurrent = 1,
  eSeekEnd = 2,
};

// Root of the framework's object tree: every object carries the list of the
// type identifiers of its class and of each base class, outermost first, so
// code can ask "is this a (kind of) X" without the compiler's type info.
// Each class has a static nTypeID() assigned on first use from one
// process-wide counter.
class CLuRunTimeTypeInfo {
 public:
  // At most this many identifiers are kept per object.
  static constexpr uint32_t kMaxTypeIDs = 8;

  // Records CLuRunTimeTypeInfo::nTypeID() as the object's first identifier.
  CLuRunTimeTypeInfo();
  virtual ~CLuRunTimeTypeInfo();

  // Next identifier of the process-wide counter: returns the old value
  // (0 at the first call) and adds one, atomically. Safe across threads.
  static uint32_t nNextTypeID();
  // This class's identifier, assigned once on first use (thread-safe).
  static uint32_t nTypeID();

  // True when nID is among the object's identifiers, that is when the object
  // is of the class with that identifier or derived from it.
  bool bIsKindOf(uint32_t nID) const;
  // Number of identifiers recorded (3 for a CLuFile).
  uint32_t nGetTypeIDCount() const { return m_nTypeIDCount; }
  // Identifier at index i (0 = root); 4294967295 when i is not below the
  // count.
  uint32_t nGetTypeIDAt(uint32_t i) const;

 protected:
  // Appends nID (each constructor level calls it once). Returns false, and
  // changes nothing, when the list already holds kMaxTypeIDs identifiers.
  bool bAddTypeID(uint32_t nID);

 private:
  uint32_t m_anTypeIDs[kMaxTypeIDs];
  uint32_t m_nTypeIDCount;
};

// Abstract base of anything bytes can be written to.
class CLuByteSink : public CLuRunTimeTypeInfo {
 public:
  // Records CLuByteSink::nTypeID() after the root's identifier.
  CLuByteSink();
  ~CLuByteSink() override;

  static uint32_t nTypeID();

  // Writes nLength bytes from pBuffer; returns the count written (0 on
  // failure; short counts are possible).
  virtual uint32_t ipWrite(const void* pBuffer, uint32_t nLength) = 0;
  // Name of the destination; the plain sink has none (empty string).
  virtual CLuString strFileName() const;
};

// The file object. Opens lazily in one of two caching modes, keeps its own
// position (a seek costs no system call: the next transfer re-establishes
// the descriptor's offset once, and only when it is stale) and can read
// uncached when buffer address, length and position are all multiples of the
// block size. One thread at a time; no lock.
class CLuFile : public CLuByteSink {
 public:
  // Uncached reads are split into operating-system calls of this size.
  static constexpr uint32_t kDirectChunkSize = 16777216;  // 16 MiB
  // The block size of every file; no device query is made.
  static constexpr uint32_t kHDBlockSize = 8192;

  // The enumerators are reachable through the class as well.
  static constexpr ELuFileAccess eAccessRead = ::eAccessRead;
  static constexpr ELuFileAccess eAccessReadWrite = ::eAccessReadWrite;
  static constexpr ELuFileCreate eOpenExisting = ::eOpenExisting;
  static constexpr ELuFileCreate eCreateAlways = ::eCreateAlways;
  static constexpr ELuSeekMode eSeekBegin = ::eSeekBegin;
  static constexpr ELuSeekMode eSeekCurrent = ::eSeekCurrent;
  static constexpr ELuSeekMode eSeekEnd = ::eSeekEnd;

  // Switches uncached reads on for the whole process (bOpen reads it). On by
  // default, so a caller that asks for direct I/O gets it.
  static bool m_bDirectIOEnabled;

  // Closed file: descriptor -1, every position, size and flag zero, empty
  // path.
  CLuFile();
  // Closes the descriptor.
  ~CLuFile() override;
  CLuFile(CLuFile const&) = delete;
  CLuFile& operator=(CLuFile const&) = delete;

  static uint32_t nTypeID();

  // Closes any open descriptor and opens strPath. Read-write access with
  // eOpenExisting opens in append mode: every write lands at the end of the
  // file whatever position was sought (deliberate: a patched header never
  // overwrites the original), and the position starts at the file size.
  // eCreateAlways creates the file with permission bits 0644 (less the
  // umask) or truncates it. With bAllowDirectIO, m_bDirectIOEnabled and read
  // access the file is opened uncached and bIsDirectIO() is true; if that
  // open fails, one cached attempt follows. Files are opened non-blocking, so
  // a FIFO without a writer never hangs the call (regular files are
  // unaffected). Returns false, leaving the descriptor closed, when the file
  // cannot be opened. Position and caches are reset only by closing an open
  // descriptor: an object whose descriptor is already gone (a failed reopen)
  // keeps them.
  bool bOpen(CLuString const& strPath, ELuFileAccess eAccess,
             ELuFileCreate eCreate, bool bAllowDirectIO);
  // Makes sure a descriptor of the requested caching mode is open; switching
  // modes closes and reopens the stored path (never truncating or creating
  // it again) and marks the position stale when it is not 0. Returns whether
  // a descriptor is open afterwards; false leaves the object closed.
  bool bOpenHandle(bool bCached);
  // True while a descriptor is open.
  bool bIsOpen() const { return m_iHandle >= 0; }
  // Closes an open descriptor and clears the position, the stale flag and the
  // size and block-size caches. A closed file is left as it is; the path
  // stays (a later read reopens it lazily, as a mode switch would).
  void Close();
  // Close that tells whether the system's close succeeded: false when it
  // reported an error, true otherwise (also when nothing was open). Network
  // file systems report deferred write errors only at close, so a writer
  // that must know its bytes arrived checks this. The descriptor is gone
  // either way: close is never retried (Linux frees the descriptor even when
  // close fails or is interrupted).
  bool bClose();
  // The call every close goes through (::close). Tests put in one that fails
  // to stand for a file system that reports a write error at close.
  static int (*m_pfnCloseHandle)(int iHandle);

  // Reads up to nLength bytes into pBuffer at the object's position and
  // advances the position by the count. Uses uncached reads in direct-I/O
  // mode when pBuffer, nLength and the position are block-aligned, cached
  // reads otherwise. Returns the count (0 at end of file, on error, or for
  // nLength 0, which touches nothing).
  uint32_t ipRead(void* pBuffer, uint32_t nLength);
  // Read step in a given caching mode (see ipRead). Uncached reads go in
  // 16 MiB calls; when one of them yields nothing the total so far is
  // returned and the position is advanced by that total a second time (a
  // kept quirk: the position then runs ahead of the descriptor). A stale
  // position is re-established first; if the seek lands elsewhere the
  // landing place becomes the position (a failed seek lands at -1, that is
  // 18446744073709551615) and 0 is returned.
  uint32_t ipDoRead(void* pBuffer, uint32_t nLength, bool bCached);
  // One operating-system read from the descriptor as it stands; adds the
  // count to the position. Returns the count, 0 on error (position kept).
  uint32_t nDoReadBlock(void* pBuffer, uint32_t nLength);

  // Writes nLength bytes at the object's position (re-establishing a stale
  // one first, as ipDoRead does) with one operating-system write. In append
  // mode the bytes land at the end of the file, and so does the descriptor,
  // while the position only grows by the count: a read that follows without
  // a seek reads at the end of the file. Returns the count; 0 on error, for
  // nLength 0 or when closed (position kept, unless the seek moved it).
  // Never changes the caching mode; never updates the cached size.
  uint32_t ipWrite(const void* pBuffer, uint32_t nLength) override;
  // Moves the object's position without a system call: to n64Offset
  // (eSeekBegin, unknown modes), position + n64Offset (eSeekCurrent; the
  // addition wraps, so a negative offset cast to 64 bits moves back) or
  // size + n64Offset (eSeekEnd). In direct-I/O mode an offset that is not a
  // multiple of the block size is refused. Returns the resulting position
  // (the unchanged one when refused).
  virtual uint64_t n64Seek(uint64_t n64Offset, ELuSeekMode eMode);
  // The position the next transfer starts at, in bytes.
  virtual uint64_t n64GetPosition() const { return m_n64Position; }
  // File size in bytes (DetermineFileSize), as seen at the first query of
  // the opening; 18446744073709551615 when the descriptor cannot seek (FIFO)
  // or is closed.
  virtual uint64_t n64GetSize() const;
  // The path given to bOpen.
  CLuString strFileName() const override;

  // Asks the operating system for the file size once per opening with a
  // 64-bit seek to the end, marks the position stale and caches the answer,
  // -1 included; writes do not update it. When bGetFileIdentity came first,
  // its status query already gave a regular file's size: no further call.
  void DetermineFileSize() const;
  // Fixes the block size at 8192 bytes, once per opening.
  void DetermineHDBlockSize() const;
  // Block size in bytes (8192), through DetermineHDBlockSize.
  uint32_t nGetHDBlockSize() const;
  // True when bOpen enabled uncached reads for this file.
  bool bIsDirectIO() const { return m_bDirectIO; }
  // The caching mode the current descriptor was opened in (true: cached).
  bool bIsHandleCached() const { return m_bHandleCached; }
  // Device and inode number of the open file, which tell hard links of one
  // file apart from different files. One status query, cached for the
  // descriptor; asked before the size, the same query gives a regular file's
  // size too (see DetermineFileSize), so size and identity together cost one
  // call. Returns false, leaving the outputs untouched, when no descriptor is
  // open or the query failed. Either output may be null.
  bool bGetFileIdentity(uint64_t* pn64Device, uint64_t* pn64Inode) const;
  // The descriptor, -1 while closed. The object keeps owning it.
  int32_t iGetHandle() const { return m_iHandle; }

  // In direct-I/O mode, p rounded up to the next multiple of the block size
  // (p itself when aligned); otherwise p. Callers allocate one extra block.
  unsigned char* pbyAlignBuffer(unsigned char* p) const;
  unsigned char const* pbyAlignBuffer(unsigned char const* p) const;

  // Pads the file with zero bytes to a whole number of blocks (unit: the
  // block size, at least 8192) by writing at the end. True when the size
  // already was a multiple or all padding bytes were written; false when the
  // write fell short or the padding could not be allocated.
  bool bAlign();
  // Writes strText (plus "\n" when bAddNewline) with line ends normalised to
  // LF through ipWrite. True when every byte was written (an empty text is
  // written trivially, after ipWrite re-established a stale position).
  bool bWriteString(CLuString const& strText, bool bAddNewline);
  // Reads one line a byte at a time into *pstrText (emptied first; null
  // discards the line). CR bytes are skipped; LF ends the line and is kept
  // unless bDropNewline. Returns false only when not even one byte could be
  // read (end of file); a last line without LF returns true.
  bool bReadString(CLuString* pstrText, bool bDropNewline);

 private:
  // Re-establishes the descriptor's offset when the position is stale.
  // Returns false, transferring nothing, when the seek landed elsewhere or
  // failed (the landing place, -1 for a failure, becomes the position).
  bool bSyncPosition();
  // Resets what is known about the descriptor: a new one stands at 0.
  void ForgetHandle();
  // One status query of the descriptor. Records its identity and, for a
  // regular file whose size is not known yet, fills the size cache as
  // DetermineFileSize would. False when the query failed.
  bool bStatHandle() const;

  CLuTimer m_oTimer;  // carried by every file; no file operation uses it
  int32_t m_iHandle;
  bool m_bDirectIO;
  uint64_t m_n64Position;
  mutable bool m_bPositionStale;  // the size query moves the descriptor
  CLuString m_strPath;
  bool m_bHandleCached;
  uint32_t m_nOpenFlags;
  mutable uint64_t m_n64FileSize;
  mutable bool m_bFileSizeKnown;
  mutable uint32_t m_nBlockSize;
  mutable bool m_bBlockSizeKnown;
  // The books on the descriptor. m_n64HandleOffset is where it stands for
  // this object's transfers (a positioned transfer goes there); when not
  // known the descriptor itself holds it (after an append) and transfers
  // are plain. Positioned transfers and booked seeks only on a descriptor
  // known to seek exactly (m_bPositioned: a regular file, or one the size
  // seek moved) and only up to a size it had (m_n64SeekBound).
  mutable bool m_bPositioned;
  mutable uint64_t m_n64SeekBound;
  mutable uint64_t m_n64HandleOffset;
  mutable bool m_bHandleOffsetKnown;
  mutable uint64_t m_n64Device;
  mutable uint64_t m_n64Inode;
  mutable bool m_bIdentityKnown;
};

// Growable byte queue guarded by a CLuMutex. The Do... operations assume the
// caller holds the lock (poGetLock()); Append and Remove take it themselves.
// Bytes beyond the count always hold 0xFC, so stale data never lingers.
class CLuThreadSafeByteFifo {
 public:
  static constexpr uint32_t kInitialCapacity = 4096;
  static constexpr uint32_t kGrowthUnit = 512;
  static constexpr unsigned char kFillByte = 0xFC;

  // Empty queue with a 4096-byte buffer (capacity 0 if that allocation
  // fails; the first append then tries again).
  CLuThreadSafeByteFifo();
  // Takes the lock (waiting without limit), frees the buffer, releases it.
  virtual ~CLuThreadSafeByteFifo();
  CLuThreadSafeByteFifo(CLuThreadSafeByteFifo const&) = delete;
  CLuThreadSafeByteFifo& operator=(CLuThreadSafeByteFifo const&) = delete;

  // Appends n bytes from pBytes (caller holds the lock). When count + n
  // exceeds the capacity the buffer grows to count + n rounded up to a
  // multiple of 512. Sets the has-data flag (also for n 0). If growing fails
  // (or count + n would pass 4294967295, or pBytes is null) nothing is
  // appended and the queue is unchanged.
  void DoAppend(void const* pBytes, uint32_t n);
  // Removes min(n, count) bytes from the front (caller holds the lock) and
  // fills the freed tail with 0xFC. The has-data flag is left alone.
  void DoRemove(uint32_t n);
  // DoAppend and DoRemove under the lock (waiting without limit).
  void Append(void const* pBytes, uint32_t n);
  void Remove(uint32_t n);

  // Byte at index i, 0 when i is not below the count.
  unsigned char byGetValueAt(uint32_t i) const;
  uint32_t nGetCount() const { return m_nCount; }
  uint32_t nGetCapacity() const { return m_nCapacity; }
  // True once anything was appended; removing bytes never clears it.
  bool bHasData() const { return m_bHasData; }
  // The held bytes (nGetCount() of them); null only when no buffer exists.
  unsigned char const* pbyGetData() const { return m_pbyBuffer; }
  // The lock callers hold around the Do... operations.
  CLuMutex* poGetLock() { return &m_oLock; }

 private:
  CLuMutex m_oLock;
  bool m_bHasData;
  unsigned char* m_pbyBuffer;
  uint32_t m_nCapacity;
  uint32_t m_nCount;
};

// Owner of one standard-library stream: closes it on destruction.
class CLuPosixFile {
 public:
  // Takes ownership of poStream (may be null).
  explicit CLuPosixFile(FILE* poStream = nullptr);
  // Closes the held stream, if any, and forgets it.
  virtual ~CLuPosixFile();
  CLuPosixFile(CLuPosixFile const&) = delete;
  CLuPosixFile& operator=(CLuPosixFile const&) = delete;

  // Closes the held stream, then opens strPath with fopen mode pszMode.
  // Returns whether a stream is held afterwards.
  bool bOpen(CLuString const& strPath, char const* pszMode);
  // Closes the held stream (if any); true when there was none or fclose
  // succeeded.
  bool bClose();
  // The held stream (null when none); the object keeps owning it.
  FILE* poGetStream() const { return m_poStream; }
  // Gives the stream up without closing it; the caller owns the result.
  FILE* poDetach();

 private:
  FILE* m_poStream;
};
