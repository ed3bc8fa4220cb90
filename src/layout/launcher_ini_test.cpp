#include "layout/launcher_ini.h"

#include <string>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

using LauncherIniTest = launcher_test::LauncherTest;

// After a launch from "app" the ini is compared as read (up to a NUL, a BOM
// or a line end kept, letter case aside) and rewritten plainly on a
// difference; a failed write leaves no file and logs its error. Absent and
// equal ini files are proven end to end.
TEST_F(LauncherIniTest, RewrittenOnADifferenceAsRead) {
  const auto ini = root / "Orvane.ini";
  MakeExe("app/Orvane.exe");
  Prime();
  ASSERT_TRUE(app._LaunchExe());
  const std::string rewritten = "Write 'app' to Orvane.ini";
  const struct {
    std::string before, after, logged;
  } rows[] = {
      {std::string("\0app", 4), "app", rewritten},
      {"\xEF\xBB\xBF" "app", "app", rewritten},
      {"app\n", "app", rewritten},
      {"APP", "APP", "Orvane.ini no change"},
  };
  for (const auto& row : rows) {
    launcher_test::WriteAll(ini, row.before);
    const size_t logSize = Log().size();
    app._WriteLauncherIni();
    EXPECT_EQ(launcher_test::ReadAll(ini), row.after) << row.before.size() << " bytes before";
    EXPECT_NE(Log().find(row.logged, logSize), std::string::npos) << Log();
  }
  std::filesystem::remove(ini);
  fake.FailCall("OpenStream", 5, 2);  // the read goes through, the write fails
  app._WriteLauncherIni();
  EXPECT_FALSE(std::filesystem::exists(ini));
  EXPECT_NE(Log().find("fail, error=5"), std::string::npos);
}

}  // namespace
