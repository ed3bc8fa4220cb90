// The shell's special folders and its test for a network path. A service of
// its own (see service.h). Linux has no such folders:
// every lookup fails there, as SHGetSpecialFolderPathW does for a folder the
// system does not have; a network path there is a UNC path (\\server\share).
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

enum : int32_t {
  kCsidlDesktopDirectory = 16,  // CSIDL_DESKTOPDIRECTORY
  kCsidlProgramFiles = 38,      // CSIDL_PROGRAM_FILES
};

class ShellFolders {
 public:
  virtual ~ShellFolders() = default;
  // SHGetSpecialFolderPathW(null, buffer, csidl, FALSE): the folder without
  // a trailing separator. False when the folder cannot be got.
  virtual bool SpecialFolderPath(int32_t csidl, std::u16string* path) = 0;
  // PathIsNetworkPathW: a UNC path, or one on a drive mapped to a share.
  virtual bool IsNetworkPath(const std::u16string& path) = 0;
};

}  // namespace platform
