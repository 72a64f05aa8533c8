#include "base/string.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/containers.h"

namespace {

// ---- storage and growth ----------------------------------------------------

TEST(StringGrowth, SmallAppendKeepsTheInitialCapacity) {
  CLuString str;
  str.Construct(32);
  str.Append("abc", kLuStringAll);
  EXPECT_STREQ("abc", str.pszGetString());
  EXPECT_EQ(3u, str.nGetLength());
  EXPECT_EQ(33u, str.nGetCapacity());
}

TEST(StringGrowth, GrowsByHalfWithAFloorOf32) {
  CLuString str;  // capacity 33
  str.Append("0123456789012345678901234567890123456789");
  EXPECT_EQ(40u, str.nGetLength());
  EXPECT_EQ(49u, str.nGetCapacity());  // max(33 * 3 / 2, 41)

  CLuString strSmall;
  strSmall.Construct(9);  // capacity 10
  strSmall.Reallocate(12, true);
  EXPECT_EQ(32u, strSmall.nGetCapacity());  // max(15, 12, 32)

  CLuString strBig;
  strBig.Construct(99);  // capacity 100: a request of 300 exceeds 150
  strBig.Reallocate(300, false);
  EXPECT_EQ(300u, strBig.nGetCapacity());
}

TEST(StringGrowth, FrontCutCopiesNothingAndTheTextMovesBackLater) {
  CLuString str("abcdef");
  char const* pszBase = str.pszGetString();
  str.ShortenAtBegin(2);
  EXPECT_EQ(pszBase + 2, str.pszGetString());  // no bytes moved
  EXPECT_STREQ("cdef", str.pszGetString());

  // 4 + 28 + 1 = 33 bytes fit the capacity, but not behind the cut.
  str.Append("0123456789012345678901234567");
  EXPECT_EQ(pszBase, str.pszGetString());
  EXPECT_EQ(33u, str.nGetCapacity());
  EXPECT_STREQ("cdef0123456789012345678901234567", str.pszGetString());

  str.ShortenAtBegin(1);
  str.Append("xy");  // 31 + 2 + 1 > 33: a new buffer receives the text
  EXPECT_EQ(49u, str.nGetCapacity());
  EXPECT_STREQ("def0123456789012345678901234567xy", str.pszGetString());
}

TEST(StringGrowth, CutsBeyondTheLengthEmptyTheString) {
  CLuString str("abc");
  char const* pszBase = str.pszGetString();
  str.ShortenAtBegin(1);
  str.ShortenAtEnd(10);
  EXPECT_TRUE(str.bIsEmpty());
  EXPECT_EQ(pszBase, str.pszGetString());
  str = "abc";
  str.ShortenAtBegin(4);
  EXPECT_STREQ("", str.pszGetString());
  str = "abc";
  str.ShortenAtEnd(1);
  EXPECT_STREQ("ab", str.pszGetString());
}

TEST(StringGrowth, BufferFilledByTheCallerGetsItsLengthOnRelease) {
  CLuString str;
  char* psz = str.pszGetBuffer(100);
  ASSERT_NE(nullptr, psz);
  EXPECT_GE(str.nGetCapacity(), 101u);
  strcpy(psz, "filled");
  str.ReleaseBuffer();
  EXPECT_EQ(6u, str.nGetLength());
}

TEST(StringAssign, OwnTextMayBeAssignedAndAppended) {
  CLuString str("abcdef");
  str.Assign(str.pszGetString() + 2);
  EXPECT_STREQ("cdef", str.pszGetString());
  str.Append(str.pszGetString());
  EXPECT_STREQ("cdefcdef", str.pszGetString());
  for (int i = 0; i < 4; i++) str += str;  // forces reallocations
  EXPECT_EQ(128u, str.nGetLength());
  str = str;
  EXPECT_EQ(128u, str.nGetLength());
  str.Assign("abc\0def", 7);  // an embedded NUL ends the copy
  EXPECT_EQ(3u, str.nGetLength());
  str.Assign(nullptr);
  EXPECT_TRUE(str.bIsEmpty());
}

TEST(StringOperators, CompareAndConcatenate) {
  CLuString const str("abc");
  EXPECT_TRUE(str == "abc");
  EXPECT_TRUE("abd" != str);
  EXPECT_TRUE(str < "abd");
  EXPECT_STREQ("abcdef!", (str + "def" + '!').pszGetString());
  EXPECT_STREQ("xabc", ("x" + str).pszGetString());
  EXPECT_STREQ("-abc", ('-' + str).pszGetString());
  EXPECT_EQ('c', str.cGetAt(2));
  EXPECT_EQ('\0', str.cGetAt(3));
  CLuString const strCopy(str);
  EXPECT_EQ(4u, strCopy.nGetCapacity());  // sized for the known text
}

// ---- searching and pieces --------------------------------------------------

TEST(StringSearch, FindsCharactersAndSets) {
  CLuString const str("banana");
  EXPECT_EQ(5, str.iReverseFind('a', kLuStringAll));
  EXPECT_EQ(3, str.iReverseFind('a', 4));
  EXPECT_EQ(-1, CLuString("").iReverseFind('a', kLuStringAll));
  EXPECT_EQ(-1, str.iFind('a', 6));
  EXPECT_EQ(1, str.iFind('a'));
  EXPECT_EQ(3, str.iFind('a', 2));
  EXPECT_EQ(-1, str.iFind('x'));
  EXPECT_EQ(2, str.iFindOneOf("xn", 0));
  EXPECT_EQ(-1, str.iFindOneOf("", 0));
  EXPECT_EQ(-1, str.iFindOneOf("b", 6));
  EXPECT_EQ(4, str.iReverseFindOneOf("nx"));
  EXPECT_EQ(2, str.iFind("NA", 0, false));
  EXPECT_EQ(-1, str.iFind("NA", 0, true));
  EXPECT_EQ(4, str.iReverseFind("na"));
  EXPECT_EQ(3u, str.nCountAll('a'));
}

TEST(StringSearch, MidClipsToTheText) {
  CLuString const str("abcdef");
  EXPECT_STREQ("cd", str.strMid(2, 2).pszGetString());
  EXPECT_STREQ("def", str.strMid(3).pszGetString());
  EXPECT_STREQ("f", str.strMid(5, 100).pszGetString());
  EXPECT_STREQ("", str.strMid(6, 1).pszGetString());
  EXPECT_STREQ("", str.strMid(kLuStringAll, 1).pszGetString());
}

// ---- formatting and numbers ------------------------------------------------

TEST(StringFormat, LongResultsAreCutAt1022Characters) {
  std::string const strLong(2000, 'x');
  CLuString str;
  str.Format("%s", strLong.c_str());
  EXPECT_EQ(1022u, str.nGetLength());
  EXPECT_EQ(std::string(1022, 'x'), str.pszGetString());
  str.Format("%d-%s", 42, "z");
  EXPECT_STREQ("42-z", str.pszGetString());
  str.Format("<%s>", str.pszGetString());  // own text as argument
  EXPECT_STREQ("<42-z>", str.pszGetString());
}

TEST(StringNumbers, FromNumberWritesTidyDecimals) {
  struct {
    double d;
    uint32_t nDecimals;
    bool bStripLeadingZero;
    char const* pszExpected;
  } const aCases[] = {
      {0.5, 2, true, ".5"},
      {2.0, 3, false, "2"},
      {-0.25, 2, false, "-0.25"},
      {0.0, 2, true, "0"},
      {29.97, 15, false, "29.969999999999999"},
      {1234.5, 0, false, "1234"},
      {100.0, 1, false, "100"},
      {0.125, 2, false, "0.12"},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.pszExpected);
    EXPECT_STREQ(o.pszExpected,
                 CLuString::strFromNumber(o.d, o.nDecimals, o.bStripLeadingZero)
                     .pszGetString());
  }
  EXPECT_STREQ("4294967295", CLuString::strFromNumber(4294967295u));
  EXPECT_STREQ("-7", CLuString::strFromNumber(int32_t(-7)));
  EXPECT_STREQ("true", CLuString::strFromNumber(true));
  EXPECT_STREQ("-9000000000", CLuString::strFromNumber(int64_t(-9000000000)));
}

