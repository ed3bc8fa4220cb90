// Raw RSA with a public key through BCrypt, and the PEM and DER decoding of
// Crypt32 that feeds it.
#include <windows.h>
#include <bcrypt.h>
#include <wincrypt.h>

#include "platform/crypto/crypto.h"
#include "platform/system_library_win.h"

namespace platform {

using win::kStatusEntryPointNotFound;

// The report is encrypted after the start: crypt32 is looked up when first
// needed, as bcrypt is.
#define CRYPT32_PROC(function) ORVANE_SYSTEM_PROC(L"crypt32.dll", function)

class WinCrypto final : public Crypto {
 public:
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
};

template <>
Crypto& NativeService<Crypto>() {
  static WinCrypto instance;
  return instance;
}

int32_t WinCrypto::OpenRsaProvider(CryptoHandle* provider) {
  BCRYPT_ALG_HANDLE handle = nullptr;
  auto* open = BCRYPT_PROC(BCryptOpenAlgorithmProvider);
  NTSTATUS status = open != nullptr ? open(&handle, BCRYPT_RSA_ALGORITHM, nullptr, 0) : kStatusEntryPointNotFound;
  *provider = handle;
  return status;
}

bool WinCrypto::PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) {
  DWORD length = *size;
  auto* decode = CRYPT32_PROC(CryptStringToBinaryA);
  BOOL ok = decode != nullptr && decode(pem, 0, CRYPT_STRING_BASE64HEADER, buffer, &length, nullptr, nullptr);
  *size = length;
  return ok != FALSE;
}

bool WinCrypto::DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) {
  DWORD length = *size;
  auto* decode = CRYPT32_PROC(CryptDecodeObjectEx);
  BOOL ok = decode != nullptr &&
            decode(X509_ASN_ENCODING, CNG_RSA_PUBLIC_KEY_BLOB, der, derSize, 0, nullptr, buffer, &length);
  *size = length;
  return ok != FALSE;
}

void* WinCrypto::HeapAllocate(size_t bytes) { return ::HeapAlloc(::GetProcessHeap(), 0, bytes); }

void WinCrypto::HeapRelease(void* block) { ::HeapFree(::GetProcessHeap(), 0, block); }

int32_t WinCrypto::ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize,
                                      CryptoHandle* key) {
  BCRYPT_KEY_HANDLE handle = nullptr;
  auto* import = BCRYPT_PROC(BCryptImportKeyPair);
  NTSTATUS status = import != nullptr ? import(provider, nullptr, BCRYPT_RSAPUBLIC_BLOB, &handle,
                                               const_cast<PUCHAR>(blob), blobSize, 0)
                                      : kStatusEntryPointNotFound;
  *key = handle;
  return status;
}

int32_t WinCrypto::RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output,
                              uint32_t outputSize, uint32_t* result, uint32_t flags) {
  ULONG written = 0;
  auto* encrypt = BCRYPT_PROC(BCryptEncrypt);
  NTSTATUS status = encrypt != nullptr ? encrypt(key, const_cast<PUCHAR>(input), inputSize, nullptr, nullptr, 0,
                                                 output, outputSize, &written, flags)
                                       : kStatusEntryPointNotFound;
  *result = written;
  return status;
}

int32_t WinCrypto::DestroyKey(CryptoHandle key) {
  auto* destroy = BCRYPT_PROC(BCryptDestroyKey);
  return destroy != nullptr ? destroy(key) : kStatusEntryPointNotFound;
}

int32_t WinCrypto::CloseProvider(CryptoHandle provider) {
  auto* close = BCRYPT_PROC(BCryptCloseAlgorithmProvider);
  return close != nullptr ? close(provider, 0) : kStatusEntryPointNotFound;
}

}  // namespace platform
