// Container templates of the framework and the CRC-32 that keys its index.
//
// Provides CLuList<T> (doubly linked list), CLuCompactArray<T> (growable
// pointer array for qsort), CLuIndex<T, bCaseSensitive> (string-keyed index
// sorted by key hash), CLuDeque<T> (ring buffer) and CLuSparseArray<T>
// (index-addressed array). Every container holds element POINTERS and never
// deletes an element, except CLuList::DeleteAll.
//
// Builds on the standard library only. CLuString is merely declared here so
// that base/string.h can include this header (its number splitting fills a
// CLuList<void>); everything that needs the complete string type lives in
// containers.cpp or in template code that only touches T.
//
// Errors: nothing throws and nothing prints. The global operators of this
// framework may return null; the containers allocate with the non-throwing
// forms (new (std::nothrow), and pLuResizeAllocation for the compact
// array's pointer block), test every result and absorb a failure: a list
// append returns a null position, a compact-array append is dropped, an
// index insert returns false, deque and sparse-array stores return false.
// In every such case the container is left as it was (the one deliberate
// exception is CLuList::NewNode, see there).
//
// Thread safety: none of their own; a container shared between threads is
// guarded by its owner's lock (the heap, the profiling manager).
//
// Platform note: the element word of a CLuList<void> holds either a pointer
// or a plain number stored as (void*)(uintptr_t)n; on 64-bit hosts that word
// is pointer-sized.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

class CLuString;

// ---------------------------------------------------------------------------
// CRC-32 (reflected polynomial 0xEDB88320, the standard 256-entry table whose
// entry 1 is 0x77073096). Shared with checksum/ (CLuCRC32CheckSum), which must
// not be included from base/.

// The table; entry i is the CRC of the byte i.
extern uint32_t const g_anLuCRC32Table[256];

// One byte step: returns (nCrc >> 8) ^ table[(nCrc ^ by) & 0xFF].
inline uint32_t nLuCRC32UpdateByte(uint32_t nCrc, uint8_t by) {
  return (nCrc >> 8) ^ g_anLuCRC32Table[(nCrc ^ by) & 0xFF];
}

// Feeds nBytes bytes from pData into the running value nCrc and returns the
// new value. No inversion is applied on entry or exit: callers start from
// 0xFFFFFFFF and use the value as it is. Aligned 32-bit words are consumed
// four bytes at a time; the result always equals the bytewise rule. A null
// pData (or nBytes 0) returns nCrc unchanged.
uint32_t nLuCRC32Update(uint32_t nCrc, void const* pData, size_t nBytes);

// ---------------------------------------------------------------------------
// List node, handed out as a position. One node type serves every
// CLuList<T> (the element word is cast to T*), so a position can be written
// as SLuPosition* or as CLuList<T>::SLuPosition*.
struct SLuPosition {
  SLuPosition* poNext;      // towards the tail, null at the tail
  SLuPosition* poPrevious;  // towards the head, null at the head
  void* poElement;          // T*; for CLuList<void> possibly a number
};

// Doubly linked list of element pointers. Index access is linear: meant for
// short collections walked in order. Not copyable (it would share nodes).
//
// Positions stay valid until their node is removed; passing a position of
// another list, or one already removed, is undefined. Null positions are
// accepted everywhere and yield null.
template <class T>
class CLuList {
 public:
  typedef ::SLuPosition SLuPosition;

  // An empty list.
  CLuList() : m_poHead(nullptr), m_poTail(nullptr), m_nCount(0) {}
  // Frees the nodes (RemoveAll); the elements are NOT deleted.
  virtual ~CLuList() { RemoveAll(); }
  CLuList(CLuList const&) = delete;
  CLuList& operator=(CLuList const&) = delete;

  // Number of elements counted (see NewNode for the one case in which this
  // exceeds the number of linked nodes by one).
  uint32_t nGetCount() const { return m_nCount; }
  // True when no node is linked.
  bool bIsEmpty() const { return m_poHead == nullptr; }

