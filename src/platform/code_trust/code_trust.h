// Code trust: the Authenticode verification of files and the system's
// catalogs of trusted file hashes (WinVerifyTrust and the catalog admin
// calls). A service of its own (see service.h).
//
// The operations keep the Windows calls' contracts: statuses are the HRESULTs
// WinVerifyTrust returns, handles are null when a call fails, and a failing
// call leaves its Windows error as the thread's last error.
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

// WinVerifyTrust statuses the core looks at or that a backend produces.
enum : uint32_t {
  kTrustNoSignature = 0x800B0100u,  // TRUST_E_NOSIGNATURE
  kTrustBadDigest = 0x80096010u,    // TRUST_E_BAD_DIGEST
};

// The verification state WinVerifyTrust leaves in hWVTStateData.
using TrustState = void*;
// A certificate context (PCCERT_CONTEXT).
using CertHandle = const void*;
// A catalog admin context (HCATADMIN) and a catalog info context (HCATINFO).
using CatalogAdmin = void*;
using CatalogInfo = void*;

// The path from the provider data of a verification state to the leaf
// certificate, link by link, as WTHelperProvDataFromStateData hands it out:
// provider data -> pasSigners[0] -> pChainContext -> rgpChain[0] ->
// rgpElement[0] -> pCertContext. A missing link is null or a zero count.
struct SignerPath {
  bool providerData = false;
  uint32_t signerCount = 0;      // csSigners
  bool signers = false;          // pasSigners
  bool chainContext = false;     // pasSigners[0].pChainContext
  uint32_t chainCount = 0;       // cChain
  bool simpleChain = false;      // rgpChain[0]
  uint32_t elementCount = 0;     // cElement
  bool element = false;          // rgpElement[0]
  CertHandle certificate = nullptr;  // rgpElement[0]->pCertContext
};

class CodeTrust {
 public:
  virtual ~CodeTrust() = default;

  // WinVerifyTrust(null window, WINTRUST_ACTION_GENERIC_VERIFY_V2) on the file
  // with no UI, no revocation check and WTD_STATEACTION_VERIFY. Returns the
  // status; *state receives hWVTStateData, which must be closed with
  // CloseVerifyState whatever the status.
  virtual int32_t VerifyFileKeepState(const std::u16string& path, TrustState* state) = 0;

  // WTHelperProvDataFromStateData(state) and the links towards the leaf
  // certificate. A null state answers an empty path.
  virtual SignerPath SignerPathOf(TrustState state) = 0;

  // CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, null,
  // buffer, capacity): the number of characters written with the terminator.
  virtual uint32_t CertSimpleDisplayName(CertHandle certificate, char16_t* buffer, uint32_t capacity) = 0;

  // WinVerifyTrust with WTD_STATEACTION_CLOSE on the state. Returns its status.
  virtual int32_t CloseVerifyState(TrustState state) = 0;

  // WinVerifyTrust(null window, WINTRUST_ACTION_GENERIC_VERIFY_V2) on the
  // file with WTD_STATEACTION_IGNORE and cache-only URL retrieval. Returns
  // the status.
  virtual int32_t VerifyFileEmbedded(const std::u16string& path) = 0;

  // CryptCATAdminAcquireContext(&admin, DRIVER_ACTION_VERIFY, 0).
  virtual bool AcquireCatalogAdmin(CatalogAdmin* admin) = 0;
  // CryptCATAdminReleaseContext(admin, 0).
  virtual bool ReleaseCatalogAdmin(CatalogAdmin admin) = 0;
  // CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, null, OPEN_EXISTING, 0,
  // null). Null (not INVALID_HANDLE_VALUE) on failure.
  virtual Handle OpenFileForHash(const std::u16string& path) = 0;
  // CloseHandle on a handle from OpenFileForHash.
  virtual bool CloseFile(Handle file) = 0;
  // CryptCATAdminCalcHashFromFileHandle(file, size, hash, 0). *size holds the
  // buffer's size on entry and the hash's on return.
  virtual bool CalcHashFromFile(Handle file, uint32_t* size, uint8_t* hash) = 0;
  // CryptCATAdminEnumCatalogFromHash(admin, hash, size, 0, &previous): the
  // next catalog holding the hash, null when there is none. Passing the
  // previous catalog hands it back to the system.
  virtual CatalogInfo NextCatalogForHash(CatalogAdmin admin, const uint8_t* hash, uint32_t size,
                                         CatalogInfo* previous) = 0;
  // CryptCATCatalogInfoFromContext(catalog, &info, 0): the catalog's file.
  virtual bool CatalogFileOf(CatalogInfo catalog, std::u16string* catalogFile) = 0;
  // WinVerifyTrust(INVALID_HANDLE_VALUE, DRIVER_ACTION_VERIFY) with a
  // WINTRUST_CATALOG_INFO: no UI, no revocation check, state action 0,
  // cache-only URL retrieval, catalog version 0, no catalog context.
  virtual int32_t VerifyCatalogMember(const std::u16string& catalogFile, const std::u16string& memberTag,
                                      const std::u16string& memberFilePath, Handle memberFile,
                                      const uint8_t* hash, uint32_t size) = 0;
  // CryptCATAdminReleaseCatalogContext(admin, catalog, 0).
  virtual bool ReleaseCatalog(CatalogAdmin admin, CatalogInfo catalog) = 0;
};

}  // namespace platform
