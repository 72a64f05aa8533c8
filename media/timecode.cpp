#include "media/timecode.h"

#include <strings.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>

namespace {

// Every comparison of rates allows this much difference.
constexpr double kRateTolerance = 1e-9;

// The rate a value without one is rebuilt at after arithmetic.
constexpr double kDefaultRate = 24.0;

// Whole frames per second for a rate: floor(|fps| + 0.5), saturated to the
// unsigned 32-bit range and never 0, so no calculation can divide by zero.
// NaN has no whole number; it counts like 0, at 1.
uint32_t nFpsBaseOf(double dFps) {
  double const dBase = std::fabs(dFps) + 0.5;
  if (!(dBase >= 1.0)) return 1;  // 0 and NaN
  if (dBase >= 4294967295.0) return 4294967295u;
  return static_cast<uint32_t>(dBase);  // truncation is floor here
}

bool bHasRate(double dFps) {
  return dFps > kRateTolerance;
}

double dRateOrDefault(double dFps) {
  return bHasRate(dFps) ? dFps : kDefaultRate;
}

// Two rates are the same unless they differ by more than the tolerance, so
// NaN is the same rate as any other (the difference is not above 1e-9).
bool bIsRate(double dFps, double dRate) {
  return !(std::fabs(dFps - dRate) > kRateTolerance);
}

// Signed 32-bit sum that wraps instead of overflowing, as the frame counts of
// the original 32-bit arithmetic did.
int32_t iWrappingSum(int32_t iA, int32_t iB) {
  return static_cast<int32_t>(static_cast<uint32_t>(iA) +
                              static_cast<uint32_t>(iB));
}

uint32_t nMagnitude(int32_t i) {
  return i < 0 ? 0u - static_cast<uint32_t>(i) : static_cast<uint32_t>(i);
}

// Frames in a day at base F, an unsigned 32-bit product like every block
// size of the count conversion: it wraps for absurd rates (50,000 fps gives
// 25,032,704) and may even wrap to 0.
uint32_t nDayAtBase(uint32_t nBase, bool bDropFrame) {
  if (!bDropFrame) return nBase * 86400u;
  return ((nBase * 60u - 2u) * 10u + 2u) * 144u;
}

// *pnCount div nDivisor into *pnQuotient, *pnCount mod nDivisor back into
// *pnCount. A block size that wrapped to 0 divides nothing: the quotient is
// 0 and the count stays as it is.
void DivideOut(uint32_t* pnCount, uint32_t nDivisor, uint32_t* pnQuotient) {
  *pnQuotient = 0;
  if (nDivisor == 0) return;
  *pnQuotient = *pnCount / nDivisor;
  *pnCount %= nDivisor;
}

// Largest base whose day (86400 frames a second) fits in 32 bits: up to it
// no block size wraps.
constexpr uint32_t kMaxBase32 = 49710;

// Splits a count below one day into hours, minutes, seconds and frames at a
// base up to kMaxBase32. Whole seconds (non-drop) and ten-minute blocks
// (drop frame) come first, so the rest divides by constants; the result is
// that of SplitCountWrapping, only faster. Drop frame: the first minute of
// every ten keeps frame numbers 0 and 1, every later minute starts at 2.
void SplitCount(uint32_t nCount, uint32_t nBase, bool bDropFrame,
                uint32_t anFields[4]) {
  uint32_t nHours, nMinutes, nInMinute;
  if (!bDropFrame) {
    uint32_t const nTotalSeconds = nCount / nBase;
    nHours = nTotalSeconds / 3600;
    nMinutes = nTotalSeconds / 60 % 60;
    nInMinute = nTotalSeconds % 60 * nBase + nCount % nBase;
  } else {
    uint32_t const nMinute = nBase * 60 - 2;
    uint32_t const nTenMinutes = nMinute * 10 + 2;
    uint32_t const nBlocks = nCount / nTenMinutes;
    uint32_t const nInBlock = nCount - nBlocks * nTenMinutes;
    uint32_t const nKept = nInBlock < 2 ? nInBlock : 2;
    nHours = nBlocks / 6;
    nMinutes = (nInBlock - nKept) / nMinute + 10 * (nBlocks % 6);
    nInMinute = nKept + (nInBlock - nKept) % nMinute;
  }
  anFields[0] = nHours;
  anFields[1] = nMinutes;
  anFields[2] = nInMinute / nBase;
  anFields[3] = nInMinute % nBase;
}

// The same split for any base, with every block size (frames an hour, a
// minute, ten minutes) an unsigned 32-bit product that wraps, as the count
// conversion has always computed them. Fields can come out far above their
// ranges; the constructor reports them.
void SplitCountWrapping(uint32_t nCount, uint32_t nBase, bool bDropFrame,
                        uint32_t anFields[4]) {
  uint32_t nHours, nMinutes, nInMinute;
  if (!bDropFrame) {
    DivideOut(&nCount, nBase * 3600u, &nHours);
    DivideOut(&nCount, nBase * 60u, &nMinutes);
    nInMinute = nCount;
  } else {
    uint32_t const nMinute = nBase * 60u - 2u;
    uint32_t const nTenMinutes = nMinute * 10u + 2u;
    DivideOut(&nCount, 6u * nTenMinutes, &nHours);
    uint32_t nInBlock = nCount, nBlocks;
    DivideOut(&nInBlock, nTenMinutes, &nBlocks);
    uint32_t const nKept = nInBlock < 2 ? nInBlock : 2;
    uint32_t nRest = nInBlock - nKept, nWholeMinutes;
    DivideOut(&nRest, nMinute, &nWholeMinutes);
    nMinutes = nWholeMinutes + 10u * nBlocks;
    nInMinute = nKept + nRest;
  }
  anFields[0] = nHours;
  anFields[1] = nMinutes;
  anFields[2] = nInMinute / nBase;  // the base itself is never 0
  anFields[3] = nInMinute % nBase;
}

void AppendLine(CLuString* pstrErrors, char const* pszStart, uint32_t nValue,
                char const* pszEnd) {
  *pstrErrors += pszStart;
  *pstrErrors += CLuString::strFromNumber(nValue);
  *pstrErrors += pszEnd;
}

// The field key that orders timecodes, as a signed 32-bit number.
int32_t iOrderKey(CLuTimeCode const& tc) {
  uint32_t nKey = static_cast<uint32_t>(tc.nHours) << 24 |
                  static_cast<uint32_t>(tc.nMinutes) << 16 |
                  static_cast<uint32_t>(tc.nSeconds) << 8 | tc.nFrames;
  if (tc.bNegative) nKey = 0u - nKey;
  return static_cast<int32_t>(nKey);
}

// (tens << 4) | units of one field. A field above 99 gives more than 8
// bits, which spill into the neighbouring field of the packed word.
uint32_t nToBcd(uint8_t nValue) {
  return (nValue / 10u) << 4 | nValue % 10u;
}

uint32_t nFromBcd(uint32_t nByte) {
  return (nByte & 0x0Fu) + 10u * ((nByte >> 4) & 0x0Fu);
}

// Before a sum or difference, a side without a rate takes the other side's
// rate and drop flag. When neither has one, b takes 24 while a keeps
// counting at base 1.
void AdoptRates(CLuTimeCode* ptcA, CLuTimeCode* ptcB) {
  if (!bHasRate(ptcA->dFps) && bHasRate(ptcB->dFps)) {
    ptcA->SetFps(ptcB->dFps, ptcB->bDropFrame);
  } else if (!bHasRate(ptcB->dFps)) {
    ptcB->SetFps(dRateOrDefault(ptcA->dFps), ptcA->bDropFrame);
  }
}

// ---- Text parsing -------------------------------------------------------

char const kWhiteSpace[] = "\n\t \r";

char const kMsgFormat[] = "Invalid timecode format string: '";
// Heads of the rate and drop-frame fault messages (one word split over two
// literals; the text is the same).
#define LU_SPECIFICATION "speci" "fication"
char const kMsgFps[] =
    "Invalid fps " LU_SPECIFICATION " in timecode format string: '";
char const kMsgDropFrame[] =
    "Invalid drop frame " LU_SPECIFICATION
    " in timecode format string - expected DropFrame instead of '";
#undef LU_SPECIFICATION
char const* const kapszFieldMessages[4] = {
    "Invalid timecode format string (hours): '",
    "Invalid timecode format string (minutes): '",
    "Invalid timecode format string (seconds): '",
    "Invalid timecode format string (frames): '",
};

// What the parser has read so far; a failed parse keeps it for the result.
struct SParsedText {
  uint32_t anFields[4];  // hours, minutes, seconds, frames
  bool bNegative;
  double dFps;
  bool bDropFrame;
};

CLuString strQuoted(char const* pszMessage, CLuString const& strQuote) {
  CLuString strLine(pszMessage);
  strLine += strQuote;
  strLine += "'";
  return strLine;
}

// Reads "[-]HH:MM:SS:FF [rate[fps] [DropFrame]]" into *pParsed. Returns true
// on success; otherwise false with the message line (without "\n") in
// *pstrMessage, the first fault ending the parse.
bool bParseText(CLuString const& strText, SParsedText* pParsed,
                CLuString* pstrMessage) {
  CLuString strRest(strText);
  strRest.TruncateWhiteSpace(kWhiteSpace);

  // Blanks split the timecode word from the rest before anything else.
  CLuString strWord;
  if (!strRest.bGetNextToken(" ", &strWord, false, 0)) {
    *pstrMessage = strQuoted(kMsgFormat, strText);
    return false;
  }
  strWord.TruncateWhiteSpace(kWhiteSpace);
  if (strWord.cGetAt(0) == '-') {
    strWord.ShortenAtBegin(1);
    pParsed->bNegative = true;
  }

  // Hours, minutes, seconds; repeated colons count as one.
  for (int i = 0; i < 3; ++i) {
    CLuString strField;
    if (!strWord.bGetNextToken(":", &strField, false, 0)) {
      *pstrMessage = strQuoted(kMsgFormat, strText);
      return false;
    }
    strField.TruncateWhiteSpace(kWhiteSpace);
    if (!strField.bToUINT(&pParsed->anFields[i], 0, 4294967295u)) {
      *pstrMessage = strQuoted(kapszFieldMessages[i], strText);
      return false;
    }
  }
  // Frames: whatever is left of the word, so "04:05" fails as one number.
  strWord.TruncateWhiteSpace(kWhiteSpace);
  if (!strWord.bToUINT(&pParsed->anFields[3], 0, 4294967295u)) {
    *pstrMessage = strQuoted(kapszFieldMessages[3], strText);
    return false;
  }

  // The rate is the next token between "(", ")" and ","; the word "fps" may
  // stick to either side of the number but not stand apart from it.
  strRest.TruncateWhiteSpace(kWhiteSpace);
  CLuString strRate;
  if (!strRest.bGetNextToken("(),", &strRate, false, 0)) return true;
  strRate.TruncateWhiteSpace("FPSfps");
  double dRate = 0.0;
  if (!strRate.bToDouble(&dRate, 0.0, DBL_MAX)) {
    *pstrMessage = strQuoted(kMsgFps, strText);
    return false;
  }
  pParsed->dFps = dRate;

  if (strRest.bStartsWith("fps", false)) strRest.ShortenAtBegin(3);
  strRest.TruncateWhiteSpace(" ,)\n\t\r");
  if (strRest.bIsEmpty()) return true;
  if (strcasecmp(strRest.pszGetString(), "DropFrame") != 0) {
    *pstrMessage = strQuoted(kMsgDropFrame, strRest);
    return false;
  }
  pParsed->bDropFrame = true;
  return true;
}

}  // namespace

