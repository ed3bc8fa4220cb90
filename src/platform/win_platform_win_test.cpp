// The Windows backend against the real system (under Wine in the cross
// build): the error codes the core decides on, semaphore rules, the registry
// as the compatibility-flag code uses it, and the RSA chain. Child exit codes,
// resources and the mutex gate are proven by every end-to-end run.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "log_public_key.h"
#include "platform/platform.h"
#include "platform/unicode.h"

namespace platform {
namespace {

std::u16string Decimal(uint32_t value) { return Utf8ToUtf16(std::to_string(value)); }

TEST(WinPlatformTest, FailuresCarryTheWindowsErrorCodes) {
  Platform& p = Native();
  std::u16string root;
  ASSERT_TRUE(p.GetEnv(u"TEMP", &root));
  root += u"\\orvane_win_test_" + Decimal(p.ProcessId());
  ASSERT_EQ(p.MakeDirectoryTree(root + u"\\full"), 0);
  const char16_t* files[] = {u"\\a.txt", u"\\b.txt", u"\\full\\x.txt"};
  for (const char16_t* name : files) std::fclose(p.OpenStream(root + name, "wb"));

  auto run = [&](auto call) {
    p.SetLastErrorCode(0);
    const bool ok = call();
    return std::make_pair(ok, p.LastError());
  };
  ProcessInfo info;
  const uint8_t* data = nullptr;
  const struct {
    const char* what;
    std::pair<bool, uint32_t> got;
    uint32_t error;
  } rows[] = {
      {"delete missing file", run([&] { return p.DeleteOneFile(root + u"\\none.txt"); }), kErrorFileNotFound},
      {"delete in missing dir", run([&] { return p.DeleteOneFile(root + u"\\no\\x.txt"); }), kErrorPathNotFound},
      {"remove non-empty dir", run([&] { return p.RemoveOneDirectory(root + u"\\full"); }), kErrorDirNotEmpty},
      {"move onto existing", run([&] { return p.MovePath(root + files[0], root + files[1], 0); }),
       kErrorAlreadyExists},
      {"open missing file", run([&] { return p.OpenStream(root + u"\\none.txt", "rb") != nullptr; }),
       kErrorFileNotFound},
      {"start missing program", run([&] { return p.StartProcess(u"\"" + root + u"\\none.exe\" x", u"", &info); }),
       kErrorFileNotFound},
      {"missing resource", run([&] { return p.ReadResource(999, u"BIN", &data) != 0; }), kErrorResourceNameNotFound},
      {"missing resource type", run([&] { return p.ReadResource(104, u"NOSUCHTYPE", &data) != 0; }),
       kErrorResourceTypeNotFound},
      {"close null handle", run([&] { return p.CloseObject(nullptr); }), kErrorInvalidHandle},
  };
  EXPECT_EQ(p.MakeDirectoryTree(root + u"\\full"), static_cast<int32_t>(kErrorAlreadyExists));
  EXPECT_EQ(info.process, nullptr);
  for (const char16_t* name : files) p.DeleteOneFile(root + name);
  p.RemoveOneDirectory(root + u"\\full");
  EXPECT_TRUE(p.RemoveOneDirectory(root));
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    EXPECT_EQ(rows[i].got, std::make_pair(false, rows[i].error)) << i << ": " << rows[i].what;
  }
}

TEST(WinPlatformTest, SemaphoreMaximumAndLifetime) {
  Platform& p = Native();
  const std::u16string name = u"orvane-test-semaphore-" + Decimal(p.ProcessId());
  EXPECT_EQ(p.OpenSemaphoreByName(2, name), nullptr);
  EXPECT_EQ(p.LastError(), kErrorFileNotFound);
  Handle waiter = p.NewSemaphore(name, 0, 1);
  ASSERT_NE(waiter, nullptr);
  Handle signaller = p.OpenSemaphoreByName(2, name);
  ASSERT_NE(signaller, nullptr);
  int32_t previous = -1;
  EXPECT_TRUE(p.ReleaseSem(signaller, 1, &previous));
  EXPECT_EQ(previous, 0);
  EXPECT_FALSE(p.ReleaseSem(signaller, 1, &previous)) << "above the maximum of 1";
  EXPECT_EQ(p.LastError(), kErrorTooManyPosts);
  EXPECT_EQ(p.WaitOne(waiter, 1000), kWaitObject0);
  EXPECT_EQ(p.WaitOne(waiter, 10), kWaitTimeout);
  EXPECT_TRUE(p.CloseObject(signaller));
  EXPECT_TRUE(p.CloseObject(waiter));
  EXPECT_EQ(p.OpenSemaphoreByName(2, name), nullptr) << "gone with the last handle";
}

// Value names are full paths with backslashes; an absent key or value reads
// as 2 and a value larger than the buffer as ERROR_MORE_DATA.
TEST(WinPlatformTest, RegistryValuesAsTheCompatibilityFlagsUseThem) {
  Platform& p = Native();
  const std::u16string key = u"Software\\OrvaneTest\\" + Decimal(p.ProcessId());
  const std::u16string value = u"C:\\x\\Orvane.exe";
  RegKey opened = nullptr;
  EXPECT_EQ(p.OpenKey(Hive::kCurrentUser, key + u"\\absent", kKeyReadWrite, &opened),
            static_cast<int32_t>(kErrorFileNotFound));
  const std::vector<uint8_t> text = {'W', 0, 'I', 0, 'N', 0, '8', 0}, one = {1, 0, 0, 0};
  ASSERT_EQ(p.ShSetValue(Hive::kCurrentUser, key, value, kRegSz, text), 0);
  uint32_t type = 0;
  std::vector<uint8_t> read;
  ASSERT_EQ(p.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 20482), 0);
  EXPECT_EQ(type, kRegSz);
  ASSERT_GE(read.size(), text.size());
  EXPECT_EQ(std::vector<uint8_t>(read.begin(), read.begin() + text.size()), text);
  EXPECT_EQ(p.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 4), static_cast<int32_t>(kErrorMoreData));

  ASSERT_EQ(p.OpenKey(Hive::kCurrentUser, key, kKeyReadWrite, &opened), 0);
  EXPECT_EQ(p.SetValue(opened, value, kRegDword, one), 0);
  EXPECT_EQ(p.CloseKey(opened), 0);
  ASSERT_EQ(p.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 4), 0);
  EXPECT_EQ(type, kRegDword);
  EXPECT_EQ(read, one);
  EXPECT_EQ(p.ShDeleteValue(Hive::kCurrentUser, key, value), 0);
  EXPECT_EQ(p.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 4), static_cast<int32_t>(kErrorFileNotFound));
}

