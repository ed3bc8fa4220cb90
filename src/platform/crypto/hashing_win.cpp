#include <windows.h>
#include <bcrypt.h>

#include "platform/crypto/hashing.h"

namespace platform {
namespace {

class WinHashing final : public Hashing {
 public:
  int32_t OpenMd5Provider(CryptoHandle* provider) override {
    BCRYPT_ALG_HANDLE handle = nullptr;
    const NTSTATUS status = ::BCryptOpenAlgorithmProvider(&handle, BCRYPT_MD5_ALGORITHM, nullptr, 0);
    *provider = status >= 0 ? handle : nullptr;
    return status;
  }
  int32_t CreateHash(CryptoHandle provider, CryptoHandle* hash) override {
    BCRYPT_HASH_HANDLE handle = nullptr;
    const NTSTATUS status = ::BCryptCreateHash(provider, &handle, nullptr, 0, nullptr, 0, 0);
    *hash = status >= 0 ? handle : nullptr;
    return status;
  }
  int32_t HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) override {
    return ::BCryptHashData(hash, const_cast<PUCHAR>(data), size, 0);
  }
  int32_t FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) override {
    return ::BCryptFinishHash(hash, digest, size, 0);
  }
  int32_t DestroyHash(CryptoHandle hash) override { return ::BCryptDestroyHash(hash); }
  int32_t CloseProvider(CryptoHandle provider) override { return ::BCryptCloseAlgorithmProvider(provider, 0); }
};

}  // namespace

template <>
Hashing& NativeService<Hashing>() {
  static WinHashing hashing;
  return hashing;
}

}  // namespace platform
