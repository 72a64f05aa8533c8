#include "files/paths.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iterator>

#include "base/command_line.h"
#include "files/temp_dir_test.h"

namespace {

namespace fs = std::filesystem;

std::string S(CLuString const& str) {
  return str.pszGetString();
}

// Splitting, the two halves, the extension and the join back, per path.
TEST(Paths, SplitTakesPathsApartAtLastSlashAndLastDot) {
  struct {
    char const *pszPath, *pszFolder, *pszName, *pszExtension;
    bool bRoundTrip;  // joining the parts gives the path back
  } const aCases[] = {
      {"/shots/a/plate.0001.dpx", "/shots/a/", "plate.0001", ".dpx", true},
      {"/shots/a.b/plate", "/shots/a.b/", "plate", "", true},  // dot in folder
      {"/shots/a/", "/shots/a/", "", "", true},
      {"plate.dpx", "", "plate", ".dpx", true},
      {".hidden", "", "", ".hidden", true},
      // Quotes at either end are stripped, even when unpaired.
      {"\"\"plate.dpx\"", "", "plate", ".dpx", false},
      {"\\shots\\a\\plate.dpx", "/shots/a/", "plate", ".dpx", false},
      {"", "", "", "", true},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszPath);
    CLuString strDrive("x"), strFolder("x"), strName("x"), strExtension("x");
    LuSplitPath(c.pszPath, &strDrive, &strFolder, &strName, &strExtension);
    EXPECT_EQ("", S(strDrive));
    EXPECT_EQ(c.pszFolder, S(strFolder));
    EXPECT_EQ(c.pszName, S(strName));
    EXPECT_EQ(c.pszExtension, S(strExtension));
    EXPECT_EQ(c.pszFolder, S(strLuDirectoryFromPath(c.pszPath)));
    EXPECT_EQ(std::string(c.pszName) + c.pszExtension,
              S(strLuFileNameFromPath(c.pszPath)));
    if (c.bRoundTrip) {
      EXPECT_EQ(c.pszPath, S(strLuCombinePath(strDrive, strFolder, strName,
                                              strExtension)));
    }
  }
}

TEST(Paths, CombineJoinsWithExactlyOneSeparatorAndOneDot) {
  struct {
    char const *pszDrive, *pszFolder, *pszName, *pszExtension, *pszExpected;
  } const aCases[] = {
      {"", "/shots/a", "plate", "dpx", "/shots/a/plate.dpx"},
      {"", "/shots/a/", "./plate", ".dpx", "/shots/a/plate.dpx"},
      {"", "", "/plate", "", "plate"},  // a name is always relative
      {"d", "/shots", "p", "", "d/shots/p"},
      {"", "a\\b", "c", "", "a/b/c"},
      {"", "", "", "dpx", ".dpx"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszExpected);
    EXPECT_EQ(c.pszExpected, S(strLuCombinePath(c.pszDrive, c.pszFolder,
                                                c.pszName, c.pszExtension)));
  }
}

TEST(Paths, PrevDirectoryAndAbsolutePathsAreTextual) {
  std::pair<char const*, char const*> const aPrev[] = {
      {"/shots/a/", "/shots/"}, {"/shots/a", "/shots/"}, {"a", ""}, {"/", "/"},
      {"../", "../../"},
  };
  for (auto [pszPath, pszPrev] : aPrev) {
    SCOPED_TRACE(pszPath);
    EXPECT_EQ(pszPrev, S(strLuGetPrevDirectory(pszPath)));
  }
  EXPECT_EQ("/shots/b/c.dpx",
            S(strLuAbsolutePath("../b/./c.dpx", "/shots/a/")));
  EXPECT_EQ("/x/z", S(strLuAbsolutePath("/x//y/../z", "/ignored")));
  EXPECT_EQ("/", S(strLuAbsolutePath("../../..", "/a")));
  std::string const strCwd = fs::current_path().string();
  EXPECT_EQ(strCwd + (strCwd == "/" ? "" : "/"), S(strLuCurrentDirectory()));
  EXPECT_EQ(S(strLuCurrentDirectory()) + "b/x", S(strLuAbsolutePath("x", "b")));
}

// File URLs lose their prefix; home and desktop paths round-trip.
TEST(Paths, VirtualAndRelativePathsAreRewrittenOnlyWhereTheyApply) {
  std::string const strOldHome = getenv("HOME") ? getenv("HOME") : "";
  setenv("HOME", "/home/t", 1);
  struct {
    void (*pfn)(CLuString const&, CLuString*);
    char const *pszIn, *pszOut;
  } const aCases[] = {
      {LuStripVirtualPathPrefix, "file:///shots/a", "/shots/a"},
      {LuStripVirtualPathPrefix, "FILE://localhost/x%20y", "/x y"},
      {LuStripVirtualPathPrefix, "file://server/x", "file://server/x"},
      {LuStripVirtualPathPrefix, "/plain%20", "/plain%20"},
      {LuHomeRelativeToRealPath, "~/x", "/home/t/x"},
      {LuRealPathToHomeRelativePath, "/home/t/docs/a", "docs/a"},
      {LuRealPathToHomeRelativePath, "/home/tX/a", "/home/tX/a"},
      {LuDesktopRelativeToRealPath, "s/a.dpx", "/home/t/Desktop/s/a.dpx"},
      {LuRealPathToDesktopRelativePath, "/home/t/Desktop/s/a.dpx", "s/a.dpx"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszIn);
    CLuString strOut("junk"), str(c.pszIn);
    c.pfn(c.pszIn, &strOut);
    c.pfn(str, &str);  // the result may be the input
    EXPECT_EQ(c.pszOut, S(strOut));
    EXPECT_EQ(c.pszOut, S(str));
  }
  setenv("HOME", strOldHome.c_str(), 1);
}

