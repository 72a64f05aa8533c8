#include "storage/xml_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

namespace {

// One step of a walk: tag, end-tag flag, has-value flag, value.
typedef std::tuple<std::string, bool, bool, std::string> Event;

std::vector<Event> Walk(CLuXMLFile& oXML) {
  std::vector<Event> v;
  for (;;) {
    bool bEndTag = true;
    oXML.Advance(&bEndTag);
    if (oXML.bIsEOF()) return v;
    v.emplace_back(oXML.strCurrentTag().pszGetString(), bEndTag,
                   oXML.bHasValue(), oXML.strCurrentValue().pszGetString());
  }
}

// The text of the first error of a document (null: none opened), or "".
std::string ErrorOf(char const* pszDocument) {
  CLuXMLFile oXML;
  if (pszDocument != nullptr) {
    EXPECT_TRUE(oXML.bOpen(pszDocument, false));
  }
  try {
    Walk(oXML);
  } catch (CLuXMLParseError const& e) {
    return e.strAsText().pszGetString();
  }
  return "";
}

}  // namespace

TEST(LuXMLFile, WalksDeclarationCommentsValuesAndCaseInsensitiveEndTags) {
  CLuXMLFile oXML;
  ASSERT_TRUE(
      oXML.bOpen("<?xml version=\"1.0\" ?>\n<!-- settings -->\n<Root>\n"
                 "  <Name> hello world </Name>\n  <Count>5</Count>\n"
                 "  <Text>\"line one\nline two\"</Text>\n"
                 "  <Empty></Empty><Quoted>\"\"</Quoted>\n</ROOT>\n",
                 false));
  std::vector<Event> const vExpected = {
      {"Root", false, false, ""},
      {"Name", false, true, "hello world"},
      {"Root", true, true, "hello world"},
      {"Count", false, false, "5"},  // one character: text, but no value
      {"Root", true, false, "5"},
      {"Text", false, true, "line one\nline two"},
      {"Root", true, true, "line one\nline two"},
      {"Empty", false, false, ""},
      {"Root", true, false, ""},
      {"Quoted", false, true, ""},
      {"Root", true, true, ""},
      {"", true, true, ""},
  };
  EXPECT_EQ(Walk(oXML), vExpected);
  EXPECT_EQ(oXML.nGetLine(), 10u);
  bool bEndTag = true;
  oXML.Advance(&bEndTag);  // at the end nothing more happens
  EXPECT_TRUE(oXML.bIsEOF());
  EXPECT_FALSE(bEndTag);
}

TEST(LuXMLFile, ValueEdgeCases) {
  struct {
    char const* pszDocument;
    bool bHasValue;
    char const* pszValue;
  } const aCases[] = {
      {"<a>5</a>", false, "5"},
      {"<a>\"5\"</a>", true, "5"},
      {"<a>56</a>", true, "56"},
      {"<a>\t x y \t</a>", true, "x y"},
      {"<a>\"a \r\nb\"</a>", true, "a \r\nb"},
      {"<a>x\"y></a>", true, "x\"y>"},
      // A ">" inside a comment ends it early; the rest becomes the value.
      {"<a><!-- x > y --></a>", true, "y -->"},
      {"<a><!-- x --><? y ?>ab<!-- c --></a>", true, "ab"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszDocument);
    CLuXMLFile oXML;
    ASSERT_TRUE(oXML.bOpen(c.pszDocument, false));
    std::vector<Event> const vExpected = {{"a", false, c.bHasValue, c.pszValue},
                                          {"", true, c.bHasValue, c.pszValue}};
    EXPECT_EQ(Walk(oXML), vExpected);
  }
}

TEST(LuXMLFile, EveryErrorCarriesItsMessageLineAndColumn) {
  struct {
    char const* pszDocument;
    char const* pszText;
  } const aCases[] = {
      {nullptr, "XML file is not open.\nLine: 0 Column: 0"},
      {"x", "Expected <\nLine: 1 Column: 0"},
      {"<a>\n  <b>\"x\" y</b></a>", "Expected <\nLine: 2 Column: 9"},
      {"<a b>", "Whitespace unexpected in < > brackets.\nLine: 1 Column: 2"},
      {"<a\tb>", "Whitespace unexpected in < > brackets.\nLine: 1 Column: 2"},
      {"<a\nb>", "Newline unexpected in < > brackets.\nLine: 1 Column: 2"},
      {"<a>\n<b",
       "Unexpected end of file while looking for >\nLine: 2 Column: 2"},
      {"</a>", "Unexpected end tag at root level: <//a>\nLine: 1 Column: 4"},
      {"<a><b></a>",
       "Unexpected end tag at root level: </a>\nLine: 1 Column: 10"},
      {"<a>",
       "Unexpected End of File while looking for </a>\nLine: 1 Column: 3"},
      {"<a><!-- x",
       "Unexpected End of File while looking for </a>\nLine: 1 Column: 9"},
      {"<a><b>1</b>\n",
       "Unexpected End of File while looking for </a>\nLine: 2 Column: 0"},
      {"<a>\"ab\nc",
       "Unexpected end of file while looking for '\"'\nLine: 2 Column: 1"},
      {"<a>abc",
       "Unexpected end of file while looking for '<'\nLine: 1 Column: 6"},
      {"<a>ab\ncd</a>",
       "Unexpected newline in value. Use \" \" to enclose values with "
       "newlines.\nLine: 1 Column: 5"},
      // CR LF and LF CR are one line end each; CR CR and LF LF are two.
      {"<r>\r\n<b>\r\r\n</c>",
       "Unexpected end tag at root level: </c>\nLine: 4 Column: 4"},
      {"<r>\n\r\n\n<x",
       "Unexpected end of file while looking for >\nLine: 4 Column: 2"},
      {"<a></a>  <b></B>", ""},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszDocument ? c.pszDocument : "(not open)");
    EXPECT_EQ(ErrorOf(c.pszDocument), c.pszText);
  }
}

