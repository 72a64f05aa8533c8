#include "base/error.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

// Information (no text, id "A") over a Warning "Write failed" over an Error
// "Disk full" at /tmp/x.dpx line 12, column 5 (id "B"); each constructor
// takes ownership of the error below it.
CLuError* poNewChain() {
  return new CLuError(
      new CLuError(new CLuError("Disk full", "/tmp/x.dpx", 12, 5, eError, "B"),
                   "Write failed", eWarning, ""),
      "", eInformation, "A");
}

// Written out by hand: every level indents its whole result, so the leaf,
// rendered at indent 4, ends up 4 + 2 columns in. Sub-errors render nested:
// only the top says "See details below:".
char const* const kChainPlain =
    "Errors were reported.\nSee details below:\n"
    "  Error\n  Write failed\n"
    "      Error\n      Disk full\n      File: /tmp/x.dpx\n"
    "      Line: 12Column: 5\n"
    "\n\n\n\n\n\n";
char const* const kChainHTML =
    "<H1>Errors were reported.</H1><H1>See details below:</H1><blockquote>"
    "<H1>Error Write failed</H1><blockquote><H1>Error Disk full</H1>"
    "<p>File: <a href=\"/tmp/x.dpx\">/tmp/x.dpx</a>"
    "<br>Line: <b>12</b>Column: <b>5</b></p></blockquote></blockquote>";

TEST(Error, ChainRendersAsPlainTextAndHTML) {
  std::unique_ptr<CLuError> poTop(poNewChain());
  EXPECT_STREQ(kChainPlain, poTop->strAsPlainText(0, false).pszGetString());
  EXPECT_STREQ(kChainHTML, poTop->strAsFormattedText(false).pszGetString());
  // The chain is as severe as its worst member; identifiers concatenate.
  EXPECT_EQ(eError, poTop->eSeverity());
  EXPECT_STREQ("_A_B", poTop->strWarningID().pszGetString());
}

TEST(Error, SingleErrorRenderings) {
  struct {
    CLuError oError;
    char const *pszPlain, *pszHTML;
  } const aCases[] = {
      {CLuError("Failed to open file: x", eError, ""),
       "Error\nFailed to open file: x\n\n\n",
       "<H1>Error Failed to open file: x</H1>"},
      {CLuError("", eWarning, ""), "Warning were reported.\n\n\n",
       "<H1>Warning were reported.</H1>"},
      {CLuError("a<b & c>", eInformation, ""), "Information\na<b & c>\n\n\n",
       "<H1>Information a&lt;b &amp; c&gt;</H1>"},
      // "&" is escaped first, so an escape in the text stays visible
      {CLuError("&lt;", static_cast<ELuErrorSeverity>(7), ""),
       "Internal Unexpected Error\n&lt;\n\n\n",
       "<H1>Internal Unexpected Error &amp;lt;</H1>"},
      {CLuError("T", "f", 7, 0, eError, ""), "Error\nT\nFile: f\nLine: 7\n\n\n",
       "<H1>Error T</H1><p>File: <a href=\"f\">f</a><br>Line: <b>7</b></p>"},
      {CLuError(nullptr, "T", "", 5, 6, eError, ""), "Error\nT\n\n\n",
       "<H1>Error T</H1>"},
      {CLuError("a <1>\n\nb", eError, ""), "Error\na <1>\n\nb\n\n\n",
       "<H1>Error</H1><p>a &lt;1&gt;</p>\n<p>b</p>\n"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszPlain);
    EXPECT_STREQ(c.pszPlain, c.oError.strAsPlainText(0, false).pszGetString());
    EXPECT_STREQ(c.pszHTML, c.oError.strAsFormattedText(false).pszGetString());
  }
}

// A derived error that supplies its own text through the virtual query.
class CLuCustomError : public CLuError {
 public:
  CLuCustomError() : CLuError("unused", eError, "") {}
  CLuString strErrorText() const override { return "custom"; }
  CLuError* poDuplicate() const override { return new CLuCustomError(*this); }
};

TEST(Error, CopiesAreDeepAndKeepDerivedSubErrors) {
  // Caught by value on purpose: one more copy of a chain whose original died
  // while the exception unwound.
#pragma GCC diagnostic push
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wcatch-value"
#endif
  try {
    [] { throw *std::unique_ptr<CLuError>(poNewChain()); }();
    FAIL() << "nothing thrown";
  } catch (CLuError oCaught) {
    EXPECT_STREQ(kChainPlain, oCaught.strAsPlainText(0, false).pszGetString());
    EXPECT_STREQ("_A_B", oCaught.strWarningID().pszGetString());
  }
#pragma GCC diagnostic pop
  // The temporary is gone before the rendering; its derived sub-error was
  // duplicated as what it is.
  CLuError oAssigned("old", eInformation, "Z");
  oAssigned = CLuError(new CLuCustomError, "top", eError, "");
  EXPECT_STREQ("Error\ntop\nSee details below:\n  Error\n  custom\n\n\n\n\n",
               oAssigned.strAsPlainText(0, false).pszGetString());
  // Assigning a sub-error of the same chain copies it before the old
  // sub-errors go.
  std::unique_ptr<CLuError> const poChain(poNewChain());
  *poChain = *poChain->poGetSubError(0);
  EXPECT_STREQ("_B", poChain->strWarningID().pszGetString());
  EXPECT_STREQ("Write failed", poChain->strErrorText().pszGetString());
}

}  // namespace
