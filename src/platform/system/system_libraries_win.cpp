#include <windows.h>
#include <shlobj.h>

#include "platform/system/system_libraries.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

using RtlGetNtVersionNumbersFn = void(WINAPI*)(DWORD*, DWORD*, DWORD*);

class WinSystemLibraries final : public SystemLibraries {
 public:
  bool WindowsDirectory(std::u16string* directory) override {
    wchar_t buffer[MAX_PATH] = {};
    if (!::SHGetSpecialFolderPathW(nullptr, buffer, CSIDL_WINDOWS, FALSE)) return false;
    *directory = FromWide(buffer);
    return true;
  }
  Module LoadLibraryPath(const std::u16string& path) override { return ::LoadLibraryW(AsWide(path)); }
  bool NtVersionNumbers(Module module, uint32_t* major, uint32_t* minor, uint32_t* build) override {
    const FARPROC proc = ::GetProcAddress(static_cast<HMODULE>(module), "RtlGetNtVersionNumbers");
    if (proc == nullptr) return false;
    DWORD ma = 0, mi = 0, bu = 0;
    reinterpret_cast<RtlGetNtVersionNumbersFn>(reinterpret_cast<void*>(proc))(&ma, &mi, &bu);
    *major = ma;
    *minor = mi;
    *build = bu;
    return true;
  }
};

}  // namespace

template <>
SystemLibraries& NativeService<SystemLibraries>() {
  static WinSystemLibraries libraries;
  return libraries;
}

}  // namespace platform
