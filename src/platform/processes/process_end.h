// Ending a process that someone else started, by its identifier: what an
// uninstaller does to the product's processes before it removes their files.
// A service of its own (see service.h).
#pragma once

#include <cstdint>

#include "platform/service.h"

namespace platform {

class ProcessEnd {
 public:
  virtual ~ProcessEnd() = default;
  // OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE), TerminateProcess with
  // `exitCode`, then a wait of up to `timeoutMs` for its end. 0 when the
  // process has ended; otherwise the Windows error code: 87 for an identifier
  // no process has (nothing to end), 5 when it may not be ended, 1460
  // (ERROR_TIMEOUT) when it was told but had not ended in time.
  virtual uint32_t EndProcessById(uint32_t pid, uint32_t exitCode, uint32_t timeoutMs) = 0;
};

}  // namespace platform
