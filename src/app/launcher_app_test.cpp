#include "app/launcher_app.h"

#include <algorithm>
#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

using launcher_test::ReadAll;
using launcher_test::WinPath;
using launcher_test::WriteAll;

const std::u16string kFlags = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\";
const std::u16string kLayers = platform::FakePlatform::RegistryPath(platform::Hive::kCurrentUser, kFlags + u"Layers");
const std::u16string kPersisted = platform::FakePlatform::RegistryPath(
    platform::Hive::kCurrentUser, kFlags + u"Compatibility Assistant\\Persisted");

class RunTest : public launcher_test::LauncherTest {};

TEST_F(RunTest, OutcomeRows) {
  enum Setup { kNone, kNoConfig, kNoLocale, kUpdating, kOtherLauncher, kWaitFails, kAppRuns, kNoExe, kMarker };
  const std::u16string kDelay = u" --launch_from=auto-launch --auto_launch_delay_seconds=5";
  const struct {
    std::u16string commandLine;
    Setup setup;
    int32_t result;
    const char* ini;     // content afterwards, which also says that a process was started; null: none
    const char* logged;  // null: no log file at all
    std::u16string box;  // the one box shown, if any
  } rows[] = {
      {u"", kNone, 0, "app", "CmdLine size is 0", u""},
      {u"", kNoConfig, -2, nullptr, nullptr, u""},
      {u"", kNoLocale, -3, nullptr, "[launcher]", u""},
      {u"", kUpdating, -11, nullptr, "[launcher]",
       u"Orvane is updating, it will be automatically launched after completion.Please wait."},
      {u"--lang=jp", kUpdating, -11, nullptr, "[launcher]",
       u"\u5965\u74e6\u5185の更新中です。しばらくお待ちください。"},
      {u"--command=run_update", kOtherLauncher, -16, nullptr, "Open semaphore failed", u""},
      {kDelay, kWaitFails, -18, nullptr, "Wait semaphore failed", u""},
      {kDelay, kAppRuns, -19, nullptr, "App is running, skip auto launch", u""},
      {u"", kNoExe, -4, nullptr, "can't found main exe", u"Can't find main exe file"},
      {u"", kMarker, 0, "app", "update task exist.", u""},
      {u"--command=run_update", kNone, -1, nullptr, "command 'run_update' is not available in this build", u""},
      {u"--command=rebuild_taskschedule", kNone, -1, nullptr, "'rebuild_taskschedule' is not available", u""},
      {u"--command=run_uninstall", kNone, -1, nullptr, "'run_uninstall' is not available", u""},
      {u"--command=bogus --ignore_remove_compat_flag", kNone, 0, "app", "CmdLine size is 0", u""},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const auto& row = rows[i];
    SCOPED_TRACE("row " + std::to_string(i));
    ResetApp();
    std::filesystem::remove_all(root);
    if (row.setup != kNoExe) MakeExe("app/Orvane.exe");
    if (row.setup == kMarker) WriteAll(UserData() / "update" / "update.task", "");
    if (row.setup == kNoConfig) fake.RemoveResource(104, u"BIN");
    if (row.setup == kNoLocale) fake.RemoveResource(110, u"BIN");
    fake.heldMutexes.clear();
    if (row.setup == kUpdating) fake.heldMutexes.push_back(kUpdateMutexName);
    if (row.setup == kOtherLauncher) fake.heldMutexes.push_back(kSingleInstanceMutexName);
    fake.waitResults.clear();
    if (row.setup == kWaitFails) fake.waitResults.push_back(platform::kWaitFailed);
    fake.processList.clear();
    if (row.setup == kAppRuns) fake.processList.push_back({77, 1, u"Orvane.exe"});
    fake.registry[kPersisted];
    fake.registry[kLayers][fake.modulePath] = {platform::kRegSz, {'W', 0, 'I', 0, 'N', 0, '9', 0, '5', 0, 0, 0}};
    fake.startedProcesses.clear();
    fake.messageBoxes.clear();

    EXPECT_EQ(app.Run(row.commandLine.c_str()), row.result);

    EXPECT_EQ(fake.startedProcesses.size(), row.ini != nullptr ? 1u : 0u);
    EXPECT_EQ(ReadAll(root / "Orvane.ini"), row.ini != nullptr ? row.ini : "");
    if (row.logged == nullptr) {
      EXPECT_FALSE(std::filesystem::exists(UserData() / "sdk_storage"));
    } else {
      EXPECT_NE(Log().find(row.logged), std::string::npos) << Log();
    }
    ASSERT_EQ(fake.messageBoxes.size(), row.box.empty() ? 0u : 1u);
    EXPECT_TRUE(row.box.empty() || fake.messageBoxes[0].text == row.box);
    // The registry chores come first, before anything can fail.
    EXPECT_EQ(fake.registry[kPersisted].count(fake.modulePath), 1u);
    EXPECT_EQ(fake.registry[kLayers].count(fake.modulePath),
              row.commandLine.find(u"ignore_remove_compat_flag") != std::u16string::npos ? 1u : 0u);
    // Only the survey writes events, and nothing was dropped here.
    EXPECT_FALSE(std::filesystem::exists(UserData() / "update" / "update_report.json"));
  }
}

