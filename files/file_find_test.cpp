#include "files/file_find.h"

#include <sys/stat.h>
#include <sys/time.h>

#include <algorithm>
#include <vector>

#include "files/temp_dir_test.h"

namespace {

namespace fs = std::filesystem;
using FileFind = TempDirTest;
using Names = std::vector<std::string>;

// Every path the search yields, sorted (the folder's order is free).
Names Found(std::string const& strPattern, bool bIncludeHidden) {
  Names aPaths;
  CLuFileFind oFind(strPattern.c_str(), bIncludeHidden);
  while (oFind.bFindFile()) aPaths.push_back(oFind.strPath().pszGetString());
  std::sort(aPaths.begin(), aPaths.end());
  return aPaths;
}

TEST_F(FileFind, HiddenNamesAreSkippedWhateverTheirCaseInDotHidden) {
  for (char const* psz : {"plate.0001.dpx", ".plate.0002.dpx", "plate.0003.dpx",
                          "PLATE.0004.dpx", "plate.0005.dpx"})
    Write(P(psz), "");
  Write(P(".hidden"), "Plate.0003.DPX\r\nplate.0003.dpx\n\nplate.0005.dpx");
  EXPECT_EQ((Names{P("PLATE.0004.dpx"), P("plate.0001.dpx")}),
            Found(P("*plate*"), false));
  EXPECT_EQ(5u, Found(P("*plate*"), true).size());  // nothing left out
}

TEST_F(FileFind, HiddenListThatIsAPipeDoesNotStallTheSearch) {
  Write(P("plate.0001.dpx"), "");
  ASSERT_EQ(0, mkfifo(P(".hidden").c_str(), 0600));  // no writer, ever
  EXPECT_EQ((Names{P("plate.0001.dpx")}), Found(P("plate*"), false));
}

TEST_F(FileFind, DotEntriesAreYieldedAndNotHidden) {
  Write(P(".hidden"), "nothing\n");
  EXPECT_EQ((Names{P("."), P("..")}), Found(P("*"), false));
  CLuFileFind oFind(P("*").c_str(), false);
  while (oFind.bFindFile()) {
    EXPECT_TRUE(oFind.bIsDots());
    EXPECT_FALSE(oFind.bIsHiddenFile());
    EXPECT_TRUE(oFind.bIsDirectory());
  }
  // Past the last entry there is none to ask about.
  EXPECT_STREQ("", oFind.strPath().pszGetString());
  EXPECT_FALSE(oFind.bIsDirectory());
  EXPECT_EQ(-1, oFind.i64FileSize());
}

TEST_F(FileFind, FoldersAndLinksAreToldApartByTheirTarget) {
  Write(P("plate.0001.dpx"), "12345");
  fs::create_directory(P("plate.0002.dpx"));
  fs::create_symlink("plate.0002.dpx", P("plate.0003.dpx"));
  fs::create_symlink("no-such-target", P("plate.0004.dpx"));
  fs::create_symlink("plate.0001.dpx", P("plate.0005.dpx"));
  // A backslash in a name is a separator in the entry's path, which then
  // names another entry: that one decides.
  fs::create_directories(P("sub/x"));
  Write(P("sub\\x"), "");
  fs::create_directory(P("sub\\y"));
  // 0003 links to the folder; 0004 dangles, so its size is the link's own
  // (14 bytes); 0005 links to the file and has the target's size.
  struct {
    char const* pszName;
    bool bIsDirectory;
    int64_t i64Size;  // -2: a folder's size is the file system's
  } const aCases[] = {
      {"plate.0001.dpx", false, 5},
      {"plate.0002.dpx", true, -2},
      {"plate.0003.dpx", true, -2},
      {"plate.0004.dpx", false, 14},
      {"plate.0005.dpx", false, 5},
      {"sub\\x", true, -2},   // a file, but sub/x is a folder
      {"sub\\y", false, -2},  // a folder, but there is no sub/y
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszName);
    std::string strPattern = c.pszName;  // "?" stands for the backslash
    std::replace(strPattern.begin(), strPattern.end(), '\\', '?');
    CLuFileFind oFind(P(strPattern).c_str(), false);
    ASSERT_TRUE(oFind.bFindFile());
    EXPECT_EQ(c.bIsDirectory, oFind.bIsDirectory());
    EXPECT_TRUE(c.i64Size == -2 || c.i64Size == oFind.i64FileSize());
  }
  struct timeval aTimes[2] = {{1000000000, 0}, {1000000000, 0}};
  ASSERT_EQ(0, utimes(P("plate.0001.dpx").c_str(), aTimes));
  CLuFileFind oFind(P("*0001.DPX").c_str(), false);  // patterns ignore case
  ASSERT_TRUE(oFind.bFindFile());
  EXPECT_STREQ("2001-09-09 01:46:40",
               oFind.timModified().strAsGMTString().pszGetString());
}

}  // namespace
