// Checksums: CRC-32 and the MD5, SHA-1 and RIPEMD-160 block kinds in this
// system's own finishing (see checksum.h for what differs from the
// published digests and why it must stay so).
#include "checksum/checksum.h"

#include <cstring>

#include "base/containers.h"

namespace {

inline unsigned int nRotateLeft(unsigned int n, unsigned int nBits) {
  return (n << nBits) | (n >> (32 - nBits));
}

// The MD5 initial words, shared by all three block kinds.
constexpr unsigned int kanStartState[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE,
                                           0x10325476, 0xC3D2E1F0};

}  // namespace

// ---------------------------------------------------------------------------
// CLuCheckSum

CLuCheckSum::~CLuCheckSum() {}

void CLuCheckSum::Update(CLuString const& str) {
  Update(reinterpret_cast<const unsigned char*>(str.pszGetString()),
         str.nGetLength());
}

CLuString CLuCheckSum::strAsString() {
  // Read the size first: pbyAsBytes may flush, the size never changes.
  unsigned int nBytes = nSizeInBytes();
  CLuString str;
  str.EncodeString(pbyAsBytes(), nBytes, 1);
  return str;
}

// ---------------------------------------------------------------------------
// CLuCRC32CheckSum

CLuCRC32CheckSum::~CLuCRC32CheckSum() {}

void CLuCRC32CheckSum::Reset() {
  m_nValue = 0xFFFFFFFF;
}

void CLuCRC32CheckSum::Update(unsigned char by) {
  m_nValue = nLuCRC32UpdateByte(m_nValue, by);
}

void CLuCRC32CheckSum::Update(unsigned int n) {
  for (int i = 0; i < 4; ++i, n >>= 8)
    m_nValue = nLuCRC32UpdateByte(m_nValue, static_cast<uint8_t>(n));
}

void CLuCRC32CheckSum::Update(const unsigned char* pby, unsigned int nLength) {
  m_nValue = nLuCRC32Update(m_nValue, pby, nLength);
}

unsigned int CLuCRC32CheckSum::nSizeInBytes() const {
  return 4;
}

unsigned char* CLuCRC32CheckSum::pbyAsBytes() {
  // Host byte order, deliberately: little-endian on every supported host.
  return reinterpret_cast<unsigned char*>(&m_nValue);
}

// ---------------------------------------------------------------------------
// CLuMD5CheckSum: the block cache and MD5

CLuMD5CheckSum::CLuMD5CheckSum() {
  CLuMD5CheckSum::Reset();
}

CLuMD5CheckSum::~CLuMD5CheckSum() {}

void CLuMD5CheckSum::Reset() {
  memcpy(m_anState, kanStartState, sizeof(m_anState));
  memset(m_anCache, 0, sizeof(m_anCache));
  m_nCached = 0;
}

void CLuMD5CheckSum::Flush() {
  if (m_nCached == 0) return;
  UpdateDigest(m_anCache);
  m_nCached = 0;
  memset(m_anCache, 0, sizeof(m_anCache));
}

void CLuMD5CheckSum::UpdateDigestFromBytes(const unsigned char* pby) {
  unsigned int anBlock[16];
  memcpy(anBlock, pby, sizeof(anBlock));  // host order, any alignment
  UpdateDigest(anBlock);
}

void CLuMD5CheckSum::Update(unsigned char by) {
  if (m_nCached == 64) Flush();
  pbyCache()[m_nCached++] = by;
}

void CLuMD5CheckSum::Update(unsigned int n) {
  if (m_nCached > 60) {
    for (int i = 0; i < 4; ++i, n >>= 8) Update(static_cast<unsigned char>(n));
    return;
  }
  for (int i = 0; i < 4; ++i, n >>= 8)
    pbyCache()[m_nCached++] = static_cast<unsigned char>(n);
}

void CLuMD5CheckSum::Update(const unsigned char* pby, unsigned int nLength) {
  if (pby == nullptr || nLength == 0) return;
  // 64-bit sum: a length near 4 GiB must not wrap into "fits the cache".
  if (static_cast<uint64_t>(m_nCached) + nLength <= 64) {
    memcpy(pbyCache() + m_nCached, pby, nLength);
    m_nCached += nLength;
    return;
  }
  if (m_nCached) {
    unsigned int nFill = 64 - m_nCached;
    memcpy(pbyCache() + m_nCached, pby, nFill);
    m_nCached = 64;
    Flush();
    pby += nFill;
    nLength -= nFill;
  }
  while (nLength > 64) {
    UpdateDigestFromBytes(pby);
    pby += 64;
    nLength -= 64;
  }
  // 1 to 64 bytes remain; a full block stays cached on purpose.
  memcpy(pbyCache(), pby, nLength);
  m_nCached = nLength;
}

