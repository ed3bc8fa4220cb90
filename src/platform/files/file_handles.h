// Files reached through handles: open, read, write, seek, close, set times,
// and one directory level at a time. The zip reader of the installer toolkit
// works through this service; each operation keeps the contract of the
// Windows call it is named after (arguments, results, last error through
// LastError()).
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace platform {

// FILETIME: 100-nanosecond intervals since 1601-01-01 UTC, in two halves.
struct FileTime {
  uint32_t dwLowDateTime = 0;
  uint32_t dwHighDateTime = 0;
};

inline uint64_t FileTimeValue(const FileTime& t) {
  return (static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime;
}
inline FileTime MakeFileTime(uint64_t value) {
  FileTime t;
  t.dwLowDateTime = static_cast<uint32_t>(value);
  t.dwHighDateTime = static_cast<uint32_t>(value >> 32);
  return t;
}

// SYSTEMTIME, field for field.
struct SystemTime {
  uint16_t wYear = 0;
  uint16_t wMonth = 0;
  uint16_t wDayOfWeek = 0;
  uint16_t wDay = 0;
  uint16_t wHour = 0;
  uint16_t wMinute = 0;
  uint16_t wSecond = 0;
  uint16_t wMilliseconds = 0;
};

// INVALID_HANDLE_VALUE, what CreateFileW gives on failure.
inline Handle InvalidFileHandle() { return reinterpret_cast<Handle>(static_cast<intptr_t>(-1)); }

enum : uint32_t {
  kGenericRead = 0x80000000u,
  kGenericWrite = 0x40000000u,
  kFileShareRead = 0x1,
  kCreateNew = 1,
  kCreateAlways = 2,
  kOpenExisting = 3,
  kFileBegin = 0,
  kFileCurrent = 1,
  kFileEnd = 2,
  kInvalidSetFilePointer = 0xFFFFFFFFu,
  kErrorInvalidFunction = 1,
  kErrorNegativeSeek = 131,
};

class FileHandles {
 public:
  virtual ~FileHandles() = default;

  // CreateFileW(path, access, share, NULL, disposition, attributes, NULL).
  // InvalidFileHandle() and last error on failure. With kCreateAlways an
  // existing file is truncated and the last error is 183; with kCreateNew an
  // existing file is left alone and the call fails with 80.
  virtual Handle CreateFileHandle(const std::u16string& path, uint32_t access, uint32_t share, uint32_t disposition,
                            uint32_t attributes) = 0;

  // ReadFile: false and last error on failure; *read is 0 at the end.
  virtual bool ReadFile(Handle file, void* buffer, uint32_t bytes, uint32_t* read) = 0;

  // WriteFile: false and last error on failure (112 for a full disk).
  virtual bool WriteFile(Handle file, const void* buffer, uint32_t bytes, uint32_t* written) = 0;

  // SetFilePointer(file, distance, NULL, method): the new position, or
  // kInvalidSetFilePointer and last error (1 for a handle that cannot seek,
  // 131 before the start, 87 past 4 GiB).
  virtual uint32_t SetFilePointer(Handle file, int32_t distance, uint32_t method) = 0;

  // CloseHandle.
  virtual bool CloseHandle(Handle file) = 0;

  // SetFileTime; a null time is left as it is. The POSIX backend has no
  // creation time to set and ignores it.
  virtual bool SetFileTime(Handle file, const FileTime* creation, const FileTime* access, const FileTime* write) = 0;

  // CreateDirectoryW(path, NULL): one level. False and last error (183 when
  // it exists, 3 when the parent is missing).
  virtual bool CreateOneDirectory(const std::u16string& path) = 0;

  // SystemTimeToFileTime: false (last error 87) for an invalid date.
  virtual bool SystemTimeToFileTime(const SystemTime& time, FileTime* out) = 0;

  // LocalFileTimeToFileTime: local wall time to UTC with the zone's current
  // bias.
  virtual bool LocalFileTimeToFileTime(const FileTime& local, FileTime* out) = 0;
};

}  // namespace platform