  // First / last position, null when the list is empty.
  SLuPosition* posGetHead() const { return m_poHead; }
  SLuPosition* posGetTail() const { return m_poTail; }
  // Position after / before pos; null at the end or for a null pos.
  static SLuPosition* posGetNext(SLuPosition const* pos) {
    return pos ? pos->poNext : nullptr;
  }
  static SLuPosition* posGetPrevious(SLuPosition const* pos) {
    return pos ? pos->poPrevious : nullptr;
  }
  // Element held at pos; null for a null pos.
  static T* poGetAt(SLuPosition const* pos) {
    return pos ? static_cast<T*>(pos->poElement) : nullptr;
  }
  // Element of the first / last node; null when the list is empty.
  T* poGetHead() const { return poGetAt(m_poHead); }
  T* poGetTail() const { return poGetAt(m_poTail); }

  // Counts one more element, THEN allocates an unlinked node (null links)
  // holding po. Returns the node, or null when the allocation yields null;
  // the count has been raised all the same. The order is deliberate and
  // kept: after a failed allocation the count exceeds the linked nodes by
  // one. Callers normally use posAddTail / posAddHead instead.
  SLuPosition* NewNode(T* po) {
    ++m_nCount;
    SLuPosition* pos = new (std::nothrow) SLuPosition;
    if (pos == nullptr) return nullptr;
    pos->poNext = nullptr;
    pos->poPrevious = nullptr;
    pos->poElement = const_cast<void*>(static_cast<void const*>(po));
    return pos;
  }

  // Appends po (which may be null) behind the tail. Returns the new position,
  // or null when NewNode failed (nothing is linked then).
  SLuPosition* posAddTail(T* po) {
    SLuPosition* pos = NewNode(po);
    if (pos == nullptr) return nullptr;
    pos->poPrevious = m_poTail;
    if (m_poTail)
      m_poTail->poNext = pos;
    else
      m_poHead = pos;
    m_poTail = pos;
    return pos;
  }

  // Inserts po in front of the head. Result as posAddTail.
  SLuPosition* posAddHead(T* po) {
    SLuPosition* pos = NewNode(po);
    if (pos == nullptr) return nullptr;
    pos->poNext = m_poHead;
    if (m_poHead)
      m_poHead->poPrevious = pos;
    else
      m_poTail = pos;
    m_poHead = pos;
    return pos;
  }

  // Unlinks and frees the head node and returns its element (not deleted).
  // On an empty list nothing happens and null is returned.
  T* poRemoveHead() { return poRemoveAt(m_poHead); }
  // The same for the tail node.
  T* poRemoveTail() { return poRemoveAt(m_poTail); }

  // Unlinks and frees the node at pos (a position of this list) and returns
  // its element, which is not deleted. A null pos returns null.
  T* poRemoveAt(SLuPosition* pos) {
    if (pos == nullptr) return nullptr;
    if (pos->poPrevious)
      pos->poPrevious->poNext = pos->poNext;
    else
      m_poHead = pos->poNext;
    if (pos->poNext)
      pos->poNext->poPrevious = pos->poPrevious;
    else
      m_poTail = pos->poPrevious;
    if (m_nCount) --m_nCount;
    T* po = static_cast<T*>(pos->poElement);
    delete pos;
    return po;
  }

  // Element at index i counted from the head (0 = head): null when
  // i >= nGetCount(), else the element found after i steps. Linear time.
  T* poGetAtIndex(uint32_t i) const { return poGetAt(posFindIndex(i)); }

  // Position at index i (same walk as poGetAtIndex); null when
  // i >= nGetCount().
  SLuPosition* posFindIndex(uint32_t i) const {
    if (i >= m_nCount) return nullptr;
    SLuPosition* pos = m_poHead;
    // The null test only matters after a failed NewNode (count one ahead).
    while (i-- && pos) pos = pos->poNext;
    return pos;
  }

  // First position, walking from the head, whose element is po; null when
  // none holds it.
  SLuPosition* posFind(T const* po) const {
    for (SLuPosition* pos = m_poHead; pos; pos = pos->poNext)
      if (pos->poElement == static_cast<void const*>(po)) return pos;
    return nullptr;
  }

  // Frees every node, walking from the tail backwards; head and tail become
  // null, the count 0. The elements are left alone (not deleted).
  void RemoveAll() {
    SLuPosition* pos = m_poTail;
    while (pos) {
      SLuPosition* posPrevious = pos->poPrevious;
      delete pos;
      pos = posPrevious;
    }
    m_poHead = nullptr;
    m_poTail = nullptr;
    m_nCount = 0;
  }

