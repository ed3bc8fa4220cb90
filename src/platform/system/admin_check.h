// The administrator check: whether the calling process's effective token is
// a member of the local Administrators group. A service of its own (see
// service.h).
#pragma once

#include "platform/service.h"

namespace platform {

// A security identifier (PSID).
using Sid = void*;

class AdminCheck {
 public:
  virtual ~AdminCheck() = default;
  // AllocateAndInitializeSid(SECURITY_NT_AUTHORITY, 2,
  // SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0...): the
  // Administrators SID. False and the last error on failure.
  virtual bool AllocateAdministratorsSid(Sid* sid) = 0;
  // CheckTokenMembership(null, sid, &member): the caller's effective token,
  // so a process that has not been elevated is no member. False on failure.
  virtual bool CheckTokenMembership(Sid sid, bool* member) = 0;
  // FreeSid.
  virtual void FreeSid(Sid sid) = 0;
};

}  // namespace platform
