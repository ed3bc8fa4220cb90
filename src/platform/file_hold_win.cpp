#include <windows.h>

#include <vector>

#include "platform/file_hold.h"
#include "platform/win_text.h"

namespace platform {
namespace {

class WinFileHold final : public FileHold {
 public:
  Handle HoldFileAndParents(const std::u16string& path) override {
    std::vector<std::u16string> directories;
    for (std::u16string dir = ParentDirectoryOf(path); !dir.empty(); dir = ParentDirectoryOf(dir)) {
      directories.push_back(dir);
    }
    auto* held = new std::vector<HANDLE>();
    auto fail = [held]() -> Handle {
      const DWORD error = ::GetLastError();
      for (HANDLE h : *held) ::CloseHandle(h);
      delete held;
      ::SetLastError(error);
      return nullptr;
    };
    for (auto dir = directories.rbegin(); dir != directories.rend(); ++dir) {
      HANDLE h = ::CreateFileW(AsWide(*dir), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
      if (h == INVALID_HANDLE_VALUE) {
        // A directory on the way that does not exist: the file's path is
        // not found, as opening the file itself would report.
        const DWORD error = ::GetLastError();
        if (error == ERROR_FILE_NOT_FOUND) ::SetLastError(ERROR_PATH_NOT_FOUND);
        return fail();
      }
      held->push_back(h);
    }
    HANDLE file = ::CreateFileW(AsWide(path), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return fail();
    held->push_back(file);
    return held;
  }
  void ReleaseHold(Handle hold) override {
    auto* held = static_cast<std::vector<HANDLE>*>(hold);
    if (held == nullptr) return;
    for (HANDLE h : *held) ::CloseHandle(h);
    delete held;
  }
};

}  // namespace

template <>
FileHold& NativeService<FileHold>() {
  static WinFileHold hold;
  return hold;
}

}  // namespace platform