  // Walks from the head and destroys every non-null element (its destructor,
  // then scalar delete), then RemoveAll. Elements must have been allocated
  // with scalar new and be owned by the list. For CLuList<void> the element
  // words are numbers or untyped pointers that cannot be destroyed, so there
  // DeleteAll only frees the nodes, exactly like RemoveAll.
  void DeleteAll() {
    if constexpr (!std::is_void<T>::value) {
      for (SLuPosition* pos = m_poHead; pos; pos = pos->poNext) {
        T* po = static_cast<T*>(pos->poElement);
        pos->poElement = nullptr;
        delete po;
      }
    }
    RemoveAll();
  }

 private:
  SLuPosition* m_poHead;
  SLuPosition* m_poTail;
  uint32_t m_nCount;
};

// ---------------------------------------------------------------------------
// Resizes a raw allocation like realloc (p null allocates; the contents up
// to the smaller size are kept, the block may move) through the same
// failure path as the global operators: when the system allocator says no,
// the global heap drops cached memory and asks again, up to five times.
// Returns null when that fails too, and p then stays valid and unchanged.
// nBytes 0 is taken as 1. Release with free. Defined in base/heap.cpp.
void* pLuResizeAllocation(void* p, size_t nBytes);

// ---------------------------------------------------------------------------
// Growable array of element pointers, sortable with the standard qsort over
// ppGetData() (each qsort argument is then a pointer to a T* slot). Grows by
// a fixed step, not geometrically: its users know roughly how many elements
// come. Not copyable.
template <class T>
class CLuCompactArray {
 public:
  // Allocates nCapacity pointers at once. If that allocation yields null
  // the array starts with capacity 0 and grows on the first add. A step of
  // 0 is taken as 1 (the step must never be 0).
  explicit CLuCompactArray(uint32_t nCapacity = 128, uint32_t nGrowBy = 128)
      : m_nCount(0),
        m_nCapacity(nCapacity),
        m_nGrowBy(nGrowBy ? nGrowBy : 1),
        m_ppData(nCapacity != 0 && nCapacity <= SIZE_MAX / sizeof(T*)
                     ? static_cast<T**>(pLuResizeAllocation(
                           nullptr, size_t(nCapacity) * sizeof(T*)))
                     : nullptr) {
    if (m_ppData == nullptr) m_nCapacity = 0;
  }
  // Releases the pointer array and sets count and capacity to 0; the
  // elements are NOT deleted.
  virtual ~CLuCompactArray() {
    free(m_ppData);
    m_ppData = nullptr;
    m_nCount = 0;
    m_nCapacity = 0;
  }
  CLuCompactArray(CLuCompactArray const&) = delete;
  CLuCompactArray& operator=(CLuCompactArray const&) = delete;

  // Number of stored pointers.
  uint32_t nGetCount() const { return m_nCount; }
  // Number of pointer slots allocated.
  uint32_t nGetCapacity() const { return m_nCapacity; }
  // Growth step in elements (never 0).
  uint32_t nGetGrowBy() const { return m_nGrowBy; }

  // Element at index i; null when i >= nGetCount().
  T* poGetAt(uint32_t i) const { return i < m_nCount ? m_ppData[i] : nullptr; }
  // Replaces the pointer at index i (the old element is not deleted).
  // Returns false and changes nothing when i >= nGetCount().
  bool bSetAt(uint32_t i, T* po) {
    if (i >= m_nCount) return false;
    m_ppData[i] = po;
    return true;
  }
  // The pointer array itself (nGetCount() valid slots), e.g. for
  // qsort(ppGetData(), nGetCount(), sizeof(T*), iCompareAscending). Owned
  // by the array; may be null when the capacity is 0. Invalidated by growth.
  T** ppGetData() const { return m_ppData; }

  // Appends po at the end. When the array is full it first grows to the
  // next multiple of the step above the count (128 -> 256 with step 128;
  // 150 -> 200 with step 100). If that allocation yields null the add is
  // dropped and nothing changes (compare nGetCount() to detect it).
  void Add(T* po) {
    if (!bMakeRoom()) return;
    m_ppData[m_nCount++] = po;
  }

