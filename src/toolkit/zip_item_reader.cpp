#include "toolkit/zip_item_reader.h"

#include <algorithm>

#include "toolkit/zip_format.h"

namespace zip {

ItemReader::ItemReader(const std::string& password) : password_(password), in_(new uint8_t[kBufferSize]) {}

ItemReader::~ItemReader() {
  if (zInit_) inflateEnd(&z_);
}

bool ItemReader::Open(ItemData* data) {
  open_ = false;
  readPos_ = data->dataPos + data->preloaded;
  inNext_ = in_.get() + data->preloadAt;
  inAvail_ = data->preloaded;
  compLeft_ = data->compSize - data->preloaded;
  data->preloaded = 0;
  uncLeft_ = data->uncSize;
  stored_ = data->stored;
  encrypted_ = data->encrypted;
  headerLeft_ = encrypted_ ? 12 : 0;
  expected_ = data->checkByte;
  if (encrypted_) cipher_.Init(password_);
  if (!stored_) {
    if (!zInit_) {
      if (inflateInit2(&z_, -15) != Z_OK) return false;
      zInit_ = true;
    } else if (inflateReset(&z_) != Z_OK) {
      return false;
    }
  }
  open_ = true;
  return true;
}

// The output's CRC-32 is not computed: a mismatch has never been reported to
// anyone, so its verdict would be work that nobody reads.
int ItemReader::Read(ArchiveStream& stream, uint8_t* out, uint32_t length, bool* end) {
  *end = false;
  if (!open_) return kReadNoItem;
  if (length == 0 || uncLeft_ == 0) return 0;
  const uint32_t want = std::min(length, uncLeft_);
  uint32_t produced = 0;
  while (produced < want) {
    // A stored item goes straight from the archive to the output, and is
    // decrypted there if need be, once its encryption header is consumed.
    if (stored_ && headerLeft_ == 0 && inAvail_ == 0 && compLeft_ > 0) {
      const uint32_t n = std::min(want - produced, compLeft_);
      if (!stream.Seek(readPos_) || stream.Read(out + produced, n) != n) return kReadBroken;
      if (encrypted_) cipher_.Decrypt(out + produced, n);
      readPos_ += n;
      compLeft_ -= n;
      produced += n;
      uncLeft_ -= n;
      if (uncLeft_ == 0) *end = true;
      continue;
    }
    if (inAvail_ == 0 && compLeft_ > 0) {
      // A stored item's encryption header comes alone: its data goes to the
      // output directly.
      const uint32_t n = std::min(stored_ ? headerLeft_ : kBufferSize, compLeft_);
      if (!stream.Seek(readPos_) || stream.Read(in_.get(), n) != n) return kReadBroken;
      readPos_ += n;
      compLeft_ -= n;
      if (encrypted_) cipher_.Decrypt(in_.get(), n);
      inNext_ = in_.get();
      inAvail_ = n;
    }
    while (headerLeft_ > 0 && inAvail_ > 0) {
      const uint8_t b = *inNext_++;
      --inAvail_;
      if (--headerLeft_ == 0 && b != expected_) return kReadBadPassword;
    }
    if (headerLeft_ > 0) {
      if (compLeft_ == 0) return kReadBroken;
      continue;
    }
    if (stored_) {
      // Only the encryption header passes through the input block; with it
      // consumed, the data comes straight out above. With nothing left to
      // read, the item said it holds more than its data.
      if (compLeft_ > 0) continue;
      return kReadBroken;
    }
    z_.next_in = inNext_;
    z_.avail_in = inAvail_;
    z_.next_out = out + produced;
    z_.avail_out = want - produced;
    const int status = inflate(&z_, Z_SYNC_FLUSH);
    const uint32_t chunk = (want - produced) - z_.avail_out;
    const uint32_t used = inAvail_ - z_.avail_in;
    inNext_ = z_.next_in;
    inAvail_ = z_.avail_in;
    const bool streamEnd = status == Z_STREAM_END;
    if (!streamEnd && status != Z_OK) return status < 0 ? status : Z_DATA_ERROR;
    // No progress is possible with what is left.
    if (!streamEnd && chunk == 0 && used == 0) return Z_BUF_ERROR;
    produced += chunk;
    uncLeft_ -= chunk;
    if (uncLeft_ == 0 || streamEnd) {
      if (streamEnd) uncLeft_ = 0;
      *end = true;
      break;
    }
  }
  return static_cast<int>(produced);
}

}  // namespace zip
