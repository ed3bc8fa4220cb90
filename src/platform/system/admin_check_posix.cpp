// The administrator check on Linux: the Administrators group stands for the
// superuser, so the effective user id 0 is the one member.
#include <unistd.h>

#include "platform/system/admin_check.h"

namespace platform {
namespace {

class PosixAdminCheck final : public AdminCheck {
 public:
  bool AllocateAdministratorsSid(Sid* sid) override {
    static int administrators = 0;
    *sid = &administrators;
    return true;
  }
  bool CheckTokenMembership(Sid sid, bool* member) override {
    *member = ::geteuid() == 0;
    return true;
  }
  void FreeSid(Sid sid) override {}
};

}  // namespace

template <>
AdminCheck& NativeService<AdminCheck>() {
  static PosixAdminCheck check;
  return check;
}

}  // namespace platform
