// Plain types shared by every concern of the platform seam.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace platform {

// An opaque kernel object (process, thread, mutex, semaphore, event). Null is
// "no object", as a null HANDLE is on Windows.
using Handle = void*;

// Windows error codes the core looks at or produces. Every backend reports
// failures with these numbers so the core logs and decides identically.
enum : uint32_t {
  kErrorSuccess = 0,
  kErrorFileNotFound = 2,
  kErrorPathNotFound = 3,
  kErrorAccessDenied = 5,
  kErrorInvalidHandle = 6,
  kErrorNotEnoughMemory = 8,
  kErrorSharingViolation = 32,
  kErrorFileExists = 80,
  kErrorInvalidParameter = 87,
  kErrorCallNotImplemented = 120,
  kErrorDirNotEmpty = 145,
  kErrorBadExeFormat = 193,
  kErrorAlreadyExists = 183,
  kErrorFilenameExcedRange = 206,
  kErrorMoreData = 234,
  kErrorTooManyPosts = 298,
  kErrorResourceTypeNotFound = 1813,
  kErrorResourceNameNotFound = 1814,
};

// File attributes as FindFirstFileW reports them.
enum : uint32_t {
  kFileAttributeReadOnly = 0x1,
  kFileAttributeDirectory = 0x10,
  kFileAttributeNormal = 0x80,
  // A junction, or a symbolic link to a file or a directory: what it leads to
  // is somewhere else, possibly outside the directory being listed.
  kFileAttributeReparsePoint = 0x400,
};

// MoveFileExW flags.
enum : uint32_t {
  kMoveFileReplaceExisting = 0x1,
  kMoveFileDelayUntilReboot = 0x4,
  kMoveFileWriteThrough = 0x8,
};

// WaitForSingleObject results and the infinite timeout.
enum : uint32_t {
  kWaitObject0 = 0,
  kWaitTimeout = 258,
  kWaitFailed = 0xFFFFFFFFu,
  kInfinite = 0xFFFFFFFFu,
};

// One entry of a directory enumeration (FindFirstFileW / FindNextFileW).
struct DirEntry {
  std::u16string name;  // the entry's own name, no directory part
  uint32_t attributes = 0;
};

// What CreateProcessW hands back.
struct ProcessInfo {
  Handle process = nullptr;
  Handle thread = nullptr;
  uint32_t pid = 0;
  uint32_t tid = 0;
};

// One row of a process snapshot (Toolhelp's PROCESSENTRY32W).
struct ProcessEntry {
  uint32_t pid = 0;
  uint32_t parentPid = 0;
  std::u16string exeFile;  // file name of the executable, no directory
};

// Broken-down local time (the fields of struct tm that the log uses).
struct LocalTimeParts {
  int year = 0;   // full year, e.g. 2026
  int month = 0;  // 1..12
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

// The fields of a C runtime broken-down time.
inline LocalTimeParts LocalTimeFromTm(const std::tm& t) {
  return LocalTimeParts{t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec};
}

}  // namespace platform
