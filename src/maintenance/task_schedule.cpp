#include "maintenance/task_schedule.h"

#include <string>

#include "app/exit_codes.h"
#include "app/launcher_app.h"
#include "base/event_report.h"
#include "base/format.h"
#include "base/localized_strings.h"
#include "base/log.h"
#include "base/scoped_resource.h"
#include "layout/paths.h"
#include "maintenance/code_signature.h"
#include "maintenance/run_update.h"
#include "maintenance/task_launcher.h"
#include "platform/error_codes.h"
#include "platform/shell/shell_execute.h"
#include "platform/system/environment.h"
#include "platform/tasks/task_scheduler.h"

namespace {

constexpr char16_t kTaskNameSuffix[] = u"UpdateTaskMachineUA";
constexpr char16_t kTaskArguments[] = u"--command=run_update $(Arg0)";
constexpr char kDescriptionKey[] = "Vorn_Installer_TaskScheduleDescription";
// The elevated copy's parameters are composed within this many characters.
constexpr size_t kElevatedParametersLimit = 10240;

// One interface of the task scheduler in hand.
using TaskObjectGuard = ScopedResource<platform::TaskObject>;

TaskObjectGuard::Releaser ReleaseWith(platform::TaskScheduler& ts) {
  return [&ts](platform::TaskObject object) { ts.Release(object); };
}

}  // namespace

int32_t OpenTaskRootFolder(platform::TaskObject* service, platform::TaskObject* folder) {
  platform::TaskScheduler& ts = platform::Service<platform::TaskScheduler>();
  *service = nullptr;
  *folder = nullptr;
  auto fail = [](const char16_t* message, int32_t result) {
    LogError(message, result);
    return result;
  };
  // COM stands initialised by the entry point already: S_FALSE is expected.
  int32_t hr = ts.CoInitialize();
  if (hr < 0) return fail(u"CoInitializeEx failed: %x", hr);
  // Every later failure gives back the service, then uninitialises.
  ScopedCall uninitialize([&ts] { ts.CoUninitialize(); });
  hr = ts.CoInitializeSecurity();
  if (hr < 0 && static_cast<uint32_t>(hr) != platform::kRpcETooLate) {
    return fail(u"CoInitializeSecurity failed: %x", hr);
  }
  TaskObjectGuard opened(ReleaseWith(ts));
  hr = ts.CreateTaskService(opened.receive());
  if (hr < 0) return fail(u"Failed to create an instance of ITaskService: %x", hr);
  hr = ts.Connect(opened.get());
  if (hr < 0) return fail(u"ITaskService::Connect failed: %x", hr);
  hr = ts.GetFolder(opened.get(), u"\\", folder);
  if (hr < 0) {
    *folder = nullptr;
    return fail(u"Cannot get Root Folder pointer: %x", hr);
  }
  // The caller holds the service and the folder and uninitialises COM.
  *service = opened.Detach();
  uninitialize.Dismiss();
  return 0;
}

int32_t RegisterUpdateTask(const std::u16string& taskName, const std::u16string& exePath,
                           const std::u16string& arguments, const std::u16string& description) {
  return RegisterUpdateTaskWith(
      taskName,
      [&exePath](std::u16string* path) {
        *path = exePath;
        return 0;
      },
      arguments, description);
}

