#include <windows.h>
#include <bcrypt.h>

#include "platform/crypto/hashing.h"
#include "platform/system_library_win.h"

namespace platform {
namespace {

using win::kStatusEntryPointNotFound;

class WinHashing final : public Hashing {
 public:
  int32_t OpenMd5Provider(CryptoHandle* provider) override {
    BCRYPT_ALG_HANDLE handle = nullptr;
    auto* open = BCRYPT_PROC(BCryptOpenAlgorithmProvider);
    const NTSTATUS status =
        open != nullptr ? open(&handle, BCRYPT_MD5_ALGORITHM, nullptr, 0) : kStatusEntryPointNotFound;
    *provider = status >= 0 ? handle : nullptr;
    return status;
  }
  int32_t CreateHash(CryptoHandle provider, CryptoHandle* hash) override {
    BCRYPT_HASH_HANDLE handle = nullptr;
    auto* create = BCRYPT_PROC(BCryptCreateHash);
    const NTSTATUS status =
        create != nullptr ? create(provider, &handle, nullptr, 0, nullptr, 0, 0) : kStatusEntryPointNotFound;
    *hash = status >= 0 ? handle : nullptr;
    return status;
  }
  int32_t HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) override {
    auto* add = BCRYPT_PROC(BCryptHashData);
    return add != nullptr ? add(hash, const_cast<PUCHAR>(data), size, 0) : kStatusEntryPointNotFound;
  }
  int32_t FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) override {
    auto* finish = BCRYPT_PROC(BCryptFinishHash);
    return finish != nullptr ? finish(hash, digest, size, 0) : kStatusEntryPointNotFound;
  }
  int32_t DestroyHash(CryptoHandle hash) override {
    auto* destroy = BCRYPT_PROC(BCryptDestroyHash);
    return destroy != nullptr ? destroy(hash) : kStatusEntryPointNotFound;
  }
  int32_t CloseProvider(CryptoHandle provider) override {
    auto* close = BCRYPT_PROC(BCryptCloseAlgorithmProvider);
    return close != nullptr ? close(provider, 0) : kStatusEntryPointNotFound;
  }
};

}  // namespace

template <>
Hashing& NativeService<Hashing>() {
  static WinHashing hashing;
  return hashing;
}

}  // namespace platform
