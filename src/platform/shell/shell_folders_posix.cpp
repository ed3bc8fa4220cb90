#include "platform/posix_translation.h"
#include "platform/shell/shell_folders.h"

namespace platform {
namespace {

// Linux has no desktop or program-files folder of the shell's kind.
class PosixShellFolders final : public ShellFolders {
 public:
  bool SpecialFolderPath(int32_t, std::u16string*) override {
    posix::SetError(kErrorFileNotFound);
    return false;
  }
  // No drive is mapped to a share here; only the UNC form names one.
  bool IsNetworkPath(const std::u16string& path) override { return path.rfind(u"\\\\", 0) == 0; }
};

}  // namespace

template <>
ShellFolders& NativeService<ShellFolders>() {
  static PosixShellFolders folders;
  return folders;
}

}  // namespace platform
