#include "tools/dpx-timecode-patch/sequence.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/dpx-timecode-patch/test_support.h"

namespace {

TEST(CutOffNumber, ReplacesTheFrameNumberWithAHash) {
  struct {
    char const* pszPath;
    char const* pszResult;
    int iNumber;
    char const* pszDigits;
  } const aCases[] = {
      {"plate.0001.dpx", "plate.#.dpx", 1, "0001"},
      {"sequence0001.dpx", "sequence#.dpx", 1, "0001"},
      {"0001.dpx", "#.dpx", 1, "0001"},
      {"plate0001", "plate#.", 1, "0001"},
      {"plate.0001", "plate..#", 1, "0001"},
      {"plate.take2", "plate.take.#", 2, "2"},
      {"plate.#.dpx", "plate.#.dpx", 0, ""},
      {"sequence#.dpx", "sequence#.dpx", 0, ""},
      {"plate.dpx", "plate.dpx", 0, ""},
      // the folder part is dropped; the number's width is kept in digits
      {"/shots/a/plate.0120.dpx", "plate.#.dpx", 120, "0120"},
      {"/shots/a.7/plate.dpx", "plate.dpx", 0, ""},
      {"PLATE.0004.DPX", "PLATE.#.DPX", 4, "0004"},
      {"a.10.dpx", "a.#.dpx", 10, "10"},
      {"v2.dpx2", "v2.dpx.#", 2, "2"},
      {"x.12", "x..#", 12, "12"},
      // past the 32-bit range the value saturates
      {"big.99999999999.dpx", "big.#.dpx", 2147483647, "99999999999"},
      {"", "", 0, ""},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszPath);
    CLuString strResult("junk"), strDigits("junk");
    int iNumber = -5;
    LuCutOffNumber(CLuString(c.pszPath), &strResult, &iNumber, &strDigits);
    EXPECT_STREQ(strResult.pszGetString(), c.pszResult);
    EXPECT_EQ(iNumber, c.iNumber);
    EXPECT_STREQ(strDigits.pszGetString(), c.pszDigits);
  }
}

TEST(CutOffNumber, WritesInPlaceAndToleratesNullOutputs) {
  CLuString str("plate.0001.dpx");
  LuCutOffNumber(str, &str, nullptr, nullptr);
  EXPECT_STREQ(str.pszGetString(), "plate.#.dpx");
  LuCutOffNumber(CLuString("a.1.dpx"), nullptr, nullptr, nullptr);
}

class FrameList : public chronex_test::TempFolderTest {
 protected:
  // The members found for strInput, sorted, as names relative to m_strDir.
  std::vector<std::string> Members(std::string const& strInput) {
    CLuCompactArray<CLuString> aoFrames(128, 128);
    FileListFromFramePath(CLuString(strInput.c_str()), &aoFrames);
    std::vector<std::string> astr;
    for (uint32_t i = 0; i < aoFrames.nGetCount(); ++i) {
      std::string const s = aoFrames.poGetAt(i)->pszGetString();
      EXPECT_EQ(s.compare(0, m_strDir.size() + 1, m_strDir + "/"), 0) << s;
      astr.push_back(s.substr(m_strDir.size() + 1));
      delete aoFrames.poGetAt(i);
    }
    std::sort(astr.begin(), astr.end());
    return astr;
  }
  void Empty(std::string const& strName) {
    chronex_test::WriteFile(Path(strName), {});
  }
};

TEST_F(FrameList, KeepsSiblingsOfTheSameKeyOnly) {
  for (char const* psz :
       {"plate.0001.dpx", "plate.0002.dpx", "plate.1.dpx", "PLATE.0004.DPX",
        "other.0001.dpx", "plate.0001.tif", "plate.dpx", "plate.0001.dpx.bak",
        "plate_0003.dpx", ".plate.0005.dpx", "plate.0006.dpx",
        "plate.0007.dpx"})
    Empty(psz);
  mkdir(Path("plate.0008.dpx").c_str(), 0755);  // a folder named like a frame
  chronex_test::WriteFile(
      Path(".hidden"), {'x', '\n', 'P', 'L', 'A', 'T', 'E', '.', '0', '0', '0',
                        '6', '.', 'D', 'P', 'X', '\r', '\n'});
  std::vector<std::string> const astrExpected = {
      "PLATE.0004.DPX", "plate.0001.dpx", "plate.0002.dpx", "plate.0007.dpx",
      "plate.1.dpx"};
  EXPECT_EQ(Members(Path("plate.0001.dpx")), astrExpected);
  // The frame typed need not exist; a single "#" names the sequence too.
  EXPECT_EQ(Members(Path("plate.9999.dpx")), astrExpected);
  EXPECT_EQ(Members(Path("plate.#.dpx")), astrExpected);
  EXPECT_EQ(Members(Path("Plate.#.Dpx")), astrExpected);
}

TEST_F(FrameList, PlaceholdersOtherThanOneHashFindNothing) {
  for (char const* psz : {"plate.0001.dpx", "plate.0002.dpx", "plate.#.dpx"})
    Empty(psz);
  for (char const* pszInput :
       {"plate.##.dpx", "plate.%d.dpx", "plate.%04d.dpx", "plate.@.dpx",
        "nothing.0001.dpx", "missing/plate.0001.dpx", "plate.0001"}) {
    SCOPED_TRACE(pszInput);
    EXPECT_TRUE(Members(Path(pszInput)).empty());
  }
}

TEST_F(FrameList, NumberEndingTheNameWithoutExtensionFindsNothing) {
  Empty("plate.0001");
  Empty("plate.0002");
  EXPECT_TRUE(Members(Path("plate.0001")).empty());
}

TEST_F(FrameList, AppendsToTheListAndLeavesItUnsorted) {
  Empty("s9.dpx");
  Empty("s10.dpx");
  CLuCompactArray<CLuString> aoFrames(128, 128);
  CLuString strFirst("first");
  aoFrames.Add(&strFirst);
  FileListFromFramePath(CLuString(Path("s1.dpx").c_str()), &aoFrames);
  ASSERT_EQ(aoFrames.nGetCount(), 3u);
  EXPECT_EQ(aoFrames.poGetAt(0), &strFirst);
  for (uint32_t i = 1; i < 3; ++i) delete aoFrames.poGetAt(i);
  FileListFromFramePath(CLuString("x.1.dpx"), nullptr);
}

TEST_F(FrameList, InputWithoutFolderSearchesTheCurrentFolder) {
  Empty("f.0001.dpx");
  char szOld[4096];
  ASSERT_NE(getcwd(szOld, sizeof szOld), nullptr);
  ASSERT_EQ(chdir(m_strDir.c_str()), 0);
  CLuCompactArray<CLuString> aoFrames(128, 128);
  FileListFromFramePath(CLuString("f.0002.dpx"), &aoFrames);
  ASSERT_EQ(chdir(szOld), 0);
  ASSERT_EQ(aoFrames.nGetCount(), 1u);
  EXPECT_STREQ(aoFrames.poGetAt(0)->pszGetString(), "./f.0001.dpx");
  delete aoFrames.poGetAt(0);
}

}  // namespace