TEST(StringNumbers, StripTrailingZeroes) {
  struct {
    char const* psz;
    char const* pszExpected;
  } const aCases[] = {
      {"2.500", "2.5"}, {"0.00", "0"}, {"007", "7"}, {"10.0", "10"},
      {"100", "100"},   {"", "0"},     {"0", "0"},   {".0", "0"},
      {"00.50", "0.5"}, {"000", "0"},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.psz);
    CLuString str(o.psz);
    str.StripTrailingZeroes();
    EXPECT_STREQ(o.pszExpected, str.pszGetString());
  }
}

TEST(StringNumbers, ToUINTReadsLikeStrtoulWithA32BitLong) {
  struct {
    char const* psz;
    uint32_t nMin, nMax;
    bool bOk;
    uint32_t nValue;
  } const aCases[] = {
      {"12", 1, 99, true, 12},
      {"12a", 1, 99, false, 0},
      {"", 1, 99, false, 0},
      {"100", 1, 99, false, 0},
      {" 12", 1, 99, true, 12},
      {"+7", 0, 99, true, 7},
      {"12 ", 0, 99, false, 0},  // a trailing blank is left over
      {"-", 0, 99, false, 0},
      {"-1", 0, 0xFFFFFFFFu, true, 4294967295u},
      {"-5", 0, 0xFFFFFFFFu, true, 4294967291u},
      {"4294967296", 0, 0xFFFFFFFFu, true, 4294967295u},  // saturates
      {"99999999999999999999999", 0, 0xFFFFFFFFu, true, 4294967295u},
      {"-4294967296", 0, 0xFFFFFFFFu, true, 4294967295u},
      {"0x10", 0, 99, false, 0},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.psz);
    uint32_t n = 777;
    EXPECT_EQ(o.bOk, CLuString(o.psz).bToUINT(&n, o.nMin, o.nMax));
    EXPECT_EQ(o.bOk ? o.nValue : 777u, n);  // untouched on failure
  }
}

