// Looking into other running processes: opening one by its identifier, the
// path of its image, and the drive table that turns a device path into a
// drive path. A service of its own (see service.h).
//
// Each operation is the Windows call its comment names, with that call's
// results and last-error codes. On Linux a process is opened through /proc:
// one that has ended (or never was) fails with 87 and one of another user,
// whose image Linux does not show us, with 5. Linux has no drive letters, so
// the drive table is empty (0, last error 50) and no device name resolves (2).
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

enum : uint32_t {
  kProcessQueryInformation = 0x0400,
  kProcessVmRead = 0x0010,
  kProcessQueryLimitedInformation = 0x1000,
  kErrorNotSupported = 50,
};

class ProcessImages {
 public:
  virtual ~ProcessImages() = default;

  // OpenProcess(access, FALSE, pid). Null and last error on failure.
  virtual Handle OpenProcessById(uint32_t access, uint32_t pid) = 0;
  // K32GetModuleFileNameExW(process, null, buffer, 260): the characters
  // stored (a longer path is cut to 259), 0 and last error on failure.
  virtual uint32_t ModuleFileName(Handle process, std::u16string* path) = 0;
  // K32GetProcessImageFileNameW(process, buffer, 260): the image as a
  // device path ("\Device\HarddiskVolume3\..."), 0 and last error.
  virtual uint32_t ImageFileName(Handle process, std::u16string* path) = 0;
  // CloseHandle of a handle from OpenProcessById.
  virtual bool CloseProcess(Handle process) = 0;
  // GetLogicalDriveStringsW(260, buffer): the characters of the list
  // ("C:\<NUL>D:\<NUL>", final NUL not counted) or the size it needs when
  // above 260; 0 and last error on failure. *drives holds what was stored.
  virtual uint32_t LogicalDriveStrings(std::u16string* drives) = 0;
  // QueryDosDeviceW(device, buffer, 100): the device's first target, such as
  // "\Device\HarddiskVolume3". The characters stored, 0 and last error.
  virtual uint32_t QueryDosDevice(const std::u16string& device, std::u16string* target) = 0;
};

}  // namespace platform
