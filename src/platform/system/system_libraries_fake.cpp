// The fake of the system libraries.
#include "platform/system/fake_system_libraries.h"

namespace platform {

bool FakeSystemLibraries::WindowsDirectory(std::u16string* directory) {
  if (!hasWindowsDirectory) return false;
  *directory = windowsDirectory;
  return true;
}

Module FakeSystemLibraries::LoadLibraryPath(const std::u16string& path) {
  loaded.push_back(path);
  return &module_;
}

bool FakeSystemLibraries::NtVersionNumbers(Module module, uint32_t* outMajor, uint32_t* outMinor,
                                           uint32_t* outBuild) {
  ++versionQueries;
  if (module != &module_ || !versionFunctionFound) return false;
  *outMajor = major;
  *outMinor = minor;
  *outBuild = build;
  return true;
}

}  // namespace platform
