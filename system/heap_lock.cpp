// The global heap's lock: the operations of CLuHeap (base/heap.h) that need
// the definition of CLuMutex. They live here, beside the lock, because
// base/ includes nothing from system/; the heap keeps the CLuMutex in raw
// storage of its own and calls these few functions for everything it does
// with it. Nothing here allocates: the heap takes this lock on the
// allocation failure path.

#include <new>

#include "base/heap.h"
#include "system/thread.h"

static_assert(sizeof(CLuMutex) <= CLuHeap::kMutexStorageBytes,
              "the heap's mutex storage is too small");
static_assert(alignof(CLuMutex) <= 16, "the heap's mutex is over-aligned");

void CLuHeap::ConstructMutex() {
  new (m_abyMutex) CLuMutex;
}

void CLuHeap::DestroyMutex() {
  poGetMutex()->~CLuMutex();
}

CLuMutex* CLuHeap::poGetMutex() const {
  return std::launder(reinterpret_cast<CLuMutex*>(m_abyMutex));
}

uint32_t CLuHeap::nGetLockCount() const {
  return poGetMutex()->nGetCount();
}

bool CLuHeap::bLock() const {
  return poGetMutex()->bAcquire(nLuWaitForever);
}

void CLuHeap::Unlock() const {
  poGetMutex()->Release();
}
