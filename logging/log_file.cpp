#include "logging/log_file.h"

#include <pwd.h>
#include <sys/types.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include "files/paths.h"
#include "system/time.h"

namespace {

// Category texts are cut and padded to this width.
constexpr uint32_t knCategoryWidth = 15;

// Fixed build tag of the header line, kept verbatim: tools that collect log
// files look for it.
char const kBuildTag[] = " [4745.84.Z800.2010-07-20]\n";

// Lifts a log file's size limit for as long as it lives and puts the old
// value back afterwards.
class CLimitLift {
 public:
  explicit CLimitLift(uint32_t& nLimit) : m_nLimit(nLimit), m_nSaved(nLimit) {
    nLimit = CLuLogFile::knNoLimit;
  }
  ~CLimitLift() { m_nLimit = m_nSaved; }

 private:
  uint32_t& m_nLimit;
  uint32_t m_nSaved;
};

// ---- machine description ---------------------------------------------------
// Each query returns an empty text where this platform has no answer.

// Host name (uname's node name).
CLuString strComputerName() {
  struct utsname oName;
  return uname(&oName) == 0 ? CLuString(oName.nodename) : CLuString();
}

// NIS domain name; Linux reports "(none)" when there is none.
CLuString strDomainName() {
  char szName[256] = {0};
  if (getdomainname(szName, sizeof(szName) - 1) != 0 ||
      strcmp(szName, "(none)") == 0)
    return CLuString();
  return CLuString(szName);
}

// Name of the user the process runs for (password database).
CLuString strLogonName() {
  struct passwd oEntry;
  struct passwd* poResult = nullptr;
  char szBuffer[4096];
  if (getpwuid_r(getuid(), &oEntry, szBuffer, sizeof(szBuffer), &poResult) !=
          0 ||
      poResult == nullptr)
    return CLuString();
  return CLuString(poResult->pw_name);
}

// The display the process talks to: $DISPLAY under X11, empty otherwise.
CLuString strDisplayDevice() {
  return CLuString(getenv("DISPLAY"));
}

// No portable query names the display driver on Linux: empty, so the
// header leaves its "Driver:" line out.
CLuString strDisplayDriver() {
  return CLuString();
}

// Processor identification as the header prints it.
struct SProcessor {
  CLuString strName;
  int iModel = 0;
  int iFamily = 0;
  int iStepping = 0;
  CLuString strFeatures;  // names separated by blanks
};

// Value of the first "key : value" line of /proc/cpuinfo whose key is
// pszKey; empty when there is none.
CLuString strCPUInfoField(char const* pszKey) {
  CLuString strInfo, strLine;
  if (!strInfo.bReadFromFile("/proc/cpuinfo")) return CLuString();
  while (strInfo.bGetNextToken("\n", &strLine)) {
    int32_t const iColon = strLine.iFind(':');
    if (iColon < 0) continue;
    CLuString strKey = strLine.strMid(0, uint32_t(iColon));
    strKey.TruncateWhiteSpace();
    if (strKey != pszKey) continue;
    CLuString strValue = strLine.strMid(uint32_t(iColon) + 1);
    strValue.TruncateWhiteSpace();
    return strValue;
  }
  return CLuString();
}

SProcessor oQueryProcessor() {
  SProcessor o;
#if defined(__x86_64__) || defined(__i386__)
  unsigned int a, b, c, d;
  if (__get_cpuid(0x80000000, &a, &b, &c, &d) && a >= 0x80000004) {
    unsigned int anBrand[12];
    for (unsigned int i = 0; i < 3; ++i)
      __get_cpuid(0x80000002 + i, &anBrand[4 * i], &anBrand[4 * i + 1],
                  &anBrand[4 * i + 2], &anBrand[4 * i + 3]);
    o.strName.Assign(reinterpret_cast<char const*>(anBrand), sizeof(anBrand));
    o.strName.TruncateWhiteSpace(" ");
  }
  unsigned int nMax = __get_cpuid_max(0, nullptr);
  if (nMax >= 1 && __get_cpuid(1, &a, &b, &c, &d)) {
    // Display family and model as the vendors define them: the extended
    // fields count only for family 15 (and family 6 for the model).
    int const iBaseFamily = int((a >> 8) & 0xF);
    int const iBaseModel = int((a >> 4) & 0xF);
    o.iStepping = int(a & 0xF);
    o.iFamily =
        iBaseFamily == 15 ? iBaseFamily + int((a >> 20) & 0xFF) : iBaseFamily;
    o.iModel = (iBaseFamily == 6 || iBaseFamily == 15)
                   ? iBaseModel + (int((a >> 16) & 0xF) << 4)
                   : iBaseModel;
    struct {
      unsigned int nRegister;  // 0 = EDX, 1 = ECX of leaf 1
      unsigned int nBit;
      char const* pszName;
    } const aFlags[] = {
        {0, 23, "MMX"},    {0, 25, "SSE"}, {0, 26, "SSE2"},   {1, 0, "SSE3"},
        {1, 9, "SSSE3"},   {1, 12, "FMA"}, {1, 19, "SSE4.1"}, {1, 20, "SSE4.2"},
        {1, 23, "POPCNT"}, {1, 25, "AES"}, {1, 28, "AVX"},    {1, 29, "F16C"},
        {0, 28, "HTT"},
    };
    for (auto const& f : aFlags) {
      if ((((f.nRegister == 0 ? d : c) >> f.nBit) & 1) == 0) continue;
      if (!o.strFeatures.bIsEmpty()) o.strFeatures += ' ';
      o.strFeatures += f.pszName;
    }
    if (nMax >= 7 && __get_cpuid_count(7, 0, &a, &b, &c, &d)) {
      if ((b >> 5) & 1) o.strFeatures += " AVX2";
      if ((b >> 16) & 1) o.strFeatures += " AVX512F";
    }
  }
#endif
  // Other processors: what the kernel reports.
  if (o.strName.bIsEmpty()) o.strName = strCPUInfoField("model name");
  if (o.strFeatures.bIsEmpty()) o.strFeatures = strCPUInfoField("Features");
  return o;
}

// Processors the system runs threads on, as text.
CLuString strThreadCount() {
  long const iCount = sysconf(_SC_NPROCESSORS_ONLN);
  CLuString str;
  str.Format("%ld", iCount > 0 ? iCount : 1L);
  return str;
}

// The processor description of the header's "CPU:" line.
CLuString strProcessorDescription() {
  SProcessor const o = oQueryProcessor();
  CLuString strText;
  strText.Format(
      "Name: %s\n         Model: %i, Family: %i, Stepping: %i \n"
      "         Total Threads: %s\n         Features: ",
      o.strName.pszGetString(), o.iModel, o.iFamily, o.iStepping,
      strThreadCount().pszGetString());
  // Appended rather than formatted: a feature list may be long.
  strText += o.strFeatures;
  return strText;
}

}  // namespace

