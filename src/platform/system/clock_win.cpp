// Wall clock, local time and the performance counter.
#include <windows.h>
#include <sys/timeb.h>

#include <ctime>

#include "platform/system/clock.h"

namespace platform {

class WinClock final : public Clock {
 public:
  uint64_t NowMs() override;
  bool ToLocalTime(int64_t seconds, LocalTimeParts* out) override;
  uint64_t MonotonicNs() override;
  void SleepMs(uint32_t ms) override;
};

template <>
Clock& NativeService<Clock>() {
  static WinClock instance;
  return instance;
}

uint64_t WinClock::NowMs() {
  struct __timeb64 now = {};
  if (::_ftime64_s(&now) != 0) {
    return 0;
  }
  return static_cast<uint64_t>(now.time) * 1000u + now.millitm;
}

bool WinClock::ToLocalTime(int64_t seconds, LocalTimeParts* out) {
  __time64_t value = seconds;
  struct tm parts = {};
  if (::_localtime64_s(&parts, &value) != 0) {
    return false;
  }
  *out = LocalTimeFromTm(parts);
  return true;
}

uint64_t WinClock::MonotonicNs() {
  static const uint64_t frequency = [] {
    LARGE_INTEGER f = {};
    ::QueryPerformanceFrequency(&f);
    return f.QuadPart > 0 ? static_cast<uint64_t>(f.QuadPart) : 1u;
  }();
  LARGE_INTEGER counter = {};
  ::QueryPerformanceCounter(&counter);
  const uint64_t ticks = static_cast<uint64_t>(counter.QuadPart);
  // Whole seconds and the remainder apart, so that the product cannot
  // overflow for any uptime.
  return ticks / frequency * 1000000000u + ticks % frequency * 1000000000u / frequency;
}

void WinClock::SleepMs(uint32_t ms) { ::Sleep(ms); }

}  // namespace platform
