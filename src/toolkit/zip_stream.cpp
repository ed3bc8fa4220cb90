#include "toolkit/zip_stream.h"

#include "toolkit/zip_format.h"

namespace zip {

bool ArchiveStream::OpenPath(const std::u16string& path) {
  handle_ = Io().CreateFileHandle(path, platform::kGenericRead, platform::kFileShareRead, platform::kOpenExisting,
                                  platform::kFileAttributeNormal);
  if (handle_ == platform::InvalidFileHandle()) return false;
  owned_ = true;
  start_ = 0;
  return true;
}

bool ArchiveStream::Attach(platform::Handle file) {
  const uint32_t at = Io().SetFilePointer(file, 0, platform::kFileCurrent);
  if (at == platform::kInvalidSetFilePointer) return false;
  handle_ = file;
  owned_ = false;
  start_ = at;
  pos_ = 0;
  posKnown_ = true;
  return true;
}

void ArchiveStream::Close() {
  if (owned_ && handle_ != platform::InvalidFileHandle()) Io().CloseHandle(handle_);
  handle_ = platform::InvalidFileHandle();
  owned_ = false;
}

bool ArchiveStream::Size(uint32_t* size) {
  posKnown_ = false;
  const uint32_t end = Io().SetFilePointer(handle_, 0, platform::kFileEnd);
  if (end == platform::kInvalidSetFilePointer || end < start_) return false;
  *size = end - start_;
  return true;
}

bool ArchiveStream::Seek(uint64_t pos) {
  if (posKnown_ && pos == pos_) return true;
  const uint64_t absolute = pos + start_;
  if (absolute > 0x7FFFFFFFu) return false;
  posKnown_ = false;
  if (Io().SetFilePointer(handle_, static_cast<int32_t>(absolute), platform::kFileBegin) ==
      platform::kInvalidSetFilePointer) {
    return false;
  }
  pos_ = pos;
  posKnown_ = true;
  return true;
}

uint32_t ArchiveStream::Read(void* buffer, uint32_t bytes) {
  uint32_t total = 0;
  while (total < bytes) {
    uint32_t got = 0;
    if (!Io().ReadFile(handle_, static_cast<uint8_t*>(buffer) + total, bytes - total, &got)) {
      posKnown_ = false;
      break;
    }
    if (got == 0) break;
    total += got;
  }
  pos_ += total;
  return total;
}

}  // namespace zip
