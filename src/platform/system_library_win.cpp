#include "platform/system_library_win.h"

#include <string>

namespace platform::win {
namespace {

// LoadLibraryExW's flag for the system directory alone; systems without it
// reject the flag with ERROR_INVALID_PARAMETER.
constexpr DWORD kSearchSystem32 = 0x00000800;

HMODULE LoadFromSystemDirectory(const wchar_t* library) {
  HMODULE module = ::LoadLibraryExW(library, nullptr, kSearchSystem32);
  if (module != nullptr || ::GetLastError() != ERROR_INVALID_PARAMETER) return module;
  // The full path names the system directory's copy on any system.
  wchar_t directory[MAX_PATH];
  const UINT length = ::GetSystemDirectoryW(directory, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  std::wstring path(directory, length);
  path += L'\\';
  path += library;
  return ::LoadLibraryExW(path.c_str(), nullptr, 0);
}

}  // namespace

FARPROC SystemProcAddress(const wchar_t* library, const char* name) {
  // Each call site looks its function up once and keeps it; a library
  // already loaded is only counted once more by the loader.
  HMODULE module = LoadFromSystemDirectory(library);
  if (module == nullptr) {
    ::SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  FARPROC proc = ::GetProcAddress(module, name);
  if (proc == nullptr) ::SetLastError(ERROR_PROC_NOT_FOUND);
  return proc;
}

}  // namespace platform::win
