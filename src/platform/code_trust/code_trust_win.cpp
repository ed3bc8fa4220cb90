// Code trust through WinVerifyTrust and the catalog admin calls of wintrust.
#include <windows.h>
#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>
#include <mscat.h>

#include "platform/code_trust/code_trust.h"
#include "platform/system_library_win.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

GUID GenericVerifyV2() {
  GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  return action;
}

GUID DriverActionVerify() {
  GUID action = DRIVER_ACTION_VERIFY;
  return action;
}

// WTD_CACHE_ONLY_URL_RETRIEVAL.
constexpr DWORD kCacheOnlyUrlRetrieval = 0x1000;

// Trust is checked after the start or in the broker: its libraries are
// looked up when first needed.
#define WINTRUST_PROC(function) ORVANE_SYSTEM_PROC(L"wintrust.dll", function)

// WinVerifyTrust, or the HRESULT of the lookup's failure where the system
// lacks it: never a success.
LONG CallVerifyTrust(HWND window, GUID* action, WINTRUST_DATA* data) {
  auto* verify = WINTRUST_PROC(WinVerifyTrust);
  if (verify == nullptr) return HRESULT_FROM_WIN32(::GetLastError());
  return verify(window, action, data);
}

// WinVerifyTrust(null window, WINTRUST_ACTION_GENERIC_VERIFY_V2) on a file
// with no UI and no revocation check; the state it leaves, when asked for.
LONG VerifyFile(const std::u16string& path, DWORD stateAction, DWORD provFlags, HANDLE* state) {
  WINTRUST_FILE_INFO file = {};
  file.cbStruct = sizeof(file);
  file.pcwszFilePath = AsWide(path);
  WINTRUST_DATA data = {};
  data.cbStruct = sizeof(data);
  data.dwUIChoice = WTD_UI_NONE;
  data.fdwRevocationChecks = WTD_REVOKE_NONE;
  data.dwUnionChoice = WTD_CHOICE_FILE;
  data.pFile = &file;
  data.dwStateAction = stateAction;
  data.dwProvFlags = provFlags;
  GUID action = GenericVerifyV2();
  const LONG status = CallVerifyTrust(nullptr, &action, &data);
  if (state != nullptr) *state = data.hWVTStateData;
  return status;
}

class WinCodeTrust final : public CodeTrust {
 public:
  int32_t VerifyFileKeepState(const std::u16string& path, TrustState* state) override {
    HANDLE kept = nullptr;
    const LONG status = VerifyFile(path, WTD_STATEACTION_VERIFY, 0, &kept);
    *state = kept;
    return status;
  }

  SignerPath SignerPathOf(TrustState state) override {
    SignerPath path;
    if (state == nullptr) return path;
    auto* providerOf = WINTRUST_PROC(WTHelperProvDataFromStateData);
    if (providerOf == nullptr) return path;
    CRYPT_PROVIDER_DATA* provider = providerOf(static_cast<HANDLE>(state));
    if (provider == nullptr) return path;
    path.providerData = true;
    path.signerCount = provider->csSigners;
    path.signers = provider->pasSigners != nullptr;
    if (path.signerCount == 0 || !path.signers) return path;
    const CERT_CHAIN_CONTEXT* chain = provider->pasSigners[0].pChainContext;
    path.chainContext = chain != nullptr;
    if (chain == nullptr) return path;
    path.chainCount = chain->cChain;
    path.simpleChain = chain->cChain > 0 && chain->rgpChain != nullptr && chain->rgpChain[0] != nullptr;
    if (!path.simpleChain) return path;
    const CERT_SIMPLE_CHAIN* simple = chain->rgpChain[0];
    path.elementCount = simple->cElement;
    path.element = simple->cElement > 0 && simple->rgpElement != nullptr && simple->rgpElement[0] != nullptr;
    if (!path.element) return path;
    path.certificate = simple->rgpElement[0]->pCertContext;
    return path;
  }

  uint32_t CertSimpleDisplayName(CertHandle certificate, char16_t* buffer, uint32_t capacity) override {
    auto* nameOf = ORVANE_SYSTEM_PROC(L"crypt32.dll", CertGetNameStringW);
    if (nameOf == nullptr) return 0;
    return nameOf(static_cast<PCCERT_CONTEXT>(certificate), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr,
                  reinterpret_cast<wchar_t*>(buffer), capacity);
  }

  int32_t CloseVerifyState(TrustState state) override {
    WINTRUST_DATA data = {};
    data.cbStruct = sizeof(data);
    data.hWVTStateData = static_cast<HANDLE>(state);
    data.dwStateAction = WTD_STATEACTION_CLOSE;
    GUID action = GenericVerifyV2();
    return CallVerifyTrust(nullptr, &action, &data);
  }

