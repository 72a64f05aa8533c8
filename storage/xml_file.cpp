#include "storage/xml_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>

namespace {

// What the reader points its value at when the element has none.
char const kEmptyText[] = "";

bool bIsLineEnd(char c) {
  return c == '\r' || c == '\n';
}
bool bIsWhitespace(char c) {
  return c == ' ' || c == '\t' || bIsLineEnd(c);
}

}  // namespace

// ---------------------------------------------------------------------------
// CLuXMLParseError

CLuXMLParseError::CLuXMLParseError(CLuString const& strMessage, uint32_t nLine,
                                   uint32_t nColumn)
    : m_strMessage(strMessage), m_nLine(nLine), m_nColumn(nColumn) {}

CLuXMLParseError::~CLuXMLParseError() {}

CLuString CLuXMLParseError::strAsText() const {
  CLuString strPlace;
  strPlace.Format("\nLine: %u Column: %u", unsigned(m_nLine),
                  unsigned(m_nColumn));
  return m_strMessage + strPlace;
}

// ---------------------------------------------------------------------------
// CLuXMLFile: opening and closing

CLuXMLFile::CLuXMLFile()
    : m_pszBuffer(nullptr),
      m_pszPos(nullptr),
      m_bEOF(false),
      m_bHasValue(false),
      m_pszValue(kEmptyText),
      m_nLine(1),
      m_nColumn(0),
      m_bRestore(false),
      m_oOpenTags(128, 128),
      m_bValueCached(false),
      m_nHash(0),
      m_bHashValid(false) {}

CLuXMLFile::~CLuXMLFile() {
  Close();
}

