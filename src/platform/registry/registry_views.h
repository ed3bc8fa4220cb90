// Whether a registry key exists in a given view of the registry. On 64-bit
// Windows a 32-bit program's keys below HKLM\Software live apart
// (Wow6432Node); a key may exist in one view, the other, or both. A service
// of its own (see service.h). Linux has no registry:
// every key answers 2, as Windows does for a key that is absent.
#pragma once

#include <cstdint>
#include <string>

#include "platform/registry/registry.h"
#include "platform/service.h"

namespace platform {

enum : uint32_t {
  kKeyQueryValue = 0x0001,  // KEY_QUERY_VALUE
  kKeyWow64View64 = 0x0100,  // KEY_WOW64_64KEY
  kKeyWow64View32 = 0x0200,  // KEY_WOW64_32KEY
};

class RegistryViews {
 public:
  virtual ~RegistryViews() = default;
  // RegOpenKeyExW(hive, subKey, 0, KEY_QUERY_VALUE | view, &key), and
  // RegCloseKey when it opened: the open's status (0, 2 for a missing key,
  // 5 for a key the caller may not read, ...). `view` is kKeyWow64View64 or
  // kKeyWow64View32.
  virtual int32_t ProbeKey(Hive hive, const std::u16string& subKey, uint32_t view) = 0;
};

}  // namespace platform
