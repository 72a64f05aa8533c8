#include "files/paths.h"

#include <dirent.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "base/command_line.h"

namespace {

std::string S(CLuString const& str) {
  return str.pszGetString();
}

TEST(Paths, SplitTakesPathsApartAtLastSlashAndLastDot) {
  struct {
    char const* pszPath;
    char const* pszFolder;
    char const* pszName;
    char const* pszExtension;
  } const aCases[] = {
      {"/shots/a/plate.0001.dpx", "/shots/a/", "plate.0001", ".dpx"},
      {"/shots/a.b/plate", "/shots/a.b/", "plate", ""},  // dot in a folder
      {"/shots/a/", "/shots/a/", "", ""},
      {"/", "/", "", ""},
      {"plate.dpx", "", "plate", ".dpx"},
      {"\"/shots/a/plate.dpx\"", "/shots/a/", "plate", ".dpx"},
      {"\"\"plate.dpx\"", "", "plate", ".dpx"},  // ends stripped unpaired
      {"\\shots\\a\\plate.dpx", "/shots/a/", "plate", ".dpx"},
      {"", "", "", ""},
      {"\"\"", "", "", ""},
      {".hidden", "", "", ".hidden"},
      {"plate.", "", "plate", "."},
      {"a/..", "a/", ".", "."},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszPath);
    CLuString strDrive("x"), strFolder("x"), strName("x"), strExtension("x");
    LuSplitPath(c.pszPath, &strDrive, &strFolder, &strName, &strExtension);
    EXPECT_EQ("", S(strDrive));
    EXPECT_EQ(c.pszFolder, S(strFolder));
    EXPECT_EQ(c.pszName, S(strName));
    EXPECT_EQ(c.pszExtension, S(strExtension));
  }
}

TEST(Paths, SplitFillsOnlyThePartsAskedFor) {
  CLuString strName;
  LuSplitPath("/shots/a/plate.0001.dpx", nullptr, nullptr, &strName, nullptr);
  EXPECT_EQ("plate.0001", S(strName));
}

TEST(Paths, CombineJoinsWithExactlyOneSeparatorAndOneDot) {
  struct {
    char const* pszDrive;
    char const* pszFolder;
    char const* pszName;
    char const* pszExtension;
    char const* pszExpected;
  } const aCases[] = {
      {"", "/shots/a", "plate", "dpx", "/shots/a/plate.dpx"},
      {"", "/shots/a/", "./plate", ".dpx", "/shots/a/plate.dpx"},
      {"", "", "/plate", "", "plate"},  // a name is always relative
      {"", "", ".\\plate", "dpx", "plate.dpx"},
      {"d", "/shots", "p", "", "d/shots/p"},
      {"d/", "/", "p", "", "d/p"},
      {"", "a\\b", "c", "", "a/b/c"},
      {"", "/shots/a", "", "", "/shots/a/"},
      {"", "./", "x", "", "./x"},
      {"", "", "", "dpx", ".dpx"},
      {"", "", "", "", ""},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszExpected);
    EXPECT_EQ(c.pszExpected, S(strLuCombinePath(c.pszDrive, c.pszFolder,
                                                c.pszName, c.pszExtension)));
  }
}

TEST(Paths, SplitThenCombineGivesThePathBack) {
  for (char const* pszPath :
       {"/shots/a/plate.0001.dpx", "/shots/a.b/plate", "/shots/a/", "plate.dpx",
        ".hidden", "plate.", "a/..", "/"}) {
    SCOPED_TRACE(pszPath);
    CLuString strDrive, strFolder, strName, strExtension;
    LuSplitPath(pszPath, &strDrive, &strFolder, &strName, &strExtension);
    EXPECT_EQ(pszPath,
              S(strLuCombinePath(strDrive, strFolder, strName, strExtension)));
  }
}

TEST(Paths, FileNameAndDirectoryAreTheTwoHalvesOfAPath) {
  struct {
    char const* pszPath;
    char const* pszFileName;
    char const* pszDirectory;
  } const aCases[] = {
      {"/shots/a/plate.0001.dpx", "plate.0001.dpx", "/shots/a/"},
      {"/shots/a/", "", "/shots/a/"},
      {"plate.dpx", "plate.dpx", ""},
      {"/shots/a.b/plate", "plate", "/shots/a.b/"},
      {"\"/shots/a/plate.dpx\"", "plate.dpx", "/shots/a/"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszPath);
    EXPECT_EQ(c.pszFileName, S(strLuFileNameFromPath(c.pszPath)));
    EXPECT_EQ(c.pszDirectory, S(strLuDirectoryFromPath(c.pszPath)));
  }
}

