#include "base/heap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace {

uint32_t nLocksTaken() {
  return g_oLuHeapTestSeam.nLocksTaken.load();
}

// True when the global operators of base/heap.cpp are the ones in effect:
// a memory checker such as valgrind puts its own in their place, and then
// the seam cannot make them fail (the heap's retry path is still tested
// through pInternalAlloc below).
bool bOperatorsAreOurs() {
  LuSimulateAllocationFailures(1);
  void* p = ::operator new(16);
  bool bOurs = g_oLuHeapTestSeam.nFailuresLeft.load() == 0;
  LuSimulateAllocationFailures(0);
  ::operator delete(p);
  return bOurs;
}

// Tests of the global operators' failure path. Every failure path lowers
// the global heap's allocation limit to what the process holds; TearDown
// puts it back.
class LuHeapFailure : public testing::Test {
 protected:
  void SetUp() override {
    if (!bOperatorsAreOurs())
      GTEST_SKIP() << "global operators replaced by a memory checker";
  }
  void TearDown() override {
    LuSimulateAllocationFailures(0);
    poLuGlobalHeap()->AllocateOnlyUpTo(0xFFFFFFFFu);
    poLuGlobalHeap()->ReuseFreeBlocksUpTo(0);
  }
};

struct SConstructed {
  static int s_iConstructed;
  SConstructed() { ++s_iConstructed; }
  char ac[40];
};
int SConstructed::s_iConstructed = 0;

// Allocated through the aligned forms by new-expressions.
struct alignas(128) SOverAligned {
  char c;
};

// Test client that owns heap blocks and gives them back when asked.
class CBlockHolder : public CLuHeap::CLargeAllocator {
 public:
  CBlockHolder(CLuHeap* poHeap, int32_t iRank)
      : CLargeAllocator(iRank), m_poHeap(poHeap) {}
  ~CBlockHolder() override {
    for (void* p : m_vpBlocks) m_poHeap->pReallocate(p, 0, false);
  }
  void Take(size_t nSize) {
    m_vpBlocks.push_back(m_poHeap->pReallocate(nullptr, nSize, true));
  }
  // Releases whole blocks from the back until nBytes are covered.
  void ReleaseMemory(uint32_t nBytes) override {
    vnAsked.push_back(nBytes);
    bReuseSeen = m_poHeap->bIsReusingBlocks();
    uint64_t nFreed = 0;
    while (nFreed < nBytes && !m_vpBlocks.empty()) {
      nFreed += CLuHeap::CBlock::poFromUserPointer(m_vpBlocks.back())->nSize;
      m_poHeap->pReallocate(m_vpBlocks.back(), 0, false);
      m_vpBlocks.pop_back();
    }
  }
  size_t nGetBlocks() const { return m_vpBlocks.size(); }
  std::vector<uint32_t> vnAsked;
  bool bReuseSeen = true;

 private:
  CLuHeap* m_poHeap;
  std::vector<void*> m_vpBlocks;
};

}  // namespace

// ------------------------------------------------------ global operators

TEST_F(LuHeapFailure, SuccessfulAllocationsNeverTakeTheMutex) {
  uint32_t nBefore = nLocksTaken();
  for (int i = 0; i < 100; ++i) {
    delete new char;
    delete[] new char[1000 + i];
    delete[] new (std::nothrow) int[3];
    delete new SOverAligned;
    delete[] new SOverAligned[3];
    ::operator delete(::operator new(100, std::align_val_t(64)),
                      std::align_val_t(64));
    ::operator delete[](
        ::operator new[](5000, std::align_val_t(4096), std::nothrow),
        std::align_val_t(4096), std::nothrow);
    ::operator delete(::operator new(48), size_t(48));
  }
  EXPECT_EQ(nBefore, nLocksTaken());
  EXPECT_EQ(0u, poLuGlobalHeap()->nGetLockCount());
}

TEST_F(LuHeapFailure, OneFailureIsRetriedUnderTheMutexAndRecovers) {
  uint32_t nBefore = nLocksTaken();
  LuSimulateAllocationFailures(1);
  void* p = ::operator new(100);
  EXPECT_NE(nullptr, p);
  EXPECT_EQ(0u, g_oLuHeapTestSeam.nFailuresLeft.load());
  EXPECT_EQ(nBefore + 1, nLocksTaken());
  ::operator delete(p);

  // A second failure happens inside the retry loop, with the mutex held;
  // afterwards the mutex is free again.
  LuSimulateAllocationFailures(2);
  p = ::operator new[](100);
  EXPECT_NE(nullptr, p);
  EXPECT_EQ(1u, g_oLuHeapTestSeam.nLockCountAtFailure.load());
  EXPECT_EQ(0u, poLuGlobalHeap()->nGetLockCount());
  ::operator delete[](p);
}

