// What every fake of the platform's concerns shares: the log of calls in
// order, the failures a test injects, and the last error. A fake of one
// concern makes its own recorder when none is given; the whole fake world
// (fake_platform.h) gives all of its fakes one, so the log spans every concern.
//
// Operation names are the services' method names: "PathExists", "MovePath",
// "OpenStream", "StartProcess", "NewMutex", "RsaEncrypt", ...
//
// A failed call returns what the Windows call returns on failure: false, a
// null handle or stream, kWaitFailed, 0xFFFFFFFF attributes; the int32_t
// status methods (MakeDirectoryTree, the registry, the BCrypt steps) return
// the chosen error itself. The last error is set to the chosen error.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/error_codes.h"
#include "platform/service.h"

namespace platform {

class FakeRecorder : public ErrorCodes {
 public:
  FakeRecorder() = default;
  FakeRecorder(const FakeRecorder&) = delete;
  FakeRecorder& operator=(const FakeRecorder&) = delete;

  struct Call {
    std::string op;
    std::u16string detail;  // the main argument (path, name, command line)
  };
  const std::vector<Call>& calls() const { return calls_; }
  size_t CallCount(const std::string& op) const;
  void ClearCalls() { calls_.clear(); }

  // The nth next call of `op` (1 = the very next) fails with `error`.
  void FailCall(const std::string& op, uint32_t error, int nth = 1);

  // The last error every fake sharing this recorder leaves (ErrorCodes).
  uint32_t LastError() override { return lastError_; }
  void SetLastErrorCode(uint32_t code) override { lastError_ = code; }

  // --- For the fakes ---------------------------------------------------------
  // Records the call; true (with the last error set) when it must fail.
  bool Enter(const char* op, const std::u16string& detail);
  // The error of the failure Enter injected last.
  uint32_t InjectedError() const { return injected_; }
  // Takes over the last error the native backend left.
  void TakeNativeError() { lastError_ = NativeService<ErrorCodes>().LastError(); }

 private:
  struct Injection {
    std::string op;
    uint32_t error;
    int remaining;
  };
  ScopedService<ErrorCodes> scope_{this};
  std::vector<Call> calls_;
  std::vector<Injection> injections_;
  uint32_t injected_ = 0;
  uint32_t lastError_ = 0;
};

// The base of each concern's fake: the recorder it was given, or one of its
// own when it stands alone. A recorder is the current ErrorCodes while it
// lives, so a fake standing alone inside the whole fake world would take the
// last error over for its lifetime: fake one concern or all of them.
class RecordingFake {
 public:
  FakeRecorder& recorder() { return *recorder_; }

 protected:
  explicit RecordingFake(FakeRecorder* shared)
      : own_(shared == nullptr ? std::make_unique<FakeRecorder>() : nullptr),
        recorder_(shared != nullptr ? shared : own_.get()) {}
  bool Enter(const char* op, const std::u16string& detail) { return recorder_->Enter(op, detail); }
  uint32_t InjectedError() const { return recorder_->InjectedError(); }
  void SetError(uint32_t code) { recorder_->SetLastErrorCode(code); }
  void TakeNativeError() { recorder_->TakeNativeError(); }

 private:
  std::unique_ptr<FakeRecorder> own_;
  FakeRecorder* recorder_;
};

// Details for the call log.
std::u16string FakeHex(uint32_t value);
std::u16string FakeDecimal(uint64_t value);
std::u16string FakeAscii(const std::string& text);

}  // namespace platform
