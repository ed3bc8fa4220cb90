// The fake message boxes: recorded, answering what the test sets.
#include "platform/system/fake_user_interface.h"

namespace platform {

int32_t FakeUserInterface::ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                                          uint32_t style) {
  if (Enter("ShowMessageBox", text)) return 0;
  messageBoxes.push_back(MessageBoxRecord{text, caption, style, 0, false});
  return messageBoxAnswer;
}

int32_t FakeUserInterface::ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption,
                                                  uint32_t style, uint16_t iconId) {
  if (Enter("ShowMessageBoxIndirect", text)) return 0;
  messageBoxes.push_back(MessageBoxRecord{text, caption, style, iconId, true});
  return messageBoxAnswer;
}

}  // namespace platform
