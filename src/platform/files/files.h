// Files and directories. Paths are Windows paths (backslash separators); the
// POSIX backend translates them at its boundary and matches names without
// regard to ASCII case, as Windows does.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

class Files {
 public:
  virtual ~Files() = default;

  // PathFileExistsW: true if a file or directory of that path exists.
  virtual bool PathExists(const std::u16string& path) = 0;

  // PathIsDirectoryW: true if the path names an existing directory.
  virtual bool PathIsDir(const std::u16string& path) = 0;

  // SHCreateDirectoryExW(NULL, path, NULL): creates the directory and every
  // missing parent. Returns 0 on success, 183 (kErrorAlreadyExists) when the
  // directory exists already, else a Windows error code (3, 5, 206 ...).
  virtual int32_t MakeDirectoryTree(const std::u16string& path) = 0;

  // MoveFileExW; flags 0 is MoveFileW. Directories move too (within one
  // volume). Without kMoveFileReplaceExisting an existing target fails with
  // 183/80. On false the last error holds the reason (5 or 32 for in use).
  virtual bool MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) = 0;

  // DeleteFileW. False and last error on failure.
  virtual bool DeleteOneFile(const std::u16string& path) = 0;

  // RemoveDirectoryW: removes an empty directory. False and last error
  // (145 when not empty) on failure.
  virtual bool RemoveOneDirectory(const std::u16string& path) = 0;

  // FindFirstFileW / FindNextFileW / FindClose in one call. The pattern is a
  // directory path followed by a name pattern with '*' and '?' (e.g. "C:\a\*").
  // Entries come in the platform's order; "." and ".." are included where the
  // platform lists them. Returns false (last error set, entries untouched)
  // when the enumeration cannot start.
  virtual bool FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) = 0;

  // GetFileAttributesW. 0xFFFFFFFF (INVALID_FILE_ATTRIBUTES) and last error
  // when the path does not exist.
  virtual uint32_t GetAttributes(const std::u16string& path) = 0;

  // SetFileAttributesW. Of the attributes only the read-only bit has an
  // effect on POSIX (the owner's write permission). False and last error.
  virtual bool SetAttributes(const std::u16string& path, uint32_t attributes) = 0;

  // _wfopen with a narrow mode ("rb", "wb", "ab", "a+b"). Null and last
  // error on failure. The stream is closed with std::fclose.
  virtual std::FILE* OpenStream(const std::u16string& path, const char* mode) = 0;

  // Appends the bytes as one piece to a stream opened in an append mode.
  // Several launchers write the same log and report at once; each piece lands
  // whole at the file's end, never split by or written over another process's
  // piece. True when every byte was written and flushed.
  virtual bool AppendShared(std::FILE* stream, const std::string& bytes) = 0;
};

}  // namespace platform
