// CLuXMLFile: a small pull reader for the framework's own XML-like settings
// files, and CLuXMLParseError, the error it throws.
//
// The documents are a tree of bare tags, each holding either nested tags or
// one value. This is not a general XML parser:
// - tags carry no attributes; white space or a line end inside "< >" is an
//   error;
// - anything opening with "<!" or "<?" (comments, the XML declaration) is
//   skipped up to the next ">", so a ">" inside a comment ends it early;
// - a value is either a bare run of text on one line (trimmed of blanks,
//   tabs and line ends) or a double-quoted text that may span lines; there
//   is no escape for a quote inside a quoted value and no entity decoding;
// - end tags match their opening tag ignoring letter case.
//
// The reader works in place on one buffer holding the whole document (it
// writes NULs into it to end values) and counts lines (from 1) and columns
// (from 0) for its messages. A CR LF or LF CR pair is one line end.
//
// Builds on CLuString (base/string.h), CLuDeque (base/containers.h) and
// CLuCRC32CheckSum (checksum/checksum.h).
//
// Errors: every syntax error throws a CLuXMLParseError by value carrying the
// line and column of the read position; after a throw the reader is not
// meant for further reading (Close or reopen it). bOpen reports a file that
// cannot be read by false and never throws. Nothing prints.
#pragma once

#include <cstdint>

#include "base/containers.h"
#include "base/string.h"
#include "checksum/checksum.h"

// A syntax error of an XML document: message, line and column where it was
// found.
class CLuXMLParseError {
 public:
  // The message and the place (line from 1, column from 0; both 0 when the
  // error is not tied to a place in a document).
  CLuXMLParseError(CLuString const& strMessage, uint32_t nLine,
                   uint32_t nColumn);
  virtual ~CLuXMLParseError();

  // message + "\nLine: " + line + " Column: " + column, numbers in decimal:
  // "Expected <\nLine: 3 Column: 7".
  CLuString strAsText() const;
  // The message alone.
  CLuString const& strGetMessage() const { return m_strMessage; }
  // Line (from 1) and column (from 0) of the read position at the error.
  uint32_t nGetLine() const { return m_nLine; }
  uint32_t nGetColumn() const { return m_nColumn; }

 private:
  CLuString m_strMessage;
  uint32_t m_nLine;
  uint32_t m_nColumn;
};

// Pull reader. Typical walk:
//   CLuXMLFile oXML;
//   if (!oXML.bOpen(strPath, true)) ...;
//   bool bEndTag;
//   for (oXML.Advance(&bEndTag); !oXML.bIsEOF(); oXML.Advance(&bEndTag))
//     if (!bEndTag) use oXML.strCurrentTag() / nCurrentHash() /
//                   bHasValue() / strCurrentValue();
// Not copyable.
class CLuXMLFile {
 public:
  // Nothing open: line 1, column 0.
  CLuXMLFile();
  // Closes the document.
  virtual ~CLuXMLFile();
  CLuXMLFile(CLuXMLFile const&) = delete;
  CLuXMLFile& operator=(CLuXMLFile const&) = delete;

  // Closes any open document, then opens strSource. With bIsFile, strSource
  // is a path: the whole file is read into the reader's buffer and the path
  // remembered; false (reader closed) when the file cannot be opened or
  // read, is not a regular file (a named pipe is refused at once, not
  // waited on), is 4 GiB or larger, or is EMPTY (an empty settings file is
  // deliberately treated as unreadable). Without bIsFile,
  // strSource is the document itself and is copied (up to its length);
  // true unless the copy cannot be allocated. Never throws.
  bool bOpen(CLuString const& strSource, bool bIsFile);
  // Releases the document and every open tag; the current tag name and
  // value become empty, has-value, end-of-file and the caches are cleared,
  // line 1, column 0, no file name. Safe to call when nothing is open.
  void Close();

