#include "system/profiling.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
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

class ProfilingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char szTemplate[] = "/tmp/lu_profiling_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(szTemplate));
    strFolder = szTemplate;
    strLogPath = strFolder + "/run";
    strFile = strLogPath + ".intervals";
  }
  void TearDown() override {
    unlink(strFile.c_str());
    rmdir(strFolder.c_str());
  }
  // Size of the interval file, -1 when it does not exist.
  long iFileSize() const {
    struct stat oStat;
    return stat(strFile.c_str(), &oStat) == 0 ? long(oStat.st_size) : -1;
  }
  std::vector<unsigned char> aReadFile() const {
    std::vector<unsigned char> aBytes;
    FILE* poFile = fopen(strFile.c_str(), "rb");
    if (poFile == nullptr) return aBytes;
    int c;
    while ((c = fgetc(poFile)) != EOF) aBytes.push_back((unsigned char)c);
    fclose(poFile);
    return aBytes;
  }

  std::string strFolder;
  std::string strLogPath;
  std::string strFile;
};

}  // namespace

TEST(ProfilingRecord, FixedPartIs28BytesWithTheCountInTheSecondByte) {
  SInterval oInterval = oMakeInterval(3, 2);
  unsigned char const* pby = reinterpret_cast<unsigned char const*>(&oInterval);
  EXPECT_EQ(1, pby[0]);
  EXPECT_EQ(2, pby[1]);
  EXPECT_EQ(28u + 2 * 12u, oInterval.nGetSize());
  // Start time 0x0000000300000006 as low half then high half.
  unsigned char const abyStart[8] = {6, 0, 0, 0, 3, 0, 0, 0};
  EXPECT_EQ(0, memcmp(abyStart, pby + 12, 8));
  // The first entry starts right after the fixed part.
  EXPECT_EQ(pby + 28,
            reinterpret_cast<unsigned char const*>(&oInterval.aEntries[0]));
  EXPECT_EQ(28u + 255 * 12u, oMakeInterval(0, 255).nGetSize());
}

TEST(Profiling, GlobalManagerExistsFromStartUpIdle) {
  CLuProfilingManager* poManager = CLuProfilingManager::poGlobal();
  ASSERT_NE(nullptr, poManager);
  EXPECT_EQ(poManager, CLuProfilingManager::poGlobal());
  EXPECT_TRUE(CLuProfilingManager::bIsGlobalAlive());
  EXPECT_STREQ("Profiler", poManager->pszName);
  EXPECT_FALSE(poManager->bRunning);
  EXPECT_EQ(0u, poManager->nGetQueuedBytes());
  EXPECT_FALSE(poManager->bSomethingRecorded());
  // Nothing in this test program registers the main thread globally.
  EXPECT_EQ(nullptr, pszLuThreadName());
}

