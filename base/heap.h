// The framework's heap: the replaced global allocation operators and
// CLuHeap, the process-wide heap object with its block cache.
//
// The global operators. base/heap.cpp replaces every standard form of the
// global scalar and array allocation and release operators: plain, nothrow,
// sized release, and the aligned forms (std::align_val_t) with and without
// nothrow. Allocation asks the system allocator first (malloc; the aligned
// forms posix_memalign) with no locking and no bookkeeping; only when that
// yields null does it take the global heap's mutex and call pInternalAlloc
// (or pInternalAllocAligned), which drops cached memory and asks again up to
// five times. After six failures in a row the result is null: every form
// may return null, the throwing forms included. Code that absorbs a failed
// allocation therefore allocates with the non-throwing forms (new
// (std::nothrow) T), which take this same path and for which a null result
// runs no constructor, whatever the compiler. Every release form calls free
// (null allowed), which matches every allocation form above, and
// pLuResizeAllocation (base/containers.h) resizes such a block through the
// same failure path.
//
// CLuHeap also keeps a block cache: 64-byte-aligned blocks handed out by
// pReallocate, kept after release in free lists by 8 KiB size class so that
// they can be reused, and trimmed against two limits: the allocation limit
// (bytes the whole process may hold) and the block budget (bytes the cache
// may hold, blocks in use and free blocks together; initially 0, so nothing
// is cached until ReuseFreeBlocksUpTo raises it).
//
// The global heap is one static object, built before main by a static
// initialiser that runs ahead of every ordinary static initialiser of the
// program and destroyed at exit after them, deleting every cached block;
// poLuGlobalHeap() returns it.
//
// Builds on base/containers.h and on CLuMutex (system/thread.h), the
// framework's recursive lock, which never allocates and so may be taken on
// the allocation failure path. base/ includes nothing from the layers above
// it, so the heap keeps its CLuMutex in raw storage of its own and the few
// operations that need the lock's definition (building, taking, releasing,
// reading and destroying it) are defined in system/heap_lock.cpp, beside
// the lock; everything else of the heap lives in base/heap.cpp.
//
// Errors: results only (null, false). Nothing here throws or prints.
// Threads: the global operators are thread-safe because the system
// allocator is; the block-cache operations take the heap's mutex.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/containers.h"

class CLuMutex;

class CLuHeap {
 public:
  // Room for the heap's CLuMutex (system/heap_lock.cpp checks that it fits).
  static constexpr size_t kMutexStorageBytes = 128;
  // Bytes a block adds to the requested size: room for rounding the user
  // pointer up to a multiple of 64 and for the back-pointer word in front
  // of it.
  static constexpr uint32_t kBlockOverhead = 68;
  // Width of a free-list size class: a block's class is its size with the
  // low 13 bits cleared.
  static constexpr uint32_t kSizeClassBytes = 8192;
  // Attempts of the retry loop in pInternalAlloc.
  static constexpr int kRetries = 5;

  // One cached allocation. The user pointer is raw + 67 rounded down to a
  // multiple of 64; the word directly in front of it holds the address of
  // the CBlock, so that a user pointer leads back to its block. On this
  // 64-bit platform that word is pointer-sized (8 bytes, not 4): the system
  // allocator's 16-byte alignment leaves at least 16 bytes in front of the
  // user pointer, so it always fits inside the raw allocation.
  class CBlock {
   public:
    // Wraps pRaw, an allocation of nSize bytes from the system allocator
    // (nSize >= kBlockOverhead), computes the user pointer and writes the
    // back-pointer word. The block owns pRaw from now on.
    CBlock(uint32_t nSize, void* pRaw);
    // Releases the raw allocation (free).
    virtual ~CBlock();
    CBlock(CBlock const&) = delete;
    CBlock& operator=(CBlock const&) = delete;