// ---------------------------------------------------------------------------
// CLuLog

void CLuLog::Log(CLuString const& strCategory, char const* pszFormat, ...) {
  int const iSavedErrno = errno;
  CLuString strMessage;
  if (pszFormat != nullptr) {
    va_list args;
    va_start(args, pszFormat);
    strMessage.FormatV(pszFormat, args);
    va_end(args);
  }
  CLuString const strCategoryCut = strCategory.strMid(0, knCategoryWidth);
  CLuString strLine = CLuTime::timCurrent().strTime();
  strLine += " [";
  strLine += strCategoryCut;
  strLine += "] ";
  strLine +=
      CLuString::strRepeat(' ', knCategoryWidth - strCategoryCut.nGetLength());
  strLine += strMessage;
  if (!strLine.bEndsWith("\n")) strLine += '\n';
  Output(strLine);
  errno = iSavedErrno;
}

CLuLog::~CLuLog() {}

// ---------------------------------------------------------------------------
// CLuLogFile

CLuLogFile::CLuLogFile(CLuString const& strPath, unsigned int nSizeLimitKiB,
                       bool bSystemInformation)
    : m_pFile(nullptr),
      m_nSizeLimit(nSizeLimitKiB),
      m_strPath(strPath),
      m_bOpen(false),
      m_bSystemInformation(bSystemInformation) {
  m_strPath.ConvertPathToOSSpecific();
}

