// System version, DLL search hardening, COM, language, code pages and the
// system's error texts.
#include <windows.h>
#include <objbase.h>

#include <climits>
#include <vector>

#include "platform/system/system_info.h"
#include "platform/text/win_text.h"

namespace platform {

class WinSystemInfo final : public SystemInfo {
 public:
  bool VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) override;
  int32_t RestrictDllSearchToSystem32() override;
  int32_t ComInitialize() override;
  void ComUninitialize() override;
  uint16_t UserDefaultUILanguage() override;
  std::u16string CodePageToWide(const std::string& text, uint32_t codePage) override;
  std::string WideToCodePage(const std::u16string& text, uint32_t codePage) override;
  bool SystemErrorText(uint32_t code, std::u16string* text) override;
};

template <>
SystemInfo& NativeService<SystemInfo>() {
  static WinSystemInfo instance;
  return instance;
}

bool WinSystemInfo::VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) {
  OSVERSIONINFOEXW wanted = {};
  wanted.dwOSVersionInfoSize = sizeof(wanted);
  wanted.dwMajorVersion = major;
  wanted.dwMinorVersion = minor;
  wanted.wServicePackMajor = servicePackMajor;
  DWORDLONG conditions = 0;
  conditions = ::VerSetConditionMask(conditions, VER_MAJORVERSION, VER_GREATER_EQUAL);
  conditions = ::VerSetConditionMask(conditions, VER_MINORVERSION, VER_GREATER_EQUAL);
  conditions = ::VerSetConditionMask(conditions, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
  return ::VerifyVersionInfoW(&wanted, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, conditions) !=
         FALSE;
}

int32_t WinSystemInfo::RestrictDllSearchToSystem32() {
  // Looked up at run time so that the executable still loads on a system
  // that lacks the call.
  using SetDefaultDllDirectoriesFn = BOOL(WINAPI*)(DWORD);
  HMODULE kernel = ::GetModuleHandleW(L"Kernel32.dll");
  FARPROC found = kernel != nullptr ? ::GetProcAddress(kernel, "SetDefaultDllDirectories") : nullptr;
  if (found == nullptr) {
    return -1;
  }
  auto setDefaultDllDirectories = reinterpret_cast<SetDefaultDllDirectoriesFn>(reinterpret_cast<void*>(found));
  return setDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32) != FALSE ? 1 : 0;
}

int32_t WinSystemInfo::ComInitialize() { return ::CoInitialize(nullptr); }

void WinSystemInfo::ComUninitialize() { ::CoUninitialize(); }

uint16_t WinSystemInfo::UserDefaultUILanguage() { return ::GetUserDefaultUILanguage(); }

std::u16string WinSystemInfo::CodePageToWide(const std::string& text, uint32_t codePage) {
  // Explicit lengths, so embedded NULs pass and no terminator is counted.
  if (text.empty() || text.size() > INT_MAX) {
    return std::u16string();
  }
  const int inputLength = static_cast<int>(text.size());
  int needed = ::MultiByteToWideChar(codePage, 0, text.data(), inputLength, nullptr, 0);
  if (needed <= 0) {
    return std::u16string();
  }
  std::vector<wchar_t> buffer(static_cast<size_t>(needed) + 1);
  int written = ::MultiByteToWideChar(codePage, 0, text.data(), inputLength, buffer.data(), needed + 1);
  if (written <= 0) {
    return std::u16string();
  }
  return FromWide(buffer.data(), static_cast<size_t>(written < needed ? written : needed));
}

std::string WinSystemInfo::WideToCodePage(const std::u16string& text, uint32_t codePage) {
  if (text.empty() || text.size() > INT_MAX) {
    return std::string();
  }
  const int inputLength = static_cast<int>(text.size());
  const wchar_t* input = reinterpret_cast<const wchar_t*>(text.data());
  int needed = ::WideCharToMultiByte(codePage, 0, input, inputLength, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) {
    return std::string();
  }
  std::vector<char> buffer(static_cast<size_t>(needed) + 1);
  int written = ::WideCharToMultiByte(codePage, 0, input, inputLength, buffer.data(), needed + 1, nullptr, nullptr);
  if (written <= 0) {
    return std::string();
  }
  return std::string(buffer.data(), static_cast<size_t>(written < needed ? written : needed));
}

bool WinSystemInfo::SystemErrorText(uint32_t code, std::u16string* text) {
  // FORMAT_MESSAGE_ALLOCATE_BUFFER | FROM_SYSTEM | IGNORE_INSERTS, in the
  // user's default language; the text keeps the system's line end.
  wchar_t* buffer = nullptr;
  DWORD length = ::FormatMessageW(0x1300, nullptr, code, 1024, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  if (buffer == nullptr) {
    return false;
  }
  if (length > 0) {
    *text = FromWide(buffer, length);
  }
  ::LocalFree(buffer);
  return length > 0;
}

}  // namespace platform
