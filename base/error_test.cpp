#include "base/error.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

// Top (Information, no text, id "A") holds a Warning "Write failed", which
// holds an Error "Disk full" placed in /tmp/x.dpx at line 12, column 5 (id
// "B"). Ownership passes down the constructors.
CLuError* poNewChain() {
  CLuError* poLeaf =
      new CLuError("Disk full", "/tmp/x.dpx", 12, 5, eError, "B");
  CLuError* poMid = new CLuError(poLeaf, "Write failed", eWarning, "");
  return new CLuError(poMid, "", eInformation, "A");
}

// The chain's plain text, written out by hand: each level indents its whole
// result, so the leaf (rendered at indent 4) ends up 6 columns in.
char const* const kChainPlain =
    "Errors were reported.\n"
    "See details below:\n"
    "  Error\n"
    "  Write failed\n"
    "      Error\n"
    "      Disk full\n"
    "      File: /tmp/x.dpx\n"
    "      Line: 12Column: 5\n"
    "\n\n\n\n\n\n";

char const* const kChainHTML =
    "<H1>Errors were reported.</H1>"
    "<H1>See details below:</H1>"
    "<blockquote>"
    "<H1>Error Write failed</H1>"
    "<blockquote>"
    "<H1>Error Disk full</H1>"
    "<p>File: <a href=\"/tmp/x.dpx\">/tmp/x.dpx</a>"
    "<br>Line: <b>12</b>Column: <b>5</b></p>"
    "</blockquote>"
    "</blockquote>";

TEST(Error, ChainRendersAsPlainTextAndHTML) {
  std::unique_ptr<CLuError> poTop(poNewChain());
  EXPECT_STREQ(kChainPlain, poTop->strAsPlainText(0, false).pszGetString());
  EXPECT_STREQ(kChainHTML, poTop->strAsFormattedText(false).pszGetString());
  // Nested renderings leave out the "See details below:" line. At indent 2
  // the leaf is rendered at 6 and indented again by 4 and 2: 12 columns.
  EXPECT_STREQ(
      "  Errors were reported.\n"
      "      Error\n"
      "      Write failed\n"
      "            Error\n"
      "            Disk full\n"
      "            File: /tmp/x.dpx\n"
      "            Line: 12Column: 5\n"
      "\n\n\n\n\n\n",
      poTop->strAsPlainText(2, true).pszGetString());
  CLuString strNestedHTML = kChainHTML;
  ASSERT_TRUE(strNestedHTML.bReplaceFirst("<H1>See details below:</H1>", ""));
  EXPECT_STREQ(strNestedHTML.pszGetString(),
               poTop->strAsFormattedText(true).pszGetString());
}

TEST(Error, SingleErrorPlainText) {
  struct Case {
    char const* pszWhat;
    CLuError oError;
    uint32_t nIndent;
    char const* pszExpected;
  };
  Case const aCases[] = {
      {"message", CLuError("Failed to open file: x", eError, ""), 0,
       "Error\nFailed to open file: x\n\n\n"},
      {"text already ends with a line feed", CLuError("Bad\n", eWarning, ""), 0,
       "Warning\nBad\n\n\n"},
      {"no text, no sub-errors", CLuError("", eWarning, ""), 0,
       "Warning were reported.\n\n\n"},
      {"line without column", CLuError("T", "f", 7, 0, eError, ""), 0,
       "Error\nT\nFile: f\nLine: 7\n\n\n"},
      {"column without line", CLuError("T", "f", 0, 3, eError, ""), 0,
       "Error\nT\nFile: fColumn: 3\n\n\n"},
      {"line and column need a file", CLuError("T", "", 5, 6, eError, ""), 0,
       "Error\nT\n\n\n"},
      {"information", CLuError("T", eInformation, ""), 0,
       "Information\nT\n\n\n"},
      {"internal", CLuError("T", eInternalUnexpectedError, ""), 0,
       "Internal Unexpected Error\nT\n\n\n"},
      {"beyond the last severity",
       CLuError("T", static_cast<ELuErrorSeverity>(7), ""), 0,
       "Internal Unexpected Error\nT\n\n\n"},
      {"indented, empty lines stay empty", CLuError("a\n\nb", eError, ""), 3,
       "   Error\n   a\n\n   b\n\n\n"},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszWhat);
    EXPECT_STREQ(c.pszExpected,
                 c.oError.strAsPlainText(c.nIndent, false).pszGetString());
  }
}

