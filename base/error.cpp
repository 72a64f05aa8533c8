#include "base/error.h"

#include <new>

namespace {

// Room the sub-error queue starts with; chains are short, so it rarely grows.
constexpr uint32_t kInitialSubErrorRoom = 128;

// The rendering word of a severity; values above 3 count as the worst.
char const* pszSeverityWord(ELuErrorSeverity eSeverity) {
  switch (eSeverity) {
    case eInformation:
      return "Information";
    case eWarning:
      return "Warning";
    case eError:
      return "Error";
    default:
      return "Internal Unexpected Error";
  }
}

// Escapes "&", "<" and ">" for HTML. One pass gives the same result as
// replacing every "&" first, then every "<", then every ">": the "&" of an
// inserted entity is never escaped again.
CLuString strEscapeHTML(CLuString const& strText) {
  CLuString strResult;
  uint32_t const nLength = strText.nGetLength();
  char const* pszText = strText.pszGetString();
  for (uint32_t i = 0; i < nLength; ++i) {
    switch (pszText[i]) {
      case '&':
        strResult += "&amp;";
        break;
      case '<':
        strResult += "&lt;";
        break;
      case '>':
        strResult += "&gt;";
        break;
      default:
        strResult += pszText[i];
        break;
    }
  }
  return strResult;
}

}  // namespace

CLuError::CLuError(CLuString const& strText, ELuErrorSeverity eSeverity,
                   CLuString const& strWarningID)
    : m_nLine(0),
      m_nColumn(0),
      m_eSeverity(eSeverity),
      m_oSubErrors(kInitialSubErrorRoom) {
  // The strings start at their default capacity, then receive the texts.
  m_strErrorText = strText;
  m_strWarningID = strWarningID;
}

CLuError::CLuError(CLuError* poSubError, CLuString const& strText,
                   ELuErrorSeverity eSeverity, CLuString const& strWarningID)
    : CLuError(strText, eSeverity, strWarningID) {
  AddSubError(poSubError);
}

CLuError::CLuError(CLuString const& strText, CLuString const& strFile,
                   uint32_t nLine, uint32_t nColumn, ELuErrorSeverity eSeverity,
                   CLuString const& strWarningID)
    : m_nLine(nLine),
      m_nColumn(nColumn),
      m_eSeverity(eSeverity),
      m_oSubErrors(kInitialSubErrorRoom) {
  m_strErrorText = strText;
  m_strAssociatedFile = strFile;
  m_strWarningID = strWarningID;
}

CLuError::CLuError(CLuError* poSubError, CLuString const& strText,
                   CLuString const& strFile, uint32_t nLine, uint32_t nColumn,
                   ELuErrorSeverity eSeverity, CLuString const& strWarningID)
    : CLuError(strText, strFile, nLine, nColumn, eSeverity, strWarningID) {
  AddSubError(poSubError);
}

CLuError::CLuError(CLuError const& oOther)
    : m_nLine(0),
      m_nColumn(0),
      m_eSeverity(eError),
      m_oSubErrors(kInitialSubErrorRoom) {
  CopyFrom(oOther);
}

CLuError& CLuError::operator=(CLuError const& oOther) {
  if (this != &oOther) {
    // The source may live inside this error's own chain (e = *sub), and
    // deleting the sub-errors would destroy it: copy it out first.
    CLuError const oSource(oOther);
    DeleteSubErrors();
    CopyFrom(oSource);
  }
  return *this;
}

CLuError::~CLuError() {
  DeleteSubErrors();
}

CLuString CLuError::strErrorText() const {
  return m_strErrorText;
}

CLuString CLuError::strAssociatedFile() const {
  return m_strAssociatedFile;
}

uint32_t CLuError::nFileLineNumber() const {
  return m_nLine;
}

uint32_t CLuError::nFileColumnNumber() const {
  return m_nColumn;
}

ELuErrorSeverity CLuError::eSeverity() const {
  ELuErrorSeverity eWorst = m_eSeverity;
  uint32_t const nCount = nGetSubErrorCount();
  for (uint32_t i = 0; i < nCount; ++i) {
    ELuErrorSeverity const eSub = poGetSubError(i)->eSeverity();
    if (eSub > eWorst) eWorst = eSub;
  }
  return eWorst;
}

