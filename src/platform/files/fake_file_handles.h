// A file-handle backend for unit tests: every call goes to the native
// backend unless the test asked for a failure. Installs itself for its
// lifetime.
#pragma once

#include <string>

#include "platform/files/file_handles.h"
#include "platform/service.h"

namespace platform {

class FakeFileHandles : public FileHandles {
 public:
  FakeFileHandles();
  ~FakeFileHandles() override;

  // The `skip`-th later call of `op` (0 is the next), and every one after
  // it, fails with `error`. Op names are the method names ("WriteFile").
  void FailOp(const std::string& op, uint32_t error, int skip = 0);
  // Every handle reports that it cannot seek (SetFilePointer gives
  // kInvalidSetFilePointer with last error 1), as a pipe does.
  void SetUnseekable(bool unseekable) { unseekable_ = unseekable; }
  int CallCount(const std::string& op) const;

  Handle CreateFileHandle(const std::u16string& path, uint32_t access, uint32_t share, uint32_t disposition,
                          uint32_t attributes) override;
  bool ReadFile(Handle file, void* buffer, uint32_t bytes, uint32_t* read) override;
  bool WriteFile(Handle file, const void* buffer, uint32_t bytes, uint32_t* written) override;
  uint32_t SetFilePointer(Handle file, int32_t distance, uint32_t method) override;
  bool CloseHandle(Handle file) override;
  bool SetFileTime(Handle file, const FileTime* creation, const FileTime* access, const FileTime* write) override;
  bool CreateOneDirectory(const std::u16string& path) override;
  bool SystemTimeToFileTime(const SystemTime& time, FileTime* out) override;
  bool LocalFileTimeToFileTime(const FileTime& local, FileTime* out) override;

 private:
  bool Fails(const char* op);

  FileHandles& native_;
  ScopedService<FileHandles> scope_;
  std::string failOp_;
  uint32_t failError_ = 0;
  int failSkip_ = 0;
  bool unseekable_ = false;
  std::string counted_;
};

}  // namespace platform
