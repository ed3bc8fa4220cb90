// Telling the shell that something it shows changed. A service of its own
// (see service.h). Linux has no such shell: the call
// answers as Windows does for a function that is not implemented (false,
// last error 120), never as a success.
#pragma once

#include "platform/service.h"

namespace platform {

class ShellNotifications {
 public:
  virtual ~ShellNotifications() = default;
  // SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, NULL, NULL): the shell
  // drops its cached icons and associations and reads them afresh. The call
  // itself reports nothing, so true means that it was made.
  virtual bool NotifyAssociationsChanged() = 0;
};

}  // namespace platform
