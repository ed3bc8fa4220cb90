// The fake of the raw-RSA chain: the native backend underneath, every step
// recorded and any single one made to fail.
#pragma once

#include <cstdint>
#include <string>

#include "platform/crypto/crypto.h"
#include "platform/fake_recorder.h"

namespace platform {

class FakeCrypto : public Crypto, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeCrypto(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

  int32_t OpenRsaProvider(CryptoHandle* provider) override;
  bool PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) override;
  bool DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) override;
  void* HeapAllocate(size_t bytes) override;
  void HeapRelease(void* block) override;
  int32_t ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize, CryptoHandle* key) override;
  int32_t RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output, uint32_t outputSize,
                     uint32_t* result, uint32_t flags) override;
  int32_t DestroyKey(CryptoHandle key) override;
  int32_t CloseProvider(CryptoHandle provider) override;

 private:
  ScopedService<Crypto> scope_{this};
};

}  // namespace platform
