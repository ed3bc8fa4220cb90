#include "platform/file_identity/file_hold.h"

#include "platform/error_codes.h"

namespace platform {
namespace {

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

bool IsAsciiLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

// The end of the `count`-th separator-delimited component after `from`,
// separator included; the path's length when there are fewer.
size_t AfterComponents(const std::u16string& path, size_t from, int count) {
  for (size_t i = from; i < path.size(); ++i) {
    if (IsSeparator(path[i]) && --count == 0) return i + 1;
  }
  return path.size();
}

bool HasPrefixIgnoringCase(const std::u16string& path, size_t at, const char16_t* prefix) {
  for (size_t i = 0; prefix[i] != 0; ++i) {
    if (at + i >= path.size()) return false;
    char16_t c = path[at + i];
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
    if (c != prefix[i]) return false;
  }
  return true;
}

// The length of the path's root, which is never held: "C:\", a leading "\",
// "\\server\share\", "\\?\C:\", "\\?\UNC\server\share\" (the server and the
// share are no directories), "\\?\Volume{...}\".
size_t RootLength(const std::u16string& path) {
  if (path.size() >= 2 && path[1] == u':') return path.size() >= 3 && IsSeparator(path[2]) ? 3 : 2;
  if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) {
    const bool device = path.size() >= 4 && (path[2] == u'?' || path[2] == u'.') && IsSeparator(path[3]);
    if (device && HasPrefixIgnoringCase(path, 4, u"UNC") && path.size() >= 8 && IsSeparator(path[7])) {
      return AfterComponents(path, 8, 2);
    }
    return AfterComponents(path, 2, 2);
  }
  return !path.empty() && IsSeparator(path[0]) ? 1 : 0;
}

// Whether Windows reads a component of a drive path back as it stands: no
// trimming of dots or blanks, no "." or "..", no stream, no device.
bool IsPlainComponent(const std::u16string& name) {
  if (name.empty() || name.back() == u'.' || name.back() == u' ') return false;
  if (name.find_first_of(u":/") != std::u16string::npos) return false;
  std::u16string base = name.substr(0, name.find(u'.'));
  while (!base.empty() && base.back() == u' ') base.pop_back();
  for (char16_t& c : base) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  }
  if (base == u"CON" || base == u"PRN" || base == u"AUX" || base == u"NUL" || base == u"CONIN$" ||
      base == u"CONOUT$") {
    return false;
  }
  if (base.size() == 4 && (base.compare(0, 3, u"COM") == 0 || base.compare(0, 3, u"LPT") == 0)) {
    const char16_t last = base[3];
    if ((last >= u'0' && last <= u'9') || last == u'\u00B9' || last == u'\u00B2' || last == u'\u00B3') return false;
  }
  return true;
}

}  // namespace

std::u16string PlainFormOf(const std::u16string& finalPath) {
  constexpr size_t kMaxPath = 260;
  std::u16string plain;
  size_t rest = 0;  // where the components start
  if (HasPrefixIgnoringCase(finalPath, 0, u"\\\\?\\UNC\\")) {
    plain = u"\\\\" + finalPath.substr(8);
    rest = AfterComponents(plain, 2, 2);
  } else if (finalPath.size() >= 7 && HasPrefixIgnoringCase(finalPath, 0, u"\\\\?\\") &&
             IsAsciiLetter(finalPath[4]) && finalPath[5] == u':' && finalPath[6] == u'\\') {
    plain = finalPath.substr(4);
    rest = 3;
  } else {
    return finalPath;
  }
  if (plain.size() >= kMaxPath || rest >= plain.size()) return finalPath;
  for (size_t start = rest; start <= plain.size();) {
    size_t end = plain.find(u'\\', start);
    if (end == std::u16string::npos) end = plain.size();
    if (!IsPlainComponent(plain.substr(start, end - start))) return finalPath;
    start = end + 1;
  }
  return plain;
}

std::u16string ParentDirectoryOf(const std::u16string& path) {
  const size_t root = RootLength(path);
  size_t end = path.size();
  while (end > root && IsSeparator(path[end - 1])) --end;  // a trailing separator
  while (end > root && !IsSeparator(path[end - 1])) --end;  // the last component
  while (end > root && IsSeparator(path[end - 1])) --end;  // its separator
  return end > root ? path.substr(0, end) : std::u16string();
}

bool IsAbsoluteWindowsPath(const std::u16string& path) {
  if (path.size() >= 3 && IsAsciiLetter(path[0]) && path[1] == u':' && IsSeparator(path[2])) return true;
  return path.size() >= 3 && IsSeparator(path[0]) && IsSeparator(path[1]) && !IsSeparator(path[2]);
}

bool HeldFile::Fail(uint32_t error) {
  Release();
  error_ = error;
  SetLastErrorCode(error);
  return false;
}

bool HeldFile::Hold(const std::u16string& path) {
  Release();
  error_ = kErrorSuccess;
  files_ = &Service<FileHold>();
  FileHold& files = *files_;
  if (!files.IsAbsolutePath(path)) return Fail(kErrorBadPathname);

  const Handle file = files.OpenEntry(path, FileHold::Entry::kFile);
  if (file == nullptr) return Fail(LastError());
  handles_.push_back(file);
  std::u16string finalPath;
  if (!files.FinalPathOf(file, &finalPath)) return Fail(LastError());

  // Every directory of the final path, from the top down. Opening follows a
  // link, so a directory whose own final path is not its name is a link (or
  // was put there since the file's path was taken): refused.
  std::vector<std::u16string> directories;
  for (std::u16string dir = ParentDirectoryOf(finalPath); !dir.empty(); dir = ParentDirectoryOf(dir)) {
    directories.push_back(dir);
  }
  for (auto dir = directories.rbegin(); dir != directories.rend(); ++dir) {
    const Handle held = files.OpenEntry(*dir, FileHold::Entry::kDirectory);
    if (held == nullptr) return Fail(LastError());
    handles_.push_back(held);
    std::u16string found;
    if (!files.FinalPathOf(held, &found)) return Fail(LastError());
    if (found != *dir) return Fail(kErrorSharingViolation);
  }

  // With every directory pinned, the path handed out must still lead to the
  // held file: a directory renamed and rebuilt before it was held would leave
  // the name leading to another file.
  const std::u16string plainPath = PlainFormOf(finalPath);
  const Handle again = files.OpenEntry(plainPath, FileHold::Entry::kFile);
  if (again == nullptr) return Fail(LastError());
  FileId heldIdentity, namedIdentity;
  const bool known = files.IdentityOf(file, &heldIdentity) && files.IdentityOf(again, &namedIdentity);
  const uint32_t queryError = known ? kErrorSuccess : LastError();
  files.CloseEntry(again);
  if (!known) return Fail(queryError);
  if (heldIdentity != namedIdentity) return Fail(kErrorSharingViolation);

  finalPath_ = plainPath;
  return true;
}

void HeldFile::Release() {
  if (handles_.empty()) return;
  // Closed by the service that opened them, whatever a test installed since.
  for (auto handle = handles_.rbegin(); handle != handles_.rend(); ++handle) files_->CloseEntry(*handle);
  handles_.clear();
  finalPath_.clear();
}

}  // namespace platform