  // Inserts po before index i (i == nGetCount() appends), moving the later
  // pointers up by one; grows like Add. Returns false and changes nothing
  // when i > nGetCount() or the growth allocation fails.
  bool bInsertAt(uint32_t i, T* po) {
    // The count is tested again after growing: making room may have let the
    // heap trim, and the heap's own arrays shrink while it does.
    if (i > m_nCount || !bMakeRoom() || i > m_nCount) return false;
    memmove(m_ppData + i + 1, m_ppData + i, (m_nCount - i) * sizeof(T*));
    m_ppData[i] = po;
    ++m_nCount;
    return true;
  }

  // Removes the pointer at index i, moving the later ones down by one, and
  // returns it (the element is not deleted). Null and no change when
  // i >= nGetCount().
  T* poRemoveAt(uint32_t i) {
    if (i >= m_nCount) return nullptr;
    T* po = m_ppData[i];
    memmove(m_ppData + i, m_ppData + i + 1, (m_nCount - i - 1) * sizeof(T*));
    --m_nCount;
    return po;
  }

  // Index of the first slot holding po, or -1 when none does.
  int32_t iFind(T const* po) const {
    for (uint32_t i = 0; i < m_nCount; ++i)
      if (m_ppData[i] == po) return static_cast<int32_t>(i);
    return -1;
  }

  // Sets the count to 0; capacity and elements are kept (not deleted).
  void RemoveAll() { m_nCount = 0; }

  // Sorts the pointers in place with qsort and the given comparison (e.g.
  // iCompareAscending); equal elements may change places.
  void Sort(int (*pfnCompare)(void const*, void const*)) {
    if (m_nCount > 1) qsort(m_ppData, m_nCount, sizeof(T*), pfnCompare);
  }

  // qsort comparison for T = CLuString: p1 and p2 point to T* slots; the
  // two texts are compared with strcmp (plain byte order, case-sensitive,
  // digits as characters) and -1, 0 or 1 returned. A null element compares
  // like an empty text.
  static int iCompareAscending(void const* p1, void const* p2) {
    T const* po1 = *static_cast<T* const*>(p1);
    T const* po2 = *static_cast<T* const*>(p2);
    int i =
        strcmp(po1 ? po1->pszGetString() : "", po2 ? po2->pszGetString() : "");
    return i < 0 ? -1 : (i > 0 ? 1 : 0);
  }

  // qsort comparison for the heap's large allocators: T must provide
  // `int32_t iRanking() const`, the signed 32-bit ranking value. Larger
  // rankings sort first; returns -1, 0 or 1. A null element ranks below
  // every allocator.
  static int iCompareDescending(void const* p1, void const* p2) {
    T const* po1 = *static_cast<T* const*>(p1);
    T const* po2 = *static_cast<T* const*>(p2);
    int64_t i1 = po1 ? static_cast<int64_t>(po1->iRanking()) : INT64_MIN;
    int64_t i2 = po2 ? static_cast<int64_t>(po2->iRanking()) : INT64_MIN;
    return i1 > i2 ? -1 : (i1 < i2 ? 1 : 0);
  }

 private:
  // Ensures a free slot; false when the growth allocation failed (or the
  // capacity cannot grow within 32 bits).
  bool bMakeRoom() {
    if (m_nCount < m_nCapacity) return true;
    uint64_t const nStep = m_nGrowBy;
    // The next multiple of the step above the count: count + step when the
    // count is a multiple (128 -> 256 with step 128), else the multiple
    // just above it (150 -> 200 with step 100).
    uint64_t const nNew = (m_nCount / nStep + 1) * nStep;
    if (nNew > UINT32_MAX || nNew <= m_nCount || nNew > SIZE_MAX / sizeof(T*))
      return false;
    // Resized rather than allocated anew and copied: the system allocator
    // extends or remaps a large block in place, so a long frame list that
    // grows by its fixed step does not copy all its pointers every step.
    T** ppNew = static_cast<T**>(
        pLuResizeAllocation(m_ppData, static_cast<size_t>(nNew) * sizeof(T*)));
    if (ppNew == nullptr) return false;
    m_ppData = ppNew;
    m_nCapacity = static_cast<uint32_t>(nNew);
    return true;
  }

  uint32_t m_nCount;
  uint32_t m_nCapacity;
  uint32_t m_nGrowBy;
  T** m_ppData;
};

