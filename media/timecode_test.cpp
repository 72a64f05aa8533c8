#include "media/timecode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <string>

namespace {

using TC = CLuTimeCode;
auto* const Frames = &TC::tcFromFramesSinceMidnight;

// The long form. AsString must write the same texts, both forms, into a
// string that held a longer text before.
std::string Text(CLuTimeCode const& tc) {
  for (auto eFormat : {TC::eFormatPlain, TC::eFormatWithFps}) {
    CLuString strReused("a text longer than any timecode, to be replaced");
    tc.AsString(&strReused, eFormat);
    EXPECT_STREQ(strReused.pszGetString(),
                 tc.strAsString(eFormat).pszGetString());
  }
  return tc.strAsString(CLuTimeCode::eFormatWithFps).pszGetString();
}
std::string Errors(CLuTimeCode const& tc) {
  return tc.strErrors.pszGetString();
}
CLuTimeCode Tc(uint32_t h, uint32_t m, uint32_t s, uint32_t f, double dFps,
               bool bDrop = false, bool bNegative = false) {
  return CLuTimeCode(h, m, s, f, dFps, bDrop, bNegative);
}
// The value moved by iSeconds seconds, or by iFrames frames when iSeconds is
// 0.
CLuTimeCode Step(CLuTimeCode tc, int32_t iFrames, int32_t iSeconds = 0) {
  if (iSeconds != 0) {
    tc.IncrementSeconds(iSeconds);
  } else {
    tc += iFrames;
  }
  return tc;
}
CLuTimeCode Parse(char const* pszText, bool bDrop = false) {
  return TC::tcFromString(pszText, 24, bDrop);
}

// A value, its text with rate and its messages. Any message marks the value
// invalid except the drop-frame-rate warning alone.
struct Row {
  CLuTimeCode tc;
  char const* pszText;
  char const* pszErrors = "";
};
char const* const kWarning =
    "Drop frame unspecified for FPS values other than 30\n";

void ExpectRows(std::initializer_list<Row> aRows) {
  for (Row const& r : aRows) {
    SCOPED_TRACE(r.pszText);
    EXPECT_EQ(Text(r.tc), r.pszText);
    EXPECT_EQ(Errors(r.tc), r.pszErrors);
    EXPECT_EQ(r.tc.bInvalid, *r.pszErrors != 0 && Errors(r.tc) != kWarning);
  }
}

TEST(TimeCode, ConstructorReportsEveryFailedCheckInOrder) {
  ExpectRows({
      {Tc(0, 0, 0, 99, -25), "00:00:00:99",
       "TimeCode's fps value is < 0 - invalid\n"},
      {Tc(0, 0, 0, 200, 0), "00:00:00:200"},  // no rate: no frame check
      // hours above 255 are checked in full, then stored modulo 256
      {Tc(300, 60, 60, 24, 24), "44:60:60:24 (24 fps)",
       "TimeCode's Hour value exceeds 23 (300)\n"
       "TimeCode's Minute value exceeds 59 (60)\n"
       "TimeCode's Second value exceeds 59 (60)\n"
       "TimeCode's Frame value outside range 0..23(24)\n"},
      {Tc(0, 1, 0, 0, 30, true), "00:01:00:00 (30 fps, DropFrame)",
       "TimeCode's Frame value outside range valid for drop frame TimeCode "
       "(0)\n"},
      {Tc(0, 1, 0, 1, 25, true), "00:01:00:01 (25 fps, DropFrame)",
       "TimeCode's Frame value outside range valid for drop frame TimeCode "
       "(1)\n"
       "Drop frame unspecified for FPS values other than 30\n"},
      // a rate not above 0 prints no rate, also in drop frame
      {Tc(1, 2, 3, 4, 0, true, true), "-01:02:03:04", kWarning},
      // NaN is within 1e-9 of 30 (the difference is not above it): no
      // warning, and no rate to print either
      {Tc(0, 1, 0, 2, NAN, true), "00:01:00:02"},
  });
  // a rate within 1e-9 of 0 is stored as exactly no rate
  EXPECT_EQ(Tc(0, 0, 0, 0, -1e-10).dFps, 0.0);
}

TEST(TimeCode, FrameBaseRoundsTheRate) {
  double const adFps[] = {29.97, 24.4, 24.5, -25, 0, 1e30};
  uint32_t const anBase[] = {30, 24, 25, 25, 1, 4294967295u};
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(Tc(0, 0, 0, 0, adFps[i]).nFpsBase, anBase[i]) << adFps[i];
}

// Drop frame at rates the day walk below does not count: always two frame
// numbers a minute are skipped (25 -> 1,498 a minute; 60 skips 2, not 4).
TEST(TimeCode, CountsFramesSinceMidnightAndPerDay) {
  struct {
    double dFps;
    int32_t iFrames;  // at 00:10:00:00
    uint32_t nPerDay;
  } const cases[] = {{25, 14982, 2157408}, {60, 35982, 5181408}};
  for (auto const& c : cases) {
    CLuTimeCode const tc = Tc(0, 10, 0, 0, c.dFps, true);
    SCOPED_TRACE(Text(tc));
    EXPECT_EQ(tc.iFramesSinceMidnight(), c.iFrames);
    EXPECT_EQ(TC::nFramesPerDay(c.dFps, true), c.nPerDay);
    CLuTimeCode const tcBack = Frames(c.iFrames, c.dFps, true);
    EXPECT_EQ(Text(tcBack) + Errors(tcBack), Text(tc) + Errors(tc));
  }
  // The day length is an unsigned 32-bit product and wraps for absurd rates.
  struct {
    double dFps;
    bool bDrop;
    uint32_t nPerDay;
  } const aWrapped[] = {{49711, false, 63104},
                        {50000, false, 25032704},
                        {50000, true, 25030112},
                        {1073741824, false, 0}};
  for (auto const& c : aWrapped)
    EXPECT_EQ(TC::nFramesPerDay(c.dFps, c.bDrop), c.nPerDay) << c.dFps;
}

TEST(TimeCode, FactoriesBuildExactValues) {
  ExpectRows({
      // wrapped by magnitude, not counted back from midnight
      {Frames(-2073601, 24, false), "-00:00:00:01 (24 fps)"},
      {Frames(10, 0, true), "00:00:00:00",
       "Invalid frames per second value (must be greater than 0)\n"},
      // wrapped day (25,032,704 frames): 17,297 frames, kept modulo 256
      {Frames(25050001, 50000, false), "00:00:00:145 (50000 fps)"},
      {Frames(25030112 + 3000000, 50000, true),
       "00:01:00:02 (50000 fps, DropFrame)", kWarning},
      // the frames an hour and a minute wrap too: a "minute" of 44 frames
      {Frames(1000, 71582789, false), "00:22:00:32 (71582789 fps)"},
      // day, hour and minute all wrap to 0: those steps are skipped
      {Frames(INT32_MIN, 1073741824, false), "-00:00:02:00 (1073741824 fps)"},
      {TC::tcFromHHMMSSFF(-123456, 24, false), "-00:12:130:200 (24 fps)",
       "TimeCode's Second value exceeds 59 (2434)\n"
       "TimeCode's Frame value outside range 0..23(486856)\n"},
      {TC::tcFromHHMMSSFF(-1000000, 0, false), "-255:00:00:00",
       "TimeCode's Hour value exceeds 23 (4294967295)\n"},
      {TC::tcFromHHMMSSFFString("12ab", 0, false), "00:00:00:00"},
      {TC::tcFromNumberString("-5", 0, false), "-00:00:00:05"},
      {TC::tcFromNumberString("01x20304", 0, false), "01:00:03:04"},
      {TC::tcFromNumberString("-", 25, false), "00:00:00:00 (25 fps)",
       "Empty timecode\n"},
      // codes other than 1, 2, 3 read as 25
      {TC::tcFromFullPacked(0x0500001E), "00:00:01:05 (25 fps)"},
      // LTC drop-frame and colour-frame flags (bits 10, 11) are ignored
      {TC::tcFromLTCTimeCode(0x0203050905090E29ull, 30, false, nullptr),
       "23:59:59:29 (30 fps)"},
  });
}

uint32_t Bcd(uint32_t n) {
  return (n / 10) << 4 | n % 10;
}

// Frames -> timecode -> frames, stepping by one frame and both packed words,
// for every frame of a day, checked against an independent odometer.
TEST(TimeCode, EveryFrameOfADayRoundTripsAndStepsInOrder) {
  struct {
    double dFps;
    bool bDrop;
    uint32_t nFullRateBits;  // rate code and drop flag of the full word
  } const cases[] = {{24, false, 0x01000000},
                     {25, false, 0x00000000},
                     {30, false, 0x02000000},
                     {30, true, 0x12000000}};
  for (auto const& c : cases) {
    SCOPED_TRACE(testing::Message() << c.dFps << (c.bDrop ? " drop" : ""));
    uint32_t const nBase = static_cast<uint32_t>(c.dFps);
    int32_t const iDay =
        static_cast<int32_t>(TC::nFramesPerDay(c.dFps, c.bDrop));
    uint32_t h = 0, m = 0, s = 0, f = 0;
    CLuTimeCode tcStep = Tc(0, 0, 0, 0, c.dFps, c.bDrop);
    int32_t iFirstBad = -1;
    for (int32_t i = 0; i < iDay && iFirstBad < 0; ++i) {
      uint32_t const nDpx = Bcd(h) | Bcd(m) << 8 | Bcd(s) << 16 | Bcd(f) << 24;
      uint32_t const nFull = static_cast<uint32_t>(i) | c.nFullRateBits;
      CLuTimeCode const tc = Frames(i, c.dFps, c.bDrop);
      bool bOk = tc.nAsSmpteDpxTimeCode() == nDpx && !tc.bInvalid &&
                 tc.iFramesSinceMidnight() == i &&
                 static_cast<uint32_t>(tc.nAsFullPacked()) == nFull &&
                 tcStep.nAsSmpteDpxTimeCode() == nDpx && !tcStep.bInvalid;
      // Every word is encoded above. Decoding runs the same count conversion
      // as tc, so it is done for every frame of second 0 of each minute and
      // the first frame of every other second (and the last frame): every
      // frame, second, minute and hour value is decoded, and the walk stays
      // fast.
      if (f == 0 || s == 0 || i == iDay - 1) {
        CLuTimeCode const tcDpx =
            TC::tcFromSmpteDpxTimeCode(nDpx, c.dFps, c.bDrop);
        bOk = bOk && tcDpx.iFramesSinceMidnight() == i && !tcDpx.bInvalid &&
              TC::tcFromFullPacked(static_cast<int32_t>(nFull)) == tc;
      }
      if (!bOk) iFirstBad = i;
      tcStep += 1;
      if (++f == nBase) {
        f = 0;
        if (++s == 60) {
          s = 0;
          if (++m == 60) m = 0, ++h;
          if (c.bDrop && m % 10 != 0) f = 2;
        }
      }
    }
    EXPECT_EQ(iFirstBad, -1);
    EXPECT_EQ(h, 24u);  // the count of frames per day matches the odometer
    EXPECT_EQ(tcStep.nAsSmpteDpxTimeCode(), 0u);  // wrapped to 00:00:00:00
    EXPECT_FALSE(tcStep.bNegative);
  }
}

TEST(TimeCode, DpxRoundTripIsTheWordADecodedValuePacksAgain) {
  struct {
    uint32_t nPacked;
    uint32_t nAgain;
  } const aRows[] = {
      {0x78563412u, 0x78563412u},  // plain BCD comes back as it is
      {0x0000000Au, 0x00000010u},  // a nibble above 9 carries
      {0x0000009Fu, 0x000000A5u},  // 105 hours: three digits, no spill
      {0xFFFFFFFFu, 0x05050505u},  // 165 in every field spills into the next
  };
  for (auto const& r : aRows) {
    SCOPED_TRACE(r.nPacked);
    EXPECT_EQ(TC::nSmpteDpxRoundTrip(r.nPacked), r.nAgain);
    EXPECT_EQ(TC::tcFromSmpteDpxTimeCode(r.nPacked, 30, true)
                  .nAsSmpteDpxTimeCode(),
              r.nAgain);
  }
}

TEST(TimeCode, ArithmeticGivesExactValues) {
  ExpectRows({
      {Step(Tc(0, 0, 0, 0, 24), -1), "-00:00:00:01 (24 fps)"},
      {Step(Tc(0, 1, 0, 2, 30, true), -1), "00:00:59:29 (30 fps, DropFrame)"},
      {Step(Tc(0, 0, 0, 0, 30, true), 0, 60),
       "00:01:00:02 (30 fps, DropFrame)"},
      {Step(Tc(0, 0, 1, 0, 25, false, true), 0, 2), "00:00:01:00 (25 fps)"},
      // no rate or a negative one: counted at the frame base (1 for no
      // rate, 25 for -25), rebuilt at 24
      {Step(Tc(0, 0, 1, 0, 0), 1), "00:00:00:02 (24 fps)"},
      {Step(Tc(0, 0, 1, 0, 0), 0, 1), "00:00:00:02 (24 fps)"},
      {Step(Tc(0, 0, 1, 0, -25), 1), "00:00:01:02 (24 fps)"},
      // the messages are those of the new value
      {Step(Tc(0, 0, 0, 24, 24), 0), "00:00:01:00 (24 fps)"},
      {Step(Tc(0, 1, 0, 0, 29.97, true), 2),
       "00:01:00:02 (29.969999999999999 fps, DropFrame)", kWarning},
      // the sum takes the drop flag from the right, the difference from the
      // left
      {Tc(0, 0, 59, 29, 30, true) + Tc(0, 0, 0, 1, 30), "00:01:00:00 (30 fps)"},
      {Tc(0, 0, 0, 1, 30) + Tc(0, 0, 59, 29, 30, true),
       "00:01:00:02 (30 fps, DropFrame)"},
      {Tc(0, 0, 59, 29, 30, true) - Tc(0, 0, 0, 1, 30),
       "00:00:59:28 (30 fps, DropFrame)"},
      {Tc(0, 0, 0, 1, 30) - Tc(0, 0, 59, 29, 30, true),
       "-00:00:59:28 (30 fps)"},
      // a side without a rate takes the other's; with none at all the right
      // side takes 24 while the left counts at base 1
      {Tc(0, 0, 1, 0, 0) + Tc(0, 0, 0, 1, 25), "00:00:01:01 (25 fps)"},
      {Tc(0, 0, 1, 0, 0) + Tc(0, 0, 0, 5, 0), "00:00:00:06 (24 fps)"},
      {Tc(0, 0, 1, 0, 0) - Tc(0, 0, 0, 5, 0), "-00:00:00:04 (24 fps)"},
  });
}

TEST(TimeCode, SetFpsKeepsFieldsAndAppendsItsMessages) {
  CLuTimeCode tc = Tc(0, 0, 0, 29, 30);
  tc.SetFps(25, true);
  EXPECT_EQ(Text(tc), "00:00:00:29 (25 fps, DropFrame)");  // not re-checked
  EXPECT_FALSE(tc.bInvalid);
  tc.SetFps(-30, false);
  EXPECT_TRUE(tc.bInvalid);
  EXPECT_EQ(Errors(tc),
            std::string(kWarning) + "TimeCode's fps value is < 0 - invalid\n");
  CLuTimeCode tcCopy;
  tcCopy.Set(tc);
  EXPECT_TRUE(Errors(tcCopy) == Errors(tc) && tcCopy.bInvalid &&
              tcCopy.dFps == -30.0);
}

TEST(TimeCode, PackedWordsFollowTheirBitLayout) {
  EXPECT_EQ(Tc(23, 59, 59, 29, 30, false, true).nAsSmpteDpxTimeCode(),
            0x29595923u);  // no sign
  // a field above 99 spills into its neighbour: 255 is (25 << 4) | 5
  EXPECT_EQ(Tc(255, 0, 0, 0, 0).nAsSmpteDpxTimeCode(), 0x00000195u);
  // Full word: rate code 3 for 60, the sign dropped, 29.97 coded like 25.
  EXPECT_EQ(Tc(0, 0, 1, 0, 60).nAsFullPacked(), 0x0300003C);
  EXPECT_EQ(Tc(0, 0, 1, 0, 25, false, true).nAsFullPacked(), 0x00000019);
  EXPECT_EQ(Tc(0, 0, 1, 0, 29.97).nAsFullPacked(), 0x0000001E);
  // NaN is within 1e-9 of every rate, 24 first; it counts at base 1
  CLuTimeCode tcNaN = Tc(0, 0, 1, 0, 25);
  tcNaN.SetFps(NAN, true);
  EXPECT_EQ(tcNaN.nAsFullPacked(), 0x11000001);
  EXPECT_EQ(Errors(tcNaN), "");
  uint32_t nUser = 0;
  EXPECT_EQ(
      Text(TC::tcFromLTCTimeCode(0x8071605240332014ull, 25, false, &nUser)),
      "01:02:03:04 (25 fps)");
  EXPECT_EQ(nUser, 0x87654321u);
}

TEST(TimeCode, EqualityComparesCountsAndRatesOrderingOnlyFields) {
  EXPECT_TRUE(Tc(0, 0, 1, 0, 25) == Tc(0, 0, 0, 25, 25));
  EXPECT_TRUE(Tc(0, 0, 0, 5, 0) == Tc(0, 0, 0, 5, 24));
  EXPECT_TRUE(Tc(0, 0, 0, 5, 30) == Tc(0, 0, 0, 5, 30 + 1e-10));
  EXPECT_TRUE(Tc(0, 0, 0, 5, 30) != Tc(0, 0, 0, 5, 29.97));
  EXPECT_TRUE(Tc(0, 0, 10, 0, 30) != Tc(0, 0, 10, 0, 30, true));
  CLuTimeCode const tcMinus = Tc(0, 0, 0, 1, 24, false, true);
  CLuTimeCode const tcZero = Tc(0, 0, 0, 0, 24);
  EXPECT_TRUE(tcMinus < tcZero && tcMinus <= tcZero && tcZero <= tcZero);
  EXPECT_FALSE(tcZero < tcZero || tcZero > tcZero);
  // by field key, although 30 frames at 30 fps is the later time
  EXPECT_TRUE(Tc(0, 0, 0, 30, 30) < Tc(0, 0, 1, 0, 25));
}

TEST(TimeCodeText, ParsesRatesAndRejectsMalformedTextQuotingIt) {
  ExpectRows({
      {Parse("  01:02:03:04\n"), "01:02:03:04 (24 fps)"},
      {Parse("-00:00:01:00"), "-00:00:01:00 (24 fps)"},
      {Parse("01:00:00:00 25"), "01:00:00:00 (25 fps)"},
      {Parse("01:00:00:00 (25fps)"), "01:00:00:00 (25 fps)"},
      {Parse("00:01:00:02 30,dropframe"), "00:01:00:02 (30 fps, DropFrame)"},
      {Parse("00:01:00:02 (29.97fps,DropFrame)"),
       "00:01:00:02 (29.969999999999999 fps, DropFrame)", kWarning},
      {Parse("01::02:03:04"), "01:02:03:04 (24 fps)"},
      {Parse("01:00:00:00 FPS30"), "01:00:00:00 (30 fps)"},
      {Parse("01:00:00:00 ((30)),, "), "01:00:00:00 (30 fps)"},
      // the text cannot clear a drop flag given by the caller
      {Parse("00:01:00:02 30", true), "00:01:00:02 (30 fps, DropFrame)"},
      // Malformed: the value holds the fields read before the fault; the
      // last message line quotes the input.
      {Parse(""), "00:00:00:00 (24 fps)",
       "Invalid timecode format string: ''\n"},
      {Parse("01: 02:03:04"), "01:00:00:00 (24 fps)",
       "Invalid timecode format string: '01: 02:03:04'\n"},
      {Parse("01:02:03"), "01:02:03:00 (24 fps)",
       "Invalid timecode format string (frames): '01:02:03'\n"},
      {Parse("aa:00:00:00"), "00:00:00:00 (24 fps)",
       "Invalid timecode format string (hours): 'aa:00:00:00'\n"},
      {Parse("-01:xx:00:00"), "-01:00:00:00 (24 fps)",
       "Invalid timecode format string (minutes): '-01:xx:00:00'\n"},
      {Parse("00:01:00;02"), "00:01:00:00 (24 fps)",
       "Invalid timecode format string (seconds): '00:01:00;02'\n"},
      {Parse("00:99:00"), "00:99:00:00 (24 fps)",
       "TimeCode's Minute value exceeds 59 (99)\n"
       "Invalid timecode format string (frames): '00:99:00'\n"},
      {Parse("01:00:00:00 (thirty)"), "01:00:00:00 (24 fps)",
       "Invalid fps speci"
       "fication in timecode format string: '01:00:00:00 (thirty)'\n"},
      {Parse("01:00:00:00 (30fps, Drop)"), "01:00:00:00 (30 fps)",
       "Invalid drop frame speci"
       "fication in timecode format string - expected DropFrame instead of "
       "'Drop'\n"},
      // the long form strAsString writes has a blank inside the rate
      {Parse("01:00:00:00 (30 fps, DropFrame)"), "01:00:00:00 (24 fps)",
       "Invalid fps speci"
       "fication in timecode format string: "
       "'01:00:00:00 (30 fps, DropFrame)'\n"},
  });
}

}  // namespace
