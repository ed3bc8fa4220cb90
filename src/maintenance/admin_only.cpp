#include "maintenance/admin_only.h"

#include <vector>

#include "base/format.h"
#include "platform/error_codes.h"

namespace {

// The trustees that may change what the elevated task runs.
constexpr const char16_t* kTrusted[] = {
    u"S-1-5-32-544",  // BUILTIN\Administrators
    u"S-1-5-18",      // NT AUTHORITY\SYSTEM
    u"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",  // NT SERVICE\TrustedInstaller
};

// ACE types that grant: plain and callback entries carry their trustee at the
// common place; compound and object entries do not, and no file carries them.
constexpr uint8_t kAllowTypes[] = {0x0, 0x9};
constexpr uint8_t kOtherAllowTypes[] = {0x4, 0x5, 0xB};

bool IsTrusted(const std::u16string& sid) {
  for (const char16_t* trusted : kTrusted) {
    if (sid == trusted) return true;
  }
  return false;
}

template <size_t N>
bool IsOneOf(uint8_t type, const uint8_t (&types)[N]) {
  for (uint8_t t : types) {
    if (t == type) return true;
  }
  return false;
}

std::u16string RightNames(uint32_t rights) {
  static const struct { uint32_t bit; const char16_t* name; } kNames[] = {
      {0x2, u"write"}, {0x4, u"append"}, {0x10000, u"delete"}, {0x40, u"delete a child"},
      {0x40000, u"change permissions"}, {0x80000, u"take ownership"}};
  std::u16string names;
  for (const auto& n : kNames) {
    if ((rights & n.bit) == 0) continue;
    if (!names.empty()) names += u", ";
    names += n.name;
  }
  return names;
}

struct Level {
  std::u16string path;
  uint32_t forbidden;
};

// The entries from `path` up to its root, the first `strictLevels` of them
// with the holder's rules. False when the path is not a plain full path.
bool SplitChain(const std::u16string& path, size_t strictLevels, std::vector<Level>* levels) {
  size_t rootEnd = 0;  // the root keeps its separator: "C:\", "\\server\share\", "\"
  if (path.size() >= 3 && path[1] == u':' && path[2] == u'\\') {
    rootEnd = 3;
  } else if (path.rfind(u"\\\\", 0) == 0) {
    const size_t server = path.find(u'\\', 2);
    const size_t share = server == std::u16string::npos ? server : path.find(u'\\', server + 1);
    if (server == 2 || share == std::u16string::npos || share == server + 1) return false;
    rootEnd = share + 1;
  } else if (path.rfind(u"\\", 0) == 0) {
    rootEnd = 1;
  } else {
    return false;
  }
  std::u16string rest = path.substr(rootEnd);
  if (!rest.empty() && rest.back() == u'\\') rest.pop_back();
  if (rest.empty() || rest.find(u'/') != std::u16string::npos) return false;
  std::vector<std::u16string> prefixes;
  for (size_t start = 0;;) {
    const size_t end = rest.find(u'\\', start);
    const std::u16string name = rest.substr(start, end == std::u16string::npos ? end : end - start);
    if (name.empty() || name == u"." || name == u"..") return false;
    prefixes.push_back(path.substr(0, rootEnd) + rest.substr(0, end));
    if (end == std::u16string::npos) break;
    start = end + 1;
  }
  prefixes.insert(prefixes.begin(), path.substr(0, rootEnd));
  levels->clear();
  for (size_t i = prefixes.size(); i-- > 0;) {
    levels->push_back({prefixes[i], levels->size() < strictLevels ? kForbiddenOnHolder : kForbiddenAbove});
  }
  return true;
}

bool CheckChain(const std::u16string& path, size_t strictLevels, std::u16string* reason) {
  std::vector<Level> levels;
  if (!SplitChain(path, strictLevels, &levels)) {
    *reason = FormatWideString(u"'%s' is not a plain full path", path);
    return false;
  }
  platform::ProtectedFiles& files = platform::Service<platform::ProtectedFiles>();
  for (const Level& level : levels) {
    platform::FileSecurity security;
    if (!files.ReadSecurity(level.path, &security)) {
      *reason = FormatWideString(u"'%s' cannot be read, error=%d", level.path, platform::LastError());
      return false;
    }
    std::u16string why;
    if (!PassesAdminOnly(security, level.forbidden, &why)) {
      *reason = FormatWideString(u"'%s' %s", level.path, why);
      return false;
    }
  }
  return true;
}

}  // namespace

uint32_t MapGenericFileRights(uint32_t mask) {
  if (mask & 0x80000000u) mask |= 0x120089;  // FILE_GENERIC_READ
  if (mask & 0x40000000u) mask |= 0x120116;  // FILE_GENERIC_WRITE
  if (mask & 0x20000000u) mask |= 0x1200A0;  // FILE_GENERIC_EXECUTE
  if (mask & 0x10000000u) mask |= 0x1F01FF;  // FILE_ALL_ACCESS
  return mask & 0x0FFFFFFFu;
}

bool PassesAdminOnly(const platform::FileSecurity& security, uint32_t forbidden, std::u16string* reason) {
  if (security.attributes & platform::kFileAttributeReparsePoint) {
    *reason = u"is a link";
    return false;
  }
  if (!IsTrusted(security.owner)) {
    *reason = u"is owned by " + security.owner;
    return false;
  }
  if (!security.hasDacl) {
    *reason = u"has no access list";
    return false;
  }
  for (const platform::AccessEntry& entry : security.entries) {
    if (entry.flags & platform::kInheritOnlyAce) continue;
    if (IsOneOf(entry.type, kOtherAllowTypes)) {
      *reason = FormatWideString(u"has an access entry of type %d", entry.type);
      return false;
    }
    if (!IsOneOf(entry.type, kAllowTypes) || IsTrusted(entry.sid)) continue;
    const uint32_t granted = MapGenericFileRights(entry.mask) & forbidden;
    if (granted != 0) {
      *reason = FormatWideString(u"lets %s %s", entry.sid, RightNames(granted));
      return false;
    }
  }
  return true;
}

bool IsAdministratorsOnlyFile(const std::u16string& filePath, std::u16string* reason) {
  return CheckChain(filePath, 2, reason);
}

bool IsAdministratorsOnlyDirectory(const std::u16string& dirPath, std::u16string* reason) {
  return CheckChain(dirPath, 1, reason);
}