TEST(Paths, ExtensionPrevDirectoryAndAbsoluteTestsAreTextual) {
  EXPECT_EQ(".gz", S(strLuGetExtension("x.tar.gz")));
  EXPECT_EQ("", S(strLuGetExtension("/a.b/c")));
  struct {
    char const* pszPath;
    char const* pszPrev;
  } const aPrev[] = {
      {"/shots/a/", "/shots/"},
      {"/shots/a", "/shots/"},
      {"a/b", "a/"},
      {"a", ""},
      {"/", "/"},
      {"//", "/"},
      {"../", "../../"},
      {"", ""},
      {"\\x\\y", "/x/"},
  };
  for (auto const& c : aPrev) {
    SCOPED_TRACE(c.pszPath);
    EXPECT_EQ(c.pszPrev, S(strLuGetPrevDirectory(c.pszPath)));
  }
  EXPECT_TRUE(bLuIsAbsolutePath("/a"));
  EXPECT_TRUE(bLuIsAbsolutePath("\\a"));
  EXPECT_FALSE(bLuIsAbsolutePath("a/b"));
  EXPECT_FALSE(bLuIsAbsolutePath(""));
}

TEST(Paths, AbsolutePathResolvesAgainstTheBaseAndCleansUp) {
  struct {
    char const* pszPath;
    char const* pszBase;
    char const* pszExpected;
  } const aCases[] = {
      {"../b/./c.dpx", "/shots/a/", "/shots/b/c.dpx"},
      {"c", "/a/b", "/a/b/c"},
      {"/x//y/../z", "/ignored", "/x/z"},
      {"../../..", "/a", "/"},
      {"..", "/a/b", "/a/"},
      {"sub/", "/a", "/a/sub/"},
      {"", "/a", "/a/"},
      {"x\\y", "/a", "/a/x/y"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszPath);
    EXPECT_EQ(c.pszExpected, S(strLuAbsolutePath(c.pszPath, c.pszBase)));
  }
  char szCwd[4096];
  ASSERT_NE(nullptr, getcwd(szCwd, sizeof szCwd));
  std::string strCwd = std::string(szCwd) + (szCwd[1] ? "/" : "");
  EXPECT_EQ(strCwd, S(strLuCurrentDirectory()));
  EXPECT_EQ(strCwd + "x", S(strLuAbsolutePath("x", "")));
  EXPECT_EQ(strCwd + "b/x", S(strLuAbsolutePath("x", "b")));
}

TEST(Paths, VirtualPrefixesAreStrippedFromFileUrlsOnly) {
  struct {
    char const* pszIn;
    char const* pszOut;
  } const aCases[] = {
      {"file:///shots/a", "/shots/a"},
      {"FILE://localhost/x%20y", "/x y"},
      {"file://localhost", "/"},
      {"file:/a%zz", "/a%zz"},
      {"file://server/x", "file://server/x"},  // another host: not local
      {"/plain%20", "/plain%20"},
      {"file:", "file:"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszIn);
    CLuString str(c.pszIn);
    LuStripVirtualPathPrefix(str, &str);  // result may be the input
    EXPECT_EQ(c.pszOut, S(str));
  }
}

TEST(Paths, HomeAndDesktopRelativePathsRoundTrip) {
  std::string strOldHome = getenv("HOME") ? getenv("HOME") : "";
  setenv("HOME", "/home/tester", 1);
  EXPECT_EQ("/home/tester/", S(strLuOSPath(eOSPathHome)));
  EXPECT_EQ("/home/tester/Desktop/", S(strLuOSPath(eOSPathDesktop)));
  struct {
    void (*pfn)(CLuString const&, CLuString*);
    char const* pszIn;
    char const* pszOut;
  } const aCases[] = {
      {LuHomeRelativeToRealPath, "docs/a", "/home/tester/docs/a"},
      {LuHomeRelativeToRealPath, "~/x", "/home/tester/x"},
      {LuHomeRelativeToRealPath, "/abs", "/abs"},
      {LuHomeRelativeToRealPath, "", "/home/tester/"},
      {LuRealPathToHomeRelativePath, "/home/tester/docs/a", "docs/a"},
      {LuRealPathToHomeRelativePath, "/home/tester", ""},
      {LuRealPathToHomeRelativePath, "/home/testerX/a", "/home/testerX/a"},
      {LuRealPathToHomeRelativePath, "rel", "rel"},
      {LuDesktopRelativeToRealPath, "shots/a.dpx",
       "/home/tester/Desktop/shots/a.dpx"},
      {LuDesktopRelativeToRealPath, "~", "/home/tester/"},
      {LuRealPathToDesktopRelativePath, "/home/tester/Desktop/shots/a.dpx",
       "shots/a.dpx"},
      {LuRealPathToDesktopRelativePath, "/home/tester/x", "/home/tester/x"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszIn);
    CLuString strOut("junk");
    c.pfn(c.pszIn, &strOut);
    EXPECT_EQ(c.pszOut, S(strOut));
    c.pfn(c.pszIn, nullptr);  // no output wanted: nothing happens
  }
  setenv("HOME", strOldHome.c_str(), 1);
}

