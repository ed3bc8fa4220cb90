#include "toolkit/file_md5.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/crypto/fake_hashing.h"
#include "toolkit/toolkit_test_support.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

namespace fs = std::filesystem;
using Utils::kMd5ReadBufferBytes;

// Bytes that no run of equal values or period of a buffer's length hides: a
// xorshift stream, so a digest over the wrong bytes or a lost buffer shows.
void WritePattern(const fs::path& path, uint64_t size) {
  std::ofstream out(path, std::ios::binary);
  uint64_t state = 0x9E3779B97F4A7C15ull ^ size;
  std::vector<char> block(1 << 20);
  for (uint64_t done = 0; done < size;) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(block.size(), size - done));
    for (size_t i = 0; i < n; ++i) {
      state ^= state << 13, state ^= state >> 7, state ^= state << 17;
      block[i] = static_cast<char>(state >> 24);
    }
    out.write(block.data(), static_cast<std::streamsize>(n));
    done += n;
  }
}

// The digest by the system's md5sum, the file given as its standard input.
// Under Wine the Linux program is started from the Windows side: Wine runs a
// file that is no Windows executable as a Unix process, with the handles it
// is given as its standard streams (but hands back no process handle).
std::u16string Md5sum(const fs::path& path) {
  std::string out;
#ifdef _WIN32
  SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
  HANDLE input = ::CreateFileW(path.wstring().c_str(), GENERIC_READ, FILE_SHARE_READ, &inherit, OPEN_EXISTING, 0, nullptr);
  const fs::path outPath = path.string() + ".md5sum";
  HANDLE output = ::CreateFileW(outPath.wstring().c_str(), GENERIC_WRITE, 0, &inherit, CREATE_ALWAYS, 0, nullptr);
  if (input == INVALID_HANDLE_VALUE || output == INVALID_HANDLE_VALUE) return u"(cannot open for md5sum)";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input;
  startup.hStdOutput = output;
  startup.hStdError = output;
  PROCESS_INFORMATION info{};
  wchar_t line[] = L"Z:\\usr\\bin\\md5sum";
  const BOOL started = ::CreateProcessW(nullptr, line, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info);
  ::CloseHandle(input);
  ::CloseHandle(output);
  if (!started) return u"(md5sum did not start: " + orvane_test::Wide(std::to_string(::GetLastError())) + u")";
  // Wine hands back no handle of a Unix process: its line in the file is
  // the sign that it is done.
  if (info.hProcess != nullptr) {
    ::WaitForSingleObject(info.hProcess, INFINITE);
    ::CloseHandle(info.hThread);
    ::CloseHandle(info.hProcess);
  }
  for (int waited = 0; (out = orvane_test::ReadFileBytes(outPath)).find('\n') == std::string::npos && waited < 60000;
       waited += 10) {
    ::Sleep(10);
  }
#else
  const std::string command = "md5sum < '" + path.string() + "'";
  if (std::FILE* pipe = ::popen(command.c_str(), "r")) {
    char buffer[256];
    while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) out += buffer;
    ::pclose(pipe);
  }
#endif
  return orvane_test::Wide(out.substr(0, out.find(' ')));
}

class FileMd5Test : public orvane_test::OpenLogTest {
 protected:
  platform::FakeHashing hashing;
};

// Against md5sum on the sizes where a streamed read goes wrong: nothing, one
// buffer exactly, one byte into a second buffer, and a large file. Every
// read but the last fills the whole buffer: memory does not grow with the file.
TEST_F(FileMd5Test, MatchesMd5sum) {
  const uint64_t sizes[] = {0, 1, kMd5ReadBufferBytes, kMd5ReadBufferBytes + 1, 40ull * 1024 * 1024 + 7};
  for (const uint64_t size : sizes) {
    SCOPED_TRACE("size " + std::to_string(size));
    const fs::path file = temp.path() / ("data-" + std::to_string(size));
    WritePattern(file, size);
    hashing.dataSizes.clear();

    std::u16string md5 = u"stale";
    ASSERT_TRUE(Utils::GetFileMd5(temp.core() + u"\\data-" + orvane_test::Wide(std::to_string(size)), &md5));
    EXPECT_EQ(md5.size(), 32u);
    EXPECT_EQ(md5, Md5sum(file));

    std::vector<uint32_t> expected(size / kMd5ReadBufferBytes, kMd5ReadBufferBytes);
    if (size % kMd5ReadBufferBytes != 0) expected.push_back(static_cast<uint32_t>(size % kMd5ReadBufferBytes));
    EXPECT_EQ(hashing.dataSizes, expected);
    EXPECT_EQ(hashing.liveHandles, 0);
    fs::remove(file);
  }
}

// Every road that fails leaves no digest, releases what it opened and names
// its step in the log.
TEST_F(FileMd5Test, FailuresGiveNoDigest) {
  orvane_test::WriteBytes(temp.path() / "f.bin", std::string(kMd5ReadBufferBytes + 3, 'x'));
  fs::create_directories(temp.path() / "dir");
  constexpr int32_t kBroken = static_cast<int32_t>(0xC0000001u);
  struct Row {
    const char* what; const char16_t* file; const char* failingStep; const char* logged;
  } rows[] = {
      {"missing file", u"gone.bin", nullptr, "failed, error=2"},
      {"a directory", u"dir", nullptr, "failed, error=5"},
      {"provider", u"f.bin", "OpenMd5Provider", "BCryptOpenAlgorithmProvider failed: c0000001"},
      {"hash object", u"f.bin", "CreateHash", "BCryptCreateHash failed: c0000001"},
      {"data", u"f.bin", "HashData", "BCryptHashData failed: c0000001"},
      {"finish", u"f.bin", "FinishHash", "BCryptFinishHash failed: c0000001"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    hashing.failures.clear();
    if (row.failingStep != nullptr) hashing.failures[row.failingStep] = kBroken;
    const size_t before = LogText().size();
    std::u16string md5 = u"stale";
    EXPECT_FALSE(Utils::GetFileMd5(temp.core() + u"\\" + row.file, &md5));
    EXPECT_EQ(md5, u"");
    EXPECT_EQ(hashing.liveHandles, 0);
    const std::string log = LogText().substr(before);
    EXPECT_NE(log.find(std::string("[ERRO]")), std::string::npos) << log;
    EXPECT_NE(log.find(row.logged), std::string::npos) << log;
  }
}

}  // namespace
