#include "media/timecode.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Text(CLuTimeCode const& tc) {
  return tc.strAsString(CLuTimeCode::eFormatWithFps).pszGetString();
}
std::string Errors(CLuTimeCode const& tc) {
  return tc.strErrors.pszGetString();
}

TEST(TimeCode, ConstructorReportsEveryFailedCheckInOrder) {
  struct {
    uint32_t h, m, s, f;
    double dFps;
    bool bDrop, bInvalid;
    char const* pszErrors;
  } const cases[] = {
      {24, 0, 0, 0, 24, false, true, "TimeCode's Hour value exceeds 23 (24)\n"},
      {0, 60, 0, 0, 24, false, true,
       "TimeCode's Minute value exceeds 59 (60)\n"},
      {0, 0, 60, 0, 24, false, true,
       "TimeCode's Second value exceeds 59 (60)\n"},
      {0, 0, 0, 24, 24, false, true,
       "TimeCode's Frame value outside range 0..23(24)\n"},
      {0, 0, 0, 29, 29.97, false, false, ""},
      {0, 0, 0, 30, 29.97, false, true,
       "TimeCode's Frame value outside range 0..29(30)\n"},
      {0, 0, 0, 99, -25, false, true,
       "TimeCode's fps value is < 0 - invalid\n"},
      {0, 0, 0, 200, 0, false, false, ""},
      {25, 61, 62, 30, 25, false, true,
       "TimeCode's Hour value exceeds 23 (25)\n"
       "TimeCode's Minute value exceeds 59 (61)\n"
       "TimeCode's Second value exceeds 59 (62)\n"
       "TimeCode's Frame value outside range 0..24(30)\n"},
      {0, 1, 0, 0, 30, true, true,
       "TimeCode's Frame value outside range valid for drop frame TimeCode "
       "(0)\n"},
      {0, 1, 0, 1, 30, true, true,
       "TimeCode's Frame value outside range valid for drop frame TimeCode "
       "(1)\n"},
      {0, 1, 0, 2, 30, true, false, ""},
      {0, 10, 0, 0, 30, true, false, ""},
      {0, 20, 0, 1, 30, true, false, ""},
      {0, 1, 0, 2, 29.97, true, false,
       "Drop frame unspecified for FPS values other than 30\n"},
      {0, 1, 0, 1, 25, true, true,
       "TimeCode's Frame value outside range valid for drop frame TimeCode "
       "(1)\n"
       "Drop frame unspecified for FPS values other than 30\n"},
      {300, 0, 0, 0, 1e-10, true, true,
       "TimeCode's Hour value exceeds 23 (300)\n"
       "Drop frame unspecified for FPS values other than 30\n"},
  };
  for (auto const& c : cases) {
    CLuTimeCode const tc(c.h, c.m, c.s, c.f, c.dFps, c.bDrop, false);
    SCOPED_TRACE(Text(tc));
    EXPECT_EQ(Errors(tc), c.pszErrors);
    EXPECT_EQ(tc.bInvalid, c.bInvalid);
    EXPECT_EQ(tc.bDropFrame, c.bDrop);  // the warning never clears it
    EXPECT_EQ(tc.nHours, c.h % 256);
  }
  // a rate within 1e-9 of 0 is stored as exactly no rate
  EXPECT_EQ(CLuTimeCode(0, 0, 0, 0, -1e-10, false, false).dFps, 0.0);
}

TEST(TimeCode, FrameBaseRoundsTheRate) {
  struct {
    double dFps;
    uint32_t nBase;
  } const cases[] = {{23.976, 24}, {29.97, 30},        {59.94, 60},
                     {24.4, 24},   {24.5, 25},         {-25, 25},
                     {0, 1},       {1e30, 4294967295u}};
  for (auto const& c : cases) {
    SCOPED_TRACE(c.dFps);
    EXPECT_EQ(CLuTimeCode(0, 0, 0, 0, c.dFps, false, false).nFpsBase, c.nBase);
  }
}