TEST(Paths, OsErrorIsTheSystemsTextAndLeavesErrnoAlone) {
  errno = ENOENT;
  EXPECT_EQ("No such file or directory", S(strLuLastOSError()));
  EXPECT_EQ(ENOENT, errno);
  errno = 0;
  EXPECT_EQ("", S(strLuLastOSError()));
}

TEST(Paths, AppPathAndNameComeFromArgumentZeroOnce) {
  char szArg0[] = "/opt/tools/chronex";
  char szArg1[] = "-f";
  char* apszArgs[] = {szArg0, szArg1};
  CLuCommandLine::poGlobal()->Construct(2, apszArgs);
  EXPECT_EQ("/opt/tools/", S(strLuAppPath()));
  EXPECT_EQ("chronex", S(strLuExeName()));
  EXPECT_EQ("/opt/tools/", S(strLuOSPath(eOSPathApplication)));
  char szOther[] = "/elsewhere/other";
  char* apszOther[] = {szOther};
  CLuCommandLine::poGlobal()->Construct(1, apszOther);
  EXPECT_EQ("chronex", S(strLuExeName()));  // kept from the first call
}

// Real files in a fresh temporary folder.
class PathsOnDisk : public ::testing::Test {
 protected:
  void SetUp() override {
    char szTemplate[] = "/tmp/lu_paths_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(szTemplate));
    m_strRoot = szTemplate;
  }
  void TearDown() override {
    chmod(m_strRoot.c_str(), 0700);
    EXPECT_TRUE(bLuDeleteFolder(m_strRoot.c_str(), true));
  }
  std::string P(char const* pszName) const { return m_strRoot + "/" + pszName; }
  void Write(std::string const& strPath, std::string const& strBytes) {
    std::ofstream(strPath, std::ios::binary) << strBytes;
  }
  std::string Read(std::string const& strPath) {
    std::ifstream oIn(strPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(oIn), {});
  }
  int NumberOfEntries() {
    int n = 0;
    DIR* pDir = opendir(m_strRoot.c_str());
    while (struct dirent* p = readdir(pDir)) {
      n += strcmp(p->d_name, ".") != 0 && strcmp(p->d_name, "..") != 0;
    }
    closedir(pDir);
    return n;
  }
  std::string m_strRoot;
};

TEST_F(PathsOnDisk, CopyIsByteExactAcrossManyChunks) {
  std::string strBytes(3 * 65536 + 7, 0);
  uint32_t nState = 12345;
  for (char& c : strBytes) c = static_cast<char>((nState *= 1103515245u) >> 24);
  Write(P("src"), strBytes);
  chmod(P("src").c_str(), 0640);
  ASSERT_TRUE(bLuCopyFileNew(P("src").c_str(), P("dst").c_str(), false, 65536));
  EXPECT_EQ(strBytes, Read(P("dst")));
  struct stat st;
  ASSERT_EQ(0, stat(P("dst").c_str(), &st));
  EXPECT_EQ(0640u, st.st_mode & 0777);
  EXPECT_EQ(2, NumberOfEntries());  // no temporary left behind
}

TEST_F(PathsOnDisk, CopyOverwritesOnlyWhenAsked) {
  Write(P("src"), "new");
  Write(P("dst"), "old");
  EXPECT_FALSE(bLuCopyFile(P("src").c_str(), P("dst").c_str(), false));
  EXPECT_EQ("old", Read(P("dst")));
  EXPECT_TRUE(bLuCopyFile(P("src").c_str(), P("dst").c_str(), true));
  EXPECT_EQ("new", Read(P("dst")));
  EXPECT_TRUE(bLuCopyFile(P("src").c_str(), P("src").c_str(), true));
  EXPECT_EQ("new", Read(P("src")));  // onto itself: content survives
  EXPECT_EQ(2, NumberOfEntries());
}

