// The fake of MD5 hashing, for unit tests: it installs itself for its
// lifetime, records its calls and answers from what the test sets.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/crypto/hashing.h"

namespace platform {

// Passes every call to the native backend (real digests), records the size
// of every HashData call and counts the handles not yet released; a step
// named in `failures` ("OpenMd5Provider", "CreateHash", "HashData",
// "FinishHash") answers its status instead, without reaching the backend.
class FakeHashing final : public Hashing {
 public:
  FakeHashing();
  std::map<std::string, int32_t> failures;
  std::vector<uint32_t> dataSizes;  // every HashData call's size, in order
  int liveHandles = 0;              // providers and hashes opened and not yet released

  int32_t OpenMd5Provider(CryptoHandle* provider) override;
  int32_t CreateHash(CryptoHandle provider, CryptoHandle* hash) override;
  int32_t HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) override;
  int32_t FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) override;
  int32_t DestroyHash(CryptoHandle hash) override;
  int32_t CloseProvider(CryptoHandle provider) override;

 private:
  Hashing& native_;
  ScopedService<Hashing> scope_{this};
};

}  // namespace platform