// ---------------------------------------------------------------------------
// Index entry: the key (a CLuString owned by the index), the element (not
// owned) and the key's hash.
struct SLuIndexEntry {
  CLuString* poKey;
  void* poElement;
  uint32_t nHash;
};

// The type-independent part of CLuIndex: entries kept sorted by ascending
// hash (entries of equal hash adjacent, in insertion order). Implemented in
// containers.cpp; use CLuIndex<T, bCaseSensitive>.
class CLuIndexBase {
 public:
  // Deletes every key string and the entry array; elements are NOT deleted.
  virtual ~CLuIndexBase();
  CLuIndexBase(CLuIndexBase const&) = delete;
  CLuIndexBase& operator=(CLuIndexBase const&) = delete;

  // Number of entries.
  uint32_t nGetCount() const { return m_nCount; }
  // Number of entry slots allocated.
  uint32_t nGetCapacity() const { return m_nCapacity; }
  // Key of entry i (in hash order); null when i >= nGetCount(). Owned by
  // the index, valid until that entry is removed.
  CLuString const* poGetKeyAt(uint32_t i) const;
  // The entry array (nGetCount() entries, hash order), e.g. to copy and sort
  // with iCompare. Owned by the index; invalidated by any change.
  SLuIndexEntry const* poGetEntries() const { return m_paEntries; }

  // The hash an index stores for strKey: the CRC-32 running value (start
  // 0xFFFFFFFF, no final inversion) of the key's text, taken over an
  // upper-cased copy (MakeUpper) when bCaseSensitive is false.
  static uint32_t nHashKey(CLuString const& strKey, bool bCaseSensitive);

  // qsort comparisons of two SLuIndexEntry by key (for sorting a COPY of
  // the entries by name; the index itself must stay in hash order).
  // iCompare: strcasecmp of the keys, its result returned as it is.
  static int iCompare(void const* p1, void const* p2);
  // iCompareNA: CLuString::iCompareEx ignoring case and splitting off
  // numbers, so 'item9' sorts before 'item10'.
  static int iCompareNA(void const* p1, void const* p2);

 protected:
  explicit CLuIndexBase(uint32_t nInitialCapacity);

  bool bSetAtUntyped(CLuString const& strKey, void* po, bool bCaseSensitive);
  int32_t iFindUntyped(CLuString const& strKey, bool bCaseSensitive) const;
  void* pGetElementAtUntyped(uint32_t i) const {
    return i < m_nCount ? m_paEntries[i].poElement : nullptr;
  }
  void* pRemoveAtUntyped(uint32_t i);
  void RemoveAllUntyped();

 private:
  // First entry index whose hash is not below nHash (nGetCount() if none).
  uint32_t nFirstNotBelow(uint32_t nHash) const;
  // Index of the entry with key strKey and hash nHash, or -1; *pnInsert
  // (if not null) receives the end of the run of entries with nHash.
  int32_t iFindHashed(CLuString const& strKey, uint32_t nHash,
                      bool bCaseSensitive, uint32_t* pnInsert) const;

  SLuIndexEntry* m_paEntries;
  uint32_t m_nCount;
  uint32_t m_nCapacity;
};

// String-keyed index of element pointers. A key is found with one hash
// computation, a binary search over 32-bit hashes and string comparisons only
// on equal hashes. Keys compare with strcmp when bCaseSensitive is true and
// with strcasecmp otherwise; the index keeps its own copy of each key as it
// was first given (a later bSetAt with a differently cased key on a
// case-insensitive index replaces the element, not the key). Iteration by
// entry index runs in hash order, not in insertion or name order.
template <class T, bool bCaseSensitive>
class CLuIndex : public CLuIndexBase {
 public:
  // An empty index with room for nInitialCapacity entries (grows by 128).
  explicit CLuIndex(uint32_t nInitialCapacity = 128)
      : CLuIndexBase(nInitialCapacity) {}

