// Named events on Linux. An automatic-reset event is a named semaphore of
// the platform's kernel-object namespace with a maximum count of 1: setting
// it releases one waiter (or stays set until one comes), a set event stays
// set, and a wait takes it back. The event lives while some process holds a
// handle, as on Windows. Manual-reset events are not offered here.
#include "platform/error_codes.h"
#include "platform/posix_translation.h"
#include "platform/processes/named_events.h"
#include "platform/processes/processes.h"

namespace platform {
namespace {

class PosixNamedEvents final : public NamedEvents {
 public:
  Handle CreateNamedEvent(const std::u16string& name, bool manualReset, bool initialState) override {
    if (manualReset) {
      posix::SetError(kErrorInvalidParameter);
      return nullptr;
    }
    return NativeService<Processes>().NewSemaphore(name, initialState ? 1 : 0, 1);
  }
  bool SignalEvent(Handle event) override {
    auto& processes = NativeService<Processes>();
    auto& errors = NativeService<ErrorCodes>();
    if (processes.ReleaseSem(event, 1, nullptr)) return true;
    // Setting an event that is set already is no error.
    if (errors.LastError() == kErrorTooManyPosts) {
      errors.SetLastErrorCode(kErrorSuccess);
      return true;
    }
    return false;
  }
};

}  // namespace

template <>
NamedEvents& NativeService<NamedEvents>() {
  static PosixNamedEvents events;
  return events;
}

}  // namespace platform
