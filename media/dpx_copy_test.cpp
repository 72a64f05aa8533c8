#include "media/dpx_copy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/error.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A DPX file: 2048-byte header ("SDPX", version V2.0, key 0xFFFFFFFF) whose
// time-code word at 1920 is stored little-endian as the header class reads
// it (bytes HH MM SS FF in BCD), then 300 picture bytes.
Bytes DpxBytes(unsigned h, unsigned m, unsigned s, unsigned f) {
  Bytes a(2048 + 300);
  for (size_t i = 0; i < a.size(); ++i) a[i] = uint8_t(i * 31 + 7);
  memcpy(&a[0], "SDPX", 4);
  memcpy(&a[8], "V2.0\0\0\0\0", 8);
  memset(&a[660], 0xFF, 4);
  auto bcd = [](unsigned n) { return uint8_t((n / 10) << 4 | n % 10); };
  a[1920] = bcd(h);
  a[1921] = bcd(m);
  a[1922] = bcd(s);
  a[1923] = bcd(f);
  return a;
}

void WriteFile(std::string const& strPath, Bytes const& a) {
  int fd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0) << strPath;
  ASSERT_EQ(ssize_t(a.size()), write(fd, a.data(), a.size()));
  close(fd);
}

Bytes ReadFile(std::string const& strPath) {
  Bytes a;
  int fd = open(strPath.c_str(), O_RDONLY);
  if (fd < 0) return a;
  uint8_t aby[4096];
  for (ssize_t n; (n = read(fd, aby, sizeof aby)) > 0;)
    a.insert(a.end(), aby, aby + n);
  close(fd);
  return a;
}

// The message of the CLuError that Copy throws; fails when none is thrown
// or when it does not carry severity eError and an empty identifier.
std::string strCopyError(CLuCopyDPXFileWithTimeCode const& oCopy,
                         std::string const& strSource) {
  try {
    oCopy.Copy(CLuString(strSource.c_str()));
  } catch (CLuError const& e) {
    EXPECT_EQ(eError, e.eSeverity());
    EXPECT_TRUE(e.strWarningID().bIsEmpty());
    return e.strErrorText().pszGetString();
  }
  ADD_FAILURE() << "no error thrown";
  return "";
}

class DPXCopy : public ::testing::Test {
 protected:
  void SetUp() override {
    char szTemplate[] = "/tmp/lu_dpxcopy_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(szTemplate));
    strRoot = szTemplate;
    strSourceFolder = strRoot + "/src/shot/";
    ASSERT_EQ(0, system(("mkdir -p " + strSourceFolder).c_str()));
  }
  void TearDown() override {
    ASSERT_EQ(0, system(("rm -rf " + strRoot).c_str()));
  }
  std::string strRoot;
  std::string strSourceFolder;  // ends with "/"
};

// strFolder with every "/" turned into "_", as the name cleaning does.
std::string strCleaned(std::string str) {
  for (char& c : str)
    if (c == '/') c = '_';
  return str;
}

}  // namespace

