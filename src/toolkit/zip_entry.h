// The decoding of one item: its central header checked against its local
// header, and the entry GetZipItem reports (name, attributes, times, sizes)
// together with where the item's data lies, which is all that writing it
// needs.
#pragma once

#include <cstdint>

#include "toolkit/zip_directory_walk.h"
#include "toolkit/zip_reader.h"
#include "toolkit/zip_stream.h"

namespace zip {

// Where an item's data lies and how it is to be read, as its headers give it.
struct ItemData {
  uint64_t dataPos = 0;  // archive position of the first byte after the local extra field
  uint32_t compSize = 0;
  uint32_t uncSize = 0;
  bool stored = true;
  bool encrypted = false;
  uint8_t checkByte = 0;  // what the last byte of the encryption header must be
  // The read that took the extra field may also have taken the first block
  // of a deflated item's data into the input block: `preloaded` bytes from
  // `preloadAt`, there to be inflated where they lie. Spent (0) once the
  // item has been opened, since the input block is then reused.
  uint32_t preloadAt = 0;
  uint32_t preloaded = 0;
};

// An item as GetZipItem produced it. `index` is -1 until it was produced in
// full.
struct ProducedItem {
  int32_t index = -1;
  ZipEntry entry;
  ItemData data;
};

// Decodes the item whose central header is `central` into `item`, which the
// caller has reset and given its index. 1792 when the local header does not
// match the central one or names an unknown method, 2048 when the name and
// extra field after it cannot be read; on either, `item->entry` keeps the
// index and the cleaned name, and `item->index` stays -1. `input` is the
// input block of kBufferSize bytes, where a deflated item's first block of
// data is left.
uint32_t DecodeEntry(ArchiveStream& stream, const CentralHeader& central, uint8_t* input, ProducedItem* item);

}  // namespace zip
