// The reader behind the handles: it opens the archive, finds its central
// directory, and for each request takes an item through the steps the format
// lays down. The walk gives the item's central header, DecodeEntry turns it
// into the entry and where the data lies, and the writer takes that produced
// item to disk.
#include "toolkit/zip_reader.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/service.h"
#include "platform/system/environment.h"
#include "toolkit/zip_directory_walk.h"
#include "toolkit/zip_entry.h"
#include "toolkit/zip_format.h"
#include "toolkit/zip_item_reader.h"
#include "toolkit/zip_item_writer.h"
#include "toolkit/zip_stream.h"

namespace {

constexpr uint32_t kHandleKindReader = 1;

uint32_t g_lastResult = ZR_OK;

}  // namespace

class ZipReader {
 public:
  explicit ZipReader(const char* password) : items_(password != nullptr ? password : "") {}

  zip::ArchiveStream stream;
  std::u16string base;  // with a trailing separator

  // Finds the central directory and stands the walk on its first header.
  uint32_t Open();
  uint32_t GetItem(int32_t index, ZipEntry* entry);
  uint32_t Unzip(int32_t index, const std::u16string& target);
  void CloseItem() { items_.Close(); }

 private:
  zip::ProducedItem* Produce(int32_t index, uint32_t* result);

  uint32_t count_ = 0;
  std::unique_ptr<zip::DirectoryWalk> walk_;
  // The item produced last, kept so that asking for it again, and writing
  // it after asking, reads none of its headers a second time.
  zip::ProducedItem last_;
  zip::ItemReader items_;
  zip::ItemWriter writer_;
};

uint32_t ZipReader::Open() {
  zip::DirectoryLocation location;
  const uint32_t result = zip::LocateDirectory(stream, &location);
  if (result != ZR_OK) return result;
  count_ = location.count;
  walk_.reset(new zip::DirectoryWalk(location));
  walk_->Start(stream);
  return ZR_OK;
}

// The item at `index`, produced now unless it was the last one produced. On
// a failure the item still carries the index, and the name once its central
// header was read.
zip::ProducedItem* ZipReader::Produce(int32_t index, uint32_t* result) {
  *result = ZR_OK;
  if (index == last_.index) return &last_;
  last_ = zip::ProducedItem();
  last_.entry.index = index;
  const zip::CentralHeader* central = walk_->Reach(stream, index);
  *result = central == nullptr ? ZR_CORRUPT : zip::DecodeEntry(stream, *central, items_.InputBlock(), &last_);
  return &last_;
}

uint32_t ZipReader::GetItem(int32_t index, ZipEntry* entry) {
  if (index < -1 || (index >= 0 && static_cast<uint32_t>(index) >= count_)) return ZR_ARGS;
  CloseItem();
  if (index == -1) {
    *entry = ZipEntry();
    entry->index = static_cast<int32_t>(count_);
    return ZR_OK;
  }
  uint32_t result;
  *entry = Produce(index, &result)->entry;
  return result;
}

uint32_t ZipReader::Unzip(int32_t index, const std::u16string& target) {
  if (index < 0 || static_cast<uint32_t>(index) >= count_) return ZR_ARGS;
  CloseItem();
  uint32_t result;
  zip::ProducedItem* item = Produce(index, &result);
  if (result != ZR_OK) return result;
  return writer_.Write(stream, items_, item, base, target);
}

namespace {

uint32_t Finish(uint32_t result) {
  g_lastResult = result;
  return result;
}

// 0 when the handle is a reader's, else the code for what it is.
uint32_t CheckHandle(ZipHandle zip) {
  if (zip == nullptr) return ZR_ARGS;
  if (zip->kind != kHandleKindReader) return ZR_ZMODE;
  return ZR_OK;
}

ZipHandle OpenReader(std::unique_ptr<ZipReader> reader) {
  std::u16string base = platform::Service<platform::Environment>().CurrentDirectory();
  if (base.empty() || !zip::IsSeparator(base.back())) base += u'\\';
  reader->base = base;
  const uint32_t result = reader->Open();
  if (result != ZR_OK) {
    reader->stream.Close();
    Finish(result);
    return nullptr;
  }
  Finish(ZR_OK);
  return new ZipHandleData{kHandleKindReader, reader.release()};
}

}  // namespace

