#include <map>

#include "platform/error_codes.h"
#include "platform/files/fake_file_handles.h"

namespace platform {
namespace {
std::map<std::string, int>& Counts() {
  static std::map<std::string, int> counts;
  return counts;
}
}  // namespace

FakeFileHandles::FakeFileHandles() : native_(NativeService<FileHandles>()), scope_(this) { Counts().clear(); }
FakeFileHandles::~FakeFileHandles() = default;

void FakeFileHandles::FailOp(const std::string& op, uint32_t error, int skip) {
  failOp_ = op;
  failError_ = error;
  failSkip_ = skip;
}

int FakeFileHandles::CallCount(const std::string& op) const {
  auto it = Counts().find(op);
  return it == Counts().end() ? 0 : it->second;
}

bool FakeFileHandles::Fails(const char* op) {
  ++Counts()[op];
  if (failOp_ != op) return false;
  if (failSkip_ > 0) {
    --failSkip_;
    return false;
  }
  SetLastErrorCode(failError_);
  return true;
}

Handle FakeFileHandles::CreateFileHandle(const std::u16string& path, uint32_t access, uint32_t share,
                                         uint32_t disposition, uint32_t attributes) {
  if (Fails("CreateFileHandle")) return InvalidFileHandle();
  const Handle handle = native_.CreateFileHandle(path, access, share, disposition, attributes);
  // The core reads the open's last error from the current platform, which
  // may be the fake one.
  SetLastErrorCode(NativeService<ErrorCodes>().LastError());
  return handle;
}

bool FakeFileHandles::ReadFile(Handle file, void* buffer, uint32_t bytes, uint32_t* read) {
  if (Fails("ReadFile")) {
    *read = 0;
    return false;
  }
  return native_.ReadFile(file, buffer, bytes, read);
}

bool FakeFileHandles::WriteFile(Handle file, const void* buffer, uint32_t bytes, uint32_t* written) {
  if (Fails("WriteFile")) {
    *written = 0;
    return false;
  }
  return native_.WriteFile(file, buffer, bytes, written);
}

uint32_t FakeFileHandles::SetFilePointer(Handle file, int32_t distance, uint32_t method) {
  if (unseekable_) {
    SetLastErrorCode(kErrorInvalidFunction);
    return kInvalidSetFilePointer;
  }
  if (Fails("SetFilePointer")) return kInvalidSetFilePointer;
  return native_.SetFilePointer(file, distance, method);
}

bool FakeFileHandles::CloseHandle(Handle file) { return native_.CloseHandle(file); }

bool FakeFileHandles::SetFileTime(Handle file, const FileTime* creation, const FileTime* access,
                                  const FileTime* write) {
  if (Fails("SetFileTime")) return false;
  return native_.SetFileTime(file, creation, access, write);
}

bool FakeFileHandles::CreateOneDirectory(const std::u16string& path) {
  if (Fails("CreateOneDirectory")) return false;
  return native_.CreateOneDirectory(path);
}

bool FakeFileHandles::SystemTimeToFileTime(const SystemTime& time, FileTime* out) {
  return native_.SystemTimeToFileTime(time, out);
}

bool FakeFileHandles::LocalFileTimeToFileTime(const FileTime& local, FileTime* out) {
  return native_.LocalFileTimeToFileTime(local, out);
}

}  // namespace platform
