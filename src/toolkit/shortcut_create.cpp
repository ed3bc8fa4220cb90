#include "toolkit/shortcut_create.h"

#include <cstdint>

#include "base/log.h"
#include "platform/shell/shell_links.h"
#include "platform/system/system_info.h"

namespace Utils {

std::u16string GetProductAppUserModelId(const CProductConfig& config) {
  return u"com.electron." + config.product_info_key;
}

bool CreateShortcut(const std::u16string& lnkPath, const std::u16string& target, const std::u16string& arguments,
                    const std::u16string& workingDir, const std::u16string& appId) {
  auto& system = platform::Service<platform::SystemInfo>();
  const int32_t init = system.ComInitialize();
  if (init < 0) {
    LogError(u"CreateShortcut: CoInitialize failed, hr=0x%08x", static_cast<uint32_t>(init));
    return false;
  }
  platform::ShellLinks& links = platform::Service<platform::ShellLinks>();
  platform::ShellLink link = nullptr;
  const char16_t* step = u"CreateLink";
  int32_t hr = links.CreateLink(&link);
  if (hr >= 0) {
    step = u"SetPath";
    hr = links.SetPath(link, target);
  }
  if (hr >= 0) {
    // The icon, arguments and working directory only decorate the shortcut:
    // their results are not looked at.
    links.SetIconLocation(link, target, 0);
    if (!arguments.empty()) links.SetArguments(link, arguments);
    if (!workingDir.empty()) links.SetWorkingDirectory(link, workingDir);
    if (!appId.empty()) {
      step = u"SetAppUserModelId";
      hr = links.SetAppUserModelId(link, appId);
    }
  }
  if (hr >= 0) {
    step = u"Save";
    hr = links.Save(link, lnkPath);
  }
  if (link != nullptr) links.Release(link);
  system.ComUninitialize();
  if (hr < 0) {
    LogError(u"CreateShortcut: %s failed, hr=0x%08x, lnk=%s", step, static_cast<uint32_t>(hr), lnkPath);
    return false;
  }
  LogInfo(u"CreateShortcut: %s => %s", lnkPath, target);
  return true;
}

}  // namespace Utils
