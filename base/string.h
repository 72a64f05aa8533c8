#pragma once
// CLuString: the framework's one string type, an owned, mutable,
// NUL-terminated 8-bit buffer with an explicit length and capacity.
//
// Builds on the C++ standard library only (and a forward declaration of
// CLuList from base/containers.h). Nothing here throws or prints: operations
// report failures through their results (false, -1, an empty string).
//
// Storage: four words, in this order: data pointer (where the text begins;
// it may lie behind the buffer start because cutting at the front only moves
// it), buffer pointer (the owned allocation, array new / array delete),
// length (characters, terminator not counted) and capacity (bytes of the
// allocation, terminator included). Always: data[length] == 0 and
// data - buffer + length + 1 <= capacity. Copies are deep.
//
// Growth: geometric, capacity x 3 / 2, never below the size asked for and
// never below 32; no shrinking. Positions and lengths are unsigned 32-bit;
// searches return -1 (int32_t) for "not found"; a length argument of
// 0xFFFFFFFF (kLuStringAll) means "up to the terminating NUL".
//
// Allocation failure (the replaced global operator new may return null):
// every operation leaves the string valid and unchanged where it could not
// get memory; growing appends copy only what fits.
//
// Times (bToTime, FromTime, strFileDateTimePostFix) are time_t seconds since
// 1970 in local time: base/ must not depend on the calendar-time class.

#include <cstdarg>
#include <cstdint>
#include <ctime>

template <class T>
class CLuList;

// Length argument meaning "up to the terminating NUL".
constexpr uint32_t kLuStringAll = 0xFFFFFFFFu;

class CLuString {
 public:
  // Comparison function of iCompareEx.
  enum EComparisonFn {
    eCompareCaseSensitive = 0,  // strcmp
    eCompareIgnoreCase = 1,     // strcasecmp
    eComparePath = 2,  // "\" == "/", one trailing "/" ignored, ignoring case
  };
  // Line-end style of NormalizeLineEnds: 0 and 1 select LF, 2 (and any larger
  // value) selects CR LF.
  enum ELineEnds {
    eLineEndsDefault = 0,  // LF
    eLineEndsLF = 1,
    eLineEndsCRLF = 2,
  };

  // ---- construction ------------------------------------------------------

  // Empty string, capacity 33.
  CLuString();
  // Copy of the text up to its NUL (null gives an empty string); capacity at
  // least 33.
  CLuString(char const* psz);
  // Copy of at most nLength characters of psz (stops early at a NUL).
  CLuString(char const* psz, uint32_t nLength);
  // Deep copy; the buffer is sized for exactly the other's text.
  CLuString(CLuString const& str);
  // Releases the buffer. Not virtual: CLuString has no virtual operations.
  ~CLuString();

  // Replaces the storage by a fresh empty buffer of n + 1 bytes (data =
  // buffer, length 0, capacity n + 1). The old buffer is released. If the
  // allocation fails the string is left empty with its old buffer.
  void Construct(uint32_t n);
  // Makes room for nSize bytes counted from the data pointer, terminator
  // included. With bKeep and nSize <= capacity the text is at most moved to
  // the buffer start (no allocation); otherwise a new buffer of
  // max(capacity * 3 / 2, nSize, 32) bytes receives the text. On allocation
  // failure nothing changes (check nGetCapacity() if it matters).
  void Reallocate(uint32_t nSize, bool bKeep);
  // Ensures room for n characters plus NUL, writes a NUL at data[n] and
  // returns the data pointer for the caller to fill; the caller must call
  // ReleaseBuffer afterwards. Returns null (string unchanged) only when the
  // room cannot be allocated.
  char* pszGetBuffer(uint32_t n);
  // Terminates the allocation's last byte and sets the length to strlen of
  // the data: call after filling a buffer from pszGetBuffer.
  void ReleaseBuffer();

  // ---- accessors -----------------------------------------------------------

