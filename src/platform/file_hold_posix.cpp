// Holding a file on Linux: the file and its directories are opened and kept
// open, but Linux has no share modes, so nothing is denied to others. (Linux
// has no code signatures either: every file reads as unsigned, so there is
// no signer check whose file could be swapped.)
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/file_hold.h"
#include "platform/posix_platform.h"

namespace platform {
namespace {

class PosixFileHold final : public FileHold {
 public:
  Handle HoldFileAndParents(const std::u16string& path) override {
    std::vector<std::u16string> directories;
    for (std::u16string dir = ParentDirectoryOf(path); !dir.empty(); dir = ParentDirectoryOf(dir)) {
      directories.push_back(dir);
    }
    auto* held = new std::vector<int>();
    auto open = [held](const std::u16string& target, int flags) {
      std::string native;
      if (!posix::ResolvePath(target, &native)) return false;
      const int fd = ::open(native.c_str(), flags | O_CLOEXEC);
      if (fd < 0) {
        posix::SetError(posix::MapErrno(errno, native, false));
        return false;
      }
      held->push_back(fd);
      return true;
    };
    bool ok = true;
    for (auto dir = directories.rbegin(); ok && dir != directories.rend(); ++dir) {
      ok = open(*dir, O_RDONLY | O_DIRECTORY);
      // A directory on the way that does not exist: the file's path is not
      // found, as opening the file itself would report.
      if (!ok && posix::ThreadLastError() == kErrorFileNotFound) posix::SetError(kErrorPathNotFound);
    }
    if (ok) ok = open(path, O_RDONLY);
    if (!ok) {
      const uint32_t error = posix::ThreadLastError();
      ReleaseHold(held);
      posix::SetError(error);
      return nullptr;
    }
    return held;
  }
  void ReleaseHold(Handle hold) override {
    auto* held = static_cast<std::vector<int>*>(hold);
    if (held == nullptr) return;
    for (int fd : *held) ::close(fd);
    delete held;
  }
};

}  // namespace

template <>
FileHold& NativeService<FileHold>() {
  static PosixFileHold hold;
  return hold;
}

}  // namespace platform