// The worked examples, plus drop frame at other bases: always two frame
// numbers a minute are skipped (25 -> 1,498 a minute; 60 skips 2, not 4).
TEST(TimeCode, CountsFramesSinceMidnightAndPerDay) {
  struct {
    double dFps;
    bool bDrop;
    uint32_t h, m, s, f;
    int32_t iFrames;
    uint32_t nPerDay;
  } const cases[] = {
      {24, false, 1, 0, 0, 0, 86400, 2073600},
      {25, false, 0, 0, 1, 0, 25, 2160000},
      {23.976, false, 1, 0, 0, 0, 86400, 2073600},
      {30, false, 0, 1, 0, 0, 1800, 2592000},
      {30, true, 0, 1, 0, 2, 1800, 2589408},
      {30, true, 0, 0, 59, 29, 1799, 2589408},
      {30, true, 0, 10, 0, 0, 17982, 2589408},
      {30, true, 1, 0, 0, 0, 107892, 2589408},
      {29.97, true, 0, 1, 0, 2, 1800, 2589408},
      {29.97, true, 1, 0, 0, 0, 107892, 2589408},
      {25, true, 0, 1, 0, 2, 1500, 2157408},
      {25, true, 0, 10, 0, 0, 14982, 2157408},
      {60, true, 0, 1, 0, 2, 3600, 5181408},
      {60, true, 0, 10, 0, 0, 35982, 5181408},
  };
  for (auto const& c : cases) {
    CLuTimeCode const tc(c.h, c.m, c.s, c.f, c.dFps, c.bDrop, false);
    SCOPED_TRACE(Text(tc));
    EXPECT_EQ(tc.iFramesSinceMidnight(), c.iFrames);
    EXPECT_EQ(CLuTimeCode::nFramesPerDay(c.dFps, c.bDrop), c.nPerDay);
    CLuTimeCode const tcNeg(c.h, c.m, c.s, c.f, c.dFps, c.bDrop, true);
    EXPECT_EQ(tcNeg.iFramesSinceMidnight(), -c.iFrames);
    CLuTimeCode const tcBack =
        CLuTimeCode::tcFromFramesSinceMidnight(c.iFrames, c.dFps, c.bDrop);
    EXPECT_EQ(Text(tcBack), Text(tc));
    EXPECT_EQ(Errors(tcBack), Errors(tc));
  }
  EXPECT_FALSE(CLuTimeCode(0, 1, 0, 2, 29.97, true, false).bInvalid);
}

