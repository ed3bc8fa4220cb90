#include "layout/paths.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "base/text.h"
#include "platform/fake_platform.h"

namespace {

// A fresh directory under the system's temporary directory, in the core's
// Windows form, removed again at the end.
class ScratchDir {
 public:
  ScratchDir() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() / ("orvane_paths_" + std::to_string(random()));
    std::filesystem::create_directories(path_);
    core_ = path_.u16string();
    for (char16_t& c : core_) {
      if (c == u'/') c = u'\\';
    }
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }
  const std::u16string& core() const { return core_; }

 private:
  std::filesystem::path path_;
  std::u16string core_;
};

TEST(PathsTest, SplitsPathsAsTheShellDoes) {
  struct Row {
    std::u16string path;
    std::u16string directory;
    std::u16string name;
    std::u16string stem;  // GetFileNamePart without the extension
  };
  const Row rows[] = {
      {u"C:\\a\\b.exe", u"C:\\a\\", u"b.exe", u"b"},
      {u"C:\\a\\b\\", u"C:\\a\\", u"b", u"b"},
      {u"C:\\a\\b\\\\", u"C:\\a\\", u"b", u"b"},
      {u"C:\\Orvane.exe", u"C:\\", u"Orvane.exe", u"Orvane"},
      {u"C:\\", u"", u"C:", u"C:"},
      {u"b.exe", u"", u"b.exe", u"b"},
      {u"", u"", u"", u""},
      {u"C:b.txt", u"C:", u"b.txt", u"b"},
      {u"\\\\server\\share", u"\\\\server\\", u"share", u"share"},
      {u"C:\\a/b.txt", u"C:\\a/", u"b.txt", u"b"},
      {u"C:\\a\\app.todelete-17", u"C:\\a\\", u"app.todelete-17", u"app"},
      {u"C:\\a\\b.tar.gz", u"C:\\a\\", u"b.tar.gz", u"b.tar"},
      {u"C:\\a\\my file.a b", u"C:\\a\\", u"my file.a b", u"my file.a b"},
      {u"C:\\a\\.hidden", u"C:\\a\\", u".hidden", u""},
      {u"C:\\a\\b.x\\", u"C:\\a\\", u"b.x", u"b.x"},  // the separator hides the extension
      {u"C:\\a.b\\c", u"C:\\a.b\\", u"c", u"c"},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const Row& r = rows[i];
    EXPECT_EQ(GetDirectoryPart(r.path), r.directory) << "row " << i << " " << WideToUtf8(r.path);
    EXPECT_EQ(GetFileNamePart(r.path, true), r.name) << "row " << i << " " << WideToUtf8(r.path);
    EXPECT_EQ(GetFileNamePart(r.path, false), r.stem) << "row " << i << " " << WideToUtf8(r.path);
  }
}

TEST(PathsTest, JoinAddsOneSeparatorOnlyWhenMissing) {
  struct Row {
    std::u16string base;
    std::u16string relative;
    std::u16string joined;
  };
  const Row rows[] = {
      {u"C:\\", u"app", u"C:\\app"},
      {u"C:\\a", u"b", u"C:\\a\\b"},
      {u"C:\\a/", u"b", u"C:\\a/b"},
      {u"", u"update\\update.task", u"update\\update.task"},
      {u"C:\\a", u"\\b", u"C:\\a\\\\b"},
      {u"C:\\a", u"..\\b", u"C:\\a\\..\\b"},
      {u"C:\\a", u"D:\\x", u"C:\\a\\D:\\x"},
      {u"C:\\a", u"", u"C:\\a\\"},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(JoinPath(rows[i].base, rows[i].relative), rows[i].joined) << "row " << i;
  }
  EXPECT_EQ(EnsureTrailingSeparator(u""), u"");
  EXPECT_EQ(EnsureTrailingSeparator(u"C:\\a/"), u"C:\\a/");
}

TEST(PathsTest, ModulePathIsCutToTheBuffer) {
  platform::FakePlatform fake;
  fake.modulePath = u"C:\\Program Files\\Orvane\\Orvane.exe";
  EXPECT_EQ(GetModuleFilePath(), u"C:\\Program Files\\Orvane\\Orvane.exe");
  fake.modulePath = u"C:\\" + std::u16string(3000, u'x');
  EXPECT_EQ(GetModuleFilePath(), fake.modulePath.substr(0, 2047));
}

TEST(PathsTest, EnvironmentValues) {
  platform::FakePlatform fake;
  fake.SetEnvValue(u"LOCALAPPDATA", u"C:\\Users\\ann\\AppData\\Local");
  fake.UnsetEnvValue(u"APPDATA");
  EXPECT_EQ(GetEnvironmentString(u"LOCALAPPDATA"), u"C:\\Users\\ann\\AppData\\Local");
  EXPECT_EQ(GetEnvironmentString(u"APPDATA"), u"");
  const std::u16string longValue(5000, u'v');
  fake.SetEnvValue(u"ORVANE_LONG", longValue);
  EXPECT_EQ(GetEnvironmentString(u"ORVANE_LONG"), longValue);

  // Without a base the sub path stays relative; nothing is created.
  EXPECT_EQ(GetRoamingAppDataPath(u"Microsoft\\TaskBar", false), u"Microsoft\\TaskBar\\");
  EXPECT_EQ(GetLocalAppDataPath(u"", true), u"C:\\Users\\ann\\AppData\\Local\\");
  EXPECT_EQ(fake.CallCount("MakeDirectoryTree"), 0u);
}

TEST(PathsTest, BuildSubPathCreatesOnlyWhenAsked) {
  platform::FakePlatform fake;
  ScratchDir scratch;
  const std::u16string base = scratch.core();

  // Not asked: the path is built, the directory not made.
  EXPECT_EQ(BuildSubPath(base, u"Orvane\\User Data", false), base + u"\\Orvane\\User Data\\");
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "Orvane"));

  // Asked: made with all its parents, once.
  EXPECT_EQ(BuildSubPath(base, u"Orvane\\User Data", true), base + u"\\Orvane\\User Data\\");
  EXPECT_TRUE(std::filesystem::is_directory(scratch.path() / "Orvane" / "User Data"));
  EXPECT_EQ(fake.CallCount("MakeDirectoryTree"), 1u);

  // Present already: nothing to make.
  fake.ClearCalls();
  EXPECT_EQ(BuildSubPath(base + u"\\", u"Orvane\\User Data\\", true), base + u"\\Orvane\\User Data\\");
  EXPECT_EQ(fake.CallCount("MakeDirectoryTree"), 0u);

  // The creation fails: the empty string, whatever the creation answered.
  fake.FailCall("MakeDirectoryTree", platform::kErrorAccessDenied);
  EXPECT_EQ(BuildSubPath(base, u"denied", true), u"");
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "denied"));

  // A file in the way is no directory.
  std::filesystem::create_directories(scratch.path() / "dir");
  std::ofstream(scratch.path() / "dir" / "file") << "x";
  EXPECT_EQ(BuildSubPath(base, u"dir\\file", true), u"");
}

}  // namespace