  // Set, replace or remove. Key present: a non-null po replaces the stored
  // pointer (the old element is not deleted), a null po removes the entry
  // (its key copy is deleted). Key absent: a null po changes nothing; else
  // a new entry with a copy of the key is inserted, growing the array by
  // 128 entries when full. Returns false (index unchanged) only when an
  // allocation fails; true otherwise.
  bool bSetAt(CLuString const& strKey, T* po) {
    return bSetAtUntyped(strKey,
                         const_cast<void*>(static_cast<void const*>(po)),
                         bCaseSensitive);
  }
  // Element stored under strKey; null when absent.
  T* poGetAt(CLuString const& strKey) const {
    return poGetElementAt(static_cast<uint32_t>(iFind(strKey)));
  }
  // Entry index of strKey, or -1 when absent.
  int32_t iFind(CLuString const& strKey) const {
    return iFindUntyped(strKey, bCaseSensitive);
  }
  // Element of entry i (hash order); null when i >= nGetCount().
  T* poGetElementAt(uint32_t i) const {
    return static_cast<T*>(pGetElementAtUntyped(i));
  }
  // Removes entry i (its key copy is deleted, later entries move down) and
  // returns its element, which is not deleted. Null and no change when
  // i >= nGetCount().
  T* poRemoveAt(uint32_t i) { return static_cast<T*>(pRemoveAtUntyped(i)); }
  // Removes every entry (keys deleted, elements not); capacity is kept.
  void RemoveAll() { RemoveAllUntyped(); }
};

// ---------------------------------------------------------------------------
// Double-ended queue of element pointers in a ring buffer (array new) that
// grows by a fixed number of slots. Index 0 is the head. Used as a FIFO
// (bAddTail / poRemoveHead) and as a stack (bAddTail / poRemoveTail /
// poGetTail). Not copyable; elements are never deleted.
template <class T>
class CLuDeque {
 public:
  // Allocates nInitialCapacity slots at once; grows by nGrowBy slots (0 is
  // taken as 1). If the first allocation yields null the capacity is 0.
  explicit CLuDeque(uint32_t nInitialCapacity = 128, uint32_t nGrowBy = 128)
      : m_ppBuffer(new (std::nothrow) T*[nInitialCapacity]),
        m_nCapacity(nInitialCapacity),
        m_nGrowBy(nGrowBy ? nGrowBy : 1),
        m_nHead(0),
        m_nCount(0) {
    if (m_ppBuffer == nullptr) m_nCapacity = 0;
  }
  // Releases the buffer; the elements are NOT deleted.
  virtual ~CLuDeque() { delete[] m_ppBuffer; }
  CLuDeque(CLuDeque const&) = delete;
  CLuDeque& operator=(CLuDeque const&) = delete;

  // Number of stored pointers.
  uint32_t nGetCount() const { return m_nCount; }
  // True when nothing is stored.
  bool bIsEmpty() const { return m_nCount == 0; }
  // Number of slots allocated.
  uint32_t nGetCapacity() const { return m_nCapacity; }

  // Element i counted from the head; null when i >= nGetCount().
  T* poGetAt(uint32_t i) const {
    return i < m_nCount ? m_ppBuffer[nSlot(i)] : nullptr;
  }
  // First / last element; null when empty.
  T* poGetHead() const { return poGetAt(0); }
  T* poGetTail() const { return m_nCount ? poGetAt(m_nCount - 1) : nullptr; }

  // Appends po behind the tail / in front of the head. Returns false and
  // changes nothing when growing was needed and failed.
  bool bAddTail(T* po) {
    if (!bMakeRoom()) return false;
    m_ppBuffer[nSlot(m_nCount)] = po;
    ++m_nCount;
    return true;
  }
  bool bAddHead(T* po) {
    if (!bMakeRoom()) return false;
    m_nHead = m_nHead ? m_nHead - 1 : m_nCapacity - 1;
    m_ppBuffer[m_nHead] = po;
    ++m_nCount;
    return true;
  }
  // Removes and returns the first / last element (not deleted); null when
  // empty.
  T* poRemoveHead() {
    if (m_nCount == 0) return nullptr;
    T* po = m_ppBuffer[m_nHead];
    m_nHead = nSlot(1);
    --m_nCount;
    return po;
  }
  T* poRemoveTail() {
    if (m_nCount == 0) return nullptr;
    --m_nCount;
    return m_ppBuffer[nSlot(m_nCount)];
  }
  // Forgets every element (not deleted); the buffer is kept.
  void RemoveAll() {
    m_nHead = 0;
    m_nCount = 0;
  }

