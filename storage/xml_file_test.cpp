#include "storage/xml_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace {

// Every step of a walk, each ended by "|": "/" for an end tag, the tag, then
// "=" and the value when it has one, or "~" and the text kept when not.
std::string Walk(CLuXMLFile& oXML) {
  std::string str;
  for (;;) {
    bool bEndTag = true;
    oXML.Advance(&bEndTag);
    if (oXML.bIsEOF()) return str;
    str += std::string(bEndTag ? "/" : "") +
           oXML.strCurrentTag().pszGetString() +
           (oXML.bHasValue() ? "=" : "~") +
           oXML.strCurrentValue().pszGetString() + "|";
  }
}

// The walk of a document (null: none opened), or the text of its error.
std::string WalkOf(char const* pszDocument) {
  CLuXMLFile oXML;
  if (pszDocument != nullptr && !oXML.bOpen(pszDocument, false)) return "?";
  try {
    return Walk(oXML);
  } catch (CLuXMLParseError const& e) {
    return e.strAsText().pszGetString();
  }
}

}  // namespace

TEST(LuXMLFile, WalksValuesAndGivesEveryErrorWithItsLineAndColumn) {
  std::pair<char const*, char const*> const aCases[] = {
      // Declaration, comments, trimmed and quoted values, end tags matched
      // ignoring case.
      {"<?xml version=\"1.0\" ?>\n<!-- settings -->\n<Root>\n"
       "  <Name> hello world </Name>\n  <Count>5</Count>\n"
       "  <Text>\"line one\nline two\"</Text>\n"
       "  <Empty></Empty><Quoted>\"\"</Quoted>\n</ROOT>\n",
       "Root~|Name=hello world|/Root=hello world|"
       "Count~5|/Root~5|"  // one character: text, but no value
       "Text=line one\nline two|/Root=line one\nline two|"
       "Empty~|/Root~|Quoted=|/Root=|/=|"},
      {"<a>\"5\"</a>", "a=5|/=5|"},
      // A ">" inside a comment ends it early; the rest becomes the value.
      {"<a><!-- x > y --></a>", "a=y -->|/=y -->|"},
      {"<a><!-- x --><? y ?>ab<!-- c --></a>", "a=ab|/=ab|"},
      {nullptr, "XML file is not open.\nLine: 0 Column: 0"},
      {"<a>\n  <b>\"x\" y</b></a>", "Expected <\nLine: 2 Column: 9"},
      {"<a\tb>", "Whitespace unexpected in < > brackets.\nLine: 1 Column: 2"},
      {"<a\nb>", "Newline unexpected in < > brackets.\nLine: 1 Column: 2"},
      {"</a>", "Unexpected end tag at root level: <//a>\nLine: 1 Column: 4"},
      {"<a><b></a>",
       "Unexpected end tag at root level: </a>\nLine: 1 Column: 10"},
      {"<a>",
       "Unexpected End of File while looking for </a>\nLine: 1 Column: 3"},
      {"<a><!-- x",
       "Unexpected End of File while looking for </a>\nLine: 1 Column: 9"},
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
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.first ? c.first : "(not open)");
    EXPECT_EQ(WalkOf(c.first), c.second);
  }
}

TEST(LuXMLFile, ValueIsCopiedFromTheDocumentOnlyWhenFirstAskedFor) {
  // A bare value ends at a NUL written over the "<" behind it, and the next
  // Advance puts the "<" back: asked for only after that (here at "</b>"),
  // it reads on.
  std::pair<char const*, char const*> const aCases[] = {
      {"<a><b>xy</b></a>", "xy</b></a>"},
      {"<a><b>xy </b></a>", "xy"},  // the NUL took the blank instead
      {"<a><b>\"xy\"</b></a>", "xy"},
  };
  for (auto [pszDocument, pszValue] : aCases) {
    SCOPED_TRACE(pszDocument);
    CLuXMLFile oXML;
    ASSERT_TRUE(oXML.bOpen(pszDocument, false));
    bool bEndTag;
    for (int i = 0; i < 3; ++i) oXML.Advance(&bEndTag);
    EXPECT_STREQ(oXML.strCurrentValue(), pszValue);
    oXML.Advance(&bEndTag);
    EXPECT_STREQ(oXML.strCurrentValue(), pszValue);  // copied by now
  }
}

TEST(LuXMLFile, HashUpperCasesTheNameAndFinishCurrentTagSkipsNesting) {
  // The hash is the complement of the published CRC-32 of the upper-case
  // name ("ROOT": published 0x206114EF, kept as 0xDF9EEB10; "NAME"
  // 0x68B693B2).
  CLuXMLFile oXML;
  ASSERT_TRUE(oXML.bOpen(
      "<root><Name>x</Name><b><c>12</c><c2><d></d></c2></b><e>xy</e></root>",
      false));
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
  oXML.Advance(&bEndTag);
  EXPECT_TRUE(oXML.bFinishCurrentTag());  // skips <b> with all inside
  EXPECT_STREQ(oXML.strCurrentTag(), "root");
  oXML.Advance(&bEndTag);
  EXPECT_STREQ(oXML.strCurrentValue(), "xy");
  EXPECT_TRUE(oXML.bFinishCurrentTag());   // right at </e>
  EXPECT_TRUE(oXML.bFinishCurrentTag());   // </root>
  EXPECT_FALSE(oXML.bFinishCurrentTag());  // end of the document at root

  ASSERT_TRUE(oXML.bOpen("<a><b><c>", false));
  oXML.Advance(&bEndTag);
  EXPECT_THROW(oXML.bFinishCurrentTag(), CLuXMLParseError);
}

TEST(LuXMLFile, OpensFilesAndRefusesEmptyMissingFoldersAndPipes) {
  char szPath[] = "/tmp/lu_xml_XXXXXX";
  int const iFile = mkstemp(szPath);
  ASSERT_GE(iFile, 0);
  CLuXMLFile oXML;
  EXPECT_FALSE(oXML.bOpen(szPath, true));  // still empty
  ASSERT_EQ(write(iFile, "<x>\"1\n2\"</x>", 12), 12);
  close(iFile);
  ASSERT_TRUE(oXML.bOpen("<a>\n<b>1</c>", false));
  EXPECT_THROW(Walk(oXML), CLuXMLParseError);
  ASSERT_TRUE(oXML.bOpen(szPath, true));  // reopening after an error: clean
  EXPECT_STREQ(oXML.strGetFileName(), szPath);
  EXPECT_EQ(Walk(oXML), "x=1\n2|/=1\n2|");
  EXPECT_EQ(oXML.nGetLine(), 2u);
  bool bEndTag = true;
  oXML.Advance(&bEndTag);  // at the end nothing more happens
  EXPECT_TRUE(oXML.bIsEOF());
  EXPECT_FALSE(bEndTag);
  unlink(szPath);
  std::string const strPipe = std::string(szPath) + ".pipe";
  ASSERT_EQ(mkfifo(strPipe.c_str(), 0600), 0);  // no writer, ever
  for (char const* pszBad :
       {static_cast<char const*>(szPath), "/tmp", strPipe.c_str()}) {
    SCOPED_TRACE(pszBad);
    EXPECT_FALSE(oXML.bOpen(pszBad, true));
    EXPECT_FALSE(oXML.bIsOpen());
    EXPECT_TRUE(oXML.strGetFileName().bIsEmpty());
    EXPECT_EQ(oXML.nGetLine(), 1u);
  }
  unlink(strPipe.c_str());
}
