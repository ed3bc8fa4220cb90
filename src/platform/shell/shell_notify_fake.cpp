// The fake of the shell's notification.
#include "platform/shell/fake_shell_notify.h"

#include "platform/error_codes.h"

namespace platform {

bool FakeShellNotifications::NotifyAssociationsChanged() {
  ++notifications;
  if (fails) {
    SetLastErrorCode(kErrorCallNotImplemented);
    return false;
  }
  return true;
}

}  // namespace platform
