// The fake of the administrator check.
#include "platform/system/fake_admin_check.h"

namespace platform {

bool FakeAdminCheck::AllocateAdministratorsSid(Sid* sid) {
  if (sidFails) {
    *sid = nullptr;
    return false;
  }
  ++liveSids;
  *sid = &sid_;
  return true;
}

bool FakeAdminCheck::CheckTokenMembership(Sid sid, bool* isMember) {
  *isMember = !checkFails && member;
  return !checkFails;
}

void FakeAdminCheck::FreeSid(Sid sid) {
  if (sid == &sid_) --liveSids;
}

}  // namespace platform
