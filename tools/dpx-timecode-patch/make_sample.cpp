// chronex_make_sample: writes a numbered sequence of small, real DPX images
// for demonstrations, benchmarks and trying the tool out.
//
//   chronex_make_sample FOLDER [-n COUNT] [-p PREFIX] [-s FIRST]
//                       [-t HH:MM:SS:FF] [-f FPS] [-w WIDTH] [-h HEIGHT]
//
// Each frame PREFIX.NNNN.dpx (default plate.0001.dpx ...) is a big-endian
// "SDPX" file, header version "V2.0", not encrypted, with a complete
// generic file header, image header (one 10-bit RGB element, filled to
// 32-bit words, method A), orientation, film and television headers, and
// a WIDTHxHEIGHT picture (default 64x36) of a colour ramp with a bar that
// moves from frame to frame. The television header carries the timecode
// -t + frame index at -f frames per second (default 10:00:00:00 at 24),
// stored as BCD bytes HH MM SS FF. Standard library and POSIX only; exit
// status 0 on success, 1 on a usage error, 2 when a file cannot be written.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kHeaderSize = 2048;
constexpr uint32_t kUndefined32 = 0xFFFFFFFFu;

// Big-endian writers into the file image.
void Put32(std::vector<uint8_t>& a, size_t off, uint32_t v) {
  a[off] = uint8_t(v >> 24);
  a[off + 1] = uint8_t(v >> 16);
  a[off + 2] = uint8_t(v >> 8);
  a[off + 3] = uint8_t(v);
}
void Put16(std::vector<uint8_t>& a, size_t off, uint16_t v) {
  a[off] = uint8_t(v >> 8);
  a[off + 1] = uint8_t(v);
}
void PutFloat(std::vector<uint8_t>& a, size_t off, float f) {
  uint32_t v;
  memcpy(&v, &f, 4);
  Put32(a, off, v);
}
void PutText(std::vector<uint8_t>& a, size_t off, size_t size,
             std::string const& s) {
  memset(&a[off], 0, size);
  memcpy(&a[off], s.data(), s.size() < size - 1 ? s.size() : size - 1);
}
void PutUndefined(std::vector<uint8_t>& a, size_t off, size_t size) {
  memset(&a[off], 0xFF, size);
}

uint8_t byBcd(unsigned n) {
  return uint8_t((n / 10) << 4 | (n % 10));
}

struct SOptions {
  std::string strFolder;
  unsigned nCount = 48;
  std::string strPrefix = "plate";
  unsigned nFirst = 1;
  unsigned nStartFrames = 0;  // frames since midnight of the first frame
  unsigned nFps = 24;
  unsigned nWidth = 64;
  unsigned nHeight = 36;
};

bool bParseUnsigned(char const* psz, unsigned nMin, unsigned nMax,
                    unsigned* pn) {
  char* pszEnd = nullptr;
  errno = 0;
  unsigned long n = strtoul(psz, &pszEnd, 10);
  if (errno != 0 || pszEnd == psz || *pszEnd != '\0' || n < nMin || n > nMax)
    return false;
  *pn = unsigned(n);
  return true;
}

