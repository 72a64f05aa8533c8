// Cost of the replaced global operators (base/heap.cpp) against the system
// allocator they wrap. The operators are replaced for the whole process, so
// the baselines live in the same binary: direct malloc/free, and the
// standard library's own operators, which this binary overrides and which
// dlsym(RTLD_NEXT, ...) still finds. Sizes: 16 and 64 bytes (small), 1,024
// and 8,192 bytes (medium). Each runs as a single pair and as a batch of 64
// live allocations released in allocation order. The framework allocates
// with the non-throwing forms, which take the same path. Last, the growth
// of a long pointer array through pLuResizeAllocation.

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "base/containers.h"
#include "base/heap.h"

namespace {

constexpr int kBatch = 64;

// The standard library's scalar operator new(size_t) / delete(void*), or
// null when they cannot be found (the benchmarks then report an error).
// Its array forms would not do: they call the scalar forms, which resolve
// to the replaced ones.
typedef void* (*PfnNew)(size_t);
typedef void (*PfnDelete)(void*);
PfnNew const s_pfnLibraryNew =
    reinterpret_cast<PfnNew>(dlsym(RTLD_NEXT, "_Znwm"));
PfnDelete const s_pfnLibraryDelete =
    reinterpret_cast<PfnDelete>(dlsym(RTLD_NEXT, "_ZdlPv"));

void BM_LibraryNewDelete(benchmark::State& oState) {
  if (!s_pfnLibraryNew || !s_pfnLibraryDelete) {
    oState.SkipWithError("standard operators not found");
    return;
  }
  size_t nSize = static_cast<size_t>(oState.range(0));
  for (auto _ : oState) {
    void* p = s_pfnLibraryNew(nSize);
    benchmark::DoNotOptimize(p);
    s_pfnLibraryDelete(p);
  }
}

void BM_LibraryNewDeleteBatch(benchmark::State& oState) {
  if (!s_pfnLibraryNew || !s_pfnLibraryDelete) {
    oState.SkipWithError("standard operators not found");
    return;
  }
  size_t nSize = static_cast<size_t>(oState.range(0));
  void* ap[kBatch];
  for (auto _ : oState) {
    for (int i = 0; i < kBatch; ++i) {
      ap[i] = s_pfnLibraryNew(nSize);
      benchmark::DoNotOptimize(ap[i]);
    }
    for (int i = 0; i < kBatch; ++i) s_pfnLibraryDelete(ap[i]);
  }
  oState.SetItemsProcessed(oState.iterations() * kBatch);
}

void BM_NewDelete(benchmark::State& oState) {
  size_t nSize = static_cast<size_t>(oState.range(0));
  for (auto _ : oState) {
    char* p = new (std::nothrow) char[nSize];
    benchmark::DoNotOptimize(p);
    delete[] p;
  }
}

void BM_MallocFree(benchmark::State& oState) {
  size_t nSize = static_cast<size_t>(oState.range(0));
  for (auto _ : oState) {
    void* p = malloc(nSize);
    benchmark::DoNotOptimize(p);
    free(p);
  }
}

void BM_NewDeleteBatch(benchmark::State& oState) {
  size_t nSize = static_cast<size_t>(oState.range(0));
  char* ap[kBatch];
  for (auto _ : oState) {
    for (int i = 0; i < kBatch; ++i) {
      ap[i] = new (std::nothrow) char[nSize];
      benchmark::DoNotOptimize(ap[i]);
    }
    for (int i = 0; i < kBatch; ++i) delete[] ap[i];
  }
  oState.SetItemsProcessed(oState.iterations() * kBatch);
}

void BM_MallocFreeBatch(benchmark::State& oState) {
  size_t nSize = static_cast<size_t>(oState.range(0));
  void* ap[kBatch];
  for (auto _ : oState) {
    for (int i = 0; i < kBatch; ++i) {
      ap[i] = malloc(nSize);
      benchmark::DoNotOptimize(ap[i]);
    }
    for (int i = 0; i < kBatch; ++i) free(ap[i]);
  }
  oState.SetItemsProcessed(oState.iterations() * kBatch);
}

// An object through the scalar operators (sized release), as most of the
// framework allocates.
struct SNode {
  SNode* poNext = nullptr;
  void* poElement = nullptr;
  uint32_t n = 0;
};

void BM_NewDeleteObject(benchmark::State& oState) {
  for (auto _ : oState) {
    SNode* po = new (std::nothrow) SNode;
    benchmark::DoNotOptimize(po);
    delete po;
  }
}

void BM_MallocFreeObject(benchmark::State& oState) {
  for (auto _ : oState) {
    void* p = malloc(sizeof(SNode));
    benchmark::DoNotOptimize(p);
    free(p);
  }
}

// A frame list of 200,000 entries growing by its fixed step of 128, as
// CLuCompactArray grows it (the pointer block resized in place where the
// system allocator can), against allocating each larger block anew and
// copying every pointer over, which makes the growth quadratic.
constexpr uint32_t kFrames = 200000;
constexpr uint32_t kStep = 128;

void BM_CompactArrayGrowsByStep(benchmark::State& oState) {
  int i = 0;
  for (auto _ : oState) {
    CLuCompactArray<int> array(kStep, kStep);
    for (uint32_t n = 0; n < kFrames; ++n) array.Add(&i);
    benchmark::DoNotOptimize(array.ppGetData());
  }
  oState.SetItemsProcessed(oState.iterations() * kFrames);
}

void BM_CopyingGrowthByStep(benchmark::State& oState) {
  int i = 0;
  for (auto _ : oState) {
    uint32_t nCapacity = kStep, nCount = 0;
    int** ppData = new (std::nothrow) int*[nCapacity];
    for (uint32_t n = 0; n < kFrames && ppData; ++n) {
      if (nCount == nCapacity) {
        int** ppNew = new (std::nothrow) int*[nCapacity + kStep];
        if (ppNew) memcpy(ppNew, ppData, nCount * sizeof(int*));
        delete[] ppData;
        ppData = ppNew;
        nCapacity += kStep;
        if (!ppData) break;
      }
      ppData[nCount++] = &i;
    }
    benchmark::DoNotOptimize(ppData);
    delete[] ppData;
  }
  oState.SetItemsProcessed(oState.iterations() * kFrames);
}

}  // namespace

BENCHMARK(BM_CompactArrayGrowsByStep)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyingGrowthByStep)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NewDelete)->Arg(16)->Arg(64)->Arg(1024)->Arg(8192);
BENCHMARK(BM_MallocFree)->Arg(16)->Arg(64)->Arg(1024)->Arg(8192);
BENCHMARK(BM_NewDeleteBatch)->Arg(16)->Arg(64)->Arg(1024)->Arg(8192);
BENCHMARK(BM_MallocFreeBatch)->Arg(16)->Arg(64)->Arg(1024)->Arg(8192);
BENCHMARK(BM_LibraryNewDelete)->Arg(16)->Arg(64)->Arg(1024)->Arg(8192);
BENCHMARK(BM_LibraryNewDeleteBatch)->Arg(16)->Arg(64)->Arg(1024)->Arg(8192);
BENCHMARK(BM_NewDeleteObject);
BENCHMARK(BM_MallocFreeObject);
