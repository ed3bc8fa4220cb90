#include <windows.h>

#include "platform/system/admin_check.h"

namespace platform {
namespace {

class WinAdminCheck final : public AdminCheck {
 public:
  bool AllocateAdministratorsSid(Sid* sid) override {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID created = nullptr;
    const BOOL ok = ::AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                               DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, &created);
    *sid = ok ? created : nullptr;
    return ok != FALSE;
  }
  bool CheckTokenMembership(Sid sid, bool* member) override {
    BOOL isMember = FALSE;
    const BOOL ok = ::CheckTokenMembership(nullptr, sid, &isMember);
    *member = ok && isMember;
    return ok != FALSE;
  }
  void FreeSid(Sid sid) override { ::FreeSid(sid); }
};

}  // namespace

template <>
AdminCheck& NativeService<AdminCheck>() {
  static WinAdminCheck check;
  return check;
}

}  // namespace platform