CLuTimeCode::CLuTimeCode() {
  Construct(0, 0, 0, 0, 0.0, false, false);
}

CLuTimeCode::CLuTimeCode(uint32_t nHours, uint32_t nMinutes, uint32_t nSeconds,
                         uint32_t nFrames, double dFps, bool bDropFrame,
                         bool bNegative) {
  Construct(nHours, nMinutes, nSeconds, nFrames, dFps, bDropFrame, bNegative);
}

void CLuTimeCode::Construct(uint32_t nHoursIn, uint32_t nMinutesIn,
                            uint32_t nSecondsIn, uint32_t nFramesIn,
                            double dFpsIn, bool bDropFrameIn,
                            bool bNegativeIn) {
  bNegative = bNegativeIn;
  nHours = static_cast<uint8_t>(nHoursIn);
  nMinutes = static_cast<uint8_t>(nMinutesIn);
  nSeconds = static_cast<uint8_t>(nSecondsIn);
  nFrames = static_cast<uint8_t>(nFramesIn);
  bDropFrame = bDropFrameIn;
  dFps = dFpsIn;
  nFpsBase = nFpsBaseOf(dFpsIn);
  if (!strErrors.bIsEmpty()) strErrors.ShortenAtEnd(strErrors.nGetLength());
  bInvalid = false;

  // The checks see the full arguments, not the 8-bit fields.
  if (nHoursIn > 23) {
    AppendLine(&strErrors, "TimeCode's Hour value exceeds 23 (", nHoursIn,
               ")\n");
    bInvalid = true;
  }
  if (nMinutesIn > 59) {
    AppendLine(&strErrors, "TimeCode's Minute value exceeds 59 (", nMinutesIn,
               ")\n");
    bInvalid = true;
  }
  if (nSecondsIn > 59) {
    AppendLine(&strErrors, "TimeCode's Second value exceeds 59 (", nSecondsIn,
               ")\n");
    bInvalid = true;
  }
  if (dFpsIn > kRateTolerance) {
    if (nFramesIn >= nFpsBase) {
      // No blank before "(" here, unlike the other lines: the text is kept
      // as it has always been written.
      AppendLine(&strErrors, "TimeCode's Frame value outside range 0..",
                 nFpsBase - 1, "(");
      AppendLine(&strErrors, "", nFramesIn, ")\n");
      bInvalid = true;
    }
  } else if (dFpsIn < -kRateTolerance) {
    strErrors += "TimeCode's fps value is < 0 - invalid\n";
    bInvalid = true;
  } else {
    dFps = 0.0;  // no rate: no frame check either
  }
  if (bDropFrameIn) {
    if (nSecondsIn == 0 && nMinutesIn % 10 != 0 && nFramesIn < 2) {
      AppendLine(&strErrors,
                 "TimeCode's Frame value outside range valid for drop frame "
                 "TimeCode (",
                 nFramesIn, ")\n");
      bInvalid = true;
    }
    // A warning only: drop frame counts the same way at any base.
    if (!bIsRate(dFpsIn, 30.0)) {
      strErrors += "Drop frame unspecified for FPS values other than 30\n";
    }
  }
}

