// The scheduled update task: one task without a trigger that runs the
// launcher with the highest rights of the registering user, to be started on
// demand with the broker's arguments as its one parameter. AddTaskSchedule
// (the rebuild_taskschedule command) is a member of CLauncherApp.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/tasks/task_scheduler.h"

// COM and the scheduler's root folder: CoInitialize, CoInitializeSecurity,
// the task service, Connect and the folder "\", each failure logged. 0 with
// the service and the folder in hand (the caller releases both and calls
// CoUninitialize), or the failing HRESULT with nothing in hand and COM
// uninitialised again where its initialisation had succeeded.
int32_t OpenTaskRootFolder(platform::TaskObject* service, platform::TaskObject* folder);

// Deletes any task of that name in the root folder and registers the new
// definition. 0 on success, else the HRESULT of the step that failed (logged).
int32_t RegisterUpdateTask(const std::u16string& taskName, const std::u16string& exePath,
                           const std::u16string& arguments, const std::u16string& description);

// Gives the executable the task's action names: 0 with the path, or the
// HRESULT of the step that failed.
using TaskExePathSource = std::function<int32_t(std::u16string* exePath)>;

// RegisterUpdateTask with the executable decided once the scheduler is open
// and the earlier task is deleted: when `exePath` fails, the registration
// ends there with its HRESULT ("Cannot place the launcher the task runs: %x")
// and no task of that name is left.
int32_t RegisterUpdateTaskWith(const std::u16string& taskName, const TaskExePathSource& exePath,
                               const std::u16string& arguments, const std::u16string& description);
