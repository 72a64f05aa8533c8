#include "base/string.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "base/containers.h"

namespace {

// ---- storage and growth ----------------------------------------------------

TEST(StringGrowth, RoomForNCharactersIsWhatADefaultStringGrowsTo) {
  struct {
    uint32_t n;
    uint32_t nCapacity;
  } const aRows[] = {{0, 33}, {32, 33}, {33, 49}, {48, 49}, {49, 50},
                     {100, 101}, {0xFFFFFFFFu, 33}};
  for (auto const& r : aRows) {
    SCOPED_TRACE(r.n);
    CLuString const strRoom(CLuString::eRoomFor, r.n);
    EXPECT_EQ(r.nCapacity, strRoom.nGetCapacity());
    EXPECT_STREQ("", strRoom.pszGetString());
    if (r.n == 0xFFFFFFFFu) continue;  // not allocated the other way either
    CLuString strGrown;
    strGrown.pszGetBuffer(r.n);
    EXPECT_EQ(strGrown.nGetCapacity(), strRoom.nGetCapacity());
  }
}

TEST(StringGrowth, FrontCutCopiesNothingAndTheTextMovesBackLater) {
  CLuString str("abcdef");
  char const* pszBase = str.pszGetString();
  str.ShortenAtBegin(2);
  EXPECT_EQ(pszBase + 2, str.pszGetString());  // no bytes moved

  // 4 + 28 + 1 = 33 bytes fit the capacity, but not behind the cut.
  str.Append("0123456789012345678901234567");
  EXPECT_EQ(pszBase, str.pszGetString());
  EXPECT_EQ(33u, str.nGetCapacity());
  EXPECT_STREQ("cdef0123456789012345678901234567", str.pszGetString());

  str.ShortenAtBegin(1);
  str.Append("xy");  // 31 + 2 + 1 > 33: a new buffer receives the text
  EXPECT_EQ(49u, str.nGetCapacity());
  EXPECT_STREQ("def0123456789012345678901234567xy", str.pszGetString());

  str.ShortenAtBegin(40);  // cuts beyond the length empty the string
  EXPECT_STREQ("", str.pszGetString());
  str = "abc";
  str.ShortenAtEnd(4);
  EXPECT_TRUE(str.bIsEmpty());
}

TEST(StringAssign, OwnTextMayBeAssignedAndAppended) {
  CLuString str("abcdef");
  str.Assign(str.pszGetString() + 2);
  str.Append(str.pszGetString());
  EXPECT_STREQ("cdefcdef", str.pszGetString());
  for (int i = 0; i < 4; i++) str += str;  // forces reallocations
  CLuString const& strSame = str;
  str = strSame;  // self-assignment changes nothing
  EXPECT_EQ(128u, str.nGetLength());
  str = "abc";
  EXPECT_STREQ("xabc!", ("x" + str + '!').pszGetString());
  CLuString strCopy(str);
  EXPECT_EQ(4u, strCopy.nGetCapacity());  // sized for the known text
  strCopy.Append("\0d", 2);
  EXPECT_EQ(32u, strCopy.nGetCapacity());  // the floor: max(6, 6, 32)
  strCopy += strCopy;  // own text with a NUL inside: all of it
  EXPECT_EQ(std::string("abc\0dabc\0d", 10),
            std::string(strCopy.pszGetString(), strCopy.nGetLength()));
}

TEST(StringAssign, AssignStopsAtANulAppendCopiesExactlyNBytes) {
  struct {
    char const* pszStart;
    bool bAppend;
    std::string strSource;  // may hold NULs
    uint32_t n;
    std::string strExpected;  // the bytes up to the length
    uint32_t nCapacity;
  } const aCases[] = {
      {"x", false, std::string("abc\0def", 7), 7, "abc", 33},
      {"x", false, "abc", 70000, "abc", 70001},  // sized from n all the same
      {"ab", true, std::string("c\0d", 3), 3, std::string("abc\0d", 5), 33},
      {"", true, std::string("c\0d", 3), 3, "c", 33},  // the early stop
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(testing::Message() << o.pszStart << (o.bAppend ? " + " : " = ")
                                    << o.strSource << ", " << o.n);
    CLuString str(o.pszStart);
    if (o.bAppend)
      str.Append(o.strSource.c_str(), o.n);
    else
      str.Assign(o.strSource.c_str(), o.n);
    EXPECT_EQ(o.strExpected, std::string(str.pszGetString(), str.nGetLength()));
    EXPECT_EQ(o.nCapacity, str.nGetCapacity());
  }
}

// ---- searching and pieces --------------------------------------------------

TEST(StringSearch, FindsCharactersSetsAndPieces) {
  CLuString const str("banana");
  EXPECT_EQ(3, str.iReverseFind('a', 4));
  EXPECT_EQ(-1, str.iFind('a', 6));
  EXPECT_EQ(4, str.iReverseFindOneOf("nx"));
  EXPECT_EQ(2, str.iFind("NA", 0, false));
  EXPECT_EQ(-1, str.iFind("NA", 0, true));
  EXPECT_EQ(4, str.iReverseFind("na"));
  EXPECT_STREQ("a", str.strMid(5, 100).pszGetString());
  EXPECT_STREQ("", str.strMid(kLuStringAll, 1).pszGetString());
}

// ---- formatting and numbers ------------------------------------------------

TEST(StringFormat, LongResultsAreCutAt1022Characters) {
  CLuString str;
  str.Format("%s", std::string(2000, 'x').c_str());
  EXPECT_EQ(std::string(1022, 'x'), str.pszGetString());
  EXPECT_EQ(1022u, str.nGetLength());
  str.Format("%d-%s", 42, "z");
  str.Format("<%s>", str.pszGetString());  // own text as argument
  EXPECT_STREQ("<42-z>", str.pszGetString());
}

TEST(StringNumbers, FromNumberWritesTidyDecimals) {
  EXPECT_STREQ(".5", CLuString::strFromNumber(0.5, 2, true));
  EXPECT_STREQ("0", CLuString::strFromNumber(0.0, 2, true));
  EXPECT_STREQ("-0.25", CLuString::strFromNumber(-0.25, 2, false));
  EXPECT_STREQ("29.969999999999999",
               CLuString::strFromNumber(29.97, 15, false));
  EXPECT_STREQ("-9000000000", CLuString::strFromNumber(int64_t(-9000000000)));
  // More decimals than a double has: the same text, and at once.
  EXPECT_STREQ("1.5", CLuString::strFromNumber(1.5, 4000000000u, false));
}

TEST(StringNumbers, StripTrailingZeroes) {
  struct {
    char const *psz, *pszExpected;
  } const aCases[] = {
      {"2.500", "2.5"}, {"0.00", "0"}, {"007", "7"}, {"10.0", "10"},
      {"100", "100"},   {"", "0"},     {".0", "0"},  {"00.50", "0.5"},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.psz);
    CLuString str(o.psz);
    str.StripTrailingZeroes();
    EXPECT_STREQ(o.pszExpected, str.pszGetString());
  }
}

