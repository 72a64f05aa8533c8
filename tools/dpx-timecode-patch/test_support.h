// Test helpers shared by the chronex tests: a temporary folder, DPX frame
// files made on the spot, and running the built chronex binary with its
// standard output and exit status captured. Test code only.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace chronex_test {

using Bytes = std::vector<uint8_t>;

inline void WriteFile(std::string const& strPath, Bytes const& a) {
  int const fd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0) << strPath;
  ASSERT_EQ(write(fd, a.data(), a.size()), ssize_t(a.size()));
  close(fd);
}

inline Bytes ReadFile(std::string const& strPath) {
  Bytes a;
  int const fd = open(strPath.c_str(), O_RDONLY);
  if (fd < 0) return a;
  uint8_t aby[65536];
  for (ssize_t n; (n = read(fd, aby, sizeof aby)) > 0;)
    a.insert(a.end(), aby, aby + n);
  close(fd);
  return a;
}

// A DPX file: big-endian header, version V2.0, not encrypted, the packed
// time-code bytes HH MM SS FF (BCD) at 1920, 100 picture bytes behind it.
inline Bytes DpxBytes(unsigned h, unsigned m, unsigned s, unsigned f) {
  Bytes a(2048 + 100, 0);
  for (size_t i = 16; i < a.size(); ++i) a[i] = uint8_t(i * 13);
  memcpy(&a[0], "SDPX", 4);
  memcpy(&a[8], "V2.0\0\0\0\0", 8);
  memset(&a[660], 0xFF, 4);
  auto bcd = [](unsigned n) { return uint8_t((n / 10) << 4 | n % 10); };
  a[1920] = bcd(h);
  a[1921] = bcd(m);
  a[1922] = bcd(s);
  a[1923] = bcd(f);
  return a;
}

// The time-code bytes at offset 1920 of a header starting at nOffset.
inline std::string TimeCodeAt(Bytes const& a, size_t nOffset) {
  if (a.size() < nOffset + 1924) return "(short)";
  char sz[16];
  uint8_t const* p = &a[nOffset + 1920];
  snprintf(sz, sizeof sz, "%02x:%02x:%02x:%02x", p[0], p[1], p[2], p[3]);
  return sz;
}

struct SRun {
  int iStatus = -1000;  // exit status as the shell sees it; -1000 = killed
  std::string strOut;
};

// Runs chronex with the arguments in folder strCwd; gives up (and kills it)
// after nTimeoutSeconds so a hang fails the test instead of stalling it.
// nFileSizeLimit > 0 caps the size of files it may write (writes past the
// cap fail with EFBIG), to make header writes fail even for root.
inline SRun RunChronex(std::vector<std::string> const& astrArgs,
                       std::string const& strCwd = "", int nTimeoutSeconds = 60,
                       rlim_t nFileSizeLimit = 0) {
  SRun r;
  int afd[2];
  if (pipe(afd) != 0) return r;
  pid_t const pid = fork();
  if (pid == 0) {
    dup2(afd[1], 1);
    close(afd[0]);
    close(afd[1]);
    if (!strCwd.empty() && chdir(strCwd.c_str()) != 0) _exit(125);
    if (nFileSizeLimit > 0) {
      signal(SIGXFSZ, SIG_IGN);  // kept across exec: a failed write, no kill
      struct rlimit oLimit = {nFileSizeLimit, nFileSizeLimit};
      setrlimit(RLIMIT_FSIZE, &oLimit);
    }
    std::vector<char*> apsz;
    apsz.push_back(const_cast<char*>(CHRONEX_BINARY));
    for (auto const& s : astrArgs) apsz.push_back(const_cast<char*>(s.c_str()));
    apsz.push_back(nullptr);
    execv(CHRONEX_BINARY, apsz.data());
    _exit(126);
  }
  close(afd[1]);
  struct timespec t0, t;
  clock_gettime(CLOCK_MONOTONIC, &t0);
  bool bKilled = false;
  for (;;) {
    struct pollfd p = {afd[0], POLLIN, 0};
    clock_gettime(CLOCK_MONOTONIC, &t);
    if (t.tv_sec - t0.tv_sec > nTimeoutSeconds) {
      kill(pid, SIGKILL);
      bKilled = true;
      break;
    }
    if (poll(&p, 1, 1000) <= 0) continue;
    char sz[65536];
    ssize_t const n = read(afd[0], sz, sizeof sz);
    if (n <= 0) break;
    r.strOut.append(sz, size_t(n));
  }
  close(afd[0]);
  int iWait = 0;
  waitpid(pid, &iWait, 0);
  if (!bKilled && WIFEXITED(iWait)) r.iStatus = WEXITSTATUS(iWait);
  return r;
}

// A fresh folder under /tmp, removed with everything in it afterwards.
class TempFolderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char sz[] = "/tmp/chronex_test.XXXXXX";
    ASSERT_NE(mkdtemp(sz), nullptr);
    m_strDir = sz;
  }
  void TearDown() override {
    std::string const strCommand = "rm -rf '" + m_strDir + "'";
    ASSERT_EQ(system(strCommand.c_str()), 0);
  }
  std::string Path(std::string const& strName) const {
    return m_strDir + "/" + strName;
  }
  void Frame(std::string const& strName, unsigned h = 0, unsigned m = 0,
             unsigned s = 0, unsigned f = 0) const {
    WriteFile(Path(strName), DpxBytes(h, m, s, f));
  }
  std::string m_strDir;
};

}  // namespace chronex_test
