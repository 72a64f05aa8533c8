#include "base/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

namespace {

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
// the global heap's allocation limit to what the process holds; SetUp and
// TearDown put it back.
class LuHeapFailure : public testing::Test {
 protected:
  void SetUp() override {
    if (!bOperatorsAreOurs())
      GTEST_SKIP() << "global operators replaced by a memory checker";
    poLuGlobalHeap()->AllocateOnlyUpTo(0xFFFFFFFFu);  // the probe lowered it
  }
  void TearDown() override {
    LuSimulateAllocationFailures(0);
    poLuGlobalHeap()->AllocateOnlyUpTo(0xFFFFFFFFu);
    poLuGlobalHeap()->ReuseFreeBlocksUpTo(0);
  }
};

int g_iConstructed = 0;
struct SConstructed {
  SConstructed() { ++g_iConstructed; }
};

// Test client that owns nBlocks heap blocks of 1,000 bytes (1,068 with the
// block header) and gives them all back when asked.
class CBlockHolder : public CLuHeap::CLargeAllocator {
 public:
  CBlockHolder(CLuHeap* poHeap, int32_t iRank, int nBlocks)
      : CLargeAllocator(iRank), poOwner(poHeap) {
    while (nBlocks-- > 0)
      vpBlocks.push_back(poHeap->pReallocate(nullptr, 1000, true));
  }
  ~CBlockHolder() override { ReleaseMemory(0); }
  void ReleaseMemory(uint32_t nBytes) override {
    vnAsked.push_back(nBytes);
    bReuseSeen = poOwner->bIsReusingBlocks();
    if (bAllocateFirst) {
      // A client that needs a block while it gives memory back: the heap
      // trims again inside this call.
      bAllocateFirst = false;
      void* p = poOwner->pReallocate(nullptr, 1000, true);
      bReuseAfterNested = poOwner->bIsReusingBlocks();
      poOwner->pReallocate(p, 0, false);
    }
    for (void* p : vpBlocks) poOwner->pReallocate(p, 0, false);
    vpBlocks.clear();
  }
  CLuHeap* poOwner;
  std::vector<void*> vpBlocks;
  std::vector<uint32_t> vnAsked;
  bool bReuseSeen = true;
  bool bAllocateFirst = false;
  bool bReuseAfterNested = false;
};

}  // namespace

// ------------------------------------------------------ global operators

TEST_F(LuHeapFailure, OnlyAFailureTakesTheMutexAndOneIsRecovered) {
  std::align_val_t const eAlign{4096};
  uint32_t nBefore = g_oLuHeapTestSeam.nLocksTaken.load();
  delete new char;
  delete[] new (std::nothrow) int[3];
  ::operator delete[](::operator new[](5000, eAlign), eAlign);
  EXPECT_EQ(nBefore, g_oLuHeapTestSeam.nLocksTaken.load());

  LuSimulateAllocationFailures(1);
  void* p = ::operator new(100);
  EXPECT_NE(nullptr, p);
  EXPECT_EQ(nBefore + 1, g_oLuHeapTestSeam.nLocksTaken.load());
  ::operator delete(p);
  // The retry took what the process holds as its allocation limit.
  EXPECT_LT(poLuGlobalHeap()->nGetAllocationLimit(), 0xFFFFFFFFu);

  // A second failure happens inside the retry loop, with the mutex held;
  // afterwards the mutex is free again.
  LuSimulateAllocationFailures(2);
  p = ::operator new[](100);
  EXPECT_NE(nullptr, p);
  EXPECT_EQ(1u, g_oLuHeapTestSeam.nLockCountAtFailure.load());
  EXPECT_EQ(0u, poLuGlobalHeap()->nGetLockCount());
  ::operator delete[](p);
}

