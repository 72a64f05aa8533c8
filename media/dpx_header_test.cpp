#include "media/dpx_header.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "base/error.h"
#include "files/file.h"
#include "media/dpx_test_file_test.h"

namespace {

using namespace dpx_test;

// A DPX file of 2048 + nExtra bytes with the given magic, key and version.
Bytes HeaderBytes(char const* pszMagic = "SDPX", uint32_t nKey = 0xFFFFFFFFu,
                  char const* pszVersion = "V2.0", size_t nExtra = 0) {
  Bytes a = DpxBytes(0, 0, 0, 0, nExtra);
  memcpy(&a[0], pszMagic, 4);
  strncpy(reinterpret_cast<char*>(&a[8]), pszVersion, 8);  // zero-filled
  for (int i = 0; i < 4; ++i) a[660 + i] = uint8_t(nKey >> (8 * i));
  return a;
}

// The text of the CLuError that fn throws (severity eError), or "".
template <typename F>
std::string ErrorOf(F fn) {
  try {
    fn();
  } catch (CLuError const& e) {
    EXPECT_EQ(e.eSeverity(), eError);
    return e.strErrorText().pszGetString();
  }
  return "";
}

class DPXHeader : public TempFolderTest {
 protected:
  // Writes the bytes under a name with a blank in it; returns the path.
  std::string Write(Bytes const& a, std::string const& strName = "shot a.dpx") {
    WriteFile(Path(strName), a);
    return Path(strName);
  }
};

TEST_F(DPXHeader, ReadChecksSizeThenMagicThenKey) {
  Bytes aShort = HeaderBytes();
  aShort.resize(2047);
  struct {
    char const* pszName;
    Bytes a;                 // empty: no file at all
    char const* pszMessage;  // "" = accepted
  } const aCases[] = {
      {"big.dpx", HeaderBytes("SDPX", 0xFFFFFFFFu), ""},  // exactly 2048
      {"little.dpx", HeaderBytes("XPDS", 0xFFFFFFFFu), ""},
      {"key0.dpx", HeaderBytes("SDPX", 0u, "V2.0", 100), ""},
      {"short.dpx", aShort, "File is not a valid DPX file: "},
      {"lower.dpx", HeaderBytes("sdpx"), "File is not a DPX file: "},
      {"key1.dpx", HeaderBytes("XPDS", 1u), "File is encrypted: "},
      {"both.dpx", HeaderBytes("PDSX", 1u), "File is not a DPX file: "},
      {"missing \"q\".dpx", {}, "Failed to open file: "},
  };
  // With the identity recorded the size comes from the identity's status
  // query instead of a seek: the same checks, the same messages.
  for (bool bRecord : {false, true}) {
    for (auto const& c : aCases) {
      SCOPED_TRACE(std::string(c.pszName) + (bRecord ? " recorded" : ""));
      std::string const strPath = Path(c.pszName);
      if (!c.a.empty()) WriteFile(strPath, c.a);
      CLuDPXHeader oHeader;
      if (bRecord) oHeader.RecordFileIdentity();
      EXPECT_EQ(ErrorOf([&] { oHeader.ReadFromFile(strPath.c_str()); }),
                *c.pszMessage ? c.pszMessage + strPath : "");
      uint64_t n64Device = 1, n64Inode = 1;
      struct stat oStat;
      bool const bExists = ::stat(strPath.c_str(), &oStat) == 0;
      ASSERT_EQ(oHeader.bGetFileIdentity(&n64Device, &n64Inode),
                bRecord && bExists);
      if (bRecord && bExists) {
        EXPECT_EQ(n64Device, uint64_t(oStat.st_dev));
        EXPECT_EQ(n64Inode, uint64_t(oStat.st_ino));
      }
    }
  }
}

TEST_F(DPXHeader, TimeCodeWordIsLittleEndianWhateverTheMagic) {
  for (char const* pszMagic : {"SDPX", "XPDS"}) {
    SCOPED_TRACE(pszMagic);
    Bytes a = HeaderBytes(pszMagic);
    memcpy(&a[1920], "\x12\x34\x56\x78", 4);
    CLuDPXHeader oHeader;
    oHeader.ReadFromFile(Write(a).c_str());
    CLuTimeCode const tc = oHeader.tcHeaderTimeCode();
    EXPECT_EQ(oHeader.nHeaderTimeCodeWord(), 0x78563412u);
    // decoded without a rate of its own: none is printed
    EXPECT_STREQ(tc.strAsString(CLuTimeCode::eFormatWithFps), "12:34:56:78");
  }
}

TEST_F(DPXHeader, WriteChecksTheFileOnDisk) {
  std::string const strPath = Write(HeaderBytes());
  CLuDPXHeader oHeader;
  oHeader.ReadFromFile(strPath.c_str());
  auto write = [&] {
    return ErrorOf([&] { oHeader.WriteToExistingFile(strPath.c_str()); });
  };
  // The versions compare ignoring case; a mismatch writes nothing.
  Write(HeaderBytes("SDPX", 0xFFFFFFFFu, "v2.0"));
  EXPECT_EQ(write(), "");
  EXPECT_EQ(ReadFile(strPath).size(), 4096u);
  Write(HeaderBytes("SDPX", 0xFFFFFFFFu, "V1.0"));
  EXPECT_EQ(write(),
            "DPX header version mismatch - expected V2.0, found: V1.0");
  EXPECT_EQ(ReadFile(strPath).size(), 2048u);
  Write(Bytes(2047, 0));
  EXPECT_EQ(write(), "File is not a valid DPX file " + strPath);
  unlink(strPath.c_str());
  EXPECT_EQ(write(), "Failed to open file " + strPath);
}

// Network file systems report a write they could not complete only when the
// file is closed: such a frame must not pass as patched.
TEST_F(DPXHeader, WriteFailsWhenClosingReportsAnError) {
  std::string const strPath = Write(HeaderBytes());
  CLuDPXHeader oHeader;
  oHeader.ReadFromFile(strPath.c_str());
  struct SFailingClose {
    SFailingClose() {
      CLuFile::m_pfnCloseHandle = [](int iHandle) {
        close(iHandle);
        errno = EIO;
        return -1;
      };
    }
    ~SFailingClose() { CLuFile::m_pfnCloseHandle = close; }
  } oFailingClose;
  EXPECT_EQ(ErrorOf([&] { oHeader.WriteToExistingFile(strPath.c_str()); }),
            "Failed to write header to file " + strPath);
}

// A version without a NUL runs on into the fields behind it, here as far as
// the time code: a header whose time code changed no longer matches the
// file, and the file is left alone.
TEST_F(DPXHeader, VersionWithoutNulRunsOnToTheEndOfTheBlock) {
  Bytes a = HeaderBytes();
  for (size_t i = 8; i < 2048; ++i) a[i] = 'v';
  memset(&a[660], 0xFF, 4);
  std::string const strPath = Write(a);
  CLuDPXHeader oHeader;
  oHeader.ReadFromFile(strPath.c_str());
  oHeader.WriteToExistingFile(strPath.c_str());  // unchanged: equal texts
  ASSERT_EQ(ReadFile(strPath).size(), 4096u);
  Write(a);
  oHeader.SetHeaderTimeCode(CLuTimeCode(1, 2, 3, 4, 24.0, false, false));
  std::string const strMessage =
      ErrorOf([&] { oHeader.WriteToExistingFile(strPath.c_str()); });
  std::string const strDisk(reinterpret_cast<char const*>(&a[8]), 2040);
  std::string strMemory = strDisk;
  memcpy(&strMemory[1912], "\x01\x02\x03\x04", 4);
  EXPECT_EQ(strMessage, "DPX header version mismatch - expected " + strMemory +
                            ", found: " + strDisk);
  EXPECT_EQ(ReadFile(strPath), a);
}

}  // namespace