TEST(StringNumbers, ToDoubleReadsLikeStrtodAndNaNPassesEveryRange) {
  double const dMax = 1.7976931348623157e308;
  struct {
    char const* psz;
    double dMin, dMax;
    bool bOk;
  } const aCases[] = {
      {"nan", 0.0, 1.0, true},        {"1e999", -dMax, dMax, false},
      {"1e999", 0.0, INFINITY, true}, {" -2.5", -3.0, 0.0, true},
      {"2.5x", 0.0, 10.0, false},     {"", 0.0, 10.0, false},
      {"25 ", 0.0, 100.0, false},     {"23.976", 0.0, 23.0, false},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.psz);
    double d = 7.0;
    EXPECT_EQ(o.bOk, CLuString(o.psz).bToDouble(&d, o.dMin, o.dMax));
    if (!o.bOk) {
      EXPECT_EQ(7.0, d);
    }
  }
  double d = 0.0;
  EXPECT_TRUE(CLuString(" -2.5").bToDouble(&d));
  EXPECT_EQ(-2.5, d);
}

TEST(StringNumbers, OtherConversionsHonourTheirRanges) {
  int32_t i = 0;
  EXPECT_TRUE(CLuString("-99999999999").bToInt(&i));
  EXPECT_EQ(INT32_MIN, i);  // saturates like a 32-bit strtol
  EXPECT_FALSE(CLuString("5").bToInt(&i, 6, 9));
  uint8_t by = 0;
  EXPECT_FALSE(CLuString("256").bToBYTE(&by));
  EXPECT_TRUE(CLuString("255").bToBYTE(&by));
  EXPECT_EQ(255, by);
  bool b = false;
  EXPECT_TRUE(CLuString(" TRUE ").bToBool(&b));
  EXPECT_TRUE(b);
  EXPECT_FALSE(CLuString("yes").bToBool(&b));
  int32_t aiRect[4] = {};
  EXPECT_TRUE(CLuString("1, -2,3 ,4")
                  .bToRect(&aiRect[0], &aiRect[1], &aiRect[2], &aiRect[3]));
  EXPECT_EQ(-2, aiRect[1]);
  EXPECT_FALSE(CLuString("1,2,3").bToRect(nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(17, CLuString("17").iAsValue());
  EXPECT_EQ(3, CLuString("x").iAsValue(3));
}

TEST(StringNumbers, ColoursByNameAndComponents) {
  struct {
    char const* psz;
    uint32_t nColor;
  } const aCases[] = {
      {"red", 0xFFFF0000u},        {"Dark Red", 0xFF7F0000u},
      {"light blue", 0xFF7F7FFFu}, {"transparent", 0x00000000u},
      {"10,20,30", 0xFF0A141Eu},   {"10,20,30,40", 0x280A141Eu},
      {"#00FF00", 0xFF00FF00u},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.psz);
    uint32_t n = 0;
    EXPECT_TRUE(CLuString(o.psz).bToColor(&n));
    EXPECT_EQ(o.nColor, n);
  }
  EXPECT_FALSE(CLuString("purple").bToColor(nullptr));
  EXPECT_FALSE(CLuString("1,2,256").bToColor(nullptr));
  EXPECT_STREQ("10,20,30", CLuString::strFromColor(0xFF0A141Eu));
  EXPECT_STREQ("10,20,30,40", CLuString::strFromColor(0x280A141Eu));
  EXPECT_STREQ("0.5, 1, 0, 1", CLuString::strFromColor(0.5, 1.0, 0.0, 1.0));
}

TEST(StringNumbers, TimeCodeOfSeconds) {
  EXPECT_STREQ("01:02:05:12", CLuString::strTimeCode(3725.5, 24.0));
  EXPECT_STREQ("00:00:00:00", CLuString::strTimeCode(-1.0, 24.0));
  EXPECT_STREQ("25:00:00:00", CLuString::strTimeCode(90000.0, 25.0));
}

// ---- comparing -------------------------------------------------------------

int iSign(int32_t i) {
  return i < 0 ? -1 : (i > 0 ? 1 : 0);
}

TEST(StringCompare, CompareExWithSplitNumbersAndPaths) {
  typedef CLuString S;
  struct {
    char const* psz1;
    char const* psz2;
    S::EComparisonFn eFn;
    bool bSplit;
    int32_t iExpected;  // exact when bExact, else its sign
    bool bExact;
  } const aCases[] = {
      {"frame10", "frame9", S::eCompareCaseSensitive, true, 1, true},
      {"frame10", "frame9", S::eCompareCaseSensitive, false, -1, false},
      {"Item9", "item10", S::eCompareIgnoreCase, true, -1, true},
      {"Item9", "item10", S::eCompareCaseSensitive, true, -1, false},
      {"a1b2", "a1b5", S::eCompareCaseSensitive, true, -3, true},
      {"a1", "a1b2", S::eCompareCaseSensitive, true, -1, false},  // counts
      {"x4294967295", "x0", S::eCompareCaseSensitive, true, -1, true},
      {"C:\\dir\\", "c:/DIR", S::eComparePath, false, 0, true},
      {"", "a", S::eComparePath, false, -1, true},
      {"a", "", S::eComparePath, false, 1, true},
      {"", "", S::eComparePath, false, 0, true},
      {"d/f10/", "D\\F9", S::eComparePath, true, 1, true},
      {"abc", "ABC", S::eCompareIgnoreCase, false, 0, true},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(std::string(o.psz1) + " vs " + o.psz2);
    int32_t const i = S(o.psz1).iCompareEx(o.psz2, o.eFn, o.bSplit);
    EXPECT_EQ(o.iExpected, o.bExact ? i : iSign(i));
  }
  EXPECT_EQ(0, S("C:\\x").iCompareEx("c:/x", 2, false));  // fn by number
}

TEST(StringCompare, SplitOffNumbersCollectsEveryRun) {
  CLuString str("a12b007c4294967296");
  CLuList<void> oNumbers;
  str.SplitOffNumbers(&oNumbers);
  EXPECT_STREQ("abc", str.pszGetString());
  ASSERT_EQ(3u, oNumbers.nGetCount());
  EXPECT_EQ(12u, uintptr_t(oNumbers.poGetAtIndex(0)));
  EXPECT_EQ(7u, uintptr_t(oNumbers.poGetAtIndex(1)));
  EXPECT_EQ(0u, uintptr_t(oNumbers.poGetAtIndex(2)));  // 2^32 wraps
}

TEST(StringCompare, PrefixesSuffixesAndPathPrefixes) {
  EXPECT_TRUE(CLuString("").bStartsWith(""));
  EXPECT_FALSE(CLuString("x").bStartsWith(""));
  EXPECT_FALSE(CLuString("").bStartsWith("x"));
  EXPECT_TRUE(CLuString("-PSN_0_1").bStartsWith("-psn_", false));
  EXPECT_FALSE(CLuString("-PSN_0_1").bStartsWith("-psn_", true));
  EXPECT_FALSE(CLuString("ab").bStartsWith("abc"));
  EXPECT_TRUE(CLuString("a.DPX").bEndsWith(".dpx", false));
  EXPECT_TRUE(CLuString("/a/b/c").bPathStartsWith("\\A\\b\\"));
  EXPECT_FALSE(CLuString("/a/bc").bPathStartsWith("/a/b"));
  CLuString str("prefix-rest");
  EXPECT_TRUE(str.bStripPrefix("PREFIX-", false));
  EXPECT_STREQ("rest", str.pszGetString());
}

// ---- trimming, line ends, replacing ----------------------------------------

TEST(StringTrim, TruncateWhiteSpaceRemovesSetCharactersAtBothEnds) {
  struct {
    char const* psz;
    char const* pszSet;
    char const* pszExpected;
  } const aCases[] = {
      {"  a b \t", " \t", "a b"},
      {"   ", " \t", ""},
      {"", " ", ""},
      {" ", " ", ""},
      {"a  ", " ", "a"},
      {"\n1\r", "\n\t \r", "1"},
      {"xax", "x", "a"},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.psz);
    CLuString str(o.psz);
    str.TruncateWhiteSpace(o.pszSet);
    EXPECT_STREQ(o.pszExpected, str.pszGetString());
  }
}

