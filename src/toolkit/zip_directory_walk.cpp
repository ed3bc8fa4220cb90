#include "toolkit/zip_directory_walk.h"

#include <algorithm>

#include "toolkit/zip_format.h"
#include "toolkit/zip_reader.h"

namespace zip {

uint32_t LocateDirectory(ArchiveStream& stream, DirectoryLocation* location) {
  uint32_t size = 0;
  if (!stream.Size(&size) || size < 5) return ZR_NOFILE;
  // One block at the end and no more: the record must begin in it.
  const uint32_t block = std::min(size, kEndBlock);
  uint8_t buffer[kEndBlock];
  if (!stream.ReadAt(size - block, buffer, block)) return ZR_NOFILE;
  int64_t found = -1;
  for (int64_t i = static_cast<int64_t>(block) - 4; i >= 0; --i) {
    if (buffer[i] == 'P' && buffer[i + 1] == 'K' && buffer[i + 2] == 5 && buffer[i + 3] == 6) {
      found = i;
      break;
    }
  }
  if (found < 0) return ZR_NOFILE;
  const uint64_t recordPos = size - block + static_cast<uint64_t>(found);
  uint8_t tail[kEndRecordSize];
  const uint8_t* record = buffer + found;
  if (static_cast<uint64_t>(found) + kEndRecordSize > block) {
    if (!stream.ReadAt(recordPos, tail, kEndRecordSize)) return ZR_NOFILE;
    record = tail;
  }
  const uint16_t thisDisk = Get16(record + 4), cdDisk = Get16(record + 6);
  const uint16_t entries = Get16(record + 8), total = Get16(record + 10);
  const uint32_t cdSize = Get32(record + 12), cdOffset = Get32(record + 16);
  if (thisDisk != 0 || cdDisk != 0 || entries != total) return ZR_NOFILE;
  if (recordPos < static_cast<uint64_t>(cdSize) + cdOffset) return ZR_NOFILE;
  location->before = recordPos - cdSize - cdOffset;
  location->cdStart = location->before + cdOffset;
  location->count = entries;
  return ZR_OK;
}

DirectoryWalk::DirectoryWalk(const DirectoryLocation& location)
    : location_(location), block_(new uint8_t[kBufferSize]) {}

void DirectoryWalk::Start(ArchiveStream& stream) {
  if (location_.count > 0) GoFirst(stream);
}

bool DirectoryWalk::ReadCentral(ArchiveStream& stream) {
  // The fixed part and up to 260 bytes of the name, from the block held when
  // it lies there, else from a new block read at the header.
  constexpr uint32_t kWant = kCentralSize + kZipMaxPath;
  const bool inBlock = cdPos_ >= blockPos_ && cdPos_ - blockPos_ <= blockLength_;
  const bool endInBlock = blockLength_ < kBufferSize;  // the block reached the end of the archive
  if (!inBlock || (blockLength_ - (cdPos_ - blockPos_) < kWant && !endInBlock)) {
    const int64_t got = stream.ReadSome(cdPos_, block_.get(), kBufferSize);
    if (got < 0) {
      blockLength_ = 0;
      return false;
    }
    blockPos_ = cdPos_;
    blockLength_ = static_cast<uint32_t>(got);
  }
  const uint8_t* buffer = block_.get() + (cdPos_ - blockPos_);
  const uint32_t got = std::min<uint32_t>(kWant, blockLength_ - static_cast<uint32_t>(cdPos_ - blockPos_));
  if (got < kCentralSize || Get32(buffer) != 0x02014B50u) return false;
  CentralHeader& c = cur_;
  c.versionMadeBy = Get16(buffer + 4);
  c.flags = Get16(buffer + 8);
  c.method = Get16(buffer + 10);
  c.dosTime = Get32(buffer + 12);
  c.crc = Get32(buffer + 16);
  c.compSize = Get32(buffer + 20);
  c.uncSize = Get32(buffer + 24);
  c.nameLength = Get16(buffer + 28);
  c.extraLength = Get16(buffer + 30);
  c.commentLength = Get16(buffer + 32);
  c.externalAttr = Get32(buffer + 38);
  c.localPos = location_.before + Get32(buffer + 42);
  const uint32_t nameBytes = std::min<uint32_t>(c.nameLength, kZipMaxPath);
  if (got < kCentralSize + nameBytes) return false;
  c.name.assign(reinterpret_cast<const char*>(buffer + kCentralSize), nameBytes);
  return true;
}

void DirectoryWalk::GoFirst(ArchiveStream& stream) {
  cdPos_ = location_.cdStart;
  curIndex_ = 0;
  curBad_ = !ReadCentral(stream);
  if (curBad_) unreachable_ = 0;
}

void DirectoryWalk::GoNext(ArchiveStream& stream) {
  if (curBad_) return;
  cdPos_ += kCentralSize + cur_.nameLength + cur_.extraLength + cur_.commentLength;
  ++curIndex_;
  if (static_cast<uint32_t>(curIndex_) >= location_.count) {
    curBad_ = true;
  } else if (!ReadCentral(stream)) {
    curBad_ = true;
    unreachable_ = curIndex_;
  }
}

const CentralHeader* DirectoryWalk::Reach(ArchiveStream& stream, int32_t index) {
  if (index >= unreachable_) return nullptr;
  if (index < curIndex_ || curBad_) GoFirst(stream);
  while (curIndex_ < index && !curBad_) GoNext(stream);
  return !curBad_ && curIndex_ == index ? &cur_ : nullptr;
}

}  // namespace zip
