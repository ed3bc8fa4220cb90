// Where the product is installed, or where it should go: read from the
// registry key Software\<product_info_key> (value "InstallDir") of the hive a
// scope names, or made from the shell's folders. For the installer and
// uninstaller; the launcher takes its install root from its own path.
#pragma once

#include <cstdint>
#include <string>

#include "base/product_config.h"

// Scopes: 2 is the machine (HKEY_LOCAL_MACHINE), any other value the user
// (HKEY_CURRENT_USER). GetInstalledScope answers 0 when neither has one.
enum : int32_t {
  kInstallScopeNone = 0,
  kInstallScopeUser = 1,
  kInstallScopeMachine = 2,
};

// The "InstallDir" of the scope's hive with a trailing separator, or empty.
// With `verify`, only a directory that holds a main executable and
// "Orvane.ini" counts.
std::u16string GetInstalledDir(const CProductConfig& config, int32_t scope, bool verify);

// Records `dir` as the scope's "InstallDir" (REG_SZ), so that
// GetInstalledDir finds the installation again: an update or uninstall that
// is not told where. False with an error line naming the function when the
// value cannot be written (on Linux, which has no registry, always).
bool SetInstalledDir(const CProductConfig& config, int32_t scope, const std::u16string& dir);

// Removes the scope's "InstallDir". True when none is left (also when there
// was none); false with an error line otherwise. The key itself stays.
bool RemoveInstalledDir(const CProductConfig& config, int32_t scope);

// The verified installed directory, else a fresh one, created if missing:
// install_dir_name under Program Files for the machine, install_dir_name
// followed by "\Application" under %LOCALAPPDATA% for the user. Trailing
// separator; empty when the folder cannot be got or made.
std::u16string GetDefaultInstallDir(const CProductConfig& config, int32_t scope);

// 2 when the machine's hive records an install directory, else 1 when the
// user's does, else 0.
int32_t GetInstalledScope(const CProductConfig& config);

// A directory the user picked, made into an install directory: '/' becomes
// '\', install_dir_name is added unless the last component (extension left
// out) already is it, and "Application" is added when the result would hold
// the user data directory.
std::u16string GetUserChosenInstallDir(const CProductConfig& config, const std::u16string& chosen);

// Checks a path that the user supplied and prepares it: empty for a relative
// or network path; the path itself when it already holds "Orvane.ini";
// otherwise path\name (unless its last component already is `name`), created
// if missing, or empty when it can't be created. No trailing separator added.
std::u16string GetProductPath(const std::u16string& path, const std::u16string& name);
