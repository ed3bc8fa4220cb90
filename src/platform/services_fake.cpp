#include "platform/fake_services.h"

namespace platform {

bool FakeAdminCheck::AllocateAdministratorsSid(Sid* sid) {
  if (sidFails) {
    *sid = nullptr;
    return false;
  }
  ++liveSids;
  *sid = &sid_;
  return true;
}

bool FakeAdminCheck::CheckTokenMembership(Sid sid, bool* isMember) {
  *isMember = !checkFails && member;
  return !checkFails;
}

void FakeAdminCheck::FreeSid(Sid sid) {
  if (sid == &sid_) --liveSids;
}

Handle FakeNamedEvents::CreateNamedEvent(const std::u16string& name, bool manualReset, bool initialState) {
  events.push_back({name, manualReset, initialState, 0});
  if (createFails) return nullptr;
  return reinterpret_cast<Handle>(events.size());
}

bool FakeNamedEvents::SignalEvent(Handle event) {
  const size_t index = reinterpret_cast<size_t>(event);
  if (index == 0 || index > events.size()) return false;
  ++events[index - 1].sets;
  return true;
}

intptr_t FakeShellExecution::ShellExecute(const std::u16string& verb, const std::u16string& file,
                                          const std::u16string& parameters, const std::u16string* directory,
                                          int32_t show) {
  calls.push_back({verb, file, parameters, directory != nullptr, directory != nullptr ? *directory : u"", show});
  if (answer <= 32 && setLastError) setLastError(errorOnFailure);
  return answer;
}

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
