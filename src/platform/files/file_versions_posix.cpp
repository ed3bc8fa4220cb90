// Version records on Linux: an ELF executable has none, so every file
// answers as a Windows file without a VERSIONINFO resource.
#include "platform/files/file_versions.h"
#include "platform/posix_translation.h"

namespace platform {
namespace {

class PosixFileVersions final : public FileVersions {
 public:
  bool ReadVersionInfo(const std::u16string&, std::vector<uint8_t>* record) override {
    record->clear();
    posix::SetError(kErrorResourceTypeNotFound);
    return false;
  }
  bool QueryTranslation(const std::vector<uint8_t>&, uint16_t*, uint16_t*) override { return false; }
  bool QueryString(const std::vector<uint8_t>&, const std::u16string&, std::u16string*) override { return false; }
};

}  // namespace

template <>
FileVersions& NativeService<FileVersions>() {
  static PosixFileVersions versions;
  return versions;
}

}  // namespace platform
