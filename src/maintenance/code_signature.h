// Authenticode checks of files: who signed a file, and whether a system
// library bears a signature the machine trusts (embedded or through one of
// the system's catalogs).
#pragma once

#include <cstdint>
#include <string>

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