TEST(Error, SingleErrorHTML) {
  struct Case {
    char const* pszWhat;
    CLuError oError;
    char const* pszExpected;
  };
  Case const aCases[] = {
      {"escaped in that order", CLuError("a<b & c>", eError, ""),
       "<H1>Error a&lt;b &amp; c&gt;</H1>"},
      {"an entity is escaped once", CLuError("&lt;", eError, ""),
       "<H1>Error &amp;lt;</H1>"},
      {"no text, no sub-errors", CLuError("", eWarning, ""),
       "<H1>Warning were reported.</H1>"},
      {"several lines become paragraphs",
       CLuError("line <1>\nline 2", eError, ""),
       "<H1>Error</H1><p>line &lt;1&gt;</p>\n<p>line 2</p>\n"},
      {"line without column", CLuError("T", "f", 7, 0, eError, ""),
       "<H1>Error T</H1><p>File: <a href=\"f\">f</a><br>Line: <b>7</b></p>"},
      {"column without line", CLuError("T", "f", 0, 3, eError, ""),
       "<H1>Error T</H1><p>File: <a href=\"f\">f</a>Column: <b>3</b></p>"},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszWhat);
    EXPECT_STREQ(c.pszExpected,
                 c.oError.strAsFormattedText(false).pszGetString());
  }
}

TEST(Error, ChainIsAsSevereAsItsWorstMember) {
  CLuError const oWarningOverError(new CLuError("inner", eError, ""), "outer",
                                   eWarning, "");
  EXPECT_EQ(eError, oWarningOverError.eSeverity());
  EXPECT_STREQ("Error\nouter\nSee details below:\n  Error\n  inner\n\n\n\n\n",
               oWarningOverError.strAsPlainText(0, false).pszGetString());
  std::unique_ptr<CLuError> poTop(poNewChain());
  EXPECT_EQ(eError, poTop->eSeverity());
  CLuError const oErrorOverInfo(new CLuError("i", eInformation, ""), "o",
                                eError, "");
  EXPECT_EQ(eError, oErrorOverInfo.eSeverity());
}

TEST(Error, WarningIDsConcatenateDownTheChain) {
  std::unique_ptr<CLuError> poTop(poNewChain());
  EXPECT_STREQ("_A_B", poTop->strWarningID().pszGetString());
  CLuError const oNone(new CLuError("x", eError, ""), "y", eError, "");
  EXPECT_STREQ("", oNone.strWarningID().pszGetString());
}

TEST(Error, NullSubErrorAddsNothing) {
  CLuError const oError(nullptr, "x", "f", 1, 2, eError, "");
  EXPECT_EQ(0u, oError.nGetSubErrorCount());
  EXPECT_STREQ("Error\nx\nFile: f\nLine: 1Column: 2\n\n\n",
               oError.strAsPlainText(0, false).pszGetString());
}

// Throws a chain that only lives inside this function.
void ThrowLocalChain() {
  std::unique_ptr<CLuError> poTop(poNewChain());
  throw *poTop;
}

TEST(Error, ThrownByValueKeepsADeepCopyOfTheChain) {
  // Caught by value on purpose: one more copy of a chain whose original is
  // already gone.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wcatch-value"
  try {
    ThrowLocalChain();
    FAIL() << "nothing thrown";
  } catch (CLuError oCaught) {
    EXPECT_STREQ(kChainPlain, oCaught.strAsPlainText(0, false).pszGetString());
    EXPECT_STREQ("_A_B", oCaught.strWarningID().pszGetString());
  }
#pragma GCC diagnostic pop

  std::unique_ptr<CLuError> poOriginal(poNewChain());
  try {
    throw *poOriginal;
  } catch (CLuError const& oCaught) {
    ASSERT_EQ(1u, oCaught.nGetSubErrorCount());
    EXPECT_NE(poOriginal->poGetSubError(0), oCaught.poGetSubError(0));
    EXPECT_NE(poOriginal->poGetSubError(0)->poGetSubError(0),
              oCaught.poGetSubError(0)->poGetSubError(0));
  }
  // The original outlives its copies untouched.
  EXPECT_STREQ(kChainPlain,
               poOriginal->strAsPlainText(0, false).pszGetString());

  CLuError oAssigned("old", eInformation, "Z");
  oAssigned = *poOriginal;
  oAssigned = oAssigned;
  EXPECT_STREQ(kChainHTML, oAssigned.strAsFormattedText(false).pszGetString());
}

// A derived error that supplies its own text through the virtual query.
class CLuCustomError : public CLuError {
 public:
  CLuCustomError() : CLuError("unused", eError, "") {}
  CLuString strErrorText() const override { return "custom"; }
  CLuError* poDuplicate() const override { return new CLuCustomError(*this); }
};

TEST(Error, RenderingsAndCopiesKeepDerivedSubErrors) {
  CLuError const oTop(new CLuCustomError, "top", eError, "");
  char const* const pszExpected =
      "Error\ntop\nSee details below:\n  Error\n  custom\n\n\n\n\n";
  EXPECT_STREQ(pszExpected, oTop.strAsPlainText(0, false).pszGetString());
  std::unique_ptr<CLuError> poCopy(oTop.poDuplicate());
  ASSERT_NE(nullptr, poCopy);
  EXPECT_STREQ(pszExpected, poCopy->strAsPlainText(0, false).pszGetString());
}

}  // namespace