  // The text; never null.
  char const* pszGetString() const { return m_pszData; }
  operator char const*() const { return m_pszData; }
  // Characters in the text, terminator not counted.
  uint32_t nGetLength() const { return m_nLength; }
  // Bytes of the allocation, terminator included.
  uint32_t nGetCapacity() const { return m_nCapacity; }
  bool bIsEmpty() const { return m_nLength == 0; }
  // Character at nIndex, or 0 when nIndex >= length.
  char cGetAt(uint32_t nIndex) const {
    return nIndex < m_nLength ? m_pszData[nIndex] : '\0';
  }
  // Makes the string empty; keeps the buffer, data pointer back at its start.
  void Empty();

  // ---- assignment and appending ------------------------------------------

  // Replaces the text by up to n characters of psz (kLuStringAll: up to its
  // NUL; an embedded NUL ends the copy early). The buffer is sized for n
  // characters first (Reallocate(n + 1, true)), however short the source.
  // Null makes the string empty. psz may point into this string.
  void Assign(char const* psz, uint32_t n = kLuStringAll);
  // Appends exactly n bytes of psz (kLuStringAll: up to its NUL), NULs
  // included, and the length grows by n: pass either kLuStringAll or the
  // exact length of the source, which must hold n readable bytes. Only an
  // empty string stops at a NUL of the source (its text then ends there).
  // Null does nothing. psz may point into this string.
  void Append(char const* psz, uint32_t n = kLuStringAll);

  CLuString& operator=(CLuString const& str);
  CLuString& operator=(char const* psz);
  CLuString& operator+=(CLuString const& str);
  CLuString& operator+=(char const* psz);
  CLuString& operator+=(char c);

  // ---- formatting and numbers ----------------------------------------------

  // Replaces the contents by the printf-style result. Deliberately limited
  // to 1,022 characters: longer output is cut there (append long text with
  // Append instead).
  void Format(char const* pszFormat, ...) __attribute__((format(printf, 2, 3)));
  // The same with an argument list (args is not consumed: a copy is used).
  void FormatV(char const* pszFormat, va_list args)
      __attribute__((format(printf, 2, 0)));

  // Decimal text of n ("%u").
  void FromNumber(uint32_t n);
  // Decimal text of d with nDecimals decimals ("%.<n>f"), trailing zeroes
  // stripped (StripTrailingZeroes); with bStripLeadingZero a leading "0" of
  // a longer result is dropped (0.5, 2 -> ".5"; 0 stays "0").
  void FromNumber(double d, uint32_t nDecimals, bool bStripLeadingZero);
  // "true" or "false".
  void FromNumber(bool b);
  // Signed decimal text ("%i").
  void FromNumber(int32_t i);
  // 64-bit decimal texts.
  void FromNumber(int64_t i64);
  void FromNumber(uint64_t n64);
  // Decimal text of a byte (0..255).
  void FromNumber(uint8_t by);
  // New strings holding the FromNumber texts of the same arguments.
  static CLuString strFromNumber(uint32_t n);
  static CLuString strFromNumber(double d, uint32_t nDecimals,
                                 bool bStripLeadingZero);
  static CLuString strFromNumber(bool b);
  static CLuString strFromNumber(int32_t i);
  static CLuString strFromNumber(int64_t i64);
  static CLuString strFromNumber(uint64_t n64);
  static CLuString strFromNumber(uint8_t by);

  // Tidies a decimal number text: leading "0"s go (one before the locale's
  // decimal point, or a lone "0", stays); behind a decimal point trailing
  // "0"s go, then the point if it is last; an empty result becomes "0".
  // '2.500' -> '2.5', '0.00' -> '0', '007' -> '7', '10.0' -> '10'.
  void StripTrailingZeroes();

  // ---- text to value -----------------------------------------------------
  // All conversions read the whole text: leading white space and a sign are
  // accepted (as by strtoul/strtol/strtod), any character left over (a
  // trailing blank included) fails, an empty text fails, and the value must
  // lie in [min, max]. On failure the output is left untouched; a null
  // output pointer only tests.

