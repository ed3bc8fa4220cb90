// Directory entries with the contracts of the Windows calls: listing,
// attributes and removal. A walk lists a directory and then reaches each entry
// by path, so the latest listings are kept (posix_listing_cache.h): a path
// they hold under its exact name needs no lookup and no second stat. Any other
// path is tried as written first; only when nothing is there is each missing
// component looked up without regard to ASCII case.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/files/files_posix.h"
#include "platform/files/posix_case_index.h"
#include "platform/files/posix_listing_cache.h"
#include "platform/posix_translation.h"
#include "platform/text/unicode.h"

namespace platform {
namespace {

using posix::Listings;
using posix::MapErrno;
using posix::SetError;

// '*' any run, '?' one unit; ASCII case folded. "*.*" matches every name,
// as it does on Windows.
bool MatchPattern(const std::u16string& pattern, const std::u16string& name) {
  if (pattern == u"*.*") return true;
  size_t p = 0, n = 0, starP = std::u16string::npos, starN = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == u'*') {
      starP = p++;
      starN = n;
    } else if (p < pattern.size() &&
               (pattern[p] == u'?' || posix::FoldAscii(pattern[p]) == posix::FoldAscii(name[n]))) {
      ++p;
      ++n;
    } else if (starP != std::u16string::npos) {
      p = starP + 1;
      n = ++starN;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

// NTFS orders a directory by names mapped to upper case, so '_' (0x5F)
// comes after the letters: "1B" before "1_". Compared in place.
bool UpperNameLess(const std::u16string& a, const std::u16string& b) {
  const auto upper = [](char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - (u'a' - u'A')) : c; };
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (upper(a[i]) != upper(b[i])) return upper(a[i]) < upper(b[i]);
  }
  return a.size() < b.size();
}

// Runs `op` (0 or an errno value) on the path as written and, when nothing is
// there (ENOENT, ENOTDIR), once more with the letter case of its components
// resolved, if that spelling differs. `used` is the path of the last try;
// false (last error 3) for a path that has no POSIX form.
template <class Op>
bool ExactThenResolved(const std::u16string& path, std::string* used, int* err, Op op) {
  if (!posix::ToPosixPath(path, used)) return false;
  *err = op(*used);
  if (*err == ENOENT || *err == ENOTDIR) {
    std::string resolved = posix::ResolveCase(*used);
    if (resolved != *used) {
      *used = std::move(resolved);
      *err = op(*used);
    }
  }
  return true;
}

int Unlink(const std::string& p) { return ::unlink(p.c_str()) == 0 ? 0 : errno; }

// RemoveDirectoryW removes a junction or directory link itself, never what it
// leads to; rmdir refuses a link, so the link is unlinked. Relative to `dirFd`
// (AT_FDCWD for a whole path).
int RemoveDirectoryOrLink(int dirFd, const char* name) {
  if (::unlinkat(dirFd, name, AT_REMOVEDIR) == 0) return 0;
  const int err = errno;
  uint32_t attributes = 0;
  if (err == ENOTDIR && posix::EntryAttributes(dirFd, name, &attributes) &&
      attributes == (kFileAttributeReparsePoint | kFileAttributeDirectory)) {
    return ::unlinkat(dirFd, name, 0) == 0 ? 0 : errno;
  }
  return err;
}

int RemoveDirectoryAt(const std::string& p) { return RemoveDirectoryOrLink(AT_FDCWD, p.c_str()); }

// The entry's attributes as GetFileAttributesW gives them (a link itself).
int AttributesAt(const std::string& p, uint32_t* attributes) {
  return posix::EntryAttributes(AT_FDCWD, p.c_str(), attributes) ? 0 : errno;
}

}  // namespace

bool PosixFiles::DeleteOneFile(const std::u16string& path) {
  posix::ListedPlace place;
  int err = ENOENT;
  if (Listings().Find(path, &place)) err = ::unlinkat(place.dirFd, place.name.c_str(), 0) == 0 ? 0 : errno;
  std::string p = place.posixPath;
  if ((err == ENOENT || err == ENOTDIR) && !ExactThenResolved(path, &p, &err, Unlink)) return false;
  if (err != 0) {
    SetError(MapErrno(err, p));
    return false;
  }
  posix::NoteNameRemoved(p);
  Listings().Forget(path);
  SetError(kErrorSuccess);
  return true;
}

bool PosixFiles::RemoveOneDirectory(const std::u16string& path) {
  posix::ListedPlace place;
  int err = ENOENT;
  if (Listings().Find(path, &place)) err = RemoveDirectoryOrLink(place.dirFd, place.name.c_str());
  std::string p = place.posixPath;
  if ((err == ENOENT || err == ENOTDIR) && !ExactThenResolved(path, &p, &err, RemoveDirectoryAt)) return false;
  if (err != 0) {
    SetError(err == EEXIST || err == ENOTEMPTY ? kErrorDirNotEmpty
             : err == ENOTDIR                  ? posix::kErrorDirectory
                                               : MapErrno(err, p));
    return false;
  }
  posix::NoteNameRemoved(p);
  Listings().Forget(path);
  SetError(kErrorSuccess);
  return true;
}

