// File handles through the Win32 calls themselves.
#include <windows.h>

#include "platform/files/file_handles.h"
#include "platform/service.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

static_assert(sizeof(FileTime) == sizeof(FILETIME), "FileTime mirrors FILETIME");
static_assert(sizeof(SystemTime) == sizeof(SYSTEMTIME), "SystemTime mirrors SYSTEMTIME");

class WinFileHandles final : public FileHandles {
 public:
  Handle CreateFileHandle(const std::u16string& path, uint32_t access, uint32_t share, uint32_t disposition,
                    uint32_t attributes) override {
    return ::CreateFileW(AsWide(path), access, share, nullptr, disposition, attributes, nullptr);
  }

  bool ReadFile(Handle file, void* buffer, uint32_t bytes, uint32_t* read) override {
    DWORD n = 0;
    const BOOL ok = ::ReadFile(file, buffer, bytes, &n, nullptr);
    *read = n;
    return ok != FALSE;
  }

  bool WriteFile(Handle file, const void* buffer, uint32_t bytes, uint32_t* written) override {
    DWORD n = 0;
    const BOOL ok = ::WriteFile(file, buffer, bytes, &n, nullptr);
    *written = n;
    return ok != FALSE;
  }

  uint32_t SetFilePointer(Handle file, int32_t distance, uint32_t method) override {
    return ::SetFilePointer(file, distance, nullptr, method);
  }

  bool CloseHandle(Handle file) override { return ::CloseHandle(file) != FALSE; }

  bool SetFileTime(Handle file, const FileTime* creation, const FileTime* access, const FileTime* write) override {
    return ::SetFileTime(file, reinterpret_cast<const FILETIME*>(creation), reinterpret_cast<const FILETIME*>(access),
                         reinterpret_cast<const FILETIME*>(write)) != FALSE;
  }

  bool CreateOneDirectory(const std::u16string& path) override { return ::CreateDirectoryW(AsWide(path), nullptr) != FALSE; }

  bool SystemTimeToFileTime(const SystemTime& time, FileTime* out) override {
    return ::SystemTimeToFileTime(reinterpret_cast<const SYSTEMTIME*>(&time), reinterpret_cast<FILETIME*>(out)) != FALSE;
  }

  bool LocalFileTimeToFileTime(const FileTime& local, FileTime* out) override {
    return ::LocalFileTimeToFileTime(reinterpret_cast<const FILETIME*>(&local), reinterpret_cast<FILETIME*>(out)) != FALSE;
  }
};

}  // namespace

template <>
FileHandles& NativeService<FileHandles>() {
  static WinFileHandles service;
  return service;
}

}  // namespace platform
