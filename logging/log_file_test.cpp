#include "logging/log_file.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "files/temp_dir_test.h"

namespace {

// Keeps what the log hands to Output.
class CCapture : public CLuLog {
 public:
  void Output(CLuString const& strText) override {
    m_vLines.push_back(strText.pszGetString());
  }
  std::vector<std::string> m_vLines;
};

// Whether strText is the literal template in which "{D}" stands for a date,
// "{T}" for a time of day (digits that cannot be predicted), "{N}" for a
// number and "{*}" for the rest of a line.
bool bMatches(std::string const& strText, std::string const& strTemplate) {
  std::string str = std::regex_replace(
      strTemplate, std::regex(R"([.^$|()\[\]*+?\\])"), R"(\$&)");
  str = std::regex_replace(str, std::regex(R"(\{D\})"), R"(\d{4}-\d\d-\d\d)");
  str = std::regex_replace(str, std::regex(R"(\{T\})"), R"(\d\d:\d\d:\d\d)");
  str = std::regex_replace(str, std::regex(R"(\{N\})"), R"(\d+)");
  str = std::regex_replace(str, std::regex(R"(\{\\\*\})"), "[^\n]*");
  return std::regex_match(strText, std::regex(str));
}

// A new file's header, its empty line and first line, without system
// information; and what closing appends.
std::string const kHeader =
    "{D} [4745.84.Z800.2010-07-20]\n\n{T} [LuLog]           LogFile "
    "initialized\n";
char const kClosing[] = "{T} [LuLog]           Closing log file\n\n{D}\n";

using LuLogFile = TempDirTest;

}  // namespace

TEST(LuLog, CutsAndPadsTheCategoryAndEndsEveryLineOnce) {
  struct {
    char const *pszCategory, *pszMessage, *pszLine;
  } const aCases[] = {
      {"ABCDEFGHIJKLMNOPQR", "m", "{T} [ABCDEFGHIJKLMNO] m\n"},
      {"ABCDEFGHIJKLMNO", "m", "{T} [ABCDEFGHIJKLMNO] m\n"},
      {"", "", "{T} []                \n"},
      {"Cat", "ends\n", "{T} [Cat]             ends\n"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszLine);
    CCapture oLog;
    oLog.Log(c.pszCategory, c.pszMessage, 5);
    ASSERT_EQ(oLog.m_vLines.size(), 1u);
    EXPECT_TRUE(bMatches(oLog.m_vLines[0], c.pszLine)) << oLog.m_vLines[0];
  }
}

TEST_F(LuLogFile, FirstLineEmptiesTheFileAndWritesHeaderClosingAddsLines) {
  Write(P("run.log"), "old content that must go\n");
  std::string const strLine = "{T} [Test]            value 7\n";
  {
    CLuLogFile oLog(P("run.log").c_str(), CLuLogFile::knNoLimit, false);
    EXPECT_EQ(Read(P("run.log")), "old content that must go\n");
    oLog.Log("Test", "value %u", 7u);
    EXPECT_TRUE(bMatches(Read(P("run.log")), kHeader + strLine));
    unsigned int nUnused = 1234;
    EXPECT_TRUE(oLog.bOpen(false, &nUnused));  // already open: writes nothing
    EXPECT_EQ(nUnused, 1234u);                 // and leaves the pointer alone
  }
  EXPECT_TRUE(bMatches(Read(P("run.log")), kHeader + strLine + kClosing));
}

TEST_F(LuLogFile, RotatesAtTwoKiBWithOneKiBLimitButNotAt2047Bytes) {
  CLuLogFile oLog(P("run.log").c_str(), 1, false);
  // Header, empty line and first line: 37 + 1 + 47 bytes; each line under a
  // 15-character category adds 28 bytes to its message.
  oLog.Log("ABCDEFGHIJKLMNO", "%s", std::string(1000, 'a').c_str());
  oLog.Log("ABCDEFGHIJKLMNO", "%s", std::string(906, 'b').c_str());
  std::string const strFull = Read(P("run.log"));
  ASSERT_EQ(strFull.size(), 2047u);  // 2047 / 1024 = 1: not above the limit
  EXPECT_NE(access((P("run.log") + ".old").c_str(), F_OK), 0);

  oLog.Output("y");  // 2,048 bytes: 2 whole KiB exceed the limit of 1
  std::string const strOld = Read(P("run.log") + ".old");
  EXPECT_EQ(strOld.substr(0, 2048), strFull + "y");
  EXPECT_TRUE(bMatches(strOld.substr(2048), kClosing)) << strOld.substr(2048);
  EXPECT_TRUE(bMatches(Read(P("run.log")), kHeader));

  // Rotating at opening: the emptied file's closing lines go to ".old", and
  // the opening's own header follows the one the rotation wrote.
  CLuLogFile oRotated((m_strRoot + "/rotated.log").c_str(), 1, false);
  EXPECT_TRUE(oRotated.bOpen(true));
  EXPECT_TRUE(bMatches(Read(m_strRoot + "/rotated.log.old"), kClosing));
  EXPECT_TRUE(bMatches(Read(m_strRoot + "/rotated.log"), kHeader + kHeader));
}

TEST_F(LuLogFile, FailuresNeverReachTheCaller) {
  // A path that cannot be opened; a file where every write fails.
  for (char const* pszPath : {"/nonexistent-folder/x/run.log", "/dev/full"}) {
    SCOPED_TRACE(pszPath);
    CLuLogFile oLog(pszPath, CLuLogFile::knNoLimit, true);
    errno = 1234;
    oLog.Log("Cat", "dropped %d", 1);
    EXPECT_EQ(errno, 1234);
  }
  // A folder in the path's place cannot be opened either; "\\" is "/".
  CLuLogFile oLog((m_strRoot + "\\").c_str(), 1, false);
  EXPECT_EQ(oLog.strGetPath().pszGetString(), m_strRoot + "/");
  oLog.Log("Cat", "dropped");
  EXPECT_FALSE(oLog.bIsOpen());
}

TEST_F(LuLogFile, SystemInformationDescribesThisMachine) {
  CLuLogFile oLog(P("run.log").c_str(), CLuLogFile::knNoLimit, true);
  oLog.Log("Cat", "after");
  char szHost[256] = {0}, szDomain[256] = {0};
  gethostname(szHost, sizeof(szHost) - 1);
  getdomainname(szDomain, sizeof(szDomain) - 1);
  if (strcmp(szDomain, "(none)") == 0) szDomain[0] = '\0';
  struct passwd const* poUser = getpwuid(getuid());
  char const* pszDisplay = getenv("DISPLAY");
  // No driver line on this platform; the processor lines by their shape.
  std::string const strText = Read(P("run.log"));
  EXPECT_TRUE(bMatches(
      strText,
      std::string("{D} [4745.84.Z800.2010-07-20]\nMachine: ") + szHost +
          " in domain " + szDomain +
          "\nUser:    " + (poUser ? poUser->pw_name : "") +
          "\nMode:    32-Bit\nDisplay: " + (pszDisplay ? pszDisplay : "") +
          "\nCPU:     Name: {*}\n"
          "         Model: {N}, Family: {N}, Stepping: {N} \n"
          "         Total Threads: {N}\n         Features: {*}\n\n\n"
          "{T} [LuLog]           LogFile initialized\n"
          "{T} [Cat]             after\n"))
      << strText;
}
