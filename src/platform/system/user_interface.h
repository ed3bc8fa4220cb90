// Message boxes. On POSIX a box is one line on standard error ("caption:
// text"); with a graphical session and a dialog program it is also a real
// dialog that blocks. Without a graphical session nothing waits for a person.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/service.h"

namespace platform {

enum : uint32_t {
  kMbOk = 0,
  kMbIconExclamation = 48,
  kMbUserIcon = 128,
};

class UserInterface {
 public:
  virtual ~UserInterface() = default;

  // MessageBoxW(NULL, text, caption, style). No caption: the system's default
  // caption ("Error" on Windows).
  virtual int32_t ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                                 uint32_t style) = 0;

  // MessageBoxIndirectW with no owner, the own module's instance and the icon
  // resource iconId (used with kMbUserIcon).
  virtual int32_t ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption,
                                         uint32_t style, uint16_t iconId) = 0;
};

}  // namespace platform
