#include "app/launcher_app.h"

#include <string>
#include <tuple>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

using launcher_test::ReadAll;
using launcher_test::WriteAll;

const std::u16string kFlags = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\";
const std::u16string kLayers = platform::FakePlatform::RegistryPath(platform::Hive::kCurrentUser, kFlags + u"Layers");
const std::u16string kPersisted = platform::FakePlatform::RegistryPath(
    platform::Hive::kCurrentUser, kFlags + u"Compatibility Assistant\\Persisted");

class RunTest : public launcher_test::LauncherTest {};

// What only the fake shows: injected failures, the order of the registry
// chores, the markers of an update; the end-to-end tests prove the rest.
TEST_F(RunTest, OutcomeRows) {
  enum Setup { kNone, kNoConfig, kWaitFails, kAppRunning, kMarker };
  const struct {
    std::u16string commandLine;
    Setup setup;
    int32_t result;
    const char* ini;     // content afterwards, which also says that a process was started; null: none
    const char* logged;  // null: no log file at all
  } rows[] = {
      {u"", kNoConfig, -2, nullptr, nullptr},
      {u"--launch_from=auto-launch --auto_launch_delay_seconds=5", kWaitFails, -18, nullptr, "Wait semaphore failed"},
      {u"--launch_from=auto-launch --auto_launch_delay_seconds=1", kAppRunning, -19, nullptr, "App is running"},
      {u"", kMarker, 0, "app", "update task exist."},
      {u"--command=bogus --ignore_remove_compat_flag", kNone, 0, "app", "CmdLine size is 0"},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const auto& row = rows[i];
    SCOPED_TRACE("row " + std::to_string(i));
    ResetApp();
    std::filesystem::remove_all(root);
    MakeExe("app/Orvane.exe");
    if (row.setup == kMarker) WriteAll(UserData() / "update" / "update.task", "");
    if (row.setup == kNoConfig) fake.RemoveResource(104, u"BIN");
    fake.waitResults.clear();
    if (row.setup == kWaitFails) fake.waitResults.push_back(platform::kWaitFailed);
    fake.processList.assign(row.setup == kAppRunning ? 1 : 0, {4000, 1, u"Orvane.exe"});
    fake.registry[kPersisted];
    fake.registry[kLayers][fake.modulePath] = {platform::kRegSz, {'W', 0, 'I', 0, 'N', 0, '9', 0, '5', 0, 0, 0}};

    EXPECT_EQ(app.Run(row.commandLine.c_str()), row.result);

    EXPECT_EQ(fake.startedProcesses.size(), row.ini != nullptr ? 1u : 0u);
    EXPECT_EQ(ReadAll(root / "Orvane.ini"), row.ini != nullptr ? row.ini : "");
    if (row.logged == nullptr) {
      EXPECT_FALSE(std::filesystem::exists(UserData() / "sdk_storage"));
    } else {
      EXPECT_NE(Log().find(row.logged), std::string::npos) << Log();
    }
    EXPECT_TRUE(fake.messageBoxes.empty());
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
  const auto& box = fake.messageBoxes[0];
  EXPECT_EQ(std::make_tuple(box.indirect, box.caption.value_or(u""), box.style, box.iconId),
            std::make_tuple(true, std::u16string(u"Orvane"), 128u, 102));
  EXPECT_EQ(fake.CallCount("NewMutex"), 1u);  // the probe only
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