 private:
  uint32_t nSlot(uint32_t i) const {
    uint64_t n = static_cast<uint64_t>(m_nHead) + i;
    return static_cast<uint32_t>(n < m_nCapacity ? n : n - m_nCapacity);
  }
  bool bMakeRoom() {
    if (m_nCount < m_nCapacity) return true;
    uint64_t nNew = static_cast<uint64_t>(m_nCapacity) + m_nGrowBy;
    if (nNew > UINT32_MAX) nNew = UINT32_MAX;
    if (nNew <= m_nCapacity) return false;
    T** ppNew = new (std::nothrow) T*[static_cast<size_t>(nNew)];
    if (ppNew == nullptr) return false;
    for (uint32_t i = 0; i < m_nCount; ++i) ppNew[i] = m_ppBuffer[nSlot(i)];
    delete[] m_ppBuffer;
    m_ppBuffer = ppNew;
    m_nCapacity = static_cast<uint32_t>(nNew);
    m_nHead = 0;
    return true;
  }

  T** m_ppBuffer;
  uint32_t m_nCapacity;
  uint32_t m_nGrowBy;
  uint32_t m_nHead;
  uint32_t m_nCount;
};

// ---------------------------------------------------------------------------
// Index-addressed array of element pointers: slots that were never set hold
// null. Grows (array new) to the next multiple of 128 slots above the
// highest index set. Not copyable; elements are never deleted.
template <class T>
class CLuSparseArray {
 public:
  // Room for nInitialCapacity slots, all null. If the allocation yields
  // null the capacity is 0.
  explicit CLuSparseArray(uint32_t nInitialCapacity = 128)
      : m_ppData(new (std::nothrow) T*[nInitialCapacity]),
        m_nCapacity(nInitialCapacity),
        m_nSize(0) {
    if (m_ppData == nullptr)
      m_nCapacity = 0;
    else
      ClearSlots(0, m_nCapacity);
  }
  // Releases the array and zeroes both counters; elements are NOT deleted.
  virtual ~CLuSparseArray() {
    delete[] m_ppData;
    m_ppData = nullptr;
    m_nCapacity = 0;
    m_nSize = 0;
  }
  CLuSparseArray(CLuSparseArray const&) = delete;
  CLuSparseArray& operator=(CLuSparseArray const&) = delete;

  // One past the highest index ever set to a non-null pointer (0 when none,
  // and again after RemoveAll).
  uint32_t nGetSize() const { return m_nSize; }
  // Number of slots allocated.
  uint32_t nGetCapacity() const { return m_nCapacity; }

  // Element at index i; null when never set or i is beyond the slots.
  T* poGetAt(uint32_t i) const {
    return i < m_nCapacity ? m_ppData[i] : nullptr;
  }

  // Stores po at index i (the old element is not deleted), growing the
  // array when i lies beyond it. Storing null beyond the slots needs no
  // growth. Returns false and changes nothing when growing failed.
  bool bSetAt(uint32_t i, T* po) {
    if (i >= m_nCapacity) {
      if (po == nullptr) return true;
      uint64_t nNew = (static_cast<uint64_t>(i) / kGrowBy + 1) * kGrowBy;
      if (nNew > UINT32_MAX) nNew = UINT32_MAX;
      if (nNew <= i) return false;
      T** ppNew = new (std::nothrow) T*[static_cast<size_t>(nNew)];
      if (ppNew == nullptr) return false;
      if (m_nCapacity) memcpy(ppNew, m_ppData, m_nCapacity * sizeof(T*));
      delete[] m_ppData;
      m_ppData = ppNew;
      uint32_t nOld = m_nCapacity;
      m_nCapacity = static_cast<uint32_t>(nNew);
      ClearSlots(nOld, m_nCapacity);
    }
    m_ppData[i] = po;
    if (po && i >= m_nSize) m_nSize = i + 1;
    return true;
  }

  // Sets every slot to null and the size to 0; capacity is kept.
  void RemoveAll() {
    ClearSlots(0, m_nCapacity);
    m_nSize = 0;
  }

 private:
  static constexpr uint32_t kGrowBy = 128;
  void ClearSlots(uint32_t nFrom, uint32_t nTo) {
    for (uint32_t i = nFrom; i < nTo; ++i) m_ppData[i] = nullptr;
  }

  T** m_ppData;
  uint32_t m_nCapacity;
  uint32_t m_nSize;
};