void CLuTimeCode::Set(CLuTimeCode const& tc) {
  if (&tc == this) return;
  bNegative = tc.bNegative;
  nHours = tc.nHours;
  nMinutes = tc.nMinutes;
  nSeconds = tc.nSeconds;
  nFrames = tc.nFrames;
  bDropFrame = tc.bDropFrame;
  dFps = tc.dFps;
  nFpsBase = tc.nFpsBase;
  strErrors = tc.strErrors;
  bInvalid = tc.bInvalid;
}

void CLuTimeCode::SetFps(double dFpsIn, bool bDropFrameIn) {
  dFps = dFpsIn;
  nFpsBase = nFpsBaseOf(dFpsIn);
  bDropFrame = bDropFrameIn;
  if (dFpsIn < -kRateTolerance) {
    strErrors += "TimeCode's fps value is < 0 - invalid\n";
    bInvalid = true;
  }
  if (bDropFrameIn && !bIsRate(dFpsIn, 30.0)) {
    strErrors += "Drop frame unspecified for FPS values other than 30\n";
  }
}

// Unsigned 32-bit arithmetic throughout: the count wraps like the 32-bit
// count it has always been.
int32_t CLuTimeCode::iFramesSinceMidnight() const {
  uint32_t nCount;
  if (!bDropFrame) {
    nCount = nFrames + (nHours * 3600u + nMinutes * 60u + nSeconds) * nFpsBase;
  } else {
    uint32_t const nMinute = nFpsBase * 60u - 2u;
    uint32_t const nTenMinutes = nMinute * 10u + 2u;
    nCount = nFrames + nFpsBase * nSeconds + nMinute * (nMinutes % 10u) +
             nTenMinutes * (nMinutes / 10u) + 6u * nTenMinutes * nHours;
  }
  if (bNegative) nCount = 0u - nCount;
  return static_cast<int32_t>(nCount);
}