TEST_F(LuHeapFailure, SixFailuresInARowGiveNullInEveryForm) {
  struct {
    char const* pszForm;
    void* (*pfnAllocate)();
    void (*pfnRelease)(void*);
  } const aForms[] = {
      {"scalar", [] { return ::operator new(64); },
       [](void* p) { ::operator delete(p); }},
      {"array", [] { return ::operator new[](64); },
       [](void* p) { ::operator delete[](p, size_t(64)); }},
      {"nothrow", [] { return ::operator new(64, std::nothrow); },
       [](void* p) { ::operator delete(p, std::nothrow); }},
      {"aligned", [] { return ::operator new[](64, std::align_val_t(256)); },
       [](void* p) { ::operator delete[](p, std::align_val_t(256)); }},
      {"aligned nothrow",
       [] { return ::operator new(64, std::align_val_t(32), std::nothrow); },
       [](void* p) {
         ::operator delete(p, std::align_val_t(32), std::nothrow);
       }},
  };
  for (auto const& oForm : aForms) {
    for (uint32_t nFailures = 1; nFailures <= 7; ++nFailures) {
      SCOPED_TRACE(std::string(oForm.pszForm) + ", failures " +
                   std::to_string(nFailures));
      LuSimulateAllocationFailures(nFailures);
      void* p = oForm.pfnAllocate();
      uint32_t nLeft = g_oLuHeapTestSeam.nFailuresLeft.load();
      EXPECT_EQ(nFailures >= 6, p == nullptr);
      EXPECT_EQ(nFailures > 6 ? nFailures - 6 : 0, nLeft);
      oForm.pfnRelease(p);
    }
  }
}

TEST_F(LuHeapFailure, NullFromNewRunsNoConstructor) {
  SConstructed::s_iConstructed = 0;
  LuSimulateAllocationFailures(6);
  SConstructed* po = new SConstructed;
  LuSimulateAllocationFailures(0);
  EXPECT_EQ(nullptr, po);
  EXPECT_EQ(0, SConstructed::s_iConstructed);
  delete po;
}

TEST_F(LuHeapFailure, RetryTakesWhatTheProcessHoldsAsTheLimit) {
  LuSimulateAllocationFailures(1);
  void* p = ::operator new(10);
  ASSERT_NE(nullptr, p);
  ::operator delete(p);
  EXPECT_LT(poLuGlobalHeap()->nGetAllocationLimit(), 0xFFFFFFFFu);
  EXPECT_LE(poLuGlobalHeap()->nGetBlockBudget(),
            poLuGlobalHeap()->nGetAllocationLimit());
}

// The retry loop itself: one first try unless skipped, then five rounds of
// trimming and trying again. Runs under any memory checker.
TEST(LuHeap, InternalAllocGivesUpAfterTheFifthRetry) {
  struct {
    bool bSkipFirstTry;
    size_t nAlignment;  // 0: pInternalAlloc
    uint32_t nFailures;
    bool bNull;
  } const aCases[] = {
      {false, 0, 0, false}, {false, 0, 5, false},    {false, 0, 6, true},
      {true, 0, 4, false},  {true, 0, 5, true},      {true, 64, 4, false},
      {true, 64, 5, true},  {false, 4096, 5, false},
  };
  CLuHeap oHeap;
  for (auto const& c : aCases) {
    SCOPED_TRACE(testing::Message() << c.bSkipFirstTry << " " << c.nAlignment
                                    << " " << c.nFailures);
    LuSimulateAllocationFailures(c.nFailures);
    void* p = c.nAlignment ? oHeap.pInternalAllocAligned(100, c.nAlignment,
                                                         c.bSkipFirstTry)
                           : oHeap.pInternalAlloc(100, c.bSkipFirstTry);
    LuSimulateAllocationFailures(0);
    EXPECT_EQ(c.bNull, p == nullptr);
    if (c.nAlignment) {
      EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % c.nAlignment);
    }
    free(p);
  }
}

// ------------------------------------------------------------ block cache

TEST(LuHeap, BlockIsAlignedAndItsWordLeadsBack) {
  CLuHeap oHeap;
  void* p = oHeap.pReallocate(nullptr, 100, true);
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % 64);
  CLuHeap::CBlock* poBlock = nullptr;
  memcpy(&poBlock, static_cast<char*>(p) - sizeof(void*), sizeof(void*));
  ASSERT_NE(nullptr, poBlock);
  EXPECT_EQ(168u, poBlock->nSize);
  EXPECT_EQ(p, poBlock->pUser);
  EXPECT_EQ(168u, oHeap.nGetBytesInUse());
  EXPECT_EQ(nullptr, oHeap.pReallocate(p, 0, true));
  EXPECT_EQ(0u, oHeap.nGetBytesInUse());
  EXPECT_EQ(0u, oHeap.nGetBlocksInUse());
}

