// The MD5 digest of data, step by step as the Windows CNG calls go (open the
// algorithm, make a hash object, feed it, finish it, release both), so that a
// caller can report each step's failure. A service of its own (see
// service.h). Statuses are NTSTATUS values, negative on
// failure. Windows: BCrypt. Linux: mbedTLS behind the same contracts.
#pragma once

#include <cstdint>

#include "platform/crypto/crypto.h"
#include "platform/service.h"

namespace platform {

enum : uint32_t {
  kMd5DigestBytes = 16,
  kStatusInvalidHandle = 0xC0000008u,  // STATUS_INVALID_HANDLE
  kStatusNoMemory = 0xC0000017u,       // STATUS_NO_MEMORY
};

class Hashing {
 public:
  virtual ~Hashing() = default;
  // BCryptOpenAlgorithmProvider(&provider, "MD5", NULL, 0).
  virtual int32_t OpenMd5Provider(CryptoHandle* provider) = 0;
  // BCryptCreateHash(provider, &hash, NULL, 0, NULL, 0, 0): the system keeps
  // the hash object's memory.
  virtual int32_t CreateHash(CryptoHandle provider, CryptoHandle* hash) = 0;
  // BCryptHashData(hash, data, size, 0).
  virtual int32_t HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) = 0;
  // BCryptFinishHash(hash, digest, size, 0). The size must be the digest's
  // (16 for MD5), else STATUS_INVALID_PARAMETER. A finished hash takes no
  // more data.
  virtual int32_t FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) = 0;
  // BCryptDestroyHash / BCryptCloseAlgorithmProvider.
  virtual int32_t DestroyHash(CryptoHandle hash) = 0;
  virtual int32_t CloseProvider(CryptoHandle provider) = 0;
};

}  // namespace platform
