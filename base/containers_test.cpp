#include "base/containers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <vector>

#include "base/heap.h"
#include "base/string.h"

namespace {

// Counts destructions so that tests can tell DeleteAll from RemoveAll.
int g_iDestroyed = 0;
struct SCounted {
  ~SCounted() { ++g_iDestroyed; }
};

// Stand-in for the heap's large allocator: only the ranking is needed.
struct SRanked {
  int32_t iRank;
  int32_t iRanking() const { return iRank; }
};

// Independent bit-by-bit CRC-32 step (reflected 0xEDB88320, no inversion).
uint32_t nBitwiseCRC(uint32_t nCrc, uint8_t const* pby, size_t n) {
  while (n--) {
    nCrc ^= *pby++;
    for (int k = 0; k < 8; ++k)
      nCrc = (nCrc & 1) ? (nCrc >> 1) ^ 0xEDB88320u : nCrc >> 1;
  }
  return nCrc;
}

}  // namespace

TEST(LuList, WalksBothWaysIndexesAndRemoves) {
  int a = 1, b = 2, c = 3, d = 4;
  CLuList<int> list;
  list.posAddTail(&b);
  SLuPosition* posC = list.posAddTail(&c);
  list.posAddTail(&d);
  list.posAddHead(&a);
  std::vector<int> v;
  for (SLuPosition* pos = list.posGetHead(); pos; pos = list.posGetNext(pos))
    v.push_back(*list.poGetAt(pos));
  for (auto pos = list.posGetTail(); pos; pos = list.posGetPrevious(pos))
    v.push_back(*list.poGetAt(pos));
  EXPECT_EQ((std::vector<int>{1, 2, 3, 4, 4, 3, 2, 1}), v);
  EXPECT_EQ(&d, list.poGetAtIndex(3));  // null from the count on
  EXPECT_EQ(nullptr, list.poGetAtIndex(4));

  EXPECT_EQ(&c, list.poRemoveAt(posC));
  EXPECT_EQ(&a, list.poRemoveHead());
  EXPECT_EQ(&d, list.poRemoveTail());
  EXPECT_EQ(&b, list.poRemoveHead());
  EXPECT_EQ(nullptr, list.poRemoveHead());  // empty: no crash, null
  EXPECT_EQ(nullptr, list.posGetTail());
}

TEST(LuList, DeleteAllDestroysElementsRemoveAllDoesNot) {
  g_iDestroyed = 0;
  SCounted *po1 = new SCounted, *po2 = new SCounted;
  CLuList<SCounted> list;
  list.posAddTail(po1);
  list.posAddTail(po2);
  list.RemoveAll();
  EXPECT_EQ(0, g_iDestroyed);
  list.posAddTail(po1);
  list.posAddTail(nullptr);  // null elements are skipped
  list.posAddTail(po2);
  list.DeleteAll();
  EXPECT_EQ(2, g_iDestroyed);
  EXPECT_EQ(0u, list.nGetCount());
  CLuList<void> numbers;  // must not try to destroy the numbers
  numbers.posAddTail(reinterpret_cast<void*>(uintptr_t(4294967295u)));
  numbers.DeleteAll();
}

// Capacity after nAdds adds; every element must have been kept.
static uint32_t nCapacityAfter(uint32_t nCapacity, uint32_t nStep,
                               uint32_t nAdds) {
  CLuCompactArray<int> array(nCapacity, nStep);
  std::vector<int> v(nAdds);
  for (int& i : v) array.Add(&i);
  EXPECT_EQ(nAdds, array.nGetCount());
  EXPECT_EQ(&v.back(), array.poGetAt(nAdds - 1));
  EXPECT_EQ(nullptr, array.poGetAt(nAdds));
  return array.nGetCapacity();
}

TEST(LuCompactArray, GrowsToTheNextMultipleOfTheStep) {
  EXPECT_EQ(128u, nCapacityAfter(128, 128, 128));
  EXPECT_EQ(256u, nCapacityAfter(128, 128, 129));
  EXPECT_EQ(200u, nCapacityAfter(150, 100, 151));
  EXPECT_EQ(10u, nCapacityAfter(0, 10, 1));
  EXPECT_EQ(6u, nCapacityAfter(5, 0, 6));  // step 0 counts as 1
}

