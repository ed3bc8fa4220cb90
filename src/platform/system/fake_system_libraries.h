// The fake of the system libraries, for unit tests: it installs itself for its
// lifetime, records its calls and answers from what the test sets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/system/system_libraries.h"

namespace platform {

class FakeSystemLibraries final : public SystemLibraries {
 public:
  bool hasWindowsDirectory = true;
  std::u16string windowsDirectory = u"C:\\Windows";
  bool versionFunctionFound = true;
  uint32_t major = 10, minor = 0, build = 0xF0004A64u;  // flag bits above the build
  std::vector<std::u16string> loaded;  // every LoadLibraryPath call
  size_t versionQueries = 0;

  bool WindowsDirectory(std::u16string* directory) override;
  Module LoadLibraryPath(const std::u16string& path) override;
  bool NtVersionNumbers(Module module, uint32_t* outMajor, uint32_t* outMinor, uint32_t* outBuild) override;

 private:
  int module_ = 0;
  ScopedService<SystemLibraries> scope_{this};
};

}  // namespace platform
