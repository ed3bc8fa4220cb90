// Holding a file and the directories above it open, so that what a check
// looked at is what a later step uses: while held, the file cannot be
// written, replaced, renamed or deleted, and no directory on its path can be
// renamed or deleted. A service of its own beside the Platform (see
// service.h).
#pragma once

#include <string>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

// Directories are split from a path at '\' (and '/'); a drive root or a
// share root is not a directory that can move and is not held.
std::u16string ParentDirectoryOf(const std::u16string& path);

class FileHold {
 public:
  virtual ~FileHold() = default;
  // Opens every directory on the path from the top down, each with
  // CreateFileW(GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
  // OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS), then the file itself with
  // CreateFileW(GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING): nobody may
  // delete or rename any of them, nor write the file. Programs can still be
  // started from the file. Returns the hold, or null with the last error of
  // the open that failed (nothing is then held).
  virtual Handle HoldFileAndParents(const std::u16string& path) = 0;
  // Closes every handle of the hold.
  virtual void ReleaseHold(Handle hold) = 0;
};

}  // namespace platform