TEST(LuHeap, ReallocationKeepsContentsOnlyWhenAsked) {
  CLuHeap oHeap;
  char* p = static_cast<char*>(oHeap.pReallocate(nullptr, 100, true));
  ASSERT_NE(nullptr, p);
  for (int i = 0; i < 100; ++i) p[i] = static_cast<char>(i + 1);
  char* pGrown = static_cast<char*>(oHeap.pReallocate(p, 20000, true));
  ASSERT_NE(nullptr, pGrown);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(i + 1, pGrown[i]) << i;
  char* pShrunk = static_cast<char*>(oHeap.pReallocate(pGrown, 10, true));
  ASSERT_NE(nullptr, pShrunk);
  EXPECT_EQ(0, memcmp(pShrunk, "\1\2\3\4\5\6\7\10\11\12", 10));
  EXPECT_EQ(78u, oHeap.nGetBytesInUse());
  void* pFresh = oHeap.pReallocate(pShrunk, 30, false);
  EXPECT_EQ(98u, oHeap.nGetBytesInUse());
  EXPECT_EQ(1u, oHeap.nGetBlocksInUse());
  oHeap.pReallocate(pFresh, 0, false);
}

TEST(LuHeap, ReleasedBlocksFallIntoEightKiBSizeClasses) {
  struct {
    size_t nRequest;
    uint32_t nBlockSize, nClass;
  } const aCases[] = {
      {100, 168, 0},      {8100, 8168, 0},       {8124, 8192, 8192},
      {8200, 8268, 8192}, {16316, 16384, 16384},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.nRequest);
    CLuHeap oHeap;
    oHeap.ReuseFreeBlocksUpTo(1000000);
    oHeap.pReallocate(oHeap.pReallocate(nullptr, c.nRequest, true), 0, true);
    ASSERT_EQ(1u, oHeap.nGetFreeListCount());
    CLuHeap::CBlockList* poList = oHeap.poGetFreeListAt(0);
    EXPECT_EQ(c.nClass, poList->nSizeClass);
    EXPECT_EQ(poList, oHeap.poGetListForSize(c.nBlockSize, false));
    EXPECT_EQ(c.nBlockSize, poList->poGetHead()->nSize);
    EXPECT_EQ(c.nBlockSize, oHeap.nGetBytesInFreeBlocks());
  }
}

TEST(LuHeap, WithoutBudgetAReleasedBlockIsDeletedAtOnce) {
  CLuHeap oHeap;
  oHeap.pReallocate(oHeap.pReallocate(nullptr, 100, true), 0, true);
  EXPECT_EQ(0u, oHeap.nGetFreeListCount());
  EXPECT_EQ(0u, oHeap.nGetBytesInFreeBlocks());
  EXPECT_EQ(0u, oHeap.nGetBytesInUse());
}

TEST(LuHeap, ReleasedBlockIsReusedOnceTheBudgetAllows) {
  CLuHeap oHeap;
  oHeap.ReuseFreeBlocksUpTo(1000000);
  EXPECT_EQ(1000000u, oHeap.nGetBlockBudget());
  void* p = oHeap.pReallocate(nullptr, 100, true);
  CLuHeap::CBlock* poBlock = CLuHeap::CBlock::poFromUserPointer(p);
  oHeap.pReallocate(p, 0, true);
  ASSERT_EQ(1u, oHeap.nGetFreeListCount());
  EXPECT_EQ(poBlock, oHeap.poGetFreeListAt(0)->poGetHead());
  EXPECT_EQ(nullptr, poBlock->posInUse);
  EXPECT_EQ(168u, oHeap.nGetBytesInFreeBlocks());

  void* pAgain = oHeap.pReallocate(nullptr, 100, true);
  EXPECT_EQ(p, pAgain);
  EXPECT_EQ(poBlock, CLuHeap::CBlock::poFromUserPointer(pAgain));
  EXPECT_EQ(0u, oHeap.nGetFreeListCount());  // emptied list is gone
  EXPECT_EQ(0u, oHeap.nGetBytesInFreeBlocks());
  EXPECT_EQ(168u, oHeap.nGetBytesInUse());
  oHeap.pReallocate(pAgain, 0, true);
}