  // Unsigned 32-bit, base 10, with 32-bit strtoul semantics: "-1" gives
  // 4294967295, larger values saturate at 4294967295.
  bool bToUINT(uint32_t* pnValue, uint32_t nMin = 0,
               uint32_t nMax = 0xFFFFFFFFu) const;
  // Double (strtod: also "inf", "nan", hex floats). The range test is
  // "min > value or value > max fails", so a NaN passes every range.
  bool bToDouble(double* pdValue, double dMin = -1.7976931348623157e308,
                 double dMax = 1.7976931348623157e308) const;
  // Signed 32-bit, base 10; out-of-range texts saturate at the 32-bit
  // limits before the range test.
  bool bToInt(int32_t* piValue, int32_t iMin = INT32_MIN,
              int32_t iMax = INT32_MAX) const;
  bool bToINT64(int64_t* pi64Value, int64_t i64Min = INT64_MIN,
                int64_t i64Max = INT64_MAX) const;
  bool bToUINT64(uint64_t* pn64Value, uint64_t n64Min = 0,
                 uint64_t n64Max = UINT64_MAX) const;
  bool bToBYTE(uint8_t* pbyValue, uint8_t byMin = 0, uint8_t byMax = 255) const;
  // "true" / "false" (any letter case), also "1" / "0"; blanks around the
  // word are ignored.
  bool bToBool(bool* pbValue) const;
  // Local date and time "YYYY-MM-DD HH:MM:SS" (as FromTime writes it) or a
  // date alone "YYYY-MM-DD" (midnight); blanks around are ignored.
  bool bToTime(time_t* ptimValue) const;
  // "left,top,right,bottom" as four int32_t (blanks allowed around each).
  bool bToRect(int32_t* piLeft, int32_t* piTop, int32_t* piRight,
               int32_t* piBottom) const;
  // "x,y" as two int32_t.
  bool bToPoint(int32_t* piX, int32_t* piY) const;
  // "x,y" and "x,y,z" as doubles.
  bool bToVector(double* pdX, double* pdY) const;
  bool bToVector(double* pdX, double* pdY, double* pdZ) const;
  // A packed colour 0xAARRGGBB from: a colour name (black, white, red,
  // green, blue, cyan, magenta, yellow, transparent), optionally preceded by
  // "dark", "light" or "medium" (any case, blanks between); "#RRGGBB" or
  // "#AARRGGBB"; or 3 or 4 decimal components "r,g,b[,a]", each 0..255
  // (alpha defaults to 255).
  bool bToColor(uint32_t* pnColor) const;

  // Direct forms: the converted value over the type's whole range, or
  // the default when the text does not convert.
  int32_t iAsValue(int32_t iDefault = 0) const;
  uint32_t nAsValue(uint32_t nDefault = 0) const;
  int64_t i64AsValue(int64_t i64Default = 0) const;
  uint64_t n64AsValue(uint64_t n64Default = 0) const;
  uint8_t byAsValue(uint8_t byDefault = 0) const;
  double dAsValue(double dDefault = 0.0) const;
  bool bAsValue(bool bDefault = false) const;
  uint32_t clrAsValue(uint32_t clrDefault = 0xFF000000u) const;

  // ---- value to text -------------------------------------------------------

