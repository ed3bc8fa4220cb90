#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include "platform/shell/shell_folders.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

class WinShellFolders final : public ShellFolders {
 public:
  bool SpecialFolderPath(int32_t csidl, std::u16string* path) override {
    wchar_t buffer[MAX_PATH] = {};
    if (!::SHGetSpecialFolderPathW(nullptr, buffer, csidl, FALSE)) return false;
    *path = FromWide(buffer);
    return true;
  }
  bool IsNetworkPath(const std::u16string& path) override { return ::PathIsNetworkPathW(AsWide(path)) != FALSE; }
};

}  // namespace

template <>
ShellFolders& NativeService<ShellFolders>() {
  static WinShellFolders folders;
  return folders;
}

}  // namespace platform
