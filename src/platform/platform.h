// The platform seam. Every operating-system call of the core goes through the
// one process-wide Platform reached by platform::Get(). Backends: win (the
// real Windows calls), posix (the Linux equivalents) and fake (tests).
#pragma once

#include <cstdint>

#include "platform/clock.h"
#include "platform/crypto.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "platform/registry.h"
#include "platform/resources.h"
#include "platform/system_info.h"
#include "platform/types.h"
#include "platform/user_interface.h"

namespace platform {

class Platform : public Files,
                 public Environment,
                 public Clock,
                 public Processes,
                 public Registry,
                 public Crypto,
                 public UserInterface,
                 public Resources,
                 public SystemInfo {
 public:
  ~Platform() override = default;

  // GetLastError / SetLastError of the calling thread, in Windows codes.
  virtual uint32_t LastError() = 0;
  virtual void SetLastErrorCode(uint32_t code) = 0;
};

// The current platform: the native backend unless a ScopedOverride is active.
Platform& Get();

// The native backend of this build (win or posix), created on first use.
Platform& Native();

// Installs another platform for the life of the object (tests).
class ScopedOverride {
 public:
  explicit ScopedOverride(Platform* replacement);
  ~ScopedOverride();
  ScopedOverride(const ScopedOverride&) = delete;
  ScopedOverride& operator=(const ScopedOverride&) = delete;

 private:
  Platform* previous_;
};

}  // namespace platform
