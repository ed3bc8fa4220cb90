// Linux has no shell to tell: the call is not implemented here (120).
#include "platform/posix_translation.h"
#include "platform/shell/shell_notify.h"

namespace platform {
namespace {

class PosixShellNotifications final : public ShellNotifications {
 public:
  bool NotifyAssociationsChanged() override {
    posix::SetError(kErrorCallNotImplemented);
    return false;
  }
};

}  // namespace

template <>
ShellNotifications& NativeService<ShellNotifications>() {
  static PosixShellNotifications notifications;
  return notifications;
}

}  // namespace platform
