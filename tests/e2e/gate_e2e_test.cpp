// The gate between real launcher processes: the single-instance mutex, the
// wake-up semaphore of a delayed automatic start, the running-application
// check, and the update mutex held by an updater (here: this test).
#include <chrono>
#include <string>
#include <vector>

#include "e2e_log.h"
#include "e2e_support.h"
#include "gtest/gtest.h"

namespace e2e {
namespace {

platform::Platform& P() { return platform::Get(); }

const char16_t kWakeSemaphore[] = u"{D2803213-8F84-47FD-8B7A-5E01ECF1CE7F}";
const char16_t kUpdateMutex[] = u"Global\\75D6C22E-157E-48E7-A43A-F614F589B522";

int64_t NowMsMonotonic() { return static_cast<int64_t>(P().MonotonicNs() / 1000000); }

// Waits until a launcher waits on the wake-up semaphore (it exists only then).
bool WaitForWakeSemaphore(uint32_t timeoutMs) {
  const int64_t deadline = NowMsMonotonic() + timeoutMs;
  while (NowMsMonotonic() < deadline) {
    if (platform::Handle h = P().OpenSemaphoreByName(2 /* SEMAPHORE_MODIFY_STATE */, kWakeSemaphore)) {
      P().CloseObject(h);
      return true;
    }
    P().SleepMs(10);
  }
  return false;
}

TEST(Gate, SecondLauncherCutsTheDelayShortAndEnds) {
  Sandbox box("GateCutShort");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");

  const int64_t started = NowMsMonotonic();
  Child first;
  ASSERT_TRUE(box.Start(launcher, "--launch_from=auto-launch --auto_launch_delay_seconds=30 --keep=1", &first));
  ASSERT_TRUE(WaitForWakeSemaphore(10000)) << "the first launcher never waited";

  // A maintenance command changes nothing: the gate comes first.
  const RunResult second = box.Run(launcher, "--command=run_update");
  ASSERT_TRUE(second.finished);
  EXPECT_TRUE(SameExitCode(second.exitCode, -16)) << second.exitCode;

  const RunResult firstResult = box.Wait(first, 20000);
  ASSERT_TRUE(firstResult.finished);
  EXPECT_TRUE(SameExitCode(firstResult.exitCode, 0)) << firstResult.exitCode;
  EXPECT_LT(NowMsMonotonic() - started, 20000) << "the delay was not cut short";

  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  ASSERT_EQ(records[0].argv.size(), 2u);
  EXPECT_EQ(records[0].argv[0], "--keep=1");  // neither launch_from nor the delay
  EXPECT_EQ(records[0].argv[1].rfind("--start_time=", 0), 0u);

  const LogView log(box.LogPath());
  const std::vector<size_t> signal = FindMessage(log, "Signal sent. Current instance will exit.");
  ASSERT_EQ(signal.size(), 1u) << log.Dump();
  EXPECT_EQ(log.lines[signal[0]].pidField, Pid5(second.pid));
  const std::vector<size_t> immediate = FindMessage(log, "Immediate launch app, remove auto-launch switch");
  ASSERT_EQ(immediate.size(), 1u) << log.Dump();
  EXPECT_EQ(log.lines[immediate[0]].pidField, Pid5(first.pid));
  // The second launcher neither surveyed its arguments nor ran its command.
  for (const LogLine& line : log.lines) {
    if (line.pidField == Pid5(second.pid)) {
      EXPECT_NE(line.message.rfind("CmdLine size", 0), 0u);
    }
  }
  EXPECT_EQ(ReadFile(box.ReportPath()), "");
}

TEST(Gate, DelayThatRunsOutLaunchesAsAutomaticStart) {
  Sandbox box("GateTimeout");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");
  const int64_t started = NowMsMonotonic();
  const RunResult run = box.Run(launcher, "--launch_from=auto-launch --auto_launch_delay_seconds=1");
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
  EXPECT_GE(NowMsMonotonic() - started, 1000);

  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  ASSERT_EQ(records[0].argv.size(), 2u);
  EXPECT_EQ(records[0].argv[0], "--launch_from=auto-launch");
  const LogView log(box.LogPath());
  EXPECT_EQ(FindMessage(log, "Launch app after delay 1 seconds").size(), 1u) << log.Dump();
}

TEST(Gate, RunningApplicationAfterTheDelayStartsNothing) {
  Sandbox box("GateAppRunning");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");

  // The application, already running from elsewhere under its own name.
  const fs::path running = box.base() / "running" / "Orvane.exe";
  fs::create_directories(running.parent_path());
  fs::copy_file(ProbeProgram(), running);
  const fs::path runningRecord = box.base() / "running.jsonl";
  SetEnv(u"ORVANE_PROBE_RECORD", Native16(runningRecord));
  SetEnv(u"ORVANE_PROBE_STAY_MS", u"30000");
  Child app;
  const bool appStarted = box.Start(running, "", &app);
  SetEnv(u"ORVANE_PROBE_RECORD", Native16(box.RecordPath()));
  UnsetEnv(u"ORVANE_PROBE_STAY_MS");
  ASSERT_TRUE(appStarted);
  for (int i = 0; i < 500 && ReadFile(runningRecord).empty(); ++i) P().SleepMs(10);
  ASSERT_FALSE(ReadFile(runningRecord).empty()) << "the running application never started";

  const RunResult run = box.Run(launcher, "--launch_from=auto-launch --auto_launch_delay_seconds=1");
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, -19)) << run.exitCode;
  P().SleepMs(200);
  EXPECT_TRUE(box.Records().empty());
  EXPECT_FALSE(fs::exists(box.IniPath()));
  const LogView log(box.LogPath());
  EXPECT_EQ(FindMessage(log, "App is running, skip auto launch").size(), 1u) << log.Dump();
  EXPECT_TRUE(FindMessage(log, "CmdLine size is 0").empty());

  P().Terminate(app.process, 0);
}

// While an updater holds the update mutex, every invocation shows the
// updating box in the language of the run and ends with -11.
TEST(Gate, HeldUpdateMutexStopsEveryInvocation) {
  Sandbox box("GateUpdating");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");

  platform::Handle updating = P().NewMutex(kUpdateMutex, true);
  ASSERT_NE(updating, nullptr);
  ASSERT_EQ(P().LastError(), 0u) << "the update mutex is held elsewhere";

  struct Row {
    const char* arguments;
    const char* boxText;
  };
  const Row rows[] = {
      {"--lang=en", "Orvane is updating, it will be automatically launched after completion.Please wait."},
      {"--lang=cn --command=run_update", "奥瓦内正在更新,完成后将会自动拉起,请稍后。"},
      {"--lang=jp --command=run_uninstall", "奥瓦内の更新中です。しばらくお待ちください。"},
      {"--launch_from=auto-launch --auto_launch_delay_seconds=30", nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.arguments);
    const RunResult run = box.RunCapturingStderr(launcher, row.arguments);
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(SameExitCode(run.exitCode, -11)) << run.exitCode;
#ifndef _WIN32
    if (row.boxText != nullptr) {
      EXPECT_NE(run.stderrText.find(row.boxText), std::string::npos) << run.stderrText;
    }
#endif
  }
  EXPECT_TRUE(box.Records().empty());
  {
    const LogView log(box.LogPath());
    EXPECT_TRUE(FindMessage(log, "CmdLine size is 0").empty()) << log.Dump();
  }

  // The updater is done: the next start goes through.
  P().CloseObject(updating);
  const RunResult run = box.Run(launcher, "");
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
  EXPECT_EQ(box.WaitForRecords(1).size(), 1u);
}

}  // namespace
}  // namespace e2e