TEST(LuCompactArray, GrowthThatCannotBeHadDropsTheAdd) {
  int a[3] = {0, 1, 2};
  for (uint32_t nFailures : {5u, 6u}) {  // one try and five retries
    SCOPED_TRACE(nFailures);
    CLuCompactArray<int> array(2, 2);
    array.Add(&a[0]);
    array.Add(&a[1]);
    LuSimulateAllocationFailures(nFailures);
    array.Add(&a[2]);
    LuSimulateAllocationFailures(0);
    bool const bGrown = nFailures < 6;
    EXPECT_EQ(bGrown ? 3u : 2u, array.nGetCount());
    EXPECT_EQ(bGrown ? 4u : 2u, array.nGetCapacity());
    EXPECT_EQ(&a[1], array.poGetAt(1));
  }
  poLuGlobalHeap()->AllocateOnlyUpTo(0xFFFFFFFFu);  // the retries lowered it
  poLuGlobalHeap()->ReuseFreeBlocksUpTo(0);
}

TEST(LuCompactArray, InsertAndRemoveShiftTheRest) {
  int a = 1, b = 2, c = 3;
  CLuCompactArray<int> array(2, 2);
  array.Add(&a);
  array.Add(&c);
  EXPECT_TRUE(array.bInsertAt(1, &b));
  EXPECT_FALSE(array.bInsertAt(4, &b));
  EXPECT_EQ(2, array.iFind(&c));
  EXPECT_EQ(&a, array.poRemoveAt(0));
  EXPECT_EQ(&c, array.poGetAt(1));
}

TEST(LuCompactArray, SortsByteOrderAscendingAndRankingDescending) {
  // Frame names sorted by bytes ("PLATE" before "plate", "a.10" before
  // "a.8") are pinned by the tool's output tests.
  CLuString a("f_0010.dpx"), e("a10.dpx");
  CLuString *pox = &a, *poy = &e;  // 'f' - 'a' = 5, reported as 1
  EXPECT_EQ(1, CLuCompactArray<CLuString>::iCompareAscending(&pox, &poy));

  SRanked r1{-3}, r2{INT32_MIN}, r3{INT32_MAX};  // no overflow at the extremes
  CLuCompactArray<SRanked> ranked(2, 2);
  for (SRanked* po : {&r1, &r2, &r3}) ranked.Add(po);
  ranked.Sort(CLuCompactArray<SRanked>::iCompareDescending);
  EXPECT_EQ(&r3, ranked.poGetAt(0));
  EXPECT_EQ(&r2, ranked.poGetAt(2));
}

TEST(LuIndex, KeyCaseRulesAndTheHash) {
  int p = 1, q = 2;
  CLuIndex<int, false> insensitive;
  EXPECT_TRUE(insensitive.bSetAt("Name", &p));
  EXPECT_TRUE(insensitive.bSetAt("NAME", &q));
  ASSERT_EQ(1u, insensitive.nGetCount());
  EXPECT_STREQ("Name", insensitive.poGetKeyAt(0)->pszGetString());
  EXPECT_EQ(&q, insensitive.poGetAt("nAmE"));

  CLuIndex<int, true> sensitive;
  EXPECT_TRUE(sensitive.bSetAt("Name", &p) && sensitive.bSetAt("NAME", &q));
  EXPECT_EQ(&q, sensitive.poGetAt("NAME"));
  EXPECT_EQ(nullptr, sensitive.poGetAt("name"));

  // Published CRC-32: "abc" 0x352441C2, "ABC" 0xA3830348; stored inverted.
  EXPECT_EQ(0xCADBBE3Du, CLuIndexBase::nHashKey("abc", true));
  EXPECT_EQ(0x5C7CFCB7u, CLuIndexBase::nHashKey("abc", false));
}

TEST(LuIndex, NullElementRemovesOrDoesNothing) {
  int p = 1;
  CLuIndex<int, false> index;
  EXPECT_TRUE(index.bSetAt("absent", nullptr));
  EXPECT_EQ(0u, index.nGetCount());
  index.bSetAt("a", &p);
  index.bSetAt("b", &p);
  EXPECT_TRUE(index.bSetAt("A", nullptr));
  ASSERT_EQ(1u, index.nGetCount());
  EXPECT_STREQ("b", index.poGetKeyAt(0)->pszGetString());
  EXPECT_EQ(nullptr, index.poRemoveAt(1));
}

