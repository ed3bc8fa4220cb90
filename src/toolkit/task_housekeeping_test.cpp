#include "toolkit/task_housekeeping.h"

#include <algorithm>
#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/files/fake_file_versions.h"
#include "platform/processes/named_events.h"
#include "platform/protected_files/fake_protected_files.h"
#include "platform/system/fake_admin_check.h"
#include "platform/tasks/fake_task_scheduler.h"

namespace {

using launcher_test::ReadAll;
using launcher_test::WinPath;
using launcher_test::WriteAll;
using platform::FakeTaskScheduler;
namespace fs = std::filesystem;

constexpr char16_t kTask[] = u"OrvaneUpdateTaskMachineUA";
constexpr char16_t kUsSubBlock[] = u"\\StringFileInfo\\040904b0\\ProductVersion";
constexpr int32_t kNoTask = static_cast<int32_t>(0x80070002u);
constexpr int32_t kEFail = static_cast<int32_t>(0x80004005u);
constexpr int32_t kNotImpl = static_cast<int32_t>(0x80004001u);

class HousekeepingTest : public launcher_test::LauncherTest {
 protected:
  HousekeepingTest() {
    Prime();  // an open log
    launcher = WinPath(root / "Orvane.exe");
    MakeExe("Orvane.exe");
  }
  void SetVersion(const std::u16string& version) { versions.records[launcher].strings[kUsSubBlock] = version; }
  platform::FakeFileVersions versions;
  std::u16string launcher;
};

TEST_F(HousekeepingTest, LauncherVersionRows) {
  struct Row {  // version: null when the record has no ProductVersion
    const char16_t* version; bool hasTranslation; uint16_t language, codePage; const char16_t* subBlock; bool expected;
  } rows[] = {
      {u"6.1.0", true, 0x0409, 1200, kUsSubBlock, true},
      {u"6.0.9", true, 0x0409, 1200, kUsSubBlock, false},
      {u"6.10.0", true, 0x0409, 1200, kUsSubBlock, true},  // numeric, not text order
      {u"10.0.0", true, 0x0409, 1200, kUsSubBlock, true},
      {u"1.0.0", true, 0x0409, 1200, kUsSubBlock, false},
      // The string is read under the first translation's own language and code page.
      {u"7.0.0", true, 0x0411, 0x04e4, u"\\StringFileInfo\\041104e4\\ProductVersion", true},
      {u"7.0.0", true, 0x0411, 0x04e4, kUsSubBlock, false},
      {u"7.0.0", false, 0, 0, kUsSubBlock, false},
      {nullptr, true, 0x0409, 1200, kUsSubBlock, false},
  };
  for (const Row& row : rows) {
    versions.records[launcher] = {row.hasTranslation, row.language, row.codePage, {}};
    if (row.version != nullptr) versions.records[launcher].strings[row.subBlock] = row.version;
    EXPECT_EQ(IsLauncherVersionSupported(launcher), row.expected)
        << launcher_test::Narrow(row.version ? row.version : u"(none)") << " " << launcher_test::Narrow(row.subBlock);
  }
  versions.records.clear();
  EXPECT_FALSE(IsLauncherVersionSupported(launcher));  // no version record
  versions.records[WinPath(root / "gone.exe")].strings[kUsSubBlock] = u"9.0.0";
  EXPECT_FALSE(IsLauncherVersionSupported(WinPath(root / "gone.exe")));  // no file
  EXPECT_NE(Log().find("launcher version is:6.0.9"), std::string::npos);
}

TEST_F(HousekeepingTest, RunUpdateTaskRows) {
  // version: of the task's launcher, null when the file is missing; logged: null for no
  // "Task run failed" line at all.
  struct Row {
    const char* name; bool taskExists; const char16_t* version; int32_t runFailure; uint32_t enginePid;
    int32_t expected; bool ran, stopped; const char* logged;
  } rows[] = {
      {"no task", false, u"6.1.0", 0, 0, kNoTask, false, false, nullptr},
      {"older launcher", true, u"6.0.9", 0, 0, kEFail, false, false, "Task run failed: 80004005"},
      {"launcher missing", true, nullptr, 0, 0, kEFail, false, false, "launcher version not support task"},
      {"run refused", true, u"6.1.0", kNotImpl, 0, kNotImpl, false, false, "Task run failed: 80004001"},
      {"no process id", true, u"6.1.0", 0, 0, kEFail, true, true, "Success! Task successfully run. pid:0"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    FakeTaskScheduler ts;
    const std::u16string path = row.version ? launcher : WinPath(root / "gone" / "Orvane.exe");
    if (row.taskExists) ts.tasks[kTask] = path;
    SetVersion(row.version ? row.version : u"9.9.9");
    if (row.runFailure != 0) ts.failures["RunTask"] = row.runFailure;
    ts.enginePid = row.enginePid;
    const size_t logBefore = Log().size();

    EXPECT_EQ(RunUpdateTask(u"Orvane", u"eyJhIjoxfQ=="), row.expected);
    EXPECT_EQ(ts.runs, row.ran ? std::vector<std::u16string>{u"eyJhIjoxfQ=="} : std::vector<std::u16string>{});
    EXPECT_EQ(std::count(ts.calls.begin(), ts.calls.end(), "StopTask"), row.stopped ? 1 : 0);
    // Every object handed out was released and COM left as found.
    EXPECT_EQ(std::make_pair(ts.liveObjects, ts.initialized), std::make_pair(0, 0));
    const std::string log = Log().substr(logBefore);
    if (row.logged == nullptr) {
      EXPECT_EQ(log.find("Task run failed"), std::string::npos) << log;
    } else {
      EXPECT_NE(log.find(row.logged), std::string::npos) << log;
    }
  }
}

// The launcher the task ran set its success event: with no process left to
// watch, the wait finds the event set and the run succeeds. Real events on
// the native platform.
TEST(RunUpdateTaskNative, SucceedsOnTheLaunchersEvent) {
  orvane_test::TempDir temp;
  const std::u16string launcher = temp.core() + u"\\Orvane.exe";
  WriteAll(temp.path() / "Orvane.exe", "MZ");
  platform::FakeFileVersions versions;
  versions.records[launcher].strings[kUsSubBlock] = u"6.1.0";
  FakeTaskScheduler ts;
  const std::string pid = std::to_string(platform::NativeService<platform::Environment>().ProcessId());
  const std::u16string prefix = u"OrvaneHousekeepingTest" + std::u16string(pid.begin(), pid.end());
  ts.tasks[prefix + u"UpdateTaskMachineUA"] = launcher;
  ts.enginePid = 0x7FFFFFF0u;  // no such process
  auto& events = platform::NativeService<platform::NamedEvents>();
  const platform::Handle event = events.CreateNamedEvent(prefix + u"RunTaskScheduleSuccessEvent", false, false);
  ASSERT_NE(event, nullptr);
  ASSERT_TRUE(events.SignalEvent(event));

  EXPECT_EQ(RunUpdateTask(prefix, u"param"), 0);
  EXPECT_EQ(ts.runs, std::vector<std::u16string>{u"param"});
  // The event was taken by the wait: it is no longer set.
  EXPECT_EQ(platform::NativeService<platform::Processes>().WaitOne(event, 0), platform::kWaitTimeout);
  platform::NativeService<platform::Processes>().CloseObject(event);
}

TEST_F(HousekeepingTest, DeleteUpdateTaskRows) {
  struct Row {
    const char* name; bool taskExists; const char16_t* expectedPath; int32_t deleteFailure, expected; bool remains;
    const char* logged;
  } rows[] = {
      {"same launcher, other case", true, u"c:\\PROGRAM FILES\\orvane\\orvane.EXE", 0, 0, false,
       "Delete task successfully."},
      {"another installation", true, u"D:\\Orvane\\Orvane.exe", 0, 0, true, "task path not match."},
      {"no task", false, u"C:\\Program Files\\Orvane\\Orvane.exe", 0, kNoTask, false, "not exist"},
      {"deletion refused", true, u"C:\\Program Files\\Orvane\\Orvane.exe", static_cast<int32_t>(0x80070005u),
       static_cast<int32_t>(0x80070005u), true, "Failed to delete task: 80070005"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    FakeTaskScheduler ts;
    if (row.taskExists) ts.tasks[kTask] = u"C:\\Program Files\\Orvane\\Orvane.exe";
    if (row.deleteFailure != 0) ts.failures["DeleteTask"] = row.deleteFailure;
    const size_t logBefore = Log().size();
    EXPECT_EQ(DeleteUpdateTask(kTask, row.expectedPath), row.expected);
    EXPECT_EQ(ts.tasks.count(kTask) == 1, row.remains);
    EXPECT_NE(Log().substr(logBefore).find(row.logged), std::string::npos);
    EXPECT_EQ(std::make_pair(ts.liveObjects, ts.initialized), std::make_pair(0, 0));
  }
}

class TaskLauncherCopyTest : public HousekeepingTest {
 protected:
  TaskLauncherCopyTest() {
    fs::create_directories(base_ / "common");
    files.commonProgramFiles = WinPath(base_ / "common");
    config.install_dir_name = u"Orvane";
    config.exe_file_name = u"Orvane.exe";
  }
  platform::FakeProtectedFiles files;
  platform::FakeAdminCheck admin;
  CProductConfig config;
};

TEST_F(TaskLauncherCopyTest, OnePathForEveryCaller) {
  EXPECT_EQ(GetTaskLauncherCopyPath(config), WinPath(base_ / "common" / "Orvane" / "Update" / "Orvane.exe"));
  struct Row { const char16_t* installDir; const char16_t* exe; bool folder; uint32_t error; } rows[] = {
      {u"..", u"Orvane.exe", true, 123}, {u"a\\b", u"Orvane.exe", true, 123}, {u"Orvane", u"c:x.exe", true, 123},
      {u"Orvane", u"Orvane.exe", false, 2},  // no Common Program Files folder (Linux)
  };
  for (const Row& row : rows) {
    CProductConfig other = config;
    other.install_dir_name = row.installDir;
    other.exe_file_name = row.exe;
    files.commonProgramFiles = row.folder ? WinPath(base_ / "common") : u"";
    EXPECT_EQ(GetTaskLauncherCopyPath(other), u"") << launcher_test::Narrow(row.installDir);
    EXPECT_EQ(fake.LastError(), row.error);
  }
}

TEST_F(TaskLauncherCopyTest, RemovalRows) {
  const std::u16string copy = GetTaskLauncherCopyPath(config);
  const fs::path copyFile = base_ / "common" / "Orvane" / "Update" / "Orvane.exe";
  // taskRuns: the path the product's task names (kTheCopy: the copy in upper
  // case), null for no task; kept: the copy stays.
  static constexpr char16_t kTheCopy[] = u"<copy>";
  constexpr int32_t kNoScheduler = static_cast<int32_t>(0x80040154u);
  struct Row {
    const char* what; bool present, elevated; const char16_t* taskRuns; int32_t schedulerFailure;
    uint32_t deleteFailure; bool result, kept; const char* logged;
  } rows[] = {
      {"no task", true, true, nullptr, 0, 0, true, false, "RemoveTaskLauncherCopy, removed "},
      {"the task runs another file", true, true, u"C:\\Program Files\\Orvane\\Orvane.exe", 0, 0, true, false,
       "RemoveTaskLauncherCopy, removed "},
      {"the task runs the copy", true, true, kTheCopy, 0, 0, false, true, "still runs"},
      {"the task's action cannot be read", true, true, u"", 0, 0, false, true, "still runs '', the copy stays"},
      {"not elevated", true, false, nullptr, 0, 0, false, true, "RemoveTaskLauncherCopy, not elevated"},
      {"no scheduler", true, true, nullptr, kNoScheduler, 0, false, true, "the scheduler cannot be asked (80040154)"},
      {"delete refused", true, true, nullptr, 0, 5, false, true, "delete failed, "},
      {"no copy", false, false, nullptr, 0, 0, true, false, nullptr},
  };
  std::u16string upperCopy = copy;
  for (char16_t& c : upperCopy) c = (c >= u'a' && c <= u'z') ? static_cast<char16_t>(c - 32) : c;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    fs::remove_all(base_ / "common" / "Orvane");
    fs::create_directories(copyFile.parent_path());
    if (row.present) WriteAll(copyFile, "MZ");
    admin.member = row.elevated;
    FakeTaskScheduler ts;
    if (row.taskRuns != nullptr) ts.tasks[kTask] = row.taskRuns == kTheCopy ? upperCopy : row.taskRuns;
    if (row.schedulerFailure != 0) ts.failures["CreateTaskService"] = row.schedulerFailure;
    if (row.deleteFailure != 0) fake.FailCall("DeleteOneFile", row.deleteFailure);
    const size_t logBefore = Log().size();

    EXPECT_EQ(RemoveTaskLauncherCopy(config), row.result);
    EXPECT_EQ(fs::exists(copyFile), row.kept);
    // The directories made for the copy go with it, the Common Program Files folder stays.
    EXPECT_EQ(fs::exists(base_ / "common" / "Orvane"), row.kept);
    EXPECT_TRUE(fs::is_directory(base_ / "common"));
    if (row.logged != nullptr) {
      EXPECT_NE(Log().substr(logBefore).find(row.logged), std::string::npos) << Log();
    }
    EXPECT_EQ(std::make_pair(ts.liveObjects, ts.initialized), std::make_pair(0, 0));
  }
}

TEST_F(HousekeepingTest, MoveUpdateReportRows) {
  const fs::path source = base_ / "local" / "Data" / "update" / "update_report.json";
  const fs::path target = base_ / "target" / "update_report.json";
  const std::u16string targetDir = WinPath(base_ / "target");

  MoveUpdateReport(u"Data", targetDir);  // no report: nothing moves, the directory is made
  EXPECT_TRUE(fs::is_directory(source.parent_path()));
  EXPECT_FALSE(fs::exists(target));

  WriteAll(source, "new");
  WriteAll(target, "old");
  MoveUpdateReport(u"Data", targetDir);
  EXPECT_EQ(ReadAll(target), "new");
  EXPECT_FALSE(fs::exists(source));

  // A target that cannot be deleted is logged and the move is still tried.
  WriteAll(source, "newer");
  fake.FailCall("DeleteOneFile", 5);
  MoveUpdateReport(u"Data", targetDir);
  EXPECT_EQ(ReadAll(target), "new");
  EXPECT_TRUE(fs::exists(source));
  const std::string log = Log();
  EXPECT_NE(log.find("failed, error=5"), std::string::npos) << log;
  EXPECT_NE(log.find("move failed,"), std::string::npos) << log;
}

TEST_F(HousekeepingTest, DeleteDataMarkerRows) {
  const fs::path roaming = base_ / "roaming";
  fs::create_directories(roaming);
  fake.SetEnvValue(u"APPDATA", WinPath(roaming));
  const fs::path marker = roaming / "delete_electron_data.task";
  CProductConfig config;
  config.data_dir = u"Orvane";
  config.version_dir_name = u"app";

  struct Row { const char* ini; const char16_t* dataDir; bool marked; } rows[] = {  // ini: null for none
      {nullptr, u"Orvane", false},
      {"APP", u"Orvane", false},  // the recorded directory is the configured one
      {"1.78.4", u"", false},     // data_dir equals the (empty) old data directory
      {"1.78.4", u"Orvane", true},
  };
  for (const Row& row : rows) {
    fs::remove(marker);
    fs::remove(root / "Orvane.ini");
    if (row.ini) WriteAll(root / "Orvane.ini", row.ini);
    config.data_dir = row.dataDir;
    CreateDeleteDataMarker(config, WinPath(root));
    EXPECT_EQ(fs::exists(marker), row.marked) << (row.ini ? row.ini : "(no ini)");
  }
  EXPECT_EQ(ReadAll(marker), "2025-11-14 13:22:06.123");

  // Found where it was made: the old data directory is the roaming directory itself.
  EXPECT_EQ(FindDeleteDataMarker(config, u"ignored", false), WinPath(roaming) + u"\\");
  EXPECT_TRUE(fs::exists(marker));
  EXPECT_EQ(FindDeleteDataMarker(config, u"ignored", true), WinPath(roaming) + u"\\");
  EXPECT_FALSE(fs::exists(marker));
  EXPECT_EQ(FindDeleteDataMarker(config, u"ignored", true), u"");
  WriteAll(marker, "x");
  config.data_dir = u"";
  EXPECT_EQ(FindDeleteDataMarker(config, u"ignored", true), u"");
}

}  // namespace
