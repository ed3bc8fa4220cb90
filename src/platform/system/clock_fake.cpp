// The fake clock: set time, a fixed offset for local time, sleeps that pass at once.
#include "platform/system/fake_clock.h"

namespace platform {

namespace {

// Days since 1970-01-01 to a civil date (proleptic Gregorian).
void CivilFromDays(int64_t days, int* year, int* month, int* day) {
  days += 719468;
  const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const int64_t doe = days - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const int64_t m = mp < 10 ? mp + 3 : mp - 9;
  *year = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
  *month = static_cast<int>(m);
  *day = static_cast<int>(d);
}

}  // namespace

uint64_t FakeClock::NowMs() {
  if (Enter("NowMs", u"")) return 0;
  return nowMs;
}

bool FakeClock::ToLocalTime(int64_t seconds, LocalTimeParts* out) {
  if (Enter("ToLocalTime", FakeDecimal(static_cast<uint64_t>(seconds)))) return false;
  const int64_t local = seconds + localOffsetSeconds;
  if (seconds < 0 || local < 0 || seconds > 32535215999) {
    SetError(kErrorInvalidParameter);
    return false;
  }
  CivilFromDays(local / 86400, &out->year, &out->month, &out->day);
  const int64_t rest = local % 86400;
  out->hour = static_cast<int>(rest / 3600);
  out->minute = static_cast<int>(rest / 60 % 60);
  out->second = static_cast<int>(rest % 60);
  return true;
}

uint64_t FakeClock::MonotonicNs() {
  if (Enter("MonotonicNs", u"")) return 0;
  return nowMs * 1000000u;
}

void FakeClock::SleepMs(uint32_t ms) {
  if (Enter("SleepMs", FakeDecimal(ms))) return;
  nowMs += ms;  // time passes at once
}

}  // namespace platform
