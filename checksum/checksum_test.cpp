#include "checksum/checksum.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

typedef std::vector<unsigned char> Bytes;

// The result as hex text (reading it flushes the cache).
std::string Result(CLuCheckSum& o) {
  return o.strAsString().pszGetString();
}

std::string Digest(CLuCheckSum& o, Bytes const& v) {
  o.Reset();
  o.Update(v.data(), static_cast<unsigned int>(v.size()));
  return Result(o);
}

// MD5, SHA-1, RIPEMD-160 and, with bCRC, CRC-32 last.
std::vector<std::unique_ptr<CLuCheckSum>> AllKinds(bool bCRC) {
  std::vector<std::unique_ptr<CLuCheckSum>> v;
  v.emplace_back(new CLuMD5CheckSum);
  v.emplace_back(new CLuSHA1CheckSum);
  v.emplace_back(new CLuRIPEMD160CheckSum);
  if (bCRC) v.emplace_back(new CLuCRC32CheckSum);
  return v;
}

}  // namespace

TEST(LuCRC32CheckSum, StoresTheUninvertedValueLittleEndian) {
  // Published CRC-32: "" 0, "abc" 0x352441C2, "123456789" 0xCBF43926; this
  // system keeps the complement, least significant first.
  std::pair<char const*, char const*> const aCases[] = {
      {"", "FFFFFFFF"}, {"abc", "3DBEDBCA"}, {"123456789", "D9C60B34"}};
  for (auto [pszInput, pszExpected] : aCases) {
    SCOPED_TRACE(pszInput);
    // Fed as one text (the word path, no terminator), then byte by byte.
    CLuCRC32CheckSum oBuffer, oBytes;
    oBuffer.Update(CLuString(pszInput));
    for (char const* p = pszInput; *p != '\0'; ++p)
      oBytes.Update(static_cast<unsigned char>(*p));
    EXPECT_EQ(oBytes.nGetValue(), oBuffer.nGetValue());
    EXPECT_EQ(pszExpected, Result(oBuffer));
  }
}

TEST(LuCheckSum, OneUnpaddedBlockIsTheCompressionFunction) {
  // The test pads "abc" itself (0x80, zeros, bit length 24 as a 64-bit
  // number), so one unpadded block gives the published digest.
  Bytes v(64, 0);
  memcpy(v.data(), "abc\x80", 4);
  v[56] = 24;  // little-endian length for MD5 and RIPEMD-160
  CLuMD5CheckSum oMD5;
  EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", Digest(oMD5, v));
  CLuRIPEMD160CheckSum oRIPEMD;
  EXPECT_EQ("8EB208F7E05D987A9B044A8E98C6B087F15A0BFC", Digest(oRIPEMD, v));
  // SHA-1 reads words little-endian here, so the standard big-endian words
  // are stored byte-reversed; its result words a9993e36 4706816a ba3e2571
  // 7850c26c 9cd0d89d then come out byte-reversed as well.
  Bytes vSHA = {0x80, 'c', 'b', 'a'};
  vSHA.resize(64, 0);
  vSHA[60] = 24;
  CLuSHA1CheckSum oSHA1;
  EXPECT_EQ("363E99A96A81064771253EBA6CC250789DD8D09C", Digest(oSHA1, vSHA));
}

TEST(LuCheckSum, FlushZeroFillsTheLastBlockAndUpdatesContinue) {
  // 10 bytes, a flush (zero-filled to 64), 10 more, zero-filled again.
  Bytes v(128, 0);
  for (int i = 0; i < 10; ++i) v[i] = v[64 + i] = uint8_t(7 * i + 3);
  for (auto& po : AllKinds(false)) {
    SCOPED_TRACE(po->nSizeInBytes());
    std::string const strExpected = Digest(*po, v);
    EXPECT_EQ(strExpected, Digest(*po, Bytes(v.begin(), v.begin() + 74)));
    po->Reset();
    po->Update(v.data(), 10);
    EXPECT_EQ(Result(*po), Result(*po));  // nothing cached: reading is stable
    po->Update(v.data() + 64, 10);
    EXPECT_EQ(strExpected, Result(*po));
  }
}

TEST(LuCheckSum, WordFeedsItsBytesLeastSignificantFirst) {
  for (auto& po : AllKinds(true)) {
    // Cache fill levels on both sides of the 60-byte rule.
    for (unsigned int nBefore : {0u, 3u, 60u, 61u, 63u, 64u}) {
      SCOPED_TRACE(testing::Message() << po->nSizeInBytes() << " " << nBefore);
      Bytes v(nBefore, 0x5A);
      po->Reset();
      po->Update(v.data(), nBefore);
      po->Update(0x04030201u);
      std::string const strWord = Result(*po);
      v.insert(v.end(), {1, 2, 3, 4});
      EXPECT_EQ(Digest(*po, v), strWord);
    }
  }
}