TEST_F(PathsOnDisk, FailedCopyLeavesNoFileBehind) {
  EXPECT_FALSE(bLuCopyFile(P("missing").c_str(), P("dst").c_str(), true));
  EXPECT_FALSE(bLuCopyFile(m_strRoot.c_str(), P("dst").c_str(), true));
  Write(P("src"), std::string(300000, 'x'));
  EXPECT_FALSE(bLuCopyFile(P("src").c_str(), P("no/dst").c_str(), true));
  // A write that fails half way (file size limit) must not leave a part.
  struct rlimit oOld, oSmall;
  getrlimit(RLIMIT_FSIZE, &oOld);
  oSmall = oOld;
  oSmall.rlim_cur = 100000;
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &oSmall);
  bool bCopied = bLuCopyFileNew(P("src").c_str(), P("dst").c_str(), true, 4096);
  int iError = errno;
  setrlimit(RLIMIT_FSIZE, &oOld);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_FALSE(bCopied);
  EXPECT_EQ(EFBIG, iError);
  EXPECT_EQ(1, NumberOfEntries());
}

TEST_F(PathsOnDisk, FoldersAreCreatedAsTreesAndDeletedWithoutFollowingLinks) {
  EXPECT_TRUE(bLuCreateFolderTree(P("a//b/c/").c_str()));
  EXPECT_TRUE(bLuCreateFolderTree(P("a/b/c").c_str()));  // already there
  EXPECT_TRUE(bLuDoesFolderExist(P("a/b/c").c_str()));
  Write(P("a/b/file"), "x");
  EXPECT_FALSE(bLuCreateFolderTree(P("a/b/file/d").c_str()));
  mkdir(P("outside").c_str(), 0700);
  Write(P("outside/keep"), "x");
  ASSERT_EQ(0, symlink(P("outside").c_str(), P("a/b/link").c_str()));

  EXPECT_FALSE(bLuDeleteFolder(P("a/b/link").c_str(), true));  // a link
  EXPECT_FALSE(bLuDeleteFolder(P("a").c_str(), false));        // not empty
  EXPECT_TRUE(bLuDeleteFolder(P("a").c_str(), true));
  EXPECT_FALSE(bLuDoesFolderExist(P("a").c_str()));
  EXPECT_TRUE(bLuDoesFileExist(P("outside/keep").c_str()));
  EXPECT_FALSE(bLuDeleteFolder(P("a").c_str(), true));  // gone already
}

TEST_F(PathsOnDisk, ExistenceAndWritabilityOfFiles) {
  Write(P("f"), "x");
  EXPECT_TRUE(bLuDoesFileExist(P("f").c_str()));
  EXPECT_FALSE(bLuDoesFileExist(m_strRoot.c_str()));
  EXPECT_TRUE(bLuDoesFileExist(m_strRoot.c_str(), true));
  EXPECT_FALSE(bLuDoesFileExist(P("missing").c_str(), true));
  EXPECT_TRUE(bLuIsFileWritable(P("f").c_str()));
  EXPECT_TRUE(bLuIsFileWritable(P("new").c_str()));
  EXPECT_FALSE(bLuIsFileWritable(P("no/new").c_str()));
  EXPECT_FALSE(bLuIsFileWritable(m_strRoot.c_str()));
  EXPECT_FALSE(bLuDeleteFile(m_strRoot.c_str()));
  EXPECT_TRUE(bLuDeleteFile(P("f").c_str()));
  EXPECT_FALSE(bLuDeleteFile(P("f").c_str()));
}

TEST_F(PathsOnDisk, FolderWritabilityIsTriedWithATestFile) {
  Write(P(".veloma.test"), "stale");
  EXPECT_TRUE(bLuIsFolderWritable(m_strRoot.c_str()));
  EXPECT_FALSE(bLuDoesFileExist(P(".veloma.test").c_str()));
  EXPECT_FALSE(bLuIsFolderWritable(P("missing").c_str()));
  // A test name that cannot be deleted means: not writable.
  mkdir(P("sub").c_str(), 0700);
  mkdir(P("sub/.veloma.test").c_str(), 0700);
  EXPECT_FALSE(bLuIsFolderWritable(P("sub").c_str()));
  if (geteuid() != 0) {  // the super-user writes anywhere
    rmdir(P("sub/.veloma.test").c_str());
    chmod(P("sub").c_str(), 0500);
    EXPECT_FALSE(bLuIsFolderWritable(P("sub").c_str()));
    chmod(P("sub").c_str(), 0700);
  }
}

}  // namespace