TEST(Paths, AppPathAndNameComeFromArgumentZeroOnce) {
  char const* apszArgs[] = {"/opt/tools/chronex", "-f"};
  CLuCommandLine::poGlobal()->Construct(2, apszArgs);
  EXPECT_EQ("/opt/tools/", S(strLuAppPath()));
  EXPECT_EQ("chronex", S(strLuExeName()));
  char const* apszOther[] = {"/elsewhere/other"};
  CLuCommandLine::poGlobal()->Construct(1, apszOther);
  EXPECT_EQ("chronex", S(strLuExeName()));  // kept from the first call
}

using PathsOnDisk = TempDirTest;

TEST_F(PathsOnDisk, CopyIsByteExactAndNeverLeavesAHalfFile) {
  std::string strBytes;  // no two 64 KiB chunks alike
  for (int i = 0; i < 3 * 65536 + 7; ++i) strBytes += char(i * 7 % 251);
  Write(P("src"), strBytes);
  fs::permissions(P("src"), fs::perms(0640));
  Write(P("dst"), "old");
  ASSERT_TRUE(bLuCopyFileNew(P("src").c_str(), P("dst").c_str(), true, 65536));
  EXPECT_EQ(strBytes, Read(P("dst")));
  EXPECT_EQ(fs::perms(0640), fs::status(P("dst")).permissions());
  EXPECT_TRUE(bLuCopyFile(P("src").c_str(), P("src").c_str(), true));
  EXPECT_EQ(strBytes, Read(P("src")));  // onto itself: content survives
  EXPECT_FALSE(bLuCopyFile(P("missing").c_str(), P("new").c_str(), true));
  // A write that fails half way (file size limit) must not leave a part.
  struct rlimit oOld;
  getrlimit(RLIMIT_FSIZE, &oOld);
  struct rlimit const oSmall = {100000, oOld.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &oSmall);
  bool const bCopied =
      bLuCopyFileNew(P("src").c_str(), P("dst").c_str(), true, 4096);
  setrlimit(RLIMIT_FSIZE, &oOld);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_FALSE(bCopied);
  EXPECT_EQ(strBytes, Read(P("dst")));  // the old file stays whole, no part
  EXPECT_EQ(2, std::distance(fs::directory_iterator(m_strRoot), {}));
}

TEST_F(PathsOnDisk, FoldersAreCreatedAsTreesAndDeletedWithoutFollowingLinks) {
  EXPECT_TRUE(bLuCreateFolderTree(P("a//b/c/").c_str()));
  EXPECT_TRUE(bLuCreateFolderTree(P("a/b/c").c_str()));  // already there
  EXPECT_TRUE(bLuCreateFolderTree(""));                  // the current folder
  EXPECT_TRUE(bLuDoesFolderExist(P("a/b/c").c_str()));
  Write(P("a/b/file"), "x");
  fs::create_directory(P("outside"));
  Write(P("outside/keep"), "x");
  fs::create_directory_symlink(P("outside"), P("a/b/link"));
  EXPECT_FALSE(bLuDeleteFolder(P("a/b/link").c_str(), true));  // a link
  EXPECT_FALSE(bLuDeleteFolder(P("a").c_str(), false));        // not empty
  EXPECT_TRUE(bLuDeleteFolder(P("a").c_str(), true));
  EXPECT_FALSE(bLuDoesFolderExist(P("a").c_str()));
  EXPECT_TRUE(bLuDoesFileExist(P("outside/keep").c_str()));
}

TEST_F(PathsOnDisk, FilesAndFoldersAreTestedForWritingByDoingIt) {
  Write(P("f"), "x");
  EXPECT_TRUE(bLuDoesFileExist(P("f").c_str()));
  EXPECT_FALSE(bLuDoesFileExist(m_strRoot.c_str()));
  EXPECT_TRUE(bLuDoesFileExist(m_strRoot.c_str(), true));
  EXPECT_TRUE(bLuIsFileWritable(P("new").c_str()));
  EXPECT_FALSE(bLuIsFileWritable(P("no/new").c_str()));
  EXPECT_FALSE(bLuDeleteFile(m_strRoot.c_str()));
  EXPECT_TRUE(bLuDeleteFile(P("f").c_str()));
  Write(P(".veloma.test"), "stale");
  EXPECT_TRUE(bLuIsFolderWritable(m_strRoot.c_str()));
  EXPECT_FALSE(bLuDoesFileExist(P(".veloma.test").c_str()));
  EXPECT_FALSE(bLuIsFolderWritable(P("missing").c_str()));
  // A test name that cannot be deleted means: not writable.
  fs::create_directories(P("sub/.veloma.test"));
  EXPECT_FALSE(bLuIsFolderWritable(P("sub").c_str()));
  if (geteuid() != 0) {  // the super-user writes anywhere
    fs::remove(P("sub/.veloma.test"));
    fs::permissions(P("sub"), fs::perms(0500));
    EXPECT_FALSE(bLuIsFolderWritable(P("sub").c_str()));
    fs::permissions(P("sub"), fs::perms(0700));
  }
}

}  // namespace