// The value bToUINT reads within [1, nMax], or -1 when it refuses the text
// (and then the output must stay untouched).
int64_t iToUINT(char const* psz, uint32_t nMax = 99) {
  uint32_t n = 777;
  if (CLuString(psz).bToUINT(&n, 1, nMax)) return n;
  EXPECT_EQ(777u, n);
  return -1;
}

TEST(StringNumbers, ToUINTReadsLikeStrtoulWithA32BitLong) {
  EXPECT_EQ(12, iToUINT("12"));
  EXPECT_EQ(-1, iToUINT("12a"));
  EXPECT_EQ(-1, iToUINT("12 "));  // a trailing blank is left over
  EXPECT_EQ(-1, iToUINT("0"));
  EXPECT_EQ(-1, iToUINT("100"));
  EXPECT_EQ(4294967295, iToUINT("-1", 0xFFFFFFFFu));
  // Past 32 bits the value saturates, whatever the sign.
  EXPECT_EQ(4294967295, iToUINT("4294967296", 0xFFFFFFFFu));
  EXPECT_EQ(4294967295, iToUINT("-4294967296", 0xFFFFFFFFu));
}

// The same for bToDouble within [dMin, dMax].
double dToDouble(char const* psz, double dMin, double dMax) {
  double d = 7.0;
  if (CLuString(psz).bToDouble(&d, dMin, dMax)) return d;
  EXPECT_EQ(7.0, d);
  return -1;
}