TEST(StringLineEnds, NormalizeToLFAndToCRLF) {
  struct {
    char const* psz;
    int iMode;
    char const* pszExpected;
  } const aCases[] = {
      {"a\nb\r\nc\rd", 2, "a\r\nb\r\nc\r\nd"},
      {"a\r\nb\rc\n\rd", 0, "a\nb\nc\nd"},
      {"a\r\nb\rc\n\rd", 1, "a\nb\nc\nd"},
      {"\n\r\n", 2, "\r\n\r\n"},
      {"\r\r", 5, "\r\n\r\n"},
      {"\r\r", 0, "\n\n"},
      {"no ends", 2, "no ends"},
      {"", 2, ""},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.iMode);
    CLuString str(o.psz);
    str.NormalizeLineEnds(o.iMode);
    EXPECT_STREQ(o.pszExpected, str.pszGetString());
    EXPECT_EQ(strlen(o.pszExpected), str.nGetLength());
  }
}

TEST(StringReplace, ReplaceSubstringsAndCharacters) {
  CLuString str("a-b-A-b");
  EXPECT_TRUE(str.bReplaceAll("A", "xx", false));
  EXPECT_STREQ("xx-b-xx-b", str.pszGetString());
  EXPECT_TRUE(str.bReplaceLast("b", "c"));
  EXPECT_STREQ("xx-b-xx-c", str.pszGetString());
  EXPECT_FALSE(str.bReplaceFirst("q", "c"));
  EXPECT_EQ(3u, str.nReplace('-', '_'));
  str = "C:\\dir\\f";
  str.ConvertPathToOSSpecific();
  EXPECT_STREQ("C:/dir/f", str.pszGetString());
  str = "My name: %t.dpx";
  str.EnforceAlphaNumeric('_');
  EXPECT_STREQ("My_name___t.dpx", str.pszGetString());
}

