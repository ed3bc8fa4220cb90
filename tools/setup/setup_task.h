// The uninstall's removal of the product's update task and of the task's
// launcher copy, on the toolkit alone.
#pragma once

#include <cstdint>
#include <string>

#include "base/product_config.h"

namespace setup {

struct TaskRemoval {
  int32_t launcherTask = 0;  // DeleteUpdateTask naming the install root's launcher
  int32_t copyTask = 0;      // DeleteUpdateTask naming the task's launcher copy
  bool hasCopyPlace = false;  // false where the system has no place for a copy (Linux): no second removal
  bool copyGone = true;       // RemoveTaskLauncherCopy: no copy is left
};

// Removes the task "<install_dir_name>UpdateTaskMachineUA" when its action
// runs the launcher of `root` (a per-machine install) or the task's launcher
// copy (a per-user install), in that order; then the copy, which the toolkit
// removes only when elevated and once no task names it. A task of another
// installation stays. Never fails: what happened is in the result and the log.
TaskRemoval RemoveUpdateTask(const CProductConfig& config, const std::u16string& root,
                             const std::u16string& launcherFileName);

// One line for the installer's output: both answers as HRESULTs and what
// became of the copy.
std::string DescribeTaskRemoval(const TaskRemoval& removal);

}  // namespace setup
