// The writing of one item to disk: its directory tree made, the file created
// with the item's attributes, its data copied a block at a time, its times
// set.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "toolkit/zip_entry.h"
#include "toolkit/zip_item_reader.h"
#include "toolkit/zip_stream.h"

namespace zip {

class ItemWriter {
 public:
  // Writes `item`, as DecodeEntry produced it, to `target`, a path joined to
  // `base` (which ends in a separator) unless absolute. A directory item
  // makes its tree and nothing else. The item is opened in `reader` only
  // once its file was created, so that a file that cannot be created leaves
  // the item's first block of data unspent. The result codes are
  // UnzipItem's.
  uint32_t Write(ArchiveStream& stream, ItemReader& reader, ProducedItem* item, const std::u16string& base,
                 const std::u16string& target);

 private:
  std::unique_ptr<uint8_t[]> out_;  // the output block, made for the first file written
};

}  // namespace zip
