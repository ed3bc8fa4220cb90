// File identity on Linux: stat(2), which follows links, gives the device and
// the inode.
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/file_identity/file_identity.h"
#include "platform/posix_translation.h"

namespace platform {
namespace {

class PosixFileIdentity final : public FileIdentity {
 public:
  bool IdentifyFile(const std::u16string& path, FileId* id) override {
    std::string native;
    if (!posix::ResolvePath(path, &native)) return false;
    struct stat st {};
    if (::stat(native.c_str(), &st) != 0) {
      posix::SetError(posix::MapErrno(errno, native, false));
      return false;
    }
    id->volume = static_cast<uint64_t>(st.st_dev);
    id->index = static_cast<uint64_t>(st.st_ino);
    return true;
  }
};

}  // namespace

template <>
FileIdentity& NativeService<FileIdentity>() {
  static PosixFileIdentity identity;
  return identity;
}

}  // namespace platform