TEST(StringLayout, IndentSkipsEmptyLinesAndTabsExpand) {
  CLuString str("Error\nmsg\n\n");
  str.Indent(2);
  EXPECT_STREQ("  Error\n  msg\n\n", str.pszGetString());
  str = "a\tb\n\tc";
  EXPECT_TRUE(str.bExpandTabs(4));
  EXPECT_STREQ("a   b\n    c", str.pszGetString());
}

TEST(StringEncoding, HexRoundTripsAndRefusesBadText) {
  uint8_t const aby[] = {0x00, 0xFF, 0x7F, 0x0a};
  CLuString str;
  str.EncodeString(aby, 4, 1);
  EXPECT_STREQ("00FF7F0A", str.pszGetString());
  EXPECT_EQ(8u, CLuString::nEncodedStringLength(4, 1));
  for (uint32_t nMode : {0u, 1u, 2u}) {
    SCOPED_TRACE(nMode);
    str.EncodeString(aby, 4, nMode);
    EXPECT_EQ(CLuString::nEncodedStringLength(4, nMode), str.nGetLength());
    uint8_t abyOut[4] = {};
    EXPECT_TRUE(str.bDecodeString(abyOut, 4, nMode));
    EXPECT_EQ(0, memcmp(aby, abyOut, 4));
  }
  uint8_t abyOut[2] = {1, 2};
  EXPECT_FALSE(CLuString("0G12").bDecodeString(abyOut, 2, 1));
  EXPECT_FALSE(CLuString("012").bDecodeString(abyOut, 2, 1));
  EXPECT_EQ(1, abyOut[0]);  // untouched
  EXPECT_TRUE(CLuString("abCD").bDecodeString(abyOut, 2, 1));
  EXPECT_EQ(0xAB, abyOut[0]);
}

