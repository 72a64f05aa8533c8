// Test helpers of the chronex tests: the DPX frame helpers of the media
// tests, and running the built chronex binary with its standard output and
// exit status captured. Test code only.
#pragma once

#include <stdio.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "media/dpx_test_file_test.h"

namespace chronex_test {

using namespace dpx_test;

struct SRun {
  int iStatus = -1;  // exit status as the shell sees it (-1..-4 as 255..252)
  std::string strOut;
};

// Runs chronex with the arguments in folder strCwd (empty: this one). The
// shell only sets the stage: every argument reaches chronex as it is. A hang
// is killed after a minute (status 137) so it fails the test instead of
// stalling it. nFileSizeLimit > 0 caps the size of files it may write, in
// 512-byte blocks, so that header writes fail even for root.
inline SRun RunChronex(std::vector<std::string> const& astrArgs,
                       std::string const& strCwd = ".",
                       int nFileSizeLimit = 0) {
  auto quote = [](std::string const& s) {
    std::string r = "'";
    for (char c : s) r += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return r + "'";
  };
  std::string strCommand = "cd " + quote(strCwd) + " && trap '' XFSZ && ";
  if (nFileSizeLimit > 0)
    strCommand += "ulimit -f " + std::to_string(nFileSizeLimit) + " && ";
  strCommand += "exec timeout -s KILL 60 " + quote(CHRONEX_BINARY);
  for (auto const& s : astrArgs) strCommand += " " + quote(s);
  SRun r;
  FILE* const pFile = popen(strCommand.c_str(), "r");
  if (pFile == nullptr) return r;
  char sz[65536];
  for (size_t n; (n = fread(sz, 1, sizeof sz, pFile)) > 0;)
    r.strOut.append(sz, n);
  int const iWait = pclose(pFile);
  if (WIFEXITED(iWait)) r.iStatus = WEXITSTATUS(iWait);
  return r;
}

}  // namespace chronex_test
