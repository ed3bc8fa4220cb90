#include "layout/task_launcher_path.h"

#include "layout/paths.h"
#include "platform/error_codes.h"
#include "platform/protected_files/protected_files.h"
#include "task_launcher_dir.h"

namespace {

constexpr char16_t kInstallDirToken[] = u"%install_dir_name%";
constexpr uint32_t kErrorInvalidName = 123;

// One name that stays in its directory: no separator, drive or stream colon,
// and not "." or "..".
bool IsPlainName(const std::u16string& name) {
  return !name.empty() && name != u"." && name != u".." && name.find_first_of(u"\\/:") == std::u16string::npos;
}

}  // namespace

bool GetTaskLauncherLocation(const CProductConfig& config, TaskLauncherLocation* location) {
  *location = TaskLauncherLocation();
  if (!IsPlainName(config.install_dir_name) || !IsPlainName(config.exe_file_name)) {
    platform::SetLastErrorCode(kErrorInvalidName);
    return false;
  }
  std::u16string base;
  if (!platform::Service<platform::ProtectedFiles>().CommonProgramFilesFolder(&base) || base.empty()) return false;

  std::u16string relative = kTaskLauncherSubDirTemplate;
  const std::u16string token = kInstallDirToken;
  for (size_t at = relative.find(token); at != std::u16string::npos;
       at = relative.find(token, at + config.install_dir_name.size())) {
    relative.replace(at, token.size(), config.install_dir_name);
  }
  std::u16string dir = base;
  if (!dir.empty() && dir.back() == u'\\') dir.pop_back();
  location->base = dir;
  for (size_t start = 0;;) {
    const size_t end = relative.find(u'\\', start);
    dir = JoinPath(dir, relative.substr(start, end == std::u16string::npos ? end : end - start));
    location->levels.push_back(dir);
    if (end == std::u16string::npos) break;
    start = end + 1;
  }
  location->path = JoinPath(dir, config.exe_file_name);
  return true;
}

std::u16string GetTaskLauncherCopyPath(const CProductConfig& config) {
  TaskLauncherLocation location;
  return GetTaskLauncherLocation(config, &location) ? location.path : std::u16string();
}
