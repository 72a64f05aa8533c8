#pragma once
// Test-only fixture shared by the files/ tests: a fresh folder under /tmp (a
// disk file system, so direct I/O is accepted) for each test, removed
// afterwards, with helpers to write and read whole files in it.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override { m_strRoot = MakeDir("/tmp/lu_files_XXXXXX"); }
  void TearDown() override { std::filesystem::remove_all(m_strRoot); }
  // A new folder named after strTemplate (ending in "XXXXXX").
  static std::string MakeDir(std::string strTemplate) {
    return ::mkdtemp(&strTemplate[0]) ? strTemplate : "/nonexistent";
  }
  std::string P(std::string const& strName) const {
    return m_strRoot + "/" + strName;
  }
  static void Write(std::string const& strPath, std::string const& strBytes) {
    std::ofstream(strPath, std::ios::binary) << strBytes;
  }
  static std::string Read(std::string const& strPath) {
    std::ifstream oIn(strPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(oIn), {});
  }
  std::string m_strRoot;
};