TEST(StringHelpers, PathFrameAndMarkupHelpers) {
  CLuString str("/a/b/c.txt");
  EXPECT_TRUE(str.bMakeRelativePath("/a/d/"));
  EXPECT_STREQ("../b/c.txt", str.pszGetString());
  str = "rel/x";
  EXPECT_FALSE(str.bMakeRelativePath("/abs"));
  EXPECT_STREQ("rel/x", str.pszGetString());
  EXPECT_STREQ(
      "d%%/plate.%04u.dpx",
      CLuString("d%/plate.0001.dpx").strDeriveNumberFormatFromFrameName());
  EXPECT_STREQ(
      "dpx",
      CLuString("x.y/plate.0001.DPX").strExtractNormalizedFileExtension());
  EXPECT_STREQ("",
               CLuString("dir.d/.hidden").strExtractNormalizedFileExtension());
  str = "log";
  EXPECT_TRUE(str.bAppendExtensionIfNotPresent("txt"));
  EXPECT_FALSE(str.bAppendExtensionIfNotPresent(".TXT"));
  EXPECT_STREQ("log.txt", str.pszGetString());
  str = "plate_0012";
  str.StripNumericalPostfix('_');
  EXPECT_STREQ("plate", str.pszGetString());

  EXPECT_TRUE(CLuString("10.0.0.255").bIsIPAddress());
  EXPECT_FALSE(CLuString("10.0.0.256").bIsIPAddress());
  EXPECT_FALSE(CLuString("10.0.0").bIsIPAddress());
  str = "010.001.000.255";
  str.IPAddressStripZeroPrefixes();
  EXPECT_STREQ("10.1.0.255", str.pszGetString());

  str = "<r><a x=\"1\"><a/></a><b/></r>";
  CLuString strSection;
  str.CutOutXMLSection("a", &strSection);
  EXPECT_STREQ("<a x=\"1\"><a/></a>", strSection.pszGetString());
  EXPECT_STREQ("<r><b/></r>", str.pszGetString());
  EXPECT_STREQ("  <n>a&lt;b</n>\n", CLuString::strToXML("n", "a<b", 2));
  str = "a<b>\r\n\nc";
  str.ConvertToHTMLParagraphs();
  EXPECT_STREQ("<p>a&lt;b&gt;</p>\n<p>c</p>\n", str.pszGetString());
  str = "a\tb,c\n1\t\"q\"\n";
  str.ConvertVELOMAFormattedToCSV();
  EXPECT_STREQ("a,\"b,c\"\n1,\"\"\"q\"\"\"\n", str.pszGetString());

  setenv("LU_STRING_TEST_VAR", "val", 1);
  str = "$LU_STRING_TEST_VAR/${LU_STRING_TEST_VAR}/$LU_UNSET_VAR_X/$$";
  str.ExpandEnvironmentVariables();
  EXPECT_STREQ("val/val/$LU_UNSET_VAR_X/$", str.pszGetString());
  str = "a,B;b,,c;A";
  str.EliminateDuplicateStringsIgnoreCase(",;");
  EXPECT_STREQ("a,B,c", str.pszGetString());

  time_t tim = 0;
  EXPECT_TRUE(CLuString("2024-02-29 12:34:56").bToTime(&tim));
  str.FromTime(tim);
  EXPECT_STREQ("2024-02-29 12:34:56", str.pszGetString());
  EXPECT_FALSE(CLuString("2023-02-29").bToTime(&tim));
}

