#include "layout/launcher_ini.h"

#include <string>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

using LauncherIniTest = launcher_test::LauncherTest;

// After a launch from "app" the ini is compared as read, up to a NUL and with
// a BOM kept, and rewritten on a difference; a failed write leaves no file
// and logs its error. Absent, equal and line-ended ini files are proven end
// to end.
TEST_F(LauncherIniTest, RewrittenOnADifferenceAsRead) {
  const auto ini = root / "Orvane.ini";
  MakeExe("app/Orvane.exe");
  Prime();
  ASSERT_TRUE(app._LaunchExe());
  for (const std::string& before : {std::string("\0app", 4), std::string("\xEF\xBB\xBF" "app")}) {
    launcher_test::WriteAll(ini, before);
    app._WriteLauncherIni();
    EXPECT_EQ(launcher_test::ReadAll(ini), "app") << before.size() << " bytes before";
  }
  std::filesystem::remove(ini);
  fake.FailCall("OpenStream", 5, 2);  // the read goes through, the write fails
  app._WriteLauncherIni();
  EXPECT_FALSE(std::filesystem::exists(ini));
  EXPECT_NE(Log().find("fail, error=5"), std::string::npos);
}

}  // namespace