  // Packed colour 0xAARRGGBB as "r,g,b" ("%i,%i,%i"); a colour that is not
  // opaque gets its alpha as a fourth component.
  void FromColor(uint32_t nColor);
  // Colour components as doubles, "%g, %g, %g, %g" (red, green, blue,
  // alpha).
  void FromColor(double dRed, double dGreen, double dBlue, double dAlpha);
  void FromPoint(int32_t iX, int32_t iY);  // "%i,%i"
  void FromRect(int32_t iLeft, int32_t iTop, int32_t iRight,
                int32_t iBottom);                    // "%i,%i,%i,%i"
  void FromVector(double dX, double dY);             // "%g,%g"
  void FromVector(double dX, double dY, double dZ);  // "%g,%g,%g"
  // Local time "YYYY-MM-DD HH:MM:SS"; empty for a time that cannot be
  // converted (e.g. -1, the invalid time).
  void FromTime(time_t tim);
  static CLuString strFromColor(uint32_t nColor);
  static CLuString strFromColor(double dRed, double dGreen, double dBlue,
                                double dAlpha);
  static CLuString strFromPoint(int32_t iX, int32_t iY);
  static CLuString strFromRect(int32_t iLeft, int32_t iTop, int32_t iRight,
                               int32_t iBottom);
  static CLuString strFromVector(double dX, double dY);
  static CLuString strFromVector(double dX, double dY, double dZ);
  // "HH:MM:SS:FF" ("%02i:%02i:%02i:%02i") of a duration in seconds at the
  // frame rate: whole seconds, then the frames of the fraction (rounded
  // down). Hours do not wrap; negative or NaN durations and rates give
  // "00:00:00:00".
  static CLuString strTimeCode(double dSeconds, double dFps);

  // ---- searching -----------------------------------------------------------

  // First position >= nStart holding c; -1 if nStart >= length or none.
  int32_t iFind(char c, uint32_t nStart = 0) const;
  // First position >= nStart where strText begins (case-folded when not
  // bCaseSensitive); -1 if none. An empty text is found at nStart when
  // nStart <= length.
  int32_t iFind(CLuString const& strText, uint32_t nStart = 0,
                bool bCaseSensitive = true) const;
  // First position >= nStart whose character is in the set; an empty or
  // null set finds nothing; -1 if nStart >= length.
  int32_t iFindOneOf(char const* pszSet, uint32_t nStart = 0) const;
  // Last position <= min(nStart, length - 1) holding c; -1 for an empty
  // string or none. kLuStringAll searches from the end.
  int32_t iReverseFind(char c, uint32_t nStart = kLuStringAll) const;
  // Last position <= nStart where strText begins; -1 if none.
  int32_t iReverseFind(CLuString const& strText, uint32_t nStart = kLuStringAll,
                       bool bCaseSensitive = true) const;
  // Last position <= min(nStart, length - 1) whose character is in the set;
  // -1 for an empty string, an empty set or none.
  int32_t iReverseFindOneOf(char const* pszSet,
                            uint32_t nStart = kLuStringAll) const;
  // Number of occurrences of c.
  uint32_t nCountAll(char c) const;

  // ---- cutting and pieces ----------------------------------------------

  // Characters from nStart, nCount clipped to the rest (an embedded NUL ends
  // the copy); empty if nStart >= length.
  CLuString strMid(uint32_t nStart, uint32_t nCount = kLuStringAll) const;
  // Drops n characters at the front in O(1) (moves the data pointer, copies
  // nothing); n > length empties the string.
  void ShortenAtBegin(uint32_t n);
  // Drops n characters at the end; n > length empties the string.
  void ShortenAtEnd(uint32_t n);
  // Removes from both ends every character that occurs in the set (and only
  // those): '  a b \t' with " \t" -> 'a b'; a text of set characters only
  // becomes empty.
  void TruncateWhiteSpace(CLuString const& strSet = "\n\t \r");
  // Removes every character of the set wherever it occurs.
  void StripWhiteSpace(CLuString const& strSet = "\n\t \r");
  // Removes a trailing number behind the last cSeparator, separator
  // included ('plate_0012' with '_' -> 'plate'); nothing happens unless
  // the separator is followed by one or more digits only.
  void StripNumericalPostfix(char cSeparator);
  // Consumes the next token from the front of this string; see
  // string_utils.cpp for the exact rules. Separators around the token are
  // skipped; with bQuotes a separator inside the first "..." pair of the
  // remaining text does not end the token (quotes kept); a separator right
  // behind cEscape (0: none) does not end it either (escape kept). Returns
  // false (string emptied) when only separators or nothing is left. The
  // token is emptied first; pstrToken may be null.
  bool bGetNextToken(CLuString const& strSeparators, CLuString* pstrToken,
                     bool bQuotes = false, char cEscape = 0);
  // Removes every run of decimal digits and appends each run's value
  // (uint32_t, value * 10 + digit, wrapping) to poNumbers in order, stored
  // as (void*)(uintptr_t)value. poNumbers may be null (digits still go).
  void SplitOffNumbers(CLuList<void>* poNumbers);

