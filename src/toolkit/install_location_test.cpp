#include "toolkit/install_location.h"

#include <filesystem>

#include "app/launcher_test_fixture.h"
#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/fake_platform.h"
#include "platform/processes/fake_process_images.h"

namespace {

namespace fs = std::filesystem;

using launcher_test::WinPath;

void Touch(const fs::path& path) { launcher_test::WriteAll(path, "x"); }

class InstallLocationTest : public ::testing::Test {
 protected:
  InstallLocationTest() {
    fake.SetEnvValue(u"LOCALAPPDATA", base + u"\\local");
    config.install_dir_name = u"Orvane";
    config.data_dir = u"Orvane\\User Data";
    config.product_info_key = u"Orvane";
    config.exe_file_name = u"Orvane.exe";
  }
  // The REG_SZ value with its terminator, little-endian as the system stores it.
  void SetInstallDir(platform::Hive hive, const std::u16string& dir) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(dir.c_str());
    fake.registry[platform::FakePlatform::RegistryPath(hive, u"Software\\Orvane")][u"InstallDir"] = {
        platform::kRegSz, std::vector<uint8_t>(bytes, bytes + 2 * dir.size() + 2)};
  }
  // An install root: the launcher and, when asked, its ini file.
  std::u16string MakeRoot(const std::string& name, bool exe, bool ini) {
    fs::create_directories(base_ / name);
    if (exe) Touch(base_ / name / "Orvane.exe");
    if (ini) Touch(base_ / name / "Orvane.ini");
    return base + u"\\" + std::u16string(name.begin(), name.end());
  }

  orvane_test::TempDir temp;
  const fs::path base_ = temp.path();
  const std::u16string base = WinPath(base_);
  platform::FakePlatform fake;
  platform::FakeShellFolders folders;
  CProductConfig config;
};

