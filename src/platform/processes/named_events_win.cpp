#include <windows.h>

#include "platform/processes/named_events.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

class WinNamedEvents final : public NamedEvents {
 public:
  Handle CreateNamedEvent(const std::u16string& name, bool manualReset, bool initialState) override {
    return ::CreateEventW(nullptr, manualReset ? TRUE : FALSE, initialState ? TRUE : FALSE, AsWide(name));
  }
  bool SignalEvent(Handle event) override { return ::SetEvent(static_cast<HANDLE>(event)) != FALSE; }
};

}  // namespace

template <>
NamedEvents& NativeService<NamedEvents>() {
  static WinNamedEvents events;
  return events;
}

}  // namespace platform
