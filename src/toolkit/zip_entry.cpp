#include "toolkit/zip_entry.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/text.h"
#include "toolkit/zip_format.h"
#include "toolkit/zip_names.h"

namespace zip {

namespace {

// Where an item's local extra field and data lie, from its local header.
struct LocalInfo {
  uint64_t extraPos = 0;
  uint16_t extraLength = 0;
  uint64_t dataPos = 0;
};

bool CheckLocal(ArchiveStream& stream, const CentralHeader& c, LocalInfo* info) {
  uint8_t h[kLocalSize];
  const uint64_t at = c.localPos;
  if (!stream.ReadAt(at, h, kLocalSize)) return false;
  if (Get32(h) != 0x04034B50u) return false;
  const uint16_t flags = Get16(h + 6), method = Get16(h + 8);
  if (method != c.method || (method != 0 && method != 8)) return false;
  if (Get16(h + 26) != c.nameLength) return false;
  if ((flags & 8) == 0 && (Get32(h + 14) != c.crc || Get32(h + 18) != c.compSize || Get32(h + 22) != c.uncSize)) {
    return false;
  }
  info->extraPos = at + kLocalSize + c.nameLength;
  info->extraLength = Get16(h + 28);
  info->dataPos = info->extraPos + info->extraLength;
  return true;
}

platform::FileTime UnixTimeToFileTime(int32_t seconds) {
  return platform::MakeFileTime(static_cast<uint64_t>(static_cast<int64_t>(seconds) + 11644473600ll) * 10000000ull);
}

// The name of the item as the archive gives it, cleaned.
void SetName(const CentralHeader& c, ZipEntry* e) {
  const std::u16string name = CleanName(Utf8ToWide(c.name).substr(0, kZipMaxPath - 1));
  std::copy(name.begin(), name.end(), e->name);
}

// The item's times: the DOS date and time in local time, then the Unix times
// of a "UT" record of its local extra field. A time is taken only while it
// lies within the record's own length.
void SetTimes(uint32_t dosDateTime, const uint8_t* extra, size_t n, ZipEntry* e) {
  const uint16_t dosTime = static_cast<uint16_t>(dosDateTime), dosDate = static_cast<uint16_t>(dosDateTime >> 16);
  platform::SystemTime st;
  st.wYear = static_cast<uint16_t>(1980 + (dosDate >> 9));
  st.wMonth = static_cast<uint16_t>((dosDate >> 5) & 0xF);
  st.wDay = static_cast<uint16_t>(dosDate & 0x1F);
  st.wHour = static_cast<uint16_t>(dosTime >> 11);
  st.wMinute = static_cast<uint16_t>((dosTime >> 5) & 0x3F);
  st.wSecond = static_cast<uint16_t>((dosTime & 0x1F) * 2);
  platform::FileTime localTime, utc;
  if (Io().SystemTimeToFileTime(st, &localTime) && Io().LocalFileTimeToFileTime(localTime, &utc)) {
    e->atime = e->ctime = e->mtime = utc;
  }
  const uint8_t* x = extra;
  if (n <= 4) return;
  size_t pos = 0;
  while (n - pos >= 5) {
    const uint16_t id = Get16(x + pos);
    const size_t length = x[pos + 2];
    if (id == 0x5455) {
      const size_t dataEnd = std::min(n, pos + 4 + length);
      const uint8_t flags = x[pos + 4];
      size_t at = pos + 5;
      platform::FileTime* const targets[] = {&e->mtime, &e->atime, &e->ctime};
      for (int bit = 0; bit < 3; ++bit) {
        if ((flags & (1 << bit)) == 0) continue;
        if (at + 4 > dataEnd) break;
        *targets[bit] = UnixTimeToFileTime(static_cast<int32_t>(Get32(x + at)));
        at += 4;
      }
      return;
    }
    pos += 4 + length;
    if (pos > n) return;
  }
}

// The Windows attributes of an item from the host system that made it and
// its external attributes.
uint32_t AttributesOf(uint16_t versionMadeBy, uint32_t external) {
  const uint32_t host = versionMadeBy >> 8;
  bool readOnly, hidden = false, system = false, directory, archive = true;
  if (host == 0 || host == 7 || host == 11 || host == 14) {
    readOnly = (external & 0x1) != 0;
    hidden = (external & 0x2) != 0;
    system = (external & 0x4) != 0;
    directory = (external & 0x10) != 0;
    archive = (external & 0x20) != 0;
  } else {
    directory = (external & 0x40000000u) != 0;
    readOnly = (external & 0x00800000u) == 0;
  }
  return (directory ? 0x10u : 0) | (archive ? 0x20u : 0) | (hidden ? 0x2u : 0) | (readOnly ? 0x1u : 0) |
         (system ? 0x4u : 0);
}

}  // namespace

uint32_t DecodeEntry(ArchiveStream& stream, const CentralHeader& c, uint8_t* input, ProducedItem* item) {
  SetName(c, &item->entry);
  LocalInfo local;
  if (!CheckLocal(stream, c, &local)) return ZR_CORRUPT;
  // The name (read past, not used) and the extra field follow the local
  // header; a plain deflated item's data follows them, and its first block
  // comes in the same read, into the input block where it will be inflated.
  ItemData& data = item->data;
  const uint32_t head = c.nameLength + local.extraLength;
  std::vector<uint8_t> spilled;  // an extra field too long for the input block
  const uint8_t* extra = nullptr;
  if (head <= kBufferSize) {
    const bool plainDeflated = c.method == 8 && (c.flags & 1) == 0;
    const uint32_t ahead = plainDeflated ? std::min(c.compSize, kBufferSize - head) : 0;
    const int64_t got = stream.ReadSome(local.extraPos - c.nameLength, input, head + ahead);
    if (got < head) return ZR_READ;
    extra = input + c.nameLength;
    data.preloadAt = head;
    data.preloaded = static_cast<uint32_t>(got) - head;
  } else {
    spilled.resize(local.extraLength);
    if (local.extraLength > 0 && !stream.ReadAt(local.extraPos, spilled.data(), local.extraLength)) return ZR_READ;
    extra = spilled.data();
  }
  item->entry.attr = AttributesOf(c.versionMadeBy, c.externalAttr);
  SetTimes(c.dosTime, extra, local.extraLength, &item->entry);
  item->entry.comp_size = static_cast<int32_t>(c.compSize);
  item->entry.unc_size = static_cast<int32_t>(c.uncSize);
  data.dataPos = local.dataPos;
  data.compSize = c.compSize;
  data.uncSize = c.uncSize;
  data.stored = c.method == 0;
  data.encrypted = (c.flags & 1) != 0;
  data.checkByte = (c.flags & 8) != 0 ? static_cast<uint8_t>(c.dosTime >> 8) : static_cast<uint8_t>(c.crc >> 24);
  item->index = item->entry.index;
  return ZR_OK;
}

}  // namespace zip
