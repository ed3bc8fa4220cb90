// The fake backend's registry, crypto, message boxes, resources and system
// information: the registry and the boxes are in memory, crypto and code
// pages pass through to the native backend.
#include "platform/fake_platform.h"

#include "platform/ascii.h"

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

std::u16string Hex(uint32_t value) {
  static const char16_t kDigits[] = u"0123456789abcdef";
  std::u16string out;
  do {
    out.insert(out.begin(), kDigits[value & 0xF]);
    value >>= 4;
  } while (value != 0);
  return out;
}

}  // namespace

// --- Registry: in memory -----------------------------------------------------

int32_t FakePlatform::OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("OpenKey", path)) return static_cast<int32_t>(InjectedError());
  auto it = FindKey(registry, path);
  if (it == registry.end()) {
    lastError_ = kErrorFileNotFound;
    return static_cast<int32_t>(kErrorFileNotFound);
  }
  *key = new FakeKey{it->first};
  lastError_ = kErrorSuccess;
  return 0;
}

int32_t FakePlatform::SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                               const std::vector<uint8_t>& data) {
  FakeKey* k = static_cast<FakeKey*>(key);
  if (Enter("SetValue", (k != nullptr ? k->path + u"\\" : u"") + valueName)) {
    return static_cast<int32_t>(InjectedError());
  }
  if (k == nullptr) {
    lastError_ = kErrorInvalidHandle;
    return static_cast<int32_t>(kErrorInvalidHandle);
  }
  auto& values = registry[k->path];
  auto existing = FindKey(values, valueName);
  if (existing != values.end()) values.erase(existing);
  values[valueName] = RegValue{type, data};
  lastError_ = kErrorSuccess;
  return 0;
}

int32_t FakePlatform::CloseKey(RegKey key) {
  FakeKey* k = static_cast<FakeKey*>(key);
  if (Enter("CloseKey", k != nullptr ? k->path : u"")) return static_cast<int32_t>(InjectedError());
  if (k == nullptr) {
    lastError_ = kErrorInvalidHandle;
    return static_cast<int32_t>(kErrorInvalidHandle);
  }
  delete k;
  lastError_ = kErrorSuccess;
  return 0;
}

int32_t FakePlatform::ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                                 uint32_t* type, std::vector<uint8_t>* data, uint32_t maxBytes) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("ShGetValue", path + u"\\" + valueName)) return static_cast<int32_t>(InjectedError());
  auto key = FindKey(registry, path);
  if (key == registry.end() || FindKey(key->second, valueName) == key->second.end()) {
    lastError_ = kErrorFileNotFound;
    return static_cast<int32_t>(kErrorFileNotFound);
  }
  auto value = FindKey(key->second, valueName);
  if (value->second.data.size() > maxBytes) {
    lastError_ = kErrorMoreData;
    return static_cast<int32_t>(kErrorMoreData);
  }
  if (type != nullptr) *type = value->second.type;
  if (data != nullptr) *data = value->second.data;
  lastError_ = kErrorSuccess;
  return 0;
}

int32_t FakePlatform::ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName,
                                 uint32_t type, const std::vector<uint8_t>& data) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("ShSetValue", path + u"\\" + valueName)) return static_cast<int32_t>(InjectedError());
  auto key = FindKey(registry, path);
  auto& values = key != registry.end() ? key->second : registry[path];
  auto existing = FindKey(values, valueName);
  if (existing != values.end()) values.erase(existing);
  values[valueName] = RegValue{type, data};
  lastError_ = kErrorSuccess;
  return 0;
}

int32_t FakePlatform::ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) {
  const std::u16string path = RegistryPath(hive, subKey);
  if (Enter("ShDeleteValue", path + u"\\" + valueName)) return static_cast<int32_t>(InjectedError());
  auto key = FindKey(registry, path);
  if (key == registry.end() || FindKey(key->second, valueName) == key->second.end()) {
    lastError_ = kErrorFileNotFound;
    return static_cast<int32_t>(kErrorFileNotFound);
  }
  auto value = FindKey(key->second, valueName);
  key->second.erase(value);
  lastError_ = kErrorSuccess;
  return 0;
}

// --- Crypto: the native backend -----------------------------------------------

int32_t FakePlatform::OpenRsaProvider(CryptoHandle* provider) {
  if (Enter("OpenRsaProvider", u"RSA")) return static_cast<int32_t>(InjectedError());
  return real_.OpenRsaProvider(provider);
}

