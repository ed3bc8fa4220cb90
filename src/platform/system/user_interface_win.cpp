// Message boxes with no owner window.
#include <windows.h>

#include "platform/system/user_interface.h"
#include "platform/text/win_text.h"

namespace platform {

class WinUserInterface final : public UserInterface {
 public:
  int32_t ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                         uint32_t style) override;
  int32_t ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption, uint32_t style,
                                 uint16_t iconId) override;
};

template <>
UserInterface& NativeService<UserInterface>() {
  static WinUserInterface instance;
  return instance;
}

int32_t WinUserInterface::ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                                         uint32_t style) {
  // A null caption gives the system's default one.
  return ::MessageBoxW(nullptr, AsWide(text), caption.has_value() ? AsWide(*caption) : nullptr, style);
}

int32_t WinUserInterface::ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption,
                                                 uint32_t style, uint16_t iconId) {
  static_assert(sizeof(MSGBOXPARAMSW) == 80, "MSGBOXPARAMSW of 64-bit Windows");
  MSGBOXPARAMSW params = {};
  params.cbSize = sizeof(params);
  params.hwndOwner = nullptr;
  params.hInstance = ::GetModuleHandleW(nullptr);
  params.lpszText = AsWide(text);
  params.lpszCaption = AsWide(caption);
  params.dwStyle = style;
  // With MB_USERICON the icon is the executable's own icon group of that id.
  params.lpszIcon = MAKEINTRESOURCEW(iconId);
  return ::MessageBoxIndirectW(&params);
}

}  // namespace platform
