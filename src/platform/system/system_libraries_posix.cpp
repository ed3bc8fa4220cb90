// System libraries on Linux: there is no Windows directory and no Windows
// library to load, so each call fails as on a system without them.
#include "platform/posix_translation.h"
#include "platform/system/system_libraries.h"

namespace platform {
namespace {

constexpr uint32_t kErrorModNotFound = 126;
constexpr uint32_t kErrorProcNotFound = 127;

class PosixSystemLibraries final : public SystemLibraries {
 public:
  bool WindowsDirectory(std::u16string* directory) override {
    posix::SetError(kErrorPathNotFound);
    return false;
  }
  Module LoadLibraryPath(const std::u16string& path) override {
    posix::SetError(kErrorModNotFound);
    return nullptr;
  }
  bool NtVersionNumbers(Module module, uint32_t* major, uint32_t* minor, uint32_t* build) override {
    posix::SetError(kErrorProcNotFound);
    return false;
  }
};

}  // namespace

template <>
SystemLibraries& NativeService<SystemLibraries>() {
  static PosixSystemLibraries libraries;
  return libraries;
}

}  // namespace platform
