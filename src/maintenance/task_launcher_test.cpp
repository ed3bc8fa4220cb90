#include "maintenance/task_launcher.h"

#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "layout/task_launcher_path.h"
#include "platform/code_trust/fake_code_trust.h"
#include "platform/files/fake_file_versions.h"
#include "platform/protected_files/fake_protected_files.h"
#include "platform/system/fake_admin_check.h"
#include "platform/system/fake_system_libraries.h"
#include "platform/tasks/fake_task_scheduler.h"

namespace {

namespace fs = std::filesystem;
using launcher_test::Narrow;
using launcher_test::ReadAll;
using launcher_test::WinPath;
using launcher_test::WriteAll;
using platform::FakeProtectedFiles;
using platform::FileSecurity;

constexpr char16_t kUsSubBlock[] = u"\\StringFileInfo\\040904b0\\ProductVersion";
constexpr char kLauncherBytes[] = "MZ launcher 6.2.0";
constexpr char kCopyBytes[] = "MZ copy in place";

// A Windows-form path of the test's disk as this platform's own calls take it.
fs::path Disk(std::u16string path) {
#ifndef _WIN32
  for (char16_t& c : path) c = c == u'\\' ? u'/' : c;
#endif
  return fs::path(path);
}

// rebuild_taskschedule, elevated, in a fake world whose install root is a
// user's unless the row says otherwise.
class TaskLauncherTest : public launcher_test::LauncherTest {
 protected:
  TaskLauncherTest() {
    fs::create_directories(base_ / "common");
    files.commonProgramFiles = WinPath(base_ / "common");
    CProductConfig config;
    config.install_dir_name = u"Orvane";
    config.exe_file_name = u"Orvane.exe";
    copy = GetTaskLauncherCopyPath(config);
    copyDir = copy.substr(0, copy.rfind(u'\\'));
  }
  int32_t Run() {
    ResetApp();
    return app.Run(u"--command=rebuild_taskschedule");
  }
  std::string Report() const { return ReadAll(UserData() / "update" / "update_report.json"); }
  void PlaceCopy(const char16_t* version) {
    WriteAll(Disk(copy), kCopyBytes);
    versions.records[copy].strings[kUsSubBlock] = version;
  }