bool PosixFiles::FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) {
  const size_t cut = pattern.rfind(u'\\');
  const std::u16string dirPart = cut == std::u16string::npos ? u"." : pattern.substr(0, cut == 0 ? 1 : cut);
  const std::u16string namePattern = cut == std::u16string::npos ? pattern : pattern.substr(cut + 1);
  DIR* dir = nullptr;
  // Opens the directory relative to `at`; 0 or an errno value.
  auto openAt = [&dir](int at, const char* name) {
    const int fd = ::openat(at, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return errno;
    dir = ::fdopendir(fd);
    if (dir != nullptr) return 0;
    const int err = errno;
    ::close(fd);
    return err;
  };
  posix::ListedPlace place;
  int err = ENOENT;
  if (Listings().FindDirectory(dirPart, &place)) err = openAt(place.dirFd, place.name.c_str());
  std::string dirPath = place.posixPath;
  const auto open = [&openAt](const std::string& p) { return openAt(AT_FDCWD, p.c_str()); };
  if ((err == ENOENT || err == ENOTDIR) && !ExactThenResolved(dirPart, &dirPath, &err, open)) return false;
  if (dir == nullptr) {
    SetError(err == ENOENT ? kErrorPathNotFound : MapErrno(err, dirPath));
    return false;
  }
  std::vector<DirEntry> found;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    // A Linux name with a backslash has no Windows spelling: the core would
    // read it as two components, so it is not listed.
    if (name.find('\\') != std::string::npos) continue;
    DirEntry item;
    item.name = Utf8ToUtf16(name);
    if (!MatchPattern(namePattern, item.name)) continue;
    // One look at the entry itself, relative to the open directory: the
    // read-only bit is in no directory record, and a link is listed as the
    // link it is, never as what it leads to, so a walk that deletes never
    // goes through it.
    if (!posix::EntryAttributes(::dirfd(dir), entry->d_name, &item.attributes)) {
      item.attributes = kFileAttributeNormal;
    }
    found.push_back(std::move(item));
  }
  if (found.empty()) {
    ::closedir(dir);
    SetError(kErrorFileNotFound);
    return false;
  }
  // NTFS lists names in upper-case order; "." and ".." come first.
  std::sort(found.begin(), found.end(), [](const DirEntry& a, const DirEntry& b) {
    const int ra = a.name == u"." ? 0 : a.name == u".." ? 1 : 2;
    const int rb = b.name == u"." ? 0 : b.name == u".." ? 1 : 2;
    if (ra != rb) return ra < rb;
    return UpperNameLess(a.name, b.name);
  });
  // The directory stays open with its listing: its entries are reached
  // relative to it from now on.
  Listings().Remember(dirPart, dirPath, dir, found);
  *entries = std::move(found);
  SetError(kErrorSuccess);
  return true;
}

uint32_t PosixFiles::GetAttributes(const std::u16string& path) {
  posix::ListedPlace place;
  std::string p;
  uint32_t attributes = 0;
  // GetFileAttributesW answers for a link itself, not for what it leads to.
  if (Listings().Find(path, &place)) {
    attributes = place.attributes;
  } else {
    int err = 0;
    const auto look = [&attributes](const std::string& q) { return AttributesAt(q, &attributes); };
    if (!ExactThenResolved(path, &p, &err, look)) return 0xFFFFFFFFu;
    if (err != 0) {
      SetError(MapErrno(err, p));
      return 0xFFFFFFFFu;
    }
  }
  SetError(kErrorSuccess);
  return attributes;
}

bool PosixFiles::SetAttributes(const std::u16string& path, uint32_t attributes) {
  // Of the attributes only the read-only bit means something here; when the
  // entry just listed has it as asked, or is a link, nothing changes.
  posix::ListedPlace place;
  const bool listed = Listings().Find(path, &place);
  if (listed && ((place.attributes & kFileAttributeReparsePoint) != 0 ||
                 (place.attributes & kFileAttributeReadOnly) == (attributes & kFileAttributeReadOnly))) {
    SetError(kErrorSuccess);
    return true;
  }
  const auto change = [attributes](const std::string& q) {
    struct stat st;
    if (::lstat(q.c_str(), &st) != 0) return errno;
    // A link has no permissions of its own here, and chmod would change what
    // it leads to, which may lie anywhere: the link stays as it is.
    if (S_ISLNK(st.st_mode)) return 0;
    const mode_t mode = (attributes & kFileAttributeReadOnly) != 0 ? (st.st_mode & ~(S_IWUSR | S_IWGRP | S_IWOTH))
                                                                   : (st.st_mode | S_IWUSR);
    if (mode == st.st_mode) return 0;
    return ::chmod(q.c_str(), mode & 07777) == 0 ? 0 : errno;
  };
  std::string p;
  int err = 0;
  if (!ExactThenResolved(path, &p, &err, change)) return false;
  if (err != 0) {
    SetError(MapErrno(err, p));
    return false;
  }
  if (listed) {
    // "Normal" stands only where no other attribute is set.
    uint32_t now = place.attributes & ~(kFileAttributeReadOnly | kFileAttributeNormal);
    now |= attributes & kFileAttributeReadOnly;
    Listings().Update(path, now == 0 ? kFileAttributeNormal : now);
  }
  SetError(kErrorSuccess);
  return true;
}

}  // namespace platform
