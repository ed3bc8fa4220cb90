// The archive's source: a file handle and the position at which the archive
// starts. The position of the handle is remembered, so that reading on from
// where the last read ended costs no seek.
#pragma once

#include <cstdint>
#include <string>

#include "platform/files/file_handles.h"

namespace zip {

class ArchiveStream {
 public:
  ArchiveStream() = default;
  ArchiveStream(const ArchiveStream&) = delete;
  ArchiveStream& operator=(const ArchiveStream&) = delete;
  ~ArchiveStream() { Close(); }

  // Opens the file at `path`, which the stream then owns.
  bool OpenPath(const std::u16string& path);
  // Reads from the current position of `file` on, which stays the caller's.
  // False when the handle cannot report its position.
  bool Attach(platform::Handle file);
  void Close();

  // The size of the stream from its start; false when it cannot be learnt.
  bool Size(uint32_t* size);
  bool Seek(uint64_t pos);
  // Reads until `bytes` are in or the stream ends; the count read.
  uint32_t Read(void* buffer, uint32_t bytes);

  bool ReadAt(uint64_t pos, void* buffer, uint32_t bytes) { return Seek(pos) && Read(buffer, bytes) == bytes; }
  // Up to `bytes` from `pos`: the count read, short at the end of the
  // stream; -1 when the position cannot be reached.
  int64_t ReadSome(uint64_t pos, void* buffer, uint32_t bytes) {
    return Seek(pos) ? static_cast<int64_t>(Read(buffer, bytes)) : -1;
  }

 private:
  platform::Handle handle_ = platform::InvalidFileHandle();
  bool owned_ = false;
  uint32_t start_ = 0;
  uint64_t pos_ = 0;
  bool posKnown_ = false;
};

}  // namespace zip
