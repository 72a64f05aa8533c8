#include "base/heap.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <new>

// Called through the global offset table directly: the normal allocation
// path is one call of the system allocator and nothing else. (g++ only;
// clang, used for the fuzz targets, has no such attribute.)
#if defined(__GNUC__) && !defined(__clang__)
extern "C" void free(void*) noexcept __attribute__((noplt));
#endif

SLuHeapTestSeam g_oLuHeapTestSeam = {{0}, {0}, {0}, {0}};

namespace {

// Requests larger than this behave like this in the 32-bit bookkeeping
// (every limit is below 4 GiB); clamping keeps the 64-bit sums exact.
constexpr uint64_t kLargestRequest = uint64_t(1) << 40;

uint32_t nSaturate32(uint64_t n) {
  return n > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(n);
}

uint32_t nLower(uint32_t n, uint32_t nBy) {
  return n > nBy ? n - nBy : 0;
}

// Takes one from an armed counter of the test seam; false when it is 0.
bool bTakeOne(std::atomic<uint32_t>& rn) {
  uint32_t n = rn.load(std::memory_order_relaxed);
  while (n != 0 &&
         !rn.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) {
  }
  return n != 0;
}

// Consumes one simulated failure of the test seam, if one is left (after
// the calls it lets through first), and notes whether the global heap's
// mutex is held at that moment.
__attribute__((noinline, cold)) bool bSimulatedFailure() {
  if (bTakeOne(g_oLuHeapTestSeam.nPassesLeft)) return false;
  if (!bTakeOne(g_oLuHeapTestSeam.nFailuresLeft)) return false;
  CLuHeap* poHeap = poLuGlobalHeap();
  g_oLuHeapTestSeam.nLockCountAtFailure.store(
      poHeap ? poHeap->nGetLockCount() : 0, std::memory_order_relaxed);
  return true;
}

// malloc itself, or pSeamMalloc while the test seam is armed. A call
// through this pointer costs what a call of malloc through the procedure
// linkage table costs (one indirect jump), so the seam adds no branch to
// the normal path. Constant-initialised: valid before any constructor.
std::atomic<void* (*)(size_t)> s_pfnSystemMalloc{malloc};

// The test seam's stand-in for malloc: fails while simulated failures are
// pending, then puts malloc back.
void* pSeamMalloc(size_t nSize) {
  if (bSimulatedFailure()) return nullptr;
  if (g_oLuHeapTestSeam.nFailuresLeft.load(std::memory_order_relaxed) == 0)
    s_pfnSystemMalloc.store(malloc, std::memory_order_relaxed);
  return malloc(nSize);
}

// The system allocator as the heap and the plain operators see it.
inline __attribute__((always_inline)) void* pSystemAlloc(size_t nSize) {
  return s_pfnSystemMalloc.load(std::memory_order_relaxed)(nSize);
}

// Aligned system allocation, released with free like malloc's. The
// alignment is raised to the pointer size, the least posix_memalign takes.
inline void* pSystemAllocAligned(size_t nSize, size_t nAlignment) {
  if (__builtin_expect(
          g_oLuHeapTestSeam.nFailuresLeft.load(std::memory_order_relaxed) != 0,
          0) &&
      bSimulatedFailure())
    return nullptr;
  if (nAlignment < sizeof(void*)) nAlignment = sizeof(void*);
  void* p = nullptr;
  return posix_memalign(&p, nAlignment, nSize) == 0 ? p : nullptr;
}

// realloc behind the test seam (one predictable branch, like the aligned
// forms).
inline void* pSystemResize(void* p, size_t nSize) {
  if (__builtin_expect(
          g_oLuHeapTestSeam.nFailuresLeft.load(std::memory_order_relaxed) != 0,
          0) &&
      bSimulatedFailure())
    return nullptr;
  return realloc(p, nSize);
}

// Holds the heap's mutex for one operation and releases it when the
// operation ends, also by an exception. Waits for ever; if the lock cannot
// be had the operation goes on without it.
class CHeapLock {
 public:
  explicit CHeapLock(CLuHeap const& oHeap)
      : m_oHeap(oHeap), m_bHeld(oHeap.bLock()) {
    g_oLuHeapTestSeam.nLocksTaken.fetch_add(1, std::memory_order_relaxed);
  }
  ~CHeapLock() {
    if (m_bHeld) m_oHeap.Unlock();
  }
  CHeapLock(CHeapLock const&) = delete;
  CHeapLock& operator=(CHeapLock const&) = delete;

