// Test helpers of the chronex tests: the DPX frame helpers of the media
// tests, and running the built chronex binary with its standard output and
// exit status captured. Test code only.
#pragma once

#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "media/dpx_test_file_test.h"

namespace chronex_test {

using namespace dpx_test;

struct SRun {
  // Exit status as the shell sees it (-1..-4 as 255..252), 128 + the
  // signal when chronex ended by a signal.
  int iStatus = -1;
  std::string strOut;
};

// Every text of up to nMax of the bytes, shortest first.
inline std::vector<std::string> AllTexts(std::string const& strBytes,
                                         size_t nMax) {
  std::vector<std::string> astr{""};
  for (size_t i = 0; i < astr.size() && astr[i].size() < nMax; ++i)
    for (char c : strBytes) astr.push_back(astr[i] + c);
  return astr;
}

// Runs chronex with the arguments in folder strCwd; every argument reaches
// it as it is. A hang is ended after a minute (SIGALRM, status 142) so it
// fails the test instead of stalling it. nFileSizeLimit > 0 caps the size of
// files it may write, in bytes, so that header writes fail even for root.
// With iSignal, sends it that signal in the middle of its run: once its
// first block of output has arrived, before anything is read on. The output
// pipe then stays full, so chronex cannot get far past that point before the
// signal is on its way, whatever the machine's speed, as long as the whole
// output would be far larger than the pipe.
inline SRun RunChronex(std::vector<std::string> const& astrArgs,
                       std::string const& strCwd = ".",
                       rlim_t nFileSizeLimit = 0, int iSignal = 0) {
  SRun r;
  std::vector<char*> apsz{const_cast<char*>(CHRONEX_BINARY)};
  for (auto const& s : astrArgs) apsz.push_back(const_cast<char*>(s.c_str()));
  apsz.push_back(nullptr);
  struct rlimit const oLimit = {nFileSizeLimit, nFileSizeLimit};
  int afd[2];
  if (pipe(afd) != 0) return r;
  pid_t const pid = fork();
  if (pid == 0) {
    dup2(afd[1], STDOUT_FILENO);
    close(afd[0]);
    close(afd[1]);
    // Whatever the test runner ignores; a write past the cap fails instead
    // of ending chronex.
    for (int i : {SIGALRM, iSignal}) signal(i, SIG_DFL);
    signal(SIGXFSZ, SIG_IGN);
    if (nFileSizeLimit > 0) setrlimit(RLIMIT_FSIZE, &oLimit);
    alarm(60);
    if (chdir(strCwd.c_str()) == 0) execv(CHRONEX_BINARY, apsz.data());
    _exit(127);
  }
  close(afd[1]);
  struct pollfd oPoll = {afd[0], POLLIN, 0};
  if (pid > 0 && iSignal != 0 && poll(&oPoll, 1, 60000) >= 0)
    kill(pid, iSignal);
  char sz[65536];
  for (ssize_t n; (n = read(afd[0], sz, sizeof sz)) > 0;)
    r.strOut.append(sz, n);
  close(afd[0]);
  int iWait = 0;
  if (pid > 0 && waitpid(pid, &iWait, 0) == pid)
    r.iStatus = WIFSIGNALED(iWait) ? 128 + WTERMSIG(iWait) : WEXITSTATUS(iWait);
  return r;
}

}  // namespace chronex_test
