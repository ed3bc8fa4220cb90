// Linux has no registry: every key is absent (2), in either view.
#include "platform/posix_translation.h"
#include "platform/registry/registry_views.h"

namespace platform {
namespace {

class PosixRegistryViews final : public RegistryViews {
 public:
  int32_t ProbeKey(Hive, const std::u16string&, uint32_t) override {
    posix::SetError(kErrorFileNotFound);
    return static_cast<int32_t>(kErrorFileNotFound);
  }
};

}  // namespace

template <>
RegistryViews& NativeService<RegistryViews>() {
  static PosixRegistryViews views;
  return views;
}

}  // namespace platform
