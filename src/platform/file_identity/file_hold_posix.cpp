// The calls of a file hold on Linux: open descriptors, their resolved paths
// from /proc/self/fd, device and inode. Linux has no share modes, so a held
// file or directory can still be renamed or replaced by others; the final
// path and the identity checks still make the hold name one file. (Linux has
// no code signatures either: every file reads as unsigned.)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "platform/file_identity/file_hold.h"
#include "platform/posix_translation.h"

namespace platform {
namespace {

// A descriptor travels as a handle: fd + 1, so that null stays "none".
Handle FromFd(int fd) { return reinterpret_cast<Handle>(static_cast<intptr_t>(fd) + 1); }
int ToFd(Handle h) { return static_cast<int>(reinterpret_cast<intptr_t>(h) - 1); }

class PosixFileHold final : public FileHold {
 public:
  bool IsAbsolutePath(const std::u16string& path) override {
    return !path.empty() && (path[0] == u'\\' || path[0] == u'/');
  }

  Handle OpenEntry(const std::u16string& path, Entry kind) override {
    std::string native;
    if (!posix::ResolvePath(path, &native)) return nullptr;
    // O_NONBLOCK: a FIFO must not block the open; it is refused below.
    const int flags = kind == Entry::kDirectory ? O_RDONLY | O_DIRECTORY : O_RDONLY | O_NONBLOCK;
    const int fd = ::open(native.c_str(), flags | O_CLOEXEC);
    if (fd < 0) {
      posix::SetError(errno == ENOTDIR ? kErrorPathNotFound : posix::MapErrno(errno, native, false));
      return nullptr;
    }
    struct stat st;
    if (kind == Entry::kFile && (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))) {
      ::close(fd);
      posix::SetError(kErrorAccessDenied);  // as CreateFileW refuses a directory
      return nullptr;
    }
    return FromFd(fd);
  }

  bool FinalPathOf(Handle entry, std::u16string* path) override {
    struct stat st;
    if (::fstat(ToFd(entry), &st) != 0) {
      posix::SetError(kErrorInvalidHandle);
      return false;
    }
    if (st.st_nlink == 0) {  // deleted while open: no path leads to it
      posix::SetError(kErrorFileNotFound);
      return false;
    }
    const std::string link = "/proc/self/fd/" + std::to_string(ToFd(entry));
    std::string target(4096, '\0');
    const ssize_t length = ::readlink(link.c_str(), &target[0], target.size());
    if (length <= 0 || static_cast<size_t>(length) >= target.size()) {
      posix::SetError(length < 0 ? posix::MapErrno(errno) : uint32_t{kErrorFilenameExcedRange});
      return false;
    }
    target.resize(static_cast<size_t>(length));
    *path = posix::FromPosixPath(target);
    return true;
  }

  bool IdentityOf(Handle entry, FileId* identity) override {
    struct stat st;
    if (::fstat(ToFd(entry), &st) != 0) {
      posix::SetError(kErrorInvalidHandle);
      return false;
    }
    identity->volume = static_cast<uint64_t>(st.st_dev);
    identity->index = static_cast<uint64_t>(st.st_ino);
    return true;
  }

  void CloseEntry(Handle entry) override { ::close(ToFd(entry)); }
};

}  // namespace

template <>
FileHold& NativeService<FileHold>() {
  static PosixFileHold hold;
  return hold;
}

}  // namespace platform
