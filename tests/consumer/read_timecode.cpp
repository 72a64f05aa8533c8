// read_timecode: prints the SMPTE timecode held in the DPX header of each
// file named, one "<file>: HH:MM:SS:FF" line each, using only the installed
// lu framework. Exit status 0, or 1 when a header could not be read (its
// line then carries the error text).
//
//   read_timecode FILE...
#include <cstdio>

#include "base/error.h"
#include "base/string.h"
#include "media/dpx_header.h"
#include "media/timecode.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    fputs("usage: read_timecode FILE...\n", stderr);
    return 2;
  }
  int iStatus = 0;
  for (int i = 1; i < argc; ++i) {
    CLuDPXHeader oHeader;
    try {
      oHeader.ReadFromFile(CLuString(argv[i]));
      CLuString const strTimeCode =
          oHeader.tcHeaderTimeCode().strAsString(CLuTimeCode::eFormatPlain);
      printf("%s: %s\n", argv[i], strTimeCode.pszGetString());
    } catch (CLuError const& oError) {
      printf("%s: %s\n", argv[i], oError.strErrorText().pszGetString());
      iStatus = 1;
    }
  }
  return iStatus;
}
