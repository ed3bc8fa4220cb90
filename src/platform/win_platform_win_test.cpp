// The Windows backend against the real system (under Wine in the cross
// build): error codes of the file calls, named kernel objects, child
// processes and their full 32-bit exit codes, the executable's own
// resources, the registry and the RSA chain.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "log_public_key.h"
#include "platform/platform.h"
#include "platform/unicode.h"

namespace platform {
namespace {

std::string Narrow(const std::u16string& text) { return Utf16ToUtf8(text); }

std::u16string Decimal(uint32_t value) { return Utf8ToUtf16(std::to_string(value)); }

bool EndsWithIgnoringCase(const std::u16string& text, const std::u16string& tail) {
  if (tail.size() > text.size()) return false;
  for (size_t i = 0; i < tail.size(); ++i) {
    char16_t a = text[text.size() - tail.size() + i];
    char16_t b = tail[i];
    if (a >= u'A' && a <= u'Z') a = static_cast<char16_t>(a + 32);
    if (b >= u'A' && b <= u'Z') b = static_cast<char16_t>(b + 32);
    if (a != b) return false;
  }
  return true;
}

// A fresh directory below %TEMP% for one test, removed with its files.
class WinFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::u16string temp;
    ASSERT_TRUE(p_.GetEnv(u"TEMP", &temp));
    root_ = temp + u"\\orvane_win_test_" + Decimal(p_.ProcessId());
    ASSERT_EQ(p_.MakeDirectoryTree(root_), 0);
  }
  void TearDown() override { RemoveTree(root_); }

  void RemoveTree(const std::u16string& dir) {
    std::vector<DirEntry> entries;
    if (!p_.FindEntries(dir + u"\\*", &entries)) return;
    for (const DirEntry& e : entries) {
      if (e.name == u"." || e.name == u"..") continue;
      if (e.attributes & kFileAttributeDirectory) {
        RemoveTree(dir + u"\\" + e.name);
      } else {
        p_.DeleteOneFile(dir + u"\\" + e.name);
      }
    }
    p_.RemoveOneDirectory(dir);
  }

  void WriteFile(const std::u16string& path, const char* text) {
    std::FILE* f = p_.OpenStream(path, "wb");
    ASSERT_NE(f, nullptr);
    std::fputs(text, f);
    std::fclose(f);
  }

  Platform& p_ = Native();
  std::u16string root_;
};

// Each failing call answers with the code the core logs and decides on.
TEST_F(WinFilesTest, FailuresCarryTheWindowsErrorCodes) {
  WriteFile(root_ + u"\\file.txt", "x");
  WriteFile(root_ + u"\\other.txt", "y");
  ASSERT_EQ(p_.MakeDirectoryTree(root_ + u"\\full\\deeper"), 0);
  WriteFile(root_ + u"\\full\\deeper\\inner.txt", "z");

  struct Row {
    const char* what;
    bool (*call)(Platform&, const std::u16string&);
    std::u16string arg;
    uint32_t error;
  };
  const Row rows[] = {
      {"delete missing file", [](Platform& p, const std::u16string& a) { return p.DeleteOneFile(a); },
       root_ + u"\\missing.txt", kErrorFileNotFound},
      {"delete in missing dir", [](Platform& p, const std::u16string& a) { return p.DeleteOneFile(a); },
       root_ + u"\\nodir\\x.txt", kErrorPathNotFound},
      {"remove non-empty dir", [](Platform& p, const std::u16string& a) { return p.RemoveOneDirectory(a); },
       root_ + u"\\full", kErrorDirNotEmpty},
      {"move onto existing file",
       [](Platform& p, const std::u16string& a) { return p.MovePath(a + u"\\file.txt", a + u"\\other.txt", 0); },
       root_, kErrorAlreadyExists},
      {"rename onto existing file, write-through",
       [](Platform& p, const std::u16string& a) {
         return p.MovePath(a + u"\\file.txt", a + u"\\other.txt", kMoveFileWriteThrough);
       },
       root_, kErrorAlreadyExists},
      {"move missing source",
       [](Platform& p, const std::u16string& a) { return p.MovePath(a + u"\\nope", a + u"\\nope2", 0); }, root_,
       kErrorFileNotFound},
      {"enumerate missing dir",
       [](Platform& p, const std::u16string& a) {
         std::vector<DirEntry> e;
         return p.FindEntries(a + u"\\*", &e);
       },
       root_ + u"\\nodir", kErrorPathNotFound},
      {"open missing file",
       [](Platform& p, const std::u16string& a) { return p.OpenStream(a, "rb") != nullptr; },
       root_ + u"\\missing.txt", kErrorFileNotFound},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const Row& row = rows[i];
    p_.SetLastErrorCode(0);
    EXPECT_FALSE(row.call(p_, row.arg)) << i << ": " << row.what;
    EXPECT_EQ(p_.LastError(), row.error) << i << ": " << row.what;
  }

  EXPECT_EQ(p_.MakeDirectoryTree(root_ + u"\\full"), static_cast<int32_t>(kErrorAlreadyExists));
  p_.SetLastErrorCode(0);
  EXPECT_EQ(p_.GetAttributes(root_ + u"\\missing.txt"), 0xFFFFFFFFu);
  EXPECT_EQ(p_.LastError(), kErrorFileNotFound);
}

