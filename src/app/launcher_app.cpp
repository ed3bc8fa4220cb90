#include "app/launcher_app.h"

#include <string>

#include "app/exit_codes.h"
#include "base/event_report.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/paths.h"
#include "platform/files/files.h"
#include "platform/system/environment.h"
#include "platform/system/system_info.h"

namespace {

constexpr uint16_t kConfigResourceId = 104;
constexpr uint16_t kLocaleResourceId = 110;
constexpr char16_t kLogTag[] = u"launcher";
constexpr char16_t kUpdateTaskMarker[] = u"update\\update.task";

}  // namespace

CLauncherApp* CLauncherApp::s_instance = nullptr;

CLauncherApp::CLauncherApp() {
  s_instance = this;
  m_unused = false;
}

// The paths are released after the instance pointer is cleared, last member
// first, then the base goes.
CLauncherApp::~CLauncherApp() { s_instance = nullptr; }

void HardenDllSearchPath() {
  if (!IsWindowsVersionAtLeast(6, 2, 0)) return;
  // From here on implicitly loaded libraries come from the system directory
  // only. Neither failure stops the start; a GUI process shows no output.
  auto& system = platform::Service<platform::SystemInfo>();
  auto& env = platform::Service<platform::Environment>();
  const int32_t result = system.RestrictDllSearchToSystem32();
  if (result < 0) {
    env.WriteStdout("SetDefaultDllDirectories not found\n");
  } else if (result == 0) {
    env.WriteStdout("SetDefaultDllDirectories failed\n");
  }
}

int32_t CLauncherApp::Run(const char16_t* commandLine) {
  auto& files = platform::Service<platform::Files>();
  const std::u16string text = commandLine != nullptr ? std::u16string(commandLine) : std::u16string();

  // 1-2. The command line and where the launcher stands.
  m_commandLine.ParseCommandLine(text, false);
  m_launcherPath = GetModuleFilePath();
  m_launcherDir = GetDirectoryPart(m_launcherPath);
  m_launcherFileName = GetFileNamePart(m_launcherPath, true);

  // 3-4. Registry chores; they run before the log exists and leave no trace.
  PersistCompatibilityAssistantValue();
  if (!m_commandLine.HasSwitch(u"ignore_remove_compat_flag")) _RemoveAppCompatFlagsEntry(m_launcherPath);

  // 5-10. Log tag, configuration, user data directory, log, language.
  SetLogFileTag(kLogTag);
  if (m_commandLine.HasSwitch(u"disallow_encode_log")) SetDisallowEncodeLog(true);
  if (!_InitConfigInfo(kConfigResourceId)) return kExitConfigFailed;
  const std::u16string userDataDir = GetLocalAppDataPath(m_productConfig.data_dir, true);
  if (!_StartLog(userDataDir, kLogTag, true)) return kExitFailure;
  if (!_InitLanguage(kLocaleResourceId)) return kExitLocaleFailed;

  // 11-12. An update in progress, then the gate between launchers.
  if (_IsUpdating()) {
    _ShowUpdatingMessage();
    return kExitUpdating;
  }
  const int32_t gate = _AutoLaunchGate();
  if (gate != kExitSuccess) return gate;

  // 13. What the user dropped on the program. Paths never reach the event,
  // and an existing path does not reach the log either.
  m_rawCommandLine = text;
  LogInfo(u"CmdLine size is %d", static_cast<int32_t>(m_commandLine.GetArgCount()));
  for (size_t i = 0; i < m_commandLine.GetArgCount(); ++i) {
    const int32_t index = static_cast<int32_t>(i);
    std::u16string path = m_commandLine.GetArg(i);
    if (!path.empty() && path.front() == u'"' && path.back() == u'"') {
      path = path.size() >= 2 ? path.substr(1, path.size() - 2) : std::u16string();
    }
    if (!files.PathExists(path)) {
      LogInfo(u"CmdLine[%d]:%s", index, path);
      continue;
    }
    const char* kind;
    if (files.PathIsDir(path)) {
      LogInfo(u"CmdLine[%d] is dir path", index);
      kind = "dir";
    } else {
      const std::u16string name = path.substr(FindFileNameOffset(path));
      if (CompareNoCase(name.substr(FindExtensionOffset(name)), u".lnk") == 0) {
        LogInfo(u"CmdLine[%d] is lnk path", index);
        kind = "lnk";
      } else {
        LogInfo(u"CmdLine[%d] is other path", index);
        kind = "file";
      }
    }
    ReportEvent(m_productConfig.data_dir, "update_launcher_drag_file", "", "file_ex", kind, "", "");
  }

  // 14-15. The dispatch.
  m_command = m_commandLine.GetSwitchValue(u"command");
  if (m_command == u"run_update") {
    const int32_t ret = RunUpdate();
    ReportEvent(m_productConfig.data_dir, "update_launcher_run_task", "", "version",
                m_productConfig.product_version_utf8, "ret", std::to_string(ret));
    return ret;
  }
  if (m_command == u"rebuild_taskschedule") return AddTaskSchedule();
  if (m_command == u"run_uninstall") return _RunUninstaller();

  // The default path. The marker is tested before the launch, so it tells
  // the state from before the new process ran.
  const bool taskExists = files.PathExists(JoinPath(userDataDir, kUpdateTaskMarker));
  if (!_LaunchExe()) return kExitLaunchFailed;
  _WriteLauncherIni();
  if (taskExists) {
    LogInfo(u"update task exist.");
    return kExitSuccess;
  }
  // Best-effort, after the application runs: neither changes the result.
  _RepairPinnedTaskBar();
  _DeleteOldVersions();
  return kExitSuccess;
}
