// Which running processes belong to a directory or to an installation, which
// shortcuts of the product exist, and the sweep of those that lead nowhere.
// For the installer and uninstaller: the launcher itself never asks.
//
// One walker goes over every running process and hands each to a callback
// with two flags (`matched` counts it and adds it to the walker's list,
// `stop` ends the walk after it); each finder binds its own callback and
// keeps its hits in its own list.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/product_config.h"
#include "layout/shortcuts.h"

// One running process.
struct CFoundProcess {
  uint32_t processId = 0;
  uint32_t parentProcessId = 0;
  std::u16string name;       // last component of path, extension kept
  std::u16string path;       // full image path, or the bare executable name when it can't be read
  std::u16string directory;  // directory of path with trailing separator; empty for a bare name
};

using ProcessMatch = std::function<void(const CFoundProcess& info, bool* matched, bool* stop)>;

namespace Utils {

// Walks the running processes (identifier 0 left out); the number matched,
// each appended to `list` when one is given. 0 when the walk can't start.
int32_t FindProcess(const ProcessMatch& callback, std::vector<CFoundProcess>* list);

}  // namespace Utils

// Processes whose image path starts with a directory prefix (ASCII case
// folded). Pass the prefix with its trailing separator to keep a sibling
// directory ("C:\x\app-old\") out. This process is never a hit.
class CDirectoryProcessFinder {
 public:
  bool Find(std::vector<CFoundProcess>* found, const std::u16string& directoryPrefix);

 private:
  void OnProcess(const CFoundProcess& info, bool* matched, bool* stop);
  std::vector<CFoundProcess>* m_found = nullptr;
  std::u16string m_prefix;
};

// Running main executables of an installation: a process named
// exe_file_name whose parent directory holds "Orvane.ini", optionally only
// below an install root filter (a prefix; empty accepts every root). This
// process is never a hit.
class CVornProcessFinder {
 public:
  bool Find(const CProductConfig& config, std::vector<CFoundProcess>* found, const std::u16string& installRootFilter);

 private:
  void OnProcess(const CFoundProcess& info, bool* matched, bool* stop);
  std::vector<CFoundProcess>* m_found = nullptr;
  std::u16string m_exeFileName;
  const CProductConfig* m_config = nullptr;
  std::u16string m_rootFilter;
};

// The product's shortcuts in one directory. A shortcut named like one of the
// product's names is matched; one named "Orvane" is not; any other name is.
class CVornShortcutFinder {
 public:
  bool Find(const std::u16string& directory, const CProductConfig& config, std::vector<CShortcutInfo>* found);

 private:
  void OnShortcut(const CShortcutInfo& info, bool* matched, bool* stop);
  std::vector<CShortcutInfo>* m_found = nullptr;
  const CProductConfig* m_config = nullptr;
};

// The full image path of a process, or the empty string. A device path
// ("\Device\HarddiskVolume3\...") is turned into its drive path.
std::u16string GetProcessFilePath(uint32_t processId);

// Deletes the product's shortcuts on the desktop and in the Start menu whose
// target no longer exists; each deleted one is appended to `removed`. The
// number deleted.
int32_t RemoveBrokenShortcuts(const CProductConfig& config, std::vector<CShortcutInfo>* removed);
