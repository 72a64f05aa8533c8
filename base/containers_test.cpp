#include "base/containers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "base/string.h"

namespace {

// Counts destructions so that tests can tell DeleteAll from RemoveAll.
struct SCounted {
  static int s_iDestroyed;
  int i;
  explicit SCounted(int iValue) : i(iValue) {}
  ~SCounted() { ++s_iDestroyed; }
};
int SCounted::s_iDestroyed = 0;

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

TEST(LuList, AppendsInOrderAndWalksBothWays) {
  int a = 1, b = 2, c = 3;
  CLuList<int> list;
  EXPECT_TRUE(list.bIsEmpty());
  list.posAddTail(&b);
  list.posAddTail(&c);
  list.posAddHead(&a);
  ASSERT_EQ(3u, list.nGetCount());
  std::vector<int> vForward, vBackward;
  for (SLuPosition* pos = list.posGetHead(); pos; pos = list.posGetNext(pos))
    vForward.push_back(*list.poGetAt(pos));
  for (auto pos = list.posGetTail(); pos; pos = list.posGetPrevious(pos))
    vBackward.push_back(*list.poGetAt(pos));
  EXPECT_EQ((std::vector<int>{1, 2, 3}), vForward);
  EXPECT_EQ((std::vector<int>{3, 2, 1}), vBackward);
}

TEST(LuList, GetAtIndexIsNullFromTheCountOn) {
  int a = 1, b = 2;
  struct {
    uint32_t nElements, nIndex;
    int* poExpected;
  } const aCases[] = {
      {1, 0, &a},      {1, 1, nullptr}, {2, 1, &b},
      {2, 2, nullptr}, {0, 0, nullptr}, {2, 0xFFFFFFFF, nullptr},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(testing::Message()
                 << c.nElements << " elements, index " << c.nIndex);
    CLuList<int> list;
    if (c.nElements > 0) list.posAddTail(&a);
    if (c.nElements > 1) list.posAddTail(&b);
    EXPECT_EQ(c.poExpected, list.poGetAtIndex(c.nIndex));
    EXPECT_EQ(c.poExpected, list.poGetAt(list.posFindIndex(c.nIndex)));
  }
}

TEST(LuList, RemovingRelinksNeighboursAndReturnsTheElement) {
  int a = 1, b = 2, c = 3, d = 4;
  CLuList<int> list;
  list.posAddTail(&a);
  SLuPosition* posB = list.posAddTail(&b);
  list.posAddTail(&c);
  list.posAddTail(&d);
  EXPECT_EQ(&b, list.poRemoveAt(posB));
  EXPECT_EQ(&a, list.poRemoveHead());
  EXPECT_EQ(&d, list.poRemoveTail());
  ASSERT_EQ(1u, list.nGetCount());
  EXPECT_EQ(&c, list.poRemoveHead());
  EXPECT_EQ(nullptr, list.posGetTail());
  EXPECT_EQ(nullptr, list.poRemoveHead());  // empty: no crash, null
  EXPECT_EQ(nullptr, list.poRemoveAt(nullptr));
  EXPECT_EQ(0u, list.nGetCount());
}

TEST(LuList, NewNodeCountsBeforeLinking) {
  int a = 7;
  CLuList<int> list;
  SLuPosition* pos = list.NewNode(&a);
  ASSERT_NE(nullptr, pos);
  // Counted, but not linked: the count runs one ahead of the nodes.
  EXPECT_EQ(1u, list.nGetCount());
  EXPECT_TRUE(list.bIsEmpty());
  EXPECT_EQ(nullptr, pos->poNext);
  EXPECT_EQ(nullptr, pos->poPrevious);
  EXPECT_EQ(nullptr, list.poGetAtIndex(0));  // the walk stops at the end
  delete pos;
  list.RemoveAll();
  EXPECT_EQ(0u, list.nGetCount());
}

TEST(LuList, DeleteAllDestroysElementsRemoveAllDoesNot) {
  SCounted::s_iDestroyed = 0;
  SCounted* po1 = new SCounted(1);
  SCounted* po2 = new SCounted(2);
  CLuList<SCounted> list;
  list.posAddTail(po1);
  list.posAddTail(po2);
  list.RemoveAll();
  EXPECT_EQ(0, SCounted::s_iDestroyed);
  list.posAddTail(po1);
  list.posAddTail(nullptr);  // null elements are skipped
  list.posAddTail(po2);
  list.DeleteAll();
  EXPECT_EQ(2, SCounted::s_iDestroyed);
  EXPECT_EQ(nullptr, list.posGetHead());
  // Strings: ASan reports a leak if buffer or object survive.
  CLuList<CLuString> strings;
  strings.posAddTail(new CLuString("frame.0001.dpx"));
  strings.DeleteAll();
  EXPECT_EQ(0u, strings.nGetCount());
}

TEST(LuList, VoidListHoldsNumbers) {
  CLuList<void> numbers;
  for (uintptr_t n : {10u, 0u, 4294967295u})
    numbers.posAddTail(reinterpret_cast<void*>(n));
  EXPECT_EQ(3u, numbers.nGetCount());
  EXPECT_EQ(4294967295u, reinterpret_cast<uintptr_t>(numbers.poGetAtIndex(2)));
  EXPECT_EQ(10u, reinterpret_cast<uintptr_t>(numbers.poRemoveHead()));
  numbers.DeleteAll();  // must not try to destroy the numbers
  EXPECT_EQ(0u, numbers.nGetCount());
}

TEST(LuCompactArray, GrowsToTheNextMultipleOfTheStep) {
  struct {
    uint32_t nCapacity, nStep, nAdds, nExpectedCapacity;
  } const aCases[] = {
      {128, 128, 128, 128}, {128, 128, 129, 256}, {150, 100, 150, 150},
      {150, 100, 151, 200}, {0, 10, 1, 10},       {5, 0, 6, 6},  // step 0 -> 1
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(testing::Message()
                 << c.nCapacity << "/" << c.nStep << " + " << c.nAdds);
    CLuCompactArray<int> array(c.nCapacity, c.nStep);
    std::vector<int> v(c.nAdds);
    for (int& i : v) array.Add(&i);
    EXPECT_EQ(c.nAdds, array.nGetCount());
    EXPECT_EQ(c.nExpectedCapacity, array.nGetCapacity());
    for (uint32_t i = 0; i < c.nAdds; ++i) ASSERT_EQ(&v[i], array.poGetAt(i));
    EXPECT_EQ(nullptr, array.poGetAt(c.nAdds));
  }
}

TEST(LuCompactArray, InsertAndRemoveShiftTheRest) {
  int a = 1, b = 2, c = 3;
  CLuCompactArray<int> array(2, 2);
  array.Add(&a);
  array.Add(&c);
  EXPECT_TRUE(array.bInsertAt(1, &b));
  EXPECT_FALSE(array.bInsertAt(4, &b));
  ASSERT_EQ(3u, array.nGetCount());
  EXPECT_EQ(&b, array.poGetAt(1));
  EXPECT_EQ(2, array.iFind(&c));
  EXPECT_EQ(&a, array.poRemoveAt(0));
  EXPECT_EQ(nullptr, array.poRemoveAt(2));
  EXPECT_EQ(&c, array.poGetAt(1));
}

TEST(LuCompactArray, AscendingSortIsPlainByteOrder) {
  CLuString a("f_0010.dpx"), b("f_0009.dpx"), c("F_0011.dpx"), d("a9.dpx"),
      e("a10.dpx");
  CLuCompactArray<CLuString> array(128, 128);
  for (CLuString* po : {&a, &b, &c, &d, &e}) array.Add(po);
  qsort(array.ppGetData(), array.nGetCount(), sizeof(CLuString*),
        CLuCompactArray<CLuString>::iCompareAscending);
  std::vector<std::string> v;
  for (uint32_t i = 0; i < array.nGetCount(); ++i)
    v.push_back(array.poGetAt(i)->pszGetString());
  EXPECT_EQ((std::vector<std::string>{"F_0011.dpx", "a10.dpx", "a9.dpx",
                                      "f_0009.dpx", "f_0010.dpx"}),
            v);
  CLuString *pox = &a, *poy = &e;  // 'f' - 'a' = 5, reported as 1
  EXPECT_EQ(1, CLuCompactArray<CLuString>::iCompareAscending(&pox, &poy));
}

TEST(LuCompactArray, DescendingSortPutsLargestRankingFirst) {
  SRanked a{5}, b{-3}, c{INT32_MAX}, d{INT32_MIN}, e{0};
  CLuCompactArray<SRanked> array(2, 2);
  for (SRanked* po : {&a, &b, &c, &d, &e}) array.Add(po);
  array.Sort(CLuCompactArray<SRanked>::iCompareDescending);
  std::vector<int32_t> v;
  for (uint32_t i = 0; i < array.nGetCount(); ++i)
    v.push_back(array.poGetAt(i)->iRanking());
  EXPECT_EQ((std::vector<int32_t>{INT32_MAX, 5, 0, -3, INT32_MIN}), v);
}

TEST(LuIndex, KeyCaseRules) {
  int p = 1, q = 2;
  CLuIndex<int, false> insensitive;
  EXPECT_TRUE(insensitive.bSetAt("Name", &p));
  EXPECT_TRUE(insensitive.bSetAt("NAME", &q));
  ASSERT_EQ(1u, insensitive.nGetCount());
  EXPECT_EQ(&q, insensitive.poGetElementAt(0));
  EXPECT_STREQ("Name", insensitive.poGetKeyAt(0)->pszGetString());
  EXPECT_EQ(&q, insensitive.poGetAt("nAmE"));

  CLuIndex<int, true> sensitive;
  EXPECT_TRUE(sensitive.bSetAt("Name", &p));
  EXPECT_TRUE(sensitive.bSetAt("NAME", &q));
  EXPECT_EQ(2u, sensitive.nGetCount());
  EXPECT_EQ(&p, sensitive.poGetAt("Name"));
  EXPECT_EQ(&q, sensitive.poGetAt("NAME"));
  EXPECT_EQ(nullptr, sensitive.poGetAt("name"));
}

TEST(LuIndex, HashIsTheUninvertedCRCOfTheKey) {
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
  EXPECT_EQ(-1, index.iFind("a"));
  EXPECT_EQ(&p, index.poRemoveAt(0));
  EXPECT_EQ(nullptr, index.poRemoveAt(0));
}

TEST(LuIndex, ManyKeysStayHashSortedAndFindable) {
  std::vector<int> v(1000);
  CLuIndex<int, true> index(0);
  for (size_t i = 0; i < v.size(); ++i) {
    CLuString strKey;
    strKey.Format("key%zu", i);
    ASSERT_TRUE(index.bSetAt(strKey, &v[i]));
  }
  EXPECT_EQ(1000u, index.nGetCount());
  EXPECT_EQ(1024u, index.nGetCapacity());  // grown by 128 at a time
  SLuIndexEntry const* pa = index.poGetEntries();
  for (uint32_t i = 1; i < index.nGetCount(); ++i)
    ASSERT_LE(pa[i - 1].nHash, pa[i].nHash);
  for (size_t i = 0; i < v.size(); ++i) {
    CLuString strKey;
    strKey.Format("key%zu", i);
    ASSERT_EQ(&v[i], index.poGetAt(strKey));
  }
}

TEST(LuIndex, EntryComparisonsSortByName) {
  int p = 0;
  CLuIndex<int, false> index;
  for (char const* psz : {"item10", "Item9", "item1"}) index.bSetAt(psz, &p);
  std::vector<SLuIndexEntry> v(index.poGetEntries(),
                               index.poGetEntries() + index.nGetCount());
  qsort(v.data(), v.size(), sizeof(SLuIndexEntry), CLuIndexBase::iCompareNA);
  EXPECT_STREQ("item1", v[0].poKey->pszGetString());
  EXPECT_STREQ("Item9", v[1].poKey->pszGetString());
  EXPECT_STREQ("item10", v[2].poKey->pszGetString());
  qsort(v.data(), v.size(), sizeof(SLuIndexEntry), CLuIndexBase::iCompare);
  EXPECT_STREQ("Item9", v[2].poKey->pszGetString());
}

TEST(LuDeque, WrapsAroundAndGrowsInOrder) {
  int a[6] = {0, 1, 2, 3, 4, 5};
  CLuDeque<int> deque(3, 2);
  deque.bAddTail(&a[2]);
  deque.bAddHead(&a[1]);  // wraps to the buffer's end
  deque.bAddTail(&a[3]);
  deque.bAddHead(&a[0]);  // full: grows, keeping the order
  deque.bAddTail(&a[4]);
  EXPECT_EQ(5u, deque.nGetCapacity());
  ASSERT_EQ(5u, deque.nGetCount());
  for (uint32_t i = 0; i < 5; ++i) EXPECT_EQ(&a[i], deque.poGetAt(i));
  EXPECT_EQ(nullptr, deque.poGetAt(5));
  EXPECT_EQ(&a[4], deque.poRemoveTail());
  EXPECT_EQ(&a[0], deque.poRemoveHead());
  EXPECT_EQ(&a[3], deque.poGetTail());
  deque.RemoveAll();
  EXPECT_EQ(nullptr, deque.poRemoveHead());
  EXPECT_EQ(nullptr, deque.poRemoveTail());
}

TEST(LuSparseArray, GrowsToCoverTheIndex) {
  int a = 1;
  CLuSparseArray<int> array;
  EXPECT_EQ(128u, array.nGetCapacity());
  EXPECT_TRUE(array.bSetAt(300, &a));
  EXPECT_EQ(384u, array.nGetCapacity());
  EXPECT_EQ(301u, array.nGetSize());
  EXPECT_EQ(&a, array.poGetAt(300));
  EXPECT_EQ(nullptr, array.poGetAt(299));
  EXPECT_TRUE(array.bSetAt(5000, nullptr));  // no growth for null
  EXPECT_EQ(384u, array.nGetCapacity());
}

TEST(LuCRC32, TableAndWordPathMatchTheBitwiseRule) {
  EXPECT_EQ(0x77073096u, g_anLuCRC32Table[1]);
  for (int i = 0; i < 256; ++i) {
    uint8_t by = static_cast<uint8_t>(i);
    ASSERT_EQ(nBitwiseCRC(0, &by, 1), g_anLuCRC32Table[i]) << i;
  }
  EXPECT_EQ(0x340BC6D9u, nLuCRC32Update(0xFFFFFFFF, "123456789", 9));
  EXPECT_EQ(0x1234u, nLuCRC32Update(0x1234, nullptr, 5));
  // Every alignment and length, against the independent bitwise rule.
  std::vector<uint8_t> v(300);
  srand(7);
  for (uint8_t& by : v) by = static_cast<uint8_t>(rand());
  for (size_t nOffset = 0; nOffset < 8; ++nOffset)
    for (size_t n = 0; n + nOffset <= 100; ++n)
      ASSERT_EQ(nBitwiseCRC(0xFFFFFFFF, v.data() + nOffset, n),
                nLuCRC32Update(0xFFFFFFFF, v.data() + nOffset, n))
          << nOffset << "+" << n;
}