TEST_F(WinFilesTest, MovesReplaceAndEnumerate) {
  WriteFile(root_ + u"\\a.txt", "a");
  WriteFile(root_ + u"\\b.txt", "b");
  ASSERT_TRUE(p_.MovePath(root_ + u"\\a.txt", root_ + u"\\b.txt", kMoveFileReplaceExisting));
  EXPECT_FALSE(p_.PathExists(root_ + u"\\a.txt"));
  // Names differ only in case: the same file.
  EXPECT_TRUE(p_.PathExists(root_ + u"\\B.TXT"));
  EXPECT_FALSE(p_.PathIsDir(root_ + u"\\b.txt"));

  ASSERT_EQ(p_.MakeDirectoryTree(root_ + u"\\1.2.3\\x"), 0);
  ASSERT_TRUE(p_.MovePath(root_ + u"\\1.2.3", root_ + u"\\app", 0));
  EXPECT_TRUE(p_.PathIsDir(root_ + u"\\app\\x"));

  std::vector<DirEntry> entries;
  ASSERT_TRUE(p_.FindEntries(root_ + u"\\*", &entries));
  std::vector<std::string> names;
  for (const DirEntry& e : entries) {
    names.push_back(Narrow(e.name) + ((e.attributes & kFileAttributeDirectory) ? "/" : ""));
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"../", "./", "app/", "b.txt"}));
}

TEST(WinPlatformTest, MutexReportsAnExistingOneWith183) {
  Platform& p = Native();
  const std::u16string name = u"orvane-test-mutex-" + Decimal(p.ProcessId());
  p.SetLastErrorCode(1234);
  Handle first = p.NewMutex(name, true);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(p.LastError(), 0u) << "a new mutex clears the last error";
  Handle second = p.NewMutex(name, true);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(p.LastError(), kErrorAlreadyExists);
  EXPECT_TRUE(p.CloseObject(second));
  EXPECT_TRUE(p.CloseObject(first));
  // Once every handle is closed the name is free again.
  Handle third = p.NewMutex(name, false);
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(p.LastError(), 0u);
  EXPECT_TRUE(p.CloseObject(third));

  p.SetLastErrorCode(0);
  EXPECT_FALSE(p.CloseObject(nullptr));
  EXPECT_EQ(p.LastError(), kErrorInvalidHandle);
}

