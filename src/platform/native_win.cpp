// The process-wide Windows backend and the thread's last error.
#include <windows.h>

#include "platform/win_platform.h"

namespace platform {

Platform& Native() {
  static WinPlatform instance;
  return instance;
}

uint32_t WinPlatform::LastError() { return ::GetLastError(); }

void WinPlatform::SetLastErrorCode(uint32_t code) { ::SetLastError(code); }

}  // namespace platform
