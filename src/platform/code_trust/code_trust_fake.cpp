#include <algorithm>
#include <cstdint>

#include "platform/code_trust/fake_code_trust.h"

namespace platform {
namespace {

// Catalog i is handed out as the opaque value i + 1.
CatalogInfo CatalogToken(size_t index) { return reinterpret_cast<CatalogInfo>(index + 1); }
size_t CatalogIndex(CatalogInfo catalog) { return reinterpret_cast<size_t>(catalog) - 1; }

}  // namespace

FakeCodeTrust::Signature FakeCodeTrust::Signed(const std::u16string& signer, int32_t status) {
  Signature signature;
  signature.status = status;
  signature.signer = signer;
  signature.path.providerData = true;
  signature.path.signerCount = 1;
  signature.path.signers = true;
  signature.path.chainContext = true;
  signature.path.chainCount = 1;
  signature.path.simpleChain = true;
  signature.path.elementCount = 1;
  signature.path.element = true;
  return signature;
}

size_t FakeCodeTrust::CallCount(const std::string& op) const {
  return static_cast<size_t>(std::count(calls.begin(), calls.end(), op));
}

void FakeCodeTrust::Enter(const std::string& op) {
  calls.push_back(op);
  if (throwOn == op) {
    throwOn.clear();
    throw std::runtime_error("trust provider fault in " + op);
  }
}

int32_t FakeCodeTrust::VerifyFileKeepState(const std::u16string& path, TrustState* state) {
  Enter("VerifyFileKeepState");
  if (onVerify) onVerify(path);
  const auto found = files.find(path);
  states_.push_back(found != files.end() ? found->second : Signature());
  *state = reinterpret_cast<TrustState>(states_.size());
  return states_.back().status;
}

SignerPath FakeCodeTrust::SignerPathOf(TrustState state) {
  Enter("SignerPathOf");
  const size_t index = reinterpret_cast<size_t>(state);
  if (index == 0 || index > states_.size()) return SignerPath();
  SignerPath path = states_[index - 1].path;
  // The certificate stands for the state's signature; null when the walk
  // stops before it.
  if (path.element) path.certificate = state;
  return path;
}

uint32_t FakeCodeTrust::CertSimpleDisplayName(CertHandle certificate, char16_t* buffer, uint32_t capacity) {
  Enter("CertSimpleDisplayName");
  const Signature& signature = states_.at(reinterpret_cast<size_t>(certificate) - 1);
  const std::u16string& name = signature.signer;
  // Like CertGetNameStringW: the name cut to the buffer, always terminated,
  // and the count of what was written with the terminator.
  const size_t copied = std::min<size_t>(name.size(), capacity - 1);
  std::copy(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(copied), buffer);
  buffer[copied] = u'\0';
  if (signature.nameCountOverride >= 0) return static_cast<uint32_t>(signature.nameCountOverride);
  return static_cast<uint32_t>(copied + 1);
}

int32_t FakeCodeTrust::CloseVerifyState(TrustState state) {
  Enter("CloseVerifyState");
  return 0;
}

int32_t FakeCodeTrust::VerifyFileEmbedded(const std::u16string& path) {
  Enter("VerifyFileEmbedded");
  const auto found = embedded.find(path);
  return found != embedded.end() ? found->second : static_cast<int32_t>(kTrustNoSignature);
}

bool FakeCodeTrust::AcquireCatalogAdmin(CatalogAdmin* admin) {
  Enter("AcquireCatalogAdmin");
  if (acquireFails) {
    *admin = nullptr;
    return false;
  }
  ++heldAdmins;
  *admin = &admin_;
  return true;
}

bool FakeCodeTrust::ReleaseCatalogAdmin(CatalogAdmin admin) {
  Enter("ReleaseCatalogAdmin");
  if (admin != &admin_) return false;
  --heldAdmins;
  return true;
}

Handle FakeCodeTrust::OpenFileForHash(const std::u16string& path) {
  Enter("OpenFileForHash");
  ++opens_;
  if (opens_ == openFailsOnCall) return nullptr;
  ++openHandles;
  return reinterpret_cast<Handle>(static_cast<uintptr_t>(opens_));
}

bool FakeCodeTrust::CloseFile(Handle file) {
  Enter("CloseFile");
  --openHandles;
  return true;
}

bool FakeCodeTrust::CalcHashFromFile(Handle file, uint32_t* size, uint8_t* hash) {
  Enter("CalcHashFromFile");
  *size = 20;
  return true;
}

CatalogInfo FakeCodeTrust::NextCatalogForHash(CatalogAdmin admin, const uint8_t* hash, uint32_t size,
                                              CatalogInfo* previous) {
  Enter("NextCatalogForHash");
  size_t next = 0;
  if (*previous != nullptr) {
    next = CatalogIndex(*previous) + 1;
    --heldCatalogs;  // the system takes the previous one back
    *previous = nullptr;
  }
  if (next >= catalogs.size()) return nullptr;
  ++heldCatalogs;
  return CatalogToken(next);
}

bool FakeCodeTrust::CatalogFileOf(CatalogInfo catalog, std::u16string* catalogFile) {
  Enter("CatalogFileOf");
  const Catalog& entry = catalogs.at(CatalogIndex(catalog));
  if (!entry.infoOk) return false;
  *catalogFile = entry.file;
  return true;
}

int32_t FakeCodeTrust::VerifyCatalogMember(const std::u16string& catalogFile, const std::u16string& memberTag,
                                           const std::u16string& memberFilePath, Handle memberFile,
                                           const uint8_t* hash, uint32_t size) {
  Enter("VerifyCatalogMember");
  memberCalls.push_back({catalogFile, memberTag, memberFilePath, size});
  for (const Catalog& entry : catalogs) {
    if (entry.file == catalogFile) return entry.memberStatus;
  }
  return static_cast<int32_t>(kTrustNoSignature);
}

bool FakeCodeTrust::ReleaseCatalog(CatalogAdmin admin, CatalogInfo catalog) {
  Enter("ReleaseCatalog");
  --heldCatalogs;
  return true;
}

}  // namespace platform
