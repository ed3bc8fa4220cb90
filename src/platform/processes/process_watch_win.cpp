#include <windows.h>

#include "platform/processes/process_watch.h"

namespace platform {
namespace {

class WinProcessWatch final : public ProcessWatch {
 public:
  Handle OpenProcessHandle(uint32_t access, uint32_t pid) override { return ::OpenProcess(access, FALSE, pid); }
  uint32_t WaitAny(const std::vector<Handle>& objects, uint32_t timeoutMs) override {
    std::vector<HANDLE> handles(objects.begin(), objects.end());
    return ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, timeoutMs);
  }
};

}  // namespace

template <>
ProcessWatch& NativeService<ProcessWatch>() {
  static WinProcessWatch watch;
  return watch;
}

}  // namespace platform
