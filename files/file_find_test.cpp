#include "files/file_find.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "files/paths.h"

namespace {

// A fresh temporary folder; the tests fill it with frames and decoys.
class FileFind : public ::testing::Test {
 protected:
  void SetUp() override {
    char szTemplate[] = "/tmp/lu_find_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(szTemplate));
    m_strRoot = szTemplate;
  }
  void TearDown() override {
    EXPECT_TRUE(bLuDeleteFolder(m_strRoot.c_str(), true));
  }
  std::string P(std::string const& strName) const {
    return m_strRoot + "/" + strName;
  }
  void Touch(std::string const& strName, std::string const& strBytes = "") {
    std::ofstream(P(strName), std::ios::binary) << strBytes;
  }
  // Every path the search yields, sorted (the folder's order is free).
  static std::vector<std::string> Found(std::string const& strPattern,
                                        bool bIncludeHidden) {
    std::vector<std::string> aPaths;
    CLuFileFind oFind(strPattern.c_str(), bIncludeHidden);
    while (oFind.bFindFile()) aPaths.push_back(oFind.strPath().pszGetString());
    std::sort(aPaths.begin(), aPaths.end());
    return aPaths;
  }
  std::string m_strRoot;
};

TEST_F(FileFind, PatternWithoutFolderListsTheCurrentFolder) {
  Touch("plate.0001.dpx");
  Touch("plate.0002.dpx");
  Touch("other.0001.dpx");
  Touch("plate.dpx");  // "*?" needs at least one character
  char szOld[4096];
  ASSERT_NE(nullptr, getcwd(szOld, sizeof szOld));
  ASSERT_EQ(0, chdir(m_strRoot.c_str()));
  std::vector<std::string> aFound = Found("plate*?.dpx", false);
  ASSERT_EQ(0, chdir(szOld));
  EXPECT_EQ((std::vector<std::string>{"./plate.0001.dpx", "./plate.0002.dpx"}),
            aFound);
}

TEST_F(FileFind, HiddenNamesAreSkippedWhateverTheirCaseInDotHidden) {
  Touch("plate.0001.dpx");
  Touch(".plate.0002.dpx");
  Touch("plate.0003.dpx");
  Touch("PLATE.0004.dpx");
  Touch("plate.0005.dpx");
  Touch(".hidden", "Plate.0003.DPX\r\nplate.0003.dpx\n\nplate.0005.dpx");
  EXPECT_EQ(
      (std::vector<std::string>{P("PLATE.0004.dpx"), P("plate.0001.dpx")}),
      Found(P("*plate*"), false));
  // With hidden entries included nothing is left out.
  EXPECT_EQ(5u, Found(P("*plate*"), true).size());
  CLuFileFind oFind(P(".plate.0002.dpx").c_str(), true);
  ASSERT_TRUE(oFind.bFindFile());
  EXPECT_TRUE(oFind.bIsHiddenFile());
  EXPECT_FALSE(oFind.bFindFile());
}

TEST_F(FileFind, MissingFolderYieldsNothing) {
  CLuFileFind oFind(P("nowhere/*").c_str(), false);
  EXPECT_FALSE(oFind.bFindFile());
  EXPECT_FALSE(oFind.bFindFile());
  EXPECT_EQ("", std::string(oFind.strPath().pszGetString()));
  EXPECT_FALSE(oFind.bIsDirectory());
  EXPECT_EQ(-1, oFind.i64FileSize());
}

TEST_F(FileFind, DotEntriesAreYieldedAndNotHidden) {
  Touch(".hidden", "nothing\n");
  CLuFileFind oFind(P("*").c_str(), false);
  std::vector<std::string> aDots;
  while (oFind.bFindFile()) {
    ASSERT_TRUE(oFind.bIsDots()) << oFind.strPath().pszGetString();
    EXPECT_FALSE(oFind.bIsHiddenFile());
    EXPECT_TRUE(oFind.bIsDirectory());
    aDots.push_back(oFind.strDisplayName().pszGetString());
  }
  std::sort(aDots.begin(), aDots.end());
  EXPECT_EQ((std::vector<std::string>{".", ".."}), aDots);
}

TEST_F(FileFind, FoldersAndLinksAreToldApartByTheirTarget) {
  Touch("plate.0001.dpx", "12345");
  ASSERT_EQ(0, mkdir(P("plate.0002.dpx").c_str(), 0700));
  ASSERT_EQ(0, symlink("plate.0002.dpx", P("plate.0003.dpx").c_str()));
  ASSERT_EQ(0, symlink("no-such-target", P("plate.0004.dpx").c_str()));
  ASSERT_EQ(0, symlink("plate.0001.dpx", P("plate.0005.dpx").c_str()));
  struct {
    char const* pszName;
    bool bIsDirectory;
    int64_t i64Size;
  } const aCases[] = {
      {"plate.0001.dpx", false, 5},
      {"plate.0002.dpx", true, -2},  // a folder's size is the file system's
      {"plate.0003.dpx", true, -2},
      {"plate.0004.dpx", false, 14},  // dangling: the link itself
      {"plate.0005.dpx", false, 5},   // a link: its target
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszName);
    CLuFileFind oFind(P(c.pszName).c_str(), false);
    ASSERT_TRUE(oFind.bFindFile());
    EXPECT_EQ(P(c.pszName), oFind.strPath().pszGetString());
    EXPECT_EQ(c.bIsDirectory, oFind.bIsDirectory());
    EXPECT_FALSE(oFind.bIsDots());
    EXPECT_FALSE(oFind.bIsNetworkNode());
    if (c.i64Size != -2) {
      EXPECT_EQ(c.i64Size, oFind.i64FileSize());
    }
    EXPECT_FALSE(oFind.bFindFile());
  }
}

