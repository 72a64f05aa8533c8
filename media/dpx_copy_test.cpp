#include "media/dpx_copy.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>

#include "base/error.h"
#include "media/dpx_test_file_test.h"

namespace {

using namespace dpx_test;

CLuTimeCode Tc(unsigned h, unsigned m, unsigned s, unsigned f, double dFps) {
  return CLuTimeCode(h, m, s, f, dFps, false, false);
}

class DPXCopy : public TempFolderTest {
 protected:
  void SetUp() override {
    TempFolderTest::SetUp();
    m_strSrc = Path("src/shot/");
    ASSERT_EQ(system(("mkdir -p '" + m_strSrc + "'").c_str()), 0);
  }
  // Copies the frame strName of m_strSrc with the settings into a fresh
  // root and expects the copy, byte for byte, at strExpected below it.
  void ExpectCopy(CLuTimeCode const& tcOffset, char const* pszPattern,
                  bool bKeep, std::string const& strName, Bytes const& a,
                  std::string const& strExpected) {
    SCOPED_TRACE(strExpected);
    std::string const strRoot = Path("out" + std::to_string(++m_nRoot) + "/");
    WriteFile(m_strSrc + strName, a);
    CLuCopyDPXFileWithTimeCode const oCopy(tcOffset, strRoot.c_str(),
                                           pszPattern, bKeep);
    EXPECT_NO_THROW(oCopy.Copy((m_strSrc + strName).c_str()));
    EXPECT_EQ(ReadFile(strRoot + strExpected), a);
  }
  // The text of the CLuError (severity eError, no identifier) that copying
  // strSource under strRoot as pszPattern throws; fails when none is thrown.
  std::string CopyError(std::string const& strRoot, char const* pszPattern,
                        std::string const& strSource) {
    try {
      CLuCopyDPXFileWithTimeCode(CLuTimeCode(), strRoot.c_str(), pszPattern,
                                 false)
          .Copy(strSource.c_str());
    } catch (CLuError const& e) {
      EXPECT_EQ(eError, e.eSeverity());
      EXPECT_TRUE(e.strWarningID().bIsEmpty());
      return e.strErrorText().pszGetString();
    }
    ADD_FAILURE() << "no error thrown";
    return "";
  }
  std::string m_strSrc;  // ends with "/"
  int m_nRoot = 0;
};

TEST_F(DPXCopy, NamesFollowThePatternAndTheShiftedTimeCode) {
  struct {
    CLuTimeCode tcOffset;
    unsigned anHeader[4];  // the source's header timecode
    char const* pszName;
    char const* pszPattern;
    char const* pszExpected;
  } const aCases[] = {
      // one second at 25 fps adds 25 frames
      {Tc(0, 0, 1, 0, 25), {1, 2, 3, 4}, "a.b.c", "%f%t", "a.b01_02_04_04.c"},
      // an offset without a rate counts its own frames at base 1 (6 here);
      // the header counts at 24
      {Tc(0, 0, 1, 5, 0), {1, 2, 3, 22}, "a.dpx", "%t", "01_02_04_04.dpx"},
      {CLuTimeCode(), {0, 0, 0, 1}, "a.dpx", "%f-%t-%f", "a-00_00_00_01-a.dpx"},
      {CLuTimeCode(), {}, "frame", "copy", "copy"},  // no extension added
      {CLuTimeCode(), {}, "a.dpx", "a b*c:%f", "a_b_c_a.dpx"},
      // a leading slash of the pattern stays below the root
      {CLuTimeCode(), {}, "a.dpx", "/%f", "_a.dpx"},
  };
  for (auto const& c : aCases) {
    Bytes const a =
        DpxBytes(c.anHeader[0], c.anHeader[1], c.anHeader[2], c.anHeader[3]);
    ExpectCopy(c.tcOffset, c.pszPattern, false, c.pszName, a, c.pszExpected);
    unlink((m_strSrc + c.pszName).c_str());
  }
  // "%p" is cleaned like the rest; a kept source folder becomes a tree,
  // its leading slash dropped.
  std::string strCleaned = m_strSrc;
  std::replace(strCleaned.begin(), strCleaned.end(), '/', '_');
  ExpectCopy(CLuTimeCode(), "%p%f", false, "b.dpx", DpxBytes(),
             strCleaned + "b.dpx");
  ExpectCopy(CLuTimeCode(), "%f", true, "b.dpx", DpxBytes(),
             m_strSrc.substr(1) + "b.dpx");
  // An empty root is the current folder.
  char szCwd[4096];
  ASSERT_NE(getcwd(szCwd, sizeof szCwd), nullptr);
  ASSERT_EQ(chdir(m_strDir.c_str()), 0);
  EXPECT_NO_THROW(CLuCopyDPXFileWithTimeCode(CLuTimeCode(), "", "c", false)
                      .Copy((m_strSrc + "b.dpx").c_str()));
  EXPECT_EQ(chdir(szCwd), 0);
  EXPECT_EQ(ReadFile(Path("c.dpx")), DpxBytes());
}

TEST_F(DPXCopy, FailuresThrowTheirTextsAndCopyNothing) {
  std::string const strGood = m_strSrc + "good.dpx";
  std::string const strOther = m_strSrc + "other.dpx";
  std::string const strNotDpx = m_strSrc + "bad.dpx";
  WriteFile(strGood, DpxBytes());
  WriteFile(strOther, DpxBytes(0, 0, 0, 1));
  Bytes aNotDpx = DpxBytes();
  aNotDpx[0] = 's';
  WriteFile(strNotDpx, aNotDpx);
  WriteFile(Path("blocker"), Bytes(3, 0));
  std::string const strOut = Path("out");
  EXPECT_EQ(CopyError(strOut, "%f", strNotDpx),
            "File is not a DPX file: " + strNotDpx);
  EXPECT_EQ(CopyError(Path("blocker/sub"), "%f", strGood),
            "Failed to create destination path " + Path("blocker/sub/"));
  struct stat oStat;
  EXPECT_NE(stat((strOut + "/bad.dpx").c_str(), &oStat), 0);

  // A pattern without placeholders names every copy the same: the second
  // copy finds the first one there and leaves it alone.
  CLuCopyDPXFileWithTimeCode const oFixed(CLuTimeCode(), strOut.c_str(), "same",
                                          false);
  ASSERT_NO_THROW(oFixed.Copy(strGood.c_str()));
  EXPECT_EQ(CopyError(strOut, "same", strOther),
            "Failed to copy " + strOther + " to " + strOut + "/same.dpx");
  EXPECT_EQ(ReadFile(strOut + "/same.dpx"), DpxBytes());
}

}  // namespace
