#include "toolkit/task_housekeeping.h"

#include <vector>

#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/file_io.h"
#include "layout/launcher_ini.h"
#include "layout/paths.h"
#include "layout/version_dirs.h"
#include "maintenance/run_update.h"
#include "maintenance/task_launcher.h"
#include "maintenance/task_schedule.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/processes/named_events.h"
#include "platform/processes/process_images.h"
#include "platform/processes/process_watch.h"
#include "platform/processes/processes.h"
#include "platform/system/clock.h"
#include "platform/tasks/task_scheduler.h"
#include "platform/text/unicode.h"

namespace {

constexpr char16_t kTaskNameSuffix[] = u"UpdateTaskMachineUA";
constexpr char16_t kEventNameSuffix[] = u"RunTaskScheduleSuccessEvent";
constexpr int32_t kEFail = static_cast<int32_t>(0x80004005u);
// What GetTask answers for a task that does not exist (HRESULT of error 2).
constexpr uint32_t kTaskNotFound = 0x80070002u;
// What RunUpdate returns when the child started.
constexpr uint32_t kLauncherSucceeded = 1;
// How long an event is waited for when its process can no longer be watched.
constexpr uint32_t kEventOnlyWaitMs = 3000;

// The scheduler's objects of one call, released in reverse order of
// acquisition, and COM uninitialised after them.
class TaskSession {
 public:
  TaskSession() : ts_(platform::Service<platform::TaskScheduler>()) {}
  ~TaskSession() {
    if (!open_) return;
    for (auto it = held_.rbegin(); it != held_.rend(); ++it) ts_.Release(*it);
    ts_.CoUninitialize();
  }
  TaskSession(const TaskSession&) = delete;
  TaskSession& operator=(const TaskSession&) = delete;

  // COM and the root folder; their failures are logged.
  int32_t Open() {
    platform::TaskObject service = nullptr;
    const int32_t hr = OpenTaskRootFolder(&service, &folder_);
    if (hr < 0) return hr;
    open_ = true;
    held_ = {service, folder_};
    return hr;
  }
  // ITaskFolder::GetTask; *registered is null unless a task came back.
  int32_t GetTask(const std::u16string& name, platform::TaskObject* registered) {
    const int32_t hr = ts_.GetTask(folder_, name, registered);
    if (hr < 0) *registered = nullptr;
    Hold(*registered);
    return hr;
  }
  platform::TaskScheduler& scheduler() { return ts_; }
  platform::TaskObject folder() const { return folder_; }
  platform::TaskObject Hold(platform::TaskObject object) {
    if (object != nullptr) held_.push_back(object);
    return object;
  }

  // The path of the registered task's first action, empty when any step
  // fails (their results don't matter to the callers).
  std::u16string ActionPath(platform::TaskObject registered) {
    platform::TaskObject definition = nullptr, actions = nullptr, action = nullptr, exec = nullptr;
    std::u16string path;
    ts_.GetDefinition(registered, &definition);
    if (Hold(definition) != nullptr) ts_.GetActions(definition, &actions);
    if (Hold(actions) != nullptr) ts_.GetActionItem(actions, 1, &action);
    if (Hold(action) != nullptr) ts_.QueryExecAction(action, &exec);
    if (Hold(exec) != nullptr) ts_.GetPath(exec, &path);
    return path;
  }

 private:
  platform::TaskScheduler& ts_;
  platform::TaskObject folder_ = nullptr;
  std::vector<platform::TaskObject> held_;
  bool open_ = false;
};

// Where the marker of data to delete lies, below the roaming data directory.
std::u16string DeleteDataMarkerPath(const CProductConfig& config) {
  return JoinPath(JoinPath(GetRoamingAppDataPath(u"", false), config.old_data_dir), kDeleteDataMarkerName);
}

}  // namespace