  // ---- replacing -----------------------------------------------------------

  // Replaces every cFrom by cTo; returns the number replaced.
  uint32_t nReplace(char cFrom, char cTo);
  // Replaces every / the first / the last occurrence of strFrom (not
  // overlapping, left to right) by strTo; true if anything was replaced.
  // An empty strFrom replaces nothing.
  bool bReplaceAll(CLuString const& strFrom, CLuString const& strTo,
                   bool bCaseSensitive = true);
  bool bReplaceFirst(CLuString const& strFrom, CLuString const& strTo,
                     bool bCaseSensitive = true);
  bool bReplaceLast(CLuString const& strFrom, CLuString const& strTo,
                    bool bCaseSensitive = true);

  // ---- comparing -----------------------------------------------------------

  // <0, 0 or >0. eComparePath: "\" equals "/", one trailing "/" is ignored,
  // letter case is ignored, an empty path sorts first. bSplitNumbers: runs
  // of digits compare by value when the texts without them are equal and
  // hold the same count of numbers ('frame10' > 'frame9'); otherwise the
  // plain comparison decides.
  int32_t iCompareEx(CLuString const& strOther,
                     EComparisonFn eFn = eCompareCaseSensitive,
                     bool bSplitNumbers = false) const;
  // The same with the comparison function given as its number (0, 1, 2).
  int32_t iCompareEx(CLuString const& strOther, int iFn,
                     bool bSplitNumbers) const;
  // An empty prefix matches only an empty string; otherwise compares the
  // first characters with strcmp (bCaseSensitive) or strcasecmp.
  bool bStartsWith(CLuString const& strPrefix,
                   bool bCaseSensitive = true) const;
  // True when the text ends with strSuffix (an empty suffix always does).
  bool bEndsWith(CLuString const& strSuffix, bool bCaseSensitive = true) const;
  // Removes strPrefix from the front when bStartsWith; true if removed.
  bool bStripPrefix(CLuString const& strPrefix, bool bCaseSensitive = true);
  // True when this path lies at or below the path strPrefix: compared as
  // paths ("\" == "/", ignoring case, a trailing "/" ignored) and only at a
  // whole path element ("/a/bc" does not start with "/a/b").
  bool bPathStartsWith(CLuString const& strPrefix) const;
  // Tests this name against a list of wildcard patterns separated by ";" or
  // ",": "?" is any one character, "*" any run; letter case is ignored.
  // Deliberately, a literal character that mismatches ends the whole test
  // with false (later patterns are not tried), while a pattern that runs
  // out against the name's end moves on to the next pattern.
  bool bMatchesWildCard(CLuString const& strPatterns) const;
  // 32-bit hash of the text (FNV-1a; over the upper-cased text when not
  // bCaseSensitive).
  uint32_t nHash(bool bCaseSensitive = true) const;

  // ---- case, lines, layout -------------------------------------------------

  // Per-byte upper / lower case (the C library's mapping in the current
  // locale).
  void MakeUpper();
  void MakeLower();
  // Adopts the letter case of strModel position by position; characters
  // beyond the model's length follow the case of its last letter.
  void MatchCase(CLuString const& strModel);
  // LF modes (0, 1): CR LF, LF CR and lone CR become LF. CR LF mode (2 and
  // above): every line end (pair or lone CR / LF) becomes CR LF.
  void NormalizeLineEnds(ELineEnds eMode);
  void NormalizeLineEnds(int iMode);
  // Replaces every backslash by "/".
  void ConvertPathToOSSpecific();
  // nCount times c.
  static CLuString strRepeat(char c, uint32_t nCount);
  // Puts nCount blanks in front of every non-empty line (empty lines stay
  // empty, so no trailing blanks appear).
  void Indent(uint32_t nCount);
  // Replaces tabs by blanks up to the next multiple of nTabWidth columns
  // (columns restart after a line feed); true if a tab was expanded.
  // nTabWidth 0 changes nothing and returns false.
  bool bExpandTabs(uint32_t nTabWidth);

