#include "layout/launcher_ini.h"

#include <string>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

using launcher_test::ReadAll;
using launcher_test::WriteAll;

class LauncherIniTest : public launcher_test::LauncherTest {
 protected:
  void SetIni(const char* bytes, size_t size) {
    std::filesystem::remove(root / "Orvane.ini");
    if (bytes != nullptr) WriteAll(root / "Orvane.ini", std::string(bytes, size));
  }
};

TEST_F(LauncherIniTest, ReadRows) {
  const struct {
    const char* bytes;  // null: no file
    size_t size;
    std::u16string name;
  } rows[] = {
      {nullptr, 0, u""}, {"", 0, u""}, {"app", 3, u"app"},
      {"app\n", 4, u"app\n"},                             // nothing is trimmed,
      {"\xEF\xBB\xBF" "1.2", 6, u"\uFEFF" u"1.2"},        // nor a byte-order mark
      {"a\0b", 3, u"a"}, {"\0app", 4, u""},               // the text ends at a NUL
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    SetIni(rows[i].bytes, rows[i].size);
    EXPECT_EQ(ReadLauncherIni(launcher_test::WinPath(root) + u"\\"), rows[i].name) << "row " << i;
  }
}

// After a launch from "app": compare, then write only on a difference.
TEST_F(LauncherIniTest, WriteRows) {
  const struct {
    const char* before;  // null: no file
    size_t size;
    std::string after;
    bool written;
  } rows[] = {{nullptr, 0, "app", true}, {"", 0, "app", true},      {"APP", 3, "APP", false},
              {"app\n", 4, "app", true}, {"\0app", 4, "app", true}, {"1.2.3", 5, "app", true}};
  MakeExe("app/Orvane.exe");
  Prime();
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    SetIni(nullptr, 0);
    ASSERT_TRUE(app._LaunchExe()) << "row " << i;
    SetIni(rows[i].before, rows[i].size);
    fake.ClearCalls();
    app._WriteLauncherIni();
    EXPECT_EQ(ReadAll(root / "Orvane.ini"), rows[i].after) << "row " << i;
    EXPECT_EQ(fake.CallCount("OpenStream"), rows[i].written ? 2u : 1u) << "row " << i;
  }
  EXPECT_NE(Log().find("Orvane.ini no change"), std::string::npos);
  EXPECT_NE(Log().find("Write 'app' to Orvane.ini"), std::string::npos);

  SetIni(nullptr, 0);
  fake.FailCall("OpenStream", 5, 2);  // the read goes through, the write fails
  app._WriteLauncherIni();
  EXPECT_FALSE(std::filesystem::exists(root / "Orvane.ini"));
  EXPECT_NE(Log().find("fail, error=5"), std::string::npos);
}

}  // namespace
