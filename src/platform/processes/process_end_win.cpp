#include <windows.h>

#include "platform/processes/process_end.h"

namespace platform {
namespace {

class WinProcessEnd final : public ProcessEnd {
 public:
  uint32_t EndProcessById(uint32_t pid, uint32_t exitCode, uint32_t timeoutMs) override {
    HANDLE process = ::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, pid);
    if (process == nullptr) return ::GetLastError();
    uint32_t result = 0;
    // A process that is ending already refuses termination with 5 but still
    // signals its end, so the wait decides.
    if (!::TerminateProcess(process, exitCode)) result = ::GetLastError();
    const DWORD wait = ::WaitForSingleObject(process, timeoutMs);
    if (wait == WAIT_OBJECT_0) {
      result = 0;
    } else if (result == 0) {
      result = wait == WAIT_TIMEOUT ? ERROR_TIMEOUT : ::GetLastError();
    }
    ::CloseHandle(process);
    return result;
  }
};

}  // namespace

template <>
ProcessEnd& NativeService<ProcessEnd>() {
  static WinProcessEnd end;
  return end;
}

}  // namespace platform