int32_t RegisterUpdateTaskWith(const std::u16string& taskName, const TaskExePathSource& exePathSource,
                               const std::u16string& arguments, const std::u16string& description) {
  platform::TaskScheduler& ts = platform::Service<platform::TaskScheduler>();
  platform::TaskObject openedService = nullptr;
  platform::TaskObject openedFolder = nullptr;
  int32_t hr = OpenTaskRootFolder(&openedService, &openedFolder);
  if (hr < 0) return hr;
  // One guard per interface, declared where it is acquired and released at
  // the step that is done with it; an early return releases what is still in
  // hand, latest first, and uninitialises COM last.
  ScopedCall uninitialize([&ts] { ts.CoUninitialize(); });
  TaskObjectGuard service(ReleaseWith(ts), openedService);
  TaskObjectGuard folder(ReleaseWith(ts), openedFolder);
  auto fail = [](const char16_t* message, int32_t result) {
    LogError(message, result);
    return result;
  };

  ts.DeleteTask(folder.get(), taskName);  // the task need not exist

  // Decided only now, so that a task that may not name its file is gone.
  std::u16string exePath;
  hr = exePathSource(&exePath);
  if (hr < 0) return fail(u"Cannot place the launcher the task runs: %x", hr);

  TaskObjectGuard definition(ReleaseWith(ts));
  hr = ts.NewTask(service.get(), definition.receive());
  service.Release();  // done with the service whatever NewTask answered
  if (hr < 0) return fail(u"Failed to create a task definition: %x", hr);

  TaskObjectGuard info(ReleaseWith(ts));
  hr = ts.GetRegistrationInfo(definition.get(), info.receive());
  if (hr < 0) return fail(u"Cannot get identification pointer: %x", hr);
  ts.PutAuthorNull(info.get());
  hr = ts.PutDescription(info.get(), description);
  if (hr < 0) return fail(u"Cannot put identification info: %x", hr);
  info.Release();

  TaskObjectGuard principal(ReleaseWith(ts));
  hr = ts.GetPrincipal(definition.get(), principal.receive());
  if (hr < 0) return fail(u"Cannot get principal pointer: %x", hr);
  ts.PutLogonType(principal.get(), platform::kTaskLogonInteractiveToken);
  ts.PutRunLevel(principal.get(), platform::kTaskRunLevelHighest);
  principal.Release();

  TaskObjectGuard settings(ReleaseWith(ts));
  hr = ts.GetSettings(definition.get(), settings.receive());
  if (hr < 0) return fail(u"Cannot get settings pointer: %x", hr);
  hr = ts.PutStartWhenAvailable(settings.get(), true);
  if (hr >= 0) hr = ts.PutDisallowStartIfOnBatteries(settings.get(), false);
  if (hr < 0) return fail(u"Cannot put setting info: %x", hr);
  settings.Release();

  TaskObjectGuard actions(ReleaseWith(ts));
  hr = ts.GetActions(definition.get(), actions.receive());
  if (hr < 0) return fail(u"Cannot get Task collection pointer: %x", hr);
  TaskObjectGuard action(ReleaseWith(ts));
  hr = ts.CreateAction(actions.get(), platform::kTaskActionExec, action.receive());
  if (hr < 0) return fail(u"Cannot create the action: %x", hr);
  actions.Release();
  TaskObjectGuard execAction(ReleaseWith(ts));
  hr = ts.QueryExecAction(action.get(), execAction.receive());
  if (hr < 0) return fail(u"QueryInterface call failed for IExecAction: %x", hr);
  action.Release();
  ts.PutPath(execAction.get(), exePath);
  hr = ts.PutArguments(execAction.get(), arguments);
  if (hr < 0) return fail(u"Cannot set path of executable: %x", hr);
  execAction.Release();

  const std::u16string userId = ts.UserName();
  TaskObjectGuard registered(ReleaseWith(ts));
  hr = ts.RegisterTaskDefinition(folder.get(), taskName, definition.get(), platform::kTaskCreateOrUpdate, userId,
                                 platform::kTaskLogonInteractiveToken, u"", registered.receive());
  if (hr < 0) return fail(u"Error saving the Task : %x", hr);

  LogInfo(u"Success! Task successfully registered. ");
  folder.Release();
  definition.Release();
  registered.Release();
  uninitialize.Run();
  return 0;
}

int32_t CLauncherApp::AddTaskSchedule() {
  auto& env = platform::Service<platform::Environment>();
  if (!IsCurrentUserAdmin()) {
    LogInfo(u"AddTaskSchedule cur is not admin");
    // One elevated copy at most: the switch tells the copy that it is one.
    if (m_commandLine.HasSwitch(u"tried_admin_user") || !IsVistaOrLater()) return kExitNotAdmin;
    const std::u16string path = GetModuleFilePath();
    const std::u16string parameters =
        FormatWideLimited(kElevatedParametersLimit, u"%s --tried_admin_user", m_rawCommandLine);
    const std::u16string directory = env.CurrentDirectory();
    const intptr_t result = platform::Service<platform::ShellExecution>().ShellExecute(
        u"runas", path, parameters, &directory, platform::kShowWindowShow);
    if (result > 32) {
      LogInfo(u"run as admin success");
      return kExitSuccess;
    }
    LogError(u"Runas admin failed, path=%s, cmd=%s, error=%d", path, parameters, platform::LastError());
    return kExitNotAdmin;
  }

  const std::u16string taskName = m_productConfig.install_dir_name + kTaskNameSuffix;
  const std::u16string displayName = GetProductDisplayName();
  const std::u16string description =
      FormatWideString(GetLocalizedString(kDescriptionKey).c_str(), displayName, displayName);
  // The task runs a file that only administrators can change: the launcher
  // itself in an administrators-only install root, otherwise its copy.
  const std::u16string launcherPath = GetModuleFilePath();
  const int32_t hr = RegisterUpdateTaskWith(
      taskName,
      [this, &launcherPath](std::u16string* exePath) {
        return PrepareTaskLauncher(m_productConfig, launcherPath, exePath);
      },
      kTaskArguments, description);
  ReportEvent(m_productConfig.data_dir, "update_launcher_add_task", "", "version",
              m_productConfig.product_version_utf8, "ret", std::to_string(hr));
  // A failed registration shows only in the log and the report.
  return kExitSuccess;
}
