// The fake of MD5 hashing.
#include "platform/crypto/fake_hashing.h"

namespace platform {

FakeHashing::FakeHashing() : native_(NativeService<Hashing>()) {}

int32_t FakeHashing::OpenMd5Provider(CryptoHandle* provider) {
  auto failure = failures.find("OpenMd5Provider");
  if (failure != failures.end()) {
    *provider = nullptr;
    return failure->second;
  }
  const int32_t status = native_.OpenMd5Provider(provider);
  if (status >= 0) ++liveHandles;
  return status;
}

int32_t FakeHashing::CreateHash(CryptoHandle provider, CryptoHandle* hash) {
  auto failure = failures.find("CreateHash");
  if (failure != failures.end()) {
    *hash = nullptr;
    return failure->second;
  }
  const int32_t status = native_.CreateHash(provider, hash);
  if (status >= 0) ++liveHandles;
  return status;
}

int32_t FakeHashing::HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) {
  dataSizes.push_back(size);
  auto failure = failures.find("HashData");
  if (failure != failures.end()) return failure->second;
  return native_.HashData(hash, data, size);
}

int32_t FakeHashing::FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) {
  auto failure = failures.find("FinishHash");
  if (failure != failures.end()) return failure->second;
  return native_.FinishHash(hash, digest, size);
}

int32_t FakeHashing::DestroyHash(CryptoHandle hash) {
  const int32_t status = native_.DestroyHash(hash);
  if (status >= 0) --liveHandles;
  return status;
}

int32_t FakeHashing::CloseProvider(CryptoHandle provider) {
  const int32_t status = native_.CloseProvider(provider);
  if (status >= 0) --liveHandles;
  return status;
}

}  // namespace platform
