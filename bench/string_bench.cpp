// Benchmarks of CLuString: byte-by-byte appending (geometric growth keeps
// it amortised linear) and wildcard matching over a large folder listing.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <new>

#include "base/string.h"

namespace {

// Appends state.range(0) bytes one at a time; the complexity fit should
// report O(N).
void BM_AppendOneByteAtATime(benchmark::State& state) {
  uint32_t const nBytes = uint32_t(state.range(0));
  for (auto _ : state) {
    CLuString str;
    for (uint32_t i = 0; i < nBytes; i++) str.Append("x", 1);
    benchmark::DoNotOptimize(str.pszGetString());
  }
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_AppendOneByteAtATime)
    ->RangeMultiplier(4)
    ->Range(1 << 10, 1 << 20)  // up to 1 MiB
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

// Matches a two-pattern list against 100,000 frame names, as a directory
// listing of a long sequence would.
void BM_WildCardOver100000Names(benchmark::State& state) {
  uint32_t const nNames = 100000;
  CLuString* pstrNames = new (std::nothrow) CLuString[nNames];
  if (pstrNames == nullptr) {
    state.SkipWithError("no memory for the names");
    return;
  }
  for (uint32_t i = 0; i < nNames; i++)
    pstrNames[i].Format("plate_%s.%07u.%s", i % 3 ? "main" : "alt", i,
                        i % 5 ? "dpx" : "tif");
  CLuString const strPatterns("plate_main.*.DPX;*.exr");
  uint32_t nMatches = 0;
  for (auto _ : state) {
    nMatches = 0;
    for (uint32_t i = 0; i < nNames; i++)
      if (pstrNames[i].bMatchesWildCard(strPatterns)) nMatches++;
    benchmark::DoNotOptimize(nMatches);
  }
  state.counters["matches"] = nMatches;
  state.SetItemsProcessed(int64_t(state.iterations()) * nNames);
  delete[] pstrNames;
}
BENCHMARK(BM_WildCardOver100000Names)->Unit(benchmark::kMillisecond);

}  // namespace
