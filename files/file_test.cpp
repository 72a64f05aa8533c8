#include "files/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr uint64_t k4GiB = 4294967296ull;

// A fresh folder per test on /tmp, a disk file system that accepts direct
// I/O here.
class FileTest : public ::testing::Test {
 protected:
  void SetUp() override { m_strDir = MakeDir("/tmp/lu_file_XXXXXX"); }
  void TearDown() override { std::filesystem::remove_all(m_strDir); }
  static std::string MakeDir(std::string strTemplate) {
    return ::mkdtemp(&strTemplate[0]) ? strTemplate : "/nonexistent";
  }
  std::string Path(char const* pszName) { return m_strDir + "/" + pszName; }
  static void Put(std::string const& strPath, std::string const& strBytes) {
    int fd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_EQ(::write(fd, strBytes.data(), strBytes.size()),
              static_cast<ssize_t>(strBytes.size()));
    ::close(fd);
  }
  static std::string Get(std::string const& strPath) {
    std::ifstream oIn(strPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(oIn), {});
  }
  static std::string Read(CLuFile* po, uint32_t n) {
    std::string s(n, '\0');
    s.resize(po->ipRead(&s[0], n));
    return s;
  }
  std::string m_strDir;
};

TEST_F(FileTest, OpenModesSetFlagsPositionAndCreation) {
  struct Case {
    char const* pszName;
    int iAccess, iCreate;
    bool bExists, bOpens, bAppend, bWritable;
    uint64_t n64Position, n64Size;
  } const aCases[] = {
      {"read existing", 0, 0, true, true, false, false, 0, 10},
      {"read missing", 0, 0, false, false, false, false, 0, 0},
      {"read-write existing appends", 1, 0, true, true, true, true, 10, 10},
      {"read-write missing", 1, 0, false, false, false, false, 0, 0},
      {"create new", 1, 1, false, true, false, true, 0, 0},
      {"create truncates", 1, 1, true, true, false, true, 0, 0},
      {"read-only create", 0, 1, false, true, false, false, 0, 0},
      {"unknown access reads only", 7, 0, true, true, false, false, 0, 10},
      {"unknown create adds nothing", 1, 5, true, true, false, true, 0, 10},
  };
  mode_t const nMask = ::umask(022);
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.pszName);
    std::string const strPath = Path(c.pszName);
    if (c.bExists) Put(strPath, "0123456789");
    CLuFile o;
    ASSERT_EQ(o.bOpen(strPath.c_str(), static_cast<ELuFileAccess>(c.iAccess),
                      static_cast<ELuFileCreate>(c.iCreate), false),
              c.bOpens);
    EXPECT_EQ(o.bIsOpen(), c.bOpens);
    EXPECT_STREQ(o.strFileName().pszGetString(), strPath.c_str());
    if (!c.bOpens) continue;
    int const iFlags = ::fcntl(o.iGetHandle(), F_GETFL);
    EXPECT_EQ((iFlags & O_APPEND) != 0, c.bAppend);
    EXPECT_EQ((iFlags & O_ACCMODE) == O_RDWR, c.bWritable);
    EXPECT_EQ(o.n64GetPosition(), c.n64Position);
    EXPECT_EQ(o.n64GetSize(), c.n64Size);
    struct stat st;
    ASSERT_EQ(::stat(strPath.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);
  }
  ::umask(nMask);
}

TEST_F(FileTest, ReadWriteExistingAppendsEvenAfterSeekingToZero) {
  std::string const strPath = Path("frame.dpx");
  Put(strPath, "0123456789");
  CLuFile o;
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessReadWrite, eOpenExisting, false));
  EXPECT_EQ(o.n64Seek(0, eSeekBegin), 0u);
  EXPECT_EQ(o.ipWrite("AB", 2), 2u);
  EXPECT_EQ(o.n64GetPosition(), 2u);
  EXPECT_EQ(o.n64GetSize(), 12u);
  EXPECT_EQ(Read(&o, 3), "234");  // reads still go where the object says
  EXPECT_EQ(Get(strPath), "0123456789AB");
}

