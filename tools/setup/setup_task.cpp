#include "setup_task.h"

#include <cstdio>

#include "layout/paths.h"
#include "toolkit/task_housekeeping.h"

namespace setup {

TaskRemoval RemoveUpdateTask(const CProductConfig& config, const std::u16string& root,
                             const std::u16string& launcherFileName) {
  TaskRemoval removal;
  const std::u16string taskName = config.install_dir_name + u"UpdateTaskMachineUA";
  // The task of a per-machine install runs the root's own launcher.
  removal.launcherTask = DeleteUpdateTask(taskName, JoinPath(root, launcherFileName));
  // That of a per-user install runs the copy; the copy can go only after it.
  const std::u16string copy = GetTaskLauncherCopyPath(config);
  removal.hasCopyPlace = !copy.empty();
  if (removal.hasCopyPlace) removal.copyTask = DeleteUpdateTask(taskName, copy);
  removal.copyGone = RemoveTaskLauncherCopy(config);
  return removal;
}

std::string DescribeTaskRemoval(const TaskRemoval& removal) {
  char line[160];
  if (removal.hasCopyPlace) {
    std::snprintf(line, sizeof(line), "update task: removal answered 0x%08x (root's launcher), 0x%08x (copy); %s",
                  static_cast<uint32_t>(removal.launcherTask), static_cast<uint32_t>(removal.copyTask),
                  removal.copyGone ? "no launcher copy left" : "the launcher copy stays (see setup.log)");
  } else {
    std::snprintf(line, sizeof(line), "update task: removal answered 0x%08x; no place for a launcher copy here",
                  static_cast<uint32_t>(removal.launcherTask));
  }
  return line;
}

}  // namespace setup