TEST(TimeCode, BuildsFromFramesSinceMidnight) {
  struct {
    int32_t iFrames;
    double dFps;
    bool bDrop;
    char const* pszText;
    char const* pszErrors;
  } const cases[] = {
      {2589408, 30, true, "00:00:00:00 (30 fps, DropFrame)", ""},
      {-25, 25, false, "-00:00:01:00 (25 fps)", ""},
      {-1, 24, false, "-00:00:00:01 (24 fps)", ""},
      {2073600 + 5, 24, false, "00:00:00:05 (24 fps)", ""},
      {-2073601, 24, false, "-00:00:00:01 (24 fps)", ""},
      {17983, 30, true, "00:10:00:01 (30 fps, DropFrame)", ""},
      {2589407, 30, true, "23:59:59:29 (30 fps, DropFrame)", ""},
      {10, 0, true, "00:00:00:00",
       "Invalid frames per second value (must be greater than 0)\n"},
      {10, -24, false, "00:00:00:00",
       "Invalid frames per second value (must be greater than 0)\n"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.iFrames);
    CLuTimeCode const tc =
        CLuTimeCode::tcFromFramesSinceMidnight(c.iFrames, c.dFps, c.bDrop);
    EXPECT_EQ(Text(tc), c.pszText);
    EXPECT_EQ(Errors(tc), c.pszErrors);
    EXPECT_EQ(tc.bInvalid, *c.pszErrors != 0);
  }
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
        static_cast<int32_t>(CLuTimeCode::nFramesPerDay(c.dFps, c.bDrop));
    uint32_t h = 0, m = 0, s = 0, f = 0;
    CLuTimeCode tcStep(0, 0, 0, 0, c.dFps, c.bDrop, false);
    int32_t iFirstBad = -1;
    for (int32_t i = 0; i < iDay && iFirstBad < 0; ++i) {
      uint32_t const nDpx = Bcd(h) | Bcd(m) << 8 | Bcd(s) << 16 | Bcd(f) << 24;
      uint32_t const nFull = static_cast<uint32_t>(i) | c.nFullRateBits;
      CLuTimeCode const tc =
          CLuTimeCode::tcFromFramesSinceMidnight(i, c.dFps, c.bDrop);
      CLuTimeCode const tcDpx =
          CLuTimeCode::tcFromSmpteDpxTimeCode(nDpx, c.dFps, c.bDrop);
      bool bOk = tc.nAsSmpteDpxTimeCode() == nDpx && !tc.bInvalid &&
                 tc.iFramesSinceMidnight() == i &&
                 static_cast<uint32_t>(tc.nAsFullPacked()) == nFull &&
                 tcStep.nAsSmpteDpxTimeCode() == nDpx && !tcStep.bInvalid &&
                 tcDpx.iFramesSinceMidnight() == i && !tcDpx.bInvalid;
      // Decoding the full word runs the same count conversion as tc; once a
      // second (and at the last frame) keeps the walk fast.
      if (f == 0 || i == iDay - 1) {
        bOk = bOk &&
              CLuTimeCode::tcFromFullPacked(static_cast<int32_t>(nFull)) == tc;
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

TEST(TimeCode, SteppingWrapsAtMidnightAndTurnsNegativeBelowIt) {
  struct {
    CLuTimeCode tcStart;
    int32_t iFrames, iSeconds;
    char const* pszText;
  } const cases[] = {
      {CLuTimeCode(23, 59, 59, 23, 24, false, false), 1, 0,
       "00:00:00:00 (24 fps)"},
      {CLuTimeCode(0, 0, 0, 0, 24, false, false), -1, 0,
       "-00:00:00:01 (24 fps)"},
      {CLuTimeCode(0, 0, 59, 29, 30, true, false), 1, 0,
       "00:01:00:02 (30 fps, DropFrame)"},
      {CLuTimeCode(0, 1, 0, 2, 30, true, false), -1, 0,
       "00:00:59:29 (30 fps, DropFrame)"},
      {CLuTimeCode(0, 0, 0, 0, 30, true, false), 0, 60,
       "00:01:00:02 (30 fps, DropFrame)"},
      {CLuTimeCode(0, 0, 1, 0, 25, false, true), 0, 2, "00:00:01:00 (25 fps)"},
      // no rate: counted at base 1, rebuilt at 24
      {CLuTimeCode(0, 0, 0, 5, 0, false, false), 20, 0, "00:00:01:01 (24 fps)"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(Text(c.tcStart));
    CLuTimeCode tc(c.tcStart);
    if (c.iSeconds != 0) {
      tc.IncrementSeconds(c.iSeconds);
    } else {
      tc += c.iFrames;
    }
    EXPECT_EQ(Text(tc), c.pszText);
    if (c.iSeconds == 0) {  // -= n is += -n
      CLuTimeCode tcMinus(c.tcStart);
      tcMinus -= -c.iFrames;
      EXPECT_EQ(Text(tcMinus), c.pszText);
    }
  }
}

TEST(TimeCode, SteppingReplacesMessagesWithThoseOfTheNewValue) {
  CLuTimeCode tc(0, 0, 0, 24, 24, false, false);
  ASSERT_TRUE(tc.bInvalid);
  tc += 0;
  EXPECT_EQ(Text(tc), "00:00:01:00 (24 fps)");
  EXPECT_FALSE(tc.bInvalid);
  EXPECT_EQ(Errors(tc), "");
  tc.SetFps(29.97, true);
  tc += 1;
  EXPECT_EQ(Errors(tc),
            "Drop frame unspecified for FPS values other than 30\n");
}

TEST(TimeCode, SetFpsKeepsFieldsAndAppendsItsMessages) {
  CLuTimeCode tc(0, 0, 0, 29, 30, false, false);
  tc.SetFps(24, false);
  EXPECT_EQ(Text(tc), "00:00:00:29 (24 fps)");  // frame not re-checked
  EXPECT_EQ(tc.nFpsBase, 24u);
  EXPECT_FALSE(tc.bInvalid);
  tc.SetFps(25, true);
  EXPECT_FALSE(tc.bInvalid);
  tc.SetFps(-30, false);
  EXPECT_TRUE(tc.bInvalid);
  EXPECT_EQ(Errors(tc),
            "Drop frame unspecified for FPS values other than 30\n"
            "TimeCode's fps value is < 0 - invalid\n");
  CLuTimeCode tcCopy;
  tcCopy.Set(tc);
  EXPECT_EQ(Errors(tcCopy), Errors(tc));
  EXPECT_TRUE(tcCopy.bInvalid);
  EXPECT_EQ(tcCopy.dFps, -30.0);
}

TEST(TimeCode, PackedWordsFollowTheirBitLayout) {
  CLuTimeCode const tc(1, 2, 3, 4, 25, false, false);
  EXPECT_EQ(tc.nAsSmpteDpxTimeCode(), 0x04030201u);
  EXPECT_EQ(CLuTimeCode(23, 59, 59, 29, 30, false, true).nAsSmpteDpxTimeCode(),
            0x29595923u);
  CLuTimeCode const tcOdd = CLuTimeCode::tcFromSmpteDpxTimeCode(0xA, 0, false);
  EXPECT_EQ(Text(tcOdd), "10:00:00:00");
  EXPECT_FALSE(tcOdd.bInvalid);

  struct {
    CLuTimeCode tc;
    uint32_t nFull;
    char const* pszDecoded;
  } const cases[] = {
      {CLuTimeCode(0, 1, 0, 2, 30, true, false), 0x12000708u,
       "00:01:00:02 (30 fps, DropFrame)"},
      {CLuTimeCode(1, 0, 0, 0, 24, false, false), 0x01015180u,
       "01:00:00:00 (24 fps)"},
      {CLuTimeCode(0, 0, 1, 0, 60, false, false), 0x0300003Cu,
       "00:00:01:00 (60 fps)"},
      {CLuTimeCode(0, 0, 1, 0, 25, false, true), 0x00000019u,
       "00:00:01:00 (25 fps)"},
      {CLuTimeCode(0, 0, 1, 0, 29.97, false, false), 0x0000001Eu,
       "00:00:01:05 (25 fps)"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(Text(c.tc));
    EXPECT_EQ(static_cast<uint32_t>(c.tc.nAsFullPacked()), c.nFull);
    EXPECT_EQ(Text(CLuTimeCode::tcFromFullPacked(c.nFull)), c.pszDecoded);
  }
  EXPECT_EQ(Text(CLuTimeCode::tcFromFullPacked(0x05000019)),
            "00:00:01:00 (25 fps)");  // unknown rate codes read as 25
}

TEST(TimeCode, LtcWordGivesFieldsAndUserBits) {
  uint32_t nUser = 0;
  // flags at bits 10 and 11 (drop frame, colour frame) are ignored
  CLuTimeCode const tc =
      CLuTimeCode::tcFromLTCTimeCode(0x8071605240332C14ull, 25, false, &nUser);
  EXPECT_EQ(Text(tc), "01:02:03:04 (25 fps)");
  EXPECT_FALSE(tc.bDropFrame);
  EXPECT_EQ(nUser, 0x87654321u);
  EXPECT_EQ(Text(CLuTimeCode::tcFromLTCTimeCode(0x0203050905090209ull, 30, true,
                                                nullptr)),
            "23:59:59:29 (30 fps, DropFrame)");
}

TEST(TimeCode, ReadsHHMMSSFFNumbersAndTexts) {
  struct {
    CLuTimeCode tc;
    char const* pszText;
    char const* pszErrors;
  } const cases[] = {
      {CLuTimeCode::tcFromHHMMSSFF(1020304, 24, false), "01:02:03:04", ""},
      {CLuTimeCode::tcFromHHMMSSFF(-5, 24, false), "-00:00:00:05", ""},
      {CLuTimeCode::tcFromHHMMSSFF(-100, 24, false), "-00:00:01:200",
       "TimeCode's Frame value outside range 0..23(200)\n"},
      {CLuTimeCode::tcFromHHMMSSFF(-123456, 24, false), "-00:12:130:200",
       "TimeCode's Second value exceeds 59 (2434)\n"
       "TimeCode's Frame value outside range 0..23(486856)\n"},
      {CLuTimeCode::tcFromHHMMSSFF(-1000000, 24, false), "-255:00:00:00",
       "TimeCode's Hour value exceeds 23 (4294967295)\n"},
      {CLuTimeCode::tcFromHHMMSSFFString("1020304", 24, false), "01:02:03:04",
       ""},
      {CLuTimeCode::tcFromHHMMSSFFString("12ab", 24, false), "00:00:00:00", ""},
      {CLuTimeCode::tcFromNumberString("01020304", 24, false), "01:02:03:04",
       ""},
      {CLuTimeCode::tcFromNumberString("10203", 24, false), "00:01:02:03", ""},
      {CLuTimeCode::tcFromNumberString("-5", 24, false), "-00:00:00:05", ""},
      {CLuTimeCode::tcFromNumberString("+0100", 24, false), "00:00:01:00", ""},
      {CLuTimeCode::tcFromNumberString("0102030405", 24, false), "01:02:03:04",
       ""},
      {CLuTimeCode::tcFromNumberString("01x20304", 24, false), "01:00:03:04",
       ""},
      {CLuTimeCode::tcFromNumberString("", 24, false), "00:00:00:00",
       "Empty timecode\n"},
      {CLuTimeCode::tcFromNumberString("-", 24, false), "00:00:00:00",
       "Empty timecode\n"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.pszText);
    EXPECT_EQ(c.tc.strAsString().pszGetString(), std::string(c.pszText));
    EXPECT_EQ(Errors(c.tc), c.pszErrors);
    EXPECT_EQ(c.tc.bInvalid, *c.pszErrors != 0);
  }
}

// Rates print as the string class's 15-decimal number form gives them.
TEST(TimeCode, PrintsPlainOrWithRate) {
  CLuTimeCode const tc(1, 2, 3, 4, 25, false, true);
  EXPECT_EQ(tc.strAsString(), "-01:02:03:04");
  EXPECT_EQ(tc.strAsString(CLuTimeCode::eFormatPlain), "-01:02:03:04");
  EXPECT_EQ(tc.strAsString(CLuTimeCode::eFormatWithFps),
            "-01:02:03:04 (25 fps)");
  EXPECT_EQ(Text(CLuTimeCode(1, 0, 0, 0, 23.976, false, false)),
            "01:00:00:00 (23.975999999999999 fps)");
  EXPECT_EQ(Text(CLuTimeCode(1, 0, 0, 0, 0, true, false)), "01:00:00:00");
}

TEST(TimeCode, EqualityComparesCountsAndRatesOrderingOnlyFields) {
  CLuTimeCode const tc25(0, 0, 1, 0, 25, false, false);
  EXPECT_TRUE(tc25 == CLuTimeCode(0, 0, 0, 25, 25, false, false));
  EXPECT_TRUE(CLuTimeCode(0, 0, 0, 5, 0, false, false) ==
              CLuTimeCode(0, 0, 0, 5, 24, false, false));
  EXPECT_TRUE(CLuTimeCode(0, 0, 0, 5, 30, false, false) ==
              CLuTimeCode(0, 0, 0, 5, 30 + 1e-10, false, false));
  EXPECT_TRUE(CLuTimeCode(0, 0, 0, 5, 30, false, false) !=
              CLuTimeCode(0, 0, 0, 5, 29.97, false, false));
  EXPECT_TRUE(CLuTimeCode(0, 0, 10, 0, 30, false, false) !=
              CLuTimeCode(0, 0, 10, 0, 30, true, false));

  CLuTimeCode const tcMinus(0, 0, 0, 1, 24, false, true);
  CLuTimeCode const tcZero(0, 0, 0, 0, 24, false, false);
  EXPECT_TRUE(tcMinus < tcZero && tcMinus <= tcZero);
  EXPECT_TRUE(tcZero > tcMinus && tcZero >= tcMinus);
  EXPECT_FALSE(tcZero < tcZero);
  EXPECT_TRUE(tcZero <= tcZero && tcZero >= tcZero);
  // by field key, although 30 frames at 30 fps is the later time
  CLuTimeCode const tc30(0, 0, 0, 30, 30, false, false);
  EXPECT_TRUE(tc30 < tc25);
}

TEST(TimeCode, SumTakesDropFlagFromRightDifferenceFromLeft) {
  CLuTimeCode const tcDrop(0, 0, 59, 29, 30, true, false);
  CLuTimeCode const tcOne(0, 0, 0, 1, 30, false, false);
  EXPECT_EQ(Text(tcDrop + tcOne), "00:01:00:00 (30 fps)");
  EXPECT_EQ(Text(tcOne + tcDrop), "00:01:00:02 (30 fps, DropFrame)");
  EXPECT_EQ(Text(tcDrop - tcOne), "00:00:59:28 (30 fps, DropFrame)");
  EXPECT_EQ(Text(tcOne - tcDrop), "-00:00:59:28 (30 fps)");

  CLuTimeCode const tcNoRate(0, 0, 1, 0, 0, false, false);
  CLuTimeCode const tcFrame25(0, 0, 0, 1, 25, false, false);
  EXPECT_EQ(Text(tcNoRate + tcFrame25), "00:00:01:01 (25 fps)");
  EXPECT_EQ(Text(tcFrame25 + tcNoRate), "00:00:01:01 (25 fps)");
  CLuTimeCode const tcFive(0, 0, 0, 5, 0, false, false);
  EXPECT_EQ(Text(tcFive + tcFive), "00:00:00:10 (24 fps)");
}

TEST(TimeCodeText, AcceptsTimecodesWithOptionalRateAndDropFrame) {
  struct {
    char const* pszText;
    double dFps;
    bool bDrop;
    char const* pszResult;
    char const* pszErrors;
  } const cases[] = {
      {"00:00:00:00", 24, false, "00:00:00:00 (24 fps)", ""},
      {"  01:02:03:04\n", 24, false, "01:02:03:04 (24 fps)", ""},
      {"-00:00:01:00", 24, false, "-00:00:01:00 (24 fps)", ""},
      {"01:00:00:00 25", 24, false, "01:00:00:00 (25 fps)", ""},
      {"01:00:00:00 (25fps)", 24, false, "01:00:00:00 (25 fps)", ""},
      {"00:01:00:02 (30fps, DropFrame)", 24, false,
       "00:01:00:02 (30 fps, DropFrame)", ""},
      {"00:01:00:02 30,dropframe", 24, false, "00:01:00:02 (30 fps, DropFrame)",
       ""},
      {"00:01:00:02 (29.97fps,DropFrame)", 24, false,
       "00:01:00:02 (29.969999999999999 fps, DropFrame)",
       "Drop frame unspecified for FPS values other than 30\n"},
      {"01::02:03:04", 24, false, "01:02:03:04 (24 fps)", ""},
      {"01:00:00:00 30fps", 24, false, "01:00:00:00 (30 fps)", ""},
      {"01:00:00:00 FPS30", 24, false, "01:00:00:00 (30 fps)", ""},
      {"01:00:00:00 ((30)),, ", 24, false, "01:00:00:00 (30 fps)", ""},
      {"01:00:00:00 (30)fps", 24, false, "01:00:00:00 (30 fps)", ""},
      {"00:01:00:02", 30, true, "00:01:00:02 (30 fps, DropFrame)", ""},
      {"00:01:00:02 30", 30, true, "00:01:00:02 (30 fps, DropFrame)", ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.pszText);
    CLuTimeCode const tc =
        CLuTimeCode::tcFromString(c.pszText, c.dFps, c.bDrop);
    EXPECT_EQ(Text(tc), c.pszResult);
    EXPECT_EQ(Errors(tc), c.pszErrors);
    EXPECT_FALSE(tc.bInvalid);
  }
}

TEST(TimeCodeText, RejectsMalformedTextQuotingIt) {
  struct {
    char const* pszText;
    char const* pszResult;
    char const* pszErrors;
  } const cases[] = {
      {"", "00:00:00:00 (24 fps)", "Invalid timecode format string: ''\n"},
      {"   ", "00:00:00:00 (24 fps)",
       "Invalid timecode format string: '   '\n"},
      {" 01:02\n", "01:02:00:00 (24 fps)",
       "Invalid timecode format string: ' 01:02\n'\n"},
      {"01: 02:03:04", "01:00:00:00 (24 fps)",
       "Invalid timecode format string: '01: 02:03:04'\n"},
      {"01:02:03", "01:02:03:00 (24 fps)",
       "Invalid timecode format string (frames): '01:02:03'\n"},
      {"01:02:03:04:05", "01:02:03:00 (24 fps)",
       "Invalid timecode format string (frames): '01:02:03:04:05'\n"},
      {"aa:00:00:00", "00:00:00:00 (24 fps)",
       "Invalid timecode format string (hours): 'aa:00:00:00'\n"},
      {"-01:xx:00:00", "-01:00:00:00 (24 fps)",
       "Invalid timecode format string (minutes): '-01:xx:00:00'\n"},
      {"00:01:00;02", "00:01:00:00 (24 fps)",
       "Invalid timecode format string (seconds): '00:01:00;02'\n"},
      {"00:99:00", "00:99:00:00 (24 fps)",
       "TimeCode's Minute value exceeds 59 (99)\n"
       "Invalid timecode format string (frames): '00:99:00'\n"},
      {"01:00:00:00 (thirty)", "01:00:00:00 (24 fps)",
       "Invalid fps speci" "fication in timecode format string: "
       "'01:00:00:00 (thirty)'\n"},
      {"01:00:00:00 (30fps, Drop)", "01:00:00:00 (30 fps)",
       "Invalid drop frame speci" "fication in timecode format string - "
       "expected DropFrame instead of 'Drop'\n"},
      {"01:00:00:00 DropFrame", "01:00:00:00 (24 fps)",
       "Invalid fps speci" "fication in timecode format string: "
       "'01:00:00:00 DropFrame'\n"},
      {"01:00:00:00 (30 fps, DropFrame)", "01:00:00:00 (24 fps)",
       "Invalid fps speci" "fication in timecode format string: "
       "'01:00:00:00 (30 fps, DropFrame)'\n"},
      {"24:00:00:00", "24:00:00:00 (24 fps)",
       "TimeCode's Hour value exceeds 23 (24)\n"},
      {"--1:00:00:00", "-255:00:00:00 (24 fps)",
       "TimeCode's Hour value exceeds 23 (4294967295)\n"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.pszText);
    CLuTimeCode const tc = CLuTimeCode::tcFromString(c.pszText, 24, false);
    EXPECT_EQ(Text(tc), c.pszResult);
    EXPECT_EQ(Errors(tc), c.pszErrors);
    EXPECT_TRUE(tc.bInvalid);
  }
}

}  // namespace
