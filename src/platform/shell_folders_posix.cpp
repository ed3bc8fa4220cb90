#include "platform/posix_platform.h"
#include "platform/shell_folders.h"

namespace platform {
namespace {

// Linux has no desktop or program-files folder of the shell's kind.
class PosixShellFolders final : public ShellFolders {
 public:
  bool SpecialFolderPath(int32_t, std::u16string*) override {
    posix::SetError(kErrorFileNotFound);
    return false;
  }
};

}  // namespace

template <>
ShellFolders& NativeService<ShellFolders>() {
  static PosixShellFolders folders;
  return folders;
}

}  // namespace platform