TEST_F(FileFind, TimesAreTheEntrysOwn) {
  Touch("a.dpx");
  struct timeval aTimes[2] = {{1000000000, 0}, {1000000000, 0}};
  ASSERT_EQ(0, utimes(P("a.dpx").c_str(), aTimes));
  time_t iBefore = time(nullptr);
  CLuFileFind oFind(P("*.DPX").c_str(), false);  // patterns ignore case
  ASSERT_TRUE(oFind.bFindFile());
  EXPECT_EQ("2001-09-09 01:46:40",
            std::string(oFind.timModified().strAsGMTString().pszGetString()));
  // Birth or status-change time: the file was made by this test.
  std::string strCreated = oFind.timCreated().strAsGMTString().pszGetString();
  CLuTime timBefore(static_cast<long>(iBefore - 5));
  EXPECT_GE(strCreated, std::string(timBefore.strAsGMTString().pszGetString()));
}

TEST_F(FileFind, LongHiddenListIsLookedUpWithoutScanningIt) {
  // 1,000 frames, every other one hidden, and a ".hidden" of 200,000 lines
  // (each hidden frame once in upper case, the rest other names): scanning
  // the list per entry would cost 200 million comparisons.
  const int nFrames = 1000;
  std::string strHidden;
  for (int i = 0; i < nFrames; ++i) {
    char szName[64];
    snprintf(szName, sizeof szName, "plate.%05d.dpx", i);
    close(open(P(szName).c_str(), O_WRONLY | O_CREAT, 0644));
    if (i % 2 == 0) {
      snprintf(szName, sizeof szName, "PLATE.%05d.DPX\n", i);
      strHidden += szName;
    }
  }
  for (int i = nFrames / 2; i < 200000; ++i) {
    strHidden += "other." + std::to_string(i) + ".dpx\n";
  }
  Touch(".hidden", strHidden);
  struct timespec oStart, oEnd;
  clock_gettime(CLOCK_MONOTONIC, &oStart);
  size_t nFound = Found(P("plate.*.dpx"), false).size();
  clock_gettime(CLOCK_MONOTONIC, &oEnd);
  EXPECT_EQ(static_cast<size_t>(nFrames / 2), nFound);
  EXPECT_LT(oEnd.tv_sec - oStart.tv_sec, 10);  // generous; sanitizers too
}

}  // namespace
