#include "tools/dpx-timecode-patch/frame_patch.h"

#include <cstring>
#include <initializer_list>

#include "files/paths.h"
#include "media/dpx_header.h"

void PatchFrame(SFramePatch* poFrame, CFrameWriteGate* poGate) {
  CLuString const& strPath = *poFrame->pstrPath;
  CLuTimeCode const& tcWanted = *poFrame->ptcWanted;
  CLuDPXHeader oHeader;
  bool bHeaderRead = false;
  bool bWrite = false;
  poFrame->eOutcome = eFrameUnchanged;
  // Frames side by side need the file's identity to keep appends to one
  // file in order; one at a time they do not, and the read then takes the
  // size with a seek, the cheaper call.
  if (poGate != nullptr) oHeader.RecordFileIdentity();
  try {
    oHeader.ReadFromFile(strPath);
    bHeaderRead = true;
    // Packed words, not frame counts or texts: equal words are equal
    // whatever the rates. The header's word is compared as its decoded
    // timecode packs it again, without building that value unless the text
    // is needed. The texts go into the frame's own strings, whose buffers
    // are reused from frame to frame.
    uint32_t const nHeaderWord =
        CLuTimeCode::nSmpteDpxRoundTrip(oHeader.nHeaderTimeCodeWord());
    if (nHeaderWord == tcWanted.nAsSmpteDpxTimeCode()) {
      tcWanted.AsString(&poFrame->strNew, CLuTimeCode::eFormatPlain);
    } else {
      oHeader.tcHeaderTimeCode().AsString(&poFrame->strOld,
                                          CLuTimeCode::eFormatPlain);
      oHeader.SetHeaderTimeCode(tcWanted);
      bWrite = true;
    }
  } catch (...) {
    // The error's own text is not shown.
    poFrame->eOutcome = bHeaderRead ? eFrameWriteFailed : eFrameReadFailed;
  }

  if (poGate != nullptr) {
    uint64_t n64Device = 0, n64Inode = 0;
    bool const bKnown = oHeader.bGetFileIdentity(&n64Device, &n64Inode);
    poGate->WaitForWriteTurn(bWrite, bKnown, n64Device, n64Inode);
  }
  if (!bWrite) return;

  try {
    oHeader.WriteToExistingFile(strPath);
    tcWanted.AsString(&poFrame->strNew, CLuTimeCode::eFormatPlain);
    poFrame->eOutcome = eFramePatched;
  } catch (...) {
    // The header was read, so whatever failed counts as the write.
    poFrame->eOutcome = eFrameWriteFailed;
  }
}

char const* pszFrameFileName(CLuString const& strPath,
                             CLuString* pstrScratch) {
  char const* const psz = strPath.pszGetString();
  uint32_t const nLength = strPath.nGetLength();
  // The path functions turn "\" into "/" and drop double quotes at the ends
  // of a path; a leading quote sits in the folder part once a "/" follows.
  // Without those, splitting the name at its last dot and joining it again
  // gives back the same text, so the name is the text after the last "/".
  char const* const pszSlash = strrchr(psz, '/');
  if (pszSlash != nullptr && pszSlash[1] != '\0' && psz[nLength - 1] != '"' &&
      memchr(psz, '\\', nLength) == nullptr)
    return pszSlash + 1;
  *pstrScratch = strLuFileNameFromPath(strPath);
  return pstrScratch->pszGetString();
}

void PrintFrameLine(FILE* pOut, SFramePatch const& oFrame,
                    CLuString* pstrScratch) {
  char const* apszParts[4] = {pszFrameFileName(*oFrame.pstrPath, pstrScratch),
                              ": ", nullptr, nullptr};
  char const* apszTail[3] = {nullptr, nullptr, nullptr};
  switch (oFrame.eOutcome) {
    case eFrameUnchanged:
      apszParts[2] = oFrame.strNew.pszGetString();
      apszParts[3] = " (doesn't need updating)\n";
      break;
    case eFramePatched:
      apszParts[2] = oFrame.strOld.pszGetString();
      apszParts[3] = " -> ";
      apszTail[0] = oFrame.strNew.pszGetString();
      apszTail[1] = "\n";
      break;
    case eFrameReadFailed:
      apszParts[2] = "error reading DPX header\n";
      break;
    case eFrameWriteFailed:
      apszParts[2] = "error writing DPX header\n";
      break;
  }
  // The line is put together first and handed over in one piece.
  char acLine[1024];
  size_t nLine = 0;
  for (char const* psz : {apszParts[0], apszParts[1], apszParts[2],
                          apszParts[3], apszTail[0], apszTail[1]}) {
    if (psz == nullptr) continue;
    size_t const n = strlen(psz);
    if (n > sizeof acLine - nLine) {  // a very long name: piece by piece
      fwrite(acLine, 1, nLine, pOut);
      fputs(psz, pOut);
      nLine = 0;
      continue;
    }
    memcpy(acLine + nLine, psz, n);
    nLine += n;
  }
  fwrite(acLine, 1, nLine, pOut);
}