TEST_F(ProfilingTest, GlobalManagerEndsAtExitWithoutTouchingTheDisk) {
  // The child process runs the exit handlers in the temp folder: the global
  // manager must end cleanly and leave the folder empty.
  std::string strFolderCopy = strFolder;
  EXPECT_EXIT(
      {
        if (chdir(strFolderCopy.c_str()) != 0) _exit(3);
        exit(CLuProfilingManager::poGlobal() != nullptr ? 0 : 4);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EQ(0, rmdir(strFolder.c_str())) << "the folder is not empty";
  mkdir(strFolder.c_str(), 0700);
}

TEST_F(ProfilingTest, NothingRecordedCreatesNoFile) {
  {
    CLuProfilingManager oManager{CLuString(strLogPath.c_str())};
    EXPECT_STREQ(strLogPath.c_str(), oManager.strGetLogPath());
  }
  EXPECT_EQ(-1, iFileSize());
  // A local manager leaves the global one alone.
  EXPECT_TRUE(CLuProfilingManager::bIsGlobalAlive());
}

TEST_F(ProfilingTest, RecordsNeverSplitAcrossBlocks) {
  struct SCase {
    uint8_t nEntries;
    uint32_t nPerBlock;  // whole records that fit in 65,536 bytes
  } const aCases[] = {
      {0, 2340},  // 2340 * 28 = 65,520
      {1, 1638},  // 1638 * 40 = 65,520
      {255, 21},  // 21 * 3088 = 64,848
  };
  for (SCase const& oCase : aCases) {
    SCOPED_TRACE(int(oCase.nEntries));
    CLuProfilingManager oManager{CLuString(strLogPath.c_str())};
    SInterval oInterval = oMakeInterval(1, oCase.nEntries);
    uint32_t nSize = oInterval.nGetSize();
    for (uint32_t i = 0; i < oCase.nPerBlock; ++i)
      oManager.AddInterval(oInterval, false);
    EXPECT_EQ(1u, oManager.nGetBlockCount());
    oManager.AddInterval(oInterval, false);
    EXPECT_EQ(2u, oManager.nGetBlockCount());
    EXPECT_EQ(oCase.nPerBlock * nSize, oManager.nGetBlockUsedAt(0));
    EXPECT_EQ(nSize, oManager.nGetBlockUsedAt(1));
    EXPECT_EQ((oCase.nPerBlock + 1) * nSize, oManager.nGetQueuedBytes());
    EXPECT_FALSE(oManager.bSomethingRecorded());
  }
}

TEST_F(ProfilingTest, DestructorWritesEveryRecordInOrder) {
  uint32_t const nRecords = 3000;  // several blocks, entry counts vary
  long iTotal = 0;
  {
    CLuProfilingManager oManager;
    oManager.SetLogPath(CLuString(strLogPath.c_str()));
    for (uint32_t i = 0; i < nRecords; ++i) {
      SInterval oInterval = oMakeInterval(i, uint8_t(i % 7));
      iTotal += oInterval.nGetSize();
      oManager.AddInterval(oInterval, i == 5);
    }
    EXPECT_TRUE(oManager.bSomethingRecorded());
    EXPECT_GT(oManager.nGetBlockCount(), 1u);
    EXPECT_EQ(-1, iFileSize());  // the thread never ran: nothing written yet
  }
  std::vector<unsigned char> aBytes = aReadFile();
  ASSERT_EQ(iTotal, long(aBytes.size()));
  size_t nOffset = 0;
  for (uint32_t i = 0; i < nRecords; ++i) {
    SInterval oExpected = oMakeInterval(i, uint8_t(i % 7));
    ASSERT_EQ(0, memcmp(&oExpected, &aBytes[nOffset], oExpected.nGetSize()))
        << "record " << i;
    nOffset += oExpected.nGetSize();
  }
}

TEST_F(ProfilingTest, WriterThreadWaitsFor10MiBAndDrainsOnStop) {
  CLuProfilingManager oManager{CLuString(strLogPath.c_str())};
  SInterval oInterval = oMakeInterval(9, 255);
  uint32_t const nSize = oInterval.nGetSize();
  ASSERT_TRUE(oManager.bStart());
  uint32_t nAdded = 0;
  while ((nAdded + 1) * nSize < CLuProfilingManager::kWriteThreshold / 2) {
    oManager.AddInterval(oInterval, true);
    ++nAdded;
  }
  usleep(50000);
  EXPECT_EQ(-1, iFileSize()) << "wrote before 10 MiB were queued";

  while (nAdded * nSize < CLuProfilingManager::kWriteThreshold) {
    oManager.AddInterval(oInterval, true);
    ++nAdded;
  }
  // One burst of at least 10 MiB; generous time limit.
  for (int i = 0; i < 2000 && iFileSize() < long(nAdded * nSize); ++i)
    usleep(10000);
  EXPECT_EQ(long(nAdded * nSize), iFileSize());
  EXPECT_TRUE(oManager.bWriteSucceeded());

  // Below the threshold again: the rest waits for the stop request.
  for (int i = 0; i < 100; ++i) oManager.AddInterval(oInterval, true);
  nAdded += 100;
  oManager.SetStopFlag();
  EXPECT_TRUE(oManager.bWaitFor(20000));
  EXPECT_EQ(0u, oManager.nGetQueuedBytes());
  EXPECT_EQ(long(nAdded * nSize), iFileSize());
}

TEST_F(ProfilingTest, ConcurrentReportersLoseNoRecord) {
  uint32_t const nThreads = 4, nEach = 2000;
  {
    CLuProfilingManager oManager{CLuString(strLogPath.c_str())};
    oManager.bStart();
    std::vector<std::thread> aThreads;
    for (uint32_t t = 0; t < nThreads; ++t)
      aThreads.emplace_back([&oManager, t] {
        for (uint32_t i = 0; i < nEach; ++i)
          oManager.AddInterval(oMakeInterval(t, uint8_t(i % 3)), true);
      });
    for (std::thread& oThread : aThreads) oThread.join();
  }
  // Every record arrives whole: walk the file by its own count bytes.
  std::vector<unsigned char> aBytes = aReadFile();
  uint32_t anSeen[nThreads] = {};
  size_t nOffset = 0;
  while (nOffset + 28 <= aBytes.size()) {
    SInterval oRecord;
    memcpy(static_cast<void*>(&oRecord), &aBytes[nOffset], 28);
    ASSERT_EQ(1, oRecord.byKind);
    ASSERT_LT(oRecord.nCodeLocationID, nThreads);
    ++anSeen[oRecord.nCodeLocationID];
    nOffset += oRecord.nGetSize();
  }
  EXPECT_EQ(aBytes.size(), nOffset);
  for (uint32_t t = 0; t < nThreads; ++t) EXPECT_EQ(nEach, anSeen[t]);
}

TEST(Profiling, CodeLocationsTakeConsecutiveIdsAndKeepTheirTexts) {
  CLuProfilingManager oManager;
  static char const szFile[] = "render.cpp";
  CLuCodeLocation* poFirst = oManager.poNewCodeLocation(szFile, "Draw", 12);
  CLuCodeLocation* poSecond = oManager.poNewCodeLocation(szFile, "Blit", -1);
  ASSERT_NE(nullptr, poFirst);
  ASSERT_NE(nullptr, poSecond);
  EXPECT_EQ(poFirst->nGetID() + 1, poSecond->nGetID());
  EXPECT_EQ(szFile, poFirst->pszGetFile());  // the text is not copied
  EXPECT_STREQ("Blit", poSecond->pszGetFunction());
  EXPECT_EQ(12, poFirst->iGetLine());
  EXPECT_EQ(-1, poSecond->iGetLine());
  EXPECT_EQ(2u, oManager.nGetCodeLocationCount());
}

TEST(Profiling, ThreadsGetNumbersAndDistinctNames) {
  CLuProfilingManager oManager;
  EXPECT_EQ(0u, oManager.nThreadID());
  EXPECT_EQ(nullptr, oManager.pszThreadName());

  oManager.RegisterThread("Main");
  EXPECT_EQ(1u, oManager.nThreadID());
  EXPECT_STREQ("Main", oManager.pszThreadName());

  struct SSeen {
    uint32_t nID;
    std::string strName;
  } aSeen[3];
  char const* const apszAsk[3] = {"Worker", "Worker", ""};
  // The threads register one after the other, so the numbers are
  // predictable, and stay alive until all have: an ended thread's platform
  // id may be handed to the next one.
  std::atomic<int> iTurn(0);
  std::vector<std::thread> aThreads;
  for (int i = 0; i < 3; ++i)
    aThreads.emplace_back([&, i] {
      while (iTurn != i) std::this_thread::yield();
      oManager.RegisterThread(apszAsk[i]);
      aSeen[i].nID = oManager.nThreadID();
      aSeen[i].strName = oManager.pszThreadName();
      ++iTurn;
      while (iTurn != 3) std::this_thread::yield();
    });
  for (std::thread& oThread : aThreads) oThread.join();
  EXPECT_EQ(2u, aSeen[0].nID);
  EXPECT_EQ("Worker", aSeen[0].strName);
  EXPECT_EQ(3u, aSeen[1].nID);
  EXPECT_EQ("Worker (3)", aSeen[1].strName);
  EXPECT_EQ(4u, aSeen[2].nID);
  EXPECT_EQ("Thread", aSeen[2].strName);

  // Registering again keeps the number and replaces the name.
  oManager.RegisterThread("Main loop");
  EXPECT_EQ(1u, oManager.nThreadID());
  EXPECT_STREQ("Main loop", oManager.pszThreadName());
}
