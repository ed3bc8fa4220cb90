// Holding a file and every directory of its final path open, so that what a
// check looked at is what a later step uses. The file is opened first and
// its final path (every link and junction resolved) is taken from the open
// handle; each directory of that path is then held against rename and
// deletion, and the final path names the held file until the hold ends.
//
// FileHold is the service of handle-level calls the hold is made of, each
// with the contract of the Windows call it is named after; HeldFile is the
// hold itself, the same on every backend.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/file_identity/file_identity.h"
#include "platform/service.h"
#include "platform/types.h"

namespace platform {

// ERROR_BAD_PATHNAME: a path that does not name one place by itself.
constexpr uint32_t kErrorBadPathname = 161;

// The directory above `path`, split at '\' (and '/'); empty at the root. A
// root is never a directory that can move: "C:\", "\\server\share\",
// "\\?\C:\", "\\?\UNC\server\share\", or a leading "\" (a POSIX root).
std::u16string ParentDirectoryOf(const std::u16string& path);

// True for "X:\..." and "\\..." (a share, "\\?\", "\\.\"): a path that names
// one place whatever the current directory and drive.
bool IsAbsoluteWindowsPath(const std::u16string& path);

// The final path in the form programs are usually started by: "\\?\C:\d\f"
// as "C:\d\f" and "\\?\UNC\srv\share\f" as "\\srv\share\f", where Windows
// reads that form back to the very same names: shorter than 260 characters,
// no component "." or "..", none ending in a dot or blank, none holding ':'
// or '/', none a device name (CON, NUL, COM1, LPT1, CONIN$, ...). Any other
// path is returned as it is.
std::u16string PlainFormOf(const std::u16string& finalPath);

class FileHold {
 public:
  enum class Entry { kFile, kDirectory };

  virtual ~FileHold() = default;

  // Whether `path` names one place by itself on this system: on Windows as
  // IsAbsoluteWindowsPath, on Linux a path from the root.
  virtual bool IsAbsolutePath(const std::u16string& path) = 0;

  // kFile: CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, NULL,
  // OPEN_EXISTING, 0, NULL): links on the way are followed; while open the
  // file cannot be written, renamed, replaced or deleted, and it can still be
  // started. A directory is refused (5).
  // kDirectory: CreateFileW(path, GENERIC_READ, FILE_SHARE_READ |
  // FILE_SHARE_WRITE, NULL, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, NULL):
  // a link is followed to its target; while open the directory opened cannot
  // be renamed or deleted.
  // Null and the open's last error on failure.
  virtual Handle OpenEntry(const std::u16string& path, Entry kind) = 0;

  // GetFinalPathNameByHandleW(entry, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS):
  // "\\?\C:\dir\file" or "\\?\UNC\server\share\dir\file", every link
  // resolved, letter case as stored. On Linux the resolved path of the open
  // descriptor. False and last error on failure.
  virtual bool FinalPathOf(Handle entry, std::u16string* path) = 0;

  // GetFileInformationByHandle's volume serial number and file index.
  // False and last error on failure.
  virtual bool IdentityOf(Handle entry, FileId* identity) = 0;

  // CloseHandle.
  virtual void CloseEntry(Handle entry) = 0;
};

// One held file. Hold() opens the file, takes its final path from the open
// handle, holds every directory of that final path from the top down (each
// must be the directory of that very name, not a link leading elsewhere),
// and then opens the final path in its plain form once more to see that it
// leads to the held file. From then until Release() (or destruction) nobody
// can rename or delete any directory of the final path, nor write, replace,
// rename or delete the file: finalPath() names the held file and nothing
// else.
class HeldFile {
 public:
  HeldFile() = default;
  ~HeldFile() { Release(); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  // True when held. On failure nothing stays open and the last error (also
  // error()) is: 161 for a path that is not absolute, the error of the open
  // or query that failed (2, 3, 5, 32, ...), or 32 when a directory of the
  // final path is a link or the final path no longer leads to the file
  // (someone was changing the path while it was being held).
  bool Hold(const std::u16string& path);

  // Closes every handle of the hold. Idempotent.
  void Release();

  // The final path of the held file in its plain form; empty when nothing
  // is held.
  const std::u16string& finalPath() const { return finalPath_; }
  uint32_t error() const { return error_; }

 private:
  bool Fail(uint32_t error);

  FileHold* files_ = nullptr;
  std::vector<Handle> handles_;
  std::u16string finalPath_;
  uint32_t error_ = 0;
};

}  // namespace platform
