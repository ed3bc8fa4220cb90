// The archive's table of contents: the end record, which says where the
// central directory lies and how many headers it holds, and the walk over
// those headers from the first to the one asked for.
#pragma once

#include <climits>
#include <cstdint>
#include <memory>
#include <string>

#include "toolkit/zip_stream.h"

namespace zip {

// Where the central directory lies, from the end record.
struct DirectoryLocation {
  uint32_t count = 0;     // items the directory holds
  uint64_t cdStart = 0;   // archive position of its first header
  uint64_t before = 0;    // bytes in front of the archive, added to every offset it gives
};

// Finds the end record in the last 1028 bytes of the stream. 0 with
// `location` filled, or 512 when the stream is too short or holds no record
// for a single disk whose size and offset fit before it.
uint32_t LocateDirectory(ArchiveStream& stream, DirectoryLocation* location);

struct CentralHeader {
  uint16_t versionMadeBy = 0;
  uint16_t flags = 0;
  uint16_t method = 0;
  uint32_t dosTime = 0;  // time in the low half, date in the high half
  uint32_t crc = 0;
  uint32_t compSize = 0;
  uint32_t uncSize = 0;
  uint16_t nameLength = 0;
  uint16_t extraLength = 0;
  uint16_t commentLength = 0;
  uint32_t externalAttr = 0;
  uint64_t localPos = 0;  // archive position of the item's local header
  std::string name;       // up to 260 bytes of it
};

// The walk over the central directory. It goes forward from the header it
// stands on and back to the first only when asked for an earlier index, so
// each header is read once while a caller goes through the items in order.
// The directory comes a block (16 KiB) at a time, so walking it costs one
// read per block instead of one seek and read per header.
class DirectoryWalk {
 public:
  explicit DirectoryWalk(const DirectoryLocation& location);

  // Stands on the first header, when there is one.
  void Start(ArchiveStream& stream);
  // Moves the walk to `index` and gives its central header, or null when the
  // item cannot be reached: a broken header on the way stops the walk, and
  // an index at or past it is refused without walking again. The header stays
  // valid until the walk moves.
  const CentralHeader* Reach(ArchiveStream& stream, int32_t index);

 private:
  bool ReadCentral(ArchiveStream& stream);
  void GoFirst(ArchiveStream& stream);
  void GoNext(ArchiveStream& stream);

  const DirectoryLocation location_;
  // The current header and where it lies. `unreachable_` is the index of the
  // first header that could not be read: the directory does not change, so
  // every index from there on is answered at once instead of walking up to
  // the break again.
  uint64_t cdPos_ = 0;
  int32_t curIndex_ = 0;
  bool curBad_ = true;
  int32_t unreachable_ = INT32_MAX;
  CentralHeader cur_;
  // The block of the directory held: `length` bytes from archive position `pos`.
  std::unique_ptr<uint8_t[]> block_;
  uint64_t blockPos_ = 0;
  uint32_t blockLength_ = 0;
};

}  // namespace zip
