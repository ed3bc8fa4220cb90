#include <algorithm>
#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

using launcher_test::Narrow;
using launcher_test::WinPath;
using launcher_test::WriteAll;

class LaunchExeTest : public launcher_test::LauncherTest {
 protected:
  std::u16string In(const std::string& relative) { return WinPath(root / relative); }
};

TEST_F(LaunchExeTest, LaunchRows) {
  const std::u16string now = u"--start_time=1763126526123";
  const struct {
    std::vector<std::string> files;
    const char* ini;
    std::u16string commandLine;
    bool appInUse;
    std::string startedFrom, exe;
    std::u16string arguments;  // between the quoted path and --start_time
    std::vector<std::string> dirsAfter;
  } rows[] = {
      {{"app/Orvane.exe"}, nullptr, u"", false, "app", "Orvane.exe", u"", {"app"}},
      {{"1.2.3/Orvane.exe"}, nullptr, u"", false, "app", "Orvane.exe", u"", {"app"}},
      {{"app/Orvane.exe", "1.2.3/Orvane.exe"}, "1.2.3", u"", false, "app", "Orvane.exe", u"",
       {"app", "app.todelete-1763126526"}},
      {{"app/Orvane.exe", "1.2.3/Orvane.exe"}, "1.2.3", u"", true, "1.2.3", "Orvane.exe", u"", {"1.2.3", "app"}},
      {{"1.2.3/Main.exe", "1.2.3/manifest.json"}, nullptr, u"", false, "app", "Main.exe", u"", {"app"}},
      {{"app/Orvane.exe"}, nullptr, u"/z --a=1 \"x y\" --start_time=5 --command=bogus --debugbreak", false, "app",
       "Orvane.exe", u"--a=1 --command=bogus --debugbreak --start_time=5 --z \"\"x y\"\"", {"app"}},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const auto& row = rows[i];
    SCOPED_TRACE("row " + std::to_string(i));
    ResetApp();
    std::filesystem::remove_all(root);
    for (const auto& file : row.files) {
      WriteAll(root / file, file.find("manifest") == std::string::npos ? "MZ" : "{\"launchName\":\"Main.exe\"}");
    }
    if (row.ini != nullptr) WriteAll(root / "Orvane.ini", row.ini);
    Prime(row.commandLine);
    if (row.appInUse) fake.FailCall("MovePath", 32);

    ASSERT_TRUE(app._LaunchExe());
    const std::u16string exe = In(row.startedFrom + "/" + row.exe);
    ASSERT_EQ(fake.startedProcesses.size(), 1u);
    EXPECT_EQ(fake.startedProcesses[0].commandLine, u"\"" + exe + u"\" " + row.arguments + u" " + now);
    EXPECT_EQ(fake.startedProcesses[0].currentDirectory, In(row.startedFrom) + u"\\");
    EXPECT_EQ(Narrow(app.versionDirName()), row.startedFrom);
    EXPECT_EQ(app.mainExePath(), exe);
    std::vector<std::string> dirs;
    for (const auto& entry : std::filesystem::directory_iterator(root)) {
      dirs.push_back(entry.path().filename().string());
    }
    dirs.erase(std::remove(dirs.begin(), dirs.end(), "Orvane.ini"), dirs.end());
    std::sort(dirs.begin(), dirs.end());
    EXPECT_EQ(dirs, row.dirsAfter);
    // The arguments never reach the log, and a debug box comes before any search.
    EXPECT_NE(Log().find("* " + Narrow(now)), std::string::npos);
    EXPECT_EQ(Log().find("bogus"), std::string::npos);
    const bool debugBox = row.commandLine.find(u"debugbreak") != std::u16string::npos;
    ASSERT_EQ(fake.messageBoxes.size(), debugBox ? 1u : 0u);
    if (debugBox) {
      EXPECT_EQ(fake.messageBoxes[0].text, u"4312");
      EXPECT_EQ(std::find_if(fake.calls().begin(), fake.calls().end(),
                             [](const auto& call) { return call.op == "ShowMessageBox" || call.op == "OpenStream"; })
                    ->op,
                "ShowMessageBox");
    }
  }
}

TEST_F(LaunchExeTest, OverlongCommandLineIsCutAtItsEnd) {
  MakeExe("app/Orvane.exe");
  Prime(std::u16string(10300, u'a'));
  ASSERT_TRUE(app._LaunchExe());
  EXPECT_EQ(fake.startedProcesses.at(0).commandLine.size(), 10240u);
  EXPECT_EQ(fake.startedProcesses.at(0).commandLine.find(u"--start_time"), std::u16string::npos);
}

TEST_F(LaunchExeTest, FailureBoxes) {
  std::u16string systemText;
  ASSERT_TRUE(fake.SystemErrorText(2, &systemText));
  const std::u16string path = In("app/Orvane.exe");
  const struct {
    bool exeThere;
    uint32_t error;
    std::u16string box, caption;
  } rows[] = {
      {false, 0, u"Can't find main exe file", u""},
      {true, 0, u"Launch process '" + path + u"' failed unknown error", u"Failed"},
      {true, 0x7FFFABCD, u"Launch process '" + path + u"' failed unknown error", u"Failed"},
      {true, 2, u"Launch process '" + path + u"' failed, error=2, " + systemText, u"Failed"},
  };
  Prime();
  for (const auto& row : rows) {
    std::filesystem::remove_all(root);
    if (row.exeThere) MakeExe("app/Orvane.exe");
    fake.messageBoxes.clear();
    if (row.exeThere) fake.FailCall("StartProcess", row.error);
    EXPECT_FALSE(app._LaunchExe());
    ASSERT_EQ(fake.messageBoxes.size(), 1u);
    EXPECT_EQ(fake.messageBoxes[0].text, row.box);
    EXPECT_EQ(fake.messageBoxes[0].caption.value_or(u""), row.caption);
    EXPECT_EQ(fake.messageBoxes[0].style, 48u);
  }
  EXPECT_TRUE(fake.startedProcesses.empty());
}

TEST_F(LaunchExeTest, RenameMainExeRows) {
  Prime();
  const struct {
    std::vector<std::string> files;
    std::string given, returned;
    size_t moves;
  } rows[] = {
      {{"vorn.exe"}, "vorn.exe", "Orvane.exe", 1},
      {{"ORVANE.EXE"}, "ORVANE.EXE", "Orvane.exe", 0},          // case alone: untouched, configured case
      {{"vorn.exe", "Orvane.exe"}, "vorn.exe", "vorn.exe", 1},  // the name is taken: launch as it is
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const std::string dir = "r" + std::to_string(i) + "/";
    for (const auto& file : rows[i].files) MakeExe(dir + file);
    fake.ClearCalls();
    EXPECT_EQ(app._RenameMainExe(In(dir + rows[i].given)), In(dir + rows[i].returned)) << "row " << i;
    EXPECT_EQ(fake.CallCount("MovePath"), rows[i].moves) << "row " << i;
    EXPECT_TRUE(fake.PathExists(In(dir + rows[i].returned))) << "row " << i;
  }
}

}  // namespace