 private:
  CLuHeap const& m_oHeap;
  bool m_bHeld;
};

// The retry loop shared by pInternalAlloc and pInternalAllocAligned;
// nAlignment 0 means plain malloc.
void* pAllocateWithRetries(CLuHeap& oHeap, size_t nSize, size_t nAlignment,
                           bool bSkipFirstTry) {
  auto pTry = [&]() {
    return nAlignment ? pSystemAllocAligned(nSize, nAlignment)
                      : pSystemAlloc(nSize);
  };
  void* p = nullptr;
  if (!bSkipFirstTry) {
    p = pTry();
    if (p) return p;
  }
  for (int i = 0; i < CLuHeap::kRetries && p == nullptr; ++i) {
    oHeap.DeleteBlocksAboveLimit(nSize, true);
    p = pTry();
  }
  return p;
}

// The process-wide heap. init_priority(101) is the earliest a program may
// ask for, so it is built before every ordinary static object (which may
// already allocate) and, registered first, destroyed after all of them.
bool s_bGlobalHeapAlive = false;

class CGlobalHeap : public CLuHeap {
 public:
  CGlobalHeap() { s_bGlobalHeapAlive = true; }
  ~CGlobalHeap() override { s_bGlobalHeapAlive = false; }
};

CGlobalHeap g_oGlobalHeap __attribute__((init_priority(101)));

// The failure path of the global operators: the system allocator said no
// once, so make room under the heap's mutex and try again. Outside the
// global heap's lifetime there is nothing to make room with.
__attribute__((noinline, cold)) void* pAllocateAfterFailure(size_t nSize,
                                                            size_t nAlignment) {
  CLuHeap* poHeap = poLuGlobalHeap();
  if (poHeap == nullptr) return nullptr;
  CHeapLock oLock(*poHeap);
  return nAlignment ? poHeap->pInternalAllocAligned(nSize, nAlignment, true)
                    : poHeap->pInternalAlloc(nSize, true);
}

inline __attribute__((always_inline)) void* pAllocate(size_t nSize) {
  void* p = pSystemAlloc(nSize);
  if (__builtin_expect(p != nullptr, 1)) return p;
  return pAllocateAfterFailure(nSize, 0);
}

// An alignment that is not a power of two can never be served: null at
// once, without trimming for it (which would only lower the allocation
// limit) and without asking the system allocator.
inline void* pAllocateAligned(size_t nSize, std::align_val_t eAlignment) {
  size_t nAlignment = static_cast<size_t>(eAlignment);
  if (__builtin_expect((nAlignment & (nAlignment - 1)) != 0, 0)) return nullptr;
  void* p = pSystemAllocAligned(nSize, nAlignment);
  if (__builtin_expect(p != nullptr, 1)) return p;
  return pAllocateAfterFailure(nSize, nAlignment);
}

}  // namespace

CLuHeap* poLuGlobalHeap() {
  return s_bGlobalHeapAlive ? &g_oGlobalHeap : nullptr;
}

void* pLuResizeAllocation(void* p, size_t nBytes) {
  if (nBytes == 0) nBytes = 1;  // realloc would free p and say null
  void* pNew = pSystemResize(p, nBytes);
  if (__builtin_expect(pNew != nullptr, 1)) return pNew;
  // The failure path of the operators, with realloc in place of malloc; a
  // failed realloc leaves p as it was.
  CLuHeap* poHeap = poLuGlobalHeap();
  if (poHeap == nullptr) return nullptr;
  CHeapLock oLock(*poHeap);
  for (int i = 0; i < CLuHeap::kRetries && pNew == nullptr; ++i) {
    poHeap->DeleteBlocksAboveLimit(nBytes, true);
    pNew = pSystemResize(p, nBytes);
  }
  return pNew;
}

void LuSimulateAllocationFailures(uint32_t nFailures, uint32_t nPassesFirst) {
  g_oLuHeapTestSeam.nPassesLeft.store(nFailures ? nPassesFirst : 0);
  g_oLuHeapTestSeam.nFailuresLeft.store(nFailures);
  s_pfnSystemMalloc.store(nFailures ? pSeamMalloc : malloc);
}

