#include "base/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The list as plain strings, for whole-list comparisons.
std::vector<std::string> Args(CLuCommandLine const& oLine) {
  std::vector<std::string> aResult;
  CLuString const strNone;
  for (uint32_t i = 0; i < oLine.nArgCount(); ++i) {
    aResult.push_back(oLine.strArg(i, strNone).pszGetString());
  }
  return aResult;
}

using Strings = std::vector<std::string>;

TEST(CommandLine, BothConstructFormsGiveTheSameList) {
  struct Case {
    char const* pszWhat;
    std::vector<char const*> apszArgV;
    char const* pszText;
    Strings aExpected;
  };
  Case const aCases[] = {
      {"blank in program path and argument",
       {"/Apps/Tool Dir/tool", "a b", "c"},
       "\"/Apps/Tool Dir/tool\" \"a b\" c",
       {"/Apps/Tool Dir/tool", "a b", "c"}},
      {"program path already quoted",
       {"\"/Apps/Tool Dir/tool\"", "x"},
       "\"/Apps/Tool Dir/tool\" x",
       {"/Apps/Tool Dir/tool", "x"}},
      {"a tab needs no quotes: only blanks split",
       {"tool", "c\td", "-f", "25"},
       "tool c\td -f 25",
       {"tool", "c\td", "-f", "25"}},
      {"launcher serial dropped, later arguments move down",
       {"tool", "x", "-psn_0_12345", "y"},
       "tool x y",
       {"tool", "x", "y"}},
      {"serial test ignores case",
       {"tool", "-PSN_0_1", "y"},
       "tool y",
       {"tool", "y"}},
      {"only the program", {"tool"}, "\"tool\"", {"tool"}},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszWhat);
    CLuCommandLine oFromVector;
    oFromVector.Construct(static_cast<int>(c.apszArgV.size()),
                          c.apszArgV.data());
    CLuCommandLine oFromText;
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
      {"tool \"\"x\"\"", {"tool", "\"x\""}},
      {"tool \"", {"tool", "\""}},
      {"", {}},
      {"   ", {}},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszText);
    CLuCommandLine oLine;
    oLine.Construct(CLuString(c.pszText));
    EXPECT_EQ(c.aExpected, Args(oLine));
  }
}

TEST(CommandLine, ConstructReplacesThePreviousContent) {
  CLuCommandLine oLine;
  oLine.Construct(CLuString("tool a b c"));
  oLine.Construct(CLuString("other z"));
  EXPECT_EQ((Strings{"other", "z"}), Args(oLine));
  oLine.Construct(0, nullptr);
  EXPECT_EQ(0u, oLine.nArgCount());
}

TEST(CommandLine, ArgumentPastTheEndIsTheDefault) {
  CLuCommandLine oLine;
  oLine.Construct(CLuString("tool a b"));
  CLuString const strEmpty;
  CLuString const strFallback("fallback");
  EXPECT_EQ(&strEmpty, &oLine.strArg(5, strEmpty));
  EXPECT_EQ(&strFallback, &oLine.strArg(3, strFallback));
  EXPECT_STREQ("b", oLine.strArg(2, strFallback).pszGetString());
  EXPECT_EQ(&strEmpty, &oLine.strArg(4294967295u, strEmpty));
}

TEST(CommandLine, RemoveArgShiftsLaterArgumentsAndIgnoresBadIndex) {
  CLuCommandLine oLine;
  oLine.Construct(CLuString("tool a b c"));
  oLine.RemoveArg(1);
  EXPECT_EQ((Strings{"tool", "b", "c"}), Args(oLine));
  oLine.RemoveArg(3);
  oLine.RemoveArg(4294967295u);
  EXPECT_EQ((Strings{"tool", "b", "c"}), Args(oLine));
  oLine.RemoveArg(2);
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
  EXPECT_STREQ("", oEmpty.strCommandLine().pszGetString());
  EXPECT_STREQ("", oEmpty.strCommandLineWithoutApp().pszGetString());
}

TEST(CommandLine, GlobalInstanceIsCreatedEmptyOnFirstUse) {
  CLuCommandLine* poGlobal = CLuCommandLine::poGlobal();
  ASSERT_NE(nullptr, poGlobal);
  EXPECT_EQ(0u, poGlobal->nArgCount());
  EXPECT_EQ(poGlobal, CLuCommandLine::poGlobal());
  char const* apszArgV[] = {"chronex", "plate.0001.dpx"};
  poGlobal->Construct(2, apszArgV);
  EXPECT_STREQ("plate.0001.dpx",
               CLuCommandLine::poGlobal()->strArg(1, "").pszGetString());
}

}  // namespace