// ---- tokens and wildcards --------------------------------------------------

struct STokenCase {
  char const* pszText;
  char const* pszSeparators;
  bool bQuotes;
  char cEscape;
  char const* pszTokens;  // the expected tokens joined by "|"
};

TEST(StringTokens, TokenizerHandlesRunsQuotesAndEscapes) {
  STokenCase const aCases[] = {
      {"a;;b", ";", false, 0, "a|b"},
      {"x \"a,b\",c", ",", true, 0, "x \"a,b\"|c"},
      {"x \"a,b\",c", ",", false, 0, "x \"a|b\"|c"},
      {"a\\,b,c", ",", false, '\\', "a\\,b|c"},
      {";;a;;", ";", false, 0, "a"},
      {";;;", ";", false, 0, ""},
      {"x \"a,b", ",", true, 0, "x \"a,b"},  // unclosed: to the end
      // Only the first quoted pair protects its separators; the rest then
      // starts with an unclosed quote and runs to the end.
      {"x \"a\" \"b,c\",d", ",", true, 0, "x \"a\" \"b|c\",d"},
      {"one \"two three\" four", " ", true, 0, "one|\"two three\"|four"},
  };
  for (STokenCase const& o : aCases) {
    SCOPED_TRACE(o.pszText);
    CLuString str(o.pszText), strToken, strAll;
    while (
        str.bGetNextToken(o.pszSeparators, &strToken, o.bQuotes, o.cEscape)) {
      if (!strAll.bIsEmpty()) strAll += "|";
      strAll += strToken;
    }
    EXPECT_STREQ(o.pszTokens, strAll.pszGetString());
    EXPECT_TRUE(str.bIsEmpty());
    EXPECT_FALSE(str.bGetNextToken(o.pszSeparators, &strToken));
  }
  CLuString str("a b");
  EXPECT_TRUE(str.bGetNextToken(" ", nullptr));
  EXPECT_STREQ("b", str.pszGetString());
}