// ------------------------------------------------------ global operators
// Every form may return null (see base/heap.h); every release is free.
// They are never inlined, not even into this file: a memory checker that
// puts its own operators in their place (valgrind does so for every
// exported allocator) must see every allocation and release go through the
// same pair, or it reports a mismatch.
#define LU_OPERATOR __attribute__((noinline))

LU_OPERATOR void* operator new(std::size_t nSize) {
  return pAllocate(nSize);
}
LU_OPERATOR void* operator new[](std::size_t nSize) {
  return pAllocate(nSize);
}
LU_OPERATOR void* operator new(std::size_t nSize,
                               std::nothrow_t const&) noexcept {
  return pAllocate(nSize);
}
LU_OPERATOR void* operator new[](std::size_t nSize,
                                 std::nothrow_t const&) noexcept {
  return pAllocate(nSize);
}
LU_OPERATOR void* operator new(std::size_t nSize, std::align_val_t eAlignment) {
  return pAllocateAligned(nSize, eAlignment);
}
LU_OPERATOR void* operator new[](std::size_t nSize,
                                 std::align_val_t eAlignment) {
  return pAllocateAligned(nSize, eAlignment);
}
LU_OPERATOR void* operator new(std::size_t nSize, std::align_val_t eAlignment,
                               std::nothrow_t const&) noexcept {
  return pAllocateAligned(nSize, eAlignment);
}
LU_OPERATOR void* operator new[](std::size_t nSize, std::align_val_t eAlignment,
                                 std::nothrow_t const&) noexcept {
  return pAllocateAligned(nSize, eAlignment);
}

LU_OPERATOR void operator delete(void* p) noexcept {
  free(p);
}
LU_OPERATOR void operator delete[](void* p) noexcept {
  free(p);
}
LU_OPERATOR void operator delete(void* p, std::size_t) noexcept {
  free(p);
}
LU_OPERATOR void operator delete[](void* p, std::size_t) noexcept {
  free(p);
}
LU_OPERATOR void operator delete(void* p, std::nothrow_t const&) noexcept {
  free(p);
}
LU_OPERATOR void operator delete[](void* p, std::nothrow_t const&) noexcept {
  free(p);
}
LU_OPERATOR void operator delete(void* p, std::align_val_t) noexcept {
  free(p);
}
LU_OPERATOR void operator delete[](void* p, std::align_val_t) noexcept {
  free(p);
}
LU_OPERATOR void operator delete(void* p, std::size_t,
                                 std::align_val_t) noexcept {
  free(p);
}
LU_OPERATOR void operator delete[](void* p, std::size_t,
                                   std::align_val_t) noexcept {
  free(p);
}
LU_OPERATOR void operator delete(void* p, std::align_val_t,
                                 std::nothrow_t const&) noexcept {
  free(p);
}
LU_OPERATOR void operator delete[](void* p, std::align_val_t,
                                   std::nothrow_t const&) noexcept {
  free(p);
}

// ---------------------------------------------------------------- CBlock

CLuHeap::CBlock::CBlock(uint32_t nBlockSize, void* pRawAllocation)
    : nSize(nBlockSize),
      pRaw(pRawAllocation),
      pUser(reinterpret_cast<void*>(
          (reinterpret_cast<uintptr_t>(pRawAllocation) + 67) &
          ~static_cast<uintptr_t>(63))),
      posInUse(nullptr) {
  // The back-pointer word: pointer-sized on this platform.
  static_assert(alignof(std::max_align_t) >= sizeof(CBlock*),
                "the back-pointer word must fit in front of the user pointer");
  CBlock* poThis = this;
  memcpy(static_cast<char*>(pUser) - sizeof(CBlock*), &poThis, sizeof poThis);
}

CLuHeap::CBlock::~CBlock() {
  free(pRaw);
}

CLuHeap::CBlock* CLuHeap::CBlock::poFromUserPointer(void const* pUserPointer) {
  if (pUserPointer == nullptr) return nullptr;
  CBlock* po = nullptr;
  memcpy(&po, static_cast<char const*>(pUserPointer) - sizeof(CBlock*),
         sizeof po);
  return po;
}

