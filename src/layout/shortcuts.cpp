#include "layout/shortcuts.h"

#include <string>

#include "app/launcher_app.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/file_io.h"
#include "layout/paths.h"
#include "platform/files/files.h"
#include "platform/shell/shell_links.h"
#include "platform/system/system_info.h"

namespace {

constexpr char16_t kPinnedTaskBarDir[] = u"Microsoft\\Internet Explorer\\Quick Launch\\User Pinned\\TaskBar";
constexpr char16_t kAppUserModelIdPrefix[] = u"com.electron.";

}  // namespace

void MatchShortcutByDirectory(const std::u16string& directory, const CShortcutInfo& info, bool* matched,
                              bool* stop) {
  // _wcsnicmp over the length of the bound directory: a prefix test.
  *matched = info.exePath.size() >= directory.size() &&
             CompareNoCase(info.exePath.substr(0, directory.size()), directory) == 0;
}

void MatchShortcutByAppId(const std::u16string& appId, const CShortcutInfo& info, bool* matched, bool* stop) {
  *matched = CompareNoCase(info.appUserModelId, appId) == 0;
}

bool ReadShortcut(const std::u16string& path, CShortcutInfo* info) {
  info->lnkPath = path;
  info->fileName = GetFileNamePart(path, true);
  platform::ShellLinks& links = platform::Service<platform::ShellLinks>();
  platform::ShellLink link = nullptr;
  if (links.CreateLink(&link) >= 0) {
    if (links.Load(link, path) == 0) {
      std::u16string text;
      if (links.GetPath(link, &text) == 0) info->exePath = text;
      if (links.GetArguments(link, &text) == 0) info->arguments = text;
      bool isText = false;
      if (links.GetAppUserModelId(link, &text, &isText) == 0 && isText) info->appUserModelId = text;
    }
    links.Release(link);
  }
  return !info->exePath.empty();
}

int32_t ScanShortcuts(const std::u16string& dir, const ShortcutMatch& match, std::vector<CShortcutInfo>* list) {
  if (dir.empty()) return 0;
  std::vector<platform::DirEntry> entries;
  if (!ListEntries(JoinPath(dir, u"*.lnk"), &entries)) return 0;
  int32_t count = 0;
  for (const platform::DirEntry& entry : entries) {
    CShortcutInfo info;
    info.lnkPath = JoinPath(dir, entry.name);
    info.fileName = entry.name;
    info.displayName = GetFileNamePart(entry.name, false);
    if (!ReadShortcut(info.lnkPath, &info)) continue;
    bool matched = false, stop = false;
    match(info, &matched, &stop);
    if (matched) {
      if (list != nullptr) list->push_back(info);
      ++count;
    }
    if (stop) break;
  }
  return count;
}

bool UpdateShortcut(const std::u16string& lnkPath, const std::u16string& target, const std::u16string& arguments,
                    const std::u16string& workingDir, const std::u16string& iconPath, int32_t iconIndex,
                    const std::u16string& appId) {
  auto& system = platform::Service<platform::SystemInfo>();
  if (system.ComInitialize() < 0) return false;
  platform::ShellLinks& links = platform::Service<platform::ShellLinks>();
  platform::ShellLink link = nullptr;
  int32_t hr = links.CreateLink(&link);
  if (hr >= 0) hr = links.Load(link, lnkPath);
  if (hr >= 0) {
    // The results of the setters are not looked at.
    if (!iconPath.empty()) links.SetIconLocation(link, iconPath, iconIndex);
    if (!target.empty()) links.SetPath(link, target);
    if (!arguments.empty()) links.SetArguments(link, arguments);
    if (!workingDir.empty()) links.SetWorkingDirectory(link, workingDir);
    if (!appId.empty()) hr = links.SetAppUserModelId(link, appId);
    hr = links.Save(link, lnkPath);
  }
  links.Release(link);
  system.ComUninitialize();
  return hr >= 0;
}

void CLauncherApp::_RepairPinnedTaskBar() {
  if (!platform::Service<platform::Files>().PathExists(m_launcherPath)) {
    LogError(u"%s not exist, ", m_launcherPath);
    return;
  }
  const std::u16string pinned = GetRoamingAppDataPath(kPinnedTaskBarDir, false);
  if (m_appUserModelId.empty()) m_appUserModelId = kAppUserModelIdPrefix + GetProductConfig().product_info_key;

  std::vector<CShortcutInfo> found;
  const std::u16string root = m_launcherDir;
  ScanShortcuts(pinned,
                [root](const CShortcutInfo& info, bool* matched, bool* stop) {
                  MatchShortcutByDirectory(root, info, matched, stop);
                },
                &found);
  if (found.empty()) {
    const std::u16string appId = m_appUserModelId;
    ScanShortcuts(pinned,
                  [appId](const CShortcutInfo& info, bool* matched, bool* stop) {
                    MatchShortcutByAppId(appId, info, matched, stop);
                  },
                  &found);
  }
  for (const CShortcutInfo& info : found) {
    LogInfo(u"Matched shortcut, lnkpath = %s, exePath = %s", info.lnkPath, info.exePath);
    // Only a shortcut of this product, aimed elsewhere than the launcher, is
    // rewritten; the target alone does not make it the product's.
    if (CompareNoCase(info.appUserModelId, m_appUserModelId) != 0 ||
        CompareNoCase(info.exePath, m_launcherPath) == 0) {
      LogInfo(u"PinnedTaskBar Lnked_exe do nothing");
      continue;
    }
    LogInfo(u"PinnedTaskBar Lnked_exe redirect => %s", m_launcherPath);
    UpdateShortcut(info.lnkPath, m_launcherPath, info.arguments, m_mainExeDir, m_launcherPath, 0,
                   info.appUserModelId);
  }
}
