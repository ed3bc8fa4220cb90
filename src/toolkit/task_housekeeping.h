// The unprivileged side of the broker, and the chores around it, for the
// installer, the uninstaller and the updater: start the scheduled update task
// with a parameter text and learn whether the launcher it ran succeeded,
// remove the task of this installation, move the update report, and leave or
// find the marker of user data that is to be deleted. The launcher's own
// commands call none of these.
#pragma once

#include <cstdint>
#include <string>

#include "base/product_config.h"
#include "layout/task_launcher_path.h"  // GetTaskLauncherCopyPath: the copy the task runs

// The oldest launcher whose run_update can serve the task.
inline constexpr char16_t kOldestTaskLauncherVersion[] = u"6.1.0";
// The marker of user data to delete; its presence is what counts.
inline constexpr char16_t kDeleteDataMarkerName[] = u"delete_electron_data.task";

// Runs the task "<namePrefix>UpdateTaskMachineUA" with `parameter` in place of
// its $(Arg0) and waits for the launcher it started (WaitForTaskResult with
// "<namePrefix>RunTaskScheduleSuccessEvent"). 0 when the launcher reported
// success; else the failing step's HRESULT or E_FAIL (0x80004005), such as
// for a task whose launcher is older than kOldestTaskLauncherVersion.
int32_t RunUpdateTask(const std::u16string& namePrefix, const std::u16string& parameter);

// Whether the launcher that process `pid` runs succeeded: its success event
// fired, or it ended with exit code 1. Blocks for as long as the process runs;
// when the process cannot be opened, waits 3 seconds for the event.
bool WaitForTaskResult(const std::u16string& eventName, uint32_t pid);

// Whether the executable's ProductVersion (first translation of its version
// record) is kOldestTaskLauncherVersion or later. No file or no record: false.
bool IsLauncherVersionSupported(const std::u16string& launcherPath);

// Deletes the task `taskName` when its action runs `expectedExePath` (case
// ignored); another installation's task stays. The status of the last call
// made (GetTask's, or DeleteTask's). For a task registered from a per-user
// install root, the expected path is GetTaskLauncherCopyPath(config).
int32_t DeleteUpdateTask(const std::u16string& taskName, const std::u16string& expectedExePath);

// Removes the task's copy of the launcher (GetTaskLauncherCopyPath) and the
// directories made for it that are left empty. Only an elevated process may,
// and only when the product's task no longer names the copy; otherwise the
// copy stays and the log says why (also when the scheduler cannot be asked,
// or a task's action cannot be read). True when no copy is left.
bool RemoveTaskLauncherCopy(const CProductConfig& config);

// Moves update\update_report.json of the data directory (below
// %LOCALAPPDATA%) into `targetDir`, replacing a file there.
void MoveUpdateReport(const std::u16string& dataDirName, const std::u16string& targetDir);

// Writes the marker, below %APPDATA%\<old_data_dir>, when the installation's
// recorded version directory is not config.version_dir_name and the old data
// directory differs from data_dir.
void CreateDeleteDataMarker(const CProductConfig& config, const std::u16string& installRoot);

// The directory holding the marker (deleting the marker when `deleteMarker`),
// or the empty string. `unused` is not looked at. The caller deletes the
// directory. With old_data_dir empty, as nothing fills it, the directory is
// %APPDATA% itself: no caller may act on it until old_data_dir has a value.
std::u16string FindDeleteDataMarker(const CProductConfig& config, const std::u16string& unused, bool deleteMarker);
