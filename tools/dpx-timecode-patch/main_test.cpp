// End-to-end tests: the built chronex binary run in temporary folders on
// DPX files made here, standard output compared byte for byte, exit status
// and the files checked afterwards.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tools/dpx-timecode-patch/test_support.h"

namespace {

using chronex_test::Bytes;
using chronex_test::ReadFile;
using chronex_test::RunChronex;
using chronex_test::SRun;
using chronex_test::TimeCodeAt;

std::string const kBanner = "VELOMA DPX Time Code Patching Utility 1.0\n\n";
std::string const kUsage =
    "Usage: Chronex input [-f FPS] [-t value]\n"
    "  input    - sequence to patch (sequence#.dpx)\n"
    "  -f FPS   - desired frame rate (24 FPS by default)\n"
    "  -t value - starting time code (00:00:00:00 by default)\n";
std::string const kNotFound =
    "The specified frame sequence could not be found.\n\n";
std::string const kBothNotes =
    "Frame rate not specified, using default (24)\n"
    "Starting time code not specified, using default (00:00:00:00)\n\n";

class Chronex : public chronex_test::TempFolderTest {};

TEST_F(Chronex, UsageErrorsPrintBannerAndUsageWithTheirExitCodes) {
  Frame("p.0001.dpx");
  std::string const p = Path("p.0001.dpx");
  struct {
    std::vector<std::string> astrArgs;
    int iStatus;  // -1..-4 as the shell sees them
  } const aCases[] = {
      {{}, 255},
      {{p, "-f"}, 254},
      {{p, "-t"}, 254},
      {{p, "-f", "25", "-t"}, 254},
      {{p, "-f", "abc"}, 253},
      {{p, "-f", "25x"}, 253},
      {{p, "-x", "1"}, 253},
      {{p, "second.dpx"}, 253},
      {{"-f", "25", p}, 253},  // argument 1 is always the input
      {{p, "-t", "1:2"}, 253},
      {{p, "-t", "24:00:00:00"}, 253},
      // parsed at 24 fps before the rate arrives
      {{p, "-t", "00:00:00:25", "-f", "30"}, 253},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(testing::PrintToString(c.astrArgs));
    SRun const r = RunChronex(c.astrArgs);
    EXPECT_EQ(r.strOut, kBanner + kUsage);
    EXPECT_EQ(r.iStatus, c.iStatus);
  }
  EXPECT_EQ(ReadFile(p).size(), 2148u);  // nothing was touched
}

TEST_F(Chronex, MissingSequenceExitsWithMinusFourAndNoNotes) {
  for (std::string const& strInput :
       {Path("p.0001.dpx"), Path("nowhere/p.0001.dpx"), m_strDir + "/"}) {
    SCOPED_TRACE(strInput);
    SRun const r = RunChronex({strInput});
    EXPECT_EQ(r.strOut, kBanner + kNotFound);
    EXPECT_EQ(r.iStatus, 252);
  }
}

TEST_F(Chronex, OptionsAreCaseBlindTrimmedAndTheLastOneWins) {
  Frame("p.0001.dpx");
  Frame("p.0002.dpx");
  std::string const p = Path("p.0001.dpx");
  std::string const strFrames =
      "p.0001.dpx: 00:00:00:00 -> 01:00:00:24\n"
      "p.0002.dpx: 00:00:00:00 -> 01:00:01:00\n";
  struct {
    std::vector<std::string> astrArgs;
    std::string strNotes;
  } const aCases[] = {
      {{p, "-F", "25", "-T", "01:00:00:24"}, ""},
      {{p, "-f", " \t25\r\n", "-t", "01:00:00:24"}, ""},
      {{p, "-f", "30", "-f", "25", "-t", "00:00:00:00", "-t", "01:00:00:24"},
       ""},
      // parsed at 30 fps, stepped at 25 (frame 24 is the last of a second)
      {{p, "-f", "30", "-t", "01:00:00:24", "-f", "25"}, ""},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(testing::PrintToString(c.astrArgs));
    Frame("p.0001.dpx");
    Frame("p.0002.dpx");
    SRun const r = RunChronex(c.astrArgs);
    EXPECT_EQ(r.strOut, kBanner + c.strNotes + strFrames);
    EXPECT_EQ(r.iStatus, 0);
  }
}

TEST_F(Chronex, NotesTellWhichDefaultsAreUsed) {
  Frame("p.0001.dpx");
  std::string const p = Path("p.0001.dpx");
  std::string const strLine =
      "p.0001.dpx: 00:00:00:00 (doesn't need updating)\n";
  EXPECT_EQ(RunChronex({p}).strOut, kBanner + kBothNotes + strLine);
  EXPECT_EQ(RunChronex({p, "-f", "25"}).strOut,
            kBanner +
                "Starting time code not specified, using default "
                "(00:00:00:00)\n\n" +
                strLine);
  EXPECT_EQ(
      RunChronex({p, "-t", "00:00:00:00"}).strOut,
      kBanner + "Frame rate not specified, using default (24)\n\n" + strLine);
}

TEST_F(Chronex, DiscoveryKeepsTheSequenceAndSkipsDecoys) {
  Frame("plate.0001.dpx", 1, 0, 0, 0);
  Frame("plate.0002.dpx");
  Frame("PLATE.0003.DPX");   // differs only in case: kept
  Frame("plate.0004.dpx");   // listed in .hidden
  Frame(".plate.0005.dpx");  // hidden by its dot
  Frame("other.0001.dpx");   // other name
  Frame("plate.0001.tif");   // other extension
  Frame("plate.0006.dpx.bak");
  mkdir(Path("plate.0007.dpx").c_str(), 0755);  // folder named like a frame
  chronex_test::WriteFile(
      Path(".hidden"), {'p', 'l', 'a', 't', 'e', '.', '0', '0', '0', '4', '.',
                        'd', 'p', 'x', '\n'});
  std::string const strOut =
      "PLATE.0003.DPX: 00:00:00:00 -> 01:00:00:00\n"
      "plate.0001.dpx: 01:00:00:00 -> 01:00:00:01\n"
      "plate.0002.dpx: 00:00:00:00 -> 01:00:00:02\n";
  for (char const* pszInput :
       {"plate.0002.dpx", "plate.#.dpx", "plate.0099.dpx"}) {
    SCOPED_TRACE(pszInput);
    SRun const r =
        RunChronex({Path(pszInput), "-t", "01:00:00:00", "-f", "24"});
    EXPECT_EQ(r.strOut, kBanner + strOut);
    EXPECT_EQ(r.iStatus, 0);
  }
  EXPECT_EQ(ReadFile(Path("plate.0004.dpx")).size(), 2148u);
  EXPECT_EQ(ReadFile(Path(".plate.0005.dpx")).size(), 2148u);
  EXPECT_EQ(ReadFile(Path("other.0001.dpx")).size(), 2148u);
  for (char const* pszInput :
       {"plate.##.dpx", "plate.%d.dpx", "plate.%04d.dpx"}) {
    SCOPED_TRACE(pszInput);
    SRun const r = RunChronex({Path(pszInput)});
    EXPECT_EQ(r.strOut, kBanner + kNotFound);
    EXPECT_EQ(r.iStatus, 252);
  }
}

TEST_F(Chronex, UnpaddedNumbersSortByBytesAndRelativeInputWorks) {
  for (char const* psz : {"a.8.dpx", "a.9.dpx", "a.10.dpx", "a.11.dpx"})
    Frame(psz);
  SRun const r =
      RunChronex({"a.8.dpx", "-t", "00:00:10:00", "-f", "25"}, m_strDir);
  EXPECT_EQ(r.strOut, kBanner +
                          "a.10.dpx: 00:00:00:00 -> 00:00:10:00\n"
                          "a.11.dpx: 00:00:00:00 -> 00:00:10:01\n"
                          "a.8.dpx: 00:00:00:00 -> 00:00:10:02\n"
                          "a.9.dpx: 00:00:00:00 -> 00:00:10:03\n");
}

TEST_F(Chronex, PatchAppendsAHeaderAndARerunPatchesAgain) {
  Frame("s.0001.dpx", 10, 0, 0, 0);
  Frame("s.0002.dpx", 1, 0, 0, 1);  // already right: never touched
  Bytes const aOriginal = ReadFile(Path("s.0001.dpx"));
  Bytes const aRight = ReadFile(Path("s.0002.dpx"));
  std::vector<std::string> const astrArgs = {Path("s.0001.dpx"), "-t",
                                             "01:00:00:00", "-f", "24"};
  std::string const strOut =
      kBanner +
      "s.0001.dpx: 10:00:00:00 -> 01:00:00:00\n"
      "s.0002.dpx: 01:00:00:01 (doesn't need updating)\n";
  for (size_t nRun = 1; nRun <= 2; ++nRun) {
    SCOPED_TRACE(nRun);
    SRun const r = RunChronex(astrArgs);
    EXPECT_EQ(r.strOut, strOut);
    EXPECT_EQ(r.iStatus, 0);
    Bytes const a = ReadFile(Path("s.0001.dpx"));
    ASSERT_EQ(a.size(), aOriginal.size() + nRun * 2048);
    // The original stays in front, its old timecode included.
    EXPECT_TRUE(std::equal(aOriginal.begin(), aOriginal.end(), a.begin()));
    // The last 2048 bytes are the header with the new word only.
    Bytes aExpected(aOriginal.begin(), aOriginal.begin() + 2048);
    uint8_t const aby[4] = {0x01, 0x00, 0x00, 0x00};
    std::copy(aby, aby + 4, aExpected.begin() + 1920);
    EXPECT_TRUE(std::equal(aExpected.begin(), aExpected.end(), a.end() - 2048));
    EXPECT_EQ(ReadFile(Path("s.0002.dpx")), aRight);
  }
}

TEST_F(Chronex, BadFramesGetAnErrorLineAndTheRunGoesOn) {
  Frame("b.0001.dpx");
  chronex_test::WriteFile(Path("b.0002.dpx"), Bytes(3000, 'x'));  // no DPX
  Bytes aShort = chronex_test::DpxBytes(0, 0, 0, 0);
  aShort.resize(2047);
  chronex_test::WriteFile(Path("b.0003.dpx"), aShort);
  Bytes aMagic = chronex_test::DpxBytes(0, 0, 0, 0);
  aMagic[0] = 's';
  chronex_test::WriteFile(Path("b.0004.dpx"), aMagic);
  Bytes aKey = chronex_test::DpxBytes(0, 0, 0, 0);
  aKey[663] = 0x7F;
  chronex_test::WriteFile(Path("b.0005.dpx"), aKey);
  ASSERT_EQ(mkfifo(Path("b.0006.dpx").c_str(), 0644), 0);
  ASSERT_EQ(symlink(Path("gone.dpx").c_str(), Path("b.0007.dpx").c_str()), 0);
  mkdir(Path("b.0008.dpx").c_str(), 0755);
  Frame("b.0009.dpx");
  Frame("b.0011.dpx");
  // Already past the file size cap of the run below: its write fails.
  Bytes aBig = chronex_test::DpxBytes(0, 0, 0, 0);
  aBig.resize(9000);
  chronex_test::WriteFile(Path("b.0010.dpx"), aBig);

  SRun const r = RunChronex(
      {Path("b.0001.dpx"), "-f", "24", "-t", "00:00:00:01"}, "", 30, 8192);
  EXPECT_EQ(r.strOut, kBanner +
                          "b.0001.dpx: 00:00:00:00 -> 00:00:00:01\n"
                          "b.0002.dpx: error reading DPX header\n"
                          "b.0003.dpx: error reading DPX header\n"
                          "b.0004.dpx: error reading DPX header\n"
                          "b.0005.dpx: error reading DPX header\n"
                          "b.0006.dpx: error reading DPX header\n"
                          "b.0007.dpx: error reading DPX header\n"
                          "b.0009.dpx: 00:00:00:00 -> 00:00:00:08\n"
                          "b.0010.dpx: error writing DPX header\n"
                          "b.0011.dpx: 00:00:00:00 -> 00:00:00:10\n");
  EXPECT_EQ(r.iStatus, 0);
  EXPECT_EQ(ReadFile(Path("b.0002.dpx")).size(), 3000u);
  EXPECT_EQ(ReadFile(Path("b.0003.dpx")).size(), 2047u);
}

TEST_F(Chronex, NamesWithBlanksQuotesAndOtherBytesArePatched) {
  for (char const* psz : {"my shot.0001.dpx", "my shot.0002.dpx"}) Frame(psz);
  for (char const* psz : {"q'\"x.0001.dpx", "q'\"x.0002.dpx"})
    Frame(psz, 2, 0, 0, 0);
  for (char const* psz : {"\xc3\xa9t\xe9.0001.dpx", "\xc3\xa9t\xe9.0002.dpx"})
    Frame(psz);
  std::vector<std::string> const astrOptions = {"-f", "24", "-t",
                                                "00:00:00:05"};
  struct {
    char const* pszInput;
    std::vector<std::string> astrOptions;
    std::string strOut;
  } const aCases[] = {
      {"my shot.0002.dpx", astrOptions,
       "my shot.0001.dpx: 00:00:00:00 -> 00:00:00:05\n"
       "my shot.0002.dpx: 00:00:00:00 -> 00:00:00:06\n"},
      // a double quote opens a quoted stretch in the argument store, so this
      // input only survives as the last argument: no options after it
      {"q'\"x.0001.dpx",
       {},
       kBothNotes + "q'\"x.0001.dpx: 02:00:00:00 -> 00:00:00:00\n"
                    "q'\"x.0002.dpx: 02:00:00:00 -> 00:00:00:01\n"},
      {"\xc3\xa9t\xe9.0001.dpx", astrOptions,
       "\xc3\xa9t\xe9.0001.dpx: 00:00:00:00 -> 00:00:00:05\n"
       "\xc3\xa9t\xe9.0002.dpx: 00:00:00:00 -> 00:00:00:06\n"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszInput);
    std::vector<std::string> astrArgs = {Path(c.pszInput)};
    astrArgs.insert(astrArgs.end(), c.astrOptions.begin(), c.astrOptions.end());
    SRun const r = RunChronex(astrArgs);
    EXPECT_EQ(r.strOut, kBanner + c.strOut);
    EXPECT_EQ(r.iStatus, 0);
  }
}

TEST_F(Chronex, FolderOfAHundredThousandEntriesIsListedQuickly) {
  // Empty decoys that the listing pattern already turns away, plus frames;
  // in memory where possible, since making the entries is the slow part.
  char szBig[] = "/dev/shm/chronex_test.XXXXXX";
  std::string strBig = Path("big");
  if (mkdtemp(szBig) != nullptr)
    strBig = szBig;
  else
    ASSERT_EQ(mkdir(strBig.c_str(), 0755), 0);
  struct SRemove {
    std::string str;
    ~SRemove() { EXPECT_EQ(system(("rm -rf '" + str + "'").c_str()), 0); }
  } oRemove{strBig};
  for (int i = 0; i < 100000; ++i) {
    char sz[64];
    snprintf(sz, sizeof sz, "/decoy_%06d.dpx", i);
    int const fd = open((strBig + sz).c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    close(fd);
  }
  for (char const* psz : {"/f.0001.dpx", "/f.0002.dpx", "/f.0003.dpx"})
    chronex_test::WriteFile(strBig + psz, chronex_test::DpxBytes(0, 0, 0, 0));
  struct timespec t0, t1;
  clock_gettime(CLOCK_MONOTONIC, &t0);
  SRun const r =
      RunChronex({strBig + "/f.0001.dpx", "-f", "24", "-t", "00:00:00:00"});
  clock_gettime(CLOCK_MONOTONIC, &t1);
  EXPECT_EQ(r.strOut, kBanner +
                          "f.0001.dpx: 00:00:00:00 (doesn't need updating)\n"
                          "f.0002.dpx: 00:00:00:00 -> 00:00:00:01\n"
                          "f.0003.dpx: 00:00:00:00 -> 00:00:00:02\n");
  EXPECT_EQ(r.iStatus, 0);
  EXPECT_LT(t1.tv_sec - t0.tv_sec, 20);  // generous: well under a second here
}

}  // namespace
