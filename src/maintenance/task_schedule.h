// The scheduled update task: one task without a trigger that runs the
// launcher with the highest rights of the registering user, to be started on
// demand with the broker's arguments as its one parameter. AddTaskSchedule
// (the rebuild_taskschedule command) is a member of CLauncherApp.
#pragma once

#include <cstdint>
#include <string>

// Deletes any task of that name in the root folder and registers the new
// definition. 0 on success, else the HRESULT of the step that failed (logged).
int32_t RegisterUpdateTask(const std::u16string& taskName, const std::u16string& exePath,
                           const std::u16string& arguments, const std::u16string& description);
