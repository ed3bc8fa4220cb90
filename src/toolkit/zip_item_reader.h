// The reading of one item's data, stored or deflated, decrypted when it is
// encrypted. One item is open at a time; its input passes through one block
// of 16 KiB, and one raw inflate stream serves every item, reset between
// them.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <memory>
#include <string>

#include "toolkit/zip_cipher.h"
#include "toolkit/zip_entry.h"
#include "toolkit/zip_stream.h"

namespace zip {

// Statuses of Read besides a count, reduced by the writer to result codes.
// zlib's own (negative) statuses pass through as well.
constexpr int kReadNoItem = -102;
constexpr int kReadBadPassword = -106;
constexpr int kReadBroken = -107;  // the input ran out or could not be read

class ItemReader {
 public:
  // `password` decrypts every encrypted item (empty when none was given).
  explicit ItemReader(const std::string& password);
  ItemReader(const ItemReader&) = delete;
  ItemReader& operator=(const ItemReader&) = delete;
  ~ItemReader();

  // The input block, kBufferSize bytes, where DecodeEntry leaves a deflated
  // item's first block of data.
  uint8_t* InputBlock() { return in_.get(); }

  // Opens the item whose data `data` describes. Data that came with its
  // extra field is taken up where it lies, and marked spent in `data`: the
  // input block is reused from here on. False when the inflate stream cannot
  // be made ready; Read then answers kReadNoItem.
  bool Open(ItemData* data);
  void Close() { open_ = false; }

  // Up to `length` bytes of the open item. The count read (0 once the item
  // is done, with *end set by the call that finished it), or a negative
  // status.
  int Read(ArchiveStream& stream, uint8_t* out, uint32_t length, bool* end);

 private:
  const std::string password_;
  bool open_ = false;
  std::unique_ptr<uint8_t[]> in_;
  uint8_t* inNext_ = nullptr;
  uint32_t inAvail_ = 0;
  uint64_t readPos_ = 0;
  uint32_t compLeft_ = 0;
  uint32_t uncLeft_ = 0;
  bool stored_ = true;
  bool encrypted_ = false;
  uint32_t headerLeft_ = 0;
  uint8_t expected_ = 0;
  ZipCipher cipher_;
  z_stream z_{};
  bool zInit_ = false;
};

}  // namespace zip