  // ---- character sets ------------------------------------------------------

  // True when every character is in the set (an empty string is).
  // Alphanumeric: letters, digits and "_-."; file names add
  // "^&'@()[],$=!-#{}%+"; paths add a blank and "/" to those.
  bool bEnsureAlphaNumeric() const;
  bool bEnsureFileName() const;
  bool bEnsurePath() const;
  bool bEnsureCharacterSet(CLuString const& strSet) const;
  // Replace every character outside the set by cReplacement; a
  // replacement of 0 removes those characters instead.
  void EnforceAlphaNumeric(char cReplacement);
  void EnforceFileName(char cReplacement);
  void EnforcePath(char cReplacement);
  void EnforceCharacterSet(CLuString const& strSet, char cReplacement);

  // ---- encodings -----------------------------------------------------------
  // Modes: 1 = two upper-case hex digits per byte, no separators ("0AFF");
  // 0 = the same in lower case ("0aff"); 2 = upper-case pairs separated by
  // one blank ("0A FF"). Any other mode behaves as 1.

  // Replaces the contents by the encoding of nBytes bytes at pData (null
  // with nBytes > 0 gives an empty string).
  void EncodeString(void const* pData, uint32_t nBytes, uint32_t nMode);
  // Characters that EncodeString writes for nBytes bytes in the mode.
  static uint32_t nEncodedStringLength(uint32_t nBytes, uint32_t nMode);
  // Decodes the text into exactly nBytes bytes at pData; true only when the
  // text is the complete encoding of nBytes bytes in the mode (hex digits
  // of either case accepted). On failure pData is left untouched.
  bool bDecodeString(void* pData, uint32_t nBytes, uint32_t nMode) const;

  // ---- network -------------------------------------------------------------

  // True for a dotted address "%u.%u.%u.%u": four parts of 1 to 3 digits,
  // each 0..255.
  bool bIsIPAddress() const;
  // "010.001.000.255" -> "10.1.0.255"; texts that are not addresses stay.
  void IPAddressStripZeroPrefixes();

  // ---- XML and HTML ----------------------------------------------------

  // nIndent blanks, "<name>", the value with &, <, >, " escaped, "</name>",
  // a line feed.
  static CLuString strToXML(CLuString const& strName, CLuString const& strValue,
                            uint32_t nIndent);
  // The same element holding the colour's FromColor text.
  static CLuString strColorToXML(CLuString const& strName, uint32_t nColor,
                                 uint32_t nIndent);
  // Cuts the first element <name ...>...</name> (or <name/>) out of this
  // XML text and hands it, tags included, to pstrSection (may be null;
  // emptied when there is no such element, in which case nothing changes).
  void CutOutXMLSection(CLuString const& strName, CLuString* pstrSection);
  // Escapes &, < and > ("&amp;", "&lt;", "&gt;") and wraps every non-empty
  // line in "<p>...</p>", one paragraph per line.
  void ConvertToHTMLParagraphs();
  // "<!DOCTYPE html>" document head with the title and the default style
  // sheet, up to and including "<body>".
  static CLuString strHTMLHeader(CLuString const& strTitle);
  // The default style sheet of the framework's HTML output.
  static CLuString strDefaultVELOMACSS();
  // Converts formatted report text (fields separated by tabs, lines by line
  // feeds) into CSV: fields separated by ",", a field holding ",", '"' or a
  // line break quoted with '"' and its quotes doubled; line ends "\n".
  void ConvertVELOMAFormattedToCSV();