TEST_F(InstallLocationTest, RegisteredDirectoryAndScope) {
  const std::u16string good = MakeRoot("good", true, true);
  const std::u16string noIni = MakeRoot("no-ini", true, false);
  const std::u16string noExe = MakeRoot("no-exe", false, true);
  struct Row {  // machine, user: empty for no value
    const char* what; std::u16string machine, user; int32_t scope;
    std::u16string machineVerified, userVerified, userUnverified;
  } rows[] = {
      {"nothing registered", u"", u"", 0, u"", u"", u""},
      {"machine wins", good, noIni, 2, good + u"\\", u"", noIni + u"\\"},
      {"user only", u"", noExe, 1, u"", u"", noExe + u"\\"},
      {"user verified", u"", good + u"\\", 1, u"", good + u"\\", good + u"\\"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    fake.registry.clear();
    if (!row.machine.empty()) SetInstallDir(platform::Hive::kLocalMachine, row.machine);
    if (!row.user.empty()) SetInstallDir(platform::Hive::kCurrentUser, row.user);
    EXPECT_EQ(GetInstalledScope(config), row.scope);
    EXPECT_EQ(GetInstalledDir(config, 2, true), row.machineVerified);
    EXPECT_EQ(GetInstalledDir(config, 1, true), row.userVerified);
    EXPECT_EQ(GetInstalledDir(config, 7, false), row.userUnverified);  // any scope but 2 is the user's
  }
  // A value of the empty text counts as none.
  fake.registry.clear();
  SetInstallDir(platform::Hive::kLocalMachine, u"");
  SetInstallDir(platform::Hive::kCurrentUser, good);
  EXPECT_EQ(GetInstalledScope(config), 1);
}

// What the installer records is what GetInstalledDir reads, per scope; a
// failed write or removal says so.
TEST_F(InstallLocationTest, RecordedDirectoryRoundTrip) {
  ResetLogStateForTesting();
  OpenLogFile(base + u"\\log", u"t.log");
  const auto logText = [this] { return orvane_test::ReadFileBytes(base_ / "log" / "t.log"); };
  const std::u16string dir = base + u"\\install root";
  struct Row {
    const char* what; int32_t scope; std::u16string dir; const char* failCall; bool set, removed;
    std::u16string readBack; const char* logged;
  } rows[] = {
      {"user", 1, dir, nullptr, true, true, dir + u"\\", "SetInstalledDir, "},
      {"machine", 2, dir, nullptr, true, true, dir + u"\\", "recorded for scope 2"},
      {"write refused", 1, dir, "ShSetValue", false, true, u"", "not recorded, error=5"},
      {"removal refused", 1, dir, "ShDeleteValue", true, false, dir + u"\\", "RemoveInstalledDir, scope 1, error=5"},
      {"no directory", 1, u"", nullptr, false, true, u"", "not recorded, error=87"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    fake.registry.clear();
    const size_t before = logText().size();
    if (row.failCall != nullptr && std::string(row.failCall) == "ShSetValue") fake.FailCall(row.failCall, 5);
    EXPECT_EQ(SetInstalledDir(config, row.scope, row.dir), row.set);
    EXPECT_EQ(GetInstalledDir(config, row.scope, false), row.readBack);
    EXPECT_EQ(GetInstalledDir(config, 3 - row.scope, false), u"");  // the other scope holds nothing
    if (row.failCall != nullptr && std::string(row.failCall) == "ShDeleteValue") fake.FailCall(row.failCall, 5);
    EXPECT_EQ(RemoveInstalledDir(config, row.scope), row.removed);
    EXPECT_EQ(GetInstalledDir(config, row.scope, false), row.removed ? u"" : row.readBack);
    EXPECT_NE(logText().substr(before).find(row.logged), std::string::npos) << logText().substr(before);
  }
  EXPECT_TRUE(RemoveInstalledDir(config, 1));  // nothing recorded: nothing left
  // The product's key goes with the last value in it, never with another's.
  const std::u16string key = u"HKCU\\Software\\Orvane";
  for (const bool otherValue : {false, true}) {
    ASSERT_TRUE(SetInstalledDir(config, 1, dir));
    if (otherValue) fake.registry[key][u"Theme"] = {1, {}};
    EXPECT_TRUE(RemoveInstalledDir(config, 1));
    EXPECT_EQ(fake.registry.count(key), otherValue ? 1u : 0u) << otherValue;
  }
  ResetLogStateForTesting();
}

TEST_F(InstallLocationTest, DefaultDirectory) {
  folders.folders[platform::kCsidlProgramFiles] = base + u"\\Program Files";
  fs::create_directories(base_ / "Program Files");
  EXPECT_EQ(GetDefaultInstallDir(config, 2), base + u"\\Program Files\\Orvane\\");
  EXPECT_TRUE(fs::is_directory(base_ / "Program Files" / "Orvane"));
  EXPECT_EQ(GetDefaultInstallDir(config, 1), base + u"\\local\\Orvane\\Application\\");
  EXPECT_TRUE(fs::is_directory(base_ / "local" / "Orvane" / "Application"));

  const std::u16string good = MakeRoot("good", true, true);
  SetInstallDir(platform::Hive::kCurrentUser, good);
  EXPECT_EQ(GetDefaultInstallDir(config, 1), good + u"\\");
  EXPECT_EQ(GetDefaultInstallDir(config, 2), base + u"\\Program Files\\Orvane\\");

  folders.folders.clear();
  EXPECT_EQ(GetDefaultInstallDir(config, 2), u"");
}

TEST_F(InstallLocationTest, UserChosenDirectory) {
  const struct { std::u16string chosen, want; } rows[] = {
      {u"D:/Apps", u"D:\\Apps\\Orvane"},
      {u"D:\\Apps\\orvane", u"D:\\Apps\\orvane"},
      {u"D:\\Apps\\Orvane.2", u"D:\\Apps\\Orvane.2"},  // the extension is left out of the test
      {u"D:\\Apps\\Orvane2", u"D:\\Apps\\Orvane2\\Orvane"},
      // The result would hold the user data directory.
      {base + u"\\local", base + u"\\local\\Orvane\\Application"},
      {base + u"/LOCAL/orvane", base + u"\\LOCAL\\orvane\\Application"},
      {base + u"\\loc", base + u"\\loc\\Orvane"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.chosen.begin(), row.chosen.end()));
    EXPECT_EQ(GetUserChosenInstallDir(config, row.chosen), row.want);
  }
}

TEST_F(InstallLocationTest, ProductPath) {
  const std::u16string root = MakeRoot("root", true, true);
  Touch(base_ / "file");
  folders.networkDrives = {u"N:"};
  const struct { std::u16string path, want; bool created; } rows[] = {
      {u"Apps\\Orvane", u"", false},  // relative
      {u"", u"", false},
      {u"\\\\server\\share", u"", false},  // network
      {u"N:\\Apps", u"", false},             // on a drive mapped to a share
      {root, root, false},                  // already an install root
      {base + u"\\new", base + u"\\new\\Orvane", true},
      {base + u"\\deep\\ORVANE", base + u"\\deep\\ORVANE", true},
      {base + u"\\file", u"", false},  // cannot be created below a file
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.path.begin(), row.path.end()));
    EXPECT_EQ(GetProductPath(row.path, u"Orvane"), row.want);
    if (row.created) {
      EXPECT_TRUE(fake.PathIsDir(row.want));
    }
  }
}

}  // namespace