TEST(StringNumbers, ToDoubleReadsLikeStrtodAndNaNPassesEveryRange) {
  EXPECT_TRUE(std::isnan(dToDouble("nan", 0.0, 1.0)));
  EXPECT_EQ(-1, dToDouble("1e999", -DBL_MAX, DBL_MAX));
  EXPECT_EQ(INFINITY, dToDouble("1e999", 0.0, INFINITY));
  EXPECT_EQ(-2.5, dToDouble(" -2.5", -3.0, 0.0));
  EXPECT_EQ(-1, dToDouble("2.5x", 0.0, 10.0));
  EXPECT_EQ(-1, dToDouble("23.976", 0.0, 23.0));
}

TEST(StringNumbers, OtherConversionsHonourTheirRanges) {
  int32_t i = 0;
  EXPECT_TRUE(CLuString("-99999999999").bToInt(&i));
  EXPECT_EQ(INT32_MIN, i);  // saturates like a 32-bit strtol
  uint8_t by = 0;
  EXPECT_FALSE(CLuString("256").bToBYTE(&by));
  EXPECT_STREQ("01:02:05:12", CLuString::strTimeCode(3725.5, 24.0));
  EXPECT_STREQ("25:00:00:00", CLuString::strTimeCode(90000.0, 25.0));
}

// ---- comparing -------------------------------------------------------------

TEST(StringCompare, CompareExWithSplitNumbersAndPaths) {
  // The functions by number (the int form calls the enum form): 0 compares
  // bytes, 1 ignores case, 2 compares paths.
  typedef CLuString S;
  EXPECT_EQ(1, S("frame10").iCompareEx("frame9", 0, true));
  EXPECT_LT(S("frame10").iCompareEx("frame9", 0, false), 0);
  EXPECT_EQ(-1, S("Item9").iCompareEx("item10", 1, true));
  EXPECT_EQ(-3, S("a1b2").iCompareEx("a1b5", 0, true));
  EXPECT_LT(S("a1").iCompareEx("a1b2", 0, true), 0);  // counts differ
  EXPECT_EQ(-1, S("x4294967295").iCompareEx("x0", 0, true));
  EXPECT_EQ(0, S("C:\\dir\\").iCompareEx("c:/DIR", 2, false));
  EXPECT_EQ(1, S("d/f10/").iCompareEx("D\\F9", 2, true));
  EXPECT_EQ(0, S("C:\\x").iCompareEx("c:/x", S::eComparePath, false));
}

TEST(StringCompare, SplitOffNumbersCollectsEveryRun) {
  CLuString str("a12b007c4294967296");
  CLuList<void> oNumbers;
  str.SplitOffNumbers(&oNumbers);
  EXPECT_STREQ("abc", str.pszGetString());
  ASSERT_EQ(3u, oNumbers.nGetCount());
  EXPECT_EQ(7u, uintptr_t(oNumbers.poGetAtIndex(1)));
  EXPECT_EQ(0u, uintptr_t(oNumbers.poGetAtIndex(2)));  // 2^32 wraps
}

TEST(StringCompare, PrefixesSuffixesAndPathPrefixes) {
  EXPECT_FALSE(CLuString("x").bStartsWith(""));
  EXPECT_TRUE(CLuString("-PSN_0_1").bStartsWith("-psn_", false));
  EXPECT_FALSE(CLuString("-PSN_0_1").bStartsWith("-psn_", true));
  EXPECT_TRUE(CLuString("a.DPX").bEndsWith(".dpx", false));
  EXPECT_TRUE(CLuString("/a/b/c").bPathStartsWith("\\A\\b\\"));
  EXPECT_FALSE(CLuString("/a/bc").bPathStartsWith("/a/b"));
}

// ---- trimming, line ends, replacing ----------------------------------------

TEST(StringLineEnds, NormalizeToLFAndToCRLF) {
  struct {
    char const* psz;
    int iMode;
    char const* pszExpected;
  } const aCases[] = {
      {"a\nb\r\nc\rd", 2, "a\r\nb\r\nc\r\nd"},
      {"\r\r", 5, "\r\n\r\n"},
      // Nothing needs an extra character, yet the pair is turned round.
      {"x\n\ry", 2, "x\r\ny"},
      {"a\r\nb\rc\n\rd", 0, "a\nb\nc\nd"},
      {"a\r\nb\rc\n\rd", 1, "a\nb\nc\nd"},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(testing::Message() << o.iMode << ": " << o.pszExpected);
    CLuString str(o.psz);
    str.NormalizeLineEnds(o.iMode);
    EXPECT_STREQ(o.pszExpected, str.pszGetString());
    EXPECT_EQ(strlen(o.pszExpected), str.nGetLength());
  }
}

