// CLuString helpers for markup and files: dotted network addresses, XML /
// HTML / CSV text and path and frame-name helpers. Built on the core
// operations of string.cpp.
#include <strings.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/containers.h"
#include "base/string.h"

namespace {

bool bIsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Escapes the characters that XML / HTML text may not hold literally.
CLuString strEscapeMarkup(CLuString const& str, bool bQuotes) {
  CLuString strOut;
  for (uint32_t i = 0; i < str.nGetLength(); i++) {
    char const c = str.cGetAt(i);
    if (c == '&')
      strOut += "&amp;";
    else if (c == '<')
      strOut += "&lt;";
    else if (c == '>')
      strOut += "&gt;";
    else if (c == '"' && bQuotes)
      strOut += "&quot;";
    else
      strOut += c;
  }
  return strOut;
}

}  // namespace

// ---- network ---------------------------------------------------------------

bool CLuString::bIsIPAddress() const {
  uint32_t nPart = 0, nDigits = 0, nValue = 0;
  for (uint32_t i = 0; i <= m_nLength; i++) {
    char const c = cGetAt(i);
    if (bIsDigit(c)) {
      if (++nDigits > 3) return false;
      nValue = nValue * 10 + uint32_t(c - '0');
    } else if (c == '.' || c == '\0') {
      if (nDigits == 0 || nValue > 255) return false;
      nPart++;
      nDigits = nValue = 0;
      if (c == '.' && nPart == 4) return false;
    } else {
      return false;
    }
  }
  return nPart == 4;
}

void CLuString::IPAddressStripZeroPrefixes() {
  unsigned a, b, c, d;
  if (!bIsIPAddress() || sscanf(m_pszData, "%u.%u.%u.%u", &a, &b, &c, &d) != 4)
    return;
  Format("%u.%u.%u.%u", a, b, c, d);
}

// ---- XML, HTML and CSV ---------------------------------------------------

CLuString CLuString::strToXML(CLuString const& strName,
                              CLuString const& strValue, uint32_t nIndent) {
  CLuString str = strRepeat(' ', nIndent);
  str += "<";
  str += strName;
  str += ">";
  str += strEscapeMarkup(strValue, true);
  str += "</";
  str += strName;
  str += ">\n";
  return str;
}

CLuString CLuString::strColorToXML(CLuString const& strName, uint32_t nColor,
                                   uint32_t nIndent) {
  return strToXML(strName, strFromColor(nColor), nIndent);
}

void CLuString::CutOutXMLSection(CLuString const& strName,
                                 CLuString* pstrSection) {
  if (pstrSection) pstrSection->Empty();
  if (strName.bIsEmpty()) return;
  CLuString const strOpen = "<" + strName;
  CLuString const strClose = "</" + strName + ">";
  // An opening tag is "<name" followed by ">", "/" or white space.
  auto bIsOpenTag = [&](uint32_t nPos) {
    char const c = cGetAt(nPos + strOpen.nGetLength());
    return c == '>' || c == '/' || c == ' ' || c == '\t' || c == '\n' ||
           c == '\r';
  };
  int32_t iStart = iFind(strOpen);
  while (iStart >= 0 && !bIsOpenTag(uint32_t(iStart)))
    iStart = iFind(strOpen, uint32_t(iStart) + 1);
  if (iStart < 0) return;
  int32_t const iTagEnd = iFind('>', uint32_t(iStart));
  if (iTagEnd < 0) return;
  uint32_t nEnd;
  if (cGetAt(uint32_t(iTagEnd) - 1) == '/') {
    nEnd = uint32_t(iTagEnd) + 1;  // <name ... />
  } else {
    // Find the matching close tag, counting nested elements of the name.
    uint32_t nDepth = 1, nPos = uint32_t(iTagEnd) + 1;
    for (;;) {
      int32_t const iClose = iFind(strClose, nPos);
      if (iClose < 0) return;
      int32_t iNested = iFind(strOpen, nPos);
      while (iNested >= 0 && iNested < iClose && !bIsOpenTag(uint32_t(iNested)))
        iNested = iFind(strOpen, uint32_t(iNested) + 1);
      if (iNested >= 0 && iNested < iClose) {
        int32_t const iNestedEnd = iFind('>', uint32_t(iNested));
        if (iNestedEnd < 0) return;
        if (cGetAt(uint32_t(iNestedEnd) - 1) != '/') nDepth++;
        nPos = uint32_t(iNestedEnd) + 1;
        continue;
      }
      nPos = uint32_t(iClose) + strClose.nGetLength();
      if (--nDepth == 0) break;
    }
    nEnd = nPos;
  }
  if (pstrSection)
    *pstrSection = strMid(uint32_t(iStart), nEnd - uint32_t(iStart));
  DoReplace(uint32_t(iStart), nEnd - uint32_t(iStart), CLuString());
}

