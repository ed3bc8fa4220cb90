// The launcher's application object: the run sequence, the gate between
// launcher processes and the start of the main executable.
#pragma once

#include <cstdint>
#include <string>

#include "app/vorn_app.h"

class CLauncherApp : public CVornApp {
 public:
  CLauncherApp();
  ~CLauncherApp();

  // The whole run, one method a step; each line names the file that defines
  // the method, so the run can be followed from here.
  int32_t Run(const char16_t* commandLine) override;  // app/launcher_app.cpp

  static CLauncherApp* s_instance;

  // Read by tests and by the follow-ups.
  const std::u16string& mainExePath() const { return m_mainExePath; }
  const std::u16string& mainExeDir() const { return m_mainExeDir; }
  const std::u16string& versionDirName() const { return m_versionDirName; }
  const std::u16string& launcherDir() const { return m_launcherDir; }
  const std::u16string& launcherPath() const { return m_launcherPath; }
  const std::u16string& launcherFileName() const { return m_launcherFileName; }

  // The gate between launcher processes.
  bool _IsUpdating();            // app/auto_launch_gate.cpp
  void _ShowUpdatingMessage();   // app/auto_launch_gate.cpp
  int32_t _AutoLaunchGate();     // app/auto_launch_gate.cpp

  // The start of the main executable.
  bool _LaunchExe();                                                                    // app/launch_exe.cpp
  void _RenameVersionDir(std::u16string& mainExePath, std::u16string& versionDirName);  // app/launch_exe.cpp
  std::u16string _RenameMainExe(const std::u16string& mainExePath);                     // app/launch_exe.cpp

  // After the start: the ini file, then the follow-ups of a normal start.
  void _WriteLauncherIni();     // layout/launcher_ini.cpp
  void _RepairPinnedTaskBar();  // layout/shortcuts.cpp
  void _DeleteOldVersions();    // layout/old_versions.cpp

  // The maintenance commands: the broker behind the scheduled task, the
  // task's registration and the uninstaller hand-off.
  int32_t RunUpdate();        // maintenance/run_update.cpp
  int32_t AddTaskSchedule();  // maintenance/task_schedule.cpp
  int32_t _RunUninstaller();  // maintenance/uninstall_handoff.cpp

  // The compatibility flags of the launcher's own file.
  bool _RemoveAppCompatFlagsEntry(const std::u16string& appPath);  // maintenance/compat_flags.cpp

 private:
  // CLauncherPaths.
  std::u16string m_mainExePath;
  std::u16string m_mainExeDir;
  std::u16string m_versionDirName;
  std::u16string m_appUserModelId;
  std::u16string m_launcherDir;
  std::u16string m_launcherPath;
  std::u16string m_launcherFileName;
  bool m_unused = false;
};

// Shows the launch failure box: "<text> failed, error=<code>, <system text>"
// or "<text> failed unknown error", caption "Failed". (app/launch_exe.cpp)
void ShowLaunchError(uint32_t errorCode, std::u16string text);

// True when a process other than this one runs an executable of that file
// name (ASCII case folded). (app/auto_launch_gate.cpp)
bool IsOtherProcessRunning(const std::u16string& exeFileName);

// Run's early hardening: restricts implicit DLL loads to System32 on
// Windows 8 and later. (app/launcher_app.cpp)
void HardenDllSearchPath();

// Writes the launcher's own path into the Compatibility Assistant's persisted
// list (REG_DWORD 1). False when the key cannot be opened or written.
// (maintenance/compat_flags.cpp)
bool PersistCompatibilityAssistantValue();
