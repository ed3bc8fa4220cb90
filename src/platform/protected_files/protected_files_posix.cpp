// Protected files on Linux: there are no owners of the Windows kind, no
// access lists and no Common Program Files folder. Every operation fails as
// Windows fails for a service it does not offer, and nothing is created,
// copied or moved.
#include "platform/posix_translation.h"
#include "platform/protected_files/protected_files.h"

namespace platform {
namespace {

class PosixProtectedFiles final : public ProtectedFiles {
 public:
  // As SHGetSpecialFolderPathW for a folder the system does not have.
  bool CommonProgramFilesFolder(std::u16string* path) override {
    path->clear();
    return Fail(kErrorFileNotFound);
  }
  bool ReadSecurity(const std::u16string&, FileSecurity* security) override {
    *security = FileSecurity();
    return Fail(kErrorCallNotImplemented);
  }
  bool CreateProtectedDirectory(const std::u16string&) override { return Fail(kErrorCallNotImplemented); }
  bool CopyFileTo(const std::u16string&, const std::u16string&) override { return Fail(kErrorCallNotImplemented); }
  bool ReplaceFile(const std::u16string&, const std::u16string&) override { return Fail(kErrorCallNotImplemented); }

 private:
  static bool Fail(uint32_t error) {
    posix::SetError(error);
    return false;
  }
};

}  // namespace

template <>
ProtectedFiles& NativeService<ProtectedFiles>() {
  static PosixProtectedFiles files;
  return files;
}

}  // namespace platform
