// Files that only administrators may change: who owns a file or directory and
// whom its access list lets in, a directory made with an explicit protected
// access list, a file copied beside its final place and moved into it, and the
// Common Program Files folder. A service of its own (see
// service.h); the scheduled task's launcher is placed with it.
//
// Linux has neither owners of the Windows kind nor access lists nor that
// folder: every operation fails there with a Windows error and nothing is
// created or copied (see docs/posix-backend.md).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

// One entry of an access list as it stands: the ACE header's type and flags,
// the access mask as written (generic rights not mapped) and the trustee in
// string form ("S-1-5-32-545"). `sid` is empty for the ACE types whose
// trustee is not at the common place (the object ACEs).
struct AccessEntry {
  uint8_t type = 0;
  uint8_t flags = 0;
  uint32_t mask = 0;
  std::u16string sid;
};

// What the security descriptor of one file or directory says, read from the
// entry itself (a link or junction is not followed).
struct FileSecurity {
  uint32_t attributes = 0;  // as GetFileInformationByHandle reports them
  std::u16string owner;     // the owner's SID in string form
  bool hasDacl = false;     // false: no access list, or a null one (everyone may do anything)
  bool protectedDacl = false;  // SE_DACL_PROTECTED: nothing inherited from above
  std::vector<AccessEntry> entries;
};

// Values of the ACE header and of access masks that the core reads.
enum : uint8_t {
  kAccessAllowedAceType = 0x0,
  kAccessDeniedAceType = 0x1,
  kAccessAllowedCallbackAceType = 0x9,
  kInheritOnlyAce = 0x8,
};

class ProtectedFiles {
 public:
  virtual ~ProtectedFiles() = default;

  // SHGetSpecialFolderPathW(CSIDL_PROGRAM_FILES_COMMON): the folder without a
  // trailing separator. False and the last error when it cannot be got.
  virtual bool CommonProgramFilesFolder(std::u16string* path) = 0;

  // CreateFileW(READ_CONTROL | FILE_READ_ATTRIBUTES, every sharing,
  // FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT), then
  // GetFileInformationByHandle and GetSecurityInfo(owner, DACL). False and
  // the last error when the entry cannot be opened or read.
  virtual bool ReadSecurity(const std::u16string& path, FileSecurity* security) = 0;

  // CreateDirectoryW with the security descriptor
  // "O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;0x1200a9;;;BU)": owned by
  // the administrators, full control for them and the system, read and
  // execute for users, nothing inherited. False and the last error (183 when
  // the directory exists, 3 when its parent does not).
  virtual bool CreateProtectedDirectory(const std::u16string& path) = 0;

  // CopyFileW(source, target, FALSE): the new file takes the access list that
  // its directory hands down. False and the last error.
  virtual bool CopyFileTo(const std::u16string& source, const std::u16string& target) = 0;

  // MoveFileExW(source, target, MOVEFILE_REPLACE_EXISTING |
  // MOVEFILE_WRITE_THROUGH). False and the last error (5 when the target is a
  // running program).
  virtual bool ReplaceFile(const std::u16string& source, const std::u16string& target) = 0;
};

}  // namespace platform
