#include "layout/paths.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "base/log_test_support.h"
#include "base/text.h"
#include "platform/fake_platform.h"

namespace {

TEST(PathsTest, SplitsPathsAsTheShellDoes) {
  struct Row {
    std::u16string path, directory, name, stem;  // stem: GetFileNamePart without the extension
  };
  const Row rows[] = {
      {u"C:\\a\\b.exe", u"C:\\a\\", u"b.exe", u"b"},
      {u"C:\\a\\b\\\\", u"C:\\a\\", u"b", u"b"},
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
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i) + " " + WideToUtf8(rows[i].path));
    EXPECT_EQ(GetDirectoryPart(rows[i].path), rows[i].directory);
    EXPECT_EQ(GetFileNamePart(rows[i].path, true), rows[i].name);
    EXPECT_EQ(GetFileNamePart(rows[i].path, false), rows[i].stem);
  }
}

TEST(PathsTest, JoinAddsOneSeparatorOnlyWhenMissing) {
  const std::tuple<std::u16string, std::u16string, std::u16string> rows[] = {
      {u"C:\\", u"app", u"C:\\app"},     {u"C:\\a", u"b", u"C:\\a\\b"},     {u"C:\\a/", u"b", u"C:\\a/b"},
      {u"", u"update\\x", u"update\\x"}, {u"C:\\a", u"\\b", u"C:\\a\\\\b"}, {u"C:\\a", u"", u"C:\\a\\"},
  };
  for (const auto& [base, relative, joined] : rows) {
    EXPECT_EQ(JoinPath(base, relative), joined) << WideToUtf8(base) << " + " << WideToUtf8(relative);
  }
  EXPECT_EQ(EnsureTrailingSeparator(u""), u"");
}

TEST(PathsTest, ModulePathAndEnvironmentValues) {
  platform::FakePlatform fake;
  fake.modulePath = u"C:\\" + std::u16string(3000, u'x');
  EXPECT_EQ(GetModuleFilePath(), fake.modulePath.substr(0, 2047));

  const std::u16string longValue(5000, u'v');
  fake.SetEnvValue(u"ORVANE_LONG", longValue);
  EXPECT_EQ(GetEnvironmentString(u"ORVANE_LONG"), longValue);
  fake.SetEnvValue(u"LOCALAPPDATA", u"C:\\Users\\ann\\AppData\\Local");
  fake.UnsetEnvValue(u"APPDATA");
  EXPECT_EQ(GetEnvironmentString(u"APPDATA"), u"");
  // Without a base the sub path stays relative; an empty sub creates nothing.
  EXPECT_EQ(GetRoamingAppDataPath(u"Microsoft\\TaskBar", false), u"Microsoft\\TaskBar\\");
  EXPECT_EQ(GetLocalAppDataPath(u"", true), u"C:\\Users\\ann\\AppData\\Local\\");
  EXPECT_EQ(fake.CallCount("MakeDirectoryTree"), 0u);
}

TEST(PathsTest, BuildSubPathCreatesOnlyWhenAsked) {
  platform::FakePlatform fake;
  orvane_test::TempDir scratch;
  const std::u16string base = scratch.core();
  const std::u16string want = base + u"\\Orvane\\User Data\\";
  EXPECT_EQ(BuildSubPath(base, u"Orvane\\User Data", false), want);
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "Orvane"));
  // Made with all its parents, once; when present already, nothing to make.
  EXPECT_EQ(BuildSubPath(base, u"Orvane\\User Data", true), want);
  EXPECT_TRUE(std::filesystem::is_directory(scratch.path() / "Orvane" / "User Data"));
  EXPECT_EQ(BuildSubPath(base + u"\\", u"Orvane\\User Data\\", true), want);
  EXPECT_EQ(fake.CallCount("MakeDirectoryTree"), 1u);
  // The creation fails, or a file is in the way: the empty string.
  fake.FailCall("MakeDirectoryTree", platform::kErrorAccessDenied);
  EXPECT_EQ(BuildSubPath(base, u"denied", true), u"");
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "denied"));
  std::ofstream(scratch.path() / "file") << "x";
  EXPECT_EQ(BuildSubPath(base, u"file", true), u"");
}

}  // namespace
