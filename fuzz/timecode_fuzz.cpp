// Feeds arbitrary text to the timecode parser at an arbitrary rate and
// drop-frame flag, then exercises every conversion of the result. Aborts
// when a result is invalid without saying why, when a message line is not
// ended by "\n", or when a valid value at a sane rate fails to survive its
// frame count and packed DPX word.
//
// Input layout: byte 0 holds the flags (bit 0 drop frame, bit 1 take the
// rate as the raw double in bytes 1..8, otherwise bits 2..7 pick a common
// rate); the rest is the text (it ends at the first NUL, as a CLuString
// does).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "media/timecode.h"

namespace {

double const kRates[] = {24.0, 25.0,  30.0, 29.97, 23.976, 59.94,  60.0,
                         0.0,  -25.0, 1.0,  48.0,  1e-10,  1000.0, 1e12};

bool bSameFields(CLuTimeCode const& tcA, CLuTimeCode const& tcB) {
  return tcA.nHours == tcB.nHours && tcA.nMinutes == tcB.nMinutes &&
         tcA.nSeconds == tcB.nSeconds && tcA.nFrames == tcB.nFrames &&
         tcA.bNegative == tcB.bNegative;
}

void Check(bool bOk) {
  if (!bOk) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pbyData, size_t nSize) {
  if (nSize == 0) return 0;
  uint8_t const byFlags = pbyData[0];
  bool const bDrop = byFlags & 1;
  size_t nSkip = 1;
  double dFps = kRates[(byFlags >> 2) % (sizeof(kRates) / sizeof(kRates[0]))];
  if ((byFlags & 2) && nSize >= 9) {
    memcpy(&dFps, pbyData + 1, sizeof(dFps));
    nSkip = 9;
  }
  std::vector<char> text(pbyData + nSkip, pbyData + nSize);
  text.push_back(0);

  CLuTimeCode tc = CLuTimeCode::tcFromString(text.data(), dFps, bDrop);
  uint32_t const nErrors = tc.strErrors.nGetLength();
  Check(!tc.bInvalid || nErrors > 0);
  Check(nErrors == 0 || tc.strErrors.cGetAt(nErrors - 1) == '\n');
  Check(tc.nFpsBase >= 1);

  // Every conversion must be defined for whatever the parser produced.
  (void)tc.strAsString(CLuTimeCode::eFormatPlain);
  (void)tc.strAsString(CLuTimeCode::eFormatWithFps);
  (void)CLuTimeCode::tcFromFullPacked(tc.nAsFullPacked());
  uint32_t const nDpx = tc.nAsSmpteDpxTimeCode();
  int32_t const iFrames = tc.iFramesSinceMidnight();

  if (!tc.bInvalid && !tc.bNegative && tc.dFps > 1e-9 && tc.nFpsBase >= 2 &&
      tc.nFpsBase <= 1000) {
    Check(bSameFields(
        CLuTimeCode::tcFromFramesSinceMidnight(iFrames, tc.dFps, tc.bDropFrame),
        tc));
    if (tc.nFrames <= 99) {
      Check(bSameFields(
          CLuTimeCode::tcFromSmpteDpxTimeCode(nDpx, tc.dFps, tc.bDropFrame),
          tc));
    }
  }

  CLuTimeCode tcStep(tc);
  tcStep += 1;
  tcStep.IncrementSeconds(-1);
  (void)(tc + tcStep);
  (void)(tc - tcStep);
  return 0;
}
