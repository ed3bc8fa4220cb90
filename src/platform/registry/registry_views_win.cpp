#include <windows.h>

#include "platform/registry/registry_views.h"
#include "platform/registry/win_hive.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {


class WinRegistryViews final : public RegistryViews {
 public:
  int32_t ProbeKey(Hive hive, const std::u16string& subKey, uint32_t view) override {
    HKEY key = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(RootKey(hive), AsWide(subKey), 0, KEY_QUERY_VALUE | view, &key);
    if (status == ERROR_SUCCESS) ::RegCloseKey(key);
    return status;
  }
};

}  // namespace

template <>
RegistryViews& NativeService<RegistryViews>() {
  static WinRegistryViews views;
  return views;
}

}  // namespace platform
