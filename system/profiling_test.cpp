#include "system/profiling.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "files/temp_dir_test.h"

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

// Each test's log path is "<folder>/run"; -1 is the size of a missing file.
class ProfilingTest : public TempDirTest {
 protected:
  long iFileSize() const {
    std::error_code oError;
    return long(std::filesystem::file_size(P("run.intervals"), oError));
  }
  CLuString LogPath() const { return P("run").c_str(); }
};

}  // namespace

TEST_F(ProfilingTest, GlobalManagerEndsAtExitWithoutTouchingTheDisk) {
  // The child process runs the exit handlers in the temp folder: the global
  // manager must end cleanly and leave the folder empty.
  EXPECT_EXIT(
      {
        if (chdir(m_strRoot.c_str()) != 0) _exit(3);
        exit(CLuProfilingManager::poGlobal() != nullptr ? 0 : 4);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_TRUE(std::filesystem::is_empty(m_strRoot));
}

TEST_F(ProfilingTest, RecordsNeverSplitAcrossBlocks) {
  CLuProfilingManager oManager(LogPath());
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
    oManager.SetLogPath(LogPath());
    for (uint32_t i = 0; i < nRecords; ++i) {
      SInterval oInterval = oMakeInterval(i, uint8_t(i % 7));
      strWant.append(reinterpret_cast<char const*>(&oInterval),
                     oInterval.nGetSize());
      oManager.AddInterval(oInterval, i == 5);
    }
    EXPECT_TRUE(oManager.bSomethingRecorded());
    EXPECT_EQ(-1, iFileSize());  // the thread never ran: nothing written yet
  }
  std::string const strBytes = Read(P("run.intervals"));
  EXPECT_TRUE(strBytes == strWant) << "the file differs";
  // Record 1 after the 28-byte record 0: kind 1, one entry, flags 0, thread
  // 0, location 1, start 0x0000000100000002 and end 0x0000000100000009 as
  // low half then high half, then the entry (location 1, 1,000 ns).
  EXPECT_EQ(std::string("\1\1\0\0\0\0\0\0\1\0\0\0\2\0\0\0\1\0\0\0\11\0\0\0"
                        "\1\0\0\0\1\0\0\0\350\3\0\0\0\0\0\0", 40),
            strBytes.substr(28, 40));
}

TEST_F(ProfilingTest, ConcurrentReportersLoseNoRecord) {
  {
    CLuProfilingManager oManager(LogPath());
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