uint32_t CLuTimeCode::nFramesPerDay(double dFps, bool bDropFrame) {
  return nDayAtBase(nFpsBaseOf(dFps), bDropFrame);
}

void CLuTimeCode::SetFramesSinceMidnight(int32_t iFrames, double dFpsIn,
                                         bool bDropFrameIn) {
  if (!(dFpsIn > 0.0) && !std::isnan(dFpsIn)) {
    Construct(0, 0, 0, 0, 0.0, false, false);
    strErrors = "Invalid frames per second value (must be greater than 0)\n";
    bInvalid = true;
    return;
  }
  // A negative count is wrapped by its magnitude, not counted back from
  // midnight: -1 is -00:00:00:01, not 23:59:59:ff.
  uint32_t const nBase = nFpsBaseOf(dFpsIn);
  uint32_t nCount = nMagnitude(iFrames);
  uint32_t nDays;
  DivideOut(&nCount, nDayAtBase(nBase, bDropFrameIn), &nDays);
  uint32_t anFields[4];
  // Every real rate takes the fast split; absurd ones wrap their block sizes.
  if (nBase <= kMaxBase32) {
    SplitCount(nCount, nBase, bDropFrameIn, anFields);
  } else {
    SplitCountWrapping(nCount, nBase, bDropFrameIn, anFields);
  }
  Construct(anFields[0], anFields[1], anFields[2], anFields[3], dFpsIn,
            bDropFrameIn, iFrames < 0);
}

