#include "maintenance/task_schedule.h"

#include <string>
#include <tuple>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "maintenance/code_signature.h"
#include "platform/code_trust/fake_code_trust.h"
#include "platform/protected_files/fake_protected_files.h"
#include "platform/shell/fake_shell_execute.h"
#include "platform/system/fake_admin_check.h"
#include "platform/system/fake_system_libraries.h"
#include "platform/tasks/fake_task_scheduler.h"

namespace {

using launcher_test::ReadAll;
using platform::FakeTaskScheduler;

constexpr char16_t kExe[] = u"C:\\Program Files\\Orvane\\Orvane.exe";
constexpr char16_t kArgs[] = u"--command=run_update $(Arg0)";

class RegisterUpdateTaskTest : public launcher_test::LauncherTest {
 protected:
  RegisterUpdateTaskTest() { Prime(); }  // an open log
  FakeTaskScheduler ts;
};

TEST_F(RegisterUpdateTaskTest, BuildsAndRegistersTheWholeDefinition) {
  ts.answers["CoInitialize"] = 1;  // S_FALSE: the entry point initialised COM
  ts.answers["CoInitializeSecurity"] = static_cast<int32_t>(platform::kRpcETooLate);
  // Wine's refusals of the principal, and a missing earlier task, change nothing.
  ts.failures["PutLogonType"] = static_cast<int32_t>(0x80004001u);
  ts.failures["DeleteTask"] = static_cast<int32_t>(0x80070002u);
  ASSERT_EQ(RegisterUpdateTask(u"OrvaneUpdateTaskMachineUA", kExe, kArgs, u"Keep it fresh"), 0);

  ASSERT_EQ(ts.registered.size(), 1u);
  const FakeTaskScheduler::Registration& r = ts.registered[0];
  const FakeTaskScheduler::Definition& d = r.definition;
  EXPECT_EQ(std::tie(r.folder, r.name, r.flags, r.userId, r.logonType, r.sddl),
            std::make_tuple(u"\\", u"OrvaneUpdateTaskMachineUA", 6, u"alice", 3, u""));
  EXPECT_EQ(std::tie(d.authorPutNull, d.description, d.runLevel, d.startWhenAvailable, d.disallowStartIfOnBatteries,
                     d.actionTypes, d.path, d.arguments),
            std::make_tuple(true, u"Keep it fresh", 1, 1, 0, std::vector<int32_t>{0}, kExe, kArgs));
  EXPECT_EQ(ts.deleted, std::vector<std::u16string>{u"OrvaneUpdateTaskMachineUA"});

  // The order of the calls; the releases interleave but are not the point.
  std::vector<std::string> order;
  for (const std::string& call : ts.calls) {
    if (call != "Release") order.push_back(call);
  }
  EXPECT_EQ(order, (std::vector<std::string>{
                       "CoInitialize", "CoInitializeSecurity", "CreateTaskService", "Connect", "GetFolder",
                       "DeleteTask", "NewTask", "GetRegistrationInfo", "PutAuthorNull", "PutDescription",
                       "GetPrincipal", "PutLogonType", "PutRunLevel", "GetSettings", "PutStartWhenAvailable",
                       "PutDisallowStartIfOnBatteries", "GetActions", "CreateAction", "QueryExecAction", "PutPath",
                       "PutArguments", "UserName", "RegisterTaskDefinition", "CoUninitialize"}));
  EXPECT_EQ(ts.liveObjects, 0);
  EXPECT_EQ(ts.initialized, 0);
  EXPECT_NE(Log().find("Success! Task successfully registered. \r\n"), std::string::npos);
}

TEST_F(RegisterUpdateTaskTest, EachFailingStepEndsWithItsMessageAndReleasesEverything) {
  const int32_t kFail = static_cast<int32_t>(0x80070005u);
  const struct { const char* op; const char* message; } rows[] = {
      {"CoInitialize", "CoInitializeEx failed: 80070005"},
      {"CoInitializeSecurity", "CoInitializeSecurity failed: 80070005"},
      {"CreateTaskService", "Failed to create an instance of ITaskService: 80070005"},
      {"Connect", "ITaskService::Connect failed: 80070005"},
      {"GetFolder", "Cannot get Root Folder pointer: 80070005"},
      {"NewTask", "Failed to create a task definition: 80070005"},
      {"GetRegistrationInfo", "Cannot get identification pointer: 80070005"},
      {"PutDescription", "Cannot put identification info: 80070005"},
      {"GetPrincipal", "Cannot get principal pointer: 80070005"},
      {"GetSettings", "Cannot get settings pointer: 80070005"},
      {"PutStartWhenAvailable", "Cannot put setting info: 80070005"},
      {"PutDisallowStartIfOnBatteries", "Cannot put setting info: 80070005"},
      {"GetActions", "Cannot get Task collection pointer: 80070005"},
      {"CreateAction", "Cannot create the action: 80070005"},
      {"QueryExecAction", "QueryInterface call failed for IExecAction: 80070005"},
      {"PutArguments", "Cannot set path of executable: 80070005"},
      {"RegisterTaskDefinition", "Error saving the Task : 80070005"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.op);
    FakeTaskScheduler fresh;
    fresh.failures[row.op] = kFail;
    EXPECT_EQ(RegisterUpdateTask(u"T", kExe, kArgs, u"D"), kFail);
    EXPECT_NE(Log().find(std::string(row.message) + "\r\n"), std::string::npos) << Log();
    EXPECT_TRUE(fresh.registered.empty());
    EXPECT_EQ(fresh.liveObjects, 0);
    // CoUninitialize balances a successful CoInitialize only.
    EXPECT_EQ(fresh.initialized, 0);
    EXPECT_EQ(fresh.calls.back() == "CoUninitialize", std::string(row.op) != "CoInitialize");
    EXPECT_EQ(Log().find("Success!"), std::string::npos);
  }
}

class AddTaskScheduleTest : public launcher_test::LauncherTest {
 protected:
  AddTaskScheduleTest() {
    shell.setLastError = [this](uint32_t error) { fake.SetLastErrorCode(error); };
    trust.embedded[u"C:\\Windows\\System32\\ntdll.dll"] = 0;  // a signed system library
    MakeExe("Orvane.exe");  // the running launcher, whose install root is checked
  }
  int32_t Run(const std::u16string& commandLine) {
    ResetApp();
    ReloadVersionQueryForTesting();
    shell.calls.clear();
    ts.registered.clear();
    return app.Run(commandLine.c_str());
  }
  std::string Report() const { return ReadAll(UserData() / "update" / "update_report.json"); }

