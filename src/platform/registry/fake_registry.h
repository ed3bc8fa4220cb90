// The fake registry: keys and values in memory, names compared without
// regard to case.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/fake_recorder.h"
#include "platform/registry/registry.h"

namespace platform {

class FakeRegistry : public Registry, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeRegistry(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

  // In-memory registry: "HKCU\\<subkey>" -> value name -> (type, bytes).
  struct RegValue {
    uint32_t type = 0;
    std::vector<uint8_t> data;
  };
  std::map<std::u16string, std::map<std::u16string, RegValue>> registry;
  static std::u16string RegistryPath(Hive hive, const std::u16string& subKey);

  int32_t OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) override;
  int32_t SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                   const std::vector<uint8_t>& data) override;
  int32_t CloseKey(RegKey key) override;
  int32_t ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t* type,
                     std::vector<uint8_t>* data, uint32_t maxBytes) override;
  int32_t ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t type,
                     const std::vector<uint8_t>& data) override;
  int32_t ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) override;
  // A key that still holds a value or a subkey is refused with 5.
  int32_t ShDeleteEmptyKey(Hive hive, const std::u16string& subKey) override;

 private:
  ScopedService<Registry> scope_{this};
};

}  // namespace platform