CLuTimeCode CLuTimeCode::tcFromFramesSinceMidnight(int32_t iFrames, double dFps,
                                                   bool bDropFrame) {
  CLuTimeCode tc;
  tc.SetFramesSinceMidnight(iFrames, dFps, bDropFrame);
  return tc;
}

uint32_t CLuTimeCode::nAsSmpteDpxTimeCode() const {
  return nToBcd(nHours) | nToBcd(nMinutes) << 8 | nToBcd(nSeconds) << 16 |
         nToBcd(nFrames) << 24;
}

CLuTimeCode CLuTimeCode::tcFromSmpteDpxTimeCode(uint32_t nPacked, double dFps,
                                                bool bDropFrame) {
  return CLuTimeCode(nFromBcd(nPacked), nFromBcd(nPacked >> 8),
                     nFromBcd(nPacked >> 16), nFromBcd(nPacked >> 24), dFps,
                     bDropFrame, false);
}

int32_t CLuTimeCode::nAsFullPacked() const {
  uint32_t nRateCode = 0;
  if (bIsRate(dFps, 24.0)) {
    nRateCode = 1;
  } else if (bIsRate(dFps, 30.0)) {
    nRateCode = 2;
  } else if (bIsRate(dFps, 60.0)) {
    nRateCode = 3;
  }
  uint32_t const nWord = (nMagnitude(iFramesSinceMidnight()) & 0x00FFFFFFu) |
                         nRateCode << 24 | (bDropFrame ? 1u << 28 : 0u);
  return static_cast<int32_t>(nWord);
}

CLuTimeCode CLuTimeCode::tcFromFullPacked(int32_t nPacked) {
  uint32_t const nWord = static_cast<uint32_t>(nPacked);
  double dRate = 25.0;
  switch ((nWord >> 24) & 0x0Fu) {
    case 1:
      dRate = 24.0;
      break;
    case 2:
      dRate = 30.0;
      break;
    case 3:
      dRate = 60.0;
      break;
    default:
      break;
  }
  return tcFromFramesSinceMidnight(static_cast<int32_t>(nWord & 0x00FFFFFFu),
                                   dRate, (nWord >> 28) & 1u);
}

