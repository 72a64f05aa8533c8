// CLuLog, the framework's logging interface, and CLuLogFile, its text-file
// implementation with a dated header, a size limit and rotation to ".old".
//
// A log line is "HH:MM:SS [Category] " + blanks that make the category up to
// 15 characters + the message + a line feed (not doubled when the message
// already ends in one):
//   14:03:07 [LuLog]           LogFile initialized
//
// Builds on CLuString (base/string.h), the path and file helpers
// (files/paths.h) and CLuTime (system/time.h); the machine description of
// the header asks the platform (uname, the password database, $DISPLAY and
// the processor's identification).
//
// Errors: none reach the caller. Logging never disturbs its caller: a log
// file that cannot be opened or written swallows the text, nothing throws,
// nothing prints, and errno is left as it was. Not thread-safe: a log shared
// between threads is guarded by its owner.
#pragma once

#include <cstdint>
#include <cstdio>

#include "base/string.h"

// Logging interface: formats, stamps and hands finished lines to Output.
// Virtual slots in this order: Log, the destructor, Output.
class CLuLog {
 public:
  CLuLog() = default;
  CLuLog(CLuLog const&) = delete;
  CLuLog& operator=(CLuLog const&) = delete;

  // Formats the printf-style message (cut at 1,022 characters like every
  // CLuString::Format), cuts the category to its first 15 characters and
  // hands "HH:MM:SS [category] " + padding blanks + message + "\n" (no line
  // feed added when the message ends in one) to Output. The time is the
  // current local time. A null format logs an empty message.
  virtual void Log(CLuString const& strCategory, char const* pszFormat, ...)
      __attribute__((format(printf, 3, 4)));
  virtual ~CLuLog();
  // Writes one finished text (one or more whole lines) to the log's target.
  virtual void Output(CLuString const& strText) = 0;
};

// Log file, opened (and emptied) on first use. Layout of a new file:
//   YYYY-MM-DD [4745.84.Z800.2010-07-20]
//   (with system information: Machine, User, Mode, Display, [Driver,] CPU
//    lines and an empty line)
//   (empty line)
//   HH:MM:SS [LuLog]           LogFile initialized
// and on closing:
//   HH:MM:SS [LuLog]           Closing log file
//   (empty line)
//   YYYY-MM-DD
// When a write leaves the file's size in whole KiB above the limit (1 KiB:
// at 2,048 bytes, not at 2,047) the file is closed, copied to path + ".old"
// (replacing an older ".old" file) and started afresh with a new
// header. Virtual slots: those of CLuLog, then ResetFile.
class CLuLogFile : public CLuLog {
 public:
  // Size limit value meaning "never rotate".
  static constexpr uint32_t knNoLimit = 0xFFFFFFFFu;

  // Remembers the path (backslashes become "/"), the size limit in KiB
  // (1,024 bytes; knNoLimit = none) and whether the header describes the
  // machine. Opens nothing yet.
  CLuLogFile(CLuString const& strPath, unsigned int nSizeLimitKiB,
             bool bSystemInformation);
  // Closes the file (writing the closing lines) if it is open.
  ~CLuLogFile() override;

  // Opens the file if needed (dropping the text when that fails), writes the
  // text and flushes; rotates when the size in whole KiB now exceeds the
  // limit. Never throws; write errors are ignored.
  void Output(CLuString const& strText) override;
  // Rotation: closes the file (the closing lines cannot trigger a second
  // rotation), copies it to path + ".old" (replacing an older one), deletes it
  // and opens it afresh with a new header.
  virtual void ResetFile();

  // Opens the file for writing, EMPTYING any file of that name, and writes
  // the header; true if it is (or already was) open, false when it cannot be
  // created (nothing written, stays closed). With bRotate the freshly opened
  // file is rotated at once through ResetFile (which writes the header of
  // the new file), and this opening's header follows, so the new file
  // starts with two headers. The pointer is part of the interface only:
  // nothing is read from or written through it.
  bool bOpen(bool bRotate, unsigned int* pnUnused = nullptr);
  // When open: logs "Closing log file" under "LuLog", writes an empty line
  // and the current date, and closes the file. Nothing when closed.
  void Close();

  // The path as converted by the constructor.
  CLuString const& strGetPath() const { return m_strPath; }
  // True while the file is open.
  bool bIsOpen() const { return m_bOpen; }
  // Size limit in KiB (knNoLimit = none).
  uint32_t nGetSizeLimit() const { return m_nSizeLimit; }

 private:
  // Writes the header lines of a newly opened file.
  void WriteHeader();

  FILE* m_pFile;          // the open stream, or null
  uint32_t m_nSizeLimit;  // KiB; knNoLimit = none
  CLuString m_strPath;
  bool m_bOpen;
  bool m_bSystemInformation;
};