ZipHandle OpenZip(const std::u16string& path, const char* password) {
  std::unique_ptr<ZipReader> reader(new ZipReader(password));
  if (!reader->stream.OpenPath(path)) {
    Finish(ZR_NOFILE);
    return nullptr;
  }
  return OpenReader(std::move(reader));
}

ZipHandle OpenZipHandle(platform::Handle file, const char* password) {
  std::unique_ptr<ZipReader> reader(new ZipReader(password));
  if (!reader->stream.Attach(file)) {
    Finish(ZR_SEEK);
    return nullptr;
  }
  return OpenReader(std::move(reader));
}

uint32_t SetUnzipBaseDir(ZipHandle zip, const std::u16string& dir) {
  if (const uint32_t bad = CheckHandle(zip)) return Finish(bad);
  std::u16string base = dir;
  if (base.empty() || !zip::IsSeparator(base.back())) base += u'\\';
  if (base.size() >= kZipMaxPath) return Finish(ZR_ARGS);
  zip->reader->base = base;
  return Finish(ZR_OK);
}

uint32_t GetZipItem(ZipHandle zip, int32_t index, ZipEntry* entry) {
  if (const uint32_t bad = CheckHandle(zip)) return Finish(bad);
  if (entry == nullptr) return Finish(ZR_ARGS);
  return Finish(zip->reader->GetItem(index, entry));
}

uint32_t UnzipItem(ZipHandle zip, int32_t index, const std::u16string& target) {
  if (const uint32_t bad = CheckHandle(zip)) return Finish(bad);
  return Finish(zip->reader->Unzip(index, target));
}

uint32_t ReleaseZip(ZipHandle zip) {
  if (const uint32_t bad = CheckHandle(zip)) return Finish(bad);
  zip->reader->CloseItem();
  zip->reader->stream.Close();
  delete zip->reader;
  delete zip;
  return Finish(ZR_OK);
}

uint32_t FormatZipResult(uint32_t code, char16_t* buffer, uint32_t capacity) {
  if (code == ZR_RECENT) code = g_lastResult;
  const char* text;
  switch (code) {
    case ZR_OK: text = "Success"; break;
    case ZR_NODUPH: text = "Culdn't duplicate handle"; break;
    case ZR_NOFILE: text = "Couldn't create/open file"; break;
    case ZR_NOALLOC: text = "Failed to allocate memory"; break;
    case ZR_WRITE: text = "Error writing to file"; break;
    case ZR_NOTFOUND: text = "File not found in the zipfile"; break;
    case ZR_MORE: text = "Still more data to unzip"; break;
    case ZR_CORRUPT: text = "Zipfile is corrupt or not a zipfile"; break;
    case ZR_READ: text = "Error reading file"; break;
    case ZR_PASSWORD: text = "Correct password required"; break;
    case ZR_ARGS: text = "Caller: faulty arguments"; break;
    case ZR_NOTMMAP: text = "Caller: can only get memory of a memory zipfile"; break;
    case ZR_MEMSIZE: text = "Caller: not enough space allocated for memory zipfile"; break;
    case ZR_FAILED: text = "Caller: there was a previous error"; break;
    case ZR_ENDED: text = "Caller: additions to the zip have already been ended"; break;
    case ZR_MISSIZE: text = "Zip-bug: the anticipated size turned out wrong"; break;
    case ZR_PARTIALUNZ: text = "Caller: the file had already been partially unzipped"; break;
    case ZR_ZMODE: text = "Caller: mixing creation and opening of zip"; break;
    case ZR_NOTINITED: text = "Zip-bug: internal initialisation not completed"; break;
    case ZR_SEEK: text = "Zip-bug: trying to seek the unseekable"; break;
    case ZR_NOCHANGE: text = "Zip-bug: tried to change mind, but not allowed"; break;
    case ZR_FLATE: text = "Zip-bug: an internal error during flation"; break;
    default: text = "unknown zip result code"; break;
  }
  const uint32_t length = static_cast<uint32_t>(std::strlen(text));
  if (buffer != nullptr && capacity > 0) {
    const uint32_t n = std::min(length, capacity - 1);
    for (uint32_t i = 0; i < n; ++i) buffer[i] = static_cast<char16_t>(text[i]);
    buffer[n] = 0;
  }
  return length;
}
