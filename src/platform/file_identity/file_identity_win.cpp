#include <windows.h>

#include "platform/file_identity/file_identity.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

class WinFileIdentity final : public FileIdentity {
 public:
  bool IdentifyFile(const std::u16string& path, FileId* id) override {
    // Attributes only, every kind of sharing: neither a running program nor
    // a writer stands in the way, and nobody else is hindered meanwhile.
    HANDLE file = ::CreateFileW(AsWide(path), FILE_READ_ATTRIBUTES,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    BY_HANDLE_FILE_INFORMATION info{};
    const BOOL ok = ::GetFileInformationByHandle(file, &info);
    const DWORD error = ::GetLastError();
    ::CloseHandle(file);
    if (!ok) {
      ::SetLastError(error);
      return false;
    }
    id->volume = info.dwVolumeSerialNumber;
    id->index = (static_cast<uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
    return true;
  }
};

}  // namespace

template <>
FileIdentity& NativeService<FileIdentity>() {
  static WinFileIdentity identity;
  return identity;
}

}  // namespace platform
