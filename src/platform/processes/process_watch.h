// Watching a process that someone else started: opening it by identifier as
// a kernel handle, and waiting for the first of several kernel objects. A
// service of its own (see service.h); the handles it
// gives are waited on, asked for their exit code and closed through the
// Processes (WaitOne, ExitCodeOf, CloseObject) like every kernel object.
//
// On Linux a process opened here is watched through its pidfd. Its end is
// seen for any process; its exit code only for a child of ours (a zombie not
// yet collected): for any other ended process ExitCodeOf fails with 5.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

enum : uint32_t {
  kSynchronize = 0x00100000,  // SYNCHRONIZE
};

class ProcessWatch {
 public:
  virtual ~ProcessWatch() = default;
  // OpenProcess(access, FALSE, pid). Null and last error on failure (87 for
  // an identifier no process has).
  virtual Handle OpenProcessHandle(uint32_t access, uint32_t pid) = 0;
  // WaitForMultipleObjects(count, objects, FALSE, timeoutMs): kWaitObject0 + i
  // for the first signalled object i (taking an event or semaphore as a
  // wait does), kWaitTimeout or kWaitFailed with the last error.
  virtual uint32_t WaitAny(const std::vector<Handle>& objects, uint32_t timeoutMs) = 0;
};

}  // namespace platform
