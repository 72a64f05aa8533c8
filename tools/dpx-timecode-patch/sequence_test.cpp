#include "tools/dpx-timecode-patch/sequence.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tools/dpx-timecode-patch/run_chronex_test.h"

namespace {

TEST(CutOffNumber, ReplacesTheFrameNumberWithAHash) {
  // Input, then the cut name, the number and its digits.
  std::pair<char const*, char const*> const aCases[] = {
      {"plate.0001.dpx", "plate.#.dpx 1 0001"},
      {"sequence0001.dpx", "sequence#.dpx 1 0001"},
      {"0001.dpx", "#.dpx 1 0001"},
      {"plate0001", "plate#. 1 0001"},
      {"plate.0001", "plate..# 1 0001"},
      {"plate.take2", "plate.take.# 2 2"},
      {"plate.#.dpx", "plate.#.dpx 0 "},
      // the folder part is dropped; the number's width is kept in digits
      {"/shots/a/plate.0120.dpx", "plate.#.dpx 120 0120"},
      {"/shots/a.7/plate.dpx", "plate.dpx 0 "},
      // past the 32-bit range the value saturates
      {"big.99999999999.dpx", "big.#.dpx 2147483647 99999999999"},
      {"", " 0 "},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.first);
    CLuString strResult("junk"), strDigits("junk");
    int iNumber = -5;
    LuCutOffNumber(CLuString(c.first), &strResult, &iNumber, &strDigits);
    EXPECT_EQ(std::string(strResult) + " " + std::to_string(iNumber) + " " +
                  strDigits.pszGetString(),
              c.second);
  }
  LuCutOffNumber(CLuString("a.1.dpx"), nullptr, nullptr, nullptr);
}

TEST(CutOffNumber, BareNamesCutQuicklyAsTheyDoTheLongWay) {
  // Every name of up to six of these bytes; the quick cut refuses the ones
  // with bytes the path functions rewrite.
  char szKey[16];
  CLuString strKey;
  for (std::string const& s : chronex_test::AllTexts("a.1#/\\\"", 6)) {
    bool const bPlain = s.find_first_of("/\\\"") == std::string::npos;
    ASSERT_EQ(bCutOffNumberOfBareName(s.c_str(), uint32_t(s.size()), szKey,
                                      sizeof szKey),
              bPlain)
        << s;
    if (!bPlain) continue;
    LuCutOffNumber(CLuString(s.c_str()), &strKey, nullptr, nullptr);
    ASSERT_STREQ(szKey, strKey.pszGetString()) << s;
  }
  // Too little room for the name and ".#" is refused.
  EXPECT_FALSE(bCutOffNumberOfBareName("a.1", 3, szKey, 5));
  EXPECT_TRUE(bCutOffNumberOfBareName("a.1", 3, szKey, 6));
}

class FrameList : public chronex_test::TempFolderTest {
 protected:
  // The members found for strInput (appended behind poFirst when given),
  // sorted, with m_strDir cut off.
  std::vector<std::string> Members(std::string const& strInput,
                                   CLuString* poFirst = nullptr) {
    CLuCompactArray<CLuString> ao(128, 128);
    if (poFirst != nullptr) ao.Add(poFirst);
    FileListFromFramePath(CLuString(strInput.c_str()), &ao);
    EXPECT_TRUE(poFirst == nullptr || ao.poGetAt(0) == poFirst);
    std::vector<std::string> astr;
    for (uint32_t i = poFirst ? 1 : 0; i < ao.nGetCount(); ++i) {
      std::string s = ao.poGetAt(i)->pszGetString();
      if (s.rfind(m_strDir + "/", 0) == 0) s.erase(0, m_strDir.size() + 1);
      astr.push_back(s);
      delete ao.poGetAt(i);
    }
    std::sort(astr.begin(), astr.end());
    return astr;
  }
};

TEST_F(FrameList, KeepsSiblingsOfTheSameKeyOnly) {
  for (char const* psz :
       {"plate.0001.dpx", "plate.0002.dpx", "plate.1.dpx", "PLATE.0004.DPX",
        "other.0001.dpx", "plate.0001.tif", "plate.dpx", "plate.0001.dpx.bak",
        "plate_0003.dpx", ".plate.0005.dpx", "plate.0006.dpx", "plate.0007.dpx",
        "plate.0001", "plate.0002"})
    chronex_test::WriteFile(Path(psz), "");
  mkdir(Path("plate.0008.dpx").c_str(), 0755);  // a folder named like a frame
  chronex_test::WriteFile(Path(".hidden"), "x\nPLATE.0006.DPX\r\n");
  // The frame typed need not exist; a single "#" names the sequence too.
  for (char const* pszInput :
       {"plate.0001.dpx", "plate.9999.dpx", "plate.#.dpx", "Plate.#.Dpx"}) {
    SCOPED_TRACE(pszInput);
    EXPECT_EQ(Members(Path(pszInput)),
              (std::vector<std::string>{"PLATE.0004.DPX", "plate.0001.dpx",
                                        "plate.0002.dpx", "plate.0007.dpx",
                                        "plate.1.dpx"}));
  }
  // Other placeholders, and a number ending a name without extension.
  for (char const* pszInput :
       {"plate.##.dpx", "plate.%d.dpx", "plate.%04d.dpx", "plate.@.dpx",
        "nothing.0001.dpx", "missing/plate.0001.dpx", "plate.0001"}) {
    SCOPED_TRACE(pszInput);
    EXPECT_TRUE(Members(Path(pszInput)).empty());
  }
}

TEST_F(FrameList, AppendsToTheListAndSearchesTheCurrentFolderByDefault) {
  for (char const* psz : {"s9.dpx", "s10.dpx"})
    chronex_test::WriteFile(Path(psz), "");
  CLuString strFirst("first");
  char szOld[4096];
  ASSERT_NE(getcwd(szOld, sizeof szOld), nullptr);
  ASSERT_EQ(chdir(m_strDir.c_str()), 0);
  std::vector<std::string> const astr = Members("s1.dpx", &strFirst);
  FileListFromFramePath(CLuString("s1.dpx"), nullptr);
  ASSERT_EQ(chdir(szOld), 0);
  EXPECT_EQ(astr, (std::vector<std::string>{"./s10.dpx", "./s9.dpx"}));
}

}  // namespace