CLuTimeCode CLuTimeCode::tcFromLTCTimeCode(uint64_t n64Ltc, double dFps,
                                           bool bDropFrame,
                                           uint32_t* pnUserBits) {
  auto nBits = [n64Ltc](int iFirst, uint32_t nMask) {
    return static_cast<uint32_t>(n64Ltc >> iFirst) & nMask;
  };
  if (pnUserBits) {
    uint32_t nUser = 0;
    for (int i = 0; i < 8; ++i) nUser |= nBits(4 + 8 * i, 0x0Fu) << (4 * i);
    *pnUserBits = nUser;
  }
  return CLuTimeCode(nBits(48, 0x0Fu) + 10 * nBits(56, 0x03u),
                     nBits(32, 0x0Fu) + 10 * nBits(40, 0x07u),
                     nBits(16, 0x0Fu) + 10 * nBits(24, 0x07u),
                     nBits(0, 0x0Fu) + 10 * nBits(8, 0x03u), dFps, bDropFrame,
                     false);
}

CLuTimeCode CLuTimeCode::tcFromHHMMSSFF(int32_t iNumber, double dFps,
                                        bool bDropFrame) {
  // The steps mix signed and absolute values on purpose; every intermediate
  // stays well inside 32 bits.
  int32_t const iHours = iNumber / 1000000;
  int32_t const iRest = iNumber - iHours * 1000000;
  int32_t const iMinutes = std::abs(iRest) / 10000;
  int32_t const iInMinute = iRest - iMinutes * 10000;
  int32_t const iSeconds = std::abs(iInMinute) / 100;
  int32_t const iFrames = std::abs(iInMinute - iSeconds * 100);
  return CLuTimeCode(
      static_cast<uint32_t>(iHours), static_cast<uint32_t>(iMinutes),
      static_cast<uint32_t>(iSeconds), static_cast<uint32_t>(iFrames), dFps,
      bDropFrame, iNumber < 0);
}

CLuTimeCode CLuTimeCode::tcFromHHMMSSFFString(CLuString const& strNumber,
                                              double dFps, bool bDropFrame) {
  int32_t iNumber = 0;
  if (!strNumber.bToInt(&iNumber, INT32_MIN, INT32_MAX)) iNumber = 0;
  return tcFromHHMMSSFF(iNumber, dFps, bDropFrame);
}

CLuTimeCode CLuTimeCode::tcFromNumberString(CLuString strNumber, double dFps,
                                            bool bDropFrame) {
  bool bNegative = false;
  if (strNumber.cGetAt(0) == '-') {
    strNumber.ShortenAtBegin(1);
    bNegative = true;
  } else if (strNumber.cGetAt(0) == '+') {
    strNumber.ShortenAtBegin(1);
  }
  if (strNumber.bIsEmpty()) {
    CLuTimeCode tc(0, 0, 0, 0, dFps, bDropFrame, false);
    tc.strErrors = "Empty timecode\n";
    tc.bInvalid = true;
    return tc;
  }
  if (strNumber.nGetLength() > 8) {
    strNumber.ShortenAtEnd(strNumber.nGetLength() - 8);
  }
  CLuString strDigits;
  for (uint32_t n = strNumber.nGetLength(); n < 8; ++n) strDigits += '0';
  strDigits += strNumber;

  uint32_t anFields[4] = {0, 0, 0, 0};
  for (uint32_t i = 0; i < 4; ++i) {
    if (!strDigits.strMid(2 * i, 2).bToUINT(&anFields[i], 0, 4294967295u)) {
      anFields[i] = 0;
    }
  }
  return CLuTimeCode(anFields[0], anFields[1], anFields[2], anFields[3], dFps,
                     bDropFrame, bNegative);
}

CLuTimeCode CLuTimeCode::tcFromString(CLuString const& strText, double dFps,
                                      bool bDropFrame) {
  SParsedText parsed = {{0, 0, 0, 0}, false, dFps, bDropFrame};
  CLuString strMessage;
  bool const bParsed = bParseText(strText, &parsed, &strMessage);
  CLuTimeCode tc(parsed.anFields[0], parsed.anFields[1], parsed.anFields[2],
                 parsed.anFields[3], parsed.dFps, parsed.bDropFrame,
                 parsed.bNegative);
  if (!bParsed) {
    // The parse fault goes after whatever the fields read so far produced.
    tc.strErrors += strMessage;
    tc.strErrors += "\n";
    tc.bInvalid = true;
  }
  return tc;
}

