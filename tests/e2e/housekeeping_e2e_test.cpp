// The unprivileged side of the broker with real processes: the wait for the
// launcher that the task ran, in every order of its event and its end, and
// the launcher itself as the task would run it. Under Wine the toolkit also
// meets Wine's real task scheduler; Wine never runs a registered task (see
// docs/WINE.md), so the two halves of an update request are proven apart.
#include <string>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"
#include "maintenance/task_schedule.h"
#include "platform/processes/named_events.h"
#include "platform/protected_files/protected_files.h"
#include "platform/text/unicode.h"
#include "toolkit/task_housekeeping.h"

namespace e2e {
namespace {

constexpr char16_t kSuccessEvent[] = u"OrvaneRunTaskScheduleSuccessEvent";

// What the probe does in place of the launcher that a task ran.
struct Part {
  bool signal = false;   // sets the success event
  bool hold = false;     // stays until the test lets it go
  std::u16string exit = u"0";
};

class TaskResultTest : public ::testing::Test {
 protected:
  TaskResultTest() : box_("TaskResult"), release_(box_.base() / "release") {}

  // Starts the probe with the behaviour; the environment is restored after.
  platform::ProcessInfo Start(const Part& part) {
    const std::u16string event = kSuccessEvent, hold = Native16(release_);
    platform::Service<platform::Environment>().SetEnv(u"ORVANE_PROBE_SIGNAL", part.signal ? &event : nullptr);
    platform::Service<platform::Environment>().SetEnv(u"ORVANE_PROBE_HOLD", part.hold ? &hold : nullptr);
    platform::Service<platform::Environment>().SetEnv(u"ORVANE_PROBE_EXIT", &part.exit);
    platform::ProcessInfo child;
    EXPECT_TRUE(box_.Start(ProbeProgram(), "", &child));
    for (const char16_t* name : {u"ORVANE_PROBE_SIGNAL", u"ORVANE_PROBE_HOLD", u"ORVANE_PROBE_EXIT"}) {
      platform::Service<platform::Environment>().SetEnv(name, nullptr);
    }
    return child;
  }
  void Release() { WriteFile(release_, ""); }

  Sandbox box_;
  fs::path release_;
};

TEST_F(TaskResultTest, EveryOrderOfEventAndEnd) {
  const struct {
    const char* what;
    Part part;
    bool expected;
  } rows[] = {
      {"the event fires while the launcher still runs", {true, true, u"0"}, true},
      {"the launcher ends with 1 and no event", {false, false, u"1"}, true},
      {"the launcher ends with 0 before any event", {false, false, u"0"}, false},
      {"the launcher ends with 2 before any event", {false, false, u"2"}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    fs::remove(release_);
    const platform::ProcessInfo child = Start(row.part);
    EXPECT_EQ(WaitForTaskResult(kSuccessEvent, child.pid), row.expected);
    Release();
    EXPECT_TRUE(box_.Wait(child).finished);
  }
}

// The process has ended and all its handles are closed by the time of the
// wait, so only the event is left to wait for.
TEST_F(TaskResultTest, AGoneLauncherLeavesOnlyTheEvent) {
  auto& env = platform::Service<platform::Environment>();
  auto& processes = platform::Service<platform::Processes>();
  platform::ProcessInfo child;
  const std::u16string event = kSuccessEvent, code = u"1";
  env.SetEnv(u"ORVANE_PROBE_SIGNAL", &event);
  env.SetEnv(u"ORVANE_PROBE_EXIT", &code);
  ASSERT_TRUE(processes.StartProcess(u"\"" + platform::Utf8ToUtf16(WinForm(ProbeProgram())) + u"\"", u"", &child));
  env.SetEnv(u"ORVANE_PROBE_SIGNAL", nullptr);
  env.SetEnv(u"ORVANE_PROBE_EXIT", nullptr);
  ASSERT_EQ(processes.WaitOne(child.process, 15000), platform::kWaitObject0);
  processes.CloseObject(child.process);
  processes.CloseObject(child.thread);
#ifdef _WIN32
  // Wine keeps an ended process open to OpenProcess, exit code and all, after
  // its last handle is closed (docs/WINE.md): an identifier no process has
  // stands in for it there.
  child.pid = 0x7FFFFFF0u;
#endif

  // Set before the waiting side created it, and gone with its last handle:
  // the new event is not set, and the wait gives up after its 3 seconds.
  EXPECT_FALSE(WaitForTaskResult(kSuccessEvent, child.pid));

  // Set and still held by another: found at once.
  auto& events = platform::Service<platform::NamedEvents>();
  const platform::Handle held = events.CreateNamedEvent(kSuccessEvent, false, false);
  ASSERT_NE(held, nullptr);
  ASSERT_TRUE(events.SignalEvent(held));
  EXPECT_TRUE(WaitForTaskResult(kSuccessEvent, child.pid));
  processes.CloseObject(held);
}

// The launcher as the scheduled task runs it, watched as RunUpdateTask
// watches it: a child the broker accepts is started and the wait answers
// yes; a child of a foreign signer is refused, never runs, and the wait
// answers no.
TEST(UpdateRoundTrip, TheWaitingSideLearnsWhatTheBrokerDid) {
  struct Row {
    const char* launcher;  // a program in the signed set, or "" for the launcher as built
    const char* child;     // likewise, or "" for the probe
    bool accepted;
  };
  std::vector<Row> rows = {{"", "", true}};
#ifdef _WIN32
  rows = {{"launcher-corvel.exe", "probe-corvel.exe", true}, {"launcher-corvel.exe", "probe-foreign.exe", false}};
#endif
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.launcher) + " " + row.child);
    Sandbox box("RoundTrip");
    const fs::path child = box.InstallBrokerPair(*row.launcher ? SignedDir() / row.launcher : LauncherProgram(),
                                                 *row.child ? SignedDir() / row.child : ProbeProgram());
    platform::ProcessInfo run;
    ASSERT_TRUE(box.Start(box.root() / "Orvane.exe", BrokerSwitches(child), &run));
    EXPECT_EQ(WaitForTaskResult(kSuccessEvent, run.pid), row.accepted);
    const RunResult result = box.Wait(run);
    EXPECT_TRUE(EndedWith(result, row.accepted ? 1 : -14));
    if (row.accepted) {
      EXPECT_EQ(box.WaitForRecords(1).size(), 1u);
    } else {
      EXPECT_TRUE(box.Records().empty()) << "a refused child ran";
    }
  }
}

