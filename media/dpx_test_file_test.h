// Test helpers shared by the DPX tests of media/ and of the tool: DPX files
// made on the spot in a fresh temporary folder. Test code only.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace dpx_test {

using Bytes = std::vector<uint8_t>;

// A DPX file: magic "SDPX", version "V2.0", key 0xFFFFFFFF (not encrypted),
// the time-code bytes HH MM SS FF in BCD at 1920 (the word is read
// little-endian), then nExtra picture bytes. Every other byte is a pattern.
inline Bytes DpxBytes(unsigned h = 0, unsigned m = 0, unsigned s = 0,
                      unsigned f = 0, size_t nExtra = 100) {
  Bytes a(2048 + nExtra);
  for (size_t i = 0; i < a.size(); ++i) a[i] = uint8_t(i * 13 + 7);
  memcpy(&a[0], "SDPX", 4);
  memcpy(&a[8], "V2.0\0\0\0\0", 8);
  memset(&a[660], 0xFF, 4);
  unsigned const an[4] = {h, m, s, f};
  for (int i = 0; i < 4; ++i)
    a[1920 + i] = uint8_t(an[i] / 10 << 4 | an[i] % 10);
  return a;
}

inline void WriteFile(std::string const& strPath, Bytes const& a) {
  int const fd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0) << strPath;
  EXPECT_EQ(write(fd, a.data(), a.size()), ssize_t(a.size()));
  close(fd);
}

inline void WriteFile(std::string const& strPath, std::string const& str) {
  WriteFile(strPath, Bytes(str.begin(), str.end()));
}

// The whole file; empty when it cannot be read.
inline Bytes ReadFile(std::string const& strPath) {
  Bytes a;
  int const fd = open(strPath.c_str(), O_RDONLY);
  uint8_t aby[65536];
  for (ssize_t n; fd >= 0 && (n = read(fd, aby, sizeof aby)) > 0;)
    a.insert(a.end(), aby, aby + n);
  if (fd >= 0) close(fd);
  return a;
}

// A fresh folder under /tmp, removed with everything in it afterwards.
class TempFolderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char sz[] = "/tmp/dpx_test.XXXXXX";
    ASSERT_NE(mkdtemp(sz), nullptr);
    m_strDir = sz;
  }
  void TearDown() override {
    EXPECT_EQ(system(("rm -rf '" + m_strDir + "'").c_str()), 0);
  }
  std::string Path(std::string const& strName) const {
    return m_strDir + "/" + strName;
  }
  // Writes a DPX frame carrying the timecode h:m:s:f; returns its path.
  std::string Frame(std::string const& strName, unsigned h = 0, unsigned m = 0,
                    unsigned s = 0, unsigned f = 0) const {
    WriteFile(Path(strName), DpxBytes(h, m, s, f));
    return Path(strName);
  }
  std::string m_strDir;
};

}  // namespace dpx_test