// The RSA chain with the product's log key, up to raw RSA. Windows encrypts
// the block; Wine's provider has no raw RSA and refuses with
// STATUS_NOT_IMPLEMENTED, which sends the log encoder down its failure road.
TEST(WinPlatformTest, RsaChainUpToRawEncryption) {
  Platform& p = Native();
  uint32_t derSize = 0;
  EXPECT_FALSE(p.PemToDer("not a key", nullptr, &derSize));
  ASSERT_TRUE(p.PemToDer(kLogPublicKeyPem, nullptr, &derSize));
  std::vector<uint8_t> der(derSize);
  ASSERT_TRUE(p.PemToDer(kLogPublicKeyPem, der.data(), &derSize));

  uint32_t blobSize = 0;
  ASSERT_TRUE(p.DecodeRsaPublicKey(der.data(), derSize, nullptr, &blobSize));
  std::vector<uint8_t> blob(blobSize);
  ASSERT_TRUE(p.DecodeRsaPublicKey(der.data(), derSize, blob.data(), &blobSize));
  // "RSA1", 512 bits, 1-byte exponent, 64-byte modulus.
  ASSERT_EQ(blobSize, 24u + 1u + 64u);
  const uint8_t header[16] = {'R', 'S', 'A', '1', 0, 2, 0, 0, 1, 0, 0, 0, 64, 0, 0, 0};
  EXPECT_EQ(std::memcmp(blob.data(), header, sizeof header), 0);

  CryptoHandle provider = nullptr, key = nullptr;
  ASSERT_EQ(p.OpenRsaProvider(&provider), 0);
  ASSERT_EQ(p.ImportRsaPublicKey(provider, blob.data(), blobSize, &key), 0);
  const uint8_t span[] = "C:\\Users\\someone\\AppData";
  uint32_t blockSize = 0;
  ASSERT_EQ(p.RsaEncrypt(key, span, sizeof span - 1, nullptr, 0, &blockSize, kBcryptPadPkcs1), 0);
  EXPECT_EQ(blockSize, 64u);

  std::vector<uint8_t> block(64, 0), out(64, 0);
  std::memcpy(block.data(), span, sizeof span - 1);
  uint32_t written = 0;
  const uint32_t status =
      static_cast<uint32_t>(p.RsaEncrypt(key, block.data(), 64, out.data(), 64, &written, kBcryptPadNone));
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
}

}  // namespace
}  // namespace platform
