#include "layout/launcher_ini.h"

#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

class LauncherIniTest : public launcher_test::LauncherTest {
 protected:
  void SetIni(const std::optional<std::string>& bytes) {  // nullopt: no file
    std::filesystem::remove(root / "Orvane.ini");
    if (bytes) launcher_test::WriteAll(root / "Orvane.ini", *bytes);
  }
};

TEST_F(LauncherIniTest, ReadTakesTheTextUpToANulUntrimmed) {
  const std::pair<std::optional<std::string>, std::u16string> rows[] = {
      {std::nullopt, u""}, {"", u""}, {"app\n", u"app\n"}, {"\xEF\xBB\xBF" "1.2", u"\uFEFF" u"1.2"},
      {std::string("\0app", 4), u""},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SetIni(rows[i].first);
    EXPECT_EQ(ReadLauncherIni(launcher_test::WinPath(root) + u"\\"), rows[i].second) << "row " << i;
  }
}

// After a launch from "app": compare, then write only on a difference.
TEST_F(LauncherIniTest, WriteOnlyOnADifference) {
  const std::tuple<std::optional<std::string>, std::string, bool> rows[] = {
      {std::nullopt, "app", true}, {"APP", "APP", false}, {"app\n", "app", true},
      {std::string("\0app", 4), "app", true}};
  MakeExe("app/Orvane.exe");
  Prime();
  for (size_t i = 0; i < std::size(rows); ++i) {
    const auto& [before, after, written] = rows[i];
    SetIni(std::nullopt);
    ASSERT_TRUE(app._LaunchExe()) << "row " << i;
    SetIni(before);
    fake.ClearCalls();
    app._WriteLauncherIni();
    EXPECT_EQ(launcher_test::ReadAll(root / "Orvane.ini"), after) << "row " << i;
    EXPECT_EQ(fake.CallCount("OpenStream"), written ? 2u : 1u) << "row " << i;
  }
  EXPECT_NE(Log().find("Orvane.ini no change"), std::string::npos);
  EXPECT_NE(Log().find("Write 'app' to Orvane.ini"), std::string::npos);

  SetIni(std::nullopt);
  fake.FailCall("OpenStream", 5, 2);  // the read goes through, the write fails
  app._WriteLauncherIni();
  EXPECT_FALSE(std::filesystem::exists(root / "Orvane.ini"));
  EXPECT_NE(Log().find("fail, error=5"), std::string::npos);
}

}  // namespace
