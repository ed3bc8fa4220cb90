// The fake of message boxes: every box recorded, each answering what the
// test sets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/fake_recorder.h"
#include "platform/system/user_interface.h"

namespace platform {

class FakeUserInterface : public UserInterface, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeUserInterface(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

  // Message boxes shown, in order; every box answers `messageBoxAnswer`.
  struct MessageBoxRecord {
    std::u16string text;
    std::optional<std::u16string> caption;
    uint32_t style = 0;
    uint16_t iconId = 0;
    bool indirect = false;
  };
  std::vector<MessageBoxRecord> messageBoxes;
  int32_t messageBoxAnswer = 1;

  int32_t ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                         uint32_t style) override;
  int32_t ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption, uint32_t style,
                                 uint16_t iconId) override;

 private:
  ScopedService<UserInterface> scope_{this};
};

}  // namespace platform