uint32_t CLuHeap::CBlock::nGetUsableBytes() const {
  return nSize - static_cast<uint32_t>(static_cast<char const*>(pUser) -
                                       static_cast<char const*>(pRaw));
}

// ---------------------------------------------------------------- CLuHeap

CLuHeap::CLuHeap()
    : m_nBlockBudget(0),
      m_nAllocationLimit(0xFFFFFFFFu),
      m_nBytesInUse(0),
      m_nBytesInFreeBlocks(0),
      m_nReserved(0),
      m_bReuse(true),
      m_oFreeLists(128, 128),
      m_oLargeAllocators(128, 128) {
  ConstructMutex();
}

CLuHeap::~CLuHeap() {
  while (m_oFreeLists.nGetCount() != 0)
    DeleteList(m_oFreeLists.poGetAt(m_oFreeLists.nGetCount() - 1));
  DestroyMutex();
}

void* CLuHeap::pInternalAlloc(size_t nSize, bool bSkipFirstTry) {
  return pAllocateWithRetries(*this, nSize, 0, bSkipFirstTry);
}

void* CLuHeap::pInternalAllocAligned(size_t nSize, size_t nAlignment,
                                     bool bSkipFirstTry) {
  if ((nAlignment & (nAlignment - 1)) != 0) return nullptr;
  return pAllocateWithRetries(*this, nSize, nAlignment ? nAlignment : 1,
                              bSkipFirstTry);
}

int32_t CLuHeap::ipAllocatedSystem() {
  // Stands in for the size in use of the default allocation zone.
  struct mallinfo2 oInfo = mallinfo2();
  uint64_t n = static_cast<uint64_t>(oInfo.uordblks) + oInfo.hblkhd;
  return n > INT32_MAX ? INT32_MAX : static_cast<int32_t>(n);
}

void CLuHeap::DeleteBlocksAboveLimit(size_t nExtra, bool bRecompute) {
  uint64_t nWanted = nExtra < kLargestRequest ? nExtra : kLargestRequest;
  uint64_t nInBlocks = uint64_t(m_nBytesInUse) + m_nBytesInFreeBlocks;
  uint64_t nSystem = static_cast<uint64_t>(ipAllocatedSystem());
  uint64_t nTotal = nSystem > nInBlocks ? nSystem : nInBlocks;
  uint64_t nOutside = nTotal - nInBlocks;  // held outside the cache

  // What the process holds now becomes the ceiling when asked to recompute.
  if (bRecompute) m_nAllocationLimit = nSaturate32(nTotal);
  int64_t iRoom = int64_t(m_nAllocationLimit) - int64_t(m_nBlockBudget);
  if (bRecompute ||
      (int64_t(nOutside) > iRoom && int64_t(m_nAllocationLimit) > iRoom)) {
    uint64_t nLimit = m_nAllocationLimit;
    m_nBlockBudget =
        static_cast<uint32_t>(nLimit - (nOutside < nLimit ? nOutside : nLimit));
  }

  if (nInBlocks + nWanted <= m_nBlockBudget) return;
  DeleteFreeBlocks(nInBlocks + nWanted - m_nBlockBudget);
  if (m_oFreeLists.nGetCount() != 0) return;

  uint64_t nSum = nWanted + nOutside + m_nBytesInUse;
  if (nSum <= m_nAllocationLimit) return;
  uint64_t nExcess = nSum - m_nAllocationLimit;
  // Blocks that large allocators release now must really go. Afterwards
  // reuse is on again, also when this ran inside an allocator's release
  // (a nested trim switches it on before the outer round ends).
  m_bReuse = false;
  for (uint32_t i = 0; nExcess != 0 && i < m_oLargeAllocators.nGetCount();
       ++i) {
    CLargeAllocator* po = m_oLargeAllocators.poGetAt(i);
    if (po == nullptr) continue;
    uint32_t nInUseBefore = m_nBytesInUse;
    po->ReleaseMemory(nSaturate32(nExcess));
    uint64_t nFell = nInUseBefore > m_nBytesInUse
                         ? uint64_t(nInUseBefore - m_nBytesInUse)
                         : 0;
    nExcess -= nFell < nExcess ? nFell : nExcess;
  }
  m_bReuse = true;
}