TEST(WinPlatformTest, SemaphoreOpensReleasesAndWaits) {
  Platform& p = Native();
  const std::u16string name = u"orvane-test-semaphore-" + Decimal(p.ProcessId());
  p.SetLastErrorCode(0);
  EXPECT_EQ(p.OpenSemaphoreByName(2, name), nullptr);
  EXPECT_EQ(p.LastError(), kErrorFileNotFound);

  Handle waiter = p.NewSemaphore(name, 0, 1);
  ASSERT_NE(waiter, nullptr);
  EXPECT_EQ(p.WaitOne(waiter, 0), kWaitTimeout);

  Handle signaller = p.OpenSemaphoreByName(2, name);
  ASSERT_NE(signaller, nullptr);
  int32_t previous = -1;
  EXPECT_TRUE(p.ReleaseSem(signaller, 1, &previous));
  EXPECT_EQ(previous, 0);
  // The maximum is 1: a second release while the count is 1 fails.
  EXPECT_FALSE(p.ReleaseSem(signaller, 1, &previous));
  EXPECT_EQ(p.LastError(), kErrorTooManyPosts);

  EXPECT_EQ(p.WaitOne(waiter, 1000), kWaitObject0);
  EXPECT_EQ(p.WaitOne(waiter, 10), kWaitTimeout);
  EXPECT_TRUE(p.CloseObject(signaller));
  EXPECT_TRUE(p.CloseObject(waiter));
  // The semaphore exists only while a handle is open.
  EXPECT_EQ(p.OpenSemaphoreByName(2, name), nullptr);
}

// Child side of the process tests: this very executable, started with a
// filter that runs only this test. It exits with the code, or sleeps, as
// the environment asks.
TEST(WinChildProcess, DISABLED_ExitAsAsked) {
  const char* code = std::getenv("ORVANE_TEST_CHILD_EXIT");
  const char* sleep = std::getenv("ORVANE_TEST_CHILD_SLEEP_MS");
  if (sleep != nullptr) Native().SleepMs(static_cast<uint32_t>(std::strtoul(sleep, nullptr, 10)));
  std::exit(code != nullptr ? static_cast<int>(std::strtoll(code, nullptr, 0)) : 0);
}

std::u16string ChildCommandLine() {
  return u"\"" + Native().ModuleFilePath() +
         u"\" --gtest_filter=WinChildProcess.DISABLED_ExitAsAsked --gtest_also_run_disabled_tests";
}

TEST(WinPlatformTest, ChildExitCodeKeepsAll32Bits) {
  Platform& p = Native();
  struct Row {
    const char16_t* exitText;
    uint32_t expected;
  };
  const Row rows[] = {
      {u"0", 0u},
      {u"-16", 0xFFFFFFF0u},
      {u"-1", 0xFFFFFFFFu},
      {u"0x12345678", 0x12345678u},
  };
  for (const Row& row : rows) {
    const std::u16string text = row.exitText;
    ASSERT_TRUE(p.SetEnv(u"ORVANE_TEST_CHILD_EXIT", &text));
    ProcessInfo info;
    ASSERT_TRUE(p.StartProcess(ChildCommandLine(), u"", &info)) << Narrow(text) << " error " << p.LastError();
    EXPECT_NE(info.pid, 0u);
    ASSERT_EQ(p.WaitOne(info.process, 60000), kWaitObject0) << Narrow(text);
    uint32_t code = 0;
    ASSERT_TRUE(p.ExitCodeOf(info.process, &code));
    EXPECT_EQ(code, row.expected) << Narrow(text);
    EXPECT_TRUE(p.CloseObject(info.process));
    EXPECT_TRUE(p.CloseObject(info.thread));
  }
  p.SetEnv(u"ORVANE_TEST_CHILD_EXIT", nullptr);
}

