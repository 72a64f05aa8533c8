// Stepping a timecode through a whole day, one frame at a time, with and
// without making its text. The "frames_per_second" counter is how many frames
// a second of wall time gets through (not a video rate).
#include <benchmark/benchmark.h>

#include "media/timecode.h"

namespace {

void StepThroughDay(benchmark::State& state, bool bFormat) {
  double const dFps = static_cast<double>(state.range(0));
  bool const bDrop = state.range(1) != 0;
  uint32_t const nDay = CLuTimeCode::nFramesPerDay(dFps, bDrop);
  for (auto _ : state) {
    CLuTimeCode tc(0, 0, 0, 0, dFps, bDrop, false);
    for (uint32_t n = 0; n < nDay; ++n) {
      tc += 1;
      if (bFormat) {
        CLuString const str = tc.strAsString(CLuTimeCode::eFormatPlain);
        benchmark::DoNotOptimize(str.pszGetString());
      }
    }
    benchmark::DoNotOptimize(tc.nFrames);
  }
  state.counters["frames_per_second"] = benchmark::Counter(
      static_cast<double>(nDay) * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate);
}

void BM_TimeCodeStepDay(benchmark::State& state) {
  StepThroughDay(state, false);
}
void BM_TimeCodeStepAndFormatDay(benchmark::State& state) {
  StepThroughDay(state, true);
}

}  // namespace

BENCHMARK(BM_TimeCodeStepDay)
    ->Args({24, 0})
    ->Args({30, 1})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TimeCodeStepAndFormatDay)
    ->Args({24, 0})
    ->Args({30, 1})
    ->Unit(benchmark::kMillisecond);