TEST(LuHeap, LoweredBudgetTrimsFromTheSmallestClassUp) {
  CLuHeap oHeap;
  oHeap.ReuseFreeBlocksUpTo(100000);
  void* pSmall = oHeap.pReallocate(nullptr, 100, true);    // 168, class 0
  void* pMedium = oHeap.pReallocate(nullptr, 9000, true);  // 9068, 8192
  void* pLarge = oHeap.pReallocate(nullptr, 20000, true);  // 20068, 16384
  for (void* p : {pLarge, pSmall, pMedium}) oHeap.pReallocate(p, 0, true);
  ASSERT_EQ(3u, oHeap.nGetFreeListCount());
  for (uint32_t i = 0; i < 3; ++i)
    EXPECT_EQ(i * 8192, oHeap.poGetFreeListAt(i)->nSizeClass);
  EXPECT_EQ(29304u, oHeap.nGetBytesInFreeBlocks());

  // 29,304 - 25,000 = 4,304 bytes must go: the 168-byte block, then the
  // 9,068-byte one; the 20,068-byte block stays.
  oHeap.ReuseFreeBlocksUpTo(25000);
  EXPECT_EQ(25000u, oHeap.nGetBlockBudget());
  ASSERT_EQ(1u, oHeap.nGetFreeListCount());
  EXPECT_EQ(16384u, oHeap.poGetFreeListAt(0)->nSizeClass);
  EXPECT_EQ(20068u, oHeap.nGetBytesInFreeBlocks());
}

TEST(LuHeap, AllocateOnlyUpToLowersTheBudget) {
  CLuHeap oHeap;
  oHeap.ReuseFreeBlocksUpTo(1000000000);
  uint64_t nHeld = static_cast<uint64_t>(CLuHeap::ipAllocatedSystem());
  oHeap.AllocateOnlyUpTo(500000000);
  EXPECT_EQ(500000000u, oHeap.nGetAllocationLimit());
  // The budget becomes the new limit, less what the process holds outside
  // the (empty) cache.
  EXPECT_LE(oHeap.nGetBlockBudget(), 500000000u);
  EXPECT_GE(oHeap.nGetBlockBudget(), 500000000u - nHeld);
  // A limit of 0 leaves no budget at all.
  oHeap.AllocateOnlyUpTo(0);
  EXPECT_EQ(0u, oHeap.nGetBlockBudget());
  EXPECT_FALSE(oHeap.bCanAllocateLargeBlock(1));
}

TEST(LuHeap, CanAllocateLargeBlockWithinBudgetAndLimit) {
  CLuHeap oHeap;
  EXPECT_FALSE(oHeap.bCanAllocateLargeBlock(100));  // budget 0
  oHeap.ReuseFreeBlocksUpTo(1000);
  EXPECT_TRUE(oHeap.bCanAllocateLargeBlock(932));  // 932 + 68 = 1000
  EXPECT_FALSE(oHeap.bCanAllocateLargeBlock(933));
}

TEST(LuHeap, LargeAllocatorsReleaseTheExcessLargestRankingFirst) {
  CLuHeap oHeap;
  CBlockHolder oLow(&oHeap, 5), oHigh(&oHeap, 10);
  for (int i = 0; i < 3; ++i) oHigh.Take(1000);  // 3 blocks of 1,068
  oLow.Take(1000);
  oHeap.AddLargeAllocator(&oLow);
  oHeap.AddLargeAllocator(&oHigh);
  ASSERT_EQ(2u, oHeap.nGetLargeAllocatorCount());
  EXPECT_EQ(&oHigh, oHeap.poGetLargeAllocatorAt(0));

  // A limit 3,000 bytes below what the process holds: the first allocator
  // gives back three blocks (3,204 bytes) and the second is not asked.
  uint64_t nInBlocks = oHeap.nGetBytesInUse();
  uint64_t nSystem = static_cast<uint64_t>(CLuHeap::ipAllocatedSystem());
  uint64_t nTotal = nSystem > nInBlocks ? nSystem : nInBlocks;
  oHeap.AllocateOnlyUpTo(static_cast<uint32_t>(nTotal - 3000));
  EXPECT_EQ(std::vector<uint32_t>{3000}, oHigh.vnAsked);
  EXPECT_FALSE(oHigh.bReuseSeen);
  EXPECT_TRUE(oHeap.bIsReusingBlocks());
  EXPECT_TRUE(oLow.vnAsked.empty());
  EXPECT_EQ(0u, oHigh.nGetBlocks());
  EXPECT_EQ(1068u, oHeap.nGetBytesInUse());
  EXPECT_EQ(0u, oHeap.nGetFreeListCount());  // released blocks destroyed

  oHeap.RemoveLargeAllocator(&oHigh);
  ASSERT_EQ(1u, oHeap.nGetLargeAllocatorCount());
  EXPECT_EQ(&oLow, oHeap.poGetLargeAllocatorAt(0));
  oHeap.RemoveLargeAllocator(&oLow);
}
