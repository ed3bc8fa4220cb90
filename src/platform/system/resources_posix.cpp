// Resources of the executable: the built-in blob table that the build links
// into every executable stands in for the resource section.
#include "platform/posix_translation.h"
#include "platform/system/builtin_resources.h"
#include "platform/system/resources.h"

namespace platform {

class PosixResources final : public Resources {
 public:
  int32_t ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) override;
};

template <>
Resources& NativeService<Resources>() {
  static PosixResources instance;
  return instance;
}

namespace {

// Resource type names compare without regard to case, as Windows does.
bool SameType(const char16_t* a, const std::u16string& b) {
  size_t i = 0;
  for (; a[i] != 0; ++i) {
    if (i >= b.size() || posix::FoldAscii(a[i]) != posix::FoldAscii(b[i])) return false;
  }
  return i == b.size();
}

}  // namespace

int32_t PosixResources::ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) {
  size_t count = 0;
  const BuiltinResource* table = BuiltinResources(&count);
  bool typeFound = false;
  for (size_t i = 0; i < count; ++i) {
    if (!SameType(table[i].type, type)) continue;
    typeFound = true;
    if (table[i].id != id) continue;
    *data = table[i].data;
    posix::SetError(kErrorSuccess);
    return static_cast<int32_t>(table[i].size);
  }
  posix::SetError(typeFound ? kErrorResourceNameNotFound : kErrorResourceTypeNotFound);
  return 0;
}

}  // namespace platform