TEST(WinPlatformTest, RunningChildIsInTheSnapshotAndCanBeTerminated) {
  Platform& p = Native();
  const std::u16string sleep = u"60000";
  ASSERT_TRUE(p.SetEnv(u"ORVANE_TEST_CHILD_SLEEP_MS", &sleep));
  ProcessInfo info;
  ASSERT_TRUE(p.StartProcess(ChildCommandLine(), u"", &info));
  p.SetEnv(u"ORVANE_TEST_CHILD_SLEEP_MS", nullptr);

  uint32_t code = 0;
  ASSERT_TRUE(p.ExitCodeOf(info.process, &code));
  EXPECT_EQ(code, 259u) << "STILL_ACTIVE while running";

  std::vector<ProcessEntry> entries;
  ASSERT_TRUE(p.SnapshotProcesses(&entries));
  const std::u16string self = p.ModuleFilePath();
  bool sawSelf = false;
  bool sawChild = false;
  for (const ProcessEntry& e : entries) {
    if (e.pid == p.ProcessId()) {
      sawSelf = EndsWithIgnoringCase(self, e.exeFile) && e.exeFile.find(u'\\') == std::u16string::npos;
    }
    if (e.pid == info.pid) {
      sawChild = e.parentPid == p.ProcessId();
    }
  }
  EXPECT_TRUE(sawSelf) << "own entry with the bare file name of " << Narrow(self);
  EXPECT_TRUE(sawChild) << "child entry with this process as parent";

  EXPECT_TRUE(p.Terminate(info.process, 0xC0DE));
  ASSERT_EQ(p.WaitOne(info.process, 10000), kWaitObject0);
  ASSERT_TRUE(p.ExitCodeOf(info.process, &code));
  EXPECT_EQ(code, 0xC0DEu);
  p.CloseObject(info.process);
  p.CloseObject(info.thread);
}

TEST(WinPlatformTest, StartingAMissingExecutableFails) {
  Platform& p = Native();
  std::u16string temp;
  ASSERT_TRUE(p.GetEnv(u"TEMP", &temp));
  ProcessInfo info;
  p.SetLastErrorCode(0);
  EXPECT_FALSE(p.StartProcess(u"\"" + temp + u"\\orvane-no-such-program.exe\" --x", u"", &info));
  EXPECT_EQ(p.LastError(), kErrorFileNotFound);
  EXPECT_EQ(info.process, nullptr);
}

TEST(WinPlatformTest, OwnResourcesArePresent) {
  Platform& p = Native();
  struct Row {
    uint16_t id;
    std::u16string type;
    bool startsWithBom;
  };
  // "#14" is the icon group type by number.
  const Row rows[] = {{104, u"BIN", true}, {110, u"BIN", true}, {102, u"#14", false}};
  for (const Row& row : rows) {
    const uint8_t* data = nullptr;
    int32_t size = p.ReadResource(row.id, row.type, &data);
    ASSERT_GT(size, 3) << row.id;
    ASSERT_NE(data, nullptr) << row.id;
    if (row.startsWithBom) {
      EXPECT_EQ(std::memcmp(data, "\xEF\xBB\xBF", 3), 0) << row.id;
    }
  }

  const uint8_t* data = nullptr;
  p.SetLastErrorCode(0);
  EXPECT_EQ(p.ReadResource(999, u"BIN", &data), 0);
  EXPECT_EQ(p.LastError(), kErrorResourceNameNotFound);
  p.SetLastErrorCode(0);
  EXPECT_EQ(p.ReadResource(104, u"NOSUCHTYPE", &data), 0);
  EXPECT_EQ(p.LastError(), kErrorResourceTypeNotFound);
}

