// Fuzz target: arbitrary bytes as a DPX file. ReadFromFile must either
// accept the header or throw CLuError; an accepted header must hand out its
// timecode and take a new one without fault, and the write back (append
// mode) must either succeed or throw CLuError.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "base/error.h"
#include "media/dpx_header.h"

namespace {

std::string const& strScratchPath() {
  static std::string const str = [] {
    char sz[] = "/tmp/dpx_header_fuzz.XXXXXX";
    int const fd = mkstemp(sz);
    if (fd >= 0) close(fd);
    static std::string const strMade(sz);
    atexit([] { unlink(strMade.c_str()); });
    return strMade;
  }();
  return str;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pbyData, size_t nSize) {
  std::string const& strPath = strScratchPath();
  FILE* pFile = fopen(strPath.c_str(), "wb");
  if (pFile == nullptr) return 0;
  if (nSize > 0) fwrite(pbyData, 1, nSize, pFile);
  fclose(pFile);

  CLuString const strLuPath(strPath.c_str());
  CLuDPXHeader oHeader;
  try {
    oHeader.ReadFromFile(strLuPath);
  } catch (CLuError const&) {
    return 0;
  }
  CLuTimeCode tc = oHeader.tcHeaderTimeCode();
  (void)tc.strAsString(CLuTimeCode::eFormatPlain);
  tc += 1;
  oHeader.SetHeaderTimeCode(tc);
  try {
    oHeader.WriteToExistingFile(strLuPath);
  } catch (CLuError const&) {
  }
  return 0;
}
