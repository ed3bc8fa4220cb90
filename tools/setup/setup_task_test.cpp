#include "setup_task.h"

#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "platform/protected_files/fake_protected_files.h"
#include "platform/system/fake_admin_check.h"
#include "platform/tasks/fake_task_scheduler.h"
#include "toolkit/task_housekeeping.h"

namespace {

using launcher_test::WinPath;
using launcher_test::WriteAll;
namespace fs = std::filesystem;

constexpr char16_t kTask[] = u"OrvaneUpdateTaskMachineUA";

class UninstallTaskTest : public launcher_test::LauncherTest {
 protected:
  UninstallTaskTest() {
    Prime();  // an open log
    fs::create_directories(base_ / "common");
    files.commonProgramFiles = WinPath(base_ / "common");
    config.install_dir_name = u"Orvane";
    config.exe_file_name = u"Orvane.exe";
  }
  platform::FakeProtectedFiles files;
  platform::FakeAdminCheck admin;
  CProductConfig config;
};

// The scheduler calls that decide, in the order made: each GetTask, each
// action path read, each deletion.
std::string Decisive(const std::vector<std::string>& calls) {
  std::string out;
  for (const std::string& call : calls) {
    if (call == "GetTask" || call == "GetPath" || call == "DeleteTask") out += (out.empty() ? "" : ",") + call;
  }
  return out;
}

TEST_F(UninstallTaskTest, RemovesTheTaskThenTheCopyInOrder) {
  const std::u16string rootLauncher = WinPath(root / "Orvane.exe");
  const fs::path copyFile = base_ / "common" / "Orvane" / "Update" / "Orvane.exe";
  // runs: the path the product's task names ("<copy>": the copy; "": an action
  // that reads back empty, as Wine's scheduler hands it back), null for no task.
  struct Row {
    const char* what; const char16_t* runs; bool elevated; int32_t schedulerFailure;
    const char* calls; bool taskStays, copyStays; const char* said;
  } rows[] = {
      {"per-machine install", u"<root>", true, 0, "GetTask,GetPath,DeleteTask,GetTask,GetTask", false, false,
       "0x00000000 (root's launcher), 0x80070002 (copy); no launcher copy left"},
      {"per-user install", u"<copy>", true, 0, "GetTask,GetPath,GetTask,GetPath,DeleteTask,GetTask", false, false,
       "0x00000000 (root's launcher), 0x00000000 (copy); no launcher copy left"},
      {"another installation's task", u"D:\\Other\\Orvane.exe", true, 0,
       "GetTask,GetPath,GetTask,GetPath,GetTask,GetPath", true, false, "no launcher copy left"},
      {"Wine: no action path", u"", true, 0, "GetTask,GetPath,GetTask,GetPath,GetTask,GetPath", true, true,
       "0x00000000 (root's launcher), 0x00000000 (copy); the launcher copy stays"},
      {"no task", nullptr, true, 0, "GetTask,GetTask,GetTask", false, false,
       "0x80070002 (root's launcher), 0x80070002 (copy); no launcher copy left"},
      {"not elevated", u"<copy>", false, 0, "GetTask,GetPath,GetTask,GetPath,DeleteTask", false, true,
       "the launcher copy stays"},
      {"no scheduler", u"<root>", true, static_cast<int32_t>(0x80040154u), "GetTask,GetPath,GetTask,GetPath", true, false,
       "0x80040154 (root's launcher), 0x00000000 (copy)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    fs::remove_all(base_ / "common" / "Orvane");
    fs::create_directories(copyFile.parent_path());
    WriteAll(copyFile, "MZ");
    admin.member = row.elevated;
    platform::FakeTaskScheduler ts;
    const std::u16string runs = row.runs == nullptr ? u"" : row.runs;
    if (row.runs != nullptr) {
      ts.tasks[kTask] = runs == u"<root>" ? rootLauncher : runs == u"<copy>" ? GetTaskLauncherCopyPath(config) : runs;
    }
    // The scheduler is out of reach for the first removal only.
    if (row.schedulerFailure != 0) ts.failures["CreateTaskService"] = row.schedulerFailure;

    const setup::TaskRemoval removal = setup::RemoveUpdateTask(config, WinPath(root), u"Orvane.exe");
    EXPECT_EQ(Decisive(ts.calls), row.calls);
    EXPECT_EQ(ts.tasks.count(kTask) == 1, row.taskStays);
    EXPECT_EQ(fs::exists(copyFile), row.copyStays);
    EXPECT_NE(setup::DescribeTaskRemoval(removal).find(row.said), std::string::npos)
        << setup::DescribeTaskRemoval(removal);
    EXPECT_EQ(std::make_pair(ts.liveObjects, ts.initialized), std::make_pair(0, 0));
  }
}

TEST_F(UninstallTaskTest, WithoutAPlaceForTheCopyOneRemovalIsMade) {
  files.commonProgramFiles = u"";  // as on Linux
  platform::FakeTaskScheduler ts;
  ts.tasks[kTask] = WinPath(root / "Orvane.exe");
  const setup::TaskRemoval removal = setup::RemoveUpdateTask(config, WinPath(root), u"Orvane.exe");
  EXPECT_EQ(Decisive(ts.calls), "GetTask,GetPath,DeleteTask");
  EXPECT_EQ(setup::DescribeTaskRemoval(removal),
            "update task: removal answered 0x00000000; no place for a launcher copy here");
}

}  // namespace
