// chronex: gives every frame of a numbered DPX sequence a running SMPTE
// timecode. Entry point, options and exit codes.
//
//   chronex input [-f FPS] [-t value]
//
// Exit codes (returned from main as written; the shell sees them modulo
// 256): -1 no input path, -2 an option without its value, -3 an unknown
// option or a bad value, -4 no frame of the sequence found, 0 the run went
// through every frame, whatever happened to single frames.
#include <strings.h>
#include <unistd.h>

#include <cstdio>

#include "base/command_line.h"
#include "base/containers.h"
#include "base/string.h"
#include "media/timecode.h"
#include "tools/dpx-timecode-patch/patch_run.h"
#include "tools/dpx-timecode-patch/sequence.h"

// Prints the usage text (one puts, so a newline follows it).
void Usage() {
  puts(
      "Usage: Chronex input [-f FPS] [-t value]\n"
      "  input    - sequence to patch (sequence#.dpx)\n"
      "  -f FPS   - desired frame rate (24 FPS by default)\n"
      "  -t value - starting time code (00:00:00:00 by default)");
}

namespace {

// Releases the frame list's strings on every path out of main.
struct SFrameListOwner {
  CLuCompactArray<CLuString>* paoFrames;
  ~SFrameListOwner() {
    uint32_t const nCount = paoFrames->nGetCount();
    for (uint32_t i = 0; i < nCount; ++i) delete paoFrames->poGetAt(i);
  }
};

}  // namespace

int main(int argc, char** argv) {
  // Into a file or a pipe the lines go in large blocks: one write for many
  // frames. A terminal keeps its line-by-line progress.
  static char s_acOutput[65536];
  if (!isatty(STDOUT_FILENO))
    setvbuf(stdout, s_acOutput, _IOFBF, sizeof s_acOutput);

  CLuCommandLine* poArgs = CLuCommandLine::poGlobal();
  poArgs->Construct(argc, argv);

  // The banner comes first on every run, usage errors included.
  puts("VELOMA DPX Time Code Patching Utility 1.0\n");

  uint32_t const nArgs = poArgs->nArgCount();
  if (nArgs < 2) {
    Usage();
    return -1;
  }

  double dFps = 24.0;
  CLuTimeCode tcWanted(0, 0, 0, 0, 0.0, false, false);
  bool bRateGiven = false;
  bool bTimeCodeGiven = false;

  // Options are scanned in order: a -t value is parsed with the rate known
  // at that moment, and the last occurrence of an option wins.
  for (uint32_t i = 2; i < nArgs;) {
    CLuString const strOption = poArgs->strArg(i, CLuString());
    bool const bIsRate = strcasecmp(strOption.pszGetString(), "-f") == 0;
    if (!bIsRate && strcasecmp(strOption.pszGetString(), "-t") != 0) {
      Usage();
      return -3;
    }
    if (i + 1 >= nArgs) {
      Usage();
      return -2;
    }
    CLuString strValue = poArgs->strArg(i + 1, CLuString());
    i += 2;
    if (bIsRate) {
      // Any double is taken here, zero and negative rates included.
      strValue.TruncateWhiteSpace("\n\t \r");
      if (!strValue.bToDouble(&dFps, -1.7976931348623157e308,
                              1.7976931348623157e308)) {
        Usage();
        return -3;
      }
      bRateGiven = true;
    } else {
      tcWanted.Set(CLuTimeCode::tcFromString(strValue, dFps, false));
      if (tcWanted.bInvalid) {
        Usage();
        return -3;
      }
      bTimeCodeGiven = true;
    }
  }
  tcWanted.SetFps(dFps, false);

  CLuCompactArray<CLuString> aoFrames(128, 128);
  SFrameListOwner oOwner{&aoFrames};
  FileListFromFramePath(poArgs->strArg(1, CLuString()), &aoFrames);
  if (aoFrames.nGetCount() == 0) {
    puts("The specified frame sequence could not be found.\n");
    return -4;
  }
  return iPatchFrameSequence(&aoFrames, tcWanted, bRateGiven, bTimeCodeGiven);
}
