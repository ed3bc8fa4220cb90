// The fake of named events.
#include "platform/processes/fake_named_events.h"

namespace platform {

Handle FakeNamedEvents::CreateNamedEvent(const std::u16string& name, bool manualReset, bool initialState) {
  events.push_back({name, manualReset, initialState, 0});
  if (createFails) return nullptr;
  return reinterpret_cast<Handle>(events.size());
}

bool FakeNamedEvents::SignalEvent(Handle event) {
  const size_t index = reinterpret_cast<size_t>(event);
  if (index == 0 || index > events.size()) return false;
  ++events[index - 1].sets;
  return true;
}

}  // namespace platform
