#include "toolkit/writable_dir.h"

#include <atomic>
#include <cstdint>

#include "base/format.h"
#include "base/log.h"
#include "layout/paths.h"
#include "platform/error_codes.h"
#include "platform/files/file_handles.h"
#include "platform/files/files.h"
#include "platform/service.h"
#include "platform/system/clock.h"
#include "platform/system/environment.h"

namespace {

// A name taken by someone else is passed over for the next; a few are plenty
// since the process id and the time already make the name unique.
constexpr int kNameAttempts = 8;

std::u16string TestFileName(uint32_t pid, uint64_t now, uint32_t serial) {
  return FormatWideString(u"~orvane-write-test-%u-%llu-%u.tmp", pid, now, serial);
}

}  // namespace

namespace Utils {

bool IsDirectoryWritable(const std::u16string& directory) {
  auto& files = platform::Service<platform::Files>();
  auto& env = platform::Service<platform::Environment>();
  auto& clock = platform::Service<platform::Clock>();
  if (directory.empty()) {
    LogWarn(u"Utils::IsDirectoryWritable, no directory given");
    return false;
  }
  const uint32_t attributes = files.GetAttributes(directory);
  if (attributes == 0xFFFFFFFFu) {
    LogWarn(u"Utils::IsDirectoryWritable, '%s' not found, error=%d", directory, platform::LastError());
    return false;
  }
  if ((attributes & platform::kFileAttributeDirectory) == 0) {
    LogWarn(u"Utils::IsDirectoryWritable, '%s' is a file, not a directory", directory);
    return false;
  }
  platform::FileHandles& handles = platform::Service<platform::FileHandles>();
  static std::atomic<uint32_t> serial{0};
  uint32_t error = 0;
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    const std::u16string path = JoinPath(directory, TestFileName(env.ProcessId(), clock.NowMs(), ++serial));
    const platform::Handle file = handles.CreateFileHandle(path, platform::kGenericWrite, 0, platform::kCreateNew,
                                                           platform::kFileAttributeNormal);
    if (file == platform::InvalidFileHandle()) {
      error = platform::LastError();
      if (error == platform::kErrorFileExists || error == platform::kErrorAlreadyExists) continue;
      break;
    }
    handles.CloseHandle(file);
    if (!files.DeleteOneFile(path)) {
      LogError(u"Utils::IsDirectoryWritable, test file '%s' left, error=%d", path, platform::LastError());
    }
    return true;
  }
  LogWarn(u"Utils::IsDirectoryWritable, '%s' is not writable, error=%d", directory, error);
  return false;
}

}  // namespace Utils
