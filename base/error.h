// CLuError: the framework's one thrown error type.
//
// An error carries a message, a severity, an optional place in a file (path,
// line, column), a short warning identifier and any number of owned
// sub-errors, and renders itself as plain text or as an HTML fragment.
// Builds on CLuString (base/string.h) and CLuDeque (base/containers.h).
//
// Error mechanism of this layer: the foundation itself never throws;
// file-format code throws a CLuError by value (severity eError, a fixed text
// followed directly by the path concerned) and the caller catches it by
// reference. Nothing here prints.
#pragma once

#include <cstdint>

#include "base/containers.h"
#include "base/string.h"

// Severity of an error. The values are fixed; the rendering word of each is
// part of the output contract. Any value above 3 renders as
// "Internal Unexpected Error"; the int base type makes such values valid
// enumeration values.
enum ELuErrorSeverity : int {
  eInformation = 0,              // "Information"
  eWarning = 1,                  // "Warning"
  eError = 2,                    // "Error"
  eInternalUnexpectedError = 3,  // "Internal Unexpected Error"
};

class CLuError {
 public:
  // Text, severity and warning identifier; no file, line 0, column 0, no
  // sub-errors.
  explicit CLuError(CLuString const& strText,
                    ELuErrorSeverity eSeverity = eError,
                    CLuString const& strWarningID = CLuString());
  // As above, then takes ownership of poSubError (destroyed with this error).
  // A null poSubError adds nothing.
  CLuError(CLuError* poSubError, CLuString const& strText,
           ELuErrorSeverity eSeverity = eError,
           CLuString const& strWarningID = CLuString());
  // All fields: text, file path, line and column (0 = unknown), severity and
  // warning identifier; no sub-errors.
  CLuError(CLuString const& strText, CLuString const& strFile, uint32_t nLine,
           uint32_t nColumn, ELuErrorSeverity eSeverity = eError,
           CLuString const& strWarningID = CLuString());
  // All fields, then takes ownership of poSubError (null adds nothing).
  CLuError(CLuError* poSubError, CLuString const& strText,
           CLuString const& strFile, uint32_t nLine, uint32_t nColumn,
           ELuErrorSeverity eSeverity = eError,
           CLuString const& strWarningID = CLuString());
  // Deep copy: every sub-error is duplicated (poDuplicate, so a derived
  // sub-error keeps its own class) into a new object owned by the copy. This
  // is what keeps a chain intact when the error is thrown by value.
  CLuError(CLuError const& oOther);
  // Deep-copying assignment: the old sub-errors are destroyed, copies of the
  // other's are taken. Self-assignment leaves the error unchanged; the
  // other may be one of this error's own sub-errors.
  CLuError& operator=(CLuError const& oOther);
  // Destroys every sub-error (through its virtual destructor).
  virtual ~CLuError();

  // The virtual queries below follow the destructor's two vtable slots
  // (complete and deleting destructor) in this order. The renderings always
  // go through them, so a derived class can supply its own values.

  // A copy of the error text.
  virtual CLuString strErrorText() const;
  // A copy of the associated file path; empty when there is none.
  virtual CLuString strAssociatedFile() const;
  // Line number in the associated file; 0 when unknown.
  virtual uint32_t nFileLineNumber() const;
  // Column number in the associated file; 0 when unknown.
  virtual uint32_t nFileColumnNumber() const;
  // The greatest of the own severity and eSeverity() of every sub-error: a
  // chain is as severe as its worst member.
  virtual ELuErrorSeverity eSeverity() const;
  // HTML fragment (no document head): an <H1> heading with the severity
  // word and the escaped text, the file place, and the sub-errors inside a
  // <blockquote>. bNested = true omits the "See details below:" heading.
  virtual CLuString strAsFormattedText(bool bNested = false) const;
  // Plain-text rendering indented by nIndent columns, ending in "\n\n".
  // Sub-errors follow at nIndent + 2 (indents accumulate per level).
  // bNested = true omits the "See details below:" line.
  virtual CLuString strAsPlainText(uint32_t nIndent = 0,
                                   bool bNested = false) const;
  // A new heap copy made with the copy constructor; the caller owns it and
  // deletes it with delete. Null only when the allocation fails.
  virtual CLuError* poDuplicate() const;

  // Empty, or "_" + the own identifier when that is not empty; then the
  // strWarningID() of each sub-error appended in order ("_A_B").
  CLuString strWarningID() const;
  // Number of direct sub-errors.
  uint32_t nGetSubErrorCount() const;
  // The direct sub-error at nIndex (0 = first added), still owned by this
  // error; null when nIndex is not below nGetSubErrorCount().
  CLuError const* poGetSubError(uint32_t nIndex) const;

 private:
  // Appends poSubError (taking ownership); null adds nothing.
  void AddSubError(CLuError* poSubError);
  // Copies the other's fields and duplicates its sub-errors.
  void CopyFrom(CLuError const& oOther);
  // Destroys and removes every sub-error.
  void DeleteSubErrors();

  CLuString m_strErrorText;
  CLuString m_strAssociatedFile;
  uint32_t m_nLine;
  uint32_t m_nColumn;
  ELuErrorSeverity m_eSeverity;
  CLuString m_strWarningID;
  CLuDeque<CLuError> m_oSubErrors;
};
