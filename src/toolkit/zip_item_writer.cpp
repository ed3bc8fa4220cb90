#include "toolkit/zip_item_writer.h"

#include "platform/error_codes.h"
#include "toolkit/zip_format.h"
#include "toolkit/zip_names.h"
#include "toolkit/zip_reader.h"

namespace zip {

namespace {

constexpr uint32_t kErrorPathNotFound = 3;  // ERROR_PATH_NOT_FOUND

// Makes `root` if it is missing, then every level of `path` below it, each
// unless something of its name is there. A level is simply created, and one
// that is there already answers 183: that costs what a look at it would,
// and a new level is looked up once instead of twice. Only when a level
// above is missing (3) are the levels above made first. False when the path
// does not fit 260 characters.
bool MakeTree(const std::u16string& root, const std::u16string& path) {
  std::u16string rel = path;
  while (!rel.empty() && IsSeparator(rel.back())) rel.pop_back();
  const std::u16string full = root + rel;
  if (full.size() >= kZipMaxPath) return false;
  if (rel.empty()) {
    if (!root.empty()) Io().CreateOneDirectory(root);
    return true;
  }
  if (Io().CreateOneDirectory(full) || platform::LastError() != kErrorPathNotFound) return true;
  size_t cut = rel.size();
  while (cut > 0 && !IsSeparator(rel[cut - 1])) --cut;
  if (cut > 0) {
    if (!MakeTree(std::u16string(), root + rel.substr(0, cut - 1))) return false;
  } else if (!root.empty()) {
    Io().CreateOneDirectory(root);
  }
  Io().CreateOneDirectory(full);
  return true;
}

}  // namespace

uint32_t ItemWriter::Write(ArchiveStream& stream, ItemReader& reader, ProducedItem* item, const std::u16string& base,
                           const std::u16string& target) {
  const ZipEntry& entry = item->entry;
  const bool absolute = IsAbsolute(target);
  if (!absolute && IsRefusedZipName(target)) return ZR_NOFILE;
  if ((entry.attr & platform::kFileAttributeDirectory) != 0) {
    // A tree too deep for 260 characters fails as a file would.
    const bool made = absolute ? MakeTree(std::u16string(), target) : MakeTree(base, target);
    return made ? ZR_OK : ZR_NOFILE;
  }

  size_t cut = target.size();
  while (cut > 0 && !IsSeparator(target[cut - 1])) --cut;
  const std::u16string dir = target.substr(0, cut), file = target.substr(cut);
  const std::u16string full = IsAbsolute(dir) ? dir + file : base + dir + file;
  if (full.size() >= kZipMaxPath) return ZR_NOFILE;
  if (!(IsAbsolute(dir) ? MakeTree(std::u16string(), dir) : MakeTree(base, dir))) return ZR_NOFILE;

  const platform::Handle out =
      Io().CreateFileHandle(full, platform::kGenericWrite, 0, platform::kCreateAlways, entry.attr);
  if (out == platform::InvalidFileHandle()) return ZR_NOFILE;
  reader.Open(&item->data);
  if (!out_) out_.reset(new uint8_t[kBufferSize]);
  uint32_t result = ZR_OK;
  for (;;) {
    bool end = false;
    const int n = reader.Read(stream, out_.get(), kBufferSize, &end);
    if (n == kReadBadPassword) {
      result = ZR_PASSWORD;
      break;
    }
    if (n < 0) {
      result = ZR_FLATE;
      break;
    }
    if (n > 0) {
      uint32_t written = 0;
      if (!Io().WriteFile(out, out_.get(), static_cast<uint32_t>(n), &written)) {
        result = ZR_WRITE;
        break;
      }
    }
    if (end) {
      Io().SetFileTime(out, &entry.ctime, &entry.atime, &entry.mtime);
      break;
    }
    if (n == 0) {
      result = ZR_FLATE;
      break;
    }
  }
  Io().CloseHandle(out);
  reader.Close();
  return result;
}

}  // namespace zip
