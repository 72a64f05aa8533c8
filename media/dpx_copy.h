#pragma once
// CLuCopyDPXFileWithTimeCode: copies DPX frame files byte for byte into a
// destination folder under names made from a pattern that can carry the
// frame's header timecode (shifted by a fixed offset), the source folder and
// the source file name. The copy's header is not changed: the timecode only
// shapes the destination name.
//
// Builds on CLuDPXHeader (media/dpx_header), CLuTimeCode (media/timecode),
// CLuString and its utilities (base/string), CLuError (base/error) and the
// path functions (files/paths). Errors: every failure is thrown as a
// CLuError by value (severity eError, empty identifier); nothing is printed.
//
// Name pattern placeholders, each replaced everywhere it occurs, in this
// order:
//   "%t"  the header timecode plus the offset, "HH:MM:SS:FF"
//   "%p"  the folder part of the source path (with its trailing "/")
//   "%f"  the name part of the source path, without extension
// The replaced pattern is then cleaned so that only letters, digits and
// "_-." remain (everything else becomes "_": "01:00:00:00" turns into
// "01_00_00_00", and a "/" that "%p" brings in turns into "_" as well).

#include "base/string.h"
#include "media/timecode.h"

class CLuCopyDPXFileWithTimeCode {
 public:
  // Keeps copies of all four settings. tcOffset is added to every header
  // timecode as its own frame count (iFramesSinceMidnight: one frame a
  // second when it has no rate); its rate is also the rate the header
  // timecode counts at (24 when the offset has none, i.e. a rate not above
  // 1e-9). strDestinationRoot is the folder the copies go under (empty: the
  // current folder); strNamePattern the destination name with placeholders;
  // with bKeepSourceFolder the source folder is placed between the root and
  // the name.
  CLuCopyDPXFileWithTimeCode(CLuTimeCode tcOffset,
                             CLuString const& strDestinationRoot,
                             CLuString const& strNamePattern,
                             bool bKeepSourceFolder);
  virtual ~CLuCopyDPXFileWithTimeCode();

  // Copies the DPX file strSourcePath byte for byte to
  //   root / [source folder /] cleaned pattern + source extension
  // creating every missing folder on the way. A leading "/" of the part
  // below the root is dropped, so the copy never escapes the root. An
  // existing destination is not overwritten.
  // Throws CLuError:
  //   - the errors of CLuDPXHeader::ReadFromFile, unchanged (missing, short,
  //     not DPX, encrypted: such a file is not copied);
  //   - "Failed to create destination path " + the destination folder;
  //   - "Failed to copy " + source + " to " + destination (also when the
  //     destination exists already).
  void Copy(CLuString const& strSourcePath) const;

  // The settings as given to the constructor.
  CLuTimeCode const& tcGetOffset() const { return m_tcOffset; }
  CLuString const& strGetNamePattern() const { return m_strNamePattern; }
  CLuString const& strGetDestinationRoot() const {
    return m_strDestinationRoot;
  }
  bool bGetKeepSourceFolder() const { return m_bKeepSourceFolder; }

 private:
  CLuTimeCode m_tcOffset;
  CLuString m_strNamePattern;
  CLuString m_strDestinationRoot;
  bool m_bKeepSourceFolder;
};
