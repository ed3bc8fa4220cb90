#include <windows.h>
#include <shlobj.h>

#include "platform/shell/shell_notify.h"

namespace platform {
namespace {

class WinShellNotifications final : public ShellNotifications {
 public:
  bool NotifyAssociationsChanged() override {
    ::SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr);
    return true;
  }
};

}  // namespace

template <>
ShellNotifications& NativeService<ShellNotifications>() {
  static WinShellNotifications notifications;
  return notifications;
}

}  // namespace platform
