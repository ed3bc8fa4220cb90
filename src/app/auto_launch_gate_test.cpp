#include "app/auto_launch_gate.h"

#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"

namespace {

using launcher_test::Narrow;

class AutoLaunchGateTest : public launcher_test::LauncherTest {};

// A second launcher that wakes a waiting one, a delay that runs out and an
// application that runs already are proven between real processes end to end.
TEST_F(AutoLaunchGateTest, StateTable) {
  enum Other { kAlone, kOtherBusy };
  const std::u16string kBoth = u"--launch_from=auto-launch --auto_launch_delay_seconds=";
  const std::u16string k30 = kBoth + u"30";
  const uint32_t kNone = 0xABCD;  // no wait
  const struct {
    std::u16string commandLine;
    Other other;
    const char* failOp;      // fails once with 5
    uint32_t waitResult;     // scripted result, or kNone for the default time-out
    std::u16string running;  // a process of another id in the snapshot
    int32_t result;
    uint32_t timeout;        // of the one wait, or kNone
    const char* launchFrom;  // afterwards; null: gone
    const char* logged;
  } rows[] = {
      {u"x", kAlone, nullptr, kNone, u"", 0, kNone, nullptr, "Create single instance success."},
      {u"", kOtherBusy, nullptr, kNone, u"", -16, kNone, nullptr, "Open semaphore failed. Error: 2"},
      {u"", kAlone, "NewMutex", kNone, u"", -16, kNone, nullptr, "CreateMutex mutex failed: 5"},
      {u"--launch_from=auto-launch", kAlone, nullptr, kNone, u"", 0, kNone, "auto-launch", nullptr},
      {kBoth + u"soon", kAlone, nullptr, kNone, u"", 0, kNone, "auto-launch", nullptr},
      {kBoth + u"2147484", kAlone, nullptr, kNone, u"", 0, kNone, "auto-launch", nullptr},  // wraps below 0
      {kBoth + u"4294967297", kAlone, nullptr, kNone, u"", 0, kNone, "auto-launch", nullptr},  // saturates
      {kBoth + u"4294968", kAlone, nullptr, kNone, u"", 0, 704, "auto-launch", "after delay 0 seconds"},
      {k30, kAlone, nullptr, platform::kWaitObject0, u"ORVANE.exe", 0, 30000, nullptr,
       "Immediate launch app, remove auto-launch switch"},
      {k30, kAlone, nullptr, kNone, u"ORVANE.exe", -19, 30000, "auto-launch", "App is running, skip auto launch"},
      {k30, kAlone, "SnapshotProcesses", kNone, u"", 0, 30000, "auto-launch",
       "CreateToolhelp32Snapshot failed. Error: 5"},
      {k30, kAlone, nullptr, platform::kWaitFailed, u"", -18, 30000, "auto-launch",
       "Wait semaphore failed, result: -1"},
      {k30, kAlone, "NewSemaphore", kNone, u"", 0, kNone, "auto-launch",
       "Create semaphore failed. Force launch app. Error: 5"},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const auto& row = rows[i];
    SCOPED_TRACE("row " + std::to_string(i));
    ResetApp();
    Prime(row.commandLine);
    fake.heldMutexes.assign(row.other != kAlone ? 1 : 0, kSingleInstanceMutexName);
    fake.existingSemaphores.clear();
    fake.waitResults.assign(row.waitResult != kNone ? 1 : 0, row.waitResult);
    fake.waitTimeouts.clear();
    fake.releasedSemaphores.clear();
    // The own process never counts, whatever its name.
    fake.processList = {{fake.processId, 1, u"Orvane.exe"}, {4000, 1, row.running}};
    if (row.failOp != nullptr) fake.FailCall(row.failOp, 5);

    EXPECT_EQ(app._AutoLaunchGate(), row.result);
    EXPECT_EQ(fake.waitTimeouts, std::vector<uint32_t>(row.timeout != kNone ? 1 : 0, row.timeout));
    EXPECT_TRUE(fake.releasedSemaphores.empty());
    std::u16string launchFrom;
    EXPECT_EQ(app.commandLine().GetSwitchValue(u"launch_from", &launchFrom), row.launchFrom != nullptr);
    EXPECT_EQ(Narrow(launchFrom), row.launchFrom != nullptr ? row.launchFrom : "");
    EXPECT_FALSE(app.commandLine().HasSwitch(u"auto_launch_delay_seconds"));  // never handed on
    EXPECT_TRUE(row.logged == nullptr || Log().find(row.logged) != std::string::npos) << Log();
    // The wake-up semaphore exists only while a launcher waits on it.
    EXPECT_TRUE(fake.existingSemaphores.empty());
  }
}

TEST_F(AutoLaunchGateTest, MutexIsHeldOnceTakenAndTheUpdateProbeLetsGo) {
  Prime();
  EXPECT_EQ(app._AutoLaunchGate(), 0);
  EXPECT_EQ(app._AutoLaunchGate(), 0);
  EXPECT_EQ(fake.CallCount("NewMutex"), 1u);
  EXPECT_EQ(fake.CallCount("CloseObject"), 0u);
  // A free update mutex is owned only for the moment of the probe.
  EXPECT_FALSE(app._IsUpdating());
  EXPECT_FALSE(app._IsUpdating());
  EXPECT_EQ(fake.CallCount("CloseObject"), 2u);
  fake.heldMutexes.push_back(kUpdateMutexName);
  EXPECT_TRUE(app._IsUpdating());
  fake.heldMutexes.clear();
  fake.FailCall("NewMutex", 5);
  EXPECT_TRUE(app._IsUpdating());
}

}  // namespace
