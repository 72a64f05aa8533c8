#include "media/dpx_header.h"

#include <strings.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "base/error.h"
#include "files/file.h"

static_assert(sizeof(CLuDPXHeader::SDPXFileHeader) == CLuDPXHeader::kHeaderSize,
              "the header record must cover exactly 2048 bytes");
static_assert(offsetof(CLuDPXHeader::SDPXFileHeader, szVersion) ==
                  CLuDPXHeader::kVersionOffset,
              "version offset");
static_assert(offsetof(CLuDPXHeader::SDPXFileHeader, abyEncryptionKey) ==
                  CLuDPXHeader::kEncryptionKeyOffset,
              "encryption key offset");
static_assert(offsetof(CLuDPXHeader::SDPXFileHeader, abyTimeCode) ==
                  CLuDPXHeader::kTimeCodeOffset,
              "time code offset");

namespace {

// Throws the file-format layer's error: fixed text directly followed by
// the object concerned.
[[noreturn]] void ThrowDPXError(char const* pszText, CLuString const& strWhat) {
  CLuString strMessage(pszText);
  strMessage += strWhat;
  throw CLuError(strMessage, eError, CLuString());
}

// Little-endian 32-bit word at p, whatever the host.
uint32_t nLittleEndianWord(uint8_t const* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 |
         uint32_t(p[3]) << 24;
}

// The version is NUL-terminated text that may run on past its 8 bytes into
// the fields behind it; only the end of the 2048-byte block stops it, so a
// header without any NUL is never read beyond its buffer.
constexpr uint32_t kVersionTextLimit =
    CLuDPXHeader::kHeaderSize - CLuDPXHeader::kVersionOffset;

// The version text starting at pszField, as far as kVersionTextLimit.
CLuString strVersionText(char const* pszField) {
  CLuString str;
  str.Append(pszField, uint32_t(strnlen(pszField, kVersionTextLimit)));
  return str;
}

}  // namespace

CLuDPXHeader::CLuDPXHeader()
    : m_pbyBlock(nullptr),
      m_poHeader(nullptr),
      m_n64Device(0),
      m_n64Inode(0),
      m_bIdentityKnown(false),
      m_bRecordIdentity(false) {}

CLuDPXHeader::~CLuDPXHeader() {
  delete[] m_pbyBlock;
  m_pbyBlock = nullptr;
  m_poHeader = nullptr;
}

void CLuDPXHeader::ReadFromFile(CLuString const& strPath) {
  CLuFile oFile;  // closes the file on return and on throw alike
  if (!oFile.bOpen(strPath, eAccessRead, eOpenExisting, false))
    ThrowDPXError("Failed to open file: ", strPath);

  // Asked first, the identity's status query also answers the size, so
  // recording it costs no call of its own.
  if (m_bRecordIdentity)
    m_bIdentityKnown = oFile.bGetFileIdentity(&m_n64Device, &m_n64Inode);
  uint64_t const n64Size = oFile.n64GetSize();
  if (n64Size < kHeaderSize)
    ThrowDPXError("File is not a valid DPX file: ", strPath);

  // The block belongs to the object before anything is read into it.
  delete[] m_pbyBlock;
  m_pbyBlock = new (std::nothrow) uint8_t[kHeaderSize];
  m_poHeader = reinterpret_cast<SDPXFileHeader*>(m_pbyBlock);
  if (m_pbyBlock == nullptr)  // no memory: nothing could be read into it
    ThrowDPXError("Failed to read DPX header from file ", strPath);

  uint32_t const nGot = oFile.ipRead(m_pbyBlock, kHeaderSize);
  if (nGot != kHeaderSize) {
    // What a short or failed read did not fill is zeroed: no stale or
    // undefined bytes, and a full read (every frame) pays nothing for it.
    memset(m_pbyBlock + nGot, 0, kHeaderSize - nGot);
    ThrowDPXError("Failed to read DPX header from file ", strPath);
  }

  uint32_t const nMagic = nLittleEndianWord(m_poHeader->abyMagic);
  if (nMagic != 0x53445058u && nMagic != 0x58504453u)  // "XPDS" / "SDPX"
    ThrowDPXError("File is not a DPX file: ", strPath);

  // Both accepted values read the same in either byte order.
  uint32_t const nKey = nLittleEndianWord(m_poHeader->abyEncryptionKey);
  if (nKey != 0u && nKey != 0xFFFFFFFFu)
    ThrowDPXError("File is encrypted: ", strPath);
}