int32_t RunUpdateTask(const std::u16string& namePrefix, const std::u16string& parameter) {
  const std::u16string taskName = namePrefix + kTaskNameSuffix;
  TaskSession session;
  int32_t hr = session.Open();
  if (hr < 0) return hr;
  platform::TaskObject registered = nullptr;
  hr = session.GetTask(taskName, &registered);
  if (registered == nullptr) return hr;
  platform::TaskScheduler& ts = session.scheduler();

  if (!IsLauncherVersionSupported(session.ActionPath(registered))) {
    LogInfo(u"launcher version not support task");
    hr = kEFail;
    LogError(u"Task run failed: %x", hr);
    return hr;
  }

  platform::TaskObject running = nullptr;
  hr = ts.RunTask(registered, parameter, &running);
  if (hr < 0) {
    LogError(u"Task run failed: %x", hr);
    return hr;
  }
  session.Hold(running);
  uint32_t pid = 0;
  if (running != nullptr) ts.GetEnginePid(running, &pid);
  LogInfo(u"Success! Task successfully run. pid:%d", pid);
  if (pid == 0) {
    hr = kEFail;
    if (running != nullptr) ts.StopTask(running);
  }
  if (hr >= 0 && !WaitForTaskResult(namePrefix + kEventNameSuffix, pid)) {
    LogError(u"Task run failed");
    hr = kEFail;
  }
  return hr;
}

bool WaitForTaskResult(const std::u16string& eventName, uint32_t pid) {
  auto& processes = platform::Service<platform::Processes>();
  platform::ProcessWatch& watch = platform::Service<platform::ProcessWatch>();
  const platform::Handle event =
      platform::Service<platform::NamedEvents>().CreateNamedEvent(eventName, false, false);
  const platform::Handle process =
      watch.OpenProcessHandle(platform::kSynchronize | platform::kProcessQueryLimitedInformation, pid);

  bool succeeded = false;
  bool processEnded = false;
  if (event == nullptr && process == nullptr) {
    LogError(u"invalid event and process.");
  } else if (event == nullptr) {
    processEnded = processes.WaitOne(process, platform::kInfinite) == platform::kWaitObject0;
  } else if (process != nullptr) {
    const uint32_t result = watch.WaitAny({process, event}, platform::kInfinite);
    if (result == platform::kWaitObject0 + 1) {
      LogInfo(u"Trigger event");
      succeeded = true;
    } else if (result == platform::kWaitObject0) {
      processEnded = true;
    } else {
      LogError(u"wait event failed: %d", result);
    }
  } else {
    const uint32_t result = processes.WaitOne(event, kEventOnlyWaitMs);
    if (result == platform::kWaitObject0) {
      LogInfo(u"Trigger event");
      succeeded = true;
    } else {
      LogError(u"wait event failed: %d", result);
    }
  }

  if (processEnded) {
    uint32_t code = 0;
    if (processes.ExitCodeOf(process, &code)) {
      LogInfo(u"ExitCode:%d", code);
      succeeded = code == kLauncherSucceeded;
    } else {
      LogError(u"GetExitCodeProcess failed: %d", platform::LastError());
    }
  }
  if (process != nullptr) processes.CloseObject(process);
  if (event != nullptr) processes.CloseObject(event);
  return succeeded;
}

bool IsLauncherVersionSupported(const std::u16string& launcherPath) {
  std::u16string version;
  if (!platform::Service<platform::Files>().PathExists(launcherPath) || !ReadProductVersion(launcherPath, &version))
    return false;
  LogInfo(u"launcher version is:%s", version);
  return CompareVersions(version, kOldestTaskLauncherVersion) >= 0;
}

int32_t DeleteUpdateTask(const std::u16string& taskName, const std::u16string& expectedExePath) {
  TaskSession session;
  int32_t hr = session.Open();
  if (hr < 0) return hr;
  platform::TaskObject registered = nullptr;
  hr = session.GetTask(taskName, &registered);
  if (registered == nullptr) {
    LogInfo(u"task %s not exist", taskName);
    return hr;
  }
  const std::u16string found = session.ActionPath(registered);
  if (CompareNoCase(expectedExePath, found) != 0) {
    // The task belongs to another installation.
    LogInfo(u"task path not match. %s - %s", expectedExePath, found);
    return hr;
  }
  hr = session.scheduler().DeleteTask(session.folder(), taskName);
  if (hr >= 0) {
    LogInfo(u"Delete task successfully.");
  } else {
    LogError(u"Failed to delete task: %x", hr);
  }
  return hr;
}

