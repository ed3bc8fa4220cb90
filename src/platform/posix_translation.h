// What the Linux backends share: the translation between the core's Windows
// terms and Linux ones. Internal to src/platform.
//
// The core speaks Windows paths and Windows error codes; the backends turn
// '\' into '/' on the way out and '/' into '\' on the way in, matches names
// without regard to ASCII case as Windows does, and maps errno values to the
// Windows codes the corresponding Windows call would have reported.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/text/ascii.h"
#include "platform/types.h"

namespace platform {

// Helpers shared by the backend's source files.
namespace posix {

// Windows codes this backend produces beyond those in types.h.
enum : uint32_t {
  kErrorTooManyOpenFiles = 4,
  kErrorInvalidData = 13,
  kErrorNotSameDevice = 17,
  kErrorWriteProtect = 19,
  kErrorGenFailure = 31,
  kErrorDiskFull = 112,
  kErrorEnvvarNotFound = 203,
  kErrorDirectory = 267,
  kErrorCantResolveFilename = 1921,
};

// The calling thread's last error (GetLastError / SetLastError).
uint32_t& ThreadLastError();
inline void SetError(uint32_t code) { ThreadLastError() = code; }

// errno to a Windows code. ENOENT gives 3 when `posixPath`'s parent
// directory is missing, else 2; EEXIST gives 183 or 80 per `isDirectory`.
uint32_t MapErrno(int err, const std::string& posixPath = std::string(), bool isDirectory = false);

using platform::EqualsIgnoreAsciiCase;
using platform::FoldAscii;

// A Windows path in POSIX form: UTF-8, '\' turned into '/'. False (last
// error 3) for a drive-letter path, which has no meaning here.
bool ToPosixPath(const std::u16string& path, std::string* out);

// A POSIX path (or any text from the system) in Windows form.
std::u16string FromPosixPath(const std::string& path);

// Resolves the letter case of a POSIX path: when the path does not exist as
// written, each missing component is looked up in its parent without regard
// to ASCII case. Components that match nothing stay as written, so a file
// about to be created keeps the case it was given.
std::string ResolveCase(const std::string& path);

// ToPosixPath followed by ResolveCase.
bool ResolvePath(const std::u16string& path, std::string* out);

// The same, and whether the resolved path exists now (as a link, file,
// directory or anything else): the resolution has just looked.
bool ResolvePath(const std::u16string& path, std::string* out, bool* exists);

// True if the parent directory of `posixPath` exists (decides 2 against 3).
bool ParentExists(const std::string& posixPath);

// The Windows attributes of a stat result.
uint32_t AttributesOf(const struct stat& st);

// The attributes of `name` relative to `dirfd` (AT_FDCWD for a path) as
// Windows reports the entry itself, without following a symbolic link: a link
// is kFileAttributeReparsePoint, with kFileAttributeDirectory added when it
// leads to a directory, as Windows reports a junction or a directory link.
// False with errno set when the entry cannot be looked at.
bool EntryAttributes(int dirfd, const char* name, uint32_t* attributes);

}  // namespace posix
}  // namespace platform