TEST_F(LuHeapFailure, SixFailuresInARowGiveNull) {
  void* (*const apfnForms[])() = {
      [] { return ::operator new(64); },
      [] { return ::operator new[](64, std::nothrow); },
      [] { return ::operator new(64, std::align_val_t(32), std::nothrow); },
  };
  for (size_t i = 0; i < 9; ++i) {  // every form with 5, 6 and 7 failures
    uint32_t const nFailures = 5 + i % 3;
    SCOPED_TRACE(testing::Message()
                 << "form " << i / 3 << ", failures " << nFailures);
    LuSimulateAllocationFailures(nFailures);
    void* p = apfnForms[i / 3]();
    EXPECT_EQ(nFailures >= 6, p == nullptr);
    EXPECT_EQ(nFailures == 7 ? 1u : 0u, g_oLuHeapTestSeam.nFailuresLeft.load());
    free(p);  // the system allocator's block, whatever the form
  }
  // A non-throwing new-expression that gets null runs no constructor.
  LuSimulateAllocationFailures(6);
  SConstructed* po = new (std::nothrow) SConstructed;
  EXPECT_EQ(nullptr, po);
  EXPECT_EQ(0, g_iConstructed);
}

// The retry loop itself, which runs under any memory checker: one first try
// unless skipped, then five rounds of trimming and trying again.
TEST(LuHeap, InternalAllocGivesUpAfterTheFifthRetry) {
  CLuHeap oHeap;
  for (uint32_t nFailures : {5u, 6u}) {
    SCOPED_TRACE(nFailures);
    LuSimulateAllocationFailures(nFailures);
    void* p = oHeap.pInternalAlloc(100, false);
    EXPECT_EQ(nFailures == 6, p == nullptr);
    free(p);
    LuSimulateAllocationFailures(nFailures - 1);
    p = oHeap.pInternalAllocAligned(100, 64, true);  // no first try
    EXPECT_EQ(nFailures == 6, p == nullptr);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % 64);
    free(p);
  }
  LuSimulateAllocationFailures(0);
  // An alignment that is no power of two fails without retrying.
  EXPECT_EQ(nullptr, oHeap.pInternalAllocAligned(100, 48, false));
}

// ------------------------------------------------------------ block cache

TEST(LuHeap, BlockIsAlignedAndKeepsItsContents) {
  CLuHeap oHeap;
  char* p = static_cast<char*>(oHeap.pReallocate(nullptr, 100, true));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % 64);
  for (int i = 0; i < 100; ++i) p[i] = static_cast<char>(i + 1);
  p = static_cast<char*>(oHeap.pReallocate(p, 20000, true));
  ASSERT_NE(nullptr, p);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(i + 1, p[i]) << i;
  p = static_cast<char*>(oHeap.pReallocate(p, 10, true));
  EXPECT_EQ(0, memcmp(p, "\1\2\3\4\5\6\7\10\11\12", 10));
  EXPECT_EQ(78u, oHeap.nGetBytesInUse());
  EXPECT_EQ(nullptr, oHeap.pReallocate(p, 0, true));  // size 0 releases
  EXPECT_EQ(0u, oHeap.nGetBlocksInUse());
}

TEST(LuHeap, ReleasedBlocksAreKeptInEightKiBSizeClassesOnlyWithABudget) {
  // Request, block size (request + 68), size class.
  uint32_t const anCases[][3] = {
      {8100, 8168, 0}, {8124, 8192, 8192}, {8200, 8268, 8192}};
  for (auto const& an : anCases) {
    SCOPED_TRACE(an[0]);
    CLuHeap oHeap;  // the initial budget is 0: a released block is deleted
    oHeap.pReallocate(oHeap.pReallocate(nullptr, an[0], true), 0, true);
    EXPECT_EQ(0u, oHeap.nGetFreeListCount());
    oHeap.ReuseFreeBlocksUpTo(1000000);
    void* p = oHeap.pReallocate(nullptr, an[0], true);
    oHeap.pReallocate(p, 0, true);
    ASSERT_EQ(1u, oHeap.nGetFreeListCount());
    EXPECT_EQ(an[2], oHeap.poGetFreeListAt(0)->nSizeClass);
    EXPECT_EQ(an[1], oHeap.nGetBytesInFreeBlocks());
    EXPECT_EQ(p, oHeap.pReallocate(nullptr, an[0], true));  // reused
    EXPECT_EQ(0u, oHeap.nGetFreeListCount());  // emptied list is gone
    oHeap.pReallocate(p, 0, true);
  }
}

