// The fake registry: keys and values in memory.
#include "platform/registry/fake_registry.h"
#include "platform/text/ascii.h"

namespace platform {

namespace {

// Registry key and value names compare without regard to case.
template <class Map>
auto FindKey(Map& map, const std::u16string& name) -> decltype(map.begin()) {
  for (auto it = map.begin(); it != map.end(); ++it) {
    if (EqualsIgnoreAsciiCase(it->first, name)) return it;
  }
  return map.end();
}

// An open key of the fake registry: its path in `registry`.
struct FakeKey {
  std::u16string path;
};

}  // namespace

std::u16string FakeRegistry::RegistryPath(Hive hive, const std::u16string& subKey) {
  const char16_t* root = hive == Hive::kClassesRoot ? u"HKCR" : hive == Hive::kLocalMachine ? u"HKLM" : u"HKCU";
  return std::u16string(root) + u"\\" + subKey;
}

int32_t FakeRegistry::OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("OpenKey", path)) return static_cast<int32_t>(InjectedError());
  auto it = FindKey(registry, path);
  if (it == registry.end()) {
    SetError(kErrorFileNotFound);
    return static_cast<int32_t>(kErrorFileNotFound);
  }
  *key = new FakeKey{it->first};
  SetError(kErrorSuccess);
  return 0;
}

int32_t FakeRegistry::SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                               const std::vector<uint8_t>& data) {
  FakeKey* k = static_cast<FakeKey*>(key);
  if (Enter("SetValue", (k != nullptr ? k->path + u"\\" : u"") + valueName)) {
    return static_cast<int32_t>(InjectedError());
  }
  if (k == nullptr) {
    SetError(kErrorInvalidHandle);
    return static_cast<int32_t>(kErrorInvalidHandle);
  }
  auto& values = registry[k->path];
  auto existing = FindKey(values, valueName);
  if (existing != values.end()) values.erase(existing);
  values[valueName] = RegValue{type, data};
  SetError(kErrorSuccess);
  return 0;
}

int32_t FakeRegistry::CloseKey(RegKey key) {
  FakeKey* k = static_cast<FakeKey*>(key);
  if (Enter("CloseKey", k != nullptr ? k->path : u"")) return static_cast<int32_t>(InjectedError());
  if (k == nullptr) {
    SetError(kErrorInvalidHandle);
    return static_cast<int32_t>(kErrorInvalidHandle);
  }
  delete k;
  SetError(kErrorSuccess);
  return 0;
}

int32_t FakeRegistry::ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                                 uint32_t* type, std::vector<uint8_t>* data, uint32_t maxBytes) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("ShGetValue", path + u"\\" + valueName)) return static_cast<int32_t>(InjectedError());
  auto key = FindKey(registry, path);
  if (key == registry.end() || FindKey(key->second, valueName) == key->second.end()) {
    SetError(kErrorFileNotFound);
    return static_cast<int32_t>(kErrorFileNotFound);
  }
  auto value = FindKey(key->second, valueName);
  if (value->second.data.size() > maxBytes) {
    SetError(kErrorMoreData);
    return static_cast<int32_t>(kErrorMoreData);
  }
  if (type != nullptr) *type = value->second.type;
  if (data != nullptr) *data = value->second.data;
  SetError(kErrorSuccess);
  return 0;
}

int32_t FakeRegistry::ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                                 uint32_t type, const std::vector<uint8_t>& data) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("ShSetValue", path + u"\\" + valueName)) return static_cast<int32_t>(InjectedError());
  auto key = FindKey(registry, path);
  auto& values = key != registry.end() ? key->second : registry[path];
  auto existing = FindKey(values, valueName);
  if (existing != values.end()) values.erase(existing);
  values[valueName] = RegValue{type, data};
  SetError(kErrorSuccess);
  return 0;
}

int32_t FakeRegistry::ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("ShDeleteValue", path + u"\\" + valueName)) return static_cast<int32_t>(InjectedError());
  auto key = FindKey(registry, path);
  if (key == registry.end() || FindKey(key->second, valueName) == key->second.end()) {
    SetError(kErrorFileNotFound);
    return static_cast<int32_t>(kErrorFileNotFound);
  }
  auto value = FindKey(key->second, valueName);
  key->second.erase(value);
  SetError(kErrorSuccess);
  return 0;
}

int32_t FakeRegistry::ShDeleteEmptyKey(Hive hive, const std::u16string& subKey) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("ShDeleteEmptyKey", path)) return static_cast<int32_t>(InjectedError());
  auto key = FindKey(registry, path);
  if (key == registry.end()) {
    SetError(kErrorFileNotFound);
    return static_cast<int32_t>(kErrorFileNotFound);
  }
  const std::u16string below = path + u"\\";
  bool hasSubkey = false;
  for (const auto& other : registry) {
    hasSubkey = hasSubkey || (other.first.size() > below.size() &&
                              EqualsIgnoreAsciiCase(other.first.substr(0, below.size()), below));
  }
  if (!key->second.empty() || hasSubkey) {
    SetError(kErrorAccessDenied);
    return static_cast<int32_t>(kErrorAccessDenied);
  }
  registry.erase(key);
  SetError(kErrorSuccess);
  return 0;
}

}  // namespace platform
