#include "system/profiling.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

typedef CLuProfilingManager::SInterval SInterval;

// A record whose code location id numbers it, with nEntries marks.
SInterval oMakeInterval(uint32_t nNumber, uint8_t nEntries) {
  SInterval oInterval;
  oInterval.nEntryCount = nEntries;
  oInterval.nCodeLocationID = nNumber;
  oInterval.SetStartNs(0x0000000100000002ull * nNumber);
  oInterval.SetEndNs(0x0000000100000002ull * nNumber + 7);
  for (uint32_t i = 0; i < nEntries; ++i) {
    oInterval.aEntries[i].nCodeLocationID = nNumber + i;
    oInterval.aEntries[i].SetTimeNs(nNumber * 1000ull + i);
  }
  return oInterval;
}

// Gives each test an empty temp folder and the log path "<folder>/run".
class ProfilingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char szTemplate[] = "/tmp/lu_profiling_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(szTemplate));
    strFolder = szTemplate;
    strLogPath = CLuString((strFolder + "/run").c_str());
    strFile = strFolder + "/run.intervals";
  }
  void TearDown() override { std::filesystem::remove_all(strFolder); }
  // Size of the interval file, -1 when it does not exist.
  long iFileSize() const {
    std::error_code oError;
    return long(std::filesystem::file_size(strFile, oError));  // -1 on error
  }
  std::string strFolder, strFile;
  CLuString strLogPath;
};

}  // namespace

TEST(Profiling, GlobalManagerExistsFromStartUpIdle) {
  CLuProfilingManager* poManager = CLuProfilingManager::poGlobal();
  ASSERT_NE(nullptr, poManager);
  EXPECT_TRUE(CLuProfilingManager::bIsGlobalAlive());
  EXPECT_STREQ("Profiler", poManager->pszName);
  EXPECT_FALSE(poManager->bRunning);
}

TEST_F(ProfilingTest, GlobalManagerEndsAtExitWithoutTouchingTheDisk) {
  // The child process runs the exit handlers in the temp folder: the global
  // manager must end cleanly and leave the folder empty.
  EXPECT_EXIT(
      {
        if (chdir(strFolder.c_str()) != 0) _exit(3);
        exit(CLuProfilingManager::poGlobal() != nullptr ? 0 : 4);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_TRUE(std::filesystem::is_empty(strFolder));
}

TEST_F(ProfilingTest, RecordsNeverSplitAcrossBlocks) {
  CLuProfilingManager oManager(strLogPath);
  SInterval oInterval = oMakeInterval(1, 255);  // 3,088 bytes
  // 21 records fill 64,848 bytes of the first block; the 22nd would cross
  // 65,536 and starts a second one.
  for (int i = 0; i < 22; ++i) oManager.AddInterval(oInterval, false);
  EXPECT_EQ(2u, oManager.nGetBlockCount());
  EXPECT_EQ(64848u, oManager.nGetBlockUsedAt(0));
  EXPECT_EQ(3088u, oManager.nGetBlockUsedAt(1));
  EXPECT_EQ(67936u, oManager.nGetQueuedBytes());
}

TEST_F(ProfilingTest, DestructorWritesEveryRecordInOrder) {
  uint32_t const nRecords = 3000;  // several blocks, entry counts vary
  std::string strWant;
  {
    CLuProfilingManager oManager;
    oManager.SetLogPath(strLogPath);
    for (uint32_t i = 0; i < nRecords; ++i) {
      SInterval oInterval = oMakeInterval(i, uint8_t(i % 7));
      strWant.append(reinterpret_cast<char const*>(&oInterval),
                     oInterval.nGetSize());
      oManager.AddInterval(oInterval, i == 5);
    }
    EXPECT_TRUE(oManager.bSomethingRecorded());
    EXPECT_EQ(-1, iFileSize());  // the thread never ran: nothing written yet
  }
  std::ifstream oIn(strFile, std::ios::binary);
  std::string const strBytes(std::istreambuf_iterator<char>(oIn), {});
  EXPECT_TRUE(strBytes == strWant) << "the file differs";
  // Record 1 after the 28-byte record 0: kind 1, one entry, flags 0, thread
  // 0, location 1, start 0x0000000100000002 and end 0x0000000100000009 as
  // low half then high half, then the entry (location 1, 1,000 ns).
  EXPECT_EQ(std::string("\1\1\0\0\0\0\0\0\1\0\0\0\2\0\0\0\1\0\0\0\11\0\0\0"
                        "\1\0\0\0\1\0\0\0\350\3\0\0\0\0\0\0", 40),
            strBytes.substr(28, 40));
}

TEST_F(ProfilingTest, WriterThreadWaitsFor10MiBAndDrainsOnStop) {
  CLuProfilingManager oManager(strLogPath);
  SInterval oInterval = oMakeInterval(9, 255);
  long const iSize = oInterval.nGetSize();
  ASSERT_TRUE(oManager.bStart());
  long iAdded = 0;
  for (; (iAdded + 1) * iSize < 5 * 1048576; ++iAdded)
    oManager.AddInterval(oInterval, true);
  usleep(50000);
  EXPECT_EQ(-1, iFileSize()) << "wrote before 10 MiB were queued";

  for (; iAdded * iSize < 10 * 1048576; ++iAdded)
    oManager.AddInterval(oInterval, true);
  // One burst of at least 10 MiB; generous time limit.
  for (int i = 0; i < 2000 && iFileSize() < iAdded * iSize; ++i) usleep(10000);
  EXPECT_EQ(iAdded * iSize, iFileSize());
  EXPECT_TRUE(oManager.bWriteSucceeded());

  // Below the threshold again: the rest waits for the stop request.
  for (int i = 0; i < 100; ++i, ++iAdded) oManager.AddInterval(oInterval, true);
  oManager.SetStopFlag();
  EXPECT_TRUE(oManager.bWaitFor(20000));
  EXPECT_EQ(iAdded * iSize, iFileSize());
}

TEST_F(ProfilingTest, ConcurrentReportersLoseNoRecord) {
  {
    CLuProfilingManager oManager(strLogPath);
    oManager.bStart();
    std::vector<std::thread> aThreads;
    for (uint32_t t = 0; t < 4; ++t)
      aThreads.emplace_back([&oManager, t] {
        for (uint32_t i = 0; i < 2000; ++i)
          oManager.AddInterval(oMakeInterval(t, uint8_t(i % 3)), true);
      });
    for (std::thread& oThread : aThreads) oThread.join();
  }
  // Nothing lost or overwritten: 4 x (667 x 28 + 667 x 40 + 666 x 52).
  EXPECT_EQ(4 * 79988, iFileSize());
}

TEST(Profiling, ThreadsGetNumbersAndDistinctNames) {
  CLuProfilingManager oManager;
  EXPECT_EQ(0u, oManager.nThreadID());
  oManager.RegisterThread("Worker");
  std::string strSeen;
  std::thread([&] {
    oManager.RegisterThread("Worker");  // taken: gets its number appended
    strSeen = std::to_string(oManager.nThreadID()) + " " +
              oManager.pszThreadName();
    oManager.RegisterThread("");
    strSeen += std::string(", ") + oManager.pszThreadName();
  }).join();
  EXPECT_EQ("2 Worker (2), Thread", strSeen);
  oManager.RegisterThread("Main");  // again: same number, new name
  EXPECT_EQ(1u, oManager.nThreadID());
  EXPECT_STREQ("Main", oManager.pszThreadName());
}
