#include "base/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

// The list as plain strings, for whole-list comparisons.
Strings Args(CLuCommandLine const& oLine) {
  Strings aResult;
  for (uint32_t i = 0; i < oLine.nArgCount(); ++i)
    aResult.push_back(oLine.strArg(i, "").pszGetString());
  return aResult;
}

TEST(CommandLine, BothConstructFormsGiveTheSameList) {
  struct Case {
    std::vector<char const*> apszArgV;
    char const* pszText;
    Strings aExpected;
  };
  Case const aCases[] = {
      {{"/Apps/Tool Dir/tool", "a b", "c"},
       "\"/Apps/Tool Dir/tool\" \"a b\" c",
       {"/Apps/Tool Dir/tool", "a b", "c"}},
      {{"\"/Apps/Tool Dir/tool\"", "x"},
       "\"/Apps/Tool Dir/tool\" x",
       {"/Apps/Tool Dir/tool", "x"}},
      // Only blanks split, so a tab needs no quotes.
      {{"tool", "c\td"}, "tool c\td", {"tool", "c\td"}},
      // The launcher's serial goes (in any case); later arguments move down.
      {{"tool", "x", "-psn_0_12345", "-PSN_0_1", "y"},
       "tool x y",
       {"tool", "x", "y"}},
      // A token loses one pair of enclosing quotes; runs of blanks are one.
      {{"tool", "\"x\""}, "  tool   \"x\" ", {"tool", "x"}},
      {{"t", "\"\"x\"\""}, "t \"\"x\"\"", {"t", "\"x\""}},
      // A lone quote begins and ends with one: it becomes empty.
      {{"t", "\""}, "t \"", {"t", ""}},
      {{}, "", {}},  // each Construct replaces the previous content
  };
  CLuCommandLine oFromVector, oFromText;
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszText);
    oFromVector.Construct(static_cast<int>(c.apszArgV.size()),
                          c.apszArgV.data());
    oFromText.Construct(CLuString(c.pszText));
    EXPECT_EQ(c.aExpected, Args(oFromVector));
    EXPECT_EQ(c.aExpected, Args(oFromText));
  }
}

TEST(CommandLine, JoinsQuotingBlankOrTabReadsAndRemovesByIndex) {
  char const* apszArgV[] = {"/Apps/Tool Dir/tool", "a b", "c\td", "e"};
  CLuCommandLine oLine;
  oLine.Construct(4, apszArgV);
  EXPECT_STREQ("\"/Apps/Tool Dir/tool\" \"a b\" \"c\td\" e",
               oLine.strCommandLine().pszGetString());
  EXPECT_STREQ("\"a b\" \"c\td\" e",
               oLine.strCommandLineWithoutApp().pszGetString());
  CLuString const strEmpty;
  EXPECT_EQ(&strEmpty, &oLine.strArg(4, strEmpty));  // past the end
  oLine.RemoveArg(1);
  oLine.RemoveArg(3);  // out of range: nothing happens
  EXPECT_EQ((Strings{"/Apps/Tool Dir/tool", "c\td", "e"}), Args(oLine));
  CLuCommandLine oEmpty;
  EXPECT_STREQ("", oEmpty.strCommandLineWithoutApp().pszGetString());
}

}  // namespace