bool RemoveTaskLauncherCopy(const CProductConfig& config) {
  auto& files = platform::Service<platform::Files>();
  TaskLauncherLocation location;
  if (!GetTaskLauncherLocation(config, &location)) {
    LogInfo(u"RemoveTaskLauncherCopy, no place for a copy, error=%d", platform::LastError());
    return true;
  }
  const std::u16string& copy = location.path;
  if (files.PathExists(copy)) {
    if (!IsCurrentUserAdmin()) {
      LogInfo(u"RemoveTaskLauncherCopy, not elevated, the copy stays: %s", copy);
      return false;
    }
    const std::u16string taskName = config.install_dir_name + kTaskNameSuffix;
    TaskSession session;
    int32_t hr = session.Open();
    if (hr < 0) {
      LogInfo(u"RemoveTaskLauncherCopy, the scheduler cannot be asked (%x), the copy stays: %s", hr, copy);
      return false;
    }
    platform::TaskObject registered = nullptr;
    hr = session.GetTask(taskName, &registered);
    if (registered != nullptr) {
      // A task whose action cannot be read may name the copy.
      const std::u16string names = session.ActionPath(registered);
      if (names.empty() || CompareNoCase(names, copy) == 0) {
        LogInfo(u"RemoveTaskLauncherCopy, task %s still runs '%s', the copy stays", taskName, names);
        return false;
      }
    } else if (static_cast<uint32_t>(hr) != kTaskNotFound) {
      LogInfo(u"RemoveTaskLauncherCopy, task %s cannot be read (%x), the copy stays: %s", taskName, hr, copy);
      return false;
    }
    if (!files.DeleteOneFile(copy)) {
      LogError(u"RemoveTaskLauncherCopy, delete failed, path=%s, error=%d", copy, platform::LastError());
      return false;
    }
    LogInfo(u"RemoveTaskLauncherCopy, removed %s", copy);
  }
  // The directories made for the copy, innermost first, while they are empty.
  for (auto level = location.levels.rbegin(); level != location.levels.rend(); ++level) {
    if (!files.PathIsDir(*level) || !files.RemoveOneDirectory(*level)) break;
  }
  return true;
}

void MoveUpdateReport(const std::u16string& dataDirName, const std::u16string& targetDir) {
  auto& files = platform::Service<platform::Files>();
  const std::u16string source =
      JoinPath(BuildSubPath(GetLocalAppDataPath(dataDirName, true), u"update", true), u"update_report.json");
  if (!files.PathExists(source)) return;
  const std::u16string target = JoinPath(targetDir, u"update_report.json");
  if (files.PathExists(target) && !files.DeleteOneFile(target)) {
    LogError(u"Delete file '%s' failed, error=%d", target, platform::LastError());
  }
  if (!files.MovePath(source, target, 0)) {
    LogError(u"move failed, '%s' -> '%s', error=%d", source, target, platform::LastError());
  }
}

void CreateDeleteDataMarker(const CProductConfig& config, const std::u16string& installRoot) {
  const std::u16string recorded = ReadLauncherIni(installRoot);
  if (recorded.empty() || CompareNoCase(config.version_dir_name, recorded) == 0) return;
  if (CompareNoCase(config.data_dir, config.old_data_dir) == 0) return;
  const std::u16string marker = DeleteDataMarkerPath(config);
  const std::u16string now = FormatTimestamp(platform::Service<platform::Clock>().NowMs(), true, true);
  WriteStringToFile(marker, platform::Utf16ToUtf8(now), false);
  LogInfo(u"Create delete-electron-data.task, path=%s", marker);
}

std::u16string FindDeleteDataMarker(const CProductConfig& config, const std::u16string&, bool deleteMarker) {
  if (CompareNoCase(config.data_dir, config.old_data_dir) == 0) return std::u16string();
  const std::u16string marker = DeleteDataMarkerPath(config);
  auto& files = platform::Service<platform::Files>();
  if (!files.PathExists(marker)) return std::u16string();
  if (deleteMarker) files.DeleteOneFile(marker);
  LogInfo(u"Found delete-electron-data.task, path=%s", marker);
  return GetDirectoryPart(marker);
}
