#include "toolkit/process_finders.h"

#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "layout/launcher_ini.h"
#include "layout/paths.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/processes/process_images.h"
#include "platform/processes/processes.h"
#include "platform/shell/shell_folders.h"
#include "platform/system/environment.h"

namespace {

constexpr uint32_t kListAccess = platform::kProcessQueryInformation | platform::kProcessVmRead;  // 0x410

// _wcsnicmp(prefix, text, length of prefix) == 0.
bool StartsWithNoCase(const std::u16string& text, const std::u16string& prefix) {
  return text.size() >= prefix.size() && CompareNoCase(prefix, text.substr(0, prefix.size())) == 0;
}

int32_t ErrorCode() { return static_cast<int32_t>(platform::LastError()); }

}  // namespace

namespace Utils {

int32_t FindProcess(const ProcessMatch& callback, std::vector<CFoundProcess>* list) {
  auto& processes = platform::Service<platform::Processes>();
  platform::ProcessImages& images = platform::Service<platform::ProcessImages>();
  std::vector<platform::ProcessEntry> entries;
  if (!processes.SnapshotProcesses(&entries)) {
    LogWarn(u"Utils::FindProcess, create process snapshot failed,error code : %d", ErrorCode());
    return 0;
  }
  // The seam walks the snapshot in one call; an empty walk is a first entry
  // that could not be read.
  if (entries.empty()) {
    LogWarn(u"Utils::FindProcess, get pe32 first failed,error code : %d", ErrorCode());
    return 0;
  }
  int32_t count = 0;
  for (const platform::ProcessEntry& entry : entries) {
    if (entry.pid == 0) continue;
    CFoundProcess info;
    info.processId = entry.pid;
    info.parentProcessId = entry.parentPid;
    if (platform::Handle process = images.OpenProcessById(kListAccess, entry.pid)) {
      images.ModuleFileName(process, &info.path);
      images.CloseProcess(process);
    }
    if (info.path.empty()) info.path = entry.exeFile;
    info.name = GetFileNamePart(info.path, true);
    info.directory = GetDirectoryPart(info.path);

    bool matched = false;
    bool stop = false;
    callback(info, &matched, &stop);
    if (matched) {
      if (list != nullptr) list->push_back(info);
      ++count;
    }
    if (stop) break;
  }
  return count;
}

}  // namespace Utils

bool CDirectoryProcessFinder::Find(std::vector<CFoundProcess>* found, const std::u16string& directoryPrefix) {
  m_found = found;
  m_prefix = directoryPrefix;
  using namespace std::placeholders;
  return Utils::FindProcess(std::bind(&CDirectoryProcessFinder::OnProcess, this, _1, _2, _3), nullptr) > 0;
}

void CDirectoryProcessFinder::OnProcess(const CFoundProcess& info, bool* matched, bool* stop) {
  *matched = false;
  *stop = false;
  if (info.processId == platform::Service<platform::Environment>().ProcessId() || info.directory.empty()) return;
  if (StartsWithNoCase(info.path, m_prefix)) {
    *matched = true;
    if (m_found != nullptr) m_found->push_back(info);
  }
}

bool CVornProcessFinder::Find(const CProductConfig& config, std::vector<CFoundProcess>* found,
                              const std::u16string& installRootFilter) {
  m_found = found;
  m_config = &config;
  m_exeFileName = config.exe_file_name;
  m_rootFilter = installRootFilter;
  using namespace std::placeholders;
  return Utils::FindProcess(std::bind(&CVornProcessFinder::OnProcess, this, _1, _2, _3), nullptr) > 0;
}

void CVornProcessFinder::OnProcess(const CFoundProcess& info, bool* matched, bool* stop) {
  *matched = false;
  *stop = false;
  if (info.processId == platform::Service<platform::Environment>().ProcessId()) return;
  // The directory ends in a separator, so its directory part is the parent:
  // the install root that a main executable's version directory sits in.
  const std::u16string root = GetDirectoryPart(info.directory);
  if (!m_rootFilter.empty() && !StartsWithNoCase(root, m_rootFilter)) return;
  if (CompareNoCase(info.name, m_exeFileName) == 0 &&
      platform::Service<platform::Files>().PathExists(JoinPath(root, kLauncherIniName))) {
    *matched = true;
    if (m_found != nullptr) m_found->push_back(info);
  }
}