// The whole file for frame index n: header followed by the picture.
std::vector<uint8_t> aFrameFile(SOptions const& o, unsigned n,
                                std::string const& strFileName) {
  uint32_t const nImageBytes = o.nWidth * o.nHeight * 4;
  uint32_t const nFileSize = kHeaderSize + nImageBytes;
  std::vector<uint8_t> a(nFileSize, 0);

  // Generic file header, 0..767.
  memcpy(&a[0], "SDPX", 4);
  Put32(a, 4, kHeaderSize);  // offset to image data
  PutText(a, 8, 8, "V2.0");
  Put32(a, 16, nFileSize);
  Put32(a, 20, 1);     // ditto key: new frame
  Put32(a, 24, 1664);  // generic header size
  Put32(a, 28, 384);   // industry header size
  Put32(a, 32, 0);     // user data size
  PutText(a, 36, 100, strFileName);
  char szTime[32];
  time_t const tim = time(nullptr);
  struct tm oTm;
  gmtime_r(&tim, &oTm);
  strftime(szTime, sizeof szTime, "%Y:%m:%d:%H:%M:%S:UTC", &oTm);
  PutText(a, 136, 24, szTime);
  PutText(a, 160, 100, "chronex_make_sample");
  PutText(a, 260, 200, "chronex demo");
  PutText(a, 460, 200, "");
  Put32(a, 660, kUndefined32);  // not encrypted
  PutUndefined(a, 664, 104);    // reserved

  // Image header, 768..1407: one element, 10-bit RGB, method A packing.
  Put16(a, 768, 0);  // orientation: left to right, top to bottom
  Put16(a, 770, 1);  // number of image elements
  Put32(a, 772, o.nWidth);
  Put32(a, 776, o.nHeight);
  size_t const e = 780;  // image element 1
  Put32(a, e + 0, 0);    // unsigned data
  Put32(a, e + 4, 0);    // reference low data code
  PutFloat(a, e + 8, 0.0f);
  Put32(a, e + 12, 1023);  // reference high data code
  PutFloat(a, e + 16, 2.048f);
  a[e + 20] = 50;                 // descriptor: RGB
  a[e + 21] = 2;                  // transfer: linear
  a[e + 22] = 2;                  // colorimetric: linear
  a[e + 23] = 10;                 // bit depth
  Put16(a, e + 24, 1);            // packing: filled to 32-bit words, method A
  Put16(a, e + 26, 0);            // no encoding
  Put32(a, e + 28, kHeaderSize);  // offset to this element's data
  Put32(a, e + 32, 0);            // end-of-line padding
  Put32(a, e + 36, 0);            // end-of-image padding
  PutText(a, e + 40, 32, "RGB 10-bit");
  PutUndefined(a, 852, 7 * 72);  // elements 2..8 unused
  PutUndefined(a, 1356, 52);     // reserved

  // Orientation header, 1408..1663: all undefined but the names.
  PutUndefined(a, 1408, 24);
  PutText(a, 1432, 100, strFileName);
  PutText(a, 1532, 24, szTime);
  PutText(a, 1556, 32, "");
  PutText(a, 1588, 32, "");
  PutUndefined(a, 1620, 44);

  // Film header, 1664..1919.
  memset(&a[1664], 0, 16);
  Put32(a, 1712, o.nFirst + n);  // frame position in sequence
  Put32(a, 1716, o.nCount);      // sequence length
  Put32(a, 1720, 1);             // held count
  PutFloat(a, 1724, float(o.nFps));
  PutUndefined(a, 1728, 4);  // shutter angle

  // Television header, 1920..2047: the timecode as BCD bytes HH MM SS FF.
  unsigned const nFrame = (o.nStartFrames + n) % (o.nFps * 86400);
  unsigned const nSecondsTotal = nFrame / o.nFps;
  a[1920] = byBcd(nSecondsTotal / 3600);
  a[1921] = byBcd(nSecondsTotal / 60 % 60);
  a[1922] = byBcd(nSecondsTotal % 60);
  a[1923] = byBcd(nFrame % o.nFps);
  Put32(a, 1924, 0);  // user bits
  a[1928] = 0;        // not interlaced
  a[1929] = 0;
  a[1930] = 0xFF;
  PutUndefined(a, 1932, 8);
  PutFloat(a, 1940, float(o.nFps));
  PutUndefined(a, 1944, 28);

  // Picture: a colour ramp with a bright bar that moves one column a frame.
  unsigned const nBar = n % o.nWidth;
  for (unsigned y = 0; y < o.nHeight; ++y) {
    for (unsigned x = 0; x < o.nWidth; ++x) {
      uint32_t r = o.nWidth > 1 ? 1023 * x / (o.nWidth - 1) : 512;
      uint32_t g = o.nHeight > 1 ? 1023 * y / (o.nHeight - 1) : 512;
      uint32_t b = 1023 - r / 2;
      if (x == nBar) r = g = b = 1023;
      Put32(a, kHeaderSize + (size_t(y) * o.nWidth + x) * 4,
            r << 22 | g << 12 | b << 2);
    }
  }
  return a;
}