bool FakePlatform::PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) {
  if (Enter("PemToDer", buffer == nullptr ? u"size" : u"data")) return false;
  const bool result = real_.PemToDer(pem, buffer, size);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) {
  if (Enter("DecodeRsaPublicKey", buffer == nullptr ? u"size" : u"data")) return false;
  const bool result = real_.DecodeRsaPublicKey(der, derSize, buffer, size);
  lastError_ = real_.LastError();
  return result;
}

void* FakePlatform::HeapAllocate(size_t bytes) {
  if (Enter("HeapAllocate", Hex(static_cast<uint32_t>(bytes)))) return nullptr;
  return real_.HeapAllocate(bytes);
}

void FakePlatform::HeapRelease(void* block) {
  if (Enter("HeapRelease", u"")) return;
  real_.HeapRelease(block);
}

int32_t FakePlatform::ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize,
                                         CryptoHandle* key) {
  if (Enter("ImportRsaPublicKey", u"RSAPUBLICBLOB")) return static_cast<int32_t>(InjectedError());
  return real_.ImportRsaPublicKey(provider, blob, blobSize, key);
}

int32_t FakePlatform::RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output,
                                 uint32_t outputSize, uint32_t* result, uint32_t flags) {
  if (Enter("RsaEncrypt", output == nullptr ? u"size" : u"data")) return static_cast<int32_t>(InjectedError());
  return real_.RsaEncrypt(key, input, inputSize, output, outputSize, result, flags);
}

int32_t FakePlatform::DestroyKey(CryptoHandle key) {
  if (Enter("DestroyKey", u"")) return static_cast<int32_t>(InjectedError());
  return real_.DestroyKey(key);
}

int32_t FakePlatform::CloseProvider(CryptoHandle provider) {
  if (Enter("CloseProvider", u"")) return static_cast<int32_t>(InjectedError());
  return real_.CloseProvider(provider);
}

// --- Message boxes: recorded --------------------------------------------------

int32_t FakePlatform::ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                                     uint32_t style) {
  if (Enter("ShowMessageBox", text)) return 0;
  messageBoxes.push_back(MessageBoxRecord{text, caption, style, 0, false});
  return messageBoxAnswer;
}

int32_t FakePlatform::ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption,
                                             uint32_t style, uint16_t iconId) {
  if (Enter("ShowMessageBoxIndirect", text)) return 0;
  messageBoxes.push_back(MessageBoxRecord{text, caption, style, iconId, true});
  return messageBoxAnswer;
}

// --- Resources: what the test set ---------------------------------------------

void FakePlatform::SetResource(uint16_t id, const std::u16string& type, const std::string& bytes) {
  resources_[{id, type}] = bytes;
}

void FakePlatform::RemoveResource(uint16_t id, const std::u16string& type) { resources_.erase({id, type}); }

int32_t FakePlatform::ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) {
  if (Enter("ReadResource", type + u"/" + Hex(id))) return 0;
  auto it = resources_.find({id, type});
  if (it == resources_.end()) {
    lastError_ = kErrorResourceNameNotFound;
    return 0;
  }
  *data = reinterpret_cast<const uint8_t*>(it->second.data());
  lastError_ = kErrorSuccess;
  return static_cast<int32_t>(it->second.size());
}

// --- System information -----------------------------------------------------------

bool FakePlatform::VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) {
  if (Enter("VersionAtLeast", Hex(major) + u"." + Hex(minor))) return false;
  return versionAtLeastAnswer;
}

int32_t FakePlatform::RestrictDllSearchToSystem32() {
  if (Enter("RestrictDllSearchToSystem32", u"")) return 0;
  return dllDirectoriesAnswer;
}

int32_t FakePlatform::ComInitialize() { return Enter("ComInitialize", u"") ? static_cast<int32_t>(InjectedError()) : 0; }

void FakePlatform::ComUninitialize() { Enter("ComUninitialize", u""); }

uint16_t FakePlatform::UserDefaultUILanguage() {
  if (Enter("UserDefaultUILanguage", u"")) return 0;
  return uiLanguage;
}

std::u16string FakePlatform::CodePageToWide(const std::string& text, uint32_t codePage) {
  if (Enter("CodePageToWide", Hex(codePage))) return std::u16string();
  return real_.CodePageToWide(text, codePage);
}

std::string FakePlatform::WideToCodePage(const std::u16string& text, uint32_t codePage) {
  if (Enter("WideToCodePage", text)) return std::string();
  return real_.WideToCodePage(text, codePage);
}

bool FakePlatform::SystemErrorText(uint32_t code, std::u16string* text) {
  if (Enter("SystemErrorText", Hex(code))) return false;
  const bool result = real_.SystemErrorText(code, text);
  lastError_ = real_.LastError();
  return result;
}

}  // namespace platform
