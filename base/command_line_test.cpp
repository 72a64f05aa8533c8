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
      {{"tool", "c\td", "-f", "25"},
       "tool c\td -f 25",
       {"tool", "c\td", "-f", "25"}},
      // The launcher's serial goes (in any case); later arguments move down.
      {{"tool", "x", "-psn_0_12345", "y"}, "tool x y", {"tool", "x", "y"}},
      {{"tool", "-PSN_0_1", "y"}, "tool y", {"tool", "y"}},
      {{"tool"}, "\"tool\"", {"tool"}},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszText);
    CLuCommandLine oFromVector, oFromText;
    oFromVector.Construct(static_cast<int>(c.apszArgV.size()),
                          c.apszArgV.data());
    oFromText.Construct(CLuString(c.pszText));
    EXPECT_EQ(c.aExpected, Args(oFromVector));
    EXPECT_EQ(c.aExpected, Args(oFromText));
  }
}

TEST(CommandLine, TextIsSplitAtBlanksAndLosesOnePairOfQuotes) {
  struct Case {
    char const* pszText;
    Strings aExpected;
  };
  Case const aCases[] = {
      {"tool \"x\"", {"tool", "x"}},
      {"  tool   a  b ", {"tool", "a", "b"}},
      {"t \"\"x\"\"", {"t", "\"x\""}},
      {"t \"", {"t", "\""}},
      {"", {}},
  };
  CLuCommandLine oLine;
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszText);
    oLine.Construct(CLuString(c.pszText));  // replaces the previous content
    EXPECT_EQ(c.aExpected, Args(oLine));
  }
  oLine.Construct(0, nullptr);
  EXPECT_EQ(0u, oLine.nArgCount());
}

TEST(CommandLine, ArgumentPastTheEndIsTheDefaultAndRemoveArgShifts) {
  CLuCommandLine oLine;
  oLine.Construct(CLuString("tool a b"));
  CLuString const strEmpty;
  EXPECT_EQ(&strEmpty, &oLine.strArg(5, strEmpty));
  EXPECT_EQ(&strEmpty, &oLine.strArg(3, strEmpty));
  EXPECT_STREQ("b", oLine.strArg(2, strEmpty).pszGetString());

  oLine.RemoveArg(1);
  oLine.RemoveArg(2);  // out of range: nothing happens
  EXPECT_EQ((Strings{"tool", "b"}), Args(oLine));
  oLine.RemoveArg(0);
  EXPECT_EQ((Strings{"b"}), Args(oLine));
}

TEST(CommandLine, JoinedTextQuotesArgumentsWithBlankOrTab) {
  char const* apszArgV[] = {"/Apps/Tool Dir/tool", "a b", "c\td", "e"};
  CLuCommandLine oLine;
  oLine.Construct(4, apszArgV);
  EXPECT_STREQ("\"/Apps/Tool Dir/tool\" \"a b\" \"c\td\" e",
               oLine.strCommandLine().pszGetString());
  EXPECT_STREQ("\"a b\" \"c\td\" e",
               oLine.strCommandLineWithoutApp().pszGetString());
  CLuCommandLine oEmpty;
  EXPECT_STREQ("", oEmpty.strCommandLineWithoutApp().pszGetString());
}

TEST(CommandLine, GlobalInstanceIsCreatedEmptyOnFirstUse) {
  CLuCommandLine* poGlobal = CLuCommandLine::poGlobal();
  ASSERT_NE(nullptr, poGlobal);
  EXPECT_EQ(0u, poGlobal->nArgCount());
  char* apszArgV[] = {const_cast<char*>("chronex"),
                      const_cast<char*>("plate.0001.dpx")};
  poGlobal->Construct(2, apszArgV);  // main's own argument type
  EXPECT_STREQ("plate.0001.dpx",
               CLuCommandLine::poGlobal()->strArg(1, "").pszGetString());
}

}  // namespace
