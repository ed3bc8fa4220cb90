// Code trust on Linux: there is no Authenticode and no catalog database, so
// the service answers as Windows does for a file that bears no signature and
// for a hash that no catalog holds. Every file is unsigned here.
#include "platform/code_trust/code_trust.h"
#include "platform/posix_translation.h"

namespace platform {
namespace {

class PosixCodeTrust final : public CodeTrust {
 public:
  int32_t VerifyFileKeepState(const std::u16string& path, TrustState* state) override {
    *state = nullptr;
    return static_cast<int32_t>(kTrustNoSignature);
  }
  SignerPath SignerPathOf(TrustState state) override { return SignerPath(); }
  uint32_t CertSimpleDisplayName(CertHandle certificate, char16_t* buffer, uint32_t capacity) override {
    if (capacity > 0) buffer[0] = u'\0';
    return 1;  // an empty name with its terminator, as for a certificate without one
  }
  int32_t CloseVerifyState(TrustState state) override { return 0; }
  int32_t VerifyFileEmbedded(const std::u16string& path) override {
    return static_cast<int32_t>(kTrustNoSignature);
  }
  // The catalog database does not exist: acquiring it fails as a call the
  // system does not support.
  bool AcquireCatalogAdmin(CatalogAdmin* admin) override {
    *admin = nullptr;
    posix::SetError(kErrorCallNotImplemented);
    return false;
  }
  bool ReleaseCatalogAdmin(CatalogAdmin admin) override { return Invalid(); }
  Handle OpenFileForHash(const std::u16string& path) override {
    posix::SetError(kErrorCallNotImplemented);
    return nullptr;
  }
  bool CloseFile(Handle file) override { return Invalid(); }
  bool CalcHashFromFile(Handle file, uint32_t* size, uint8_t* hash) override { return Invalid(); }
  CatalogInfo NextCatalogForHash(CatalogAdmin admin, const uint8_t* hash, uint32_t size,
                                 CatalogInfo* previous) override {
    Invalid();
    return nullptr;
  }
  bool CatalogFileOf(CatalogInfo catalog, std::u16string* catalogFile) override { return Invalid(); }
  int32_t VerifyCatalogMember(const std::u16string& catalogFile, const std::u16string& memberTag,
                              const std::u16string& memberFilePath, Handle memberFile, const uint8_t* hash,
                              uint32_t size) override {
    return static_cast<int32_t>(kTrustNoSignature);
  }
  bool ReleaseCatalog(CatalogAdmin admin, CatalogInfo catalog) override { return Invalid(); }

 private:
  // No context or handle of this service can exist here.
  static bool Invalid() {
    posix::SetError(kErrorInvalidHandle);
    return false;
  }
};

}  // namespace

template <>
CodeTrust& NativeService<CodeTrust>() {
  static PosixCodeTrust trust;
  return trust;
}

}  // namespace platform