  platform::FakeAdminCheck admin;
  platform::FakeShellExecution shell;
  platform::FakeCodeTrust trust;
  platform::FakeSystemLibraries libraries;
  platform::FakeProtectedFiles files;  // everything administrators-only: the task runs the launcher
  FakeTaskScheduler ts;
};

TEST_F(AddTaskScheduleTest, ElevationRoads) {
  // major: the system's major version; answer: ShellExecuteW's; elevated: a runas call was made.
  const struct {
    const char* what; std::u16string commandLine; bool member; uint32_t major; intptr_t answer; int32_t result;
    bool elevated; const char* logged;
  } rows[] = {
      {"not elevated: one elevated copy", u"--command=rebuild_taskschedule --x=1", false, 10, 42, 0, true,
       "run as admin success"},
      {"the user declines", u"--command=rebuild_taskschedule", false, 10, 5, -6, true,
       "Runas admin failed, "},
      {"tried already", u"--command=rebuild_taskschedule --tried_admin_user", false, 10, 42, -6, false,
       "AddTaskSchedule cur is not admin"},
      {"before Vista", u"--command=rebuild_taskschedule", false, 5, 42, -6, false, "AddTaskSchedule cur is not admin"},
      {"elevated and tried: registers", u"--command=rebuild_taskschedule --tried_admin_user", true, 10, 42, 0, false,
       "Success! Task successfully registered. "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    admin.member = row.member;
    libraries.major = row.major;
    shell.answer = row.answer;
    shell.errorOnFailure = 1223;
    EXPECT_EQ(Run(row.commandLine), row.result);
    EXPECT_NE(Log().find(row.logged), std::string::npos) << Log();
    ASSERT_EQ(shell.calls.size(), row.elevated ? 1u : 0u);
    if (row.elevated) {
      const auto& c = shell.calls[0];
      EXPECT_EQ(std::tie(c.verb, c.file, c.parameters, c.hasDirectory, c.directory, c.show),
                std::make_tuple(u"runas", fake.modulePath, row.commandLine + u" --tried_admin_user", true,
                                platform::NativeService<platform::Environment>().CurrentDirectory(), 5));
      EXPECT_EQ(Log().find(", error=1223") != std::string::npos, row.answer <= 32);
    }
    // Only a registration attempt is reported.
    EXPECT_EQ(Report().find("update_launcher_add_task") != std::string::npos, row.member);
    EXPECT_EQ(ts.registered.size(), row.member ? 1u : 0u);
  }
}

TEST_F(AddTaskScheduleTest, TheVersionIsReadOncePerProcess) {
  admin.member = false;
  ASSERT_EQ(Run(u"--command=rebuild_taskschedule"), 0);
  ResetApp();  // the same process: no reload
  shell.calls.clear();
  EXPECT_EQ(app.Run(u"--command=rebuild_taskschedule"), -6);
  EXPECT_TRUE(shell.calls.empty());
}

TEST_F(AddTaskScheduleTest, RegistersTheProductsTaskAndReportsTheResultButExitsWithZero) {
  admin.member = true;
  ts.failures["RegisterTaskDefinition"] = static_cast<int32_t>(0x80070005u);
  EXPECT_EQ(Run(u"--command=rebuild_taskschedule"), 0);
  EXPECT_NE(Report().find("\"extra1_key\":\"version\",\"extra1_val\":\"1.78.4\",\"extra2_key\":\"ret\","
                          "\"extra2_val\":\"-2147024891\""),
            std::string::npos)
      << Report();

  ts.failures.clear();
  EXPECT_EQ(Run(u"--command=rebuild_taskschedule"), 0);
  ASSERT_EQ(ts.registered.size(), 1u);
  const FakeTaskScheduler::Registration& r = ts.registered[0];
  // The test locale has no description key: the key itself is the format.
  EXPECT_EQ(std::tie(r.name, r.definition.path, r.definition.arguments, r.definition.description),
            std::make_tuple(u"OrvaneUpdateTaskMachineUA", fake.modulePath, kArgs,
                            u"Vorn_Installer_TaskScheduleDescription"));
}

class UninstallerTest : public launcher_test::LauncherTest {
 protected:
  UninstallerTest() { shell.setLastError = [this](uint32_t error) { fake.SetLastErrorCode(error); }; }
  platform::FakeShellExecution shell;
};

TEST_F(UninstallerTest, HandOffRows) {
  const struct {  // logged: null for nothing at error level
    const char* what; bool present; intptr_t answer; int32_t result; const char* logged;
  } rows[] = {
      {"started", true, 42, 0, nullptr},
      {"missing", false, 42, -1, "Not found uninstaller "},
      {"declined at its prompt", true, 5, -1, "Run uninstaller failed, return=5, error=1223, "},
      // Only the low 32 bits of the value count.
      {"high bits only", true, static_cast<intptr_t>(sizeof(intptr_t) > 4 ? (int64_t{1} << 32) + 7 : 7), -1,
       "Run uninstaller failed, return=7, error="},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ResetApp();
    shell.calls.clear();
    std::filesystem::remove(root / "uninstall.exe");
    if (row.present) MakeExe("uninstall.exe");
    shell.answer = row.answer;
    shell.errorOnFailure = 1223;
    EXPECT_EQ(app.Run(u"--command=run_uninstall --silent --lang=fr"), row.result);
    if (row.logged != nullptr) {
      EXPECT_NE(Log().find(row.logged), std::string::npos) << Log();
    } else {
      EXPECT_EQ(Log().find("[ERRO]"), std::string::npos) << Log();
    }
    ASSERT_EQ(shell.calls.size(), row.present ? 1u : 0u);
    if (row.present) {  // the launcher's own switches stay behind
      const auto& c = shell.calls[0];
      EXPECT_EQ(std::tie(c.verb, c.file, c.parameters, c.hasDirectory, c.show),
                std::make_tuple(u"open", launcher_test::WinPath(root / "uninstall.exe"), u"", false, 5));
    }
    EXPECT_FALSE(std::filesystem::exists(UserData() / "update" / "update_report.json"));
  }
}

}  // namespace
