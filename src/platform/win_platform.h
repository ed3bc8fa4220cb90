// The Windows backend: every method is the Windows call its seam declaration
// names, with that call's result and last error left as the call left them.
// Internal to src/platform; the core reaches it through platform::Native().
#pragma once

#include "platform/platform.h"

namespace platform {

class WinPlatform final : public Platform {
 public:
  WinPlatform() = default;
  ~WinPlatform() override = default;

  ORVANE_PLATFORM_OVERRIDES
};

}  // namespace platform
