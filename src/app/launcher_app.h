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

  int32_t Run(const char16_t* commandLine) override;

  static CLauncherApp* s_instance;

  // Read by tests and by the follow-ups.
  const std::u16string& mainExePath() const { return m_mainExePath; }
  const std::u16string& mainExeDir() const { return m_mainExeDir; }
  const std::u16string& versionDirName() const { return m_versionDirName; }
  const std::u16string& launcherDir() const { return m_launcherDir; }
  const std::u16string& launcherPath() const { return m_launcherPath; }
  const std::u16string& launcherFileName() const { return m_launcherFileName; }

  // Gate (auto_launch_gate.cpp).
  bool _IsUpdating();
  void _ShowUpdatingMessage();
  int32_t _AutoLaunchGate();

  // Launch (launch_exe.cpp).
  bool _LaunchExe();
  void _RenameVersionDir(std::u16string& mainExePath, std::u16string& versionDirName);
  std::u16string _RenameMainExe(const std::u16string& mainExePath);

  // Ini file (launcher_ini.cpp).
  void _WriteLauncherIni();

  // Maintenance commands (src/maintenance): the broker behind the scheduled
  // task, the task's registration and the uninstaller hand-off.
  int32_t RunUpdate();
  int32_t AddTaskSchedule();
  int32_t _RunUninstaller();

  // Compatibility flags (compat_flags.cpp).
  bool _RemoveAppCompatFlagsEntry(const std::u16string& appPath);

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
// or "<text> failed unknown error", caption "Failed".
void ShowLaunchError(uint32_t errorCode, std::u16string text);

// True when a process other than this one runs an executable of that file
// name (ASCII case folded).
bool IsOtherProcessRunning(const std::u16string& exeFileName);

// Run's early hardening: restricts implicit DLL loads to System32 on
// Windows 8 and later.
void HardenDllSearchPath();

// Writes the launcher's own path into the Compatibility Assistant's persisted
// list (REG_DWORD 1). False when the key cannot be opened or written.
bool PersistCompatibilityAssistantValue();
