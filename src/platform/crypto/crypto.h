// Raw RSA with a public key, step by step as the Windows cryptography calls
// go, so that the log encoder can report each step's failure. Statuses are
// NTSTATUS values (negative on failure); the Crypt32 steps return false and
// set the last error.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/service.h"

namespace platform {

using CryptoHandle = void*;

enum : uint32_t {
  kBcryptPadNone = 1,
  kBcryptPadPkcs1 = 2,
};

// Statuses the backends produce.
enum : uint32_t {
  kStatusSuccess = 0,
  kStatusNotSupported = 0xC00000BBu,
  kStatusInvalidParameter = 0xC000000Du,
  kStatusBufferTooSmall = 0xC0000023u,
  kStatusNotImplemented = 0xC0000002u,
};

class Crypto {
 public:
  virtual ~Crypto() = default;

  // BCryptOpenAlgorithmProvider(&provider, "RSA", NULL, 0).
  virtual int32_t OpenRsaProvider(CryptoHandle* provider) = 0;

  // CryptStringToBinaryA(pem, 0, CRYPT_STRING_BASE64HEADER, buffer, size,
  // NULL, NULL). With a null buffer, *size receives the DER size.
  virtual bool PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) = 0;

  // CryptDecodeObjectEx(X509_ASN_ENCODING, CNG_RSA_PUBLIC_KEY_BLOB, der, ...):
  // a PKCS#1 RSAPublicKey in DER to a BCRYPT_RSAKEY_BLOB ("RSA1" magic, bit
  // length, exponent and modulus sizes, then exponent and modulus big-endian).
  // With a null buffer, *size receives the blob size.
  virtual bool DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) = 0;

  // HeapAlloc / HeapFree on the process heap. Null on failure.
  virtual void* HeapAllocate(size_t bytes) = 0;
  virtual void HeapRelease(void* block) = 0;

  // BCryptImportKeyPair(provider, NULL, "RSAPUBLICBLOB", &key, blob, size, 0).
  virtual int32_t ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize,
                                     CryptoHandle* key) = 0;

  // BCryptEncrypt(key, input, inputSize, NULL, NULL, 0, output, outputSize,
  // &result, flags). With a null output, *result receives the size needed
  // (the block size for kBcryptPadPkcs1). With kBcryptPadNone the input must
  // be one block whose value lies below the modulus.
  virtual int32_t RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output,
                             uint32_t outputSize, uint32_t* result, uint32_t flags) = 0;

  // BCryptDestroyKey / BCryptCloseAlgorithmProvider.
  virtual int32_t DestroyKey(CryptoHandle key) = 0;
  virtual int32_t CloseProvider(CryptoHandle provider) = 0;
};

}  // namespace platform
