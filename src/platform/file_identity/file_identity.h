// Which file a path leads to, by the file system's own identity rather than by
// the path's spelling: two paths name the same file when they give the same
// identity, whatever hard links, links, junctions, letter case, `.` or `..`
// lie between them. A service of its own (see service.h).
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

// Windows: the volume serial number and the 64-bit file index of
// GetFileInformationByHandle. Linux: st_dev and st_ino.
struct FileId {
  uint64_t volume = 0;
  uint64_t index = 0;
  bool operator==(const FileId& other) const { return volume == other.volume && index == other.index; }
  bool operator!=(const FileId& other) const { return !(*this == other); }
};

class FileIdentity {
 public:
  virtual ~FileIdentity() = default;
  // The identity of what `path` leads to, links followed. Windows opens it
  // with CreateFileW(FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE |
  // FILE_SHARE_DELETE, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS), so a file
  // in use or a directory can be asked too, and asks
  // GetFileInformationByHandle. False with the last error of the call that
  // failed (2 no such file, 3 no such directory, 5 refused).
  virtual bool IdentifyFile(const std::u16string& path, FileId* id) = 0;
};

// True when both paths lead to one and the same file. False when they do
// not, or when either cannot be identified (the last error is then that
// query's).
bool IsSameFile(const std::u16string& a, const std::u16string& b);

}  // namespace platform
