// Wall clock, local time and the monotonic clock on Linux.
#include <time.h>

#include <cerrno>

#include "platform/posix_translation.h"
#include "platform/system/clock.h"

namespace platform {

class PosixClock final : public Clock {
 public:
  uint64_t NowMs() override;
  bool ToLocalTime(int64_t seconds, LocalTimeParts* out) override;
  uint64_t MonotonicNs() override;
  void SleepMs(uint32_t ms) override;
};

template <>
Clock& NativeService<Clock>() {
  static PosixClock instance;
  return instance;
}

uint64_t PosixClock::NowMs() {
  struct timespec ts;
  ::clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec / 1000000);
}

bool PosixClock::ToLocalTime(int64_t seconds, LocalTimeParts* out) {
  // The Windows runtime takes times from 1970 up to the end of the year 3000.
  constexpr int64_t kLastSecondOf3000 = 32535215999;
  if (seconds < 0 || seconds > kLastSecondOf3000) {
    posix::SetError(kErrorInvalidParameter);
    return false;
  }
  const time_t t = static_cast<time_t>(seconds);
  struct tm parts;
  if (::localtime_r(&t, &parts) == nullptr) {
    posix::SetError(kErrorInvalidParameter);
    return false;
  }
  *out = LocalTimeFromTm(parts);
  return true;
}

uint64_t PosixClock::MonotonicNs() {
  struct timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

void PosixClock::SleepMs(uint32_t ms) {
  struct timespec request;
  request.tv_sec = static_cast<time_t>(ms / 1000);
  request.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
  while (::nanosleep(&request, &request) != 0 && errno == EINTR) {
  }
}

}  // namespace platform