void CLuString::ConvertToHTMLParagraphs() {
  CLuString strText(*this);
  strText.NormalizeLineEnds(eLineEndsLF);
  strText = strEscapeMarkup(strText, false);
  CLuString str, strLine;
  while (strText.bGetNextToken("\n", &strLine)) {
    str += "<p>";
    str += strLine;
    str += "</p>\n";
  }
  *this = str;
}

CLuString CLuString::strHTMLHeader(CLuString const& strTitle) {
  CLuString str =
      "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>";
  str += strEscapeMarkup(strTitle, false);
  str += "</title>\n<style type=\"text/css\">\n";
  str += strDefaultVELOMACSS();
  str += "</style>\n</head>\n<body>\n";
  return str;
}

CLuString CLuString::strDefaultVELOMACSS() {
  return "body, p, td, th, li, blockquote {\n"
         "  font-family: Helvetica, Arial, sans-serif;\n"
         "  font-size: 10pt;\n"
         "  color: #000000;\n"
         "}\n"
         "h1 { font-family: Helvetica, Arial, sans-serif; font-size: 14pt; "
         "font-weight: bold; }\n"
         "h2 { font-family: Helvetica, Arial, sans-serif; font-size: 12pt; "
         "font-weight: bold; }\n"
         "h3 { font-family: Helvetica, Arial, sans-serif; font-size: 10pt; "
         "font-weight: bold; }\n"
         "pre, code { font-family: Courier, monospace; font-size: 10pt; }\n"
         "a:link { color: #0033BB; text-decoration: none; }\n"
         "a:visited { color: #4477EE; text-decoration: none; }\n"
         "a:active { color: #745733; text-decoration: none; }\n"
         "a:hover { color: #000000; text-decoration: underline; }\n";
}

void CLuString::ConvertVELOMAFormattedToCSV() {
  CLuString strText(*this);
  strText.NormalizeLineEnds(eLineEndsLF);
  CLuString str, strField;
  bool bFieldStart = true;
  auto Flush = [&]() {
    if (strField.iFindOneOf(",\"\n\r") >= 0) {
      strField.bReplaceAll("\"", "\"\"");
      str += '"';
      str += strField;
      str += '"';
    } else {
      str += strField;
    }
    strField.Empty();
  };
  for (uint32_t i = 0; i < strText.nGetLength(); i++) {
    char const c = strText.cGetAt(i);
    if (c == '\t') {
      Flush();
      str += ',';
    } else if (c == '\n') {
      Flush();
      str += '\n';
    } else {
      strField += c;
    }
    bFieldStart = c == '\t' || c == '\n';
  }
  if (!bFieldStart || !strField.bIsEmpty()) Flush();
  *this = str;
}

// ---- paths and files -------------------------------------------------------

CLuString CLuString::strExtractNormalizedFileExtension() const {
  CLuString str;
  int32_t const iSlash = iReverseFindOneOf("/\\");
  uint32_t const nNameStart = uint32_t(iSlash + 1);
  int32_t const iDot = iReverseFind('.');
  // A leading dot marks a hidden file, not an extension.
  if (iDot < 0 || uint32_t(iDot) <= nNameStart) return str;
  str = strMid(uint32_t(iDot) + 1);
  str.MakeLower();
  return str;
}

bool CLuString::bAppendExtensionIfNotPresent(CLuString const& strExtension) {
  CLuString strDotted(strExtension);
  if (strDotted.cGetAt(0) == '.') strDotted.ShortenAtBegin(1);
  if (strDotted.bIsEmpty()) return false;
  strDotted = "." + strDotted;
  if (bEndsWith(strDotted, false)) return false;
  *this += strDotted;
  return true;
}

