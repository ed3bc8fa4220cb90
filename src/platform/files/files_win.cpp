// Files and directories through the Win32 and shell path calls.
#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <io.h>

#include <cstdio>

#include "platform/files/files.h"
#include "platform/text/win_text.h"

namespace platform {

class WinFiles final : public Files {
 public:
  bool PathExists(const std::u16string& path) override;
  bool PathIsDir(const std::u16string& path) override;
  int32_t MakeDirectoryTree(const std::u16string& path) override;
  bool MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) override;
  bool DeleteOneFile(const std::u16string& path) override;
  bool RemoveOneDirectory(const std::u16string& path) override;
  bool FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) override;
  uint32_t GetAttributes(const std::u16string& path) override;
  bool SetAttributes(const std::u16string& path, uint32_t attributes) override;
  std::FILE* OpenStream(const std::u16string& path, const char* mode) override;
  bool AppendShared(std::FILE* stream, const std::string& bytes) override;
};

template <>
Files& NativeService<Files>() {
  static WinFiles instance;
  return instance;
}

bool WinFiles::PathExists(const std::u16string& path) { return ::PathFileExistsW(AsWide(path)) != FALSE; }

bool WinFiles::PathIsDir(const std::u16string& path) { return ::PathIsDirectoryW(AsWide(path)) != FALSE; }

int32_t WinFiles::MakeDirectoryTree(const std::u16string& path) {
  return ::SHCreateDirectoryExW(nullptr, AsWide(path), nullptr);
}

bool WinFiles::MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) {
  // Flags 0 is the plain MoveFileW of the callers that rename directories.
  if (flags == 0) {
    return ::MoveFileW(AsWide(from), AsWide(to)) != FALSE;
  }
  // An empty target with MOVEFILE_DELAY_UNTIL_REBOOT is the null target
  // that deletes the file at the next start of the system.
  return ::MoveFileExW(AsWide(from), to.empty() ? nullptr : AsWide(to), flags) != FALSE;
}

bool WinFiles::DeleteOneFile(const std::u16string& path) { return ::DeleteFileW(AsWide(path)) != FALSE; }

bool WinFiles::RemoveOneDirectory(const std::u16string& path) { return ::RemoveDirectoryW(AsWide(path)) != FALSE; }

bool WinFiles::FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) {
  WIN32_FIND_DATAW data = {};
  HANDLE find = ::FindFirstFileW(AsWide(pattern), &data);
  if (find == INVALID_HANDLE_VALUE) {
    return false;
  }
  std::vector<DirEntry> found;
  do {
    DirEntry entry;
    entry.name = FromWide(data.cFileName);
    entry.attributes = data.dwFileAttributes;
    found.push_back(std::move(entry));
  } while (::FindNextFileW(find, &data) != FALSE);
  // The walk ends with ERROR_NO_MORE_FILES; FindClose keeps that last error
  // on success.
  ::FindClose(find);
  *entries = std::move(found);
  return true;
}

uint32_t WinFiles::GetAttributes(const std::u16string& path) { return ::GetFileAttributesW(AsWide(path)); }

bool WinFiles::SetAttributes(const std::u16string& path, uint32_t attributes) {
  return ::SetFileAttributesW(AsWide(path), attributes) != 0;
}

std::FILE* WinFiles::OpenStream(const std::u16string& path, const char* mode) {
  // The modes are ASCII ("rb", "a+b" ...), so widening is a plain copy.
  std::u16string wideMode;
  for (const char* c = mode; *c != '\0'; ++c) {
    wideMode.push_back(static_cast<char16_t>(static_cast<unsigned char>(*c)));
  }
  return ::_wfopen(AsWide(path), AsWide(wideMode));
}

bool WinFiles::AppendShared(std::FILE* stream, const std::string& bytes) {
  // The C runtime appends by moving to the end and then writing, so two
  // processes can both write at the same old end. Writers therefore take turns
  // on an exclusive lock of one byte far beyond any real file size: it orders
  // the appenders without blocking anyone who only reads the file.
  HANDLE file = reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
  OVERLAPPED turn = {};
  turn.OffsetHigh = 0x40000000u;
  const bool locked = file != INVALID_HANDLE_VALUE && ::LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &turn) != FALSE;
  // Without the lock (a file system that has none) the piece is still written.
  const bool written = bytes.empty() || std::fwrite(bytes.data(), bytes.size(), 1, stream) == 1;
  const bool flushed = std::fflush(stream) == 0;
  if (locked) ::UnlockFileEx(file, 0, 1, 0, &turn);
  return written && flushed;
}

}  // namespace platform