TEST(LuHeap, LoweredBudgetTrimsFromTheSmallestClassUp) {
  CLuHeap oHeap;
  oHeap.ReuseFreeBlocksUpTo(100000);
  void* pSmall = oHeap.pReallocate(nullptr, 100, true);    // 168, class 0
  void* pMedium = oHeap.pReallocate(nullptr, 9000, true);  // 9068, 8192
  void* pLarge = oHeap.pReallocate(nullptr, 20000, true);  // 20068, 16384
  for (void* p : {pLarge, pSmall, pMedium}) oHeap.pReallocate(p, 0, true);
  EXPECT_EQ(29304u, oHeap.nGetBytesInFreeBlocks());

  // 29,304 - 25,000 = 4,304 bytes must go: the 168-byte block, then the
  // 9,068-byte one; the 20,068-byte block stays.
  oHeap.ReuseFreeBlocksUpTo(25000);
  ASSERT_EQ(1u, oHeap.nGetFreeListCount());
  EXPECT_EQ(20068u, oHeap.nGetBytesInFreeBlocks());
}

TEST(LuHeap, LargeAllocatorsReleaseTheExcessLargestRankingFirst) {
  CLuHeap oHeap;
  CBlockHolder oLow(&oHeap, 5, 1), oHigh(&oHeap, 10, 3);
  oHeap.AddLargeAllocator(&oLow);
  oHeap.AddLargeAllocator(&oHigh);
  EXPECT_EQ(&oHigh, oHeap.poGetLargeAllocatorAt(0));

  // A limit 3,000 bytes below what the process holds: the first allocator
  // gives back its three blocks (3,204 bytes); the second is not asked.
  uint64_t nInBlocks = oHeap.nGetBytesInUse();
  uint64_t nSystem = static_cast<uint64_t>(CLuHeap::ipAllocatedSystem());
  oHeap.AllocateOnlyUpTo(
      static_cast<uint32_t>(std::max(nSystem, nInBlocks) - 3000));
  EXPECT_EQ(std::vector<uint32_t>{3000}, oHigh.vnAsked);
  EXPECT_FALSE(oHigh.bReuseSeen);  // no caching while releasing
  EXPECT_TRUE(oLow.vnAsked.empty());
  EXPECT_EQ(1068u, oHeap.nGetBytesInUse());

  oHeap.RemoveLargeAllocator(&oHigh);
  EXPECT_EQ(&oLow, oHeap.poGetLargeAllocatorAt(0));
  oHeap.RemoveLargeAllocator(&oLow);
}

TEST(LuHeap, ReuseIsOnAgainAfterEveryTrimThatAskedLargeAllocators) {
  CLuHeap oHeap;
  CBlockHolder oHolder(&oHeap, 1, 3);
  oHolder.bAllocateFirst = true;
  oHeap.AddLargeAllocator(&oHolder);
  uint64_t nInBlocks = oHeap.nGetBytesInUse();
  uint64_t nSystem = static_cast<uint64_t>(CLuHeap::ipAllocatedSystem());
  oHeap.AllocateOnlyUpTo(
      static_cast<uint32_t>(std::max(nSystem, nInBlocks) - 3000));
  // Asked twice: by the trim, then by the one its own allocation caused,
  // which switched reuse on again while the first was still running.
  EXPECT_EQ(2u, oHolder.vnAsked.size());
  EXPECT_FALSE(oHolder.bReuseSeen);
  EXPECT_TRUE(oHolder.bReuseAfterNested);
  EXPECT_TRUE(oHeap.bIsReusingBlocks());
  oHeap.RemoveLargeAllocator(&oHolder);
}