TEST_F(FileTest, SeeksAreLazyAndTransfersSeekOnlyWhenStale) {
  std::string const strPath = Path("lazy");
  Put(strPath, "abcdefghij");
  CLuFile o;
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessRead, eOpenExisting, false));
  EXPECT_EQ(Read(&o, 4), "abcd");
  EXPECT_EQ(o.n64Seek(8, eSeekBegin), 8u);
  EXPECT_EQ(::lseek(o.iGetHandle(), 0, SEEK_CUR), 4);  // seek made no call
  EXPECT_EQ(Read(&o, 4), "ij");
  // Not stale now: the read must not seek, so it follows an offset moved
  // behind the object's back.
  ASSERT_EQ(::lseek(o.iGetHandle(), 1, SEEK_SET), 1);
  EXPECT_EQ(Read(&o, 2), "bc");
  EXPECT_EQ(o.n64GetPosition(), 12u);
  EXPECT_EQ(o.n64Seek(static_cast<uint64_t>(-5), eSeekCurrent), 7u);
  EXPECT_EQ(Read(&o, 2), "hi");
  EXPECT_EQ(o.n64Seek(5, eSeekEnd), 15u);
  EXPECT_EQ(Read(&o, 2), "");
  EXPECT_EQ(o.n64Seek(3, static_cast<ELuSeekMode>(9)), 3u);
  char c = 'x';
  EXPECT_EQ(o.ipRead(&c, 0), 0u);
  EXPECT_EQ(c, 'x');
  EXPECT_EQ(Read(&o, 1), "d");
}

TEST_F(FileTest, SizesAndPositionsBeyondFourGiB) {
  std::string const strPath = Path("sparse");
  Put(strPath, "");
  uint64_t const n64Size = 5 * k4GiB / 4 + 3;  // 5 GiB + 3, sparse
  ASSERT_EQ(::truncate(strPath.c_str(), n64Size), 0);
  int fd = ::open(strPath.c_str(), O_WRONLY);
  ASSERT_EQ(::pwrite(fd, "XYZ", 3, k4GiB + 10), 3);
  ::close(fd);
  CLuFile o;
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessRead, eOpenExisting, false));
  EXPECT_EQ(o.n64GetSize(), n64Size);
  EXPECT_EQ(o.n64Seek(k4GiB + 9, eSeekBegin), k4GiB + 9);
  EXPECT_EQ(Read(&o, 5), std::string("\0XYZ\0", 5));
  EXPECT_EQ(o.n64GetPosition(), k4GiB + 14);
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessReadWrite, eOpenExisting, false));
  EXPECT_EQ(o.n64GetPosition(), n64Size);
  EXPECT_EQ(o.ipWrite("!", 1), 1u);
  EXPECT_EQ(o.n64Seek(0, eSeekEnd), n64Size + 1);
  EXPECT_EQ(std::filesystem::file_size(strPath), n64Size + 1);
}

TEST_F(FileTest, DirectReadsNeedAlignmentAndSwitchModesKeepingPosition) {
  std::string const strPath = Path("direct");
  std::string strData(3 * 8192 + 100, '\0');
  for (size_t i = 0; i < strData.size(); ++i) strData[i] = char(i * 7 % 251);
  Put(strPath, strData);
  CLuFile o;
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessRead, eOpenExisting, true));
  if (!o.bIsDirectIO()) GTEST_SKIP() << "/tmp refuses O_DIRECT";
  std::vector<unsigned char> aby(3 * 8192);
  unsigned char* pby = o.pbyAlignBuffer(aby.data() + 1);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(pby) % 8192, 0u);
  EXPECT_LE(pby - aby.data(), 8192);
  auto Uncached = [&] { return ::fcntl(o.iGetHandle(), F_GETFL) & O_DIRECT; };
  struct Step {
    uint64_t n64Seek, n64Landed;
    uint32_t nBufferOffset;
    bool bUncached;
  } const aSteps[] = {
      {0, 0, 0, true},
      {100, 8192, 0, false},     // refused seek, unaligned position: cached
      {16384, 16384, 1, false},  // unaligned buffer: cached
      {8192, 8192, 0, true},     // back to uncached, re-seeked
  };
  for (Step const& s : aSteps) {
    SCOPED_TRACE(s.n64Seek);
    ASSERT_EQ(o.n64Seek(s.n64Seek, eSeekBegin), s.n64Landed);
    uint32_t const nWant = s.n64Seek == 100 ? 100 : 8192;
    EXPECT_EQ(o.ipRead(pby + s.nBufferOffset, nWant), nWant);
    EXPECT_EQ(Uncached() != 0, s.bUncached);
    EXPECT_EQ(std::memcmp(pby + s.nBufferOffset, &strData[s.n64Landed], nWant),
              0);
  }
  CLuFile::m_bDirectIOEnabled = false;
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessRead, eOpenExisting, true));
  CLuFile::m_bDirectIOEnabled = true;
  EXPECT_FALSE(o.bIsDirectIO());
  EXPECT_EQ(o.pbyAlignBuffer(aby.data() + 1), aby.data() + 1);
}

