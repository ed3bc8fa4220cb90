// The thread's last error on Windows: the system's own.
#include <windows.h>

#include "platform/error_codes.h"

namespace platform {

class WinErrorCodes final : public ErrorCodes {
 public:
  uint32_t LastError() override { return ::GetLastError(); }
  void SetLastErrorCode(uint32_t code) override { ::SetLastError(code); }
};

template <>
ErrorCodes& NativeService<ErrorCodes>() {
  static WinErrorCodes instance;
  return instance;
}

}  // namespace platform
