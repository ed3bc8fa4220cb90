// The Linux backend's thread last error, its errno mapping and the path
// translation that every file-system operation goes through.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/files/posix_case_index.h"
#include "platform/posix_translation.h"
#include "platform/text/unicode.h"

namespace platform {

namespace posix {

uint32_t& ThreadLastError() {
  static thread_local uint32_t lastError = 0;
  return lastError;
}

bool ParentExists(const std::string& posixPath) {
  std::string path = posixPath;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return true;  // relative to the current directory
  const std::string parent = slash == 0 ? std::string("/") : path.substr(0, slash);
  struct stat st;
  return ::stat(parent.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

uint32_t MapErrno(int err, const std::string& posixPath, bool isDirectory) {
  switch (err) {
    case 0:
      return kErrorSuccess;
    case ENOENT:
      return posixPath.empty() || ParentExists(posixPath) ? kErrorFileNotFound : kErrorPathNotFound;
    case ENOTDIR:
      return kErrorPathNotFound;
    case EACCES:
    case EPERM:
    case EISDIR:
      return kErrorAccessDenied;
    case EEXIST:
      return isDirectory ? kErrorAlreadyExists : kErrorFileExists;
    case ENOTEMPTY:
      return kErrorDirNotEmpty;
    case EBUSY:
    case ETXTBSY:
      return kErrorSharingViolation;
    case ENAMETOOLONG:
      return kErrorFilenameExcedRange;
    case ENOEXEC:
      return kErrorBadExeFormat;
    case EXDEV:
      return kErrorNotSameDevice;
    case ENOMEM:
      return kErrorNotEnoughMemory;
    case EINVAL:
      return kErrorInvalidParameter;
    case EBADF:
      return kErrorInvalidHandle;
    case EMFILE:
    case ENFILE:
      return kErrorTooManyOpenFiles;
    case ENOSPC:
    case EDQUOT:
      return kErrorDiskFull;
    case EROFS:
      return kErrorWriteProtect;
    case ELOOP:
      return kErrorCantResolveFilename;
    default:
      return kErrorGenFailure;
  }
}

bool ToPosixPath(const std::u16string& path, std::string* out) {
  if (path.size() >= 2 && path[1] == u':' &&
      ((path[0] >= u'A' && path[0] <= u'Z') || (path[0] >= u'a' && path[0] <= u'z'))) {
    SetError(kErrorPathNotFound);
    return false;
  }
  std::u16string slashed = path;
  for (char16_t& c : slashed) {
    if (c == u'\\') c = u'/';
  }
  *out = Utf16ToUtf8(slashed);
  return true;
}

std::u16string FromPosixPath(const std::string& path) {
  std::u16string wide = Utf8ToUtf16(path);
  for (char16_t& c : wide) {
    if (c == u'/') c = u'\\';
  }
  return wide;
}

namespace {

// Resolves `path` (no trailing slash) and tells whether the result exists;
// when it does, `state` is what an lstat of the result answered, or has its
// mode cleared where no lstat of the result was made.
std::string ResolveExisting(const std::string& path, bool* exists, struct stat* state) {
  if (::lstat(path.c_str(), state) == 0) {
    *exists = true;
    return path;
  }
  *exists = false;
  state->st_mode = 0;
  const size_t slash = path.rfind('/');
  std::string parent;
  std::string name;
  if (slash == std::string::npos) {
    name = path;
  } else {
    parent = slash == 0 ? std::string("/") : path.substr(0, slash);
    name = path.substr(slash + 1);
  }
  if (name.empty() || name == "." || name == "..") return path;

  std::string resolvedParent = parent;
  struct stat parentState;
  parentState.st_mode = 0;
  if (!parent.empty()) {
    bool parentExists = false;
    resolvedParent = ResolveExisting(parent, &parentExists, &parentState);
    if (!parentExists) return resolvedParent + "/" + name;
  }
  const std::string joined = resolvedParent.empty()  ? name
                             : resolvedParent == "/" ? "/" + name
                                                     : resolvedParent + "/" + name;
  if (resolvedParent != parent && ::lstat(joined.c_str(), state) == 0) {
    *exists = true;
    return joined;
  }
  std::string match;
  // The parent's lstat, when it names a directory itself (no link), is its
  // state for the lookup.
  if (!FindNameIgnoringCase(resolvedParent, name, &match, S_ISDIR(parentState.st_mode) ? &parentState : nullptr)) {
    state->st_mode = 0;
    return joined;
  }
  *exists = true;
  state->st_mode = 0;
  return resolvedParent.empty() ? match : resolvedParent == "/" ? "/" + match : resolvedParent + "/" + match;
}

// ResolveCase, telling whether the result exists now.
std::string ResolveCaseAndLook(const std::string& path, bool* exists) {
  *exists = false;
  if (path.empty()) return path;
  size_t end = path.size();
  while (end > 1 && path[end - 1] == '/') --end;
  const std::string trailing = path.substr(end);
  struct stat state;
  return ResolveExisting(path.substr(0, end), exists, &state) + trailing;
}

}  // namespace

std::string ResolveCase(const std::string& path) {
  bool exists = false;
  return ResolveCaseAndLook(path, &exists);
}

bool ResolvePath(const std::u16string& path, std::string* out) {
  bool exists = false;
  return ResolvePath(path, out, &exists);
}

bool ResolvePath(const std::u16string& path, std::string* out, bool* exists) {
  *exists = false;
  if (!ToPosixPath(path, out)) return false;
  *out = ResolveCaseAndLook(*out, exists);
  return true;
}

uint32_t AttributesOf(const struct stat& st) {
  uint32_t attributes = 0;
  if (S_ISDIR(st.st_mode)) attributes |= kFileAttributeDirectory;
  if ((st.st_mode & S_IWUSR) == 0) attributes |= kFileAttributeReadOnly;
  return attributes == 0 ? kFileAttributeNormal : attributes;
}

bool EntryAttributes(int dirfd, const char* name, uint32_t* attributes) {
  struct stat st;
  if (::fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
  if (!S_ISLNK(st.st_mode)) {
    *attributes = AttributesOf(st);
    return true;
  }
  // A link has no permissions of its own here, so no read-only bit; whether it
  // counts as a directory link follows from what it leads to now (a link that
  // leads nowhere is a file link).
  struct stat target;
  const bool toDirectory = ::fstatat(dirfd, name, &target, 0) == 0 && S_ISDIR(target.st_mode);
  *attributes = kFileAttributeReparsePoint | (toDirectory ? kFileAttributeDirectory : 0u);
  return true;
}

}  // namespace posix
}  // namespace platform
