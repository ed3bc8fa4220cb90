// The fake clock: the time is what the test sets, local time is UTC shifted
// by a set offset, and a sleep passes at once.
#pragma once

#include <cstdint>
#include <string>

#include "platform/fake_recorder.h"
#include "platform/system/clock.h"

namespace platform {

class FakeClock : public Clock, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeClock(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

  uint64_t nowMs = 1763126526123ull;  // 2025-11-14 13:22:06.123 UTC
  // Local time is UTC shifted by this many seconds.
  int64_t localOffsetSeconds = 0;

  uint64_t NowMs() override;
  bool ToLocalTime(int64_t seconds, LocalTimeParts* out) override;
  uint64_t MonotonicNs() override;
  void SleepMs(uint32_t ms) override;

 private:
  ScopedService<Clock> scope_{this};
};

}  // namespace platform
