// The registry through the Win32 key calls and the shell's value helpers.
#include <windows.h>
#include <shlwapi.h>

#include <algorithm>

#include "platform/win_platform.h"
#include "platform/win_hive.h"
#include "platform/win_text.h"

namespace platform {

int32_t WinPlatform::OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) {
  HKEY opened = nullptr;
  LSTATUS status = ::RegOpenKeyExW(RootKey(hive), AsWide(subKey), 0, access, &opened);
  *key = status == ERROR_SUCCESS ? opened : nullptr;
  return status;
}

int32_t WinPlatform::SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                              const std::vector<uint8_t>& data) {
  return ::RegSetValueExW(static_cast<HKEY>(key), AsWide(valueName), 0, type, data.data(),
                          static_cast<DWORD>(data.size()));
}

int32_t WinPlatform::CloseKey(RegKey key) { return ::RegCloseKey(static_cast<HKEY>(key)); }

int32_t WinPlatform::ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
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

int32_t WinPlatform::ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                                uint32_t type, const std::vector<uint8_t>& data) {
  return static_cast<int32_t>(::SHSetValueW(RootKey(hive), AsWide(subKey), AsWide(valueName), type, data.data(),
                                            static_cast<DWORD>(data.size())));
}

int32_t WinPlatform::ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) {
  return ::SHDeleteValueW(RootKey(hive), AsWide(subKey), AsWide(valueName));
}

}  // namespace platform
