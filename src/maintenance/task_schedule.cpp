#include "maintenance/task_schedule.h"

#include <string>
#include <vector>

#include "app/exit_codes.h"
#include "app/launcher_app.h"
#include "base/event_report.h"
#include "base/format.h"
#include "base/localized_strings.h"
#include "base/log.h"
#include "layout/paths.h"
#include "maintenance/code_signature.h"
#include "maintenance/run_update.h"
#include "maintenance/task_launcher.h"
#include "platform/platform.h"
#include "platform/shell_execute.h"
#include "platform/task_scheduler.h"

namespace {

constexpr char16_t kTaskNameSuffix[] = u"UpdateTaskMachineUA";
constexpr char16_t kTaskArguments[] = u"--command=run_update $(Arg0)";
constexpr char kDescriptionKey[] = "Vorn_Installer_TaskScheduleDescription";
// The elevated copy's parameters are composed within this many characters.
constexpr size_t kElevatedParametersLimit = 10240;

// The interfaces in hand during a registration; released in reverse order
// of acquisition when the registration ends, whichever way it ends.
class Held {
 public:
  explicit Held(platform::TaskScheduler& scheduler) : scheduler_(scheduler) {}
  ~Held() { ReleaseAll(); }
  void Hold(platform::TaskObject object) { objects_.push_back(object); }
  void Release(platform::TaskObject object) {
    for (auto it = objects_.begin(); it != objects_.end(); ++it) {
      if (*it == object) {
        scheduler_.Release(object);
        objects_.erase(it);
        return;
      }
    }
  }
  void ReleaseAll() {
    while (!objects_.empty()) {
      scheduler_.Release(objects_.back());
      objects_.pop_back();
    }
  }

 private:
  platform::TaskScheduler& scheduler_;
  std::vector<platform::TaskObject> objects_;
};

}  // namespace

