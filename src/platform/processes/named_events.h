// Named events (CreateEventW / SetEvent), by which a broker tells a waiting
// process that its work succeeded. A service of its own
// (see service.h); waiting and closing go through Processes::WaitOne and
// Processes::CloseObject like every kernel object.
#pragma once

#include <string>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

class NamedEvents {
 public:
  virtual ~NamedEvents() = default;
  // CreateEventW(null, manualReset, initialState, name): a handle, or null
  // and the last error. When the event exists already it is opened and the
  // last error is 183 (kErrorAlreadyExists).
  virtual Handle CreateNamedEvent(const std::u16string& name, bool manualReset, bool initialState) = 0;
  // SetEvent.
  virtual bool SignalEvent(Handle event) = 0;
};

}  // namespace platform
