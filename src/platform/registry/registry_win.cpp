// The registry through the Win32 key calls and the shell's value helpers.
#include <windows.h>
#include <shlwapi.h>

#include <algorithm>

#include "platform/registry/registry.h"
#include "platform/registry/win_hive.h"
#include "platform/text/win_text.h"

namespace platform {

class WinRegistry final : public Registry {
 public:
  int32_t OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) override;
  int32_t SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                   const std::vector<uint8_t>& data) override;
  int32_t CloseKey(RegKey key) override;
  int32_t ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t* type,
                     std::vector<uint8_t>* data, uint32_t maxBytes) override;
  int32_t ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t type,
                     const std::vector<uint8_t>& data) override;
  int32_t ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) override;
  int32_t ShDeleteEmptyKey(Hive hive, const std::u16string& subKey) override;
};

template <>
Registry& NativeService<Registry>() {
  static WinRegistry instance;
  return instance;
}

int32_t WinRegistry::OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) {
  HKEY opened = nullptr;
  LSTATUS status = ::RegOpenKeyExW(RootKey(hive), AsWide(subKey), 0, access, &opened);
  *key = status == ERROR_SUCCESS ? opened : nullptr;
  return status;
}

int32_t WinRegistry::SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                              const std::vector<uint8_t>& data) {
  return ::RegSetValueExW(static_cast<HKEY>(key), AsWide(valueName), 0, type, data.data(),
                          static_cast<DWORD>(data.size()));
}

int32_t WinRegistry::CloseKey(RegKey key) { return ::RegCloseKey(static_cast<HKEY>(key)); }

int32_t WinRegistry::ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                                uint32_t* type, std::vector<uint8_t>* data, uint32_t maxBytes) {
  // Always a real buffer: with a null one the call would answer the size and
  // report success.
  std::vector<uint8_t> buffer(std::max<uint32_t>(maxBytes, 1));
  DWORD valueType = 0;
  DWORD size = maxBytes;
  LSTATUS status = ::SHGetValueW(RootKey(hive), AsWide(subKey), AsWide(valueName), &valueType, buffer.data(), &size);
  if (status != ERROR_SUCCESS) {
    return status;
  }
  if (type != nullptr) {
    *type = valueType;
  }
  buffer.resize(std::min<DWORD>(size, maxBytes));
  *data = std::move(buffer);
  return status;
}

int32_t WinRegistry::ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t type,
                                const std::vector<uint8_t>& data) {
  return static_cast<int32_t>(::SHSetValueW(RootKey(hive), AsWide(subKey), AsWide(valueName), type, data.data(),
                                            static_cast<DWORD>(data.size())));
}

int32_t WinRegistry::ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) {
  return ::SHDeleteValueW(RootKey(hive), AsWide(subKey), AsWide(valueName));
}

int32_t WinRegistry::ShDeleteEmptyKey(Hive hive, const std::u16string& subKey) {
  return ::SHDeleteEmptyKeyW(RootKey(hive), AsWide(subKey));
}

}  // namespace platform
