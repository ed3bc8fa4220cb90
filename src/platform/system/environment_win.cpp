// The own module, the environment block and the process's identity.
#include <windows.h>

#include <cstdio>
#include <vector>

#include "platform/system/environment.h"
#include "platform/text/win_text.h"

namespace platform {

class WinEnvironment final : public Environment {
 public:
  std::u16string ModuleFilePath() override;
  bool GetEnv(const std::u16string& name, std::u16string* value) override;
  bool SetEnv(const std::u16string& name, const std::u16string* value) override;
  uint32_t ProcessId() override;
  uint32_t ThreadId() override;
  std::u16string CurrentDirectory() override;
  void WriteStdout(const std::string& text) override;
};

template <>
Environment& NativeService<Environment>() {
  static WinEnvironment instance;
  return instance;
}

std::u16string WinEnvironment::ModuleFilePath() {
  // GetModuleFileNameW fills the whole buffer when the path does not fit, so
  // grow until a call leaves room to spare. Long paths reach 32767 units.
  std::vector<wchar_t> buffer(MAX_PATH);
  for (;;) {
    DWORD length = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0) {
      return std::u16string();
    }
    if (length < buffer.size()) {
      return FromWide(buffer.data(), length);
    }
    if (buffer.size() >= 65536) {
      return FromWide(buffer.data(), length);
    }
    buffer.resize(buffer.size() * 2);
  }
}

bool WinEnvironment::GetEnv(const std::u16string& name, std::u16string* value) {
  std::vector<wchar_t> buffer(256);
  for (;;) {
    // A variable set to the empty text answers 0 as a missing one does; only
    // the last error tells them apart.
    ::SetLastError(ERROR_SUCCESS);
    DWORD length = ::GetEnvironmentVariableW(AsWide(name), buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0) {
      if (::GetLastError() != ERROR_SUCCESS) {
        return false;
      }
      value->clear();
      return true;
    }
    if (length < buffer.size()) {
      *value = FromWide(buffer.data(), length);
      return true;
    }
    // Too small: the answer is the size needed, terminator included.
    buffer.resize(length);
  }
}

bool WinEnvironment::SetEnv(const std::u16string& name, const std::u16string* value) {
  return ::SetEnvironmentVariableW(AsWide(name), value != nullptr ? AsWide(*value) : nullptr) != FALSE;
}

uint32_t WinEnvironment::ProcessId() { return ::GetCurrentProcessId(); }

uint32_t WinEnvironment::ThreadId() { return ::GetCurrentThreadId(); }

std::u16string WinEnvironment::CurrentDirectory() {
  DWORD needed = ::GetCurrentDirectoryW(0, nullptr);
  if (needed == 0) {
    return std::u16string();
  }
  std::vector<wchar_t> buffer(needed);
  DWORD length = ::GetCurrentDirectoryW(needed, buffer.data());
  if (length == 0 || length >= needed) {
    return std::u16string();
  }
  return FromWide(buffer.data(), length);
}

void WinEnvironment::WriteStdout(const std::string& text) {
  // A GUI process usually has no standard output; the write then fails
  // silently, which is all a caller of this asks for.
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

}  // namespace platform