TEST_F(RunTest, UpdatingBoxAndNoGate) {
  fake.heldMutexes.push_back(kUpdateMutexName);
  EXPECT_EQ(app.Run(u""), -11);
  ASSERT_EQ(fake.messageBoxes.size(), 1u);
  EXPECT_TRUE(fake.messageBoxes[0].indirect);
  EXPECT_EQ(fake.messageBoxes[0].caption.value_or(u""), u"Orvane");
  EXPECT_EQ(fake.messageBoxes[0].style, 128u);
  EXPECT_EQ(fake.messageBoxes[0].iconId, 102);
  EXPECT_EQ(fake.CallCount("NewMutex"), 1u);  // the probe only
}

TEST_F(RunTest, DroppedPathsAreSurveyed) {
  MakeExe("app/Orvane.exe");
  const auto drops = base_ / "drops";
  std::filesystem::create_directories(drops / "a dir");
  std::filesystem::create_directories(drops / "folder.lnk");
  WriteAll(drops / "Short.LNK", "");
  WriteAll(drops / "notes.txt", "");
  const std::u16string dir = WinPath(drops) + u"\\";
  const std::u16string commandLine =
      u"\"" + dir + u"a dir\" " + dir + u"Short.LNK nothing-here \"" + dir + u"notes.txt\" " + dir + u"folder.lnk";
  EXPECT_EQ(app.Run(commandLine.c_str()), 0);
  for (const char* line : {"CmdLine size is 5", "CmdLine[0] is dir path", "CmdLine[1] is lnk path",
                           "CmdLine[2]:nothing-here", "CmdLine[3] is other path", "CmdLine[4] is dir path"}) {
    EXPECT_NE(Log().find(line), std::string::npos) << line;
  }
  const std::string events = ReadAll(UserData() / "update" / "update_report.json");
  const std::string key = "\"extra1_val\":\"";
  std::vector<std::string> kinds;
  for (size_t at = events.find(key); at != std::string::npos; at = events.find(key, at + 1)) {
    kinds.push_back(events.substr(at + key.size(), events.find('"', at + key.size()) - at - key.size()));
  }
  EXPECT_EQ(kinds, (std::vector<std::string>{"dir", "lnk", "file", "dir"})) << events;
  EXPECT_EQ(std::count(events.begin(), events.end(), '\n'), 4);
  EXPECT_EQ(events.find("drops"), std::string::npos);  // no path goes into an event
}

TEST(HardenDllSearchPathTest, Rows) {
  const struct {
    bool newEnough;
    int32_t answer;
    const char* written;
  } rows[] = {{false, -1, ""}, {true, 1, ""}, {true, -1, "SetDefaultDllDirectories not found\n"},
              {true, 0, "SetDefaultDllDirectories failed\n"}};
  for (const auto& row : rows) {
    platform::FakePlatform fake;
    fake.versionAtLeastAnswer = row.newEnough;
    fake.dllDirectoriesAnswer = row.answer;
    HardenDllSearchPath();
    EXPECT_EQ(fake.stdoutText, row.written);
    EXPECT_EQ(fake.CallCount("RestrictDllSearchToSystem32"), row.newEnough ? 1u : 0u);
  }
}

}  // namespace
