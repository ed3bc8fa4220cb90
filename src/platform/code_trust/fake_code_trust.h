// The fake code-trust service, for unit tests. Files are signed or not by
// what the test states; the catalog database is a list the test fills. Every
// call is recorded by name ("VerifyFileKeepState", "NextCatalogForHash", ...)
// and a test can make any single call throw, as a crashing trust provider
// would.
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/code_trust/code_trust.h"

namespace platform {

class FakeCodeTrust final : public CodeTrust {
 public:
  // What the verification of one file finds.
  struct Signature {
    int32_t status = static_cast<int32_t>(kTrustNoSignature);
    // The leaf's display name; with `path` left as found it is readable.
    std::u16string signer;
    SignerPath path;
    // CertGetNameStringW's count when it differs from the name's (0, 512).
    int64_t nameCountOverride = -1;
  };

  // A good signature by `signer`, with every link to the leaf in place.
  static Signature Signed(const std::u16string& signer, int32_t status = 0);

  std::map<std::u16string, Signature> files;  // by path; others are unsigned
  // Statuses of the embedded check by path; others answer kTrustNoSignature.
  std::map<std::u16string, int32_t> embedded;

  // Catalogs holding the hash of any file, in the order the system hands
  // them out, each with what CryptCATCatalogInfoFromContext and the member
  // verification answer.
  struct Catalog {
    std::u16string file;
    bool infoOk = true;
    int32_t memberStatus = static_cast<int32_t>(kTrustNoSignature);
  };
  std::vector<Catalog> catalogs;
  bool acquireFails = false;
  int openFailsOnCall = 0;  // 1: the first OpenFileForHash fails, 2: the second

  // Called with the path at each VerifyFileKeepState, before it answers.
  std::function<void(const std::u16string&)> onVerify;

  // The named operation throws on its next call.
  std::string throwOn;

  struct MemberCall {
    std::u16string catalogFile, memberTag, memberFilePath;
    uint32_t hashSize = 0;
  };
  std::vector<MemberCall> memberCalls;
  std::vector<std::string> calls;
  size_t CallCount(const std::string& op) const;
  int openHandles = 0;  // file handles from OpenFileForHash not closed
  int heldCatalogs = 0;  // catalogs handed out and neither passed back nor released
  int heldAdmins = 0;

  int32_t VerifyFileKeepState(const std::u16string& path, TrustState* state) override;
  SignerPath SignerPathOf(TrustState state) override;
  uint32_t CertSimpleDisplayName(CertHandle certificate, char16_t* buffer, uint32_t capacity) override;
  int32_t CloseVerifyState(TrustState state) override;
  int32_t VerifyFileEmbedded(const std::u16string& path) override;
  bool AcquireCatalogAdmin(CatalogAdmin* admin) override;
  bool ReleaseCatalogAdmin(CatalogAdmin admin) override;
  Handle OpenFileForHash(const std::u16string& path) override;
  bool CloseFile(Handle file) override;
  bool CalcHashFromFile(Handle file, uint32_t* size, uint8_t* hash) override;
  CatalogInfo NextCatalogForHash(CatalogAdmin admin, const uint8_t* hash, uint32_t size,
                                 CatalogInfo* previous) override;
  bool CatalogFileOf(CatalogInfo catalog, std::u16string* catalogFile) override;
  int32_t VerifyCatalogMember(const std::u16string& catalogFile, const std::u16string& memberTag,
                              const std::u16string& memberFilePath, Handle memberFile, const uint8_t* hash,
                              uint32_t size) override;
  bool ReleaseCatalog(CatalogAdmin admin, CatalogInfo catalog) override;

 private:
  void Enter(const std::string& op);

  ScopedService<CodeTrust> scope_{this};
  std::vector<Signature> states_;  // a state is an index + 1 into this
  int opens_ = 0;
  int admin_ = 0;
};

}  // namespace platform