TEST_F(FileTest, UncachedChunkThatYieldsNothingAdvancesPositionTwice) {
  std::string const strPath = Path("short");
  Put(strPath, std::string(8192, 'q'));
  CLuFile o;
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessRead, eOpenExisting, true));
  if (!o.bIsDirectIO()) GTEST_SKIP() << "/tmp refuses O_DIRECT";
  uint32_t const nLength = CLuFile::kDirectChunkSize + 8192;
  std::vector<unsigned char> aby(nLength + 8192);
  unsigned char* pby = o.pbyAlignBuffer(aby.data());
  // The 16 MiB chunk returns the 8192 bytes there are; the rest yields 0.
  EXPECT_EQ(o.ipRead(pby, nLength), 8192u);
  EXPECT_EQ(o.n64GetPosition(), 16384u);
  EXPECT_EQ(pby[8191], 'q');
}

// procfs always refuses O_DIRECT (EINVAL), as tmpfs did before Linux 6.6;
// tmpfs on newer kernels accepts it. Reads must work either way.
TEST_F(FileTest, RefusedUncachedOpenFallsBackToCachedReads) {
  CLuFile o;
  ASSERT_TRUE(o.bOpen("/proc/version", eAccessRead, eOpenExisting, true));
  EXPECT_FALSE(o.bIsDirectIO());
  EXPECT_EQ(o.n64Seek(2, eSeekBegin), 2u);  // no block rule any more
  EXPECT_EQ(Read(&o, 3), "nux");
  std::string const strDir = MakeDir("/dev/shm/lu_file_XXXXXX");
  Put(strDir + "/f", std::string(8192, 't') + "tmpfs bytes");
  ASSERT_TRUE(
      o.bOpen((strDir + "/f").c_str(), eAccessRead, eOpenExisting, true));
  EXPECT_EQ(o.n64Seek(8192, eSeekBegin), 8192u);
  EXPECT_EQ(Read(&o, 20), "tmpfs bytes");
  std::filesystem::remove_all(strDir);
}

TEST_F(FileTest, BadInputsGiveResultsAndNeverHang) {
  std::string const strFifo = Path("fifo");
  ASSERT_EQ(::mkfifo(strFifo.c_str(), 0644), 0);
  struct Case {
    std::string strPath;
    int iAccess;
    bool bOpens;
    uint32_t nRead, nReadAfterSize;  // of 16 requested
  } const aCases[] = {
      {Path("missing"), 0, false, 0, 0},
      {m_strDir, 0, true, 0, 0},
      {m_strDir, 1, false, 0, 0},
      {strFifo, 0, true, 0, 0},
      {strFifo, 1, true, 0, 0},
      {"/dev/null", 0, true, 0, 0},
      // /dev/zero's seeks always land at 0: the stale seek after the size
      // query lands elsewhere, is adopted and transfers nothing, once.
      {"/dev/zero", 0, true, 16, 0},
  };
  for (Case const& c : aCases) {
    SCOPED_TRACE(c.strPath + (c.iAccess ? " read-write" : " read"));
    CLuFile o;
    EXPECT_EQ(o.bOpen(c.strPath.c_str(), static_cast<ELuFileAccess>(c.iAccess),
                      eOpenExisting, false),
              c.bOpens);
    char ac[16];
    EXPECT_EQ(o.ipRead(ac, 16), c.nRead);
    // A folder's "size" is whatever its file system says.
    EXPECT_TRUE(o.n64GetSize() == 0 || c.strPath == m_strDir);
    EXPECT_EQ(o.ipRead(ac, 16), c.nReadAfterSize);
    EXPECT_EQ(o.ipRead(ac, 16), c.nRead);
  }
  std::string const strShrinks = Path("shrinks");
  Put(strShrinks, std::string(10000, 's'));
  CLuFile o;
  ASSERT_TRUE(o.bOpen(strShrinks.c_str(), eAccessRead, eOpenExisting, false));
  EXPECT_EQ(o.n64GetSize(), 10000u);
  ASSERT_EQ(::truncate(strShrinks.c_str(), 100), 0);
  std::vector<char> ac(10000);
  EXPECT_EQ(o.ipRead(ac.data(), 10000), 100u);
  EXPECT_EQ(o.ipRead(ac.data(), 10000), 0u);
  CLuFile oClosed;
  EXPECT_EQ(oClosed.ipWrite("x", 1), 0u);
}

TEST_F(FileTest, AlignPadsWithZerosToWholeBlocks) {
  for (size_t nSize : {10000, 16384, 0, 1}) {
    SCOPED_TRACE(nSize);
    size_t const nAfter = (nSize + 8191) / 8192 * 8192;
    std::string const strPath = Path("align");
    Put(strPath, std::string(nSize, 'd'));
    CLuFile o;
    ASSERT_TRUE(
        o.bOpen(strPath.c_str(), eAccessReadWrite, eOpenExisting, false));
    EXPECT_TRUE(o.bAlign());
    EXPECT_TRUE(o.bAlign());  // the size is tracked: nothing more to write
    EXPECT_EQ(Get(strPath),
              std::string(nSize, 'd') + std::string(nAfter - nSize, '\0'));
  }
}

