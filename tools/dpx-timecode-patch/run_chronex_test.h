// Test helpers of the chronex tests: the DPX frame helpers of the media
// tests, and running the built chronex binary with its standard output and
// exit status captured. Test code only.
#pragma once

#include <signal.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "media/dpx_test_file_test.h"

namespace chronex_test {

using namespace dpx_test;

struct SRun {
  int iStatus = -1;  // exit status as the shell sees it (-1..-4 as 255..252)
  std::string strOut;
};

// Every text of up to nMax of the bytes, shortest first.
inline std::vector<std::string> AllTexts(std::string const& strBytes,
                                         size_t nMax) {
  std::vector<std::string> astr{""};
  for (size_t nStart = 0, nLength = 1; nLength <= nMax; ++nLength) {
    size_t const nEnd = astr.size();
    for (size_t i = nStart; i < nEnd; ++i)
      for (char c : strBytes) astr.push_back(astr[i] + c);
    nStart = nEnd;
  }
  return astr;
}

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

// Runs chronex with the arguments and sends it iSignal in the middle of its
// run: once its first block of output has arrived, before anything is read
// on. The output pipe then stays full, so chronex cannot get far past that
// point before the signal is on its way, whatever the machine's speed, as
// long as the whole output would be far larger than the pipe. iStatus is
// 128 + the signal when chronex ended by a signal.
inline SRun RunChronexInterrupted(std::vector<std::string> const& astrArgs,
                                  int iSignal) {
  SRun r;
  int afd[2];
  if (pipe(afd) != 0) return r;
  pid_t const pid = fork();
  if (pid == 0) {
    dup2(afd[1], STDOUT_FILENO);
    close(afd[0]);
    close(afd[1]);
    signal(iSignal, SIG_DFL);  // whatever the test runner ignores
    std::vector<char*> apsz{const_cast<char*>(CHRONEX_BINARY)};
    for (auto const& s : astrArgs) apsz.push_back(const_cast<char*>(s.c_str()));
    apsz.push_back(nullptr);
    execv(CHRONEX_BINARY, apsz.data());
    _exit(127);
  }
  close(afd[1]);
  char sz[65536];
  for (int nWaiting = 0; pid > 0; ++nWaiting) {
    int nInPipe = 0;
    if (ioctl(afd[0], FIONREAD, &nInPipe) == 0 && nInPipe > 0) break;
    if (nWaiting > 60000) break;  // a minute: let the test fail, not hang
    usleep(1000);
  }
  if (pid > 0) kill(pid, iSignal);
  for (ssize_t n; (n = read(afd[0], sz, sizeof sz)) > 0;) r.strOut.append(sz, n);
  close(afd[0]);
  int iWait = 0;
  if (pid > 0 && waitpid(pid, &iWait, 0) == pid)
    r.iStatus = WIFSIGNALED(iWait) ? 128 + WTERMSIG(iWait) : WEXITSTATUS(iWait);
  return r;
}

}  // namespace chronex_test
