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

// The few libraries looked up, each loaded once and kept for the process.
// The toolkit's callers may be on several threads: the table has a lock.
HMODULE Library(const wchar_t* library) {
  struct Loaded {
    const wchar_t* name;
    HMODULE module;
  };
  static Loaded loaded[8] = {};
  static SRWLOCK lock = SRWLOCK_INIT;
  ::AcquireSRWLockExclusive(&lock);
  HMODULE found = nullptr;
  for (Loaded& entry : loaded) {
    if (entry.name == nullptr) {
      found = LoadFromSystemDirectory(library);
      if (found != nullptr) entry = {library, found};
      break;
    }
    if (entry.name == library || ::lstrcmpiW(entry.name, library) == 0) {
      found = entry.module;
      break;
    }
  }
  // More libraries than slots: the loader counts the extra loads.
  if (found == nullptr && loaded[7].name != nullptr) found = LoadFromSystemDirectory(library);
  ::ReleaseSRWLockExclusive(&lock);
  return found;
}

}  // namespace

FARPROC SystemProcAddress(const wchar_t* library, const char* name) {
  HMODULE module = Library(library);
  if (module == nullptr) {
    ::SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  FARPROC proc = ::GetProcAddress(module, name);
  if (proc == nullptr) ::SetLastError(ERROR_PROC_NOT_FOUND);
  return proc;
}

}  // namespace platform::win
