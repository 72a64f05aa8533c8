#include "checksum/checksum.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

typedef std::vector<unsigned char> Bytes;

Bytes Result(CLuCheckSum& o) {
  unsigned int n = o.nSizeInBytes();
  unsigned char const* pby = o.pbyAsBytes();
  return Bytes(pby, pby + n);
}

Bytes Digest(CLuCheckSum& o, Bytes const& v) {
  o.Reset();
  o.Update(v.data(), static_cast<unsigned int>(v.size()));
  return Result(o);
}

Bytes RandomBytes(size_t n, unsigned int nSeed) {
  srand(nSeed);
  Bytes v(n);
  for (unsigned char& by : v) by = static_cast<unsigned char>(rand());
  return v;
}

std::vector<std::unique_ptr<CLuCheckSum>> BlockKinds() {
  std::vector<std::unique_ptr<CLuCheckSum>> v;
  v.emplace_back(new CLuMD5CheckSum);
  v.emplace_back(new CLuSHA1CheckSum);
  v.emplace_back(new CLuRIPEMD160CheckSum);
  return v;
}

// Sees the cache fill and counts compressions.
struct SMD5Probe : CLuMD5CheckSum {
  int iBlocks = 0;
  unsigned int nCached() const { return m_nCached; }
  void UpdateDigest(unsigned int* pnBlock) override {
    ++iBlocks;
    CLuMD5CheckSum::UpdateDigest(pnBlock);
  }
};

}  // namespace

TEST(LuCRC32CheckSum, StoresTheUninvertedValueLittleEndian) {
  // Published CRC-32: "\0" 0xD202EF8D, "abc" 0x352441C2, "123456789"
  // 0xCBF43926; this system keeps the complement, least significant first.
  struct {
    std::string strInput;
    char const* pszExpected;
  } const aCases[] = {
      {std::string(), "FFFFFFFF"},
      {std::string(1, '\0'), "7210FD2D"},
      {"abc", "3DBEDBCA"},
      {"123456789", "D9C60B34"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszExpected);
    CLuCRC32CheckSum oBuffer, oBytes;
    oBuffer.Update(reinterpret_cast<unsigned char const*>(c.strInput.data()),
                   static_cast<unsigned int>(c.strInput.size()));
    for (char ch : c.strInput) oBytes.Update(static_cast<unsigned char>(ch));
    EXPECT_STREQ(c.pszExpected, oBuffer.strAsString().pszGetString());
    EXPECT_STREQ(c.pszExpected, oBytes.strAsString().pszGetString());
  }
  CLuCRC32CheckSum o;
  o.Update(CLuString("123456789"));  // the text, no terminator
  EXPECT_EQ(0x340BC6D9u, o.nGetValue());
}

TEST(LuCheckSum, EmptyInputAndResetGiveTheStartState) {
  CLuCRC32CheckSum oCRC;
  CLuMD5CheckSum oMD5;
  CLuSHA1CheckSum oSHA1;
  CLuRIPEMD160CheckSum oRIPEMD;
  struct {
    CLuCheckSum* po;
    char const* pszExpected;
  } const aCases[] = {
      {&oCRC, "FFFFFFFF"},
      {&oMD5, "0123456789ABCDEFFEDCBA9876543210"},
      {&oSHA1, "0123456789ABCDEFFEDCBA9876543210F0E1D2C3"},
      {&oRIPEMD, "0123456789ABCDEFFEDCBA9876543210F0E1D2C3"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszExpected);
    EXPECT_EQ(strlen(c.pszExpected) / 2, c.po->nSizeInBytes());
    EXPECT_STREQ(c.pszExpected, c.po->strAsString().pszGetString());
    c.po->Update(static_cast<unsigned char>(1));
    c.po->Reset();
    EXPECT_STREQ(c.pszExpected, c.po->strAsString().pszGetString());
  }
}

TEST(LuCheckSum, OneUnpaddedBlockIsTheCompressionFunction) {
  // The test pads "abc" itself (0x80, zeros, bit length 24 as a 64-bit
  // number), so one unpadded block gives the published digest.
  Bytes v(64, 0);
  memcpy(v.data(), "abc\x80", 4);
  v[56] = 24;  // little-endian length for MD5 and RIPEMD-160
  CLuMD5CheckSum oMD5;
  Digest(oMD5, v);
  EXPECT_STREQ("900150983CD24FB0D6963F7D28E17F72",
               oMD5.strAsString().pszGetString());
  CLuRIPEMD160CheckSum oRIPEMD;
  Digest(oRIPEMD, v);
  EXPECT_STREQ("8EB208F7E05D987A9B044A8E98C6B087F15A0BFC",
               oRIPEMD.strAsString().pszGetString());
  // SHA-1 reads words little-endian here: reversing every 4-byte group of
  // the standard big-endian padding gives it the standard words.
  v[56] = 0;
  v[63] = 24;
  for (size_t i = 0; i < v.size(); i += 4) {
    std::swap(v[i], v[i + 3]);
    std::swap(v[i + 1], v[i + 2]);
  }
  CLuSHA1CheckSum oSHA1;
  unsigned int const anExpected[5] = {0xa9993e36, 0x4706816a, 0xba3e2571,
                                      0x7850c26c, 0x9cd0d89d};
  Bytes vExpected(20);
  memcpy(vExpected.data(), anExpected, 20);  // words in host order
  EXPECT_EQ(vExpected, Digest(oSHA1, v));
}

