// Resources of the executable itself.
#include <windows.h>

#include "platform/system/resources.h"
#include "platform/text/win_text.h"

namespace platform {

class WinResources final : public Resources {
 public:
  int32_t ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) override;
};

template <>
Resources& NativeService<Resources>() {
  static WinResources instance;
  return instance;
}

int32_t WinResources::ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) {
  // The failure tests compare with a handle of -1, not with null. A resource
  // that is missing comes back from FindResourceW as null and would read as
  // a size of 0 further on; that size is answered here at once, so that the
  // caller still sees FindResourceW's own last error (1813 or 1814).
  HRSRC found = ::FindResourceW(nullptr, MAKEINTRESOURCEW(id), AsWide(type));
  if (found == reinterpret_cast<HRSRC>(-1)) {
    return -1;
  }
  if (found == nullptr) {
    return 0;
  }
  HGLOBAL loaded = ::LoadResource(nullptr, found);
  if (loaded == reinterpret_cast<HGLOBAL>(-1)) {
    return -2;
  }
  DWORD size = ::SizeofResource(nullptr, found);
  if (size == 0) {
    return 0;
  }
  const void* bytes = ::LockResource(loaded);
  if (bytes == nullptr) {
    return -3;
  }
  *data = static_cast<const uint8_t*>(bytes);
  return static_cast<int32_t>(size);
}

}  // namespace platform
