// Wall clock, local time and a monotonic clock.
#pragma once

#include <cstdint>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

class Clock {
 public:
  virtual ~Clock() = default;

  // _ftime64_s: seconds since the Unix epoch times 1000 plus the millisecond
  // field. UTC; may go backwards with the system clock.
  virtual uint64_t NowMs() = 0;

  // _localtime64_s: breaks seconds since the epoch down in the local time
  // zone. False when the value cannot be represented.
  virtual bool ToLocalTime(int64_t seconds, LocalTimeParts* out) = 0;

  // A monotonic clock in nanoseconds, comparable across processes of the
  // same machine (CLOCK_MONOTONIC; QueryPerformanceCounter on Windows).
  virtual uint64_t MonotonicNs() = 0;

  // Sleep.
  virtual void SleepMs(uint32_t ms) = 0;
};

}  // namespace platform
