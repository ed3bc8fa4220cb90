// The scheduled update task: one task without a trigger that runs the
// launcher with the highest rights of the registering user, to be started on
// demand with the broker's arguments as its one parameter. AddTaskSchedule
// (the rebuild_taskschedule command) is a member of CLauncherApp.
#pragma once

#include <cstdint>
#include <string>

#include "platform/task_scheduler.h"

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
