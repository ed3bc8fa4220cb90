// Files and directories with the contracts of the Windows calls: paths come
// in Windows form, names match without regard to ASCII case, failures carry
// the Windows error codes. Listing, attributes and removal: entries_posix.cpp.
#include "platform/files/files_posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "platform/files/posix_case_index.h"
#include "platform/files/posix_listing_cache.h"
#include "platform/posix_translation.h"
#include "platform/text/unicode.h"

namespace platform {

template <>
Files& NativeService<Files>() {
  static PosixFiles instance;
  return instance;
}

namespace {

using posix::MapErrno;
using posix::SetError;

std::string ParentOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return std::string();
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

std::string NameOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Stats a Windows path (following a link, as PathFileExistsW does): as
// written first, and with its letter case resolved only when nothing is
// there. False with the last error set.
bool StatWindowsPath(const std::u16string& path, struct stat* st) {
  std::string p;
  if (!posix::ToPosixPath(path, &p)) return false;
  int err = ::stat(p.c_str(), st) == 0 ? 0 : errno;
  if (err == ENOENT || err == ENOTDIR) {
    std::string resolved = posix::ResolveCase(p);
    if (resolved != p) {
      p = std::move(resolved);
      err = ::stat(p.c_str(), st) == 0 ? 0 : errno;
    }
  }
  if (err != 0) {
    SetError(MapErrno(err, p));
    return false;
  }
  SetError(kErrorSuccess);
  return true;
}

}  // namespace

bool PosixFiles::PathExists(const std::u16string& path) {
  struct stat st;
  return StatWindowsPath(path, &st);
}

bool PosixFiles::PathIsDir(const std::u16string& path) {
  struct stat st;
  return StatWindowsPath(path, &st) && S_ISDIR(st.st_mode);
}

int32_t PosixFiles::MakeDirectoryTree(const std::u16string& path) {
  std::string p;
  if (!posix::ResolvePath(path, &p)) return static_cast<int32_t>(kErrorPathNotFound);
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  struct stat st;
  if (::stat(p.c_str(), &st) == 0) {
    SetError(kErrorAlreadyExists);
    return static_cast<int32_t>(kErrorAlreadyExists);
  }
  // Create each missing level from the top; ResolveCase has already given
  // the existing levels their letter case.
  size_t pos = p[0] == '/' ? 1 : 0;
  while (true) {
    const size_t slash = p.find('/', pos);
    const std::string prefix = slash == std::string::npos ? p : p.substr(0, slash);
    if (!prefix.empty() && ::mkdir(prefix.c_str(), 0777) == 0) {
      posix::NoteNameAdded(prefix);
    } else if (!prefix.empty()) {
      const int err = errno;
      const bool last = slash == std::string::npos;
      if (err == EEXIST && ::stat(prefix.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        if (last) {  // made by someone else in the meantime
          SetError(kErrorAlreadyExists);
          return static_cast<int32_t>(kErrorAlreadyExists);
        }
      } else {
        // A file where a directory should be is a path that cannot be found.
        const uint32_t code = err == EEXIST && !last ? kErrorPathNotFound
                              : err == EEXIST        ? kErrorAlreadyExists
                                                     : MapErrno(err, prefix, true);
        SetError(code);
        return static_cast<int32_t>(code);
      }
    }
    if (slash == std::string::npos) break;
    pos = slash + 1;
  }
  SetError(kErrorSuccess);
  return 0;
}

bool PosixFiles::MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) {
  std::string src, dst, dstAsWritten;
  if (!posix::ResolvePath(from, &src) || !posix::ToPosixPath(to, &dstAsWritten)) return false;
  dst = posix::ResolveCase(dstAsWritten);
  struct stat ss, ds;
  if (::lstat(src.c_str(), &ss) != 0) {
    SetError(MapErrno(errno, src));
    return false;
  }
  const bool replace = (flags & kMoveFileReplaceExisting) != 0;
  int rc;
  if (::lstat(dst.c_str(), &ds) == 0) {
    if (ss.st_dev == ds.st_dev && ss.st_ino == ds.st_ino) {
      // The same file named in another letter case: a rename of the case.
      const std::string parent = ParentOf(dst);
      const std::string name = NameOf(dstAsWritten);
      dst = parent.empty() ? name : parent == "/" ? "/" + name : parent + "/" + name;
      if (dst == src) {
        SetError(kErrorSuccess);
        return true;
      }
      rc = ::rename(src.c_str(), dst.c_str());
    } else if (!replace) {
      SetError(kErrorAlreadyExists);
      return false;
    } else if (S_ISDIR(ds.st_mode) || S_ISDIR(ss.st_mode)) {
      // Windows replaces files only; a directory on either side is refused.
      SetError(kErrorAccessDenied);
      return false;
    } else {
      rc = ::rename(src.c_str(), dst.c_str());
    }
  } else if (!replace) {
    rc = ::renameat2(AT_FDCWD, src.c_str(), AT_FDCWD, dst.c_str(), RENAME_NOREPLACE);
    if (rc != 0 && (errno == EINVAL || errno == ENOSYS)) rc = ::rename(src.c_str(), dst.c_str());
  } else {
    rc = ::rename(src.c_str(), dst.c_str());
  }
  if (rc != 0) {
    const int err = errno;
    SetError(err == EEXIST || err == ENOTEMPTY ? kErrorAlreadyExists : MapErrno(err, dst, true));
    return false;
  }
  posix::NoteNameRemoved(src);
  posix::NoteNameAdded(dst);
  // Listings that held either name, or lie below it, no longer tell the truth.
  posix::Listings().Forget(from);
  posix::Listings().Forget(to);
  SetError(kErrorSuccess);
  return true;
}

std::FILE* PosixFiles::OpenStream(const std::u16string& path, const char* mode) {
  std::string p;
  if (!posix::ResolvePath(path, &p)) return nullptr;
  const std::string m(mode);
  const bool append = m.find('a') != std::string::npos;
  const bool write = append || m.find('w') != std::string::npos;
  const bool update = m.find('+') != std::string::npos;
  int flags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  flags |= update ? O_RDWR : write ? O_WRONLY : O_RDONLY;
  if (write) flags |= O_CREAT;
  if (append) flags |= O_APPEND;
  // A link that leads nowhere is no file to write either: O_CREAT would
  // make its target somewhere else.
  struct stat link;
  if (write && ::lstat(p.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
    struct stat target;
    if (::stat(p.c_str(), &target) != 0) {
      SetError(kErrorFileNotFound);
      return nullptr;
    }
  }
  // O_NONBLOCK: opening a FIFO must not wait for its other end. Truncation
  // comes only after the check below, so nothing but a regular file is ever
  // cut.
  const int fd = ::open(p.c_str(), flags, 0666);
  if (fd < 0) {
    // A FIFO without a reader refuses a writer with ENXIO: not a file either.
    SetError(errno == ENXIO ? kErrorAccessDenied : MapErrno(errno, p));
    return nullptr;
  }
  if (write) posix::NoteNameAdded(p);
  // _wfopen opens files only: a directory, FIFO, socket or device is
  // refused as access denied, as CreateFileW refuses a directory.
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    SetError(kErrorAccessDenied);
    return nullptr;
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  if (write && !append && ::ftruncate(fd, 0) != 0) {
    const int err = errno;
    ::close(fd);
    SetError(MapErrno(err, p));
    return nullptr;
  }
  std::FILE* stream = ::fdopen(fd, mode);
  if (stream == nullptr) {
    const int err = errno;
    ::close(fd);
    SetError(MapErrno(err, p));
    return nullptr;
  }
  SetError(kErrorSuccess);
  return stream;
}

bool PosixFiles::AppendShared(std::FILE* stream, const std::string& bytes) {
  // The stream's buffer may be smaller than the piece, and stdio would then
  // split it over several writes. One write(2) on a descriptor opened with
  // O_APPEND lands whole at the end of a regular file.
  if (std::fflush(stream) != 0) return false;
  const int fd = ::fileno(stream);
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace platform