bool CLuXMLFile::bOpen(CLuString const& strSource, bool bIsFile) {
  Close();
  if (!bIsFile) {
    uint32_t const nLength = strSource.nGetLength();
    m_pszBuffer = new (std::nothrow) char[size_t(nLength) + 1];
    if (m_pszBuffer == nullptr) return false;
    memcpy(m_pszBuffer, strSource.pszGetString(), nLength);
    m_pszBuffer[nLength] = '\0';
    m_pszPos = m_pszBuffer;
    return true;
  }

  // Only regular files are documents, and the file is opened without
  // blocking: opening a named pipe would otherwise wait for a writer for
  // ever, and a folder or a device has no size to read. For a regular file
  // the flag changes nothing.
  int const iFile =
      open(strSource.pszGetString(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (iFile < 0) return false;
  struct stat oStat;
  FILE* pFile = fstat(iFile, &oStat) == 0 && S_ISREG(oStat.st_mode)
                    ? fdopen(iFile, "rb")
                    : nullptr;
  if (pFile == nullptr) {
    close(iFile);
    return false;
  }
  bool bRead = fseeko(pFile, 0, SEEK_END) == 0;
  off_t const iSize = bRead ? ftello(pFile) : -1;
  // size + 1 bytes must fit size_t (32 bits on x86) and the string class
  // counts lengths in 32 bits: 4 GiB and more is refused.
  bRead = iSize >= 0 && uint64_t(iSize) < 0xFFFFFFFFull &&
          fseeko(pFile, 0, SEEK_SET) == 0;
  if (bRead) {
    m_pszBuffer = new (std::nothrow) char[size_t(iSize) + 1];
    // One read of one item of the whole size: an empty file reads no item
    // and is refused on purpose.
    bRead = m_pszBuffer != nullptr &&
            fread(m_pszBuffer, size_t(iSize), 1, pFile) == 1;
  }
  fclose(pFile);
  if (!bRead) {
    Close();
    return false;
  }
  m_pszBuffer[iSize] = '\0';
  m_pszPos = m_pszBuffer;
  m_strFileName = strSource;
  return true;
}

void CLuXMLFile::Close() {
  delete[] m_pszBuffer;
  m_pszBuffer = nullptr;
  m_pszPos = nullptr;
  m_strFileName.Empty();
  m_bEOF = false;
  m_bHasValue = false;
  m_pszValue = kEmptyText;
  m_nLine = 1;
  m_nColumn = 0;
  m_bRestore = false;
  DeleteOpenTags();
  m_strCurrentTag.Empty();
  m_strValueCache.Empty();
  m_bValueCached = false;
  m_bHashValid = false;
}

void CLuXMLFile::DeleteOpenTags() {
  while (!m_oOpenTags.bIsEmpty()) delete m_oOpenTags.poRemoveTail();
}

// ---------------------------------------------------------------------------
// Reading

void CLuXMLFile::Advance(bool* pbEndTag) {
  if (pbEndTag != nullptr) *pbEndTag = false;
  if (m_pszBuffer == nullptr)
    throw CLuXMLParseError("XML file is not open.", 0, 0);
  if (m_bRestore) {
    // The bare value ends at a NUL that stands where the "<" was. The value
    // is not copied first: a caller who asks for it only now reads on
    // through the "<".
    *m_pszPos = '<';
    m_bRestore = false;
  }

  SkipWhitespaceAndComments();
  CheckForEOF();
  if (m_bEOF) return;

  ParseTag();
  if (m_strCurrentTag.cGetAt(0) != '/') {
    CLuString* pstrOpen = new (std::nothrow) CLuString(m_strCurrentTag);
    if (pstrOpen == nullptr || !m_oOpenTags.bAddTail(pstrOpen)) {
      delete pstrOpen;
      Throw("Out of memory.");
    }
    ParseValue();
    return;
  }

  // End tag. Both failures share one message on purpose.
  if (m_oOpenTags.bIsEmpty())
    Throw("Unexpected end tag at root level: </" + m_strCurrentTag + ">");
  m_strCurrentTag.ShortenAtBegin(1);
  if (m_strCurrentTag.iCompareEx(*m_oOpenTags.poGetTail(),
                                 CLuString::eCompareIgnoreCase) != 0)
    Throw("Unexpected end tag at root level: </" + m_strCurrentTag + ">");
  delete m_oOpenTags.poRemoveTail();
  CLuString const* pstrInner = m_oOpenTags.poGetTail();
  m_strCurrentTag = pstrInner != nullptr ? *pstrInner : CLuString();
  if (pbEndTag != nullptr) *pbEndTag = true;
}

bool CLuXMLFile::bFinishCurrentTag() {
  uint32_t nDepth = 0;
  for (;;) {
    bool bEndTag = false;
    Advance(&bEndTag);
    if (m_bEOF) return false;
    if (!bEndTag) {
      ++nDepth;
    } else {
      if (nDepth == 0) return true;
      --nDepth;
    }
  }
}

CLuString CLuXMLFile::strCurrentValue() {
  if (!m_bValueCached) {
    m_strValueCache = m_pszValue;
    m_bValueCached = true;
  }
  return m_strValueCache;
}

uint32_t CLuXMLFile::nCurrentHash() {
  if (!m_bHashValid) {
    m_strCurrentTag.MakeUpper();
    m_oCRC.Reset();
    m_oCRC.Update(m_strCurrentTag);
    m_nHash = m_oCRC.nGetValue();
    m_bHashValid = true;
  }
  return m_nHash;
}

// ---------------------------------------------------------------------------
// The steps of Advance

void CLuXMLFile::Consume() {
  char const c = *m_pszPos++;
  if (bIsLineEnd(c)) {
    // CR LF and LF CR are one line end; CR CR or LF LF are two.
    if (bIsLineEnd(*m_pszPos) && *m_pszPos != c) ++m_pszPos;
    ++m_nLine;
    m_nColumn = 0;
  } else {
    ++m_nColumn;
  }
}

void CLuXMLFile::Throw(CLuString const& strMessage) const {
  throw CLuXMLParseError(strMessage, m_nLine, m_nColumn);
}

void CLuXMLFile::SkipWhitespace() {
  while (bIsWhitespace(*m_pszPos)) Consume();
}

void CLuXMLFile::SkipWhitespaceAndComments() {
  for (;;) {
    SkipWhitespace();
    if (m_pszPos[0] != '<' || (m_pszPos[1] != '!' && m_pszPos[1] != '?'))
      return;
    Consume();
    Consume();
    // Not real comment syntax: the first ">" ends it, "-->" or not.
    while (*m_pszPos != '\0' && *m_pszPos != '>') Consume();
    if (*m_pszPos == '>') Consume();
  }
}

void CLuXMLFile::CheckForEOF() {
  if (*m_pszPos != '\0') return;
  m_bEOF = true;
  CLuString const* pstrInner = m_oOpenTags.poGetTail();
  if (pstrInner != nullptr)
    Throw("Unexpected End of File while looking for </" + *pstrInner + ">");
}

void CLuXMLFile::ParseTag() {
  m_strCurrentTag.Empty();
  m_bHashValid = false;
  if (*m_pszPos != '<') Throw("Expected <");
  Consume();
  char* const pszName = m_pszPos;
  for (;;) {
    char const c = *m_pszPos;
    if (c == '>') break;
    if (c == '\0') {
      m_bEOF = true;
      Throw("Unexpected end of file while looking for >");
    }
    if (c == ' ' || c == '\t') Throw("Whitespace unexpected in < > brackets.");
    if (bIsLineEnd(c)) Throw("Newline unexpected in < > brackets.");
    Consume();
  }
  m_strCurrentTag.Assign(pszName, uint32_t(m_pszPos - pszName));
  Consume();
}

void CLuXMLFile::ParseValue() {
  m_pszValue = kEmptyText;
  m_bHasValue = false;
  m_bValueCached = false;
  SkipWhitespaceAndComments();
  // At the end of the buffer there is no value either: the next Advance
  // reports the element that is still open.
  if (*m_pszPos == '<' || *m_pszPos == '\0') return;

  if (*m_pszPos == '"') {
    // No escapes: the next quote ends the value, line ends are part of it.
    m_bHasValue = true;
    Consume();
    char* const pszStart = m_pszPos;
    while (*m_pszPos != '"') {
      if (*m_pszPos == '\0') {
        m_bEOF = true;
        Throw("Unexpected end of file while looking for '\"'");
      }
      Consume();
    }
    *m_pszPos++ = '\0';
    ++m_nColumn;
    m_pszValue = pszStart;
    return;
  }

  char* pszStart = m_pszPos;
  while (*m_pszPos != '<') {
    if (*m_pszPos == '\0') {
      m_bEOF = true;
      Throw("Unexpected end of file while looking for '<'");
    }
    if (bIsLineEnd(*m_pszPos))
      Throw(
          "Unexpected newline in value. Use \" \" to enclose values with "
          "newlines.");
    Consume();
  }
  char* pszEnd = m_pszPos;  // one behind the last kept character
  while (pszEnd > pszStart && bIsWhitespace(pszEnd[-1])) --pszEnd;
  while (pszStart < pszEnd && bIsWhitespace(*pszStart)) ++pszStart;
  *pszEnd = '\0';
  if (pszEnd == m_pszPos) m_bRestore = true;
  m_pszValue = pszStart;
  // Deliberately "first character before the last one": a one-character
  // bare value is kept as text but reported as no value.
  m_bHasValue = pszEnd - pszStart >= 2;
}