    // The block whose user pointer is pUser, read from the word in front of
    // it; null for a null pUser. pUser must come from pReallocate.
    static CBlock* poFromUserPointer(void const* pUser);
    // Bytes from the user pointer to the end of the raw allocation: what a
    // user of the block may touch (at least the size it asked for).
    uint32_t nGetUsableBytes() const;

    uint32_t nSize;         // bytes of the raw allocation (requested + 68)
    void* pRaw;             // what the system allocator returned
    void* pUser;            // 64-byte aligned, inside the raw allocation
    SLuPosition* posInUse;  // in the list of blocks in use; null while free
  };

  // A free list: blocks of one size class, oldest at the head.
  class CBlockList : public CLuList<CBlock> {
   public:
    explicit CBlockList(uint32_t nClass = 0) : nSizeClass(nClass) {}
    uint32_t nSizeClass;  // multiple of 8,192
  };

  // A client that holds large amounts of memory (normally blocks from
  // pReallocate) and can give some back when the heap runs short. Register
  // it with AddLargeAllocator and remove it before it is destroyed.
  class CLargeAllocator {
   public:
    // iRankingValue orders the allocators: the largest is asked first.
    explicit CLargeAllocator(int32_t iRankingValue = 0)
        : m_iRanking(iRankingValue) {}
    virtual ~CLargeAllocator() {}
    // Asked by the heap, with its mutex held, to release about nBytes bytes
    // (normally with pReallocate(p, 0, ...); while this runs released
    // blocks are destroyed, not cached). The heap measures what was freed
    // by the fall of its bytes in use; releasing less, or nothing, is
    // allowed.
    virtual void ReleaseMemory(uint32_t nBytes) = 0;
    // The signed 32-bit ranking value (see CLuCompactArray::
    // iCompareDescending).
    int32_t iRanking() const { return m_iRanking; }

   protected:
    int32_t m_iRanking;
  };

  // An empty heap: block budget 0, allocation limit 0xFFFFFFFF (no limit),
  // all byte counters 0, reuse on, no lists, no large allocators. Allocates
  // only the two pointer arrays (128 slots each).
  CLuHeap();
  // Deletes every cached block and every free list. Blocks still in use are
  // left to their owners (no memory is handed back to users here): release
  // them before the heap ends.
  virtual ~CLuHeap();
  CLuHeap(CLuHeap const&) = delete;
  CLuHeap& operator=(CLuHeap const&) = delete;

  // The retry path of the global operators; the caller holds the mutex.
  // Unless bSkipFirstTry, tries malloc(nSize) once and returns it when not
  // null. Then up to five times: DeleteBlocksAboveLimit(nSize, true) and
  // malloc(nSize), stopping at the first success. Returns the allocation
  // (release with free) or null when every attempt failed.
  void* pInternalAlloc(size_t nSize, bool bSkipFirstTry);
  // The same for an aligned allocation (posix_memalign with nAlignment, a
  // power of two; values below the pointer size are raised to it), used by
  // the aligned global operators. Release with free. Null at once, with
  // nothing trimmed, when nAlignment is not a power of two (0 counts as 1).
  void* pInternalAllocAligned(size_t nSize, size_t nAlignment,
                              bool bSkipFirstTry);

  // Trims the block cache so that nExtra more bytes fit; the caller holds
  // the mutex. Compares what the process holds (ipAllocatedSystem) with the
  // cache; with bRecompute the allocation limit becomes what the process
  // holds now. The budget is lowered when memory outside the cache leaves
  // less room; free blocks are deleted from the smallest size class up
  // until cache + nExtra fits the budget; when no free list is left and the
  // process would still pass the allocation limit, the large allocators are
  // asked, largest ranking first, to release the excess.
  void DeleteBlocksAboveLimit(size_t nExtra, bool bRecompute);

  // Bytes in use in the process's default malloc arena. The platform
  // statistic is glibc's mallinfo2(): uordblks (bytes in chunks in use)
  // plus hblkhd (bytes in mmap'ed chunks), saturated at 2,147,483,647.
  static int32_t ipAllocatedSystem();

