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

// What the end-to-end tests cannot stage: an installed version beside a newer
// one named in Orvane.ini, an application in use, and the debug box.
TEST_F(LaunchExeTest, LaunchRows) {
  const struct {
    std::u16string commandLine;  // in normal form already
    bool appInUse;
    std::string startedFrom;
    std::vector<std::string> dirsAfter;
  } rows[] = {
      {u"--debugbreak", false, "app", {"app", "app.todelete-1763126526"}},  // the old app goes aside
      {u"", true, "1.2.3", {"1.2.3", "app"}},                               // started where it is
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    SCOPED_TRACE("row " + std::to_string(i));
    ResetApp();
    std::filesystem::remove_all(root);
    MakeExe("app/Orvane.exe");
    MakeExe("1.2.3/Orvane.exe");
    WriteAll(root / "Orvane.ini", "1.2.3");
    Prime(row.commandLine);
    if (row.appInUse) fake.FailCall("MovePath", 32);

    ASSERT_TRUE(app._LaunchExe());
    const std::u16string exe = In(row.startedFrom + "/Orvane.exe");
    ASSERT_EQ(fake.startedProcesses.size(), 1u);
    EXPECT_EQ(fake.startedProcesses[0].commandLine,
              u"\"" + exe + u"\" " + row.commandLine + u" --start_time=1763126526123");
    EXPECT_EQ(fake.startedProcesses[0].currentDirectory, In(row.startedFrom) + u"\\");
    EXPECT_EQ(Narrow(app.versionDirName()), row.startedFrom);
    EXPECT_EQ(app.mainExePath(), exe);
    std::vector<std::string> dirs;
    for (const auto& entry : std::filesystem::directory_iterator(root)) {
      if (entry.is_directory()) dirs.push_back(entry.path().filename().string());
    }
    std::sort(dirs.begin(), dirs.end());
    EXPECT_EQ(dirs, row.dirsAfter);
    // The debug box shows the process id, before any search.
    ASSERT_EQ(fake.messageBoxes.size(), row.commandLine.empty() ? 0u : 1u);
    if (row.commandLine.empty()) continue;
    EXPECT_EQ(fake.messageBoxes[0].text, u"4312");
    EXPECT_EQ(std::find_if(fake.calls().begin(), fake.calls().end(),
                           [](const auto& call) { return call.op == "ShowMessageBox" || call.op == "OpenStream"; })
                  ->op,
              "ShowMessageBox");
  }
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
