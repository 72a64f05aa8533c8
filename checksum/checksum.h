// Incremental checksums: the abstract CLuCheckSum and its four kinds,
// CLuCRC32CheckSum (4 bytes), CLuMD5CheckSum (16), CLuSHA1CheckSum (20) and
// CLuRIPEMD160CheckSum (20).
//
// Builds on base/containers.h (the shared CRC-32 table and update) and
// base/string.h (text input and hex output).
//
// These are this system's own checksums, NOT the published digests, and
// stored checksums depend on every difference, so none may be "fixed":
// - CRC-32 (reflected, polynomial 0xEDB88320) starts at 0xFFFFFFFF and is
//   never inverted at the end;
// - the block kinds use the MD5, SHA-1 and RIPEMD-160 compression functions
//   but add no 0x80 marker and no message length: a partly filled last block
//   is zero-filled and compressed as it is;
// - every block is read as sixteen 32-bit words in host (little-endian)
//   order, SHA-1 included (its standard reads big-endian);
// - the result bytes are the state words in host byte order.
//
// Block cache (shared by the three block kinds), 64 bytes:
//   Update(byte)    flushes a full cache first, then caches the byte;
//   Update(word)    with more than 60 bytes cached feeds the four bytes one
//                   by one (least significant first), else stores the word
//                   little-endian at the cache's end;
//   Update(buffer)  appends when everything fits in 64 bytes; otherwise fills
//                   and flushes a non-empty cache, compresses whole blocks
//                   straight from the buffer while MORE than 64 bytes remain,
//                   and caches the remaining 1 to 64 bytes (a full remainder
//                   stays cached on purpose);
//   flush           compresses the cache as it is (its unused tail is zero)
//                   when it holds any byte, then empties and zero-fills it.
// pbyAsBytes flushes, so reading a result changes the state when bytes were
// cached; later updates continue from that flushed state.
//
// Errors: none; a null buffer or length 0 feeds nothing. Nothing allocates.
#pragma once

#include <cstdint>

#include "base/string.h"

// Abstract incremental checksum. The virtual slots are, in this order:
// Reset, Update(byte), Update(word), Update(buffer), the destructor,
// nSizeInBytes, pbyAsBytes (block kinds add UpdateDigest last).
class CLuCheckSum {
 public:
  CLuCheckSum() = default;
  CLuCheckSum(CLuCheckSum const&) = default;
  CLuCheckSum& operator=(CLuCheckSum const&) = default;

  // Returns to the start state of the kind.
  virtual void Reset() = 0;
  // Feeds one byte.
  virtual void Update(unsigned char by) = 0;
  // Feeds the four bytes of a 32-bit word, least significant byte first
  // (0x04030201 feeds 01 02 03 04).
  virtual void Update(unsigned int n) = 0;
  // Feeds nLength bytes from pby; nothing when pby is null.
  virtual void Update(const unsigned char* pby, unsigned int nLength) = 0;
  virtual ~CLuCheckSum();
  // Size of the result in bytes: 4, 16, 20 or 20.
  virtual unsigned int nSizeInBytes() const = 0;
  // Pointer to the nSizeInBytes() result bytes inside the object (the state
  // words in host byte order); valid until the next call that changes the
  // checksum or its destruction. The block kinds flush their cache first.
  virtual unsigned char* pbyAsBytes() = 0;

  // Feeds the string's bytes (no terminator) through Update(buffer).
  void Update(CLuString const& str);
  // The result as text: the nSizeInBytes() bytes of pbyAsBytes() encoded
  // by CLuString::EncodeString in mode 1 (two upper-case hex digits per
  // byte). Flushes like pbyAsBytes.
  CLuString strAsString();
};

// CRC-32, result 4 bytes: the running value itself, stored little-endian
// (after "123456789" the value is 0x340BC6D9, the complement of the
// published check value 0xCBF43926).
class CLuCRC32CheckSum : public CLuCheckSum {
 public:
  // Starts at 0xFFFFFFFF.
  CLuCRC32CheckSum() : m_nValue(0xFFFFFFFF) {}

  using CLuCheckSum::Update;
  // Value back to 0xFFFFFFFF.
  void Reset() override;
  void Update(unsigned char by) override;
  void Update(unsigned int n) override;
  void Update(const unsigned char* pby, unsigned int nLength) override;
  ~CLuCRC32CheckSum() override;
  // 4.
  unsigned int nSizeInBytes() const override;
  // The running value's four bytes in host order.
  unsigned char* pbyAsBytes() override;

  // The running value as a number (what pbyAsBytes exposes), e.g. as a
  // 32-bit hash.
  uint32_t nGetValue() const { return m_nValue; }

 private:
  uint32_t m_nValue;
};

// The MD5 compression function in this system's finishing; result 16 bytes.
// Also the shared block cache of the SHA-1 and RIPEMD-160 kinds, which
// change only the start state, the result size and UpdateDigest.
class CLuMD5CheckSum : public CLuCheckSum {
 public:
  // Start state 0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476; empty cache.
  CLuMD5CheckSum();

  using CLuCheckSum::Update;
  // Start state of the kind; empties and zero-fills the cache.
  void Reset() override;
  void Update(unsigned char by) override;
  void Update(unsigned int n) override;
  void Update(const unsigned char* pby, unsigned int nLength) override;
  ~CLuMD5CheckSum() override;
  // 16.
  unsigned int nSizeInBytes() const override;
  // Flushes the cache, then exposes the state words in host order.
  unsigned char* pbyAsBytes() override;
  // Applies the compression function once to the state; pnBlock holds
  // sixteen 32-bit words in host order (not modified).
  virtual void UpdateDigest(unsigned int* pnBlock);

 protected:
  // Compresses the cache when it holds any byte, then empties and
  // zero-fills it.
  void Flush();
  // Copies one 64-byte block of any alignment into words and compresses it.
  void UpdateDigestFromBytes(const unsigned char* pby);

  // State words: four used by MD5, five by SHA-1 and RIPEMD-160.
  unsigned int m_anState[5];
  // The 64-byte block cache, held as words so that UpdateDigest can take it
  // directly; filled byte-wise through pbyCache().
  unsigned int m_anCache[16];
  unsigned int m_nCached;  // bytes in the cache, 0 to 64
  unsigned char* pbyCache() {
    return reinterpret_cast<unsigned char*>(m_anCache);
  }
};

// The SHA-1 compression function (words read little-endian, unlike its
// standard) in this system's finishing; result 20 bytes.
class CLuSHA1CheckSum : public CLuMD5CheckSum {
 public:
  // Start state: the four MD5 words and 0xC3D2E1F0; empty cache.
  CLuSHA1CheckSum();

  void Reset() override;
  ~CLuSHA1CheckSum() override;
  // 20.
  unsigned int nSizeInBytes() const override;
  void UpdateDigest(unsigned int* pnBlock) override;
};

// The RIPEMD-160 compression function in this system's finishing; result
// 20 bytes.
class CLuRIPEMD160CheckSum : public CLuMD5CheckSum {
 public:
  // Start state: the four MD5 words and 0xC3D2E1F0; empty cache.
  CLuRIPEMD160CheckSum();

  void Reset() override;
  ~CLuRIPEMD160CheckSum() override;
  // 20.
  unsigned int nSizeInBytes() const override;
  void UpdateDigest(unsigned int* pnBlock) override;
};