TEST(LuXMLFile, HashIsCRC32OfUpperCasedNameAndUpperCasesTheName) {
  // The complement of the published CRC-32 of the upper-case name ("ROOT":
  // published 0x206114EF, kept as 0xDF9EEB10; "NAME" 0x68B693B2).
  CLuXMLFile oXML;
  ASSERT_TRUE(oXML.bOpen("<root><Name>x</Name></root>", false));
  bool bEndTag;
  oXML.Advance(&bEndTag);
  EXPECT_EQ(oXML.nCurrentHash(), 0xDF9EEB10u);
  EXPECT_STREQ(oXML.strCurrentTag(), "ROOT");
  oXML.Advance(&bEndTag);
  EXPECT_EQ(oXML.nCurrentHash(), 0x97496C4Du);
  oXML.Advance(&bEndTag);
  // Back in the parent, whose stored name was never upper-cased.
  EXPECT_STREQ(oXML.strCurrentTag(), "root");
  EXPECT_EQ(oXML.nCurrentHash(), 0xDF9EEB10u);
}

TEST(LuXMLFile, FinishCurrentTagSkipsNestedElements) {
  CLuXMLFile oXML;
  ASSERT_TRUE(
      oXML.bOpen("<a><b><c>12</c><c2><d></d></c2></b><e>xy</e></a>", false));
  bool bEndTag;
  oXML.Advance(&bEndTag);
  oXML.Advance(&bEndTag);
  EXPECT_TRUE(oXML.bFinishCurrentTag());
  EXPECT_STREQ(oXML.strCurrentTag(), "a");
  oXML.Advance(&bEndTag);
  EXPECT_STREQ(oXML.strCurrentValue(), "xy");
  EXPECT_TRUE(oXML.bFinishCurrentTag());   // right at </e>
  EXPECT_TRUE(oXML.bFinishCurrentTag());   // </a>
  EXPECT_FALSE(oXML.bFinishCurrentTag());  // end of the document at root

  ASSERT_TRUE(oXML.bOpen("<a><b><c>", false));
  oXML.Advance(&bEndTag);
  EXPECT_THROW(oXML.bFinishCurrentTag(), CLuXMLParseError);
}

TEST(LuXMLFile, OpensFilesAndRefusesEmptyMissingAndFolders) {
  char szPath[] = "/tmp/lu_xml_XXXXXX";
  int const iFile = mkstemp(szPath);
  ASSERT_GE(iFile, 0);
  CLuXMLFile oXML;
  EXPECT_FALSE(oXML.bOpen(szPath, true));  // still empty
  ASSERT_EQ(write(iFile, "<x>\"1\n2\"</x>", 12), 12);
  close(iFile);
  // Reopening after an error starts clean.
  ASSERT_TRUE(oXML.bOpen("<a>\n<b>1</c>", false));
  EXPECT_THROW(Walk(oXML), CLuXMLParseError);
  ASSERT_TRUE(oXML.bOpen(szPath, true));
  EXPECT_STREQ(oXML.strGetFileName(), szPath);
  std::vector<Event> const vExpected = {{"x", false, true, "1\n2"},
                                        {"", true, true, "1\n2"}};
  EXPECT_EQ(Walk(oXML), vExpected);
  unlink(szPath);

  for (char const* pszBad : {static_cast<char const*>(szPath), "/tmp"}) {
    SCOPED_TRACE(pszBad);
    EXPECT_FALSE(oXML.bOpen(pszBad, true));
    EXPECT_FALSE(oXML.bIsOpen());
    EXPECT_TRUE(oXML.strGetFileName().bIsEmpty());
    EXPECT_EQ(oXML.nGetLine(), 1u);
  }
}