  platform::FakeAdminCheck admin;
  platform::FakeCodeTrust trust;
  platform::FakeSystemLibraries libraries;
  platform::FakeFileVersions versions;
  FakeProtectedFiles files;
  platform::FakeTaskScheduler ts;
  std::u16string copy, copyDir;
};

TEST_F(TaskLauncherTest, WhereTheTaskPointsAndWhatIsCopied) {
  FileSecurity usersWrite = FakeProtectedFiles::AdminOnly();
  usersWrite.entries.push_back({0, 0, 0x40000000u, platform::kSidUsers});
  enum Dir { kMissing, kThere, kUsers, kWritable };
  enum Action { kNoTask, kLauncher, kCopy };
  // inPlace: the version of a copy already there, null for none; holds: what the
  // copy's file holds afterwards (null: no file).
  struct Row {
    const char* what; bool perMachine; Dir dir; const char16_t* inPlace; bool running; const char* failOp;
    uint32_t failError; bool userOwnedCopy; Action action; const char* holds; int32_t ret; const char* logged;
  } rows[] = {
      {"per-user root: copy made", false, kMissing, nullptr, false, nullptr, 0, false, kCopy, kLauncherBytes, 0,
       "PrepareTaskLauncher, launcher copied, "},
      {"per-machine root: no copy", true, kMissing, nullptr, false, nullptr, 0, false, kLauncher, nullptr, 0,
       "PrepareTaskLauncher, the install root is administrators-only, the task runs "},
      {"directory made by a user", false, kUsers, nullptr, false, nullptr, 0, false, kNoTask, nullptr, -2147024891,
       "PrepareTaskLauncher, directory refused: "},
      {"directory users may write", false, kWritable, nullptr, false, nullptr, 0, false, kNoTask, nullptr,
       -2147024891, " lets S-1-5-32-545 write, append"},
      {"newer copy kept", false, kThere, u"7.0.0", false, nullptr, 0, false, kCopy, kCopyBytes, 0,
       "PrepareTaskLauncher, newer copy kept, version=7.0.0, launcher version=6.2.0"},
      {"older copy replaced", false, kThere, u"6.1.0", false, nullptr, 0, false, kCopy, kLauncherBytes, 0,
       "PrepareTaskLauncher, launcher copied, "},
      {"the same version refreshed", false, kThere, u"6.2.0", false, nullptr, 0, false, kCopy, kLauncherBytes, 0,
       "PrepareTaskLauncher, launcher copied, "},
      {"running copy of the same version kept", false, kThere, u"6.2.0", true, nullptr, 0, false, kCopy, kCopyBytes,
       0, "PrepareTaskLauncher, copy in place kept, move failed, error=5, version=6.2.0"},
      {"running older copy: no task", false, kThere, u"6.1.9", true, nullptr, 0, false, kNoTask, kCopyBytes,
       -2147024891, "PrepareTaskLauncher, move failed, "},
      {"failed copy: no task", false, kMissing, nullptr, false, "CopyFileTo", 112, false, kNoTask, nullptr,
       -2147024784, "PrepareTaskLauncher, copy failed, "},
      {"the new file is not the administrators'", false, kMissing, nullptr, false, nullptr, 0, true, kNoTask, nullptr,
       -2147024891, "PrepareTaskLauncher, copy refused: "},
      {"directory cannot be made", false, kMissing, nullptr, false, "CreateProtectedDirectory", 5, false, kNoTask,
       nullptr, -2147024891, "PrepareTaskLauncher, create directory failed, "},
      {"no Common Program Files", false, kMissing, nullptr, false, "CommonProgramFilesFolder", 2, false, kNoTask,
       nullptr, -2147024894, "PrepareTaskLauncher, no place for the copy, error=2"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    fs::remove_all(base_ / "common");
    fs::create_directories(base_ / "common");
    WriteAll(root / "Orvane.exe", kLauncherBytes);
    files.security.clear();
    files.running.clear();
    files.copiedFile = row.userOwnedCopy ? FakeProtectedFiles::UserOwned() : FakeProtectedFiles::AdminOnly();
    if (!row.perMachine) {
      files.Set(WinPath(root), FakeProtectedFiles::UserOwned());
      files.Set(fake.modulePath, FakeProtectedFiles::UserOwned());
    }
    if (row.dir != kMissing) fs::create_directories(Disk(copyDir));
    if (row.dir == kUsers) files.Set(copyDir, FakeProtectedFiles::UserOwned());
    if (row.dir == kWritable) files.Set(copyDir, usersWrite);
    versions.records.clear();
    versions.records[fake.modulePath].strings[kUsSubBlock] = u"6.2.0";
    if (row.inPlace != nullptr) PlaceCopy(row.inPlace);
    if (row.running) files.running.insert(copy);
    if (row.failOp != nullptr) files.failures[row.failOp] = row.failError;
    ts.registered.clear();
    ts.deleted.clear();

    EXPECT_EQ(Run(), 0);
    // The earlier task is gone whatever happens next.
    EXPECT_EQ(ts.deleted, std::vector<std::u16string>{u"OrvaneUpdateTaskMachineUA"});
    ASSERT_EQ(ts.registered.size(), row.action == kNoTask ? 0u : 1u);
    if (row.action != kNoTask) {
      EXPECT_EQ(Narrow(ts.registered[0].definition.path), Narrow(row.action == kCopy ? copy : fake.modulePath));
    }
    EXPECT_NE(Report().find("\"extra2_key\":\"ret\",\"extra2_val\":\"" + std::to_string(row.ret) + "\""),
              std::string::npos)
        << Report();
    EXPECT_NE(Log().find(row.logged), std::string::npos) << Log();
    EXPECT_EQ(Log().find("Cannot place the launcher the task runs: ") != std::string::npos, row.ret != 0);
    EXPECT_EQ(ReadAll(Disk(copy)), row.holds != nullptr ? row.holds : "");
    EXPECT_EQ(fs::exists(Disk(copy)), row.holds != nullptr);
    // Nothing half-written is left beside the copy.
    if (fs::is_directory(Disk(copyDir))) {
      for (const auto& entry : fs::directory_iterator(Disk(copyDir))) {
        EXPECT_EQ(entry.path().filename(), "Orvane.exe");
      }
    }
  }
}

}  // namespace