TEST(LuCheckSum, CacheKeepsUpToOneFullBlock) {
  // Feeds: 'B' n = buffer of n bytes, 'b' = one byte, 'w' = one word.
  struct SFeed {
    char c;
    unsigned int n;
  };
  struct {
    std::vector<SFeed> vFeeds;
    int iBlocks;
    unsigned int nCached;
  } const aCases[] = {
      {{{'B', 64}}, 0, 64},
      {{{'B', 65}}, 1, 1},
      {{{'B', 128}}, 1, 64},
      {{{'B', 129}}, 2, 1},
      {{{'B', 10}, {'B', 60}}, 1, 6},
      {{{'B', 64}, {'b', 0}}, 1, 1},
      {{{'B', 60}, {'w', 0}}, 0, 64},
      {{{'B', 61}, {'w', 0}}, 1, 1},
      {{{'B', 0}}, 0, 0},
  };
  Bytes v = RandomBytes(200, 6);
  for (size_t i = 0; i < sizeof(aCases) / sizeof(aCases[0]); ++i) {
    SCOPED_TRACE(i);
    SMD5Probe o;
    for (SFeed const& f : aCases[i].vFeeds) {
      if (f.c == 'B') o.Update(v.data(), f.n);
      if (f.c == 'b') o.Update(static_cast<unsigned char>(7));
      if (f.c == 'w') o.Update(0x01020304u);
    }
    EXPECT_EQ(aCases[i].iBlocks, o.iBlocks);
    EXPECT_EQ(aCases[i].nCached, o.nCached());
    o.pbyAsBytes();  // reading flushes a non-empty cache
    EXPECT_EQ(aCases[i].iBlocks + (aCases[i].nCached ? 1 : 0), o.iBlocks);
    EXPECT_EQ(0u, o.nCached());
  }
}

TEST(LuCheckSum, FlushZeroFillsTheLastBlockAndUpdatesContinue) {
  // 65 bytes: 64 processed, then the 65th followed by 63 zero bytes.
  Bytes v65 = RandomBytes(65, 1), v128 = v65;
  v128.resize(128, 0);
  // Reading after 10 bytes flushes them; 10 more start a new block.
  Bytes vA = RandomBytes(10, 2), vB = RandomBytes(10, 3), vJoined = vA;
  vJoined.resize(64, 0);
  vJoined.insert(vJoined.end(), vB.begin(), vB.end());
  vJoined.resize(128, 0);
  for (auto& po : BlockKinds()) {
    SCOPED_TRACE(po->nSizeInBytes());
    EXPECT_EQ(Digest(*po, v128), Digest(*po, v65));
    Bytes vExpected = Digest(*po, vJoined);
    po->Reset();
    po->Update(vA.data(), 10);
    Bytes vFirst = Result(*po);
    EXPECT_EQ(vFirst, Result(*po));  // nothing cached: reading is stable
    po->Update(vB.data(), 10);
    EXPECT_EQ(vExpected, Result(*po));
  }
}

TEST(LuCheckSum, WordFeedsItsBytesLeastSignificantFirst) {
  std::vector<std::unique_ptr<CLuCheckSum>> vKinds = BlockKinds();
  vKinds.emplace_back(new CLuCRC32CheckSum);
  unsigned char const aby[4] = {1, 2, 3, 4};
  Bytes vPrefix = RandomBytes(64, 5);
  for (auto& po : vKinds) {
    // Cache fill levels on both sides of the 60-byte rule.
    for (unsigned int nBefore : {0u, 3u, 59u, 60u, 61u, 63u, 64u}) {
      SCOPED_TRACE(testing::Message() << po->nSizeInBytes() << " " << nBefore);
      po->Reset();
      po->Update(vPrefix.data(), nBefore);
      po->Update(aby, 4);
      Bytes vExpected = Result(*po);
      po->Reset();
      po->Update(vPrefix.data(), nBefore);
      po->Update(0x04030201u);
      EXPECT_EQ(vExpected, Result(*po));
    }
  }
}
