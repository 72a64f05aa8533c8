// End-to-end tests: the built chronex binary run in temporary folders on
// DPX files made here, standard output compared byte for byte, exit status
// and the files checked afterwards.
#include <signal.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/dpx-timecode-patch/run_chronex_test.h"

namespace {

using namespace chronex_test;

std::string const kBanner = "VELOMA DPX Time Code Patching Utility 1.0\n\n";
std::string const kUsage =
    "Usage: Chronex input [-f FPS] [-t value]\n"
    "  input    - sequence to patch (sequence#.dpx)\n"
    "  -f FPS   - desired frame rate (24 FPS by default)\n"
    "  -t value - starting time code (00:00:00:00 by default)\n";
std::string const kNotFound =
    "The specified frame sequence could not be found.\n\n";
std::string const kRateNote = "Frame rate not specified, using default (24)\n";
std::string const kTimeNote =
    "Starting time code not specified, using default (00:00:00:00)\n";

class Chronex : public TempFolderTest {
 protected:
  // nFileSizeLimit: see RunChronex.
  void ExpectRun(std::vector<std::string> const& astrArgs,
                 std::string const& strOut, int iStatus = 0,
                 std::string const& strCwd = ".", rlim_t nFileSizeLimit = 0) {
    SRun const r = RunChronex(astrArgs, strCwd, nFileSizeLimit);
    EXPECT_EQ(r.strOut, kBanner + strOut);
    EXPECT_EQ(r.iStatus, iStatus);
  }
};

TEST_F(Chronex, EveryFailureExitPrintsItsTextsAndTouchesNothing) {
  std::string const p = Frame("p.0001.dpx");
  struct {
    std::vector<std::string> astrArgs;
    int iStatus;  // -1..-4 as the shell sees them
  } const aCases[] = {
      {{}, 255},
      {{p, "-f"}, 254},
      {{p, "-t"}, 254},
      {{p, "-f", "abc"}, 253},
      {{p, "-x", "1"}, 253},
      {{p, "second.dpx"}, 253},
      {{"-f", "25", p}, 253},  // argument 1 is always the input
      {{p, "-t", "24:00:00:00"}, 253},
      // parsed at 24 fps before the rate arrives
      {{p, "-t", "00:00:00:25", "-f", "30"}, 253},
      // not found: no notes either
      {{Path("nowhere/p.0001.dpx")}, 252},
      {{m_strDir + "/"}, 252},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(testing::PrintToString(c.astrArgs));
    ExpectRun(c.astrArgs, c.iStatus == 252 ? kNotFound : kUsage, c.iStatus);
  }
  EXPECT_EQ(ReadFile(p).size(), 2148u);
}

TEST_F(Chronex, OptionsAreCaseBlindTrimmedAndTheLastOneWins) {
  std::string const p = Path("p.0001.dpx");
  std::vector<std::string> const aastrArgs[] = {
      {p, "-F", "25", "-T", "01:00:00:24"},
      {p, "-f", " \t25\r\n", "-t", "01:00:00:24"},
      {p, "-f", "30", "-f", "25", "-t", "00:00:00:00", "-t", "01:00:00:24"},
      // parsed at 30 fps, stepped at 25 (frame 24 is the last of a second)
      {p, "-f", "30", "-t", "01:00:00:24", "-f", "25"},
  };
  for (auto const& astrArgs : aastrArgs) {
    SCOPED_TRACE(testing::PrintToString(astrArgs));
    for (char const* psz : {"p.0001.dpx", "p.0002.dpx"}) Frame(psz);
    ExpectRun(astrArgs,
              "p.0001.dpx: 00:00:00:00 -> 01:00:00:24\n"
              "p.0002.dpx: 00:00:00:00 -> 01:00:01:00\n");
  }
}

TEST_F(Chronex, NotesTellWhichDefaultsAreUsed) {
  std::string const p = Frame("p.0001.dpx");
  std::string const strLine =
      "p.0001.dpx: 00:00:00:00 (doesn't need updating)\n";
  ExpectRun({p, "-f", "25"}, kTimeNote + "\n" + strLine);
  ExpectRun({p, "-t", "00:00:00:00"}, kRateNote + "\n" + strLine);
}

TEST_F(Chronex, DiscoveryKeepsTheSequenceAndSortsItByBytes) {
  // Unpadded numbers sort by bytes (a.10 before a.9); a name that differs
  // only in case is kept.
  for (char const* psz : {"a.8.dpx", "a.9.dpx", "a.10.dpx", "a.11.dpx",
                          "A.12.DPX", "a.13.dpx", "b.1.dpx"})
    Frame(psz);
  WriteFile(Path(".hidden"), std::string("a.13.dpx\n"));
  // Relative inputs: a frame, a "#", a frame that does not exist.
  for (char const* pszInput : {"a.8.dpx", "a.#.dpx", "a.99.dpx"}) {
    SCOPED_TRACE(pszInput);
    ExpectRun({pszInput, "-t", "00:00:10:00", "-f", "25"},
              "A.12.DPX: 00:00:00:00 -> 00:00:10:00\n"
              "a.10.dpx: 00:00:00:00 -> 00:00:10:01\n"
              "a.11.dpx: 00:00:00:00 -> 00:00:10:02\n"
              "a.8.dpx: 00:00:00:00 -> 00:00:10:03\n"
              "a.9.dpx: 00:00:00:00 -> 00:00:10:04\n",
              0, m_strDir);
  }
  // Listed in .hidden, other name: untouched.
  for (char const* psz : {"a.13.dpx", "b.1.dpx"})
    EXPECT_EQ(ReadFile(Path(psz)).size(), 2148u) << psz;
  ExpectRun({"a.##.dpx"}, kNotFound, 252, m_strDir);
}

TEST_F(Chronex, OddRatesCountAtTheirFrameBase) {
  // Rate 0 counts at base 1 and -25 at 25, rebuilt at 24 frames a second;
  // 50,000 fps wraps the day length to 25,032,704 frames.
  std::string const r = Path("r.0001.dpx");
  struct {
    std::vector<std::string> astrArgs;
    char const* apszWanted[3];
  } const aCases[] = {
      {{r, "-f", "0", "-t", "00:00:01:00"},
       {"00:00:01:00", "00:00:00:02", "00:00:00:03"}},
      {{r, "-t", "00:00:01:00", "-f", "-25"},
       {"00:00:01:00", "00:00:01:02", "00:00:01:03"}},
      {{r, "-f", "50000", "-t", "00:08:21:00"},
       {"00:08:21:00", "00:00:00:145", "00:00:00:146"}},
  };
  // A run reads the first header, so each run sees 10:00:00:00 again.
  for (char const* psz : {"r.0001.dpx", "r.0002.dpx", "r.0003.dpx"})
    Frame(psz, 10);
  for (auto const& c : aCases) {
    SCOPED_TRACE(testing::PrintToString(c.astrArgs));
    std::string strOut;
    for (int n = 0; n < 3; ++n)
      strOut += "r.000" + std::to_string(n + 1) + ".dpx: 10:00:00:00 -> " +
                c.apszWanted[n] + "\n";
    ExpectRun(c.astrArgs, strOut);
  }
}

TEST_F(Chronex, AVersionWithoutItsEndIsNotWrittenOver) {
  // The version text runs on into the timecode word, which the new header
  // changes: the texts on disk and in memory differ, so nothing is written.
  Bytes a = DpxBytes(10);
  std::fill(a.begin() + 8, a.begin() + 660, 'V');  // the key stays 0xFFFFFFFF
  std::fill(a.begin() + 664, a.begin() + 1920, 'V');
  WriteFile(Path("v.0001.dpx"), a);
  ExpectRun({Path("v.0001.dpx"), "-f", "24", "-t", "01:00:00:00"},
            "v.0001.dpx: error writing DPX header\n");
  EXPECT_EQ(ReadFile(Path("v.0001.dpx")), a);
}

TEST_F(Chronex, BadFramesGetAnErrorLineAndTheRunGoesOn) {
  Bytes aShort = DpxBytes();
  aShort.resize(2047);  // one byte short
  Frame("b.0001.dpx");
  WriteFile(Path("b.0002.dpx"), aShort);
  ASSERT_EQ(mkfifo(Path("b.0003.dpx").c_str(), 0644), 0);
  ASSERT_EQ(symlink(Path("gone.dpx").c_str(), Path("b.0004.dpx").c_str()), 0);
  mkdir(Path("b.0005.dpx").c_str(), 0755);  // folder named like a frame
  Frame("b.0006.dpx");
  // 9,000 bytes, past the size cap below: its write fails.
  WriteFile(Path("b.0007.dpx"), DpxBytes(0, 0, 0, 0, 9000 - 2048));
  Frame("b.0008.dpx");
  ExpectRun({Path("b.0001.dpx"), "-f", "24", "-t", "00:00:00:01"},
            "b.0001.dpx: 00:00:00:00 -> 00:00:00:01\n"
            "b.0002.dpx: error reading DPX header\n"
            "b.0003.dpx: error reading DPX header\n"
            "b.0004.dpx: error reading DPX header\n"
            "b.0006.dpx: 00:00:00:00 -> 00:00:00:05\n"
            "b.0007.dpx: error writing DPX header\n"
            "b.0008.dpx: 00:00:00:00 -> 00:00:00:07\n",
            0, ".", 8192);
  EXPECT_EQ(ReadFile(Path("b.0002.dpx")), aShort);
}

TEST_F(Chronex, ARunWhereEveryFrameFailsStillEndsWithZero) {
  WriteFile(Path("e.0001.dpx"), Bytes(10, 'x'));
  WriteFile(Path("e.0002.dpx"), Bytes(3000, 'x'));
  ExpectRun({Path("e.0001.dpx"), "-f", "24", "-t", "00:00:00:01"},
            "e.0001.dpx: error reading DPX header\n"
            "e.0002.dpx: error reading DPX header\n");
}

TEST_F(Chronex, PatchAppendsHeadersInFrameOrderAndARerunAppendsAgain) {
  // h.0002 and h.0004 are hard links to h.0001, h.0005 a symbolic link.
  Bytes const aOriginal = ReadFile(Frame("h.0001.dpx", 10));
  ASSERT_EQ(link(Path("h.0001.dpx").c_str(), Path("h.0002.dpx").c_str()), 0);
  Bytes const aRight = ReadFile(Frame("h.0003.dpx", 1, 0, 0, 2));
  ASSERT_EQ(link(Path("h.0001.dpx").c_str(), Path("h.0004.dpx").c_str()), 0);
  ASSERT_EQ(symlink(Path("h.0001.dpx").c_str(), Path("h.0005.dpx").c_str()), 0);
  Bytes aExpected = aOriginal;
  for (size_t nRun = 1; nRun <= 2; ++nRun) {
    SCOPED_TRACE(nRun);
    ExpectRun({Path("h.0001.dpx"), "-f", "24", "-t", "01:00:00:00"},
              "h.0001.dpx: 10:00:00:00 -> 01:00:00:00\n"
              "h.0002.dpx: 10:00:00:00 -> 01:00:00:01\n"
              "h.0003.dpx: 01:00:00:02 (doesn't need updating)\n"
              "h.0004.dpx: 10:00:00:00 -> 01:00:00:03\n"
              "h.0005.dpx: 10:00:00:00 -> 01:00:00:04\n");
    // The original, its old timecode included, then one header per frame in
    // frame order, in which only the timecode word differs: BCD 10 00 00 00
    // becomes 01 00 00 FF, FF the frame's.
    for (uint8_t byFrame : {0, 1, 3, 4}) {
      aExpected.insert(aExpected.end(), aOriginal.begin(),
                       aOriginal.begin() + 2048);
      aExpected[aExpected.size() - 2048 + 1920] = 0x01;
      aExpected[aExpected.size() - 2048 + 1923] = byFrame;
    }
    EXPECT_EQ(ReadFile(Path("h.0001.dpx")), aExpected);
    EXPECT_EQ(ReadFile(Path("h.0003.dpx")), aRight);  // already right
  }
}

TEST_F(Chronex, AStopSignalEndsTheRunBetweenFramesWithEveryChangeReported) {
  // Far more output than a pipe holds (see RunChronex).
  int const nFrames = 20000;
  std::vector<std::string> astrNames;
  std::string strFull = kBanner;
  for (int n = 0; n < nFrames; ++n) {
    char sz[64];
    snprintf(sz, sizeof sz, "i.%05d.dpx: 00:00:00:00 -> 01:%02d:%02d:%02d\n", n,
             n / 24 / 60, n / 24 % 60, n % 24);
    strFull += sz;
    astrNames.emplace_back(sz, 11);
    WriteFile(Path(astrNames.back()), DpxBytes(0, 0, 0, 0, 0));
  }
  std::vector<size_t> anHeaders(nFrames, 1);
  for (int iSignal : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(iSignal);
    SRun const r = RunChronex(
        {Path(astrNames[0]), "-f", "24", "-t", "01:00:00:00"}, ".", 0, iSignal);
    EXPECT_EQ(r.iStatus, 128 + iSignal);
    // Whole lines of the full run, in order, and not all of them.
    ASSERT_LT(r.strOut.size(), strFull.size());
    EXPECT_EQ(strFull.compare(0, r.strOut.size(), r.strOut), 0);
    ASSERT_EQ(r.strOut.back(), '\n');
    size_t const nPrinted =
        size_t(std::count(r.strOut.begin(), r.strOut.end(), '\n') - 2);
    // A frame's file changed exactly when its line was printed.
    for (int n = 0; n < nFrames; ++n) {
      if (size_t(n) < nPrinted) ++anHeaders[n];
      ASSERT_EQ(ReadFile(Path(astrNames[n])).size(), 2048 * anHeaders[n])
          << astrNames[n];
    }
  }
}

TEST_F(Chronex, NamesWithBlanksQuotesAndOtherBytesArePatched) {
  for (std::string const strKey : {"my shot", "\xc3\xa9t\xe9"}) {
    SCOPED_TRACE(strKey);
    for (char const* psz : {".0001.dpx", ".0002.dpx"}) Frame(strKey + psz);
    ExpectRun({Path(strKey + ".0002.dpx"), "-f", "24", "-t", "00:00:00:05"},
              strKey + ".0001.dpx: 00:00:00:00 -> 00:00:00:05\n" + strKey +
                  ".0002.dpx: 00:00:00:00 -> 00:00:00:06\n");
  }
  // A double quote opens a quoted stretch in the argument store, so this
  // input only survives as the last argument: no options after it.
  for (char const* psz : {"q'\"x.0001.dpx", "q'\"x.0002.dpx"}) Frame(psz, 2);
  ExpectRun({Path("q'\"x.0001.dpx")},
            kRateNote + kTimeNote + "\n" +
                "q'\"x.0001.dpx: 02:00:00:00 -> 00:00:00:00\n"
                "q'\"x.0002.dpx: 02:00:00:00 -> 00:00:00:01\n");
}

TEST_F(Chronex, FolderOfAHundredThousandEntriesIsListedQuickly) {
  // Empty decoys that the listing pattern already turns away, plus frames;
  // in memory where possible, since making the entries is the slow part.
  char szBig[] = "/dev/shm/chronex_test.XXXXXX";
  std::string const strBig = mkdtemp(szBig) ? szBig : Path("big");
  mkdir(strBig.c_str(), 0755);
  for (int i = 0; i < 100000; ++i)
    close(open((strBig + "/decoy_" + std::to_string(i) + ".dpx").c_str(),
               O_WRONLY | O_CREAT, 0644));
  for (char const* psz : {"/f.0001.dpx", "/f.0002.dpx"})
    WriteFile(strBig + psz, DpxBytes());
  time_t const t0 = time(nullptr);
  ExpectRun({strBig + "/f.0001.dpx", "-f", "24", "-t", "00:00:00:00"},
            "f.0001.dpx: 00:00:00:00 (doesn't need updating)\n"
            "f.0002.dpx: 00:00:00:00 -> 00:00:00:01\n");
  EXPECT_LT(time(nullptr) - t0, 20);  // generous: well under a second here
  EXPECT_EQ(system(("rm -rf '" + strBig + "'").c_str()), 0);
}

}  // namespace
