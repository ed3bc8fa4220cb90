// The calls of a file hold, through Win32.
#include <windows.h>

#include <vector>

#include "platform/file_identity/file_hold.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

class WinFileHold final : public FileHold {
 public:
  bool IsAbsolutePath(const std::u16string& path) override { return IsAbsoluteWindowsPath(path); }

  Handle OpenEntry(const std::u16string& path, Entry kind) override {
    const bool directory = kind == Entry::kDirectory;
    HANDLE h = ::CreateFileW(AsWide(path), GENERIC_READ,
                             directory ? FILE_SHARE_READ | FILE_SHARE_WRITE : FILE_SHARE_READ, nullptr,
                             OPEN_EXISTING, directory ? FILE_FLAG_BACKUP_SEMANTICS : 0, nullptr);
    return h == INVALID_HANDLE_VALUE ? nullptr : h;
  }

  bool FinalPathOf(Handle entry, std::u16string* path) override {
    std::vector<wchar_t> buffer(MAX_PATH + 1);
    for (;;) {
      const DWORD size = static_cast<DWORD>(buffer.size());
      const DWORD length = ::GetFinalPathNameByHandleW(entry, buffer.data(), size, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
      if (length == 0) return false;
      if (length < size) {
        *path = FromWide(buffer.data(), length);
        return true;
      }
      buffer.resize(length + 1);  // the length asked for, terminator included
    }
  }

  bool IdentityOf(Handle entry, FileId* identity) override {
    BY_HANDLE_FILE_INFORMATION info = {};
    if (::GetFileInformationByHandle(entry, &info) == FALSE) return false;
    identity->volume = info.dwVolumeSerialNumber;
    identity->index = (uint64_t{info.nFileIndexHigh} << 32) | info.nFileIndexLow;
    return true;
  }

  void CloseEntry(Handle entry) override { ::CloseHandle(entry); }
};

}  // namespace

template <>
FileHold& NativeService<FileHold>() {
  static WinFileHold hold;
  return hold;
}

}  // namespace platform
