#include "tools/dpx-timecode-patch/patch_run.h"

#include <cstdio>
#include <cstdlib>

#include "files/paths.h"
#include "media/dpx_header.h"

int iPatchFrameSequence(CLuCompactArray<CLuString>* paoFrames,
                        CLuTimeCode const& tcStart, bool bRateGiven,
                        bool bTimeCodeGiven) {
  uint32_t const nFrames = paoFrames->nGetCount();
  // Byte order of the whole path: frames of one sequence share prefix and
  // suffix, so the numbers decide, and only equal widths sort numerically.
  if (nFrames > 1)
    qsort(paoFrames->ppGetData(), nFrames, sizeof(CLuString*),
          CLuCompactArray<CLuString>::iCompareAscending);

  if (!bRateGiven) puts("Frame rate not specified, using default (24)");
  if (!bTimeCodeGiven)
    puts("Starting time code not specified, using default (00:00:00:00)");
  if (!bRateGiven || !bTimeCodeGiven) putchar('\n');

  CLuTimeCode tcWanted(tcStart);
  for (uint32_t n = 0; n < nFrames; ++n) {
    CLuString const& strPath = *paoFrames->poGetAt(n);
    printf("%s: ", strLuFileNameFromPath(strPath).pszGetString());

    CLuDPXHeader oHeader;
    bool bHeaderRead = false;
    try {
      oHeader.ReadFromFile(strPath);
      bHeaderRead = true;
      CLuTimeCode const tcHeader = oHeader.tcHeaderTimeCode();
      // Packed words, not frame counts or texts: equal words are equal
      // whatever the rates.
      if (tcHeader.nAsSmpteDpxTimeCode() == tcWanted.nAsSmpteDpxTimeCode()) {
        printf("%s (doesn't need updating)\n",
               tcWanted.strAsString(CLuTimeCode::eFormatPlain).pszGetString());
      } else {
        CLuString const strOld =
            oHeader.tcHeaderTimeCode().strAsString(CLuTimeCode::eFormatPlain);
        oHeader.SetHeaderTimeCode(tcWanted);
        oHeader.WriteToExistingFile(strPath);
        CLuString const strNew =
            tcWanted.strAsString(CLuTimeCode::eFormatPlain);
        printf("%s -> %s\n", strOld.pszGetString(), strNew.pszGetString());
      }
    } catch (...) {
      // The split is deliberately coarse: anything after a successful read
      // counts as a write failure. The error's own text is not shown.
      puts(bHeaderRead ? "error writing DPX header"
                       : "error reading DPX header");
    }
    tcWanted += 1;
  }
  return 0;
}