  int32_t VerifyFileEmbedded(const std::u16string& path) override {
    return VerifyFile(path, WTD_STATEACTION_IGNORE, kCacheOnlyUrlRetrieval, nullptr);
  }

  bool AcquireCatalogAdmin(CatalogAdmin* admin) override {
    GUID action = DriverActionVerify();
    HCATADMIN context = nullptr;
    auto* acquire = WINTRUST_PROC(CryptCATAdminAcquireContext);
    const BOOL ok = acquire != nullptr && acquire(&context, &action, 0);
    *admin = ok ? context : nullptr;
    return ok != FALSE;
  }

  bool ReleaseCatalogAdmin(CatalogAdmin admin) override {
    auto* release = WINTRUST_PROC(CryptCATAdminReleaseContext);
    return release != nullptr && release(static_cast<HCATADMIN>(admin), 0) != FALSE;
  }

  Handle OpenFileForHash(const std::u16string& path) override {
    HANDLE file = ::CreateFileW(AsWide(path), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    return file == INVALID_HANDLE_VALUE ? nullptr : file;
  }

  bool CloseFile(Handle file) override { return ::CloseHandle(static_cast<HANDLE>(file)) != FALSE; }

  bool CalcHashFromFile(Handle file, uint32_t* size, uint8_t* hash) override {
    DWORD bytes = *size;
    auto* calc = WINTRUST_PROC(CryptCATAdminCalcHashFromFileHandle);
    const BOOL ok = calc != nullptr && calc(static_cast<HANDLE>(file), &bytes, hash, 0);
    *size = bytes;
    return ok != FALSE;
  }

  CatalogInfo NextCatalogForHash(CatalogAdmin admin, const uint8_t* hash, uint32_t size,
                                 CatalogInfo* previous) override {
    HCATINFO prior = static_cast<HCATINFO>(*previous);
    auto* enumerate = WINTRUST_PROC(CryptCATAdminEnumCatalogFromHash);
    if (enumerate == nullptr) return nullptr;
    HCATINFO next = enumerate(static_cast<HCATADMIN>(admin), const_cast<BYTE*>(hash), size, 0,
                              prior != nullptr ? &prior : nullptr);
    *previous = prior;
    return next;
  }

  bool CatalogFileOf(CatalogInfo catalog, std::u16string* catalogFile) override {
    CATALOG_INFO info = {};
    info.cbStruct = sizeof(info);
    auto* infoOf = WINTRUST_PROC(CryptCATCatalogInfoFromContext);
    if (infoOf == nullptr || !infoOf(static_cast<HCATINFO>(catalog), &info, 0)) return false;
    *catalogFile = FromWide(info.wszCatalogFile);
    return true;
  }

  int32_t VerifyCatalogMember(const std::u16string& catalogFile, const std::u16string& memberTag,
                              const std::u16string& memberFilePath, Handle memberFile, const uint8_t* hash,
                              uint32_t size) override {
    WINTRUST_CATALOG_INFO member = {};
    member.cbStruct = sizeof(member);
    member.dwCatalogVersion = 0;
    member.pcwszCatalogFilePath = AsWide(catalogFile);
    member.pcwszMemberTag = AsWide(memberTag);
    member.pcwszMemberFilePath = AsWide(memberFilePath);
    member.hMemberFile = static_cast<HANDLE>(memberFile);
    member.pbCalculatedFileHash = const_cast<BYTE*>(hash);
    member.cbCalculatedFileHash = size;
    member.pcCatalogContext = nullptr;
    member.hCatAdmin = nullptr;
    WINTRUST_DATA data = {};
    data.cbStruct = sizeof(data);
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_CATALOG;
    data.pCatalog = &member;
    data.dwStateAction = 0;
    data.dwProvFlags = kCacheOnlyUrlRetrieval;
    GUID action = DriverActionVerify();
    return CallVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data);
  }

  bool ReleaseCatalog(CatalogAdmin admin, CatalogInfo catalog) override {
    auto* release = WINTRUST_PROC(CryptCATAdminReleaseCatalogContext);
    return release != nullptr &&
           release(static_cast<HCATADMIN>(admin), static_cast<HCATINFO>(catalog), 0) != FALSE;
  }
};

}  // namespace

template <>
CodeTrust& NativeService<CodeTrust>() {
  static WinCodeTrust trust;
  return trust;
}

}  // namespace platform
