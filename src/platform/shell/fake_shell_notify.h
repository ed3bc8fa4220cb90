// The fake of the shell's notification, for unit tests: it installs itself for its
// lifetime, records its calls and answers from what the test sets.
#pragma once



#include "platform/shell/shell_notify.h"

namespace platform {

// Counts the notifications; with `fails` it answers false and sets the
// current platform's last error to 120, as the Linux backend does.
class FakeShellNotifications final : public ShellNotifications {
 public:
  int notifications = 0;
  bool fails = false;
  bool NotifyAssociationsChanged() override;

 private:
  ScopedService<ShellNotifications> scope_{this};
};

}  // namespace platform