TEST(WinPlatformTest, RegistryValuesRoundTrip) {
  Platform& p = Native();
  const std::u16string key = u"Software\\OrvaneTest\\" + Decimal(p.ProcessId());
  const std::u16string text = u"WIN8RTM HIGHDPIAWARE";
  std::vector<uint8_t> bytes(reinterpret_cast<const uint8_t*>(text.data()),
                             reinterpret_cast<const uint8_t*>(text.data() + text.size()));
  ASSERT_EQ(p.ShSetValue(Hive::kCurrentUser, key, u"C:\\x\\Orvane.exe", kRegSz, bytes), 0);

  uint32_t type = 0;
  std::vector<uint8_t> read;
  ASSERT_EQ(p.ShGetValue(Hive::kCurrentUser, key, u"C:\\x\\Orvane.exe", &type, &read, 20482), 0);
  EXPECT_EQ(type, kRegSz);
  ASSERT_GE(read.size(), bytes.size());
  EXPECT_EQ(std::vector<uint8_t>(read.begin(), read.begin() + bytes.size()), bytes);
  EXPECT_EQ(p.ShGetValue(Hive::kCurrentUser, key, u"C:\\x\\Orvane.exe", &type, &read, 4),
            static_cast<int32_t>(kErrorMoreData));

  RegKey opened = nullptr;
  ASSERT_EQ(p.OpenKey(Hive::kCurrentUser, key, kKeyReadWrite, &opened), 0);
  EXPECT_EQ(p.SetValue(opened, u"C:\\x\\Orvane.exe", kRegDword, {1, 0, 0, 0}), 0);
  EXPECT_EQ(p.CloseKey(opened), 0);
  ASSERT_EQ(p.ShGetValue(Hive::kCurrentUser, key, u"C:\\x\\Orvane.exe", &type, &read, 4), 0);
  EXPECT_EQ(type, kRegDword);
  EXPECT_EQ(read, (std::vector<uint8_t>{1, 0, 0, 0}));

  EXPECT_EQ(p.ShDeleteValue(Hive::kCurrentUser, key, u"C:\\x\\Orvane.exe"), 0);
  EXPECT_EQ(p.ShGetValue(Hive::kCurrentUser, key, u"C:\\x\\Orvane.exe", &type, &read, 4),
            static_cast<int32_t>(kErrorFileNotFound));
  EXPECT_EQ(p.OpenKey(Hive::kCurrentUser, key + u"\\absent", kKeyReadWrite, &opened),
            static_cast<int32_t>(kErrorFileNotFound));
}

// The RSA chain with the product's log key, up to raw RSA. Windows encrypts
// the block; Wine's provider has no raw RSA and refuses with
// STATUS_NOT_IMPLEMENTED, which sends the log encoder down its failure road.
TEST(WinPlatformTest, RsaChainUpToRawEncryption) {
  Platform& p = Native();
  CryptoHandle provider = nullptr;
  ASSERT_EQ(p.OpenRsaProvider(&provider), 0);

  uint32_t derSize = 0;
  ASSERT_TRUE(p.PemToDer(kLogPublicKeyPem, nullptr, &derSize));
  std::vector<uint8_t> der(derSize);
  ASSERT_TRUE(p.PemToDer(kLogPublicKeyPem, der.data(), &derSize));
  ASSERT_EQ(derSize, der.size());
  EXPECT_EQ(der[0], 0x30) << "a DER SEQUENCE";

  uint32_t blobSize = 0;
  ASSERT_TRUE(p.DecodeRsaPublicKey(der.data(), derSize, nullptr, &blobSize));
  uint8_t* blob = static_cast<uint8_t*>(p.HeapAllocate(blobSize));
  ASSERT_NE(blob, nullptr);
  ASSERT_TRUE(p.DecodeRsaPublicKey(der.data(), derSize, blob, &blobSize));
  // BCRYPT_RSAKEY_BLOB: "RSA1", 512 bits, 1-byte exponent, 64-byte modulus.
  ASSERT_EQ(blobSize, 24u + 1u + 64u);
  EXPECT_EQ(std::memcmp(blob, "RSA1", 4), 0);
  uint32_t header[6];
  std::memcpy(header, blob, sizeof header);
  EXPECT_EQ(header[1], 512u);
  EXPECT_EQ(header[2], 1u);
  EXPECT_EQ(header[3], 64u);

  CryptoHandle key = nullptr;
  ASSERT_EQ(p.ImportRsaPublicKey(provider, blob, blobSize, &key), 0);
  p.HeapRelease(blob);

  const uint8_t span[] = "C:\\Users\\someone\\AppData";
  uint32_t blockSize = 0;
  ASSERT_EQ(p.RsaEncrypt(key, span, sizeof span - 1, nullptr, 0, &blockSize, kBcryptPadPkcs1), 0);
  EXPECT_EQ(blockSize, 64u);

  std::vector<uint8_t> block(64, 0);
  std::memcpy(block.data(), span, sizeof span - 1);
  std::vector<uint8_t> out(64, 0);
  uint32_t written = 0;
  const uint32_t status = static_cast<uint32_t>(
      p.RsaEncrypt(key, block.data(), 64, out.data(), static_cast<uint32_t>(out.size()), &written, kBcryptPadNone));
  char statusText[16];
  std::snprintf(statusText, sizeof statusText, "0x%08X", status);
  RecordProperty("raw_rsa_status", statusText);
  if (status == kStatusSuccess) {
    EXPECT_EQ(written, 64u);
    EXPECT_NE(out, block);
  } else {
    EXPECT_EQ(status, kStatusNotImplemented);
  }

  EXPECT_EQ(p.DestroyKey(key), 0);
  EXPECT_EQ(p.CloseProvider(provider), 0);

  // A text with no PEM markers is refused at the first step.
  derSize = 0;
  EXPECT_FALSE(p.PemToDer("not a key", nullptr, &derSize));
}

