// Loading system libraries by full path and the system's version numbers
// from ntdll. A service of its own (see service.h).
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

// A loaded module (HMODULE).
using Module = void*;

class SystemLibraries {
 public:
  virtual ~SystemLibraries() = default;
  // SHGetSpecialFolderPathW(null, buffer, CSIDL_WINDOWS, FALSE): the Windows
  // directory. False when it cannot be got.
  virtual bool WindowsDirectory(std::u16string* directory) = 0;
  // LoadLibraryW(path): null and the last error on failure.
  virtual Module LoadLibraryPath(const std::u16string& path) = 0;
  // GetProcAddress(module, "RtlGetNtVersionNumbers") and, when it is found,
  // its call for the major and minor version and the build number (flag
  // bits included). False when the function is not found.
  virtual bool NtVersionNumbers(Module module, uint32_t* major, uint32_t* minor, uint32_t* build) = 0;
};

}  // namespace platform
