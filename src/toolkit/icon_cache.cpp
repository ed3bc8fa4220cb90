#include "toolkit/icon_cache.h"

#include <string>
#include <vector>

#include "base/log.h"
#include "layout/paths.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/shell/shell_notify.h"
#include "platform/text/ascii.h"

namespace {

constexpr char16_t kRootCache[] = u"IconCache.db";
constexpr char16_t kExplorerDir[] = u"Microsoft\\Windows\\Explorer";
constexpr char16_t kCachePrefix[] = u"iconcache_";
constexpr char16_t kCacheSuffix[] = u".db";

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() && platform::EqualsIgnoreAsciiCase(a, b);
}

// "iconcache_*.db", case ignored as the shell's own names vary in case.
bool IsExplorerCacheName(const std::u16string& name) {
  const std::u16string_view prefix(kCachePrefix), suffix(kCacheSuffix);
  const std::u16string_view view(name);
  return view.size() >= prefix.size() + suffix.size() && EqualsNoCase(view.substr(0, prefix.size()), prefix) &&
         EqualsNoCase(view.substr(view.size() - suffix.size()), suffix);
}

// Deletes one cache file. A file that is already gone counts as deleted
// by someone else; any other failure leaves it and says so.
void DeleteCacheFile(const std::u16string& path, int32_t* removed, int32_t* left) {
  auto& files = platform::Service<platform::Files>();
  if (files.DeleteOneFile(path)) {
    ++*removed;
    return;
  }
  const uint32_t error = platform::LastError();
  if (error == platform::kErrorFileNotFound || error == platform::kErrorPathNotFound) return;
  ++*left;
  LogWarn(u"Utils::RemoveIconCache, delete '%s' failed, error=%d", path, error);
}

}  // namespace

namespace Utils {

bool RemoveIconCache(int32_t* removed) {
  int32_t deleted = 0, left = 0;
  if (removed != nullptr) *removed = 0;
  const std::u16string local = GetLocalAppDataPath(u"", false);
  if (local.empty()) {
    LogError(u"Utils::RemoveIconCache, LOCALAPPDATA not found");
    return false;
  }
  auto& files = platform::Service<platform::Files>();

  const std::u16string rootCache = JoinPath(local, kRootCache);
  const uint32_t attributes = files.GetAttributes(rootCache);
  if (attributes != 0xFFFFFFFFu && (attributes & platform::kFileAttributeDirectory) == 0) {
    DeleteCacheFile(rootCache, &deleted, &left);
  }

  const std::u16string explorer = JoinPath(local, kExplorerDir);
  std::vector<platform::DirEntry> entries;
  if (files.FindEntries(JoinPath(explorer, u"*"), &entries)) {
    for (const platform::DirEntry& entry : entries) {
      if ((entry.attributes & platform::kFileAttributeDirectory) != 0 || !IsExplorerCacheName(entry.name)) continue;
      DeleteCacheFile(JoinPath(explorer, entry.name), &deleted, &left);
    }
  }
  if (removed != nullptr) *removed = deleted;

  const bool told = platform::Service<platform::ShellNotifications>().NotifyAssociationsChanged();
  if (!told) LogWarn(u"Utils::RemoveIconCache, notify shell failed, error=%d", platform::LastError());
  LogInfo(u"Utils::RemoveIconCache, removed %d, left %d", deleted, left);
  return left == 0 && told;
}

}  // namespace Utils