int32_t OpenTaskRootFolder(platform::TaskObject* service, platform::TaskObject* folder) {
  platform::TaskScheduler& ts = platform::Service<platform::TaskScheduler>();
  *service = nullptr;
  *folder = nullptr;
  // COM stands initialised by the entry point already: S_FALSE is expected.
  int32_t hr = ts.CoInitialize();
  if (hr < 0) {
    LogError(u"CoInitializeEx failed: %x", hr);
    return hr;
  }
  platform::TaskObject opened = nullptr;
  auto fail = [&](const char16_t* message, int32_t result) {
    LogError(message, result);
    ts.Release(opened);
    ts.CoUninitialize();
    return result;
  };
  hr = ts.CoInitializeSecurity();
  if (hr < 0 && static_cast<uint32_t>(hr) != platform::kRpcETooLate) {
    return fail(u"CoInitializeSecurity failed: %x", hr);
  }
  hr = ts.CreateTaskService(&opened);
  if (hr < 0) return fail(u"Failed to create an instance of ITaskService: %x", hr);
  hr = ts.Connect(opened);
  if (hr < 0) return fail(u"ITaskService::Connect failed: %x", hr);
  hr = ts.GetFolder(opened, u"\\", folder);
  if (hr < 0) {
    *folder = nullptr;
    return fail(u"Cannot get Root Folder pointer: %x", hr);
  }
  *service = opened;
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
  platform::TaskObject service = nullptr;
  platform::TaskObject folder = nullptr;
  int32_t hr = OpenTaskRootFolder(&service, &folder);
  if (hr < 0) return hr;
  // From here on every failure releases what is in hand, then uninitialises.
  struct Uninitialize {
    platform::TaskScheduler& ts;
    ~Uninitialize() { ts.CoUninitialize(); }
  } uninitialize{ts};
  Held held(ts);
  held.Hold(service);
  held.Hold(folder);
  auto fail = [&](const char16_t* message, int32_t result) {
    LogError(message, result);
    held.ReleaseAll();
    return result;
  };

  ts.DeleteTask(folder, taskName);  // the task need not exist

  // Decided only now, so that a task that may not name its file is gone.
  std::u16string exePath;
  hr = exePathSource(&exePath);
  if (hr < 0) return fail(u"Cannot place the launcher the task runs: %x", hr);

  platform::TaskObject definition = nullptr;
  hr = ts.NewTask(service, &definition);
  held.Release(service);  // done with the service whatever NewTask answered
  if (hr < 0) return fail(u"Failed to create a task definition: %x", hr);
  held.Hold(definition);

  platform::TaskObject info = nullptr;
  hr = ts.GetRegistrationInfo(definition, &info);
  if (hr < 0) return fail(u"Cannot get identification pointer: %x", hr);
  held.Hold(info);
  ts.PutAuthorNull(info);
  hr = ts.PutDescription(info, description);
  if (hr < 0) return fail(u"Cannot put identification info: %x", hr);
  held.Release(info);

  platform::TaskObject principal = nullptr;
  hr = ts.GetPrincipal(definition, &principal);
  if (hr < 0) return fail(u"Cannot get principal pointer: %x", hr);
  held.Hold(principal);
  ts.PutLogonType(principal, platform::kTaskLogonInteractiveToken);
  ts.PutRunLevel(principal, platform::kTaskRunLevelHighest);
  held.Release(principal);

  platform::TaskObject settings = nullptr;
  hr = ts.GetSettings(definition, &settings);
  if (hr < 0) return fail(u"Cannot get settings pointer: %x", hr);
  held.Hold(settings);
  hr = ts.PutStartWhenAvailable(settings, true);
  if (hr >= 0) hr = ts.PutDisallowStartIfOnBatteries(settings, false);
  if (hr < 0) return fail(u"Cannot put setting info: %x", hr);
  held.Release(settings);

  platform::TaskObject actions = nullptr;
  hr = ts.GetActions(definition, &actions);
  if (hr < 0) return fail(u"Cannot get Task collection pointer: %x", hr);
  held.Hold(actions);
  platform::TaskObject action = nullptr;
  hr = ts.CreateAction(actions, platform::kTaskActionExec, &action);
  if (hr < 0) return fail(u"Cannot create the action: %x", hr);
  held.Hold(action);
  held.Release(actions);
  platform::TaskObject execAction = nullptr;
  hr = ts.QueryExecAction(action, &execAction);
  if (hr < 0) return fail(u"QueryInterface call failed for IExecAction: %x", hr);
  held.Hold(execAction);
  held.Release(action);
  ts.PutPath(execAction, exePath);
  hr = ts.PutArguments(execAction, arguments);
  if (hr < 0) return fail(u"Cannot set path of executable: %x", hr);
  held.Release(execAction);

  const std::u16string userId = ts.UserName();
  platform::TaskObject registered = nullptr;
  hr = ts.RegisterTaskDefinition(folder, taskName, definition, platform::kTaskCreateOrUpdate, userId,
                                 platform::kTaskLogonInteractiveToken, u"", &registered);
  if (hr < 0) return fail(u"Error saving the Task : %x", hr);
  held.Hold(registered);

  LogInfo(u"Success! Task successfully registered. ");
  held.ReleaseAll();
  return 0;
}

int32_t CLauncherApp::AddTaskSchedule() {
  platform::Platform& os = platform::Get();
  if (!IsCurrentUserAdmin()) {
    LogInfo(u"AddTaskSchedule cur is not admin");
    // One elevated copy at most: the switch tells the copy that it is one.
    if (m_commandLine.HasSwitch(u"tried_admin_user") || !IsVistaOrLater()) return kExitNotAdmin;
    const std::u16string path = GetModuleFilePath();
    const std::u16string parameters =
        FormatWideLimited(kElevatedParametersLimit, u"%s --tried_admin_user", m_rawCommandLine);
    const std::u16string directory = os.CurrentDirectory();
    const intptr_t result = platform::Service<platform::ShellExecution>().ShellExecute(
        u"runas", path, parameters, &directory, platform::kShowWindowShow);
    if (result > 32) {
      LogInfo(u"run as admin success");
      return kExitSuccess;
    }
    LogError(u"Runas admin failed, path=%s, cmd=%s, error=%d", path, parameters, os.LastError());
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
