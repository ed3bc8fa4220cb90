// Linux has no registry. Every operation answers as Windows does when the key
// is absent (reads, opens and deletes: 2) or the service is missing (writes:
// 120); nothing pretends to succeed.
#include "platform/posix_translation.h"
#include "platform/registry/registry.h"

namespace platform {

class PosixRegistry final : public Registry {
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
  static PosixRegistry instance;
  return instance;
}

int32_t PosixRegistry::OpenKey(Hive, const std::u16string&, uint32_t, RegKey* key) {
  if (key != nullptr) *key = nullptr;
  posix::SetError(kErrorFileNotFound);
  return static_cast<int32_t>(kErrorFileNotFound);
}

int32_t PosixRegistry::SetValue(RegKey, const std::u16string&, uint32_t, const std::vector<uint8_t>&) {
  posix::SetError(kErrorCallNotImplemented);
  return static_cast<int32_t>(kErrorCallNotImplemented);
}

int32_t PosixRegistry::CloseKey(RegKey) {
  // No key can ever have been opened.
  posix::SetError(kErrorInvalidHandle);
  return static_cast<int32_t>(kErrorInvalidHandle);
}

int32_t PosixRegistry::ShGetValue(Hive, const std::u16string&, const std::u16string&, uint32_t*, std::vector<uint8_t>*,
                                  uint32_t) {
  posix::SetError(kErrorFileNotFound);
  return static_cast<int32_t>(kErrorFileNotFound);
}

int32_t PosixRegistry::ShSetValue(Hive, const std::u16string&, const std::u16string&, uint32_t,
                                  const std::vector<uint8_t>&) {
  posix::SetError(kErrorCallNotImplemented);
  return static_cast<int32_t>(kErrorCallNotImplemented);
}

int32_t PosixRegistry::ShDeleteValue(Hive, const std::u16string&, const std::u16string&) {
  posix::SetError(kErrorFileNotFound);
  return static_cast<int32_t>(kErrorFileNotFound);
}

int32_t PosixRegistry::ShDeleteEmptyKey(Hive, const std::u16string&) {
  posix::SetError(kErrorFileNotFound);
  return static_cast<int32_t>(kErrorFileNotFound);
}

}  // namespace platform
