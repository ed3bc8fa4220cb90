#include <windows.h>

#include "platform/registry_views.h"
#include "platform/win_text.h"

namespace platform {
namespace {

// The predefined keys are sign-extended handles on 64-bit Windows.
HKEY RootKey(Hive hive) {
  switch (hive) {
    case Hive::kClassesRoot:
      return HKEY_CLASSES_ROOT;
    case Hive::kCurrentUser:
      return HKEY_CURRENT_USER;
    case Hive::kLocalMachine:
      return HKEY_LOCAL_MACHINE;
  }
  return nullptr;
}

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