unsigned int CLuMD5CheckSum::nSizeInBytes() const {
  return 16;
}

unsigned char* CLuMD5CheckSum::pbyAsBytes() {
  Flush();
  return reinterpret_cast<unsigned char*>(m_anState);
}

void CLuMD5CheckSum::UpdateDigest(unsigned int* pnBlock) {
  static constexpr unsigned int kanSine[64] = {
      0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A,
      0xA8304613, 0xFD469501, 0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE,
      0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821, 0xF61E2562, 0xC040B340,
      0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
      0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8,
      0x676F02D9, 0x8D2A4C8A, 0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C,
      0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70, 0x289B7EC6, 0xEAA127FA,
      0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
      0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92,
      0xFFEFF47D, 0x85845DD1, 0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1,
      0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391};
  static constexpr unsigned int kanShift[16] = {7, 12, 17, 22, 5, 9,  14, 20,
                                                4, 11, 16, 23, 6, 10, 15, 21};
  unsigned int a = m_anState[0], b = m_anState[1], c = m_anState[2],
               d = m_anState[3];
  for (unsigned int i = 0; i < 64; ++i) {
    unsigned int f, g;
    if (i < 16) {
      f = (b & c) | (~b & d);
      g = i;
    } else if (i < 32) {
      f = (b & d) | (c & ~d);
      g = (5 * i + 1) & 15;
    } else if (i < 48) {
      f = b ^ c ^ d;
      g = (3 * i + 5) & 15;
    } else {
      f = c ^ (b | ~d);
      g = (7 * i) & 15;
    }
    unsigned int nTemp = d;
    d = c;
    c = b;
    b += nRotateLeft(a + f + kanSine[i] + pnBlock[g],
                     kanShift[(i >> 4) * 4 + (i & 3)]);
    a = nTemp;
  }
  m_anState[0] += a;
  m_anState[1] += b;
  m_anState[2] += c;
  m_anState[3] += d;
}

// ---------------------------------------------------------------------------
// CLuSHA1CheckSum

CLuSHA1CheckSum::CLuSHA1CheckSum() {
  CLuSHA1CheckSum::Reset();
}

CLuSHA1CheckSum::~CLuSHA1CheckSum() {}

void CLuSHA1CheckSum::Reset() {
  CLuMD5CheckSum::Reset();
}

unsigned int CLuSHA1CheckSum::nSizeInBytes() const {
  return 20;
}

void CLuSHA1CheckSum::UpdateDigest(unsigned int* pnBlock) {
  // The message words are taken in host (little-endian) order as they are;
  // the standard would byte-swap them first. Deliberate: stored sums
  // depend on it.
  unsigned int anW[80];
  for (int t = 0; t < 16; ++t) anW[t] = pnBlock[t];
  for (int t = 16; t < 80; ++t)
    anW[t] =
        nRotateLeft(anW[t - 3] ^ anW[t - 8] ^ anW[t - 14] ^ anW[t - 16], 1);
  unsigned int a = m_anState[0], b = m_anState[1], c = m_anState[2],
               d = m_anState[3], e = m_anState[4];
  for (int t = 0; t < 80; ++t) {
    unsigned int f, k;
    if (t < 20) {
      f = (b & c) | (~b & d);
      k = 0x5A827999;
    } else if (t < 40) {
      f = b ^ c ^ d;
      k = 0x6ED9EBA1;
    } else if (t < 60) {
      f = (b & c) | (b & d) | (c & d);
      k = 0x8F1BBCDC;
    } else {
      f = b ^ c ^ d;
      k = 0xCA62C1D6;
    }
    unsigned int nTemp = nRotateLeft(a, 5) + f + e + k + anW[t];
    e = d;
    d = c;
    c = nRotateLeft(b, 30);
    b = a;
    a = nTemp;
  }
  m_anState[0] += a;
  m_anState[1] += b;
  m_anState[2] += c;
  m_anState[3] += d;
  m_anState[4] += e;
}

// ---------------------------------------------------------------------------
// CLuRIPEMD160CheckSum

CLuRIPEMD160CheckSum::CLuRIPEMD160CheckSum() {
  CLuRIPEMD160CheckSum::Reset();
}

CLuRIPEMD160CheckSum::~CLuRIPEMD160CheckSum() {}

void CLuRIPEMD160CheckSum::Reset() {
  CLuMD5CheckSum::Reset();
}

unsigned int CLuRIPEMD160CheckSum::nSizeInBytes() const {
  return 20;
}

