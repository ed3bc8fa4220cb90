// The process's own module, environment and identity.
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

class Environment {
 public:
  virtual ~Environment() = default;

  // GetModuleFileNameW(NULL, ...): the full path of the running executable,
  // in Windows form, not cut. Callers cut it to their own buffer size.
  virtual std::u16string ModuleFilePath() = 0;

  // GetEnvironmentVariableW: true and the value when set. On POSIX,
  // LOCALAPPDATA and APPDATA fall back to the XDG data and config homes, and
  // values that are absolute POSIX paths come back in Windows form.
  virtual bool GetEnv(const std::u16string& name, std::u16string* value) = 0;

  // SetEnvironmentVariableW: null value removes the variable. Children
  // started afterwards inherit the change.
  virtual bool SetEnv(const std::u16string& name, const std::u16string* value) = 0;

  // GetCurrentProcessId / GetCurrentThreadId.
  virtual uint32_t ProcessId() = 0;
  virtual uint32_t ThreadId() = 0;

  // GetCurrentDirectoryW, Windows form with no trailing separator.
  virtual std::u16string CurrentDirectory() = 0;

  // Writes narrow text to the process's standard output (unbuffered).
  virtual void WriteStdout(const std::string& text) = 0;
};

}  // namespace platform
