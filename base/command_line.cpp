#include "base/command_line.h"

#include <new>

CLuCommandLine::CLuCommandLine() {}

CLuCommandLine::~CLuCommandLine() {
  DeleteAll();
}

CLuCommandLine* CLuCommandLine::poGlobal() {
  // A function-local static: the compiler guards its first-use creation, and
  // the exit handlers destroy it (and with it every string) at process end.
  static CLuCommandLine s_oGlobal;
  return &s_oGlobal;
}

void CLuCommandLine::Construct(int iArgC, char const* const* ppszArgV) {
  CLuString strText;
  if (iArgC >= 1 && ppszArgV != nullptr) {
    // The program path is always quoted, so blanks in it survive the split.
    char const* pszApp = ppszArgV[0] != nullptr ? ppszArgV[0] : "";
    if (pszApp[0] != '"') {
      strText += '"';
      strText += pszApp;
      strText += '"';
    } else {
      strText += pszApp;
    }
    for (int i = 1; i < iArgC; ++i) {
      CLuString const strArgument = ppszArgV[i] != nullptr ? ppszArgV[i] : "";
      // The launcher's process serial number is not an argument of ours.
      if (strArgument.bStartsWith("-psn_", false)) continue;
      strText += ' ';
      // Only a blank needs quoting here: the tokenizer splits at blanks only.
      if (strArgument.iFind(' ', 0) >= 0) {
        strText += '"';
        strText += strArgument;
        strText += '"';
      } else {
        strText += strArgument;
      }
    }
  }
  Construct(strText);
}

void CLuCommandLine::Construct(CLuString const& strCommandLine) {
  DeleteAll();
  CLuString strRest = strCommandLine;
  CLuString strToken;
  while (strRest.bGetNextToken(" ", &strToken, true, false)) {
    // A lone double quote both begins and ends with one: it becomes empty.
    uint32_t const nLength = strToken.nGetLength();
    if (nLength >= 1 && strToken.cGetAt(0) == '"' &&
        strToken.cGetAt(nLength - 1) == '"') {
      strToken.ShortenAtBegin(1);
      strToken.ShortenAtEnd(1);
    }
    CLuString* poArg = new (std::nothrow) CLuString(strToken);
    // A failed allocation loses that argument rather than the whole list.
    if (poArg != nullptr && posAddTail(poArg) == nullptr) delete poArg;
  }
}

CLuString const& CLuCommandLine::strArg(unsigned int nIndex,
                                        CLuString const& strDefault) const {
  if (nIndex >= nGetCount()) return strDefault;
  CLuString const* poArg = poGetAtIndex(nIndex);
  return poArg != nullptr ? *poArg : strDefault;
}

uint32_t CLuCommandLine::nArgCount() const {
  return nGetCount();
}

void CLuCommandLine::RemoveArg(unsigned int nIndex) {
  if (nIndex >= nGetCount()) return;
  SLuPosition* pos = posFindIndex(nIndex);
  if (pos == nullptr) return;
  delete poRemoveAt(pos);
}

CLuString CLuCommandLine::strCommandLine() const {
  return strJoin(0);
}

CLuString CLuCommandLine::strCommandLineWithoutApp() const {
  return strJoin(1);
}

CLuString CLuCommandLine::strJoin(uint32_t nFirst) const {
  CLuString strResult;
  uint32_t const nCount = nGetCount();
  for (uint32_t i = nFirst; i < nCount; ++i) {
    CLuString const* poArg = poGetAtIndex(i);
    if (poArg == nullptr) continue;
    if (i > nFirst) strResult += ' ';
    if (poArg->iFindOneOf(" \t", 0) >= 0) {
      strResult += '"';
      strResult += *poArg;
      strResult += '"';
    } else {
      strResult += *poArg;
    }
  }
  return strResult;
}