void PrintUsage() {
  fputs(
      "Usage: chronex_make_sample FOLDER [-n COUNT] [-p PREFIX] [-s FIRST]\n"
      "                           [-t HH:MM:SS:FF] [-f FPS] [-w WIDTH] "
      "[-h HEIGHT]\n",
      stderr);
}

}  // namespace

int main(int argc, char** argv) {
  SOptions o;
  if (argc < 2) {
    PrintUsage();
    return 1;
  }
  o.strFolder = argv[1];
  unsigned nH = 10, nM = 0, nS = 0, nF = 0;
  for (int i = 2; i < argc; i += 2) {
    std::string const strOption = argv[i];
    if (i + 1 >= argc) {
      PrintUsage();
      return 1;
    }
    char const* pszValue = argv[i + 1];
    bool bOk = true;
    if (strOption == "-n") {
      bOk = bParseUnsigned(pszValue, 1, 10000000, &o.nCount);
    } else if (strOption == "-p") {
      o.strPrefix = pszValue;
      bOk = o.strPrefix.find('/') == std::string::npos;
    } else if (strOption == "-s") {
      bOk = bParseUnsigned(pszValue, 0, 100000000, &o.nFirst);
    } else if (strOption == "-t") {
      bOk = sscanf(pszValue, "%u:%u:%u:%u", &nH, &nM, &nS, &nF) == 4 &&
            nH < 24 && nM < 60 && nS < 60;
    } else if (strOption == "-f") {
      bOk = bParseUnsigned(pszValue, 1, 1000, &o.nFps);
    } else if (strOption == "-w") {
      bOk = bParseUnsigned(pszValue, 1, 4096, &o.nWidth);
    } else if (strOption == "-h") {
      bOk = bParseUnsigned(pszValue, 1, 4096, &o.nHeight);
    } else {
      bOk = false;
    }
    if (!bOk) {
      PrintUsage();
      return 1;
    }
  }
  if (nF >= o.nFps) {
    PrintUsage();
    return 1;
  }
  o.nStartFrames = ((nH * 60 + nM) * 60 + nS) * o.nFps + nF;

  // Creates the folder and any missing parents.
  for (size_t nSlash = 1; nSlash != std::string::npos;) {
    nSlash = o.strFolder.find('/', nSlash + 1);
    std::string const strPart = o.strFolder.substr(0, nSlash);
    if (mkdir(strPart.c_str(), 0755) != 0 && errno != EEXIST) {
      perror(strPart.c_str());
      return 2;
    }
  }
  unsigned const nDigits =
      o.nFirst + o.nCount - 1 > 9999 ? 8 : 4;  // keep names one width
  for (unsigned n = 0; n < o.nCount; ++n) {
    char szNumber[16];
    snprintf(szNumber, sizeof szNumber, "%0*u", int(nDigits), o.nFirst + n);
    std::string const strName = o.strPrefix + "." + szNumber + ".dpx";
    std::string const strPath = o.strFolder + "/" + strName;
    std::vector<uint8_t> const a = aFrameFile(o, n, strName);
    int const fd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0 || write(fd, a.data(), a.size()) != ssize_t(a.size()) ||
        close(fd) != 0) {
      perror(strPath.c_str());
      return 2;
    }
  }
  printf("%u frames %s.%0*u.dpx .. %s.%0*u.dpx in %s\n", o.nCount,
         o.strPrefix.c_str(), int(nDigits), o.nFirst, o.strPrefix.c_str(),
         int(nDigits), o.nFirst + o.nCount - 1, o.strFolder.c_str());
  return 0;
}
