// The gate between real launcher processes: the single-instance mutex, the
// wake-up semaphore of a delayed automatic start, and the update mutex held
// by an updater (here: this test). A delay that runs out and a running
// application are rows of AutoLaunchGateTest.StateTable and RunTest.OutcomeRows.
#include <string>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"

namespace e2e {
namespace {

const char kDelayed[] = "--launch_from=auto-launch --auto_launch_delay_seconds=";

int64_t NowMsMonotonic() { return static_cast<int64_t>(platform::Service<platform::Clock>().MonotonicNs() / 1000000); }

TEST(Gate, SecondLauncherCutsTheDelayShortAndEnds) {
  Sandbox box("GateCutShort");
  const fs::path launcher = box.InstallWithApp();

  const int64_t started = NowMsMonotonic();
  platform::ProcessInfo first;
  ASSERT_TRUE(box.Start(launcher, std::string(kDelayed) + "30 --keep=1", &first));
  // The wake-up semaphore exists only while a launcher waits on it.
  ASSERT_TRUE(PollFor(10000, [] {
    platform::Handle h = platform::Service<platform::Processes>().OpenSemaphoreByName(
        2 /* SEMAPHORE_MODIFY_STATE */, u"{D2803213-8F84-47FD-8B7A-5E01ECF1CE7F}");
    if (h != nullptr) platform::Service<platform::Processes>().CloseObject(h);
    return h != nullptr;
  })) << "the first launcher never waited";

  // A maintenance command changes nothing: the gate comes first.
  const RunResult second = box.Run(launcher, "--command=run_update");
  EXPECT_TRUE(EndedWith(second, -16));
  EXPECT_TRUE(EndedWith(box.Wait(first, 20000), 0));
  EXPECT_LT(NowMsMonotonic() - started, 20000) << "the delay was not cut short";

  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  ASSERT_EQ(records[0].argv.size(), 2u);
  EXPECT_EQ(records[0].argv[0], "--keep=1");  // neither launch_from nor the delay
  EXPECT_EQ(records[0].argv[1].rfind("--start_time=", 0), 0u);

  const LogView log(box.LogPath());
  const std::vector<size_t> signal = FindMessage(log, "Signal sent. Current instance will exit.");
  const std::vector<size_t> immediate = FindMessage(log, "Immediate launch app, remove auto-launch switch");
  ASSERT_TRUE(signal.size() == 1 && immediate.size() == 1) << log.Dump();
  EXPECT_EQ(log.lines[signal[0]].pidField, Pid5(second.pid));
  EXPECT_EQ(log.lines[immediate[0]].pidField, Pid5(first.pid));
  // The second launcher neither surveyed its arguments nor ran its command.
  for (const LogLine& line : log.lines) {
    EXPECT_FALSE(line.pidField == Pid5(second.pid) && line.message.rfind("CmdLine size", 0) == 0) << line.message;
  }
  EXPECT_EQ(ReadFile(box.ReportPath()), "");
}

// While an updater holds the update mutex, every invocation shows the
// updating box in the language of the run and ends with -11.
TEST(Gate, HeldUpdateMutexStopsEveryInvocation) {
  Sandbox box("GateUpdating");
  const fs::path launcher = box.InstallWithApp();

  platform::Handle updating =
      platform::Service<platform::Processes>().NewMutex(u"Global\\75D6C22E-157E-48E7-A43A-F614F589B522", true);
  ASSERT_NE(updating, nullptr);
  ASSERT_EQ(platform::LastError(), 0u) << "the update mutex is held elsewhere";
  const struct {
    std::string arguments;
    const char* boxText;
  } rows[] = {
      {"--lang=en", "Orvane is updating, it will be automatically launched after completion.Please wait."},
      {"--lang=cn --command=run_update", "奥瓦内正在更新,完成后将会自动拉起,请稍后。"},
      {"--lang=jp --command=run_uninstall", "奥瓦内の更新中です。しばらくお待ちください。"},
      {std::string(kDelayed) + "30", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    const RunResult run = box.Run(launcher, row.arguments);
    EXPECT_TRUE(EndedWith(run, -11));
#ifndef _WIN32
    if (row.boxText != nullptr) {
      EXPECT_NE(run.stderrText.find(row.boxText), std::string::npos) << run.stderrText;
    }
#endif
  }
  EXPECT_TRUE(box.Records().empty());
  EXPECT_TRUE(FindMessage(LogView(box.LogPath()), "CmdLine size is 0").empty());

  // The updater is done: the next start goes through.
  platform::Service<platform::Processes>().CloseObject(updating);
  EXPECT_TRUE(EndedWith(box.Run(launcher, ""), 0));
  EXPECT_EQ(box.WaitForRecords(1).size(), 1u);
}

}  // namespace
}  // namespace e2e
