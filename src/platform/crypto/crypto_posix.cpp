// Raw RSA with a public key on Linux, step by step with the contracts of the
// Windows calls the log encoder makes: PEM to DER, the PKCS#1 public key to
// the RSA1 key blob, the blob to a key, and m^e mod n on whole blocks.
#include <mbedtls/asn1.h>
#include <mbedtls/base64.h>
#include <mbedtls/rsa.h>
#include <sys/random.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/crypto/crypto.h"
#include "platform/posix_translation.h"

namespace platform {

class PosixCrypto final : public Crypto {
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
  static PosixCrypto instance;
  return instance;
}

namespace {

constexpr uint32_t kStatusInvalidHandle = 0xC0000008u;
constexpr uint32_t kCryptBadTag = 0x8009310Bu;  // CRYPT_E_ASN1_BADTAG
constexpr uint32_t kRsaPublicMagic = 0x31415352u;  // "RSA1"
constexpr uint32_t kBlobHeaderSize = 24;           // six ULONGs
constexpr uint32_t kProviderTag = 0x50415352u;
constexpr uint32_t kKeyTag = 0x4B415352u;

struct RsaProvider {
  uint32_t tag = kProviderTag;
};

struct RsaKey {
  uint32_t tag = kKeyTag;
  mbedtls_rsa_context rsa;
  size_t bytes = 0;  // the modulus size, the block size of raw RSA
};

int32_t Status(uint32_t status) { return static_cast<int32_t>(status); }

// Decodes Base64, white space (the PEM body's line breaks) skipped; false
// on any other stray character.
bool DecodeBase64(const char* begin, const char* end, std::vector<uint8_t>* out) {
  std::string text;
  for (const char* p = begin; p < end; ++p) {
    if (*p != ' ' && *p != '\t' && *p != '\r' && *p != '\n') text.push_back(*p);
  }
  const auto* in = reinterpret_cast<const unsigned char*>(text.data());
  size_t size = 0;
  if (mbedtls_base64_decode(nullptr, 0, &size, in, text.size()) == MBEDTLS_ERR_BASE64_INVALID_CHARACTER) return false;
  out->resize(size);
  if (mbedtls_base64_decode(out->data(), out->size(), &size, in, text.size()) != 0) return false;
  out->resize(size);
  return true;
}

// Reads one DER INTEGER as unsigned big-endian bytes without leading zeros.
bool ReadUnsignedInteger(unsigned char** p, const unsigned char* end, std::vector<uint8_t>* out) {
  size_t len = 0;
  if (mbedtls_asn1_get_tag(p, end, &len, MBEDTLS_ASN1_INTEGER) != 0 || len == 0) return false;
  const unsigned char* v = *p;
  if ((v[0] & 0x80) != 0) return false;  // negative
  size_t skip = 0;
  while (skip < len && v[skip] == 0) ++skip;
  if (skip == len) return false;  // zero
  out->assign(v + skip, v + len);
  *p += len;
  return true;
}

void PutUlong(uint8_t* at, uint32_t value) {
  at[0] = static_cast<uint8_t>(value);
  at[1] = static_cast<uint8_t>(value >> 8);
  at[2] = static_cast<uint8_t>(value >> 16);
  at[3] = static_cast<uint8_t>(value >> 24);
}

uint32_t GetUlong(const uint8_t* at) {
  return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 | static_cast<uint32_t>(at[2]) << 16 |
         static_cast<uint32_t>(at[3]) << 24;
}

int RandomBytes(void*, unsigned char* out, size_t size) {
  while (size > 0) {
    const ssize_t n = ::getrandom(out, size, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      return MBEDTLS_ERR_RSA_RNG_FAILED;
    }
    out += n;
    size -= static_cast<size_t>(n);
  }
  return 0;
}

RsaKey* AsKey(CryptoHandle key) {
  RsaKey* k = static_cast<RsaKey*>(key);
  return k != nullptr && k->tag == kKeyTag ? k : nullptr;
}

}  // namespace

int32_t PosixCrypto::OpenRsaProvider(CryptoHandle* provider) {
  if (provider == nullptr) return Status(kStatusInvalidParameter);
  *provider = new RsaProvider();
  return Status(kStatusSuccess);
}

bool PosixCrypto::PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) {
  if (pem == nullptr || size == nullptr) {
    posix::SetError(kErrorInvalidParameter);
    return false;
  }
  // The body lies between the line that opens with "-----BEGIN" and the
  // line that opens with "-----END"; both marker lines end in "-----".
  const char* begin = std::strstr(pem, "-----BEGIN");
  const char* bodyStart = begin == nullptr ? nullptr : std::strstr(begin + 10, "-----");
  const char* bodyEnd = bodyStart == nullptr ? nullptr : std::strstr(bodyStart + 5, "-----END");
  std::vector<uint8_t> der;
  if (bodyEnd == nullptr || !DecodeBase64(bodyStart + 5, bodyEnd, &der) || der.empty()) {
    posix::SetError(posix::kErrorInvalidData);
    return false;
  }
  const uint32_t needed = static_cast<uint32_t>(der.size());
  if (buffer != nullptr) {
    if (*size < needed) {
      *size = needed;
      posix::SetError(kErrorMoreData);
      return false;
    }
    std::memcpy(buffer, der.data(), der.size());
  }
  *size = needed;
  posix::SetError(kErrorSuccess);
  return true;
}

