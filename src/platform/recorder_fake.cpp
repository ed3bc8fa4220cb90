// The call log, the injected failures and the last error that the fakes of
// every concern share.
#include <algorithm>

#include "platform/fake_recorder.h"

namespace platform {

size_t FakeRecorder::CallCount(const std::string& op) const {
  return static_cast<size_t>(
      std::count_if(calls_.begin(), calls_.end(), [&](const Call& call) { return call.op == op; }));
}

void FakeRecorder::FailCall(const std::string& op, uint32_t error, int nth) {
  injections_.push_back(Injection{op, error, nth < 1 ? 1 : nth});
}

bool FakeRecorder::Enter(const char* op, const std::u16string& detail) {
  calls_.push_back(Call{op, detail});
  for (auto it = injections_.begin(); it != injections_.end(); ++it) {
    if (it->op != op) continue;
    if (--it->remaining > 0) continue;
    injected_ = it->error;
    lastError_ = it->error;
    injections_.erase(it);
    return true;
  }
  return false;
}

std::u16string FakeHex(uint32_t value) {
  static const char16_t kDigits[] = u"0123456789abcdef";
  std::u16string out;
  do {
    out.insert(out.begin(), kDigits[value & 0xF]);
    value >>= 4;
  } while (value != 0);
  return out;
}

std::u16string FakeAscii(const std::string& text) { return std::u16string(text.begin(), text.end()); }

std::u16string FakeDecimal(uint64_t value) { return FakeAscii(std::to_string(value)); }

}  // namespace platform
