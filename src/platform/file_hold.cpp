#include "platform/file_hold.h"

namespace platform {
namespace {

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

// The length of the path's root that is never held: "C:\", "\\server\share\"
// or a leading "\" (or "/").
size_t RootLength(const std::u16string& path) {
  if (path.size() >= 2 && path[1] == u':') return path.size() >= 3 && IsSeparator(path[2]) ? 3 : 2;
  if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) {
    size_t separators = 0;
    for (size_t i = 2; i < path.size(); ++i) {
      if (IsSeparator(path[i]) && ++separators == 2) return i + 1;
    }
    return path.size();
  }
  return !path.empty() && IsSeparator(path[0]) ? 1 : 0;
}

}  // namespace

std::u16string ParentDirectoryOf(const std::u16string& path) {
  const size_t root = RootLength(path);
  size_t end = path.size();
  while (end > root && IsSeparator(path[end - 1])) --end;  // a trailing separator
  while (end > root && !IsSeparator(path[end - 1])) --end;  // the last component
  while (end > root && IsSeparator(path[end - 1])) --end;  // its separator
  return end > root ? path.substr(0, end) : std::u16string();
}

}  // namespace platform
