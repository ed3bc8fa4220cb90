#include <windows.h>
#include <psapi.h>

#include "platform/processes/process_images.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

class WinProcessImages final : public ProcessImages {
 public:
  Handle OpenProcessById(uint32_t access, uint32_t pid) override { return ::OpenProcess(access, FALSE, pid); }

  uint32_t ModuleFileName(Handle process, std::u16string* path) override {
    wchar_t buffer[MAX_PATH] = {};
    const DWORD n = ::K32GetModuleFileNameExW(static_cast<HANDLE>(process), nullptr, buffer, MAX_PATH);
    *path = FromWide(buffer, n);
    return n;
  }

  uint32_t ImageFileName(Handle process, std::u16string* path) override {
    wchar_t buffer[MAX_PATH] = {};
    const DWORD n = ::K32GetProcessImageFileNameW(static_cast<HANDLE>(process), buffer, MAX_PATH);
    *path = FromWide(buffer, n);
    return n;
  }

  bool CloseProcess(Handle process) override { return ::CloseHandle(static_cast<HANDLE>(process)) != FALSE; }

  uint32_t LogicalDriveStrings(std::u16string* drives) override {
    wchar_t buffer[MAX_PATH] = {};
    const DWORD n = ::GetLogicalDriveStringsW(MAX_PATH, buffer);
    *drives = FromWide(buffer, n <= MAX_PATH ? n : 0);
    return n;
  }

  uint32_t QueryDosDevice(const std::u16string& device, std::u16string* target) override {
    wchar_t buffer[100] = {};
    const DWORD n = ::QueryDosDeviceW(AsWide(device), buffer, 100);
    *target = FromWide(buffer);  // the first of the NUL-separated targets
    return n;
  }
};

}  // namespace

template <>
ProcessImages& NativeService<ProcessImages>() {
  static WinProcessImages images;
  return images;
}

}  // namespace platform