  // Block allocation, reallocation and release, under the mutex.
  // pUser null: allocates a block for nSize bytes. nSize 0: releases the
  // block of pUser (FreeBlock) and returns null. Otherwise returns a new
  // 64-byte-aligned user pointer for nSize bytes, reusing a free block of
  // the right size class when one is large enough; with bKeepContents the
  // old contents (up to nSize bytes) are copied and the old block released
  // afterwards, without it the old block is released first. Returns null
  // when the memory cannot be had, or when nSize + 68 passes 32 bits; the
  // old block then stays valid when bKeepContents is set (it is already
  // released when it is not, except for the 32-bit case, which changes
  // nothing). pUser must be null or come from pReallocate of this heap.
  void* pReallocate(void* pUser, size_t nSize, bool bKeepContents);

  // Releases a block: takes it out of the list of blocks in use (lowering
  // the bytes in use); with reuse on appends it to the free list of its
  // size class (raising the bytes in free blocks) and trims the cache with
  // DeleteBlocksAboveLimit(0, false). A block that had no place in the list
  // of blocks in use, or that cannot be listed, or any block while reuse is
  // off, is destroyed. The caller holds the mutex. Null does nothing.
  void FreeBlock(CBlock* poBlock);

  // The free list of the size class of nSize (nSize with its low 13 bits
  // cleared), found by binary search. When absent: with bCreate a new empty
  // list is inserted at its sorted place and returned (null if that
  // allocation fails), otherwise null. Owned by the heap.
  CBlockList* poGetListForSize(uint32_t nSize, bool bCreate);
  // Index of the first free list whose size class is not below nSizeClass
  // (the count when there is none): the binary search behind
  // poGetListForSize.
  uint32_t nFindBlockList(uint32_t nSizeClass) const;
  // Removes poList from the free lists and deletes it (any block still in
  // it is destroyed and taken off the bytes in free blocks). A list that is
  // not the heap's is ignored.
  void DeleteList(CBlockList* poList);

  // True when nSize + 68 + ipAllocatedSystem() is within the allocation
  // limit and nSize + 68 + the bytes in use within the block budget.
  bool bCanAllocateLargeBlock(size_t nSize) const;
  // Under the mutex: allocation limit = nBytes, block budget = min(budget,
  // nBytes); if the limit went down, trims with DeleteBlocksAboveLimit(0,
  // false), which may lower the budget further by the memory the process
  // holds outside the cache.
  void AllocateOnlyUpTo(uint32_t nBytes);
  // Under the mutex: block budget = min(allocation limit, nBytes); if it
  // went down, trims with DeleteBlocksAboveLimit(0, false).
  void ReuseFreeBlocksUpTo(uint32_t nBytes);
  // Under the mutex: appends poAllocator (null is ignored) and re-sorts
  // the large allocators, largest ranking first. Not owned.
  void AddLargeAllocator(CLargeAllocator* poAllocator);
  // Under the mutex: removes poAllocator (if registered) and re-sorts.
  void RemoveLargeAllocator(CLargeAllocator* poAllocator);