CLuLogFile::~CLuLogFile() {
  int const iSavedErrno = errno;
  Close();
  errno = iSavedErrno;
}

void CLuLogFile::Output(CLuString const& strText) {
  int const iSavedErrno = errno;
  try {
    if (m_bOpen || bOpen(false)) {
      fwrite(strText.pszGetString(), 1, strText.nGetLength(), m_pFile);
      fflush(m_pFile);
      off_t const iPosition = ftello(m_pFile);
      if (m_nSizeLimit != knNoLimit && iPosition > 0 &&
          uint64_t(iPosition) / 1024 > m_nSizeLimit)
        ResetFile();
    }
  } catch (...) {
    // Dropped on purpose: logging never disturbs its caller.
  }
  errno = iSavedErrno;
}

void CLuLogFile::ResetFile() {
  {
    // Closing logs a line of its own, which must not rotate a second time.
    CLimitLift oLift(m_nSizeLimit);
    Close();
  }
  // The copy never overwrites, so the previous ".old" goes first: the
  // rotated file always holds the most recent text, and nothing written
  // since the last rotation is lost.
  CLuString const strOld = m_strPath + ".old";
  bLuDeleteFile(strOld);
  bLuCopyFile(m_strPath, strOld, false);
  bLuDeleteFile(m_strPath);
  bOpen(false);
}

bool CLuLogFile::bOpen(bool bRotate, unsigned int* /*pnUnused*/) {
  if (!m_bOpen) {
    // "w" on purpose: every run starts with an empty log.
    m_pFile = fopen(m_strPath.pszGetString(), "w");
    if (m_pFile == nullptr) return false;
    m_bOpen = true;
    // A rotation asked for at opening runs first: it closes the file just
    // emptied (its closing lines go to ".old") and reopens it with a header
    // of its own; this opening's header then follows that one.
    if (bRotate) ResetFile();
    if (!m_bOpen) return false;  // the reopening failed: nothing to write to
    try {
      WriteHeader();
    } catch (...) {
      m_bOpen = false;
      fclose(m_pFile);
      m_pFile = nullptr;
    }
    if (!m_bOpen) return false;
  }
  return true;
}

void CLuLogFile::WriteHeader() {
  // A header longer than the limit must not rotate the file while it is
  // being written (that would open, and rotate, again without end): the
  // limit applies from the first line logged after it.
  CLimitLift oLift(m_nSizeLimit);
  fseeko(m_pFile, 0, SEEK_END);
  Output(CLuTime::timCurrent().strDate() + kBuildTag);
  if (m_bSystemInformation) {
    Output("Machine: " + strComputerName() + " in domain " + strDomainName() +
           "\n");
    Output("User:    " + strLogonName() + "\n");
    // Fixed text of the header format, whatever the build's word size.
    Output("Mode:    32-Bit\n");
    Output("Display: " + strDisplayDevice() + "\n");
    CLuString const strDriver = strDisplayDriver();
    if (!strDriver.bIsEmpty()) Output("Driver:  " + strDriver + "\n");
    Output("CPU:     " + strProcessorDescription() + "\n\n");
  }
  Output("\n");
  Log("LuLog", "LogFile initialized");
}

void CLuLogFile::Close() {
  if (!m_bOpen) return;
  Log("LuLog", "Closing log file");
  Output("\n");
  Output(CLuTime::timCurrent().strDate() + "\n");
  // A rotation started by the lines above has already closed the old
  // stream and opened the new one; this closes whichever is current.
  if (!m_bOpen) return;
  m_bOpen = false;
  fclose(m_pFile);
  m_pFile = nullptr;
}
