#include "tools/dpx-timecode-patch/patch_run.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/dpx-timecode-patch/test_support.h"

namespace {

using chronex_test::ReadFile;
using chronex_test::TimeCodeAt;

class PatchRun : public chronex_test::TempFolderTest {
 protected:
  // Runs the patch over the given frame names (in this order, rate and
  // timecode given) and returns what it printed.
  std::string Patch(std::vector<std::string> const& astrNames,
                    CLuTimeCode const& tcStart, int* piResult) {
    CLuCompactArray<CLuString> aoFrames(128, 128);
    for (auto const& s : astrNames)
      aoFrames.Add(new CLuString(Path(s).c_str()));
    testing::internal::CaptureStdout();
    *piResult = iPatchFrameSequence(&aoFrames, tcStart, true, true);
    fflush(stdout);
    std::string const strOut = testing::internal::GetCapturedStdout();
    for (uint32_t i = 0; i < aoFrames.nGetCount(); ++i)
      delete aoFrames.poGetAt(i);
    return strOut;
  }
};

TEST_F(PatchRun, SortsByBytesAndCountsFailedFramesToo) {
  Frame("a.9.dpx");
  Frame("a.10.dpx", 1, 0, 0, 0);
  chronex_test::WriteFile(Path("a.11.dpx"), chronex_test::Bytes(5000, 'x'));
  Frame("a.12.dpx", 1, 0, 0, 3);
  int iResult = -1;
  std::string const strOut =
      Patch({"a.9.dpx", "a.12.dpx", "a.11.dpx", "a.10.dpx"},
            CLuTimeCode(1, 0, 0, 0, 25.0, false, false), &iResult);
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

}  // namespace