TEST(StringReplace, ReplaceSubstringsCharactersAndLayout) {
  CLuString str("a-b-A-b");
  EXPECT_TRUE(str.bReplaceAll("A", "xx", false));  // ignoring case
  EXPECT_TRUE(str.bReplaceLast("b", "c"));
  EXPECT_STREQ("xx-b-xx-c", str.pszGetString());
  EXPECT_FALSE(str.bReplaceFirst("q", "c"));
  EXPECT_EQ(3u, str.nReplace('-', '_'));
  str = "My name: %t.dpx";
  str.EnforceAlphaNumeric('_');
  EXPECT_STREQ("My_name___t.dpx", str.pszGetString());
  str = "a\tb\n\tc";
  EXPECT_TRUE(str.bExpandTabs(4));
  EXPECT_STREQ("a   b\n    c", str.pszGetString());
}

TEST(StringEncoding, HexRoundTripsAndRefusesBadText) {
  uint8_t const aby[] = {0x00, 0xFF, 0x7F, 0x0a};
  CLuString str;
  str.EncodeString(aby, 4, 2);
  EXPECT_STREQ("00 FF 7F 0A", str.pszGetString());
  uint8_t abyOut[4] = {};
  EXPECT_TRUE(str.bDecodeString(abyOut, 4, 2));
  EXPECT_EQ(0, memcmp(aby, abyOut, 4));
  EXPECT_FALSE(CLuString("0G12").bDecodeString(abyOut, 2, 1));
  EXPECT_EQ(0, abyOut[0]);  // untouched
}

TEST(StringHelpers, PathFrameAndMarkupHelpers) {
  CLuString str("/a/b/c.txt");
  EXPECT_TRUE(str.bMakeRelativePath("/a/d/"));
  EXPECT_STREQ("../b/c.txt", str.pszGetString());
  EXPECT_STREQ(
      "d%%/plate.%04u.dpx",
      CLuString("d%/plate.0001.dpx").strDeriveNumberFormatFromFrameName());
  EXPECT_STREQ("",
               CLuString("dir.d/.hidden").strExtractNormalizedFileExtension());

  setenv("LU_STRING_TEST_VAR", "val", 1);
  str = "$LU_STRING_TEST_VAR/${LU_STRING_TEST_VAR}/$LU_UNSET_VAR_X/$$";
  str.ExpandEnvironmentVariables();
  EXPECT_STREQ("val/val/$LU_UNSET_VAR_X/$", str.pszGetString());
  time_t tim = 0;
  EXPECT_TRUE(CLuString("2024-02-29 12:34:56").bToTime(&tim));
  str.FromTime(tim);
  EXPECT_STREQ("2024-02-29 12:34:56", str.pszGetString());
  EXPECT_FALSE(CLuString("2023-02-29").bToTime(&tim));
}

// ---- tokens and wildcards --------------------------------------------------

// Every token of the text, joined by "|"; the text must be used up.
std::string strTokens(char const* pszText, char const* pszSeparators,
                      bool bQuotes = false, char cEscape = 0) {
  CLuString str(pszText), strToken;
  std::string strAll;
  while (str.bGetNextToken(pszSeparators, &strToken, bQuotes, cEscape))
    strAll += (strAll.empty() ? "" : "|") + std::string(strToken);
  EXPECT_TRUE(str.bIsEmpty());
  return strAll;
}

TEST(StringTokens, TokenizerHandlesRunsQuotesAndEscapes) {
  EXPECT_EQ("x \"a,b\"|c", strTokens("x \"a,b\",c", ",", true));
  EXPECT_EQ("x \"a|b\"|c", strTokens("x \"a,b\",c", ","));
  EXPECT_EQ("a\\,b|c", strTokens("a\\,b,c", ",", false, '\\'));
  EXPECT_EQ("x \"a,b", strTokens("x \"a,b", ",", true));  // runs to the end
  // Only the first quoted pair protects its separators; the rest then starts
  // with an unclosed quote and runs to the end.
  EXPECT_EQ("x \"a\" \"b|c\",d", strTokens("x \"a\" \"b,c\",d", ",", true));
  CLuString str("a b");
  EXPECT_TRUE(str.bGetNextToken(" ", nullptr));
  EXPECT_STREQ("b", str.pszGetString());
}