namespace {

// The five boolean functions of RIPEMD-160, by round.
inline unsigned int nRipeF(int iRound, unsigned int x, unsigned int y,
                           unsigned int z) {
  switch (iRound) {
    case 0:
      return x ^ y ^ z;
    case 1:
      return (x & y) | (~x & z);
    case 2:
      return (x | ~y) ^ z;
    case 3:
      return (x & z) | (y & ~z);
    default:
      return x ^ (y | ~z);
  }
}

}  // namespace

void CLuRIPEMD160CheckSum::UpdateDigest(unsigned int* pnBlock) {
  static constexpr unsigned char kabyWordLeft[80] = {
      0, 1,  2,  3,  4,  5,  6,  7,  8,  9, 10, 11, 12, 13, 14, 15,
      7, 4,  13, 1,  10, 6,  15, 3,  12, 0, 9,  5,  2,  14, 11, 8,
      3, 10, 14, 4,  9,  15, 8,  1,  2,  7, 0,  6,  13, 11, 5,  12,
      1, 9,  11, 10, 0,  8,  12, 4,  13, 3, 7,  15, 14, 5,  6,  2,
      4, 0,  5,  9,  7,  12, 2,  10, 14, 1, 3,  8,  11, 6,  15, 13};
  static constexpr unsigned char kabyWordRight[80] = {
      5,  14, 7,  0, 9, 2,  11, 4,  13, 6,  15, 8,  1,  10, 3,  12,
      6,  11, 3,  7, 0, 13, 5,  10, 14, 15, 8,  12, 4,  9,  1,  2,
      15, 5,  1,  3, 7, 14, 6,  9,  11, 8,  12, 2,  10, 0,  4,  13,
      8,  6,  4,  1, 3, 11, 15, 0,  5,  12, 2,  13, 9,  7,  10, 14,
      12, 15, 10, 4, 1, 5,  8,  7,  6,  2,  13, 14, 0,  3,  9,  11};
  static constexpr unsigned char kabyShiftLeft[80] = {
      11, 14, 15, 12, 5,  8,  7,  9,  11, 13, 14, 15, 6,  7,  9,  8,
      7,  6,  8,  13, 11, 9,  7,  15, 7,  12, 15, 9,  11, 7,  13, 12,
      11, 13, 6,  7,  14, 9,  13, 15, 14, 8,  13, 6,  5,  12, 7,  5,
      11, 12, 14, 15, 14, 15, 9,  8,  9,  14, 5,  6,  8,  6,  5,  12,
      9,  15, 5,  11, 6,  8,  13, 12, 5,  12, 13, 14, 11, 8,  5,  6};
  static constexpr unsigned char kabyShiftRight[80] = {
      8,  9,  9,  11, 13, 15, 15, 5,  7,  7,  8,  11, 14, 14, 12, 6,
      9,  13, 15, 7,  12, 8,  9,  11, 7,  7,  12, 7,  6,  15, 13, 11,
      9,  7,  15, 11, 8,  6,  6,  14, 12, 13, 5,  14, 13, 13, 7,  5,
      15, 5,  8,  11, 14, 14, 6,  14, 6,  9,  12, 9,  12, 5,  15, 8,
      8,  5,  12, 9,  12, 5,  14, 6,  8,  13, 6,  5,  15, 13, 11, 11};
  static constexpr unsigned int kanKLeft[5] = {
      0x00000000, 0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xA953FD4E};
  static constexpr unsigned int kanKRight[5] = {
      0x50A28BE6, 0x5C4DD124, 0x6D703EF3, 0x7A6D76E9, 0x00000000};
  unsigned int al = m_anState[0], bl = m_anState[1], cl = m_anState[2],
               dl = m_anState[3], el = m_anState[4];
  unsigned int ar = al, br = bl, cr = cl, dr = dl, er = el;
  for (int j = 0; j < 80; ++j) {
    int iRound = j / 16;
    unsigned int t =
        nRotateLeft(al + nRipeF(iRound, bl, cl, dl) + pnBlock[kabyWordLeft[j]] +
                        kanKLeft[iRound],
                    kabyShiftLeft[j]) +
        el;
    al = el;
    el = dl;
    dl = nRotateLeft(cl, 10);
    cl = bl;
    bl = t;
    t = nRotateLeft(ar + nRipeF(4 - iRound, br, cr, dr) +
                        pnBlock[kabyWordRight[j]] + kanKRight[iRound],
                    kabyShiftRight[j]) +
        er;
    ar = er;
    er = dr;
    dr = nRotateLeft(cr, 10);
    cr = br;
    br = t;
  }
  unsigned int t = m_anState[1] + cl + dr;
  m_anState[1] = m_anState[2] + dl + er;
  m_anState[2] = m_anState[3] + el + ar;
  m_anState[3] = m_anState[4] + al + br;
  m_anState[4] = m_anState[0] + bl + cr;
  m_anState[0] = t;
}
