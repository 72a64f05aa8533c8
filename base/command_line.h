// CLuCommandLine: the process arguments as a list of owned strings.
//
// Arguments are not kept as the platform passed them: they are joined into
// one command-line text and split again by the same tokenizer
// (CLuString::bGetNextToken) that splits a command line given as one text,
// so both ways of construction give the same list. Index 0 is the program
// path, index 1 the first argument. One process-wide instance is reached
// through poGlobal(). Builds on CLuString (base/string.h) and CLuList
// (base/containers.h). Nothing here throws or prints.
#pragma once

#include <cstdint>

#include "base/containers.h"
#include "base/string.h"

class CLuCommandLine : public CLuList<CLuString> {
 public:
  // An empty list.
  CLuCommandLine();
  // Deletes every string of the list (the list owns them).
  ~CLuCommandLine() override;

  CLuCommandLine(CLuCommandLine const&) = delete;
  CLuCommandLine& operator=(CLuCommandLine const&) = delete;

  // The process-wide instance, created empty on the first call (thread-safe
  // first-use initialisation) and destroyed at process exit. Never null.
  static CLuCommandLine* poGlobal();

  // Rebuilds the list from main's argument count and vector. The program
  // path (argv[0]) is always quoted so blanks in it survive; an argument
  // holding a blank is quoted; an argument beginning with "-psn_" (the
  // process serial number an application launcher may add) is dropped, and
  // the arguments after it move down. Null entries, a null vector or a count
  // below 1 count as empty text. Replaces the whole previous content.
  void Construct(int iArgC, char const* const* ppszArgV);
  // Clears the list, then splits strCommandLine at blanks; a double-quoted
  // stretch may hold blanks, and a token that begins and ends with a double
  // quote loses that one pair of quotes.
  void Construct(CLuString const& strCommandLine);

  // The argument at nIndex, or strDefault itself when nIndex is not less
  // than the count. The reference stays valid until the list changes (or,
  // for the default, as long as the caller's string lives).
  CLuString const& strArg(unsigned int nIndex,
                          CLuString const& strDefault) const;
  // Number of arguments, the program path included (0 before the first
  // Construct). Same as the list's own count; named for the callers that
  // read arguments by index.
  uint32_t nArgCount() const;
  // Removes and frees the argument at nIndex; an index out of range does
  // nothing.
  void RemoveArg(unsigned int nIndex);

  // The arguments joined by single blanks; an argument containing a blank
  // or a tab is put between double quotes.
  CLuString strCommandLine() const;
  // The same without the program path (index 0).
  CLuString strCommandLineWithoutApp() const;

 private:
  // Joins the arguments from index nFirst on (see strCommandLine).
  CLuString strJoin(uint32_t nFirst) const;
};
