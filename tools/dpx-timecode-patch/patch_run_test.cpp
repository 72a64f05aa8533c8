#include "tools/dpx-timecode-patch/patch_run.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/dpx-timecode-patch/test_support.h"

namespace {

using chronex_test::ReadFile;
using chronex_test::TimeCodeAt;

class PatchRun : public chronex_test::TempFolderTest {
 protected:
  // Runs the patch over the given frame names (in this order) and returns
  // what it printed.
  std::string Patch(std::vector<std::string> const& astrNames,
                    CLuTimeCode const& tcStart, bool bRate, bool bTimeCode,
                    int* piResult) {
    CLuCompactArray<CLuString> aoFrames(128, 128);
    for (auto const& s : astrNames)
      aoFrames.Add(new CLuString(Path(s).c_str()));
    testing::internal::CaptureStdout();
    *piResult = iPatchFrameSequence(&aoFrames, tcStart, bRate, bTimeCode);
    fflush(stdout);
    std::string const strOut = testing::internal::GetCapturedStdout();
    for (uint32_t i = 0; i < aoFrames.nGetCount(); ++i)
      delete aoFrames.poGetAt(i);
    return strOut;
  }
};

TEST_F(PatchRun, NotesAppearForEveryDefaultUsed) {
  struct {
    bool bRate, bTimeCode;
    char const* pszNotes;
  } const aCases[] = {
      {false, false,
       "Frame rate not specified, using default (24)\n"
       "Starting time code not specified, using default (00:00:00:00)\n\n"},
      {true, false,
       "Starting time code not specified, using default (00:00:00:00)\n\n"},
      {false, true, "Frame rate not specified, using default (24)\n\n"},
      {true, true, ""},
  };
  Frame("n.0001.dpx");
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszNotes);
    int iResult = -1;
    std::string const strOut =
        Patch({"n.0001.dpx"}, CLuTimeCode(0, 0, 0, 0, 24.0, false, false),
              c.bRate, c.bTimeCode, &iResult);
    EXPECT_EQ(strOut, std::string(c.pszNotes) +
                          "n.0001.dpx: 00:00:00:00 (doesn't need updating)\n");
    EXPECT_EQ(iResult, 0);
  }
}

TEST_F(PatchRun, SortsByBytesAndCountsFailedFramesToo) {
  Frame("a.9.dpx");
  Frame("a.10.dpx", 1, 0, 0, 0);
  chronex_test::WriteFile(Path("a.11.dpx"), chronex_test::Bytes(5000, 'x'));
  Frame("a.12.dpx", 1, 0, 0, 3);
  int iResult = -1;
  std::string const strOut =
      Patch({"a.9.dpx", "a.12.dpx", "a.11.dpx", "a.10.dpx"},
            CLuTimeCode(1, 0, 0, 0, 25.0, false, false), true, true,
            &iResult);
  EXPECT_EQ(strOut,
            "a.10.dpx: 01:00:00:00 (doesn't need updating)\n"
            "a.11.dpx: error reading DPX header\n"
            "a.12.dpx: 01:00:00:03 -> 01:00:00:02\n"
            "a.9.dpx: 00:00:00:00 -> 01:00:00:03\n");
  EXPECT_EQ(iResult, 0);
  chronex_test::Bytes const a = ReadFile(Path("a.9.dpx"));
  ASSERT_EQ(a.size(), 2148u + 2048u);
  EXPECT_EQ(TimeCodeAt(a, 0), "00:00:00:00");
  EXPECT_EQ(TimeCodeAt(a, 2148), "01:00:00:03");
}

TEST_F(PatchRun, RateSetsWhereTheSecondRollsOver) {
  for (char const* psz : {"r.1.dpx", "r.2.dpx", "r.3.dpx"}) Frame(psz);
  int iResult = -1;
  std::string const strOut =
      Patch({"r.1.dpx", "r.2.dpx", "r.3.dpx"},
            CLuTimeCode(0, 0, 0, 28, 30.0, false, false), true, true,
            &iResult);
  EXPECT_EQ(strOut,
            "r.1.dpx: 00:00:00:00 -> 00:00:00:28\n"
            "r.2.dpx: 00:00:00:00 -> 00:00:00:29\n"
            "r.3.dpx: 00:00:00:00 -> 00:00:01:00\n");
}

}  // namespace