bool PosixCrypto::DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) {
  if (der == nullptr || size == nullptr) {
    posix::SetError(kErrorInvalidParameter);
    return false;
  }
  // RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }
  unsigned char* p = const_cast<unsigned char*>(der);
  const unsigned char* end = der + derSize;
  size_t len = 0;
  std::vector<uint8_t> modulus, exponent;
  if (mbedtls_asn1_get_tag(&p, end, &len, MBEDTLS_ASN1_CONSTRUCTED | MBEDTLS_ASN1_SEQUENCE) != 0 ||
      !ReadUnsignedInteger(&p, p + len, &modulus) || !ReadUnsignedInteger(&p, end, &exponent)) {
    posix::SetError(kCryptBadTag);
    return false;
  }
  const uint32_t needed = kBlobHeaderSize + static_cast<uint32_t>(exponent.size() + modulus.size());
  if (buffer != nullptr) {
    if (*size < needed) {
      *size = needed;
      posix::SetError(kErrorMoreData);
      return false;
    }
    uint32_t bits = static_cast<uint32_t>(modulus.size()) * 8;
    for (uint8_t top = modulus[0]; (top & 0x80) == 0; top = static_cast<uint8_t>(top << 1)) --bits;
    PutUlong(buffer, kRsaPublicMagic);
    PutUlong(buffer + 4, bits);
    PutUlong(buffer + 8, static_cast<uint32_t>(exponent.size()));
    PutUlong(buffer + 12, static_cast<uint32_t>(modulus.size()));
    PutUlong(buffer + 16, 0);
    PutUlong(buffer + 20, 0);
    std::memcpy(buffer + kBlobHeaderSize, exponent.data(), exponent.size());
    std::memcpy(buffer + kBlobHeaderSize + exponent.size(), modulus.data(), modulus.size());
  }
  *size = needed;
  posix::SetError(kErrorSuccess);
  return true;
}

void* PosixCrypto::HeapAllocate(size_t bytes) { return std::malloc(bytes == 0 ? 1 : bytes); }

void PosixCrypto::HeapRelease(void* block) { std::free(block); }

int32_t PosixCrypto::ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize,
                                        CryptoHandle* key) {
  const RsaProvider* prov = static_cast<const RsaProvider*>(provider);
  if (prov == nullptr || prov->tag != kProviderTag) return Status(kStatusInvalidHandle);
  if (blob == nullptr || key == nullptr || blobSize < kBlobHeaderSize) return Status(kStatusInvalidParameter);
  const uint32_t magic = GetUlong(blob);
  const uint32_t bits = GetUlong(blob + 4);
  const uint64_t expSize = GetUlong(blob + 8);
  const uint64_t modSize = GetUlong(blob + 12);
  if (magic != kRsaPublicMagic || expSize == 0 || modSize == 0 ||
      kBlobHeaderSize + expSize + modSize > blobSize || bits == 0 || (bits + 7) / 8 != modSize) {
    return Status(kStatusInvalidParameter);
  }
  const uint8_t* exponent = blob + kBlobHeaderSize;
  const uint8_t* modulus = exponent + expSize;
  RsaKey* k = new (std::nothrow) RsaKey();
  if (k == nullptr) return Status(kStatusInvalidParameter);
  mbedtls_rsa_init(&k->rsa, MBEDTLS_RSA_PKCS_V15, 0);
  if (mbedtls_rsa_import_raw(&k->rsa, modulus, modSize, nullptr, 0, nullptr, 0, nullptr, 0, exponent, expSize) !=
          0 ||
      mbedtls_rsa_complete(&k->rsa) != 0 || mbedtls_rsa_check_pubkey(&k->rsa) != 0) {
    mbedtls_rsa_free(&k->rsa);
    delete k;
    return Status(kStatusInvalidParameter);
  }
  k->bytes = mbedtls_rsa_get_len(&k->rsa);
  *key = k;
  return Status(kStatusSuccess);
}

int32_t PosixCrypto::RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output,
                                uint32_t outputSize, uint32_t* result, uint32_t flags) {
  RsaKey* k = AsKey(key);
  if (k == nullptr) return Status(kStatusInvalidHandle);
  if (result == nullptr || (flags != kBcryptPadNone && flags != kBcryptPadPkcs1)) {
    return Status(kStatusInvalidParameter);
  }
  const uint32_t block = static_cast<uint32_t>(k->bytes);
  if (output == nullptr) {
    *result = block;
    return Status(kStatusSuccess);
  }
  if (input == nullptr && inputSize != 0) return Status(kStatusInvalidParameter);
  if (flags == kBcryptPadNone && inputSize != block) return Status(kStatusInvalidParameter);
  if (flags == kBcryptPadPkcs1 && inputSize + 11 > block) return Status(kStatusInvalidParameter);
  if (outputSize < block) {
    *result = block;
    return Status(kStatusBufferTooSmall);
  }
  int rc;
  if (flags == kBcryptPadNone) {
    // mbedtls_rsa_public refuses a value that is not below the modulus.
    rc = mbedtls_rsa_public(&k->rsa, input, output);
  } else {
    rc = mbedtls_rsa_pkcs1_encrypt(&k->rsa, RandomBytes, nullptr, MBEDTLS_RSA_PUBLIC, inputSize, input, output);
  }
  if (rc != 0) return Status(kStatusInvalidParameter);
  *result = block;
  return Status(kStatusSuccess);
}

int32_t PosixCrypto::DestroyKey(CryptoHandle key) {
  RsaKey* k = AsKey(key);
  if (k == nullptr) return Status(kStatusInvalidHandle);
  mbedtls_rsa_free(&k->rsa);
  k->tag = 0;
  delete k;
  return Status(kStatusSuccess);
}

int32_t PosixCrypto::CloseProvider(CryptoHandle provider) {
  RsaProvider* prov = static_cast<RsaProvider*>(provider);
  if (prov == nullptr || prov->tag != kProviderTag) return Status(kStatusInvalidHandle);
  prov->tag = 0;
  delete prov;
  return Status(kStatusSuccess);
}

}  // namespace platform
