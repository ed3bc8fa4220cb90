// The registry. The POSIX backend has none and answers as Windows does for a
// key that is absent: opens, reads and deletes fail with 2, writes with 120.
// It never pretends to succeed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/service.h"

namespace platform {

enum class Hive : uint32_t {
  kClassesRoot = 0x80000000u,
  kCurrentUser = 0x80000001u,
  kLocalMachine = 0x80000002u,
};

enum : uint32_t {
  kRegSz = 1,
  kRegDword = 4,
  kKeyReadWrite = 0x2001F,  // KEY_READ | KEY_WRITE
};

using RegKey = void*;

class Registry {
 public:
  virtual ~Registry() = default;

  // RegOpenKeyExW: a Windows error code (0 on success) and the key.
  virtual int32_t OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) = 0;

  // RegSetValueExW on an open key.
  virtual int32_t SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                           const std::vector<uint8_t>& data) = 0;

  // RegCloseKey.
  virtual int32_t CloseKey(RegKey key) = 0;

  // SHGetValueW: reads a value below hive\subKey. At most maxBytes are
  // accepted; a longer value fails with 234 (kErrorMoreData).
  virtual int32_t ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                             uint32_t* type, std::vector<uint8_t>* data, uint32_t maxBytes) = 0;

  // SHSetValueW: creates the key if need be and writes the value.
  virtual int32_t ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                             uint32_t type, const std::vector<uint8_t>& data) = 0;

  // SHDeleteValueW.
  virtual int32_t ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) = 0;

  // SHDeleteEmptyKeyW: deletes hive\subKey only when it holds no value and
  // no subkey; a key that still holds either is left and refused.
  virtual int32_t ShDeleteEmptyKey(Hive hive, const std::u16string& subKey) = 0;
};

}  // namespace platform