void CLuHeap::DeleteFreeBlocks(uint64_t nNeed) {
  uint32_t nLists = m_oFreeLists.nGetCount();
  bool bCleared = false;
  for (uint32_t i = 0; i < nLists && nNeed != 0; ++i) {
    CBlockList* poList = m_oFreeLists.poGetAt(i);
    while (nNeed != 0 && !poList->bIsEmpty()) {
      CBlock* poBlock = poList->poRemoveHead();
      m_nBytesInFreeBlocks = nLower(m_nBytesInFreeBlocks, poBlock->nSize);
      nNeed -= poBlock->nSize < nNeed ? poBlock->nSize : nNeed;
      delete poBlock;
    }
    if (poList->bIsEmpty()) {
      delete poList;
      m_oFreeLists.bSetAt(i, nullptr);
      bCleared = true;
    }
  }
  if (!bCleared) return;
  // Compact: drop the cleared slots, keep the order.
  uint32_t nKept = 0;
  for (uint32_t i = 0; i < nLists; ++i) {
    CBlockList* poList = m_oFreeLists.poGetAt(i);
    if (poList) m_oFreeLists.bSetAt(nKept++, poList);
  }
  while (m_oFreeLists.nGetCount() > nKept)
    m_oFreeLists.poRemoveAt(m_oFreeLists.nGetCount() - 1);
}

void* CLuHeap::pReallocate(void* pUser, size_t nSize, bool bKeepContents) {
  CHeapLock oLock(*this);
  CBlock* poOld = CBlock::poFromUserPointer(pUser);
  if (nSize == 0) {
    FreeBlock(poOld);
    return nullptr;
  }
  // The block size is 32 bits: a larger request would wrap to a small
  // block that the caller then overruns.
  if (nSize > UINT32_MAX - kBlockOverhead) return nullptr;
  if (poOld && !bKeepContents) {
    FreeBlock(poOld);
    poOld = nullptr;
  }

  uint32_t nNeeded = static_cast<uint32_t>(nSize) + kBlockOverhead;
  CBlock* poBlock = nullptr;
  CBlockList* poList = poGetListForSize(nNeeded, false);
  if (poList) {
    for (SLuPosition* pos = poList->posGetHead(); pos;
         pos = CBlockList::posGetNext(pos)) {
      if (CBlockList::poGetAt(pos)->nSize >= nNeeded) {
        poBlock = poList->poRemoveAt(pos);
        m_nBytesInFreeBlocks = nLower(m_nBytesInFreeBlocks, poBlock->nSize);
        break;
      }
    }
    if (poList->bIsEmpty()) DeleteList(poList);
  }
  if (poBlock == nullptr) {
    DeleteBlocksAboveLimit(nNeeded, false);
    void* pRaw = pInternalAlloc(nNeeded, false);
    if (pRaw == nullptr) return nullptr;
    poBlock = new (std::nothrow) CBlock(nNeeded, pRaw);
    if (poBlock == nullptr) {
      free(pRaw);
      return nullptr;
    }
  }

  // A block that could not be listed is not counted; FreeBlock destroys it.
  poBlock->posInUse = m_oBlocksInUse.posAddTail(poBlock);
  if (poBlock->posInUse) m_nBytesInUse += poBlock->nSize;

  if (poOld) {
    // Copy no further than the end of the old raw allocation: the old
    // block's size also counts the slack in front of its user pointer, so
    // that many bytes from the user pointer would read past the allocation.
    uint32_t nUsable = poOld->nGetUsableBytes();
    memcpy(poBlock->pUser, poOld->pUser, nSize < nUsable ? nSize : nUsable);
    FreeBlock(poOld);
  }
  return poBlock->pUser;
}

void CLuHeap::FreeBlock(CBlock* poBlock) {
  if (poBlock == nullptr) return;
  bool bListed = poBlock->posInUse != nullptr;
  if (bListed) {
    m_oBlocksInUse.poRemoveAt(poBlock->posInUse);
    poBlock->posInUse = nullptr;
    m_nBytesInUse = nLower(m_nBytesInUse, poBlock->nSize);
  }
  if (bListed && m_bReuse) {
    CBlockList* poList = poGetListForSize(poBlock->nSize, true);
    if (poList && poList->posAddTail(poBlock)) {
      m_nBytesInFreeBlocks += poBlock->nSize;
      DeleteBlocksAboveLimit(0, false);
      return;
    }
    if (poList && poList->bIsEmpty()) DeleteList(poList);
  }
  delete poBlock;
}