CLuString CLuError::strAsFormattedText(bool bNested) const {
  uint32_t const nSubCount = nGetSubErrorCount();
  CLuString const strWord = pszSeverityWord(eSeverity());
  CLuString const strEscaped = strEscapeHTML(strErrorText());

  CLuString strResult;
  if (strEscaped.iFind('\n', 0) < 0) {
    CLuString strHeading = strWord;
    if (!strEscaped.bIsEmpty()) {
      strHeading += " ";
      strHeading += strEscaped;
    } else {
      if (nSubCount > 0) strHeading += "s";
      strHeading += " were reported.";
    }
    strResult = "<H1>";
    strResult += strHeading;
    strResult += "</H1>";
  } else {
    // A text of several lines becomes paragraphs below a bare heading; the
    // paragraph conversion does its own escaping, so it gets the raw text.
    strResult = "<H1>";
    strResult += strWord;
    strResult += "</H1>";
    CLuString strParagraphs = strErrorText();
    strParagraphs.ConvertToHTMLParagraphs();
    strResult += strParagraphs;
  }

  CLuString const strFile = strAssociatedFile();
  if (!strFile.bIsEmpty()) {
    strResult += "<p>File: <a href=\"";
    strResult += strFile;
    strResult += "\">";
    strResult += strFile;
    strResult += "</a>";
    CLuString strNumber;
    uint32_t const nLine = nFileLineNumber();
    if (nLine != 0) {
      strNumber.FromNumber(nLine);
      strResult += "<br>Line: <b>";
      strResult += strNumber;
      strResult += "</b>";
    }
    uint32_t const nColumn = nFileColumnNumber();
    if (nColumn != 0) {
      strNumber.FromNumber(nColumn);
      strResult += "Column: <b>";
      strResult += strNumber;
      strResult += "</b>";
    }
    strResult += "</p>";
  }

  if (nSubCount > 0) {
    if (!bNested) strResult += "<H1>See details below:</H1>";
    strResult += "<blockquote>";
    for (uint32_t i = 0; i < nSubCount; ++i) {
      strResult += poGetSubError(i)->strAsFormattedText(true);
    }
    strResult += "</blockquote>";
  }
  return strResult;
}

CLuString CLuError::strAsPlainText(uint32_t nIndent, bool bNested) const {
  uint32_t const nSubCount = nGetSubErrorCount();
  CLuString const strText = strErrorText();

  CLuString strResult = pszSeverityWord(eSeverity());
  if (strText.bIsEmpty()) {
    // "Errors were reported." with sub-errors, "Error were reported."
    // without: the plain form is kept exactly as it has always read.
    if (nSubCount > 0) strResult += "s";
    strResult += " were reported.";
  }
  strResult += "\n";
  if (!strText.bIsEmpty()) {
    strResult += strText;
    if (strText.cGetAt(strText.nGetLength() - 1) != '\n') strResult += "\n";
  }

  CLuString const strFile = strAssociatedFile();
  if (!strFile.bIsEmpty()) {
    strResult += "File: ";
    strResult += strFile;
    CLuString strNumber;
    uint32_t const nLine = nFileLineNumber();
    if (nLine != 0) {
      strNumber.FromNumber(nLine);
      strResult += "\nLine: ";
      strResult += strNumber;
    }
    // Column follows the line number with no separator ("Line: 12Column: 5").
    uint32_t const nColumn = nFileColumnNumber();
    if (nColumn != 0) {
      strNumber.FromNumber(nColumn);
      strResult += "Column: ";
      strResult += strNumber;
    }
    strResult += "\n";
  }

  if (nSubCount > 0) {
    if (!bNested) strResult += "See details below:\n";
    for (uint32_t i = 0; i < nSubCount; ++i) {
      strResult += poGetSubError(i)->strAsPlainText(nIndent + 2, true);
    }
  }
  strResult += "\n\n";
  // The whole result, sub-error texts included, is indented once more here,
  // so the indentation of nested levels accumulates.
  strResult.Indent(nIndent);
  return strResult;
}

CLuError* CLuError::poDuplicate() const {
  return new (std::nothrow) CLuError(*this);
}

CLuString CLuError::strWarningID() const {
  CLuString strResult;
  if (!m_strWarningID.bIsEmpty()) {
    strResult = "_";
    strResult += m_strWarningID;
  }
  uint32_t const nCount = nGetSubErrorCount();
  for (uint32_t i = 0; i < nCount; ++i) {
    strResult += poGetSubError(i)->strWarningID();
  }
  return strResult;
}

uint32_t CLuError::nGetSubErrorCount() const {
  return m_oSubErrors.nGetCount();
}

CLuError const* CLuError::poGetSubError(uint32_t nIndex) const {
  return m_oSubErrors.poGetAt(nIndex);
}

void CLuError::AddSubError(CLuError* poSubError) {
  if (poSubError == nullptr) return;
  // Should the queue fail to grow, the sub-error would be lost anyway;
  // destroying it keeps that from becoming a leak as well.
  if (!m_oSubErrors.bAddTail(poSubError)) delete poSubError;
}

void CLuError::CopyFrom(CLuError const& oOther) {
  m_strErrorText = oOther.m_strErrorText;
  m_strAssociatedFile = oOther.m_strAssociatedFile;
  m_nLine = oOther.m_nLine;
  m_nColumn = oOther.m_nColumn;
  m_eSeverity = oOther.m_eSeverity;
  m_strWarningID = oOther.m_strWarningID;
  uint32_t const nCount = oOther.nGetSubErrorCount();
  for (uint32_t i = 0; i < nCount; ++i) {
    AddSubError(oOther.poGetSubError(i)->poDuplicate());
  }
}

void CLuError::DeleteSubErrors() {
  uint32_t const nCount = m_oSubErrors.nGetCount();
  for (uint32_t i = 0; i < nCount; ++i) delete m_oSubErrors.poGetAt(i);
  m_oSubErrors.RemoveAll();
}
