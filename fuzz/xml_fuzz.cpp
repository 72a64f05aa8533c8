// libFuzzer target: the XML reader on arbitrary documents must never crash,
// hang or touch memory it does not own, and every failure it reports must be
// a CLuXMLParseError.
//
// Input layout: byte 0 picks the source (bit 0: through a temporary file,
// which may hold NUL bytes; otherwise from memory) and how the walk goes
// (bit 1: bFinishCurrentTag after every opening tag; bit 2: values are
// asked for only after end tags, when a bare value's "<" is back in place
// and the value reads on); the rest is the document.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "storage/xml_file.h"

namespace {

// One temporary file per process, removed at exit.
char g_szPath[] = "/tmp/lu_xml_fuzz_XXXXXX";
bool g_bPathMade = false;

void RemoveFile() {
  unlink(g_szPath);
}

bool bWriteFile(uint8_t const* pData, size_t nSize) {
  if (!g_bPathMade) {
    int const iFile = mkstemp(g_szPath);
    if (iFile < 0) return false;
    close(iFile);
    g_bPathMade = true;
    atexit(RemoveFile);
  }
  FILE* pFile = fopen(g_szPath, "wb");
  if (pFile == nullptr) return false;
  bool const bOK = fwrite(pData, 1, nSize, pFile) == nSize;
  return fclose(pFile) == 0 && bOK;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* pData, size_t nSize) {
  if (nSize < 1) return 0;
  uint8_t const byFlags = pData[0];
  ++pData;
  --nSize;
  if (nSize > 65536) nSize = 65536;

  CLuXMLFile oXML;
  if (byFlags & 1) {
    if (!bWriteFile(pData, nSize)) return 0;
    bool const bOpened = oXML.bOpen(g_szPath, true);
    // Only an empty file is refused.
    if (bOpened != (nSize > 0)) __builtin_trap();
    if (!bOpened) return 0;
  } else {
    CLuString const strDocument(reinterpret_cast<char const*>(pData),
                                uint32_t(nSize));
    if (!oXML.bOpen(strDocument, false)) __builtin_trap();
  }

  // Every step that does not end the document consumes at least "<>", so
  // the walk is bounded by the document's length.
  size_t nSteps = 0;
  try {
    for (;;) {
      if (++nSteps > nSize + 2) __builtin_trap();
      bool bEndTag = false;
      oXML.Advance(&bEndTag);
      if (oXML.bIsEOF()) {
        if (oXML.nGetDepth() != 0) __builtin_trap();
        break;
      }
      // A one-character bare value is text without the has-value flag;
      // any value with the flag came from quotes or has two characters.
      // Read late, a value still ends inside the document.
      if (!(byFlags & 4) || bEndTag) {
        CLuString const strValue = oXML.strCurrentValue();
        if (!bEndTag && !oXML.bHasValue() && strValue.nGetLength() > 1)
          __builtin_trap();
        if (strValue.nGetLength() > nSize) __builtin_trap();
      }
      (void)oXML.nCurrentHash();
      // Inside an element the end of the document throws instead.
      if (!bEndTag && (byFlags & 2) && !oXML.bFinishCurrentTag())
        __builtin_trap();
    }
  } catch (CLuXMLParseError const& e) {
    // Errors inside a document are placed on a real line; the text starts
    // with the message and names the place.
    if (e.nGetLine() == 0 || e.strGetMessage().bIsEmpty()) __builtin_trap();
    if (!e.strAsText().bStartsWith(e.strGetMessage())) __builtin_trap();
  } catch (...) {
    __builtin_trap();
  }
  oXML.Close();
  return 0;
}
