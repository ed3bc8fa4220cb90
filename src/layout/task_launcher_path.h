// Where the scheduled task's copy of the launcher lives: one file per
// machine, in a directory below the Common Program Files folder that only the
// administrators can change and that lies outside every install root
// (by default %CommonProgramFiles%\<install_dir_name>\Update\<exe_file_name>;
// a product chooses the directory with ORVANE_TASK_LAUNCHER_DIR at build
// time). The launcher registering the task, the installer and the uninstaller
// all take the path from here.
#pragma once

#include <string>
#include <vector>

#include "base/product_config.h"

struct TaskLauncherLocation {
  std::u16string base;                 // the Common Program Files folder
  std::vector<std::u16string> levels;  // the directories below it, outermost first
  std::u16string path;                 // the copy itself, in the last of them
};

// False (last error set: that of the folder lookup, or 123 when the
// configuration's install_dir_name or exe_file_name is not one plain name)
// when there is no such place on this system.
bool GetTaskLauncherLocation(const CProductConfig& config, TaskLauncherLocation* location);

// The copy's full path, or the empty string when there is no such place (on
// Linux, which has no Common Program Files folder, always).
std::u16string GetTaskLauncherCopyPath(const CProductConfig& config);
