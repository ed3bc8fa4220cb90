#include "maintenance/task_launcher.h"

#include <vector>

#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/task_launcher_path.h"
#include "layout/version_dirs.h"
#include "maintenance/admin_only.h"
#include "platform/error_codes.h"
#include "platform/files/file_versions.h"
#include "platform/files/files.h"
#include "platform/protected_files/protected_files.h"
#include "platform/system/environment.h"

namespace {

constexpr int32_t kEAccessDenied = static_cast<int32_t>(0x80070005u);
constexpr int32_t kEFail = static_cast<int32_t>(0x80004005u);

// A launcher's version as its record gives it; no record reads as 0.
struct Version {
  std::u16string text;
  uint64_t value = 0;
};

Version ReadVersion(const std::u16string& path) {
  Version version;
  if (!ReadProductVersion(path, &version.text)) return version;
  uint32_t high = 0, low = 0;
  ParseVersion(version.text.c_str(), &high, &low);
  version.value = (uint64_t{high} << 32) | low;
  return version;
}

// The HRESULT of a failed call; a call that failed without saying why is E_FAIL.
int32_t FailureOf(uint32_t error) { return error == 0 ? kEFail : HresultFromWin32(error); }

// Creates the copy's directory levels that are missing, each with the
// protected access list. One that appears meanwhile is left to the check.
int32_t MakeDirectories(const TaskLauncherLocation& location) {
  auto& files = platform::Service<platform::Files>();
  platform::ProtectedFiles& protectedFiles = platform::Service<platform::ProtectedFiles>();
  for (const std::u16string& level : location.levels) {
    if (files.PathIsDir(level) || protectedFiles.CreateProtectedDirectory(level)) continue;
    const uint32_t error = platform::LastError();
    if (error == platform::kErrorAlreadyExists) continue;
    LogError(u"PrepareTaskLauncher, create directory failed, path=%s, error=%d", level, error);
    return FailureOf(error);
  }
  return 0;
}

}  // namespace

int32_t HresultFromWin32(uint32_t error) {
  return error == 0 ? 0 : static_cast<int32_t>(0x80070000u | (error & 0xFFFFu));
}

bool ReadProductVersion(const std::u16string& path, std::u16string* version) {
  platform::FileVersions& versions = platform::Service<platform::FileVersions>();
  std::vector<uint8_t> record;
  uint16_t language = 0, codePage = 0;
  return versions.ReadVersionInfo(path, &record) && versions.QueryTranslation(record, &language, &codePage) &&
         versions.QueryString(record,
                              FormatWideString(u"\\StringFileInfo\\%04x%04x\\ProductVersion", language, codePage),
                              version);
}

int32_t PrepareTaskLauncher(const CProductConfig& config, const std::u16string& launcherPath,
                            std::u16string* taskExePath) {
  auto& files = platform::Service<platform::Files>();
  auto& env = platform::Service<platform::Environment>();
  std::u16string reason;
  if (IsAdministratorsOnlyFile(launcherPath, &reason)) {
    LogInfo(u"PrepareTaskLauncher, the install root is administrators-only, the task runs '%s'", launcherPath);
    *taskExePath = launcherPath;
    return 0;
  }
  LogInfo(u"PrepareTaskLauncher, the task runs a copy: %s", reason);

  TaskLauncherLocation location;
  if (!GetTaskLauncherLocation(config, &location)) {
    const uint32_t error = platform::LastError();
    LogError(u"PrepareTaskLauncher, no place for the copy, error=%d", error);
    return FailureOf(error);
  }
  if (const int32_t hr = MakeDirectories(location); hr < 0) return hr;
  if (!IsAdministratorsOnlyDirectory(location.levels.back(), &reason)) {
    LogError(u"PrepareTaskLauncher, directory refused: %s", reason);
    return kEAccessDenied;
  }

  const std::u16string& copy = location.path;
  const Version own = ReadVersion(launcherPath);
  Version inPlace;
  bool keepable = false;  // a copy in place that passes the check
  if (files.PathExists(copy)) {
    inPlace = ReadVersion(copy);
    keepable = IsAdministratorsOnlyFile(copy, &reason);
    if (!keepable) LogInfo(u"PrepareTaskLauncher, the copy in place is replaced: %s", reason);
    // Registering from an older install root never rolls the broker back.
    if (keepable && inPlace.value > own.value) {
      LogInfo(u"PrepareTaskLauncher, newer copy kept, version=%s, launcher version=%s", inPlace.text, own.text);
      *taskExePath = copy;
      return 0;
    }
  }

  // Written beside, checked, and moved over the copy in one step, so the
  // task never names a half-written file.
  platform::ProtectedFiles& protectedFiles = platform::Service<platform::ProtectedFiles>();
  const std::u16string temp = copy + u".new-" + AsciiToWide(std::to_string(env.ProcessId()));
  const char16_t* step = nullptr;
  uint32_t error = 0;
  if (!protectedFiles.CopyFileTo(launcherPath, temp)) {
    step = u"copy";
    error = platform::LastError();
  } else if (!IsAdministratorsOnlyFile(temp, &reason)) {
    files.DeleteOneFile(temp);
    LogError(u"PrepareTaskLauncher, copy refused: %s", reason);
    return kEAccessDenied;
  } else if (!protectedFiles.ReplaceFile(temp, copy)) {
    step = u"move";
    error = platform::LastError();
    files.DeleteOneFile(temp);
  }
  if (step == nullptr) {
    LogInfo(u"PrepareTaskLauncher, launcher copied, path=%s, version=%s", copy, own.text);
    *taskExePath = copy;
    return 0;
  }
  // A running broker cannot be replaced; one that is not older serves on.
  if (keepable && inPlace.value >= own.value) {
    LogInfo(u"PrepareTaskLauncher, copy in place kept, %s failed, error=%d, version=%s", step, error, inPlace.text);
    *taskExePath = copy;
    return 0;
  }
  LogError(u"PrepareTaskLauncher, %s failed, '%s' -> '%s', error=%d", step, launcherPath, copy, error);
  return FailureOf(error);
}
