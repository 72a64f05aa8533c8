// The patch run's scheduling: the pool of workers must print, append and
// stop exactly as one frame after the other does. The program picks the
// pool only on slow storage, so these tests pin it.
#include "tools/dpx-timecode-patch/patch_run.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "files/paths.h"
#include "tools/dpx-timecode-patch/frame_patch.h"
#include "tools/dpx-timecode-patch/run_chronex_test.h"
#include "tools/dpx-timecode-patch/sequence.h"

namespace {

using namespace chronex_test;

TEST(FrameFileName, IsWhatThePathFunctionsGive) {
  // Every text of up to six of the bytes the path functions treat apart.
  CLuString strScratch;
  for (std::string const& s : AllTexts("a./\\\"", 6)) {
    CLuString const str(s.c_str());
    ASSERT_STREQ(pszFrameFileName(str, &strScratch),
                 strLuFileNameFromPath(str).pszGetString())
        << s;
  }
}

class PooledRun : public TempFolderTest {
 protected:
  // Frames s.0000.dpx ... of every kind in folder strDir: patched, already
  // right (start 01:00:00:00), not a DPX file, and one file under many
  // names (hard links, a symbolic link) whose appends must keep frame order.
  void MakeSequence(std::string const& strDir, int nFrames) {
    mkdir(strDir.c_str(), 0755);
    WriteFile(strDir + "/shared", DpxBytes());
    for (int n = 0; n < nFrames; ++n) {
      char sz[32];
      snprintf(sz, sizeof sz, "/s.%04d.dpx", n);
      std::string const strPath = strDir + sz;
      if (n % 4 != 0) {
        ASSERT_EQ(link((strDir + "/shared").c_str(), strPath.c_str()), 0);
      } else if (n == 8) {
        ASSERT_EQ(symlink((strDir + "/shared").c_str(), strPath.c_str()), 0);
      } else if (n % 8 == 4) {
        WriteFile(strPath, Bytes(3000, 'x'));
      } else {
        unsigned const nRight = n % 16 == 0 ? unsigned(n) : 1000u;
        WriteFile(strPath,
                  DpxBytes(1, nRight / 24 / 60, nRight / 24 % 60, nRight % 24));
      }
    }
  }

  // Runs the sequence in strDir as scheduled; the text printed on pOut (a
  // temporary file when null).
  std::string Run(std::string const& strDir, EFrameScheduling eScheduling,
                  FILE* pOut = nullptr, int* piSignal = nullptr) {
    CLuCompactArray<CLuString> ao(128, 128);
    FileListFromFramePath(CLuString((strDir + "/s.0000.dpx").c_str()), &ao);
    CLuTimeCode tc(1, 0, 0, 0, 24.0, false, false);
    FILE* const pFile = pOut ? pOut : tmpfile();
    EXPECT_EQ(
        iRunFrameSequence(&ao, tc, true, true, pFile, eScheduling, piSignal),
        0);
    for (uint32_t i = 0; i < ao.nGetCount(); ++i) delete ao.poGetAt(i);
    if (pOut != nullptr) return "";
    rewind(pFile);
    std::string str;
    char sz[4096];
    for (size_t n; (n = fread(sz, 1, sizeof sz, pFile)) > 0;) str.append(sz, n);
    fclose(pFile);
    return str;
  }
};

TEST_F(PooledRun, PrintsAndWritesWhatOneFrameAfterTheOtherDoes) {
  MakeSequence(Path("inline"), 400);
  MakeSequence(Path("pooled"), 400);
  std::string const strInline = Run(Path("inline"), eScheduleInline);
  EXPECT_EQ(Run(Path("pooled"), eSchedulePooled), strInline);
  for (char const* psz :
       {"/shared", "/s.0000.dpx", "/s.0004.dpx", "/s.0024.dpx", "/s.0399.dpx"})
    EXPECT_EQ(ReadFile(Path("pooled") + psz), ReadFile(Path("inline") + psz))
        << psz;
  // One header appended per name of the shared file.
  EXPECT_EQ(ReadFile(Path("pooled/shared")).size(), 2148u + 301 * 2048);
}

TEST_F(PooledRun, AStopSignalFinishesTheFramesInFlightAndReturnsIt) {
  MakeSequence(Path("seq"), 5000);
  std::string const strFull = Run(Path("seq"), eScheduleInline);
  // The output goes into a pipe that is read only after the signal, so the
  // run is stuck in its middle when the signal comes (see
  // RunChronex). The signal must reach this thread.
  int afd[2];
  ASSERT_EQ(pipe(afd), 0);
  std::string strOut;
  std::thread oReader([&] {
    sigset_t oSet;
    sigfillset(&oSet);
    pthread_sigmask(SIG_BLOCK, &oSet, nullptr);
    char sz[65536];
    ssize_t n = read(afd[0], sz, sizeof sz);
    kill(getpid(), SIGHUP);
    for (; n > 0; n = read(afd[0], sz, sizeof sz)) strOut.append(sz, size_t(n));
  });
  FILE* const pOut = fdopen(afd[1], "w");
  int iSignal = 0;
  Run(Path("seq"), eSchedulePooled, pOut, &iSignal);
  fclose(pOut);
  oReader.join();
  close(afd[0]);
  EXPECT_EQ(iSignal, SIGHUP);
  // Whole lines of a full run, in order, and fewer of them.
  ASSERT_FALSE(strOut.empty());
  ASSERT_LT(strOut.size(), strFull.size());
  EXPECT_EQ(strFull.compare(0, strOut.size(), strOut), 0);
  EXPECT_EQ(strOut.back(), '\n');
  // A frame that printed nothing was not touched: a plain frame near the
  // end has only the header the full run added.
  EXPECT_EQ(ReadFile(Path("seq/s.4984.dpx")).size(), 2148u + 2048);
}

}  // namespace
