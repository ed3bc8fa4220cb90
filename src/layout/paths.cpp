#include "layout/paths.h"

#include "platform/files/files.h"
#include "platform/system/environment.h"

namespace {

constexpr size_t kModulePathBuffer = 2048;

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

}  // namespace

std::u16string GetModuleFilePath() {
  std::u16string path = platform::Service<platform::Environment>().ModuleFilePath();
  // The buffer holds 2048 characters with the terminator: at most 2047 stay.
  if (path.size() > kModulePathBuffer - 1) path.resize(kModulePathBuffer - 1);
  return path;
}

// A component starts behind a '\', '/' or ':' that is followed by something
// other than another separator or the end, so trailing separators stay with
// the last name.
size_t FindFileNameOffset(const std::u16string& path) {
  size_t offset = 0;
  for (size_t i = 0; i < path.size(); ++i) {
    const char16_t c = path[i];
    if ((IsSeparator(c) || c == u':') && i + 1 < path.size() && !IsSeparator(path[i + 1])) offset = i + 1;
  }
  return offset;
}

// The last dot starts the extension, unless a blank or a backslash follows it
// (an extension holds neither).
size_t FindExtensionOffset(const std::u16string& name) {
  size_t dot = name.size();
  for (size_t i = 0; i < name.size(); ++i) {
    const char16_t c = name[i];
    if (c == u'.') {
      dot = i;
    } else if (c == u' ' || c == u'\\') {
      dot = name.size();
    }
  }
  return dot;
}

std::u16string GetDirectoryPart(const std::u16string& path) {
  const size_t name = FindFileNameOffset(path);
  if (name == 0) return std::u16string();
  return path.substr(0, name);
}

std::u16string GetFileNamePart(const std::u16string& path, bool keepExtension) {
  const size_t nameOffset = FindFileNameOffset(path);
  if (nameOffset >= path.size()) return path;
  std::u16string name = path.substr(nameOffset);
  const size_t ext = FindExtensionOffset(name);
  while (!name.empty() && IsSeparator(name.back())) name.pop_back();
  if (!keepExtension && ext < name.size()) name.resize(ext);
  return name;
}

std::u16string EnsureTrailingSeparator(const std::u16string& path) {
  if (path.empty() || IsSeparator(path.back())) return path;
  return path + u'\\';
}

std::u16string JoinPath(const std::u16string& base, const std::u16string& relative) {
  return EnsureTrailingSeparator(base) + relative;
}

std::u16string GetEnvironmentString(const std::u16string& name) {
  std::u16string value;
  if (!platform::Service<platform::Environment>().GetEnv(name, &value)) return std::u16string();
  // A fixed buffer reads the value up to its first NUL.
  const size_t nul = value.find(u'\0');
  if (nul != std::u16string::npos) value.resize(nul);
  return value;
}

std::u16string BuildSubPath(const std::u16string& base, const std::u16string& sub, bool create) {
  std::u16string dir = EnsureTrailingSeparator(base);
  if (sub.empty()) return dir;
  dir = JoinPath(dir, sub);
  if (create) {
    auto& files = platform::Service<platform::Files>();
    if (!files.PathIsDir(dir)) {
      files.MakeDirectoryTree(dir);  // its result is not needed: the test below decides
      if (!files.PathIsDir(dir)) return std::u16string();
    }
  }
  return EnsureTrailingSeparator(dir);
}

std::u16string GetLocalAppDataPath(const std::u16string& sub, bool create) {
  return BuildSubPath(GetEnvironmentString(u"LOCALAPPDATA"), sub, create);
}

std::u16string GetRoamingAppDataPath(const std::u16string& sub, bool create) {
  return BuildSubPath(GetEnvironmentString(u"APPDATA"), sub, create);
}