  // Read-only views of the state, for callers that report on the heap and
  // for tests. Values are read without the mutex.
  uint32_t nGetBlockBudget() const { return m_nBlockBudget; }
  uint32_t nGetAllocationLimit() const { return m_nAllocationLimit; }
  uint32_t nGetBytesInUse() const { return m_nBytesInUse; }
  uint32_t nGetBytesInFreeBlocks() const { return m_nBytesInFreeBlocks; }
  // Whether released blocks go to the free lists (off only while large
  // allocators are releasing memory).
  bool bIsReusingBlocks() const { return m_bReuse; }
  // Number of blocks in use.
  uint32_t nGetBlocksInUse() const { return m_oBlocksInUse.nGetCount(); }
  // Free lists, sorted by ascending size class; null past the end.
  uint32_t nGetFreeListCount() const { return m_oFreeLists.nGetCount(); }
  CBlockList* poGetFreeListAt(uint32_t i) const {
    return m_oFreeLists.poGetAt(i);
  }
  // Registered large allocators, largest ranking first; null past the end.
  uint32_t nGetLargeAllocatorCount() const {
    return m_oLargeAllocators.nGetCount();
  }
  CLargeAllocator* poGetLargeAllocatorAt(uint32_t i) const {
    return m_oLargeAllocators.poGetAt(i);
  }
  // The heap's mutex (complete type in system/thread.h). Never null.
  CLuMutex* poGetMutex() const;
  // Its recursion count at the moment of the call (0 = free).
  uint32_t nGetLockCount() const;
  // Takes the heap's mutex for the calling thread, waiting for ever; true
  // when taken. Recursive: every successful bLock needs one Unlock. The
  // block-cache operations take it themselves; a caller takes it around
  // FreeBlock or DeleteBlocksAboveLimit when calling them directly.
  bool bLock() const;
  // Gives up one level of the mutex.
  void Unlock() const;

 private:
  // Build and destroy the mutex in m_abyMutex (system/heap_lock.cpp).
  void ConstructMutex();
  void DestroyMutex();

  // Pops and destroys free blocks from the smallest class up until nNeed
  // bytes are gone or no free list is left.
  void DeleteFreeBlocks(uint64_t nNeed);

  uint32_t m_nBlockBudget;        // most bytes the cache may hold
  uint32_t m_nAllocationLimit;    // most bytes the process may hold
  uint32_t m_nBytesInUse;         // bytes of blocks in use
  uint32_t m_nBytesInFreeBlocks;  // bytes of blocks in the free lists
  uint32_t m_nReserved;           // kept for layout; unused, always 0
  // The heap's CLuMutex, built in place by the constructor (see the file
  // comment for why it is raw storage here; system/heap_lock.cpp checks
  // that it fits).
  alignas(16) mutable unsigned char m_abyMutex[kMutexStorageBytes];
  bool m_bReuse;                   // released blocks go to the free lists
  CLuList<CBlock> m_oBlocksInUse;  // blocks handed out
  CLuCompactArray<CBlockList> m_oFreeLists;             // ascending size class
  CLuCompactArray<CLargeAllocator> m_oLargeAllocators;  // largest first
};

// The global heap, built before main and destroyed at exit. Null only
// before it is built and after it is destroyed (static initialisers and
// exit handlers of shared libraries can run then).
CLuHeap* poLuGlobalHeap();

// Test seam of the system allocator behind the global operators and
// CLuHeap: the next nFailures calls of malloc or posix_memalign (from the
// operators or a heap) fail instead, after nPassesFirst calls that are let
// through (so that a test can fail the second allocation of an operation
// and not its first). 0 failures disarms it. Production code never
// calls this; the plain operators reach malloc through a pointer that this
// switches, so the seam adds no branch to their normal path (the aligned
// forms pay one predictable branch). Not meant to race with allocations on
// other threads.
void LuSimulateAllocationFailures(uint32_t nFailures,
                                  uint32_t nPassesFirst = 0);

// What the seam observed; written by the heap, read by tests.
struct SLuHeapTestSeam {
  // Simulated failures still to come (set by LuSimulateAllocationFailures,
  // counted down by each failed call).
  std::atomic<uint32_t> nFailuresLeft;
  // Calls still to be let through before the failures begin.
  std::atomic<uint32_t> nPassesLeft;
  // Times any CLuHeap took its mutex, counted on the locked paths only.
  std::atomic<uint32_t> nLocksTaken;
  // The global heap's mutex count (0 = free) seen at the last simulated
  // failure.
  std::atomic<uint32_t> nLockCountAtFailure;
};
extern SLuHeapTestSeam g_oLuHeapTestSeam;