TEST(StringWildCard, MatchesPatternListsWithTheirDeliberateAsymmetry) {
  struct {
    char const* pszName;
    char const* pszPatterns;
    bool bMatch;
  } const aCases[] = {
      {"frame.0001.DPX", "*.dpx", true},
      {"frame.tif", "*.dpx;*.tif", true},  // segment never found: next one
      {"b1", "a*;b*", false},  // literal mismatch ends the whole test
      {"b1", "b*;a*", true},
      {"abc", "ab;abc", true},  // pattern ends first: next one
      {"abc", "ab,abc", true},
      {"ABA", "*A", false},  // leftmost occurrence, no backtracking
      {"ABA", "*A*", true},
      {"abc", "???", true},
      {"ab", "???", false},
      {"", "*?", false},
      {"a", "*?", true},
      {"A", "*?A", false},  // at least one character before the segment
      {"BA", "*?A", true},
      {"", "*.*", true},
      {"anything", "*", true},
      {"x", "", false},
      {"PLATE.0001.dpx", "plate.????.DPX", true},
      {"plate_v2.dpx", "*_v?.dpx", true},
      {"a.b", "*.c;*.b", true},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(std::string(o.pszName) + " ~ " + o.pszPatterns);
    EXPECT_EQ(o.bMatch, CLuString(o.pszName).bMatchesWildCard(o.pszPatterns));
  }
}

// ---- files -----------------------------------------------------------------

class StringFile : public ::testing::Test {
 protected:
  void SetUp() override {
    char acTemplate[] = "/tmp/lu_string_test_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(acTemplate));
    m_strDir = acTemplate;
  }
  void TearDown() override {
    std::string const strCommand = "rm -rf '" + m_strDir + "'";
    EXPECT_EQ(0, system(strCommand.c_str()));
  }
  std::string strWrite(char const* pszName, char const* pData, size_t n) {
    std::string const strPath = m_strDir + "/" + pszName;
    FILE* pFile = fopen(strPath.c_str(), "wb");
    EXPECT_NE(nullptr, pFile);
    if (pFile) {
      EXPECT_EQ(n, fwrite(pData, 1, n, pFile));
      fclose(pFile);
    }
    return strPath;
  }
  std::string m_strDir;
};

TEST_F(StringFile, ReadsTextAndRawBytes) {
  std::string const strPath = strWrite("t.txt", "a\r\nb\rc\n", 7);
  CLuString str;
  EXPECT_TRUE(str.bReadFromFile(strPath.c_str(), false));
  EXPECT_STREQ("a\nb\nc\n", str.pszGetString());
  EXPECT_TRUE(str.bReadFromFile(strPath.c_str(), true));
  EXPECT_STREQ("a\r\nb\rc\n", str.pszGetString());

  std::string const strNul = strWrite("n.bin", "ab\0cd", 5);
  EXPECT_TRUE(str.bReadFromFile(strNul.c_str(), true));
  EXPECT_STREQ("ab", str.pszGetString());  // the text stops at the NUL

  std::string strBackslashed = strPath;
  for (char& c : strBackslashed)
    if (c == '/') c = '\\';
  EXPECT_TRUE(str.bReadFromFile(strBackslashed.c_str(), true));
  EXPECT_EQ(7u, str.nGetLength());
}

TEST_F(StringFile, EmptyFileGivesEmptyTextAndMissingFileFails) {
  std::string const strEmpty = strWrite("e.txt", "", 0);
  CLuString str("old");
  EXPECT_TRUE(str.bReadFromFile(strEmpty.c_str()));
  EXPECT_TRUE(str.bIsEmpty());
  str = "old";
  EXPECT_FALSE(str.bReadFromFile((m_strDir + "/missing").c_str()));
  EXPECT_FALSE(str.bReadFromFile(m_strDir.c_str()));  // a folder
  EXPECT_STREQ("old", str.pszGetString());
}

TEST_F(StringFile, ReadsLargeFilesAndWritesThemBack) {
  std::string strBig;
  for (int i = 0; i < 5000; i++) strBig += "line " + std::to_string(i) + "\n";
  std::string const strPath = m_strDir + "/big.txt";
  CLuString str(strBig.c_str());
  EXPECT_TRUE(str.bWriteToFile(strPath.c_str(), true));
  CLuString strRead;
  EXPECT_TRUE(strRead.bReadFromFile(strPath.c_str(), false));
  EXPECT_EQ(strBig, strRead.pszGetString());
  EXPECT_FALSE(str.bWriteToFile((m_strDir + "/no/such/dir").c_str()));
}

}  // namespace