uint32_t CLuHeap::nFindBlockList(uint32_t nSizeClass) const {
  uint32_t nLow = 0;
  uint32_t nHigh = m_oFreeLists.nGetCount();
  while (nLow < nHigh) {
    uint32_t nMiddle = nLow + (nHigh - nLow) / 2;
    if (m_oFreeLists.poGetAt(nMiddle)->nSizeClass < nSizeClass)
      nLow = nMiddle + 1;
    else
      nHigh = nMiddle;
  }
  return nLow;
}

CLuHeap::CBlockList* CLuHeap::poGetListForSize(uint32_t nSize, bool bCreate) {
  uint32_t nClass = nSize & ~(kSizeClassBytes - 1);
  uint32_t i = nFindBlockList(nClass);
  CBlockList* poList = m_oFreeLists.poGetAt(i);
  if (poList && poList->nSizeClass == nClass) return poList;
  if (!bCreate) return nullptr;
  poList = new (std::nothrow) CBlockList(nClass);
  if (poList == nullptr) return nullptr;
  if (!m_oFreeLists.bInsertAt(i, poList)) {
    delete poList;
    return nullptr;
  }
  return poList;
}

void CLuHeap::DeleteList(CBlockList* poList) {
  int32_t i = m_oFreeLists.iFind(poList);
  if (poList == nullptr || i < 0) return;
  m_oFreeLists.poRemoveAt(static_cast<uint32_t>(i));
  // Normally the list is empty. Blocks still in it (the destructor hands
  // over full lists) are destroyed here: deleting the list alone would leak
  // them and leave the bytes in free blocks counting blocks no list holds.
  while (!poList->bIsEmpty()) {
    CBlock* poBlock = poList->poRemoveHead();
    m_nBytesInFreeBlocks = nLower(m_nBytesInFreeBlocks, poBlock->nSize);
    delete poBlock;
  }
  delete poList;
}

bool CLuHeap::bCanAllocateLargeBlock(size_t nSize) const {
  uint64_t nNeeded =
      (nSize < kLargestRequest ? nSize : kLargestRequest) + kBlockOverhead;
  return nNeeded + static_cast<uint64_t>(ipAllocatedSystem()) <=
             m_nAllocationLimit &&
         nNeeded + m_nBytesInUse <= m_nBlockBudget;
}

void CLuHeap::AllocateOnlyUpTo(uint32_t nBytes) {
  CHeapLock oLock(*this);
  bool bLowered = nBytes < m_nAllocationLimit;
  m_nAllocationLimit = nBytes;
  if (nBytes < m_nBlockBudget) m_nBlockBudget = nBytes;
  if (bLowered) DeleteBlocksAboveLimit(0, false);
}

void CLuHeap::ReuseFreeBlocksUpTo(uint32_t nBytes) {
  CHeapLock oLock(*this);
  uint32_t nBefore = m_nBlockBudget;
  m_nBlockBudget = nBytes < m_nAllocationLimit ? nBytes : m_nAllocationLimit;
  if (m_nBlockBudget < nBefore) DeleteBlocksAboveLimit(0, false);
}

void CLuHeap::AddLargeAllocator(CLargeAllocator* poAllocator) {
  if (poAllocator == nullptr) return;
  CHeapLock oLock(*this);
  m_oLargeAllocators.Add(poAllocator);
  m_oLargeAllocators.Sort(CLuCompactArray<CLargeAllocator>::iCompareDescending);
}

void CLuHeap::RemoveLargeAllocator(CLargeAllocator* poAllocator) {
  CHeapLock oLock(*this);
  int32_t i = m_oLargeAllocators.iFind(poAllocator);
  if (poAllocator == nullptr || i < 0) return;
  m_oLargeAllocators.poRemoveAt(static_cast<uint32_t>(i));
  m_oLargeAllocators.Sort(CLuCompactArray<CLargeAllocator>::iCompareDescending);
}
