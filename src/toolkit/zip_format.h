// What every part of the zip reader shares: the sizes of the archive's fixed
// records, the size of the reader's blocks, the little-endian fields, and the
// file handles all archive and output files go through.
#pragma once

#include <cstdint>

#include "platform/files/file_handles.h"
#include "platform/service.h"

namespace zip {

// Every buffer of the reader: the input block, the output block, the block of
// the central directory.
constexpr uint32_t kBufferSize = 16384;
// The end record is looked for in this many bytes at the end and no further.
constexpr uint32_t kEndBlock = 1028;
constexpr uint32_t kCentralSize = 46;
constexpr uint32_t kLocalSize = 30;
constexpr uint32_t kEndRecordSize = 22;

inline platform::FileHandles& Io() { return platform::Service<platform::FileHandles>(); }

inline uint16_t Get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t Get32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
         (static_cast<uint32_t>(p[3]) << 24);
}

inline bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

}  // namespace zip
