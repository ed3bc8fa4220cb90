// The fake process-image and shell-folder services: processes by identifier
// with the path each answers (or the error its opening fails with), a drive
// list, a device table and special folders. Each installs itself for its lifetime.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/error_codes.h"
#include "platform/processes/process_images.h"
#include "platform/shell/shell_folders.h"

namespace platform {

class FakeProcessImages final : public ProcessImages {
 public:
  struct Process {
    uint32_t openError = 0;      // non-zero: OpenProcessById fails with it
    std::u16string modulePath;   // empty: ModuleFileName fails with moduleError
    uint32_t moduleError = 299;  // ERROR_PARTIAL_COPY, as for a process still starting
    std::u16string imagePath;    // device form; empty: ImageFileName fails with 5
  };
  std::map<uint32_t, Process> processes;
  // The raw answer of LogicalDriveStrings (NUL-separated) and its result;
  // a result of 0 fails with drivesError.
  std::u16string drives;
  uint32_t drivesResult = 0;
  uint32_t drivesError = 0;
  // "C:" -> "\Device\HarddiskVolume3".
  std::map<std::u16string, std::u16string> devices;
  // Every access mask asked for, in order; handles not yet closed.
  std::vector<uint32_t> accessAsked;
  size_t OpenHandles() const { return open_.size(); }

  void SetDrives(const std::u16string& list) {
    drives = list;
    drivesResult = static_cast<uint32_t>(list.size());
  }

  Handle OpenProcessById(uint32_t access, uint32_t pid) override {
    accessAsked.push_back(access);
    const auto it = processes.find(pid);
    if (it == processes.end() || it->second.openError != 0) {
      SetLastErrorCode(it == processes.end() ? kErrorInvalidParameter : it->second.openError);
      return nullptr;
    }
    open_.push_back(std::make_unique<uint32_t>(pid));
    return open_.back().get();
  }
  uint32_t ModuleFileName(Handle process, std::u16string* path) override {
    const Process* p = Find(process);
    *path = p != nullptr ? p->modulePath.substr(0, 259) : std::u16string();
    if (path->empty()) SetLastErrorCode(p != nullptr ? p->moduleError : kErrorInvalidHandle);
    return static_cast<uint32_t>(path->size());
  }
  uint32_t ImageFileName(Handle process, std::u16string* path) override {
    const Process* p = Find(process);
    *path = p != nullptr ? p->imagePath.substr(0, 259) : std::u16string();
    if (path->empty()) SetLastErrorCode(p != nullptr ? kErrorAccessDenied : kErrorInvalidHandle);
    return static_cast<uint32_t>(path->size());
  }
  bool CloseProcess(Handle process) override {
    for (auto it = open_.begin(); it != open_.end(); ++it) {
      if (it->get() == process) {
        open_.erase(it);
        return true;
      }
    }
    SetLastErrorCode(kErrorInvalidHandle);
    return false;
  }
  uint32_t LogicalDriveStrings(std::u16string* list) override {
    *list = drivesResult != 0 && drivesResult <= 260 ? drives : std::u16string();
    if (drivesResult == 0) SetLastErrorCode(drivesError);
    return drivesResult;
  }
  uint32_t QueryDosDevice(const std::u16string& device, std::u16string* target) override {
    const auto it = devices.find(device);
    if (it == devices.end()) {
      target->clear();
      SetLastErrorCode(kErrorFileNotFound);
      return 0;
    }
    *target = it->second.substr(0, 98);
    return static_cast<uint32_t>(target->size() + 2);
  }

 private:
  const Process* Find(Handle process) const {
    for (const auto& handle : open_) {
      if (handle.get() == process) {
        const auto it = processes.find(*handle);
        return it != processes.end() ? &it->second : nullptr;
      }
    }
    return nullptr;
  }

  std::vector<std::unique_ptr<uint32_t>> open_;
  ScopedService<ProcessImages> scope_{this};
};

// Special folders by CSIDL; a missing one fails. A network path is a UNC
// path or one of `networkDrives` ("N:").
class FakeShellFolders final : public ShellFolders {
 public:
  std::map<int32_t, std::u16string> folders;
  std::vector<std::u16string> networkDrives;
  bool IsNetworkPath(const std::u16string& path) override {
    if (path.rfind(u"\\\\", 0) == 0) return true;
    for (const std::u16string& drive : networkDrives) {
      if (path.rfind(drive, 0) == 0) return true;
    }
    return false;
  }
  bool SpecialFolderPath(int32_t csidl, std::u16string* path) override {
    const auto it = folders.find(csidl);
    if (it == folders.end()) return false;
    *path = it->second;
    return true;
  }

 private:
  ScopedService<ShellFolders> scope_{this};
};

}  // namespace platform
