// The start of the main executable: find it, bring its directory and file
// under their configured names, compose its command line, start it.
#include <optional>
#include <string>
#include <utility>

#include "app/launcher_app.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/old_versions.h"
#include "layout/paths.h"
#include "layout/version_dirs.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/processes/processes.h"
#include "platform/system/environment.h"
#include "platform/system/system_info.h"
#include "platform/system/user_interface.h"

namespace {

// The command line buffers of a launch hold 10240 characters and a
// terminator; a longer text is cut, its end (--start_time) first.
constexpr size_t kLaunchCommandLineLimit = 10240;

}  // namespace

bool CLauncherApp::_LaunchExe() {
  auto& ui = platform::Service<platform::UserInterface>();
  auto& env = platform::Service<platform::Environment>();
  auto& processes = platform::Service<platform::Processes>();
  const CProductConfig& config = GetProductConfig();

  if (m_commandLine.HasSwitch(u"debugbreak")) {
    // Holds the start until closed: time to attach a debugger.
    ui.ShowMessageBox(FormatWideString(u"%d", env.ProcessId()), std::nullopt, platform::kMbOk);
  }
  const uint64_t startTime = GetCurrentTimeMs();

  bool fromManifest = false;
  if (!FindMainExe(config, m_launcherDir, &m_versionDirName, &m_mainExePath, &fromManifest)) {
    LogError(u"CLauncherApp::_LaunchExe, can't found main exe");
    ui.ShowMessageBox(u"Can't find main exe file", std::nullopt, platform::kMbIconExclamation);
    return false;
  }
  LogInfo(u"CLauncherApp::_LaunchExe, found exe '%s'", m_mainExePath);

  _RenameVersionDir(m_mainExePath, m_versionDirName);
  // An executable that its manifest names keeps its name.
  if (!fromManifest) m_mainExePath = _RenameMainExe(m_mainExePath);
  m_mainExeDir = GetDirectoryPart(m_mainExePath);

  std::u16string arguments;
  m_commandLine.ToCommandString(arguments);
  std::u16string commandLine =
      FormatWideLimited(kLaunchCommandLineLimit, u"\"%s\" %s --start_time=%llu", m_mainExePath, arguments, startTime);
  // The caller's arguments never reach the log: the asterisk stands for them.
  const std::u16string logForm =
      FormatWideLimited(kLaunchCommandLineLimit, u"\"%s\" * --start_time=%llu", m_mainExePath, startTime);
  LogInfo(u"Launch app cmdline=%s", logForm);

  platform::ProcessInfo info;
  if (processes.StartProcess(commandLine, m_mainExeDir, &info)) {
    // Nothing is waited for and no handle is kept.
    processes.CloseObject(info.process);
    processes.CloseObject(info.thread);
    return true;
  }
  const uint32_t error = platform::LastError();
  LogError(u"CreateProcessW failed, error=%d", error);
  ShowLaunchError(error, FormatWideString(u"Launch process '%s'", m_mainExePath));
  return false;
}

void CLauncherApp::_RenameVersionDir(std::u16string& mainExePath, std::u16string& versionDirName) {
  auto& files = platform::Service<platform::Files>();
  const std::u16string& wantedName = GetProductConfig().version_dir_name;
  if (CompareNoCase(versionDirName, wantedName) == 0) return;

  const std::u16string target = JoinPath(m_launcherDir, wantedName);
  if (files.PathExists(target)) {
    // Move the old copy aside; the old-version clean-up removes it later.
    const std::u16string dest = JoinPath(m_launcherDir, ToDeleteName(wantedName));
    LogInfo(u"Rename %s to %s", target, dest);
    if (!files.MovePath(target, dest, 0)) {
      LogError(u"Rename %s to %s failed, error=%d", target, dest, platform::LastError());
    }
  }

  // When the old copy is still there (its files in use), the launch runs from
  // the version-named directory.
  if (!files.PathExists(target)) {
    const std::u16string source = JoinPath(m_launcherDir, versionDirName);
    LogInfo(u"Rename %s to %s", source, target);
    if (files.MovePath(source, target, 0)) {
      versionDirName = wantedName;
      mainExePath = JoinPath(target, GetFileNamePart(mainExePath, true));
    } else {
      LogError(u"Rename %s to %s failed, error=%d", source, target, platform::LastError());
    }
  }
}

std::u16string CLauncherApp::_RenameMainExe(const std::u16string& mainExePath) {
  const std::u16string& wantedName = GetProductConfig().exe_file_name;
  const std::u16string fileName = GetFileNamePart(mainExePath, true);
  const std::u16string wanted = JoinPath(GetDirectoryPart(mainExePath), wantedName);
  // A difference of letter case alone is no reason to touch the file; the
  // returned path takes the configured case.
  if (CompareNoCase(fileName, wantedName) == 0) return wanted;

  LogInfo(u"CLauncherApp::_RenameMainExe rename main exe '%s' to '%s", mainExePath, wanted);
  auto& files = platform::Service<platform::Files>();
  if (files.MovePath(mainExePath, wanted, platform::kMoveFileWriteThrough)) return wanted;
  LogError(u"CLauncherApp::_RenameMainExe failed, MoveFileExW '%s'->'%s' failed, error=%d", mainExePath, wanted,
           platform::LastError());
  return mainExePath;
}

void ShowLaunchError(uint32_t errorCode, std::u16string text) {
  auto& system = platform::Service<platform::SystemInfo>();
  auto& ui = platform::Service<platform::UserInterface>();
  std::u16string systemText;
  std::u16string message;
  if (errorCode != 0 && system.SystemErrorText(errorCode, &systemText)) {
    message = FormatWideString(u"%s failed, error=%d, %s", text, errorCode, systemText);
  } else {
    message = std::move(text);
    message += u" failed unknown error";
  }
  ui.ShowMessageBox(message, std::u16string(u"Failed"), platform::kMbIconExclamation);
}
