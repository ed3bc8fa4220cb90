// The fake of the administrator check, for unit tests: it installs itself for its
// lifetime, records its calls and answers from what the test sets.
#pragma once



#include "platform/system/admin_check.h"

namespace platform {

class FakeAdminCheck final : public AdminCheck {
 public:
  bool sidFails = false;
  bool checkFails = false;
  bool member = true;
  int liveSids = 0;

  bool AllocateAdministratorsSid(Sid* sid) override;
  bool CheckTokenMembership(Sid sid, bool* isMember) override;
  void FreeSid(Sid sid) override;

 private:
  int sid_ = 0;
  ScopedService<AdminCheck> scope_{this};
};

}  // namespace platform