bool CLuDPXHeader::bGetFileIdentity(uint64_t* pn64Device,
                                    uint64_t* pn64Inode) const {
  if (!m_bIdentityKnown) return false;
  if (pn64Device != nullptr) *pn64Device = m_n64Device;
  if (pn64Inode != nullptr) *pn64Inode = m_n64Inode;
  return true;
}

CLuTimeCode CLuDPXHeader::tcHeaderTimeCode() const {
  return CLuTimeCode::tcFromSmpteDpxTimeCode(nHeaderTimeCodeWord(), 0.0,
                                             false);
}

uint32_t CLuDPXHeader::nHeaderTimeCodeWord() const {
  // Without a block (nothing read yet) the word reads as 0.
  return m_poHeader ? nLittleEndianWord(m_poHeader->abyTimeCode) : 0u;
}

void CLuDPXHeader::SetHeaderTimeCode(CLuTimeCode const& tc) {
  if (m_poHeader == nullptr) return;  // nothing read yet: nothing to set
  uint32_t const nWord = tc.nAsSmpteDpxTimeCode();
  uint8_t* p = m_poHeader->abyTimeCode;
  p[0] = uint8_t(nWord);
  p[1] = uint8_t(nWord >> 8);
  p[2] = uint8_t(nWord >> 16);
  p[3] = uint8_t(nWord >> 24);
}

void CLuDPXHeader::WriteToExistingFile(CLuString const& strPath) {
  // Read-write on an existing file is append mode in the file layer: the
  // block below lands at the end of the file, never over the original.
  CLuFile oFile;
  if (!oFile.bOpen(strPath, eAccessReadWrite, eOpenExisting, false))
    ThrowDPXError("Failed to open file ", strPath);
  oFile.n64Seek(0, eSeekBegin);

  if (oFile.n64GetSize() < kHeaderSize)
    ThrowDPXError("File is not a valid DPX file ", strPath);

  // Scratch buffer for the header on disk; aligned when the device block
  // fits inside the header, plain otherwise. Lives for this call only.
  oFile.DetermineHDBlockSize();
  uint32_t const nBlockSize = oFile.nGetHDBlockSize();
  uint32_t nRoom = kHeaderSize;
  if (nBlockSize <= kHeaderSize) {
    nRoom = kHeaderSize + 15;
    if (oFile.bIsDirectIO()) nRoom += 2 * nBlockSize;
  }
  // The plain buffer (the file layer's block size is 8192) sits on the
  // stack: the patch run comes here once per patched frame, and a heap
  // block of this size costs more than the rest of the bookkeeping.
  uint8_t abyPlain[kHeaderSize];
  std::unique_ptr<uint8_t[]> pbyLarger;
  uint8_t* pbyRoom = abyPlain;
  if (nRoom > sizeof abyPlain) {
    pbyLarger.reset(new (std::nothrow) uint8_t[nRoom]);
    if (!pbyLarger)  // no memory: nothing could be read into it
      ThrowDPXError("Failed to read existing DPX header from file ", strPath);
    pbyRoom = pbyLarger.get();
  }
  uint8_t* pbyScratch =
      nBlockSize <= kHeaderSize ? oFile.pbyAlignBuffer(pbyRoom) : pbyRoom;

  if (oFile.ipRead(pbyScratch, kHeaderSize) != kHeaderSize)
    ThrowDPXError("Failed to read existing DPX header from file ", strPath);

  // Nothing read yet: there is no version to compare and no header to
  // write, and the file is not touched.
  if (m_poHeader == nullptr)
    ThrowDPXError("Failed to write header to file ", strPath);

  // Both buffers hold at least 2048 bytes from their start.
  char const* pszDisk =
      reinterpret_cast<char const*>(pbyScratch) + kVersionOffset;
  if (strncasecmp(pszDisk, m_poHeader->szVersion, kVersionTextLimit) != 0) {
    CLuString strMessage("DPX header version mismatch - expected ");
    strMessage += strVersionText(m_poHeader->szVersion);
    strMessage += ", found: ";
    strMessage += strVersionText(pszDisk);
    throw CLuError(strMessage, eError, CLuString());
  }

  oFile.n64Seek(0, eSeekBegin);
  if (oFile.ipWrite(m_pbyBlock, kHeaderSize) != kHeaderSize)
    ThrowDPXError("Failed to write header to file ", strPath);
  // Network file systems report deferred write errors only when the file is
  // closed, so the close is part of the write: when it fails, the block may
  // never have reached the file, and the frame must not pass as patched.
  if (!oFile.bClose())
    ThrowDPXError("Failed to write header to file ", strPath);
}
