// MD5 on Linux through mbedTLS's message-digest interface, behind the
// contracts of the BCrypt calls: tagged handles, so that a wrong or released
// handle answers STATUS_INVALID_HANDLE instead of touching memory, and a
// finished hash that refuses more data as CNG does.
#include <mbedtls/md.h>

#include <new>

#include "platform/crypto/hashing.h"

namespace platform {
namespace {

constexpr uint32_t kProviderTag = 0x3544'4D50u;  // "PMD5"
constexpr uint32_t kHashTag = 0x3544'4D48u;      // "HMD5"
constexpr uint32_t kReleased = 0;

struct Md5Provider {
  uint32_t tag = kProviderTag;
};

struct Md5Hash {
  uint32_t tag = kHashTag;
  bool finished = false;
  mbedtls_md_context_t context;
};

int32_t Status(uint32_t status) { return static_cast<int32_t>(status); }

Md5Provider* ProviderOf(CryptoHandle handle) {
  auto* provider = static_cast<Md5Provider*>(handle);
  return provider != nullptr && provider->tag == kProviderTag ? provider : nullptr;
}

Md5Hash* HashOf(CryptoHandle handle) {
  auto* hash = static_cast<Md5Hash*>(handle);
  return hash != nullptr && hash->tag == kHashTag ? hash : nullptr;
}

class PosixHashing final : public Hashing {
 public:
  int32_t OpenMd5Provider(CryptoHandle* provider) override {
    *provider = new (std::nothrow) Md5Provider;
    return *provider != nullptr ? Status(kStatusSuccess) : Status(kStatusNoMemory);
  }

  int32_t CreateHash(CryptoHandle provider, CryptoHandle* hash) override {
    *hash = nullptr;
    if (ProviderOf(provider) == nullptr) return Status(kStatusInvalidHandle);
    auto* made = new (std::nothrow) Md5Hash;
    if (made == nullptr) return Status(kStatusNoMemory);
    mbedtls_md_init(&made->context);
    const mbedtls_md_info_t* md5 = mbedtls_md_info_from_type(MBEDTLS_MD_MD5);
    if (md5 == nullptr || mbedtls_md_setup(&made->context, md5, 0) != 0 || mbedtls_md_starts(&made->context) != 0) {
      mbedtls_md_free(&made->context);
      delete made;
      return Status(kStatusNoMemory);
    }
    *hash = made;
    return Status(kStatusSuccess);
  }

  int32_t HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) override {
    Md5Hash* h = HashOf(hash);
    if (h == nullptr) return Status(kStatusInvalidHandle);
    if (h->finished) return Status(kStatusInvalidParameter);
    if (size == 0) return Status(kStatusSuccess);
    if (data == nullptr) return Status(kStatusInvalidParameter);
    return mbedtls_md_update(&h->context, data, size) == 0 ? Status(kStatusSuccess) : Status(kStatusInvalidParameter);
  }

  int32_t FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) override {
    Md5Hash* h = HashOf(hash);
    if (h == nullptr) return Status(kStatusInvalidHandle);
    if (h->finished || digest == nullptr || size != kMd5DigestBytes) return Status(kStatusInvalidParameter);
    if (mbedtls_md_finish(&h->context, digest) != 0) return Status(kStatusInvalidParameter);
    h->finished = true;
    return Status(kStatusSuccess);
  }

  int32_t DestroyHash(CryptoHandle hash) override {
    Md5Hash* h = HashOf(hash);
    if (h == nullptr) return Status(kStatusInvalidHandle);
    mbedtls_md_free(&h->context);
    h->tag = kReleased;
    delete h;
    return Status(kStatusSuccess);
  }

  int32_t CloseProvider(CryptoHandle provider) override {
    Md5Provider* p = ProviderOf(provider);
    if (p == nullptr) return Status(kStatusInvalidHandle);
    p->tag = kReleased;
    delete p;
    return Status(kStatusSuccess);
  }
};

}  // namespace

template <>
Hashing& NativeService<Hashing>() {
  static PosixHashing hashing;
  return hashing;
}

}  // namespace platform
