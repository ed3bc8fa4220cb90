// The fake raw-RSA chain: the native backend underneath, every step recorded.
#include "platform/crypto/fake_crypto.h"

namespace platform {

int32_t FakeCrypto::OpenRsaProvider(CryptoHandle* provider) {
  if (Enter("OpenRsaProvider", u"RSA")) return static_cast<int32_t>(InjectedError());
  return NativeService<Crypto>().OpenRsaProvider(provider);
}

bool FakeCrypto::PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) {
  if (Enter("PemToDer", buffer == nullptr ? u"size" : u"data")) return false;
  const bool result = NativeService<Crypto>().PemToDer(pem, buffer, size);
  TakeNativeError();
  return result;
}

bool FakeCrypto::DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) {
  if (Enter("DecodeRsaPublicKey", buffer == nullptr ? u"size" : u"data")) return false;
  const bool result = NativeService<Crypto>().DecodeRsaPublicKey(der, derSize, buffer, size);
  TakeNativeError();
  return result;
}

void* FakeCrypto::HeapAllocate(size_t bytes) {
  if (Enter("HeapAllocate", FakeHex(static_cast<uint32_t>(bytes)))) return nullptr;
  return NativeService<Crypto>().HeapAllocate(bytes);
}

void FakeCrypto::HeapRelease(void* block) {
  if (Enter("HeapRelease", u"")) return;
  NativeService<Crypto>().HeapRelease(block);
}

int32_t FakeCrypto::ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize,
                                       CryptoHandle* key) {
  if (Enter("ImportRsaPublicKey", u"RSAPUBLICBLOB")) return static_cast<int32_t>(InjectedError());
  return NativeService<Crypto>().ImportRsaPublicKey(provider, blob, blobSize, key);
}

int32_t FakeCrypto::RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output,
                               uint32_t outputSize, uint32_t* result, uint32_t flags) {
  if (Enter("RsaEncrypt", output == nullptr ? u"size" : u"data")) return static_cast<int32_t>(InjectedError());
  return NativeService<Crypto>().RsaEncrypt(key, input, inputSize, output, outputSize, result, flags);
}

int32_t FakeCrypto::DestroyKey(CryptoHandle key) {
  if (Enter("DestroyKey", u"")) return static_cast<int32_t>(InjectedError());
  return NativeService<Crypto>().DestroyKey(key);
}

int32_t FakeCrypto::CloseProvider(CryptoHandle provider) {
  if (Enter("CloseProvider", u"")) return static_cast<int32_t>(InjectedError());
  return NativeService<Crypto>().CloseProvider(provider);
}

}  // namespace platform