bool CVornShortcutFinder::Find(const std::u16string& directory, const CProductConfig& config,
                               std::vector<CShortcutInfo>* found) {
  m_found = found;
  m_config = &config;
  using namespace std::placeholders;
  return ScanShortcuts(directory, std::bind(&CVornShortcutFinder::OnShortcut, this, _1, _2, _3), nullptr) > 0;
}

void CVornShortcutFinder::OnShortcut(const CShortcutInfo& info, bool* matched, bool* stop) {
  *matched = false;
  *stop = false;
  // The product's own names come first; the fixed name is turned away only
  // after them, and any other name is taken.
  if (CompareNoCase(info.displayName, m_config->product_name_en) == 0 ||
      CompareNoCase(info.displayName, m_config->product_name_cn) == 0 ||
      CompareNoCase(info.displayName, m_config->product_name_jp) == 0) {
    *matched = true;
  } else if (CompareNoCase(info.displayName, u"Orvane") == 0) {
    *matched = false;
  } else {
    *matched = true;
  }
  if (*matched && m_found != nullptr) m_found->push_back(info);
}

namespace {

// Turns "\Device\HarddiskVolume3\x\a.exe" into "C:\x\a.exe" by the drive
// whose device is a prefix of it; empty when no drive fits.
std::u16string DevicePathToDrivePath(uint32_t processId, const std::u16string& imagePath) {
  platform::ProcessImages& images = platform::Service<platform::ProcessImages>();
  std::u16string drives;
  const uint32_t size = images.LogicalDriveStrings(&drives);
  if (size == 0 || size > 260) {
    LogError(u"GetLogicalDriveStrings %d failed, error=%d", static_cast<int32_t>(processId), ErrorCode());
  }
  // "C:\<NUL>D:\<NUL>...": each entry four characters from the last.
  for (size_t i = 0; i + 1 < drives.size() && drives[i] != 0; i += 4) {
    const std::u16string device = drives.substr(i, 2);
    std::u16string target;
    if (images.QueryDosDevice(device, &target) == 0 || target.empty()) continue;
    if (StartsWithNoCase(imagePath, target)) {
      const std::u16string path = device + imagePath.substr(target.size());
      LogInfo(u"GetProcessImageFileName file_path:%s", path);
      return path;
    }
  }
  return std::u16string();
}

}  // namespace

std::u16string GetProcessFilePath(uint32_t processId) {
  platform::ProcessImages& images = platform::Service<platform::ProcessImages>();
  const int32_t pid = static_cast<int32_t>(processId);
  platform::Handle process = images.OpenProcessById(platform::kProcessQueryLimitedInformation, processId);
  if (process == nullptr) {
    LogError(u"OpenProcess %d failed, error=%d", pid, ErrorCode());
    return std::u16string();
  }
  std::u16string path;
  if (images.ModuleFileName(process, &path) == 0) {
    LogError(u"GetModuleFileNameEx %d failed, error=%d", pid, ErrorCode());
    std::u16string image;
    if (images.ImageFileName(process, &image) == 0) {
      LogError(u"GetProcessImageFileName %d failed, error=%d", pid, ErrorCode());
      path.clear();
    } else {
      path = DevicePathToDrivePath(processId, image);
    }
  }
  images.CloseProcess(process);
  return path;
}

int32_t RemoveBrokenShortcuts(const CProductConfig& config, std::vector<CShortcutInfo>* removed) {
  auto& files = platform::Service<platform::Files>();
  std::vector<CShortcutInfo> shortcuts;
  CVornShortcutFinder finder;
  std::u16string desktop;
  if (platform::Service<platform::ShellFolders>().SpecialFolderPath(platform::kCsidlDesktopDirectory, &desktop)) {
    finder.Find(desktop, config, &shortcuts);
  }
  // Without %APPDATA% the Start menu path would be one below the drive's
  // root: no folder of this user's, so it is not swept.
  const std::u16string appData = GetEnvironmentString(u"APPDATA");
  if (!appData.empty()) finder.Find(appData + u"\\Microsoft\\Windows\\Start Menu\\Programs\\", config, &shortcuts);

  int32_t count = 0;
  for (const CShortcutInfo& shortcut : shortcuts) {
    if (shortcut.exePath.empty() || files.PathExists(shortcut.exePath)) continue;
    files.DeleteOneFile(shortcut.lnkPath);
    if (removed != nullptr) removed->push_back(shortcut);
    ++count;
  }
  return count;
}
