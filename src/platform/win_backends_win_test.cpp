// The Windows backend against the real system (under Wine in the cross
// build): the error codes the core decides on and the registry as the
// compatibility-flag code uses it. Child exit codes, resources, the mutex and
// semaphore of the gate and the RSA chain up to the refused raw block are
// proven by the end-to-end runs.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/processes/processes.h"
#include "platform/registry/registry.h"
#include "platform/system/environment.h"
#include "platform/system/resources.h"
#include "platform/text/unicode.h"

namespace platform {
namespace {

std::u16string Decimal(uint32_t value) { return Utf8ToUtf16(std::to_string(value)); }

TEST(WinBackendsTest, FailuresCarryTheWindowsErrorCodes) {
  auto& env = NativeService<Environment>();
  auto& files = NativeService<Files>();
  auto& errors = NativeService<ErrorCodes>();
  auto& processes = NativeService<Processes>();
  auto& resources = NativeService<Resources>();
  std::u16string root;
  ASSERT_TRUE(env.GetEnv(u"TEMP", &root));
  root += u"\\orvane_win_test_" + Decimal(env.ProcessId());
  ASSERT_EQ(files.MakeDirectoryTree(root + u"\\full"), 0);
  const char16_t* names[] = {u"\\a.txt", u"\\b.txt", u"\\full\\x.txt"};
  for (const char16_t* name : names) std::fclose(files.OpenStream(root + name, "wb"));

  auto run = [&](auto call) {
    errors.SetLastErrorCode(0);
    const bool ok = call();
    return std::make_pair(ok, errors.LastError());
  };
  ProcessInfo info;
  const uint8_t* data = nullptr;
  const struct { const char* what; std::pair<bool, uint32_t> got; uint32_t error;
  } rows[] = {
      {"delete missing file", run([&] { return files.DeleteOneFile(root + u"\\none.txt"); }), kErrorFileNotFound},
      {"delete in missing dir", run([&] { return files.DeleteOneFile(root + u"\\no\\x.txt"); }), kErrorPathNotFound},
      {"remove non-empty dir", run([&] { return files.RemoveOneDirectory(root + u"\\full"); }), kErrorDirNotEmpty},
      {"move onto existing", run([&] { return files.MovePath(root + names[0], root + names[1], 0); }),
       kErrorAlreadyExists},
      {"open missing file", run([&] { return files.OpenStream(root + u"\\none.txt", "rb") != nullptr; }),
       kErrorFileNotFound},
      {"start missing program",
       run([&] { return processes.StartProcess(u"\"" + root + u"\\none.exe\" x", u"", &info); }), kErrorFileNotFound},
      {"missing resource", run([&] { return resources.ReadResource(999, u"BIN", &data) != 0; }),
       kErrorResourceNameNotFound},
      {"missing resource type", run([&] { return resources.ReadResource(104, u"NOSUCHTYPE", &data) != 0; }),
       kErrorResourceTypeNotFound},
      {"close null handle", run([&] { return processes.CloseObject(nullptr); }), kErrorInvalidHandle},
  };
  EXPECT_EQ(files.MakeDirectoryTree(root + u"\\full"), static_cast<int32_t>(kErrorAlreadyExists));
  EXPECT_EQ(info.process, nullptr);
  for (const char16_t* name : names) files.DeleteOneFile(root + name);
  files.RemoveOneDirectory(root + u"\\full");
  EXPECT_TRUE(files.RemoveOneDirectory(root));
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    EXPECT_EQ(rows[i].got, std::make_pair(false, rows[i].error)) << i << ": " << rows[i].what;
  }
}

// Value names are full paths with backslashes; an absent key or value reads
// as 2 and a value larger than the buffer as ERROR_MORE_DATA.
TEST(WinBackendsTest, RegistryValuesAsTheCompatibilityFlagsUseThem) {
  auto& env = NativeService<Environment>();
  auto& registry = NativeService<Registry>();
  const std::u16string key = u"Software\\OrvaneTest\\" + Decimal(env.ProcessId());
  const std::u16string value = u"C:\\x\\Orvane.exe";
  RegKey opened = nullptr;
  EXPECT_EQ(registry.OpenKey(Hive::kCurrentUser, key + u"\\absent", kKeyReadWrite, &opened),
            static_cast<int32_t>(kErrorFileNotFound));
  const std::vector<uint8_t> text = {'W', 0, 'I', 0, 'N', 0, '8', 0}, one = {1, 0, 0, 0};
  ASSERT_EQ(registry.ShSetValue(Hive::kCurrentUser, key, value, kRegSz, text), 0);
  uint32_t type = 0;
  std::vector<uint8_t> read;
  ASSERT_EQ(registry.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 20482), 0);
  EXPECT_EQ(type, kRegSz);
  ASSERT_GE(read.size(), text.size());
  EXPECT_EQ(std::vector<uint8_t>(read.begin(), read.begin() + text.size()), text);
  EXPECT_EQ(registry.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 4), static_cast<int32_t>(kErrorMoreData));

  ASSERT_EQ(registry.OpenKey(Hive::kCurrentUser, key, kKeyReadWrite, &opened), 0);
  EXPECT_EQ(registry.SetValue(opened, value, kRegDword, one), 0);
  EXPECT_EQ(registry.CloseKey(opened), 0);
  ASSERT_EQ(registry.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 4), 0);
  EXPECT_EQ(type, kRegDword);
  EXPECT_EQ(read, one);
  EXPECT_EQ(registry.ShDeleteValue(Hive::kCurrentUser, key, value), 0);
  EXPECT_EQ(registry.ShGetValue(Hive::kCurrentUser, key, value, &type, &read, 4),
            static_cast<int32_t>(kErrorFileNotFound));
}

}  // namespace
}  // namespace platform
