// Linux has no registry. Every operation answers as Windows does when the key
// is absent (reads, opens and deletes: 2) or the service is missing (writes:
// 120); nothing pretends to succeed.
#include "platform/posix_platform.h"

namespace platform {

int32_t PosixPlatform::OpenKey(Hive, const std::u16string&, uint32_t, RegKey* key) {
  if (key != nullptr) *key = nullptr;
  posix::SetError(kErrorFileNotFound);
  return static_cast<int32_t>(kErrorFileNotFound);
}

int32_t PosixPlatform::SetValue(RegKey, const std::u16string&, uint32_t, const std::vector<uint8_t>&) {
  posix::SetError(kErrorCallNotImplemented);
  return static_cast<int32_t>(kErrorCallNotImplemented);
}

int32_t PosixPlatform::CloseKey(RegKey) {
  // No key can ever have been opened.
  posix::SetError(kErrorInvalidHandle);
  return static_cast<int32_t>(kErrorInvalidHandle);
}

int32_t PosixPlatform::ShGetValue(Hive, const std::u16string&, const std::u16string&, uint32_t*,
                                  std::vector<uint8_t>*, uint32_t) {
  posix::SetError(kErrorFileNotFound);
  return static_cast<int32_t>(kErrorFileNotFound);
}

int32_t PosixPlatform::ShSetValue(Hive, const std::u16string&, const std::u16string&, uint32_t,
                                  const std::vector<uint8_t>&) {
  posix::SetError(kErrorCallNotImplemented);
  return static_cast<int32_t>(kErrorCallNotImplemented);
}

int32_t PosixPlatform::ShDeleteValue(Hive, const std::u16string&, const std::u16string&) {
  posix::SetError(kErrorFileNotFound);
  return static_cast<int32_t>(kErrorFileNotFound);
}

}  // namespace platform