  // Reads the next tag. *pbEndTag (may be null) becomes true for an end
  // tag, false otherwise. An opening tag becomes the current tag (its name
  // is pushed on the open-tag stack) and its value, if any, is read. An end
  // tag pops the matching open tag and the current tag becomes the new
  // innermost open tag ("" at root level). At the end of the document
  // bIsEOF() becomes true and nothing else changes. Throws
  // CLuXMLParseError on a syntax error, when the document ends with tags
  // still open, and ("XML file is not open.", line 0, column 0) when no
  // document is open.
  void Advance(bool* pbEndTag);
  // Skips to the end tag of the element just entered (nested elements
  // included). True when that end tag was read; false when the document
  // ended first (only possible at root level: inside an element the end of
  // the document throws). Throws like Advance.
  bool bFinishCurrentTag();

  // The current value: empty when the element has none. Deliberately, a
  // one-character bare value ("<a>5</a>") is kept as text here although
  // bHasValue() reports false for it. The value is a pointer into the
  // document, copied into a cache on the first call after each value. Ask
  // before the next Advance: a bare value ends at a NUL written over the
  // "<" behind it, which the next Advance puts back, so a first call after
  // that reads on to the next NUL ("<a><b>xy</b></a>" asked after "</b>"
  // gives "xy</b></a>").
  CLuString strCurrentValue();
  // CRC-32 (CLuCRC32CheckSum, start 0xFFFFFFFF, no final inversion) of the
  // current tag name in upper case. Upper-cases the stored current tag name
  // itself (strCurrentTag() reads upper case afterwards). Cached until the
  // next tag.
  uint32_t nCurrentHash();

  // Name of the current tag as read (no brackets); "" before the first tag
  // and at root level after the last end tag.
  CLuString const& strCurrentTag() const { return m_strCurrentTag; }
  // True when the current element has a value: any quoted value ("" too),
  // or a bare value of two or more characters.
  bool bHasValue() const { return m_bHasValue; }
  // True once Advance reached the end of the document.
  bool bIsEOF() const { return m_bEOF; }
  // True while a document is open.
  bool bIsOpen() const { return m_pszBuffer != nullptr; }
  // Line (from 1) and column (from 0) of the read position.
  uint32_t nGetLine() const { return m_nLine; }
  uint32_t nGetColumn() const { return m_nColumn; }
  // Path of the open file; empty for a document opened from memory.
  CLuString const& strGetFileName() const { return m_strFileName; }
  // Number of elements currently open (0 at root level).
  uint32_t nGetDepth() const { return m_oOpenTags.nGetCount(); }

 protected:
  // The steps of Advance; each throws CLuXMLParseError as described there.
  // Consumes blanks, tabs, CR and LF.
  void SkipWhitespace();
  // Repeats SkipWhitespace and skipping "<!...>" / "<?...>" (up to and
  // including the next ">", or the end of the buffer).
  void SkipWhitespaceAndComments();
  // Reads "<name>" into the current tag name.
  void ParseTag();
  // Reads the value of the element just opened, if any.
  void ParseValue();
  // At the end of the buffer sets the end-of-file flag; throws when tags
  // are still open.
  void CheckForEOF();

 private:
  // Consumes the character at the read position and counts it: a CR or LF
  // (a CR LF or LF CR pair as one) starts a new line, anything else is one
  // column.
  void Consume();
  // Throws CLuXMLParseError with the current line and column.
  [[noreturn]] void Throw(CLuString const& strMessage) const;
  // Deletes every name on the open-tag stack.
  void DeleteOpenTags();

  char* m_pszBuffer;  // the document, NUL-terminated (array new), or null
  char* m_pszPos;     // read position in m_pszBuffer
  CLuString m_strFileName;
  bool m_bEOF;
  bool m_bHasValue;
  char const* m_pszValue;  // into m_pszBuffer, or "" when there is none
  uint32_t m_nLine;
  uint32_t m_nColumn;
  // Set when the NUL that ends a bare value overwrote the "<" behind it;
  // the next Advance writes the "<" back.
  bool m_bRestore;
  CLuDeque<CLuString> m_oOpenTags;  // names, scalar new, innermost at tail
  CLuString m_strCurrentTag;
  CLuString m_strValueCache;
  bool m_bValueCached;
  CLuCRC32CheckSum m_oCRC;
  uint32_t m_nHash;
  bool m_bHashValid;
};
