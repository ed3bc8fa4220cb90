// The calling thread's last error, in Windows codes: the one home of the
// error that every service's operation leaves behind, as GetLastError /
// SetLastError are on Windows. Each backend call leaves here the code the
// Windows call would have left.
#pragma once

#include <cstdint>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

class ErrorCodes {
 public:
  virtual ~ErrorCodes() = default;

  // GetLastError / SetLastError of the calling thread.
  virtual uint32_t LastError() = 0;
  virtual void SetLastErrorCode(uint32_t code) = 0;
};

// The core's way to the current backend's last error.
inline uint32_t LastError() { return Service<ErrorCodes>().LastError(); }
inline void SetLastErrorCode(uint32_t code) { Service<ErrorCodes>().SetLastErrorCode(code); }

}  // namespace platform
