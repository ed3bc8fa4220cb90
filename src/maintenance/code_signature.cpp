// Authenticode checks through the code-trust service.
#include "maintenance/code_signature.h"

#include <cstdint>
#include <string>

#include "base/log.h"
#include "platform/code_trust/code_trust.h"
#include "platform/system/system_libraries.h"

namespace {

// CertGetNameStringW gets a zeroed buffer of this many characters; a count
// of 1 to 511 (terminator included) is a name that fitted.
constexpr uint32_t kSignerNameBufferChars = 512;

// CryptCATAdminCalcHashFromFileHandle is given a buffer of this many bytes.
constexpr uint32_t kCatalogHashBufferBytes = 100;

// At most this many catalogs holding the file's hash are tried.
constexpr int kMaxCatalogsTried = 5;

// The leaf certificate the verification state leads to, or null when any
// link on the way is missing.
platform::CertHandle LeafCertificate(platform::CodeTrust& trust, platform::TrustState state) {
  const platform::SignerPath path = trust.SignerPathOf(state);
  if (!path.providerData || path.signerCount == 0 || !path.signers) return nullptr;
  if (!path.chainContext) return nullptr;
  if (path.chainCount == 0 || !path.simpleChain) return nullptr;
  if (path.elementCount == 0 || !path.element) return nullptr;
  return path.certificate;
}

// The part of a path after its last separator (PathFindFileNameW).
std::u16string BareFileName(const std::u16string& path) {
  const size_t slash = path.find_last_of(u"\\/");
  return slash == std::u16string::npos ? path : path.substr(slash + 1);
}

}  // namespace

int32_t GetFileSignerName(const std::u16string& filePath, std::u16string& signerName) {
  try {
    platform::CodeTrust& trust = platform::Service<platform::CodeTrust>();
    platform::TrustState state = nullptr;
    const int32_t status = trust.VerifyFileKeepState(filePath, &state);
    if (status != 0) LogError(u"WinVerifyTrust failed, error:%d", status);

    // A failed verification still leaves state to read, as long as the
    // signature could be parsed.
    const platform::CertHandle certificate = LeafCertificate(trust, state);
    if (certificate != nullptr) {
      char16_t buffer[kSignerNameBufferChars] = {};
      const uint32_t count = trust.CertSimpleDisplayName(certificate, buffer, kSignerNameBufferChars);
      if (count >= 1 && count < kSignerNameBufferChars) {
        signerName = std::u16string(buffer);
        if (status != 0) LogError(u"WinVerifyTrust invalid name:%s", signerName);
      }
    }

    trust.CloseVerifyState(state);
    return status;
  } catch (...) {
    return 1;
  }
}

int32_t VerifyEmbeddedSignature(const std::u16string& filePath) {
  if (filePath.empty()) return 0;
  try {
    return platform::Service<platform::CodeTrust>().VerifyFileEmbedded(filePath) == 0 ? 1 : 0;
  } catch (...) {
    return 0;
  }
}

int32_t VerifyCatalogSignature(const std::u16string& filePath) {
  if (filePath.empty()) return 0;
  try {
    platform::CodeTrust& trust = platform::Service<platform::CodeTrust>();
    platform::CatalogAdmin admin = nullptr;
    if (!trust.AcquireCatalogAdmin(&admin)) return 0;

    platform::Handle file = trust.OpenFileForHash(filePath);
    if (file == nullptr) {
      trust.ReleaseCatalogAdmin(admin);
      return 0;
    }
    uint8_t hash[kCatalogHashBufferBytes] = {};
    uint32_t hashSize = kCatalogHashBufferBytes;
    trust.CalcHashFromFile(file, &hashSize, hash);  // a failure shows as no catalog holding the hash
    trust.CloseFile(file);

    // The member handle stays open for the rest of the process.
    platform::Handle member = trust.OpenFileForHash(filePath);
    if (member == nullptr) {
      trust.ReleaseCatalogAdmin(admin);
      return 0;
    }
    // The member tag is the full path and the member file path the bare name.
    const std::u16string memberTag = filePath;
    const std::u16string memberFilePath = BareFileName(filePath);

    int32_t answer = 0;
    int tried = 0;
    platform::CatalogInfo previous = nullptr;
    platform::CatalogInfo catalog = trust.NextCatalogForHash(admin, hash, hashSize, &previous);
    while (catalog != nullptr) {
      if (tried == kMaxCatalogsTried) break;
      ++tried;
      std::u16string catalogFile;
      if (trust.CatalogFileOf(catalog, &catalogFile) &&
          trust.VerifyCatalogMember(catalogFile, memberTag, memberFilePath, member, hash, hashSize) == 0) {
        answer = 1;
        break;
      }
      previous = catalog;
      catalog = trust.NextCatalogForHash(admin, hash, hashSize, &previous);
    }
    if (catalog != nullptr) trust.ReleaseCatalog(admin, catalog);
    trust.ReleaseCatalogAdmin(admin);
    return answer;
  } catch (...) {
    return 0;
  }
}

platform::Module Utils::LoadMicrosoftSystem32Dll(const std::u16string& dllName) {
  platform::SystemLibraries& libraries = platform::Service<platform::SystemLibraries>();
  std::u16string windowsDir;
  std::u16string path;
  if (libraries.WindowsDirectory(&windowsDir)) path = windowsDir + u"\\System32\\" + dllName;
  if (VerifyEmbeddedSignature(path) || VerifyCatalogSignature(path)) return libraries.LoadLibraryPath(path);
  LogError(u"Utils::LoadMicrosoftSystem32Dll, dll '%s' not signed", path);
  return nullptr;
}

int32_t QueryVistaOrLater(platform::Module& ntdll) {
  if (ntdll == nullptr) return 0;
  uint32_t major = 0, minor = 0, build = 0;
  const bool found = platform::Service<platform::SystemLibraries>().NtVersionNumbers(ntdll, &major, &minor, &build);
  build &= 0xFFFFu;  // the upper half holds flag bits
  // The module stays loaded but is not asked again: the query is good for
  // one use per process, which is all the launcher needs.
  ntdll = nullptr;
  return found && major >= 6 ? 1 : 0;
}

namespace {

// ntdll for the version query, loaded on the first use.
platform::Module& VersionQueryModule() {
  static platform::Module ntdll = Utils::LoadMicrosoftSystem32Dll(u"ntdll.dll");
  return ntdll;
}

}  // namespace

int32_t IsVistaOrLater() { return QueryVistaOrLater(VersionQueryModule()); }

void ReloadVersionQueryForTesting() { VersionQueryModule() = Utils::LoadMicrosoftSystem32Dll(u"ntdll.dll"); }
