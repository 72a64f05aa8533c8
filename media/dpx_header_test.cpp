#include "media/dpx_header.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/error.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A 2048-byte header (plus optional picture bytes) with the four fields
// this class knows; every other byte carries a recognisable pattern.
Bytes HeaderBytes(char const* pszMagic = "SDPX", uint32_t nKey = 0xFFFFFFFFu,
                  char const* pszVersion = "V2.0", size_t nExtra = 0) {
  Bytes a(2048 + nExtra);
  for (size_t i = 0; i < a.size(); ++i) a[i] = uint8_t(i * 7 + 3);
  memcpy(&a[0], pszMagic, 4);
  memset(&a[8], 0, 8);
  memcpy(&a[8], pszVersion, strlen(pszVersion));
  for (int i = 0; i < 4; ++i) a[660 + i] = uint8_t(nKey >> (8 * i));
  return a;
}

class DPXHeader : public ::testing::Test {
 protected:
  void SetUp() override {
    char szTemplate[] = "/tmp/dpx_header_test.XXXXXX";
    ASSERT_NE(mkdtemp(szTemplate), nullptr);
    m_strFolder = szTemplate;
  }
  void TearDown() override {
    std::string const strCommand = "rm -rf '" + m_strFolder + "'";
    ASSERT_EQ(system(strCommand.c_str()), 0);
  }
  // Writes the bytes under a name with a blank in it; returns the path.
  std::string Write(Bytes const& a, char const* pszName = "shot a.0001.dpx") {
    std::string const strPath = m_strFolder + "/" + pszName;
    std::ofstream(strPath, std::ios::binary)
        .write(reinterpret_cast<char const*>(a.data()), a.size());
    return strPath;
  }
  static Bytes ReadAll(std::string const& strPath) {
    std::ifstream oIn(strPath, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(oIn),
                 std::istreambuf_iterator<char>());
  }
  // The error text that ReadFromFile throws, or "" when it returns.
  static std::string ReadError(std::string const& strPath) {
    CLuDPXHeader oHeader;
    try {
      oHeader.ReadFromFile(CLuString(strPath.c_str()));
    } catch (CLuError const& e) {
      EXPECT_EQ(e.eSeverity(), eError);
      return e.strErrorText().pszGetString();
    }
    return "";
  }
  // The error text that WriteToExistingFile throws, or "" when it returns.
  static std::string WriteError(CLuDPXHeader* poHeader,
                                std::string const& strPath) {
    try {
      poHeader->WriteToExistingFile(CLuString(strPath.c_str()));
    } catch (CLuError const& e) {
      return e.strErrorText().pszGetString();
    }
    return "";
  }
  std::string m_strFolder;
};

TEST_F(DPXHeader, ReadAcceptsBothMagicsAndBothUnencryptedKeys) {
  struct {
    char const* pszMagic;
    uint32_t nKey;
    size_t nExtra;
  } const aCases[] = {
      {"SDPX", 0xFFFFFFFFu, 0},  // exactly 2048 bytes
      {"XPDS", 0xFFFFFFFFu, 0},
      {"SDPX", 0u, 100},
      {"XPDS", 0u, 1},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(std::string(c.pszMagic) + " key " + std::to_string(c.nKey));
    EXPECT_EQ(
        ReadError(Write(HeaderBytes(c.pszMagic, c.nKey, "V2.0", c.nExtra))),
        "");
  }
}

TEST_F(DPXHeader, ReadRejectionsNameTheFaultAndThePath) {
  Bytes aShort = HeaderBytes();
  aShort.resize(2047);
  Bytes aShortBadMagic = HeaderBytes("JUNK");
  aShortBadMagic.resize(10);
  struct {
    char const* pszName;
    Bytes a;
    char const* pszMessage;
  } const aCases[] = {
      {"short.dpx", aShort, "File is not a valid DPX file: "},
      {"empty.dpx", Bytes(), "File is not a valid DPX file: "},
      // size is checked before the magic
      {"short junk.dpx", aShortBadMagic, "File is not a valid DPX file: "},
      {"lower.dpx", HeaderBytes("sdpx"), "File is not a DPX file: "},
      {"text.dpx", Bytes(4096, 'x'), "File is not a DPX file: "},
      {"half.dpx", HeaderBytes("SDPS"), "File is not a DPX file: "},
      {"key1.dpx", HeaderBytes("SDPX", 1u), "File is encrypted: "},
      {"keyFE.dpx", HeaderBytes("XPDS", 0xFFFFFFFEu), "File is encrypted: "},
      // magic is checked before the key
      {"both.dpx", HeaderBytes("PDSX", 1u), "File is not a DPX file: "},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszName);
    std::string const strPath = Write(c.a, c.pszName);
    EXPECT_EQ(ReadError(strPath), c.pszMessage + strPath);
  }
  std::string const strMissing = m_strFolder + "/missing \"q\".dpx";
  EXPECT_EQ(ReadError(strMissing), "Failed to open file: " + strMissing);
}