TEST_F(DPXCopy, NamesFollowThePatternAndTheShiftedTimeCode) {
  struct SCase {
    char const* pszLabel;
    CLuTimeCode tcOffset;
    unsigned anHeader[4];  // hours, minutes, seconds, frames
    char const* pszSourceName;
    char const* pszPattern;
    bool bKeepFolder;
    std::string strExpected;  // below <root>/out/
  } const aCases[] = {
      {"plain timecode",
       CLuTimeCode(0, 0, 0, 0, 25, false, false),
       {1, 2, 3, 4},
       "plate.0001.dpx",
       "%t",
       false,
       "01_02_03_04.dpx"},
      {"one second at 25 fps adds 25 frames",
       CLuTimeCode(0, 0, 1, 0, 25, false, false),
       {1, 2, 3, 4},
       "plate.0001.dpx",
       "%f_%t",
       false,
       "plate.0001_01_02_04_04.dpx"},
      {"rate 0 counts at 24",
       CLuTimeCode(0, 0, 0, 5, 0, false, false),
       {1, 2, 3, 22},
       "plate.0001.dpx",
       "%t",
       false,
       "01_02_04_03.dpx"},
      {"offset past midnight wraps",
       CLuTimeCode(1, 0, 0, 0, 24, false, false),
       {23, 30, 0, 0},
       "a.dpx",
       "tc%t",
       false,
       "tc00_30_00_00.dpx"},
      {"every occurrence replaced",
       CLuTimeCode(),
       {0, 0, 0, 1},
       "a.dpx",
       "%f-%t-%f",
       false,
       "a-00_00_00_01-a.dpx"},
      {"source extension kept",
       CLuTimeCode(),
       {0, 0, 0, 0},
       "frame.0007.Dpx",
       "%f",
       false,
       "frame.0007.Dpx"},
      {"no extension, none added",
       CLuTimeCode(),
       {0, 0, 0, 0},
       "frame",
       "copy",
       false,
       "copy"},
      {"other characters become _",
       CLuTimeCode(),
       {0, 0, 0, 0},
       "a.dpx",
       "a b*c:%f",
       false,
       "a_b_c_a.dpx"},
      {"leading slash of the pattern stays below the root",
       CLuTimeCode(),
       {0, 0, 0, 0},
       "a.dpx",
       "/%f",
       false,
       "_a.dpx"},
      {"folder placeholder is cleaned like the rest",
       CLuTimeCode(),
       {0, 0, 0, 0},
       "a.dpx",
       "%p%f",
       false,
       ""},
      {"kept source folder: tree made, leading slash dropped",
       CLuTimeCode(),
       {0, 0, 0, 0},
       "a.dpx",
       "%f",
       true,
       ""},
  };
  int iCase = 0;
  for (SCase const& oCase : aCases) {
    SCOPED_TRACE(oCase.pszLabel);
    std::string strOut = strRoot + "/out" + std::to_string(iCase++) + "/";
    std::string strSource = strSourceFolder + oCase.pszSourceName;
    Bytes aSource = DpxBytes(oCase.anHeader[0], oCase.anHeader[1],
                             oCase.anHeader[2], oCase.anHeader[3]);
    WriteFile(strSource, aSource);

    std::string strExpected = oCase.strExpected;
    if (strExpected.empty() && !oCase.bKeepFolder)
      strExpected = strCleaned(strSourceFolder) + "a.dpx";
    if (strExpected.empty()) strExpected = strSourceFolder.substr(1) + "a.dpx";

    CLuCopyDPXFileWithTimeCode oCopy(oCase.tcOffset, strOut.c_str(),
                                     oCase.pszPattern, oCase.bKeepFolder);
    EXPECT_NO_THROW(oCopy.Copy(strSource.c_str()));
    // Byte for byte, header timecode included.
    EXPECT_EQ(aSource, ReadFile(strOut + strExpected)) << strExpected;
    unlink(strSource.c_str());
  }
}

TEST_F(DPXCopy, FailuresThrowTheirTexts) {
  std::string strGood = strSourceFolder + "good.dpx";
  WriteFile(strGood, DpxBytes(0, 0, 0, 0));
  std::string strOther = strSourceFolder + "other.dpx";
  WriteFile(strOther, DpxBytes(0, 0, 0, 1));
  Bytes aNotDpx = DpxBytes(0, 0, 0, 0);
  memcpy(&aNotDpx[0], "sdpx", 4);
  std::string strNotDpx = strSourceFolder + "bad.dpx";
  WriteFile(strNotDpx, aNotDpx);
  std::string strBlocker = strRoot + "/blocker";
  WriteFile(strBlocker, Bytes(3, 0));
  std::string strOut = strRoot + "/out";

  CLuCopyDPXFileWithTimeCode oFixed(CLuTimeCode(), strOut.c_str(), "same",
                                    false);
  struct SCase {
    char const* pszLabel;
    std::string strDestinationRoot;
    std::string strSource;
    std::string strMessage;
  } const aCases[] = {
      {"missing source", strOut, strSourceFolder + "none.dpx",
       "Failed to open file: " + strSourceFolder + "none.dpx"},
      {"not a DPX file", strOut, strNotDpx,
       "File is not a DPX file: " + strNotDpx},
      {"folder blocked by a file", strBlocker + "/sub", strGood,
       "Failed to create destination path " + strBlocker + "/sub/"},
  };
  for (SCase const& oCase : aCases) {
    SCOPED_TRACE(oCase.pszLabel);
    CLuCopyDPXFileWithTimeCode oCopy(
        CLuTimeCode(), oCase.strDestinationRoot.c_str(), "%f", false);
    EXPECT_EQ(oCase.strMessage, strCopyError(oCopy, oCase.strSource));
  }
  // A failed read copies nothing.
  struct stat oStat;
  EXPECT_NE(0, stat((strOut + "/bad.dpx").c_str(), &oStat));

  // A pattern without placeholders names every copy the same: the second
  // copy finds the first one there and leaves it alone.
  ASSERT_NO_THROW(oFixed.Copy(strGood.c_str()));
  EXPECT_EQ("Failed to copy " + strOther + " to " + strOut + "/same.dpx",
            strCopyError(oFixed, strOther));
  EXPECT_EQ(DpxBytes(0, 0, 0, 0), ReadFile(strOut + "/same.dpx"));
}
