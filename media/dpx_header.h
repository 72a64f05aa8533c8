// CLuDPXHeader: the 2048-byte leading header of one DPX image file, read,
// validated, given a new SMPTE timecode and written back.
//
// Builds on CLuString (base/string.h), CLuError (base/error.h), CLuFile
// (files/file.h) and CLuTimeCode (media/timecode.h). This is the only place
// in the system that knows the DPX file layout. Errors: every failure is
// thrown as a CLuError by value (severity eError, empty identifier) whose
// text is a fixed message followed directly by the path as the caller gave
// it; nothing is printed here.
//
// The header is an opaque block of 2048 bytes. Only these fields are used:
//
//   offset  size  field            use
//   ------  ----  ---------------  ------------------------------------------
//        0     4  magic number     "SDPX" (big-endian file) or "XPDS"
//                                  (little-endian file); anything else is not
//                                  a DPX file
//        8     8  header version   NUL-terminated text, compared (ignoring
//                                  case) with the file on disk before a write;
//                                  without a NUL in its 8 bytes the text runs
//                                  on, at most to the end of the block
//      660     4  encryption key   0 or 0xFFFFFFFF = not encrypted
//     1920     4  time code        packed BCD SMPTE word (CLuTimeCode's
//                                  nAsSmpteDpxTimeCode layout)
//   0-2047  2048  whole header     read and written as one block
//
// Byte order rule: only the magic is looked at in both orders. No field is
// ever swapped. The time-code word is always taken as a little-endian word
// (the host order of this x86-64 build, made explicit here so the rule does
// not depend on the host) and always stored little-endian, whatever the
// magic says. For a big-endian file whose BCD bytes read HH MM SS FF this
// is exactly the CLuTimeCode packing (hours in bits 0-7); read and write
// use the same convention, so a patched header stays consistent.
#pragma once

#include <cstdint>

#include "base/string.h"
#include "media/timecode.h"

class CLuDPXHeader {
 public:
  // Byte offsets and sizes of the fields this class knows.
  static constexpr uint32_t kHeaderSize = 2048;
  static constexpr uint32_t kMagicOffset = 0;
  static constexpr uint32_t kVersionOffset = 8;
  static constexpr uint32_t kVersionSize = 8;
  static constexpr uint32_t kEncryptionKeyOffset = 660;
  static constexpr uint32_t kTimeCodeOffset = 1920;

  // The header block viewed as a record: the four known fields at their
  // offsets, every other byte carried through untouched.
  struct SDPXFileHeader {
    uint8_t abyMagic[4];          // 0
    uint8_t abyImageOffset[4];    // 4 (not used)
    char szVersion[8];            // 8
    uint8_t abyGeneric1[644];     // 16..659 (not used)
    uint8_t abyEncryptionKey[4];  // 660
    uint8_t abyGeneric2[1256];    // 664..1919 (not used)
    uint8_t abyTimeCode[4];       // 1920
    uint8_t abyTelevision[124];   // 1924..2047 (not used)
  };

  // An empty header: no block until ReadFromFile.
  CLuDPXHeader();
  // Frees the block in every state.
  virtual ~CLuDPXHeader();

  CLuDPXHeader(CLuDPXHeader const&) = delete;
  CLuDPXHeader& operator=(CLuDPXHeader const&) = delete;

  // Reads and validates the first 2048 bytes of the file at strPath.
  // Checks in this order, each throwing CLuError with the path appended:
  // open "Failed to open file: ", size below 2048 "File is not a valid DPX
  // file: ", short read "Failed to read DPX header from file ", magic
  // neither SDPX nor XPDS "File is not a DPX file: ", encryption key
  // neither 0 nor 0xFFFFFFFF "File is encrypted: ". The block is owned by
  // the object from before the read on, so a throw after the allocation
  // leaves an owned block whose contents must not be used. Call once.
  void ReadFromFile(CLuString const& strPath);

  // The timecode at offset 1920, decoded with frame rate 0.0 (no rate of
  // its own) and no drop frame. Only meaningful after a successful
  // ReadFromFile; before any read it is 00:00:00:00.
  CLuTimeCode tcHeaderTimeCode() const;
  // The packed word at offset 1920 as it is (little-endian), the one
  // tcHeaderTimeCode decodes; 0 before any read.
  uint32_t nHeaderTimeCodeWord() const;

  // Stores tc's packed DPX word little-endian at offsets 1920..1923 of the
  // block in memory; no other byte changes and nothing is written to disk.
  // Only meaningful after a successful ReadFromFile; before any read it
  // does nothing.
  void SetHeaderTimeCode(CLuTimeCode const& tc);

  // Writes the whole 2048-byte block to the file at strPath, opened for
  // reading and writing as an existing file, which the file layer does in
  // append mode: the block lands at the end of the file (which grows by
  // 2048 bytes) and the header at offset 0 keeps its old bytes. Append mode
  // is deliberate: a patched header must never overwrite the original.
  // Before writing, the version text on disk must equal the one in memory
  // (ignoring case; each text ends at its first NUL or at the end of its
  // block). Throws CLuError: "Failed to open file ", "File is not a valid
  // DPX file ", "Failed to read existing DPX header from file ", "Failed to
  // write header to file " (each followed by the path; also when the write
  // was short or closing the file reported an error, as network file
  // systems do for writes they could not complete) or "DPX header version
  // mismatch - expected <memory>, found: <disk>" (no path); the file is
  // untouched unless the write itself ran. Only meaningful after a
  // successful ReadFromFile; before any read it checks the file as usual and
  // then throws "Failed to write header to file " + path without writing.
  void WriteToExistingFile(CLuString const& strPath);

  // The block in memory (kHeaderSize bytes), or null before ReadFromFile.
  // Owned by this object.
  uint8_t const* pbyGetHeaderBlock() const { return m_pbyBlock; }

  // Asks the next ReadFromFile to record the identity of the file it reads
  // (for bGetFileIdentity). The read then takes the file's size from the
  // status query that gives the identity instead of from a seek to its end:
  // the same number of system calls. Off by default.
  void RecordFileIdentity() { m_bRecordIdentity = true; }
  // Device and inode number of the file ReadFromFile read (hard links of one
  // file share them), as recorded at the read, so asking costs no system
  // call. Returns false, leaving the outputs untouched, when recording was
  // not asked for, failed, or ReadFromFile did not get as far as the size
  // (or was not called). Either output may be null.
  bool bGetFileIdentity(uint64_t* pn64Device, uint64_t* pn64Inode) const;

 private:
  uint8_t* m_pbyBlock;         // owning; array new of kHeaderSize bytes
  SDPXFileHeader* m_poHeader;  // the same block viewed as the record
  uint64_t m_n64Device;        // identity of the file read, when known
  uint64_t m_n64Inode;
  bool m_bIdentityKnown;
  bool m_bRecordIdentity;  // RecordFileIdentity was called
};