  // ---- paths and files -----------------------------------------------------

  // Extension of the file-name part, without the dot, lower case
  // ('a/plate.0001.DPX' -> 'dpx'); empty if there is none.
  CLuString strExtractNormalizedFileExtension() const;
  // Appends "." + extension (given with or without the dot) unless the text
  // already ends with it, ignoring case; true if appended.
  bool bAppendExtensionIfNotPresent(CLuString const& strExtension);
  // Rewrites this path relative to the folder strBase ('/a/b/c' against
  // '/a/d' -> '../b/c'); both must be absolute or both relative. False (and
  // unchanged) otherwise.
  bool bMakeRelativePath(CLuString const& strBase);
  // printf format for the frame names of a sequence: the last run of
  // digits of the file-name part becomes "%0<n>u", "%" elsewhere becomes
  // "%%" ('plate.0001.dpx' -> 'plate.%04u.dpx'); empty without digits.
  CLuString strDeriveNumberFormatFromFrameName() const;
  // "_YYYYMMDD_HHMMSS" of a local time, for unique file names; empty for a
  // time that cannot be converted.
  static CLuString strFileDateTimePostFix(time_t tim);
  // Replaces "$NAME" and "${NAME}" by the environment variable's value;
  // "$$" gives "$"; references to undefined variables stay as written.
  void ExpandEnvironmentVariables();
  // Keeps the first of tokens that are equal ignoring case, joined again
  // with the first separator character; separator runs collapse.
  void EliminateDuplicateStringsIgnoreCase(CLuString const& strSeparators);

  // ---- files -------------------------------------------------------------

  // Replaces the contents by the file's ("\" in the path becomes "/"). Text
  // mode (bRawBytes false) normalises line ends to LF; in both modes the
  // text stops at a NUL byte of the file. False (string unchanged) when the
  // file cannot be opened, is a folder, or the memory is missing.
  bool bReadFromFile(CLuString strPath, bool bRawBytes = false);
  // Writes the text to the file, replacing it ("wt", or "wb" with
  // bRawBytes); true only if every byte was written and the file closed.
  bool bWriteToFile(CLuString const& strPath, bool bRawBytes = false) const;

  // ---- operators -----------------------------------------------------------

  friend CLuString operator+(CLuString const& str1, CLuString const& str2);
  friend CLuString operator+(CLuString const& str, char const* psz);
  friend CLuString operator+(char const* psz, CLuString const& str);
  friend CLuString operator+(CLuString const& str, char c);
  // Without this, 'x' + str would silently do pointer arithmetic.
  friend CLuString operator+(char c, CLuString const& str);
  // strcmp comparisons.
  friend bool operator==(CLuString const& str1, CLuString const& str2);
  friend bool operator==(CLuString const& str, char const* psz);
  friend bool operator==(char const* psz, CLuString const& str);
  friend bool operator!=(CLuString const& str1, CLuString const& str2);
  friend bool operator!=(CLuString const& str, char const* psz);
  friend bool operator!=(char const* psz, CLuString const& str);
  friend bool operator<(CLuString const& str1, CLuString const& str2);
  friend bool operator<(CLuString const& str, char const* psz);
  friend bool operator<(char const* psz, CLuString const& str);

 private:
  // Reallocate with a result: false when the allocation failed.
  bool bDoReallocate(uint32_t nSize, bool bKeep);
  // Appends n characters that do not lie inside this string's buffer.
  void DoAppend(char const* psz, uint32_t n);
  // True when p points into this string's allocation.
  bool bIsInside(char const* p) const;
  // Replaces the range [nPos, nPos + nCount) by strTo.
  void DoReplace(uint32_t nPos, uint32_t nCount, CLuString const& strTo);

  char* m_pszData;       // where the text begins
  char* m_pszBuffer;     // the owned allocation
  uint32_t m_nLength;    // characters, terminator not counted
  uint32_t m_nCapacity;  // bytes of the allocation, terminator included
};
