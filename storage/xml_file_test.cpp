#include "storage/xml_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// One step of a walk: what Advance reported and what the reader then held.
struct SEvent {
  std::string strTag;
  bool bEndTag;
  bool bHasValue;
  std::string strValue;
  bool operator==(SEvent const& o) const {
    return strTag == o.strTag && bEndTag == o.bEndTag &&
           bHasValue == o.bHasValue && strValue == o.strValue;
  }
};

std::ostream& operator<<(std::ostream& os, SEvent const& e) {
  return os << (e.bEndTag ? "</" : "<") << e.strTag << "> has=" << e.bHasValue
            << " '" << e.strValue << "'";
}

std::vector<SEvent> Walk(CLuXMLFile& oXML) {
  std::vector<SEvent> v;
  for (;;) {
    bool bEndTag = true;
    oXML.Advance(&bEndTag);
    if (oXML.bIsEOF()) return v;
    v.push_back({oXML.strCurrentTag().pszGetString(), bEndTag, oXML.bHasValue(),
                 oXML.strCurrentValue().pszGetString()});
  }
}

// Runs a document to its end or its first error; the error's text, or ""
// when there was none.
std::string ErrorOf(char const* pszDocument) {
  CLuXMLFile oXML;
  EXPECT_TRUE(oXML.bOpen(pszDocument, false));
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
      oXML.bOpen("<?xml version=\"1.0\" ?>\n"
                 "<!-- settings -->\n"
                 "<Root>\n"
                 "  <Name> hello world </Name>\n"
                 "  <Count>5</Count>\n"
                 "  <Text>\"line one\n"
                 "line two\"</Text>\n"
                 "  <Empty></Empty><Quoted>\"\"</Quoted>\n"
                 "</ROOT>\n",
                 false));
  std::vector<SEvent> const vExpected = {
      {"Root", false, false, ""},
      {"Name", false, true, "hello world"},
      {"Root", true, true, "hello world"},
      // The one-character quirk: text kept, reported as no value.
      {"Count", false, false, "5"},
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
  EXPECT_EQ(oXML.nGetDepth(), 0u);
  // At the end nothing more happens.
  bool bEndTag = true;
  oXML.Advance(&bEndTag);
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
      {"<a> hello world </a>", true, "hello world"},
      {"<a>\t x y \t</a>", true, "x y"},
      {"<a>\"a \r\nb\"</a>", true, "a \r\nb"},
      {"<a>x\"y></a>", true, "x\"y>"},
      // A ">" inside a comment ends it early; the rest becomes the value.
      {"<a><!-- x > y --></a>", true, "y -->"},
      {"<a><!-- x --><? y ?>ab</a>", true, "ab"},
      {"<a>ab<!-- c --></a>", true, "ab"},
  };
  for (auto const& c : aCases) {
    SCOPED_TRACE(c.pszDocument);
    CLuXMLFile oXML;
    ASSERT_TRUE(oXML.bOpen(c.pszDocument, false));
    bool bEndTag = true;
    oXML.Advance(&bEndTag);
    EXPECT_FALSE(bEndTag);
    EXPECT_EQ(oXML.bHasValue(), c.bHasValue);
    EXPECT_STREQ(oXML.strCurrentValue(), c.pszValue);
    oXML.Advance(&bEndTag);
    EXPECT_TRUE(bEndTag);
    EXPECT_STREQ(oXML.strCurrentValue(), c.pszValue);
    oXML.Advance(&bEndTag);
    EXPECT_TRUE(oXML.bIsEOF());
  }
}

TEST(LuXMLFile, EveryErrorCarriesItsMessageLineAndColumn) {
  struct {
    char const* pszDocument;
    char const* pszText;
  } const aCases[] = {
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
      {"<a>\"abc",
       "Unexpected end of file while looking for '\"'\nLine: 1 Column: 7"},
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
    SCOPED_TRACE(c.pszDocument);
    EXPECT_EQ(ErrorOf(c.pszDocument), c.pszText);
  }
}

TEST(LuXMLFile, AdvanceWithoutDocumentThrowsAtLineAndColumnZero) {
  CLuXMLFile oXML;
  try {
    oXML.Advance(nullptr);
    FAIL() << "no error";
  } catch (CLuXMLParseError const& e) {
    EXPECT_STREQ(e.strGetMessage(), "XML file is not open.");
    EXPECT_EQ(e.nGetLine(), 0u);
    EXPECT_EQ(e.nGetColumn(), 0u);
  }
}

