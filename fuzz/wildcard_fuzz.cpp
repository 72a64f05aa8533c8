// libFuzzer target: the wildcard matcher and the tokenizer on arbitrary
// bytes must never crash, hang or touch memory they do not own.
//
// Input layout: byte 0 picks flags (quotes, escape), byte 1 the escape
// character; the rest is split at the first NUL into a name and a pattern
// list (or a text and a separator set for the tokenizer).
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/string.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* pData, size_t nSize) {
  if (nSize < 2) return 0;
  uint8_t const byFlags = pData[0];
  char const cEscape = (byFlags & 2) ? char(pData[1]) : '\0';
  pData += 2;
  nSize -= 2;
  if (nSize > 4096) nSize = 4096;
  size_t nFirst = 0;
  while (nFirst < nSize && pData[nFirst] != 0) nFirst++;
  CLuString const strFirst(reinterpret_cast<char const*>(pData),
                           uint32_t(nFirst));
  CLuString strSecond;
  if (nFirst + 1 < nSize)
    strSecond.Assign(reinterpret_cast<char const*>(pData) + nFirst + 1,
                     uint32_t(nSize - nFirst - 1));

  // Wildcards: the name is the first part, the pattern list the second.
  bool const bMatch = strFirst.bMatchesWildCard(strSecond);
  // The pattern "*" matches every name.
  if (strSecond == "*" && !bMatch) __builtin_trap();

  // Tokenizer: every token is non-empty, the rest shrinks every round.
  CLuString strText(strFirst), strToken;
  uint32_t nRounds = 0;
  while (strText.bGetNextToken(strSecond, &strToken, (byFlags & 1) != 0,
                               cEscape)) {
    if (strToken.bIsEmpty() || ++nRounds > nFirst + 1) __builtin_trap();
  }
  if (!strText.bIsEmpty()) __builtin_trap();
  return 0;
}