TEST(WinPlatformTest, TextEnvironmentAndClock) {
  Platform& p = Native();
  const std::string utf8("a\0\xE2\x82\xAC", 5);
  const std::u16string wide(u"a\0\u20ac", 3);
  EXPECT_EQ(p.CodePageToWide(utf8, 65001), wide);
  EXPECT_EQ(p.WideToCodePage(wide, 65001), utf8);
  EXPECT_EQ(p.CodePageToWide("", 0), u"");

  std::u16string message;
  ASSERT_TRUE(p.SystemErrorText(kErrorFileNotFound, &message));
  EXPECT_TRUE(EndsWithIgnoringCase(message, u"\r\n")) << Narrow(message);
  EXPECT_FALSE(p.SystemErrorText(0x2FFFFFFFu, &message));

  const std::u16string value = u"v\u00e9";
  const std::u16string empty;
  std::u16string read;
  ASSERT_TRUE(p.SetEnv(u"ORVANE_TEST_VAR", &value));
  ASSERT_TRUE(p.GetEnv(u"ORVANE_TEST_VAR", &read));
  EXPECT_EQ(read, value);
  const std::u16string longValue(1000, u'x');
  ASSERT_TRUE(p.SetEnv(u"ORVANE_TEST_VAR", &longValue));
  ASSERT_TRUE(p.GetEnv(u"ORVANE_TEST_VAR", &read));
  EXPECT_EQ(read, longValue);
  ASSERT_TRUE(p.SetEnv(u"ORVANE_TEST_VAR", nullptr));
  EXPECT_FALSE(p.GetEnv(u"ORVANE_TEST_VAR", &read));

  EXPECT_TRUE(EndsWithIgnoringCase(p.ModuleFilePath(), u"platform_tests.exe")) << Narrow(p.ModuleFilePath());
  EXPECT_TRUE(p.VersionAtLeast(6, 1, 0));
  EXPECT_FALSE(p.VersionAtLeast(99, 0, 0));
  EXPECT_EQ(p.RestrictDllSearchToSystem32(), 1);

  const uint64_t before = p.MonotonicNs();
  p.SleepMs(30);
  EXPECT_GE(p.MonotonicNs() - before, 25000000u);
  LocalTimeParts parts;
  ASSERT_TRUE(p.ToLocalTime(static_cast<int64_t>(p.NowMs() / 1000), &parts));
  EXPECT_GE(parts.year, 2024);
  EXPECT_TRUE(parts.month >= 1 && parts.month <= 12);
}

}  // namespace
}  // namespace platform
