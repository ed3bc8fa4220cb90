#include "toolkit/registry_probes.h"

#include "base/log.h"
#include "base/text.h"
#include "platform/registry/registry_views.h"
#include "platform/types.h"

namespace {

struct RootName {
  const char16_t* shortName;
  const char16_t* longName;
  platform::Hive hive;
};

constexpr RootName kRoots[] = {
    {u"HKLM", u"HKEY_LOCAL_MACHINE", platform::Hive::kLocalMachine},
    {u"HKCU", u"HKEY_CURRENT_USER", platform::Hive::kCurrentUser},
    {u"HKCR", u"HKEY_CLASSES_ROOT", platform::Hive::kClassesRoot},
};

// Splits "ROOT\path" into its hive and path; false for an unknown root or an
// empty path.
bool SplitKey(const std::u16string& key, platform::Hive* hive, std::u16string* subKey) {
  const size_t separator = key.find(u'\\');
  if (separator == std::u16string::npos || separator + 1 >= key.size()) return false;
  const std::u16string root = key.substr(0, separator);
  for (const RootName& name : kRoots) {
    if (CompareNoCase(root, name.shortName) == 0 || CompareNoCase(root, name.longName) == 0) {
      *hive = name.hive;
      *subKey = key.substr(separator + 1);
      return true;
    }
  }
  return false;
}

}  // namespace

namespace Utils {

uint32_t ProbeRegistryKey(const std::u16string& key) {
  platform::Hive hive = platform::Hive::kLocalMachine;
  std::u16string subKey;
  if (!SplitKey(key, &hive, &subKey)) {
    LogError(u"Utils::ProbeRegistryKey, '%s' names no registry root", key);
    return 0;
  }
  platform::RegistryViews& registry = platform::Service<platform::RegistryViews>();
  uint32_t views = 0;
  const struct {
    uint32_t access, bit;
  } kViews[] = {{platform::kKeyWow64View64, kRegistryView64}, {platform::kKeyWow64View32, kRegistryView32}};
  for (const auto& view : kViews) {
    const int32_t status = registry.ProbeKey(hive, subKey, view.access);
    if (status == 0 || status == static_cast<int32_t>(platform::kErrorAccessDenied)) {
      views |= view.bit;
    } else if (status != static_cast<int32_t>(platform::kErrorFileNotFound)) {
      LogError(u"Utils::ProbeRegistryKey, open '%s' in view %x failed, error=%d", key, view.access, status);
    }
  }
  return views;
}

int32_t ProbeRegistryKeys(const CProductConfig& config, std::vector<CRegistryProbe>* results) {
  int32_t found = 0;
  for (const std::u16string& key : config.registry_probes) {
    const uint32_t views = ProbeRegistryKey(key);
    LogInfo(u"Utils::ProbeRegistryKeys, '%s' %s (views %u)", key, views != 0 ? u"found" : u"not found", views);
    if (views != 0) ++found;
    if (results != nullptr) results->push_back({key, views});
  }
  return found;
}

}  // namespace Utils