TEST_F(FileTest, StringsAreWrittenWithLfAndReadLineByLine) {
  std::string const strPath = Path("text");
  CLuFile o;
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessReadWrite, eCreateAlways, false));
  EXPECT_TRUE(o.bWriteString("a\r\nb\rc", true));
  EXPECT_TRUE(o.bWriteString("", false));
  EXPECT_EQ(Get(strPath), "a\nb\nc\n");
  Put(strPath, "a\r\nb\n\rc");
  ASSERT_TRUE(o.bOpen(strPath.c_str(), eAccessRead, eOpenExisting, false));
  CLuString str("old");
  EXPECT_TRUE(o.bReadString(&str, false));
  EXPECT_STREQ(str.pszGetString(), "a\n");
  EXPECT_TRUE(o.bReadString(&str, true));
  EXPECT_STREQ(str.pszGetString(), "b");
  EXPECT_TRUE(o.bReadString(nullptr, true));  // "\r" then "c" at the end
  EXPECT_FALSE(o.bReadString(&str, true));
  EXPECT_STREQ(str.pszGetString(), "");
}

TEST(ThreadSafeByteFifo, GrowsInStepsOf512AndFillsFreedBytes) {
  CLuThreadSafeByteFifo oFifo;
  EXPECT_EQ(oFifo.nGetCapacity(), 4096u);
  std::vector<unsigned char> aby(5000);
  for (size_t i = 0; i < aby.size(); ++i) aby[i] = static_cast<uint8_t>(i);
  oFifo.Append(aby.data(), 5000);
  EXPECT_EQ(oFifo.nGetCapacity(), 5120u);
  EXPECT_TRUE(oFifo.bHasData());
  oFifo.Remove(1000);
  EXPECT_EQ(oFifo.nGetCount(), 4000u);
  EXPECT_EQ(oFifo.byGetValueAt(0), 1000 % 256);
  EXPECT_EQ(oFifo.byGetValueAt(3999), 4999 % 256);
  EXPECT_EQ(oFifo.byGetValueAt(4000), 0);
  for (uint32_t i = 4000; i < 5120; ++i) ASSERT_EQ(oFifo.pbyGetData()[i], 0xFC);
  ASSERT_TRUE(oFifo.poGetLock()->bAcquire(0));
  oFifo.DoRemove(99999);
  oFifo.poGetLock()->Release();
  EXPECT_EQ(oFifo.nGetCount(), 0u);
  EXPECT_FALSE(oFifo.bHasData());
  EXPECT_EQ(oFifo.pbyGetData()[0], 0xFC);
}

TEST(PosixFile, DestructorClosesTheStream) {
  FILE* po = std::tmpfile();
  int const fd = fileno(po);
  { CLuPosixFile o(po); }
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
  CLuPosixFile o;
  EXPECT_FALSE(o.bOpen("/nonexistent/x", "rb"));
  EXPECT_TRUE(o.bOpen("/dev/null", "rb"));
  std::fclose(o.poDetach());
  EXPECT_EQ(o.poGetStream(), nullptr);
}

class CTestSink : public CLuByteSink {
 public:
  CTestSink() { bAddTypeID(nTypeID()); }
  static uint32_t nTypeID() {
    static uint32_t const s_nID = nNextTypeID();
    return s_nID;
  }
  uint32_t ipWrite(const void*, uint32_t n) override { return n; }
};

TEST(RunTimeTypeInfo, ObjectsCarryTheirChainOfIdentifiers) {
  CLuFile o;
  ASSERT_EQ(o.nGetTypeIDCount(), 3u);
  EXPECT_EQ(o.nGetTypeIDAt(0), CLuRunTimeTypeInfo::nTypeID());
  EXPECT_EQ(o.nGetTypeIDAt(1), CLuByteSink::nTypeID());
  EXPECT_EQ(o.nGetTypeIDAt(2), CLuFile::nTypeID());
  EXPECT_EQ(o.nGetTypeIDAt(3), 4294967295u);
  // A class first asked by racing threads still gets one identifier.
  std::vector<uint32_t> an(8);
  std::vector<std::thread> ao;
  for (uint32_t& n : an) ao.emplace_back([&n] { n = CTestSink::nTypeID(); });
  for (std::thread& t : ao) t.join();
  for (uint32_t n : an) EXPECT_EQ(n, an[0]);
  CTestSink oSink;
  EXPECT_TRUE(oSink.bIsKindOf(CTestSink::nTypeID()));
  EXPECT_TRUE(oSink.bIsKindOf(CLuByteSink::nTypeID()));
  EXPECT_FALSE(oSink.bIsKindOf(CLuFile::nTypeID()));
  EXPECT_STREQ(oSink.strFileName().pszGetString(), "");
}

}  // namespace
