// The fake of named events, for unit tests: it installs itself for its
// lifetime, records its calls and answers from what the test sets.
#pragma once

#include <string>
#include <vector>

#include "platform/processes/named_events.h"

namespace platform {

class FakeNamedEvents final : public NamedEvents {
 public:
  struct Event {
    std::u16string name;
    bool manualReset = false, initialState = false;
    int sets = 0;
  };
  std::vector<Event> events;  // every event created, in order
  bool createFails = false;

  Handle CreateNamedEvent(const std::u16string& name, bool manualReset, bool initialState) override;
  bool SignalEvent(Handle event) override;

 private:
  ScopedService<NamedEvents> scope_{this};
};

}  // namespace platform
