// Authenticode checks of files: who signed a file, and whether a system
// library bears a signature the machine trusts (embedded or through one of
// the system's catalogs).
#pragma once

#include <cstdint>
#include <string>

#include "platform/system/system_libraries.h"

// The subject's display name of the leaf certificate of the file's signature,
// with the verification status: 0 for a good signature, otherwise the status
// of the verification, or 1 after an exception. `signerName` is assigned only
// when a name could be read (also for a failed verification); otherwise it
// keeps what it held, so callers hand in an empty string.
int32_t GetFileSignerName(const std::u16string& filePath, std::u16string& signerName);

// Nonzero if the file has a valid embedded signature.
int32_t VerifyEmbeddedSignature(const std::u16string& filePath);

// Nonzero if some catalog of the system vouches for the file.
int32_t VerifyCatalogSignature(const std::u16string& filePath);

namespace Utils {
// Loads a library by name from the system directory (<Windows>\System32)
// only, and only when that file bears a signature the machine trusts,
// embedded or through a catalog. Null when it is not signed or cannot be
// loaded.
platform::Module LoadMicrosoftSystem32Dll(const std::u16string& dllName);
}  // namespace Utils

// Nonzero if the system's major version is at least 6. The version is read
// from ntdll once per process: a second call answers 0.
int32_t IsVistaOrLater();

// IsVistaOrLater's query on a module slot of the caller's: the slot is
// cleared after the query, whatever it found. For tests.
int32_t QueryVistaOrLater(platform::Module& ntdll);

// Tests only: loads ntdll again, as a fresh process would on its first query.
void ReloadVersionQueryForTesting();
