#include "toolkit/install_location.h"

#include <vector>

#include "base/log.h"
#include "base/text.h"
#include "layout/launcher_ini.h"
#include "layout/paths.h"
#include "layout/version_dirs.h"
#include "platform/files/files.h"
#include "platform/registry/registry.h"
#include "platform/shell/shell_folders.h"

namespace {

constexpr uint32_t kValueBufferBytes = 20482;
constexpr uint32_t kErrorInvalidParameter = 87;

platform::Hive HiveOf(int32_t scope) {
  return scope == kInstallScopeMachine ? platform::Hive::kLocalMachine : platform::Hive::kCurrentUser;
}

// The value's text up to its first NUL, as a zeroed buffer holds it; empty
// on any failure.
std::u16string ReadInstallDir(const CProductConfig& config, platform::Hive hive) {
  uint32_t type = 0;
  std::vector<uint8_t> data;
  if (platform::Service<platform::Registry>().ShGetValue(hive, u"Software\\" + config.product_info_key, u"InstallDir",
                                                         &type, &data, kValueBufferBytes) != 0) {
    return std::u16string();
  }
  std::u16string text;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    const char16_t c = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (c == 0) break;
    text.push_back(c);
  }
  return text;
}

// PathIsRelativeW: a path is absolute when it starts with a separator or
// names a drive.
bool IsRelativePath(const std::u16string& path) {
  if (!path.empty() && path[0] == u'\\') return false;
  if (path.size() >= 2 && path[1] == u':') return false;
  return true;
}

// _wcsnicmp(prefix, text, length of prefix) == 0.
bool StartsWithNoCase(const std::u16string& text, const std::u16string& prefix) {
  return text.size() >= prefix.size() && CompareNoCase(prefix, text.substr(0, prefix.size())) == 0;
}

}  // namespace

std::u16string GetInstalledDir(const CProductConfig& config, int32_t scope, bool verify) {
  const std::u16string dir = ReadInstallDir(config, HiveOf(scope));
  if (dir.empty()) return dir;
  if (verify) {
    bool fromManifest = false;
    if (!ProbeVersionDir(dir, config, nullptr, &fromManifest) ||
        !platform::Service<platform::Files>().PathExists(JoinPath(dir, kLauncherIniName))) {
      return std::u16string();
    }
  }
  return EnsureTrailingSeparator(dir);
}

bool SetInstalledDir(const CProductConfig& config, int32_t scope, const std::u16string& dir) {
  std::vector<uint8_t> bytes;
  for (char16_t c : dir + u'\0') {
    bytes.push_back(static_cast<uint8_t>(c & 0xFF));
    bytes.push_back(static_cast<uint8_t>(c >> 8));
  }
  const int32_t status = dir.empty() || config.product_info_key.empty()
                             ? static_cast<int32_t>(kErrorInvalidParameter)
                             : platform::Service<platform::Registry>().ShSetValue(HiveOf(scope), u"Software\\" + config.product_info_key,
                                                          u"InstallDir", platform::kRegSz, bytes);
  if (status != 0) {
    LogError(u"SetInstalledDir, '%s' for scope %d not recorded, error=%d", dir, scope, status);
    return false;
  }
  LogInfo(u"SetInstalledDir, '%s' recorded for scope %d", dir, scope);
  return true;
}

bool RemoveInstalledDir(const CProductConfig& config, int32_t scope) {
  const int32_t status =
      platform::Service<platform::Registry>().ShDeleteValue(HiveOf(scope), u"Software\\" + config.product_info_key, u"InstallDir");
  if (status != 0 && status != static_cast<int32_t>(platform::kErrorFileNotFound)) {
    LogError(u"RemoveInstalledDir, scope %d, error=%d", scope, status);
    return false;
  }
  LogInfo(u"RemoveInstalledDir, scope %d, %s", scope, std::u16string(status == 0 ? u"removed" : u"none recorded"));
  // The product's key goes too when nothing else is left in it; a key that
  // still holds values or subkeys is not the installer's to remove.
  platform::Service<platform::Registry>().ShDeleteEmptyKey(HiveOf(scope), u"Software\\" + config.product_info_key);
  return true;
}

std::u16string GetDefaultInstallDir(const CProductConfig& config, int32_t scope) {
  const std::u16string installed = GetInstalledDir(config, scope, true);
  if (!installed.empty()) return installed;
  if (scope == kInstallScopeMachine) {
    std::u16string programFiles;
    if (!platform::Service<platform::ShellFolders>().SpecialFolderPath(platform::kCsidlProgramFiles, &programFiles) ||
        programFiles.empty()) {
      return std::u16string();
    }
    return BuildSubPath(programFiles, config.install_dir_name, true);
  }
  return GetLocalAppDataPath(config.install_dir_name + u"\\Application", true);
}

int32_t GetInstalledScope(const CProductConfig& config) {
  if (!ReadInstallDir(config, platform::Hive::kLocalMachine).empty()) return kInstallScopeMachine;
  if (!ReadInstallDir(config, platform::Hive::kCurrentUser).empty()) return kInstallScopeUser;
  return kInstallScopeNone;
}

std::u16string GetUserChosenInstallDir(const CProductConfig& config, const std::u16string& chosen) {
  std::u16string dir = chosen;
  for (char16_t& c : dir) {
    if (c == u'/') c = u'\\';
  }
  if (CompareNoCase(GetFileNamePart(dir, false), config.install_dir_name) != 0) {
    dir = JoinPath(dir, config.install_dir_name);
  }
  // Installing over the user data directory would put the program among the
  // user's data; its own subdirectory keeps the two apart.
  const std::u16string userData = GetLocalAppDataPath(config.data_dir, false);
  if (StartsWithNoCase(userData, EnsureTrailingSeparator(dir))) dir = JoinPath(dir, u"Application");
  return dir;
}

std::u16string GetProductPath(const std::u16string& path, const std::u16string& name) {
  auto& files = platform::Service<platform::Files>();
  if (IsRelativePath(path) || platform::Service<platform::ShellFolders>().IsNetworkPath(path)) {
    LogWarn(u"GetProductPath invalid path:%s", path);
    return std::u16string();
  }
  if (files.PathExists(JoinPath(path, kLauncherIniName))) {
    // Already an install root: the message is the one the installer has
    // always written here.
    LogWarn(u"CreateDirectory failed. path:%s", path);
    return path;
  }
  const std::u16string result =
      CompareNoCase(GetFileNamePart(path, true), name) != 0 ? JoinPath(path, name) : path;
  if (!files.PathIsDir(result)) {
    files.MakeDirectoryTree(result);
    if (!files.PathIsDir(result)) {
      LogWarn(u"CreateDirectory failed. path:%s", result);
      return std::u16string();
    }
  }
  return result;
}