bool bMatch(char const* pszName, char const* pszPatterns) {
  return CLuString(pszName).bMatchesWildCard(pszPatterns);
}

TEST(StringWildCard, MatchesPatternListsWithTheirDeliberateAsymmetry) {
  EXPECT_TRUE(bMatch("frame.tif", "*.dpx;*.tif"));  // segment not found: next
  EXPECT_FALSE(bMatch("b1", "a*;b*"));   // literal mismatch ends the whole test
  EXPECT_TRUE(bMatch("abc", "ab,abc"));  // pattern ends first: next one
  EXPECT_FALSE(bMatch("ABA", "*A"));     // leftmost occurrence, no backtracking
  EXPECT_FALSE(bMatch("A", "*?A"));      // at least one character before "A"
  EXPECT_FALSE(bMatch("", "*?"));
  EXPECT_TRUE(bMatch("", "*.*"));
  EXPECT_FALSE(bMatch("x", ""));
  // Past 255 bytes the test leaves the short-text way: same answers.
  std::string const strLong(300, 'a');
  EXPECT_TRUE(bMatch((strLong + ".DPX").c_str(), "*?.dpx"));
  EXPECT_FALSE(bMatch((strLong + ".DPX").c_str(), ("b" + strLong).c_str()));
}

// ---- files -----------------------------------------------------------------

class StringFile : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(nullptr, mkdtemp(&m_strRoot[0])); }
  void TearDown() override {
    EXPECT_EQ(0, system(("rm -rf '" + m_strRoot + "'").c_str()));
  }
  std::string P(char const* pszName) const { return m_strRoot + "/" + pszName; }
  static void Write(std::string const& strPath, std::string const& strBytes) {
    std::ofstream(strPath, std::ios::binary) << strBytes;
  }
  std::string m_strRoot = "/tmp/lu_string_test_XXXXXX";
};

TEST_F(StringFile, ReadsFilesAndStreamsOfUnknownSize) {
  struct {
    char const* pszName;
    std::string strBytes;
    bool bFifo, bRawBytes;
    char const* pszExpected;  // read into a string holding "old"
  } const aCases[] = {
      {"t.txt", "a\r\nb\rc\n", false, false, "a\nb\nc\n"},
      {"t.bin", "a\r\nb\rc\n", false, true, "a\r\nb\rc\n"},
      {"n.bin", std::string("ab\0cd", 5), false, true, "ab"},  // to the NUL
      {"e.txt", "", false, false, ""},
      // No size to be found: appended to what the string held.
      {"fifo", "x\r\ny", true, false, "oldx\ny"},
  };
  for (auto const& o : aCases) {
    SCOPED_TRACE(o.pszName);
    std::string const strPath = P(o.pszName);
    std::thread oWriter;
    if (o.bFifo) {
      ASSERT_EQ(0, mkfifo(strPath.c_str(), 0600));
      oWriter = std::thread([&] { Write(strPath, o.strBytes); });  // waits
    } else {
      Write(strPath, o.strBytes);
    }
    CLuString str("old");
    EXPECT_TRUE(str.bReadFromFile(strPath.c_str(), o.bRawBytes));
    if (oWriter.joinable()) oWriter.join();
    EXPECT_STREQ(o.pszExpected, str.pszGetString());
  }
  CLuString str("old");
  EXPECT_FALSE(str.bReadFromFile(P("missing").c_str()));
  EXPECT_FALSE(str.bReadFromFile(m_strRoot.c_str()));  // a folder
  EXPECT_STREQ("old", str.pszGetString());
  std::string strPath = P("t.bin");
  std::replace(strPath.begin(), strPath.end(), '/', '\\');  // accepted too
  EXPECT_TRUE(str.bReadFromFile(strPath.c_str(), true));
  EXPECT_STREQ("a\r\nb\rc\n", str.pszGetString());
}

}  // namespace