#ifdef _WIN32
// Wine's real scheduler: a task registered as the launcher registers it, with
// the copy's path, is found, and what the toolkit reads of it decides. Wine
// stores the action without its path, so the launcher behind the task cannot
// be shown to be recent enough and the task is not run; a removal that names
// the copy finds another path and leaves the task; and since the task's action
// cannot be read, the copy stays until the task is gone.
TEST(TaskHousekeeping, MeetsWinesScheduler) {
  const CProductConfig config = ShippedNames();
  ClearLeftoverTask();
  TaskLauncherLocation location;
  ASSERT_TRUE(GetTaskLauncherLocation(config, &location));
  auto& files = platform::Service<platform::ProtectedFiles>();
  for (const std::u16string& level : location.levels) files.CreateProtectedDirectory(level);
  ASSERT_TRUE(files.CopyFileTo(Native16(LauncherProgram()), location.path));
  ASSERT_EQ(RegisterUpdateTask(u"OrvaneUpdateTaskMachineUA", location.path, u"--command=run_update $(Arg0)", u"d"), 0);

  EXPECT_EQ(RunUpdateTask(u"Orvane", u"--run-type=run_update"), static_cast<int32_t>(0x80004005u));
  EXPECT_EQ(DeleteUpdateTask(u"OrvaneUpdateTaskMachineUA", location.path), 0);
  EXPECT_FALSE(RemoveTaskLauncherCopy(config));
  EXPECT_TRUE(platform::Service<platform::Files>().PathExists(location.path));
  EXPECT_EQ(DeleteUpdateTask(u"OrvaneUpdateTaskMachineUA", u""), 0);  // the path Wine gives back
  EXPECT_EQ(DeleteUpdateTask(u"OrvaneUpdateTaskMachineUA", u""), static_cast<int32_t>(0x80070002u));
  EXPECT_EQ(RunUpdateTask(u"Orvane", u"x"), static_cast<int32_t>(0x80070002u));
  EXPECT_TRUE(RemoveTaskLauncherCopy(config));
  EXPECT_FALSE(platform::Service<platform::Files>().PathExists(location.path));
  EXPECT_FALSE(platform::Service<platform::Files>().PathExists(location.levels.front()));
}
#endif

}  // namespace
}  // namespace e2e