TEST(LuIndex, InsertFailsWholeWhenTheKeyCopyCannotBeMade) {
  // The global operators are the seam's only when no memory checker
  // replaced them. A direct call: a new-expression whose result is only
  // deleted may be left out by the compiler altogether.
  LuSimulateAllocationFailures(1);
  ::operator delete(::operator new(1, std::nothrow));
  bool const bOurs = g_oLuHeapTestSeam.nFailuresLeft.load() == 0;
  LuSimulateAllocationFailures(0);
  if (!bOurs) GTEST_SKIP() << "global operators replaced by a memory checker";

  // Each failed allocation costs six system calls (one try, five retries).
  struct {
    char const* pszWhat;
    uint32_t nPasses, nFailures;
    bool bExpected;
  } const aCases[] = {
      {"object", 0, 6, false},
      {"object and text", 0, 12, false},
      {"text buffer, then its second chance", 1, 12, false},
      {"text buffer only, the second chance succeeds", 1, 6, true},
  };
  int p = 1, q = 2;
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.pszWhat);
    CLuIndex<int, true> index;
    index.bSetAt("old", &p);
    CLuString const strKey("key");
    LuSimulateAllocationFailures(o.nFailures, o.nPasses);
    bool const bResult = index.bSetAt(strKey, &q);
    LuSimulateAllocationFailures(0);
    EXPECT_EQ(o.bExpected, bResult);
    EXPECT_EQ(o.bExpected ? 2u : 1u, index.nGetCount());
    EXPECT_EQ(o.bExpected ? &q : nullptr, index.poGetAt(strKey));
    EXPECT_EQ(&p, index.poGetAt("old"));
    EXPECT_EQ(nullptr, index.poGetAt(""));  // never an empty key
  }
  // The retries took what the process holds as the allocation limit.
  poLuGlobalHeap()->AllocateOnlyUpTo(0xFFFFFFFFu);
  poLuGlobalHeap()->ReuseFreeBlocksUpTo(0);
}

TEST(LuIndex, ManyKeysStayFindable) {
  std::vector<int> v(1000);
  std::vector<CLuString> vKeys(v.size());
  CLuIndex<int, true> index(0);
  for (size_t i = 0; i < v.size(); ++i) {
    vKeys[i].Format("key%zu", i);
    index.bSetAt(vKeys[i], &v[i]);
  }
  EXPECT_EQ(1024u, index.nGetCapacity());  // grown by 128 at a time
  for (size_t i = 0; i < v.size(); ++i)
    ASSERT_EQ(&v[i], index.poGetAt(vKeys[i]));
}

TEST(LuIndex, EntryComparisonsSortByName) {
  CLuString str9("Item9"), str10("item10");
  SLuIndexEntry const o9{&str9, nullptr, 0}, o10{&str10, nullptr, 0};
  EXPECT_LT(CLuIndexBase::iCompareNA(&o9, &o10), 0);  // numbers by value
  EXPECT_LT(CLuIndexBase::iCompare(&o10, &o9), 0);    // '1' < '9', any case
}

TEST(LuDeque, WrapsAroundAndGrowsInOrder) {
  int a[5] = {0, 1, 2, 3, 4};
  CLuDeque<int> deque(3, 2);
  deque.bAddTail(&a[2]);
  deque.bAddHead(&a[1]);  // wraps to the buffer's end
  deque.bAddTail(&a[3]);
  deque.bAddHead(&a[0]);  // full: grows, keeping the order
  deque.bAddTail(&a[4]);
  EXPECT_EQ(5u, deque.nGetCapacity());
  for (uint32_t i = 0; i < 5; ++i) EXPECT_EQ(&a[i], deque.poGetAt(i));
  EXPECT_EQ(nullptr, deque.poGetAt(5));
  EXPECT_EQ(&a[4], deque.poRemoveTail());
  EXPECT_EQ(&a[0], deque.poRemoveHead());
  EXPECT_EQ(&a[3], deque.poGetTail());
}

TEST(LuSparseArray, GrowsToCoverTheIndex) {
  int a = 1;
  CLuSparseArray<int> array;
  EXPECT_TRUE(array.bSetAt(300, &a));
  EXPECT_EQ(384u, array.nGetCapacity());
  EXPECT_EQ(301u, array.nGetSize());
  EXPECT_EQ(&a, array.poGetAt(300));
  EXPECT_TRUE(array.bSetAt(5000, nullptr));  // no growth for null
  EXPECT_EQ(384u, array.nGetCapacity());
}

TEST(LuCRC32, WordPathMatchesTheBitwiseRuleAtEveryAlignment) {
  EXPECT_EQ(0x1234u, nLuCRC32Update(0x1234, nullptr, 5));
  std::vector<uint8_t> v(108);
  srand(7);
  for (uint8_t& by : v) by = static_cast<uint8_t>(rand());
  for (size_t nOffset = 0; nOffset < 8; ++nOffset)
    for (size_t n = 0; n <= 100; ++n)
      ASSERT_EQ(nBitwiseCRC(0xFFFFFFFF, v.data() + nOffset, n),
                nLuCRC32Update(0xFFFFFFFF, v.data() + nOffset, n))
          << nOffset << "+" << n;
}