TEST_F(DPXHeader, TimeCodeWordIsLittleEndianWhateverTheMagic) {
  for (char const* pszMagic : {"SDPX", "XPDS"}) {
    SCOPED_TRACE(pszMagic);
    Bytes a = HeaderBytes(pszMagic);
    uint8_t const aby[4] = {0x12, 0x34, 0x56, 0x78};
    memcpy(&a[1920], aby, 4);
    CLuDPXHeader oHeader;
    oHeader.ReadFromFile(CLuString(Write(a).c_str()));
    CLuTimeCode const tc = oHeader.tcHeaderTimeCode();
    EXPECT_EQ(tc.nAsSmpteDpxTimeCode(), 0x78563412u);
    EXPECT_STREQ(tc.strAsString(CLuTimeCode::eFormatPlain).pszGetString(),
                 "12:34:56:78");
  }
}

TEST_F(DPXHeader, SetHeaderTimeCodeTouchesOnlyBytes1920To1923) {
  Bytes const aFile = HeaderBytes();
  CLuDPXHeader oHeader;
  oHeader.ReadFromFile(CLuString(Write(aFile).c_str()));
  oHeader.SetHeaderTimeCode(CLuTimeCode(1, 2, 3, 4, 24.0, false, false));
  Bytes aExpected(aFile.begin(), aFile.begin() + 2048);
  uint8_t const aby[4] = {0x01, 0x02, 0x03, 0x04};  // 0x04030201 LE
  memcpy(&aExpected[1920], aby, 4);
  Bytes const aBlock(oHeader.pbyGetHeaderBlock(),
                     oHeader.pbyGetHeaderBlock() + 2048);
  EXPECT_EQ(aBlock, aExpected);
  EXPECT_EQ(oHeader.tcHeaderTimeCode().nAsSmpteDpxTimeCode(), 0x04030201u);
}

TEST_F(DPXHeader, WriteAppendsTheBlockAndKeepsTheOriginal) {
  Bytes const aFile = HeaderBytes("SDPX", 0xFFFFFFFFu, "V2.0", 300);
  std::string const strPath = Write(aFile);
  CLuDPXHeader oHeader;
  oHeader.ReadFromFile(CLuString(strPath.c_str()));
  oHeader.SetHeaderTimeCode(CLuTimeCode(10, 0, 0, 1, 24.0, false, false));
  oHeader.WriteToExistingFile(CLuString(strPath.c_str()));

  Bytes const aAfter = ReadAll(strPath);
  ASSERT_EQ(aAfter.size(), aFile.size() + 2048);
  EXPECT_TRUE(std::equal(aFile.begin(), aFile.end(), aAfter.begin()));
  Bytes aExpected(aFile.begin(), aFile.begin() + 2048);
  uint8_t const aby[4] = {0x10, 0x00, 0x00, 0x01};
  memcpy(&aExpected[1920], aby, 4);
  EXPECT_TRUE(
      std::equal(aExpected.begin(), aExpected.end(), aAfter.end() - 2048));

  // A second write appends again.
  oHeader.WriteToExistingFile(CLuString(strPath.c_str()));
  EXPECT_EQ(ReadAll(strPath).size(), aFile.size() + 4096);
}

TEST_F(DPXHeader, WriteComparesVersionsIgnoringCase) {
  struct {
    char const* pszDisk;
    char const* pszMessage;  // "" = the write goes through
  } const aCases[] = {
      {"v2.0", ""},
      {"V2.0", ""},
      {"V1.0", "DPX header version mismatch - expected V2.0, found: V1.0"},
      {"", "DPX header version mismatch - expected V2.0, found: "},
      // a field without a terminator ends with its eighth byte
      {"V2.0ABCD",
       "DPX header version mismatch - expected V2.0, found: V2.0ABCD"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszDisk);
    std::string const strPath = Write(HeaderBytes());
    CLuDPXHeader oHeader;
    oHeader.ReadFromFile(CLuString(strPath.c_str()));
    Write(HeaderBytes("SDPX", 0xFFFFFFFFu, c.pszDisk));  // same path
    EXPECT_EQ(WriteError(&oHeader, strPath), c.pszMessage);
    EXPECT_EQ(ReadAll(strPath).size(), c.pszMessage[0] ? 2048u : 4096u);
  }
}

TEST_F(DPXHeader, WriteFailuresUseTheWriteSideTexts) {
  std::string const strPath = Write(HeaderBytes());
  CLuDPXHeader oHeader;
  oHeader.ReadFromFile(CLuString(strPath.c_str()));
  Write(Bytes(2047, 0));
  EXPECT_EQ(WriteError(&oHeader, strPath),
            "File is not a valid DPX file " + strPath);
  unlink(strPath.c_str());
  EXPECT_EQ(WriteError(&oHeader, strPath), "Failed to open file " + strPath);
}

}  // namespace