TEST(LuXMLFile, HashIsCRC32OfUpperCasedNameAndUpperCasesTheName) {
  // Independent values: the complement of the published CRC-32 of the
  // upper-case names ("ROOT": published 0x206114EF, kept as 0xDF9EEB10).
  CLuXMLFile oXML;
  ASSERT_TRUE(oXML.bOpen("<root><Name>x</Name></root>", false));
  bool bEndTag;
  oXML.Advance(&bEndTag);
  EXPECT_STREQ(oXML.strCurrentTag(), "root");
  EXPECT_EQ(oXML.nCurrentHash(), 0xDF9EEB10u);
  EXPECT_STREQ(oXML.strCurrentTag(), "ROOT");
  oXML.Advance(&bEndTag);
  EXPECT_EQ(oXML.nCurrentHash(), 0x97496C4Du);
  oXML.Advance(&bEndTag);
  ASSERT_TRUE(bEndTag);
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
  ASSERT_STREQ(oXML.strCurrentTag(), "b");
  EXPECT_TRUE(oXML.bFinishCurrentTag());
  EXPECT_STREQ(oXML.strCurrentTag(), "a");
  oXML.Advance(&bEndTag);
  EXPECT_STREQ(oXML.strCurrentTag(), "e");
  EXPECT_STREQ(oXML.strCurrentValue(), "xy");
  EXPECT_TRUE(oXML.bFinishCurrentTag());   // right at </e>
  EXPECT_TRUE(oXML.bFinishCurrentTag());   // </a>
  EXPECT_FALSE(oXML.bFinishCurrentTag());  // end of the document at root

  ASSERT_TRUE(oXML.bOpen("<a><b><c>", false));
  oXML.Advance(&bEndTag);
  oXML.Advance(&bEndTag);
  try {
    oXML.bFinishCurrentTag();
    FAIL() << "no error";
  } catch (CLuXMLParseError const& e) {
    EXPECT_STREQ(e.strGetMessage(),
                 "Unexpected End of File while looking for </c>");
  }
}

class LuXMLFileOnDisk : public ::testing::Test {
 protected:
  void SetUp() override {
    char szTemplate[] = "/tmp/lu_xml_XXXXXX";
    ASSERT_NE(mkdtemp(szTemplate), nullptr);
    m_strDir = szTemplate;
  }
  void TearDown() override {
    std::string const strCommand = "rm -rf '" + m_strDir + "'";
    EXPECT_EQ(system(strCommand.c_str()), 0);
  }
  std::string Write(char const* pszName, std::string const& strContent) {
    std::string const strPath = m_strDir + "/" + pszName;
    FILE* pFile = fopen(strPath.c_str(), "wb");
    EXPECT_NE(pFile, nullptr);
    fwrite(strContent.data(), 1, strContent.size(), pFile);
    fclose(pFile);
    return strPath;
  }
  std::string m_strDir;
};

TEST_F(LuXMLFileOnDisk, OpensFilesAndRefusesEmptyMissingAndFolders) {
  CLuXMLFile oXML;
  std::string const strPath = Write("s.xml", "<a>\"v\"</a>\n");
  ASSERT_TRUE(oXML.bOpen(strPath.c_str(), true));
  EXPECT_STREQ(oXML.strGetFileName(), strPath.c_str());
  bool bEndTag;
  oXML.Advance(&bEndTag);
  EXPECT_STREQ(oXML.strCurrentValue(), "v");

  char const* const apszBad[] = {"empty.xml", "missing.xml", ""};
  Write("empty.xml", "");
  for (char const* pszName : apszBad) {
    SCOPED_TRACE(pszName);
    std::string const strBad = m_strDir + "/" + pszName;
    EXPECT_FALSE(oXML.bOpen(strBad.c_str(), true));
    EXPECT_FALSE(oXML.bIsOpen());
    EXPECT_TRUE(oXML.strGetFileName().bIsEmpty());
    EXPECT_STREQ(oXML.strCurrentTag(), "");
    EXPECT_EQ(oXML.nGetLine(), 1u);
  }
}

TEST_F(LuXMLFileOnDisk, ReopeningAfterAnErrorStartsClean) {
  CLuXMLFile oXML;
  ASSERT_TRUE(oXML.bOpen("<a>\n<b>1</c>", false));
  EXPECT_THROW(Walk(oXML), CLuXMLParseError);
  std::string const strPath = Write("ok.xml", "<x>\"1\n2\"</x>");
  ASSERT_TRUE(oXML.bOpen(strPath.c_str(), true));
  EXPECT_EQ(oXML.nGetLine(), 1u);
  EXPECT_EQ(oXML.nGetDepth(), 0u);
  std::vector<SEvent> const vExpected = {{"x", false, true, "1\n2"},
                                         {"", true, true, "1\n2"}};
  EXPECT_EQ(Walk(oXML), vExpected);
}
