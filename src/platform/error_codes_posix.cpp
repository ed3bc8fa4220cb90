// The thread's last error on Linux: the code the backend keeps per thread.
#include "platform/error_codes.h"
#include "platform/posix_translation.h"

namespace platform {

class PosixErrorCodes final : public ErrorCodes {
 public:
  uint32_t LastError() override { return posix::ThreadLastError(); }
  void SetLastErrorCode(uint32_t code) override { posix::SetError(code); }
};

template <>
ErrorCodes& NativeService<ErrorCodes>() {
  static PosixErrorCodes instance;
  return instance;
}

}  // namespace platform