bool CLuString::bMakeRelativePath(CLuString const& strBase) {
  CLuString strPath(*this), strFrom(strBase);
  strPath.ConvertPathToOSSpecific();
  strFrom.ConvertPathToOSSpecific();
  if ((strPath.cGetAt(0) == '/') != (strFrom.cGetAt(0) == '/')) return false;
  // Walk the common leading elements ("." and empty elements skipped).
  CLuString strElement1, strElement2;
  auto bNext = [](CLuString* pstr, CLuString* pstrElement) {
    while (pstr->bGetNextToken("/", pstrElement))
      if (*pstrElement != ".") return true;
    return false;
  };
  bool b1 = bNext(&strPath, &strElement1);
  bool b2 = bNext(&strFrom, &strElement2);
  while (b1 && b2 && strElement1 == strElement2) {
    b1 = bNext(&strPath, &strElement1);
    b2 = bNext(&strFrom, &strElement2);
  }
  CLuString str;
  while (b2) {
    if (strElement2 == "..") return false;  // cannot climb back down
    str += "../";
    b2 = bNext(&strFrom, &strElement2);
  }
  while (b1) {
    str += strElement1;
    b1 = bNext(&strPath, &strElement1);
    if (b1) str += '/';
  }
  if (str.bIsEmpty()) str = ".";
  if (str.nGetLength() > 1 && str.cGetAt(str.nGetLength() - 1) == '/')
    str.ShortenAtEnd(1);
  *this = str;
  return true;
}

CLuString CLuString::strDeriveNumberFormatFromFrameName() const {
  CLuString str;
  uint32_t const nNameStart = uint32_t(iReverseFindOneOf("/\\") + 1);
  int64_t iLastDigit = -1;
  for (int64_t i = int64_t(m_nLength) - 1; i >= int64_t(nNameStart); i--) {
    if (bIsDigit(m_pszData[i])) {
      iLastDigit = i;
      break;
    }
  }
  if (iLastDigit < 0) return str;
  int64_t iFirstDigit = iLastDigit;
  while (iFirstDigit > int64_t(nNameStart) &&
         bIsDigit(m_pszData[iFirstDigit - 1]))
    iFirstDigit--;
  for (uint32_t i = 0; i < m_nLength; i++) {
    if (int64_t(i) == iFirstDigit) {
      CLuString strField;
      strField.Format("%%0%uu", unsigned(iLastDigit - iFirstDigit + 1));
      str += strField;
      i = uint32_t(iLastDigit);
    } else if (m_pszData[i] == '%') {
      str += "%%";
    } else {
      str += m_pszData[i];
    }
  }
  return str;
}

CLuString CLuString::strFileDateTimePostFix(time_t tim) {
  CLuString str;
  struct tm oTime;
  char acText[64];
  if (localtime_r(&tim, &oTime) &&
      strftime(acText, sizeof acText, "_%Y%m%d_%H%M%S", &oTime) != 0)
    str.Assign(acText);
  return str;
}

void CLuString::ExpandEnvironmentVariables() {
  if (iFind('$') < 0) return;
  CLuString str;
  auto bNameChar = [](char c, bool bFirst) {
    return c == '_' || isalpha(static_cast<unsigned char>(c)) ||
           (!bFirst && bIsDigit(c));
  };
  uint32_t i = 0;
  while (i < m_nLength) {
    char const c = m_pszData[i];
    if (c != '$') {
      str += c;
      i++;
      continue;
    }
    if (cGetAt(i + 1) == '$') {
      str += '$';
      i += 2;
      continue;
    }
    uint32_t nNameStart = i + 1, nNameEnd, nNext;
    bool const bBraced = cGetAt(i + 1) == '{';
    if (bBraced) {
      nNameStart = i + 2;
      int32_t const iClose = iFind('}', nNameStart);
      nNameEnd = iClose < 0 ? nNameStart : uint32_t(iClose);
      nNext = nNameEnd + 1;
      if (iClose < 0) nNameEnd = nNameStart;  // no closing brace: literal
    } else {
      nNameEnd = nNameStart;
      while (nNameEnd < m_nLength &&
             bNameChar(m_pszData[nNameEnd], nNameEnd == nNameStart))
        nNameEnd++;
      nNext = nNameEnd;
    }
    char const* pszValue = nullptr;
    if (nNameEnd > nNameStart) {
      CLuString const strName = strMid(nNameStart, nNameEnd - nNameStart);
      pszValue = getenv(strName);
    }
    if (pszValue) {
      str += pszValue;
      i = nNext;
    } else {
      str += c;  // undefined or no name: keep the text as written
      i++;
    }
  }
  *this = str;
}

void CLuString::EliminateDuplicateStringsIgnoreCase(
    CLuString const& strSeparators) {
  if (strSeparators.bIsEmpty()) return;
  char const cJoin = strSeparators.cGetAt(0);
  CLuString strRest(*this), strToken, str;
  while (strRest.bGetNextToken(strSeparators, &strToken)) {
    bool bSeen = false;
    CLuString strKept(str), strOld;
    while (!bSeen && strKept.bGetNextToken(CLuString(&cJoin, 1), &strOld))
      bSeen = strcasecmp(strOld, strToken) == 0;
    if (bSeen) continue;
    if (!str.bIsEmpty()) str += cJoin;
    str += strToken;
  }
  *this = str;
}