CLuString CLuTimeCode::strAsString(EFormat eFormat) const {
  // The text of "%02i:%02i:%02i:%02i" (a field above 99 gets three digits),
  // written by hand: formatting goes through a 1 KiB buffer per call, and
  // this runs once for every frame a tool reports.
  char szText[20];
  char* psz = szText;
  if (bNegative) *psz++ = '-';
  uint8_t const anFields[4] = {nHours, nMinutes, nSeconds, nFrames};
  for (int i = 0; i < 4; ++i) {
    if (i > 0) *psz++ = ':';
    if (anFields[i] >= 100) *psz++ = static_cast<char>('0' + anFields[i] / 100);
    *psz++ = static_cast<char>('0' + anFields[i] / 10 % 10);
    *psz++ = static_cast<char>('0' + anFields[i] % 10);
  }
  *psz = 0;
  CLuString str(szText);
  if (eFormat == eFormatPlain || !bHasRate(dFps)) return str;
  str += " (";
  str += CLuString::strFromNumber(dFps, 15, false);
  str += " fps";
  if (bDropFrame) str += ", DropFrame";
  str += ")";
  return str;
}

CLuTimeCode& CLuTimeCode::operator+=(int32_t iFrames) {
  // Counted at the frame base (1 without a rate), rebuilt at 24 when there
  // is no rate.
  SetFramesSinceMidnight(iWrappingSum(iFramesSinceMidnight(), iFrames),
                         dRateOrDefault(dFps), bDropFrame);
  return *this;
}

CLuTimeCode& CLuTimeCode::operator-=(int32_t iFrames) {
  return *this += static_cast<int32_t>(0u - static_cast<uint32_t>(iFrames));
}

void CLuTimeCode::IncrementSeconds(int32_t iSeconds) {
  *this += static_cast<int32_t>(static_cast<uint32_t>(iSeconds) * nFpsBase);
}

bool CLuTimeCode::operator==(CLuTimeCode const& tc) const {
  return iFramesSinceMidnight() == tc.iFramesSinceMidnight() &&
         bDropFrame == tc.bDropFrame &&
         bIsRate(dRateOrDefault(dFps), dRateOrDefault(tc.dFps));
}

bool CLuTimeCode::operator!=(CLuTimeCode const& tc) const {
  return !(*this == tc);
}

bool CLuTimeCode::operator<(CLuTimeCode const& tc) const {
  return iOrderKey(*this) < iOrderKey(tc);
}

bool CLuTimeCode::operator<=(CLuTimeCode const& tc) const {
  return iOrderKey(*this) <= iOrderKey(tc);
}

bool CLuTimeCode::operator>(CLuTimeCode const& tc) const {
  return iOrderKey(*this) > iOrderKey(tc);
}

bool CLuTimeCode::operator>=(CLuTimeCode const& tc) const {
  return iOrderKey(*this) >= iOrderKey(tc);
}

CLuTimeCode operator+(CLuTimeCode tcA, CLuTimeCode tcB) {
  AdoptRates(&tcA, &tcB);
  return CLuTimeCode::tcFromFramesSinceMidnight(
      iWrappingSum(tcA.iFramesSinceMidnight(), tcB.iFramesSinceMidnight()),
      dRateOrDefault(tcA.dFps), tcB.bDropFrame);
}

CLuTimeCode operator-(CLuTimeCode tcA, CLuTimeCode tcB) {
  AdoptRates(&tcA, &tcB);
  uint32_t const nNegB = 0u - static_cast<uint32_t>(tcB.iFramesSinceMidnight());
  return CLuTimeCode::tcFromFramesSinceMidnight(
      iWrappingSum(tcA.iFramesSinceMidnight(), static_cast<int32_t>(nNegB)),
      dRateOrDefault(tcA.dFps), tcA.bDropFrame);
}
