// The zip reader: the end record, the walk over the central directory, the
// local header check, and the reading of one item at a time through zlib's
// raw inflate.
#include "toolkit/zip_reader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "platform/environment.h"
#include "platform/error_codes.h"
#include "platform/service.h"

namespace {

using platform::FileHandles;
using platform::Handle;

constexpr uint32_t kBufferSize = 16384;
constexpr uint32_t kEndBlock = 1028;
constexpr uint32_t kCentralSize = 46;
constexpr uint32_t kLocalSize = 30;
constexpr uint32_t kEndRecordSize = 22;
constexpr uint32_t kHandleKindReader = 1;
constexpr uint32_t kErrorPathNotFound = 3;  // ERROR_PATH_NOT_FOUND

// Interior statuses of an item read, reduced at the interface.
constexpr int kReadNoItem = -102;
constexpr int kReadBadPassword = -106;
constexpr int kReadBroken = -107;  // the input ran out or could not be read

uint32_t g_lastResult = ZR_OK;

FileHandles& Io() { return platform::Service<FileHandles>(); }

uint16_t Get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint32_t Get32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
         (static_cast<uint32_t>(p[3]) << 24);
}

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

bool IsAbsolute(const std::u16string& path) {
  return (!path.empty() && IsSeparator(path[0])) || (path.size() >= 2 && path[1] == u':');
}

char16_t FoldAscii(char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c; }

bool IsSuperscriptDigit(char16_t c) {
  return c == 0x00B9 || c == 0x00B2 || c == 0x00B3 || c == 0x2070 || (c >= 0x2074 && c <= 0x2079);
}

// True when one component of a name opens a Windows device instead of a
// file: trailing blanks and dots are dropped, and the part before the first
// dot (its own trailing blanks dropped as well, as "nul .txt" is still the
// device) is CON, PRN, AUX, NUL, COM0-COM9, LPT0-LPT9, COM or LPT with a
// superscript digit, CONIN$ or CONOUT$, in any case.
bool IsDeviceComponent(const std::u16string& path, size_t begin, size_t end) {
  while (end > begin && (path[end - 1] == u' ' || path[end - 1] == u'.')) --end;
  size_t stem = begin;
  while (stem < end && path[stem] != u'.') ++stem;
  while (stem > begin && path[stem - 1] == u' ') --stem;
  const size_t length = stem - begin;
  if (length != 3 && length != 4 && length != 6 && length != 7) return false;
  char16_t name[8];
  for (size_t i = 0; i < length; ++i) name[i] = FoldAscii(path[begin + i]);
  const std::u16string_view n(name, length);
  if (n == u"CON" || n == u"PRN" || n == u"AUX" || n == u"NUL" || n == u"CONIN$" || n == u"CONOUT$") return true;
  if (length != 4 || (n.substr(0, 3) != u"COM" && n.substr(0, 3) != u"LPT")) return false;
  return (n[3] >= u'0' && n[3] <= u'9') || IsSuperscriptDigit(n[3]);
}

}  // namespace

bool IsRefusedZipName(const std::u16string& relative) {
  if (relative.find(u':') != std::u16string::npos) return true;
  size_t start = 0;
  for (size_t i = 0; i <= relative.size(); ++i) {
    if (i == relative.size() || IsSeparator(relative[i])) {
      if (i - start == 2 && relative[start] == u'.' && relative[start + 1] == u'.') return true;
      if (IsDeviceComponent(relative, start, i)) return true;
      start = i + 1;
    }
  }
  return false;
}

namespace {

// The archive's source: a file handle and the position at which the archive
// starts. The position of the handle is remembered, so that reading on from
// where the last read ended costs no seek.
class ArchiveStream {
 public:
  ~ArchiveStream() { Close(); }

  bool OpenPath(const std::u16string& path) {
    handle_ = Io().CreateFileHandle(path, platform::kGenericRead, platform::kFileShareRead, platform::kOpenExisting,
                                    platform::kFileAttributeNormal);
    if (handle_ == platform::InvalidFileHandle()) return false;
    owned_ = true;
    start_ = 0;
    return true;
  }

  // False when the handle cannot report its position.
  bool Attach(Handle file) {
    const uint32_t at = Io().SetFilePointer(file, 0, platform::kFileCurrent);
    if (at == platform::kInvalidSetFilePointer) return false;
    handle_ = file;
    owned_ = false;
    start_ = at;
    pos_ = 0;
    posKnown_ = true;
    return true;
  }

  void Close() {
    if (owned_ && handle_ != platform::InvalidFileHandle()) Io().CloseHandle(handle_);
    handle_ = platform::InvalidFileHandle();
    owned_ = false;
  }

  // The size of the stream from its start; false when it cannot be learnt.
  bool Size(uint32_t* size) {
    posKnown_ = false;
    const uint32_t end = Io().SetFilePointer(handle_, 0, platform::kFileEnd);
    if (end == platform::kInvalidSetFilePointer || end < start_) return false;
    *size = end - start_;
    return true;
  }

  bool Seek(uint64_t pos) {
    if (posKnown_ && pos == pos_) return true;
    const uint64_t absolute = pos + start_;
    if (absolute > 0x7FFFFFFFu) return false;
    posKnown_ = false;
    if (Io().SetFilePointer(handle_, static_cast<int32_t>(absolute), platform::kFileBegin) ==
        platform::kInvalidSetFilePointer) {
      return false;
    }
    pos_ = pos;
    posKnown_ = true;
    return true;
  }

  // Reads until `bytes` are in or the stream ends; the count read.
  uint32_t Read(void* buffer, uint32_t bytes) {
    uint32_t total = 0;
    while (total < bytes) {
      uint32_t got = 0;
      if (!Io().ReadFile(handle_, static_cast<uint8_t*>(buffer) + total, bytes - total, &got)) {
        posKnown_ = false;
        break;
      }
      if (got == 0) break;
      total += got;
    }
    pos_ += total;
    return total;
  }

  bool ReadAt(uint64_t pos, void* buffer, uint32_t bytes) { return Seek(pos) && Read(buffer, bytes) == bytes; }
  // Up to `bytes` from `pos`: the count read, short at the end of the
  // stream; -1 when the position cannot be reached.
  int64_t ReadSome(uint64_t pos, void* buffer, uint32_t bytes) { return Seek(pos) ? Read(buffer, bytes) : -1; }

 private:
  Handle handle_ = platform::InvalidFileHandle();
  bool owned_ = false;
  uint32_t start_ = 0;
  uint64_t pos_ = 0;
  bool posKnown_ = false;
};

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
  uint32_t localOffset = 0;
  std::string name;  // up to 260 bytes of it
};

// Where an item's local extra field and data lie, from its local header.
struct LocalInfo {
  uint64_t extraPos = 0;
  uint16_t extraLength = 0;
  uint64_t dataPos = 0;
};

// The central directory as it is read, a block at a time, so that walking it
// costs one read per block instead of one seek and read per header.
struct CentralBlock {
  std::unique_ptr<uint8_t[]> bytes{new uint8_t[kBufferSize]};
  uint64_t pos = 0;     // archive position of bytes[0]
  uint32_t length = 0;  // bytes held
};

// The traditional stream cipher of the ZIP format.
class ZipCipher {
 public:
  void Init(const std::string& password) {
    table_ = get_crc_table();
    k0_ = 0x12345678u;
    k1_ = 0x23456789u;
    k2_ = 0x34567890u;
    for (unsigned char c : password) Update(c);
  }
  void Decrypt(uint8_t* data, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i) {
      const uint32_t t = (k2_ | 2u) & 0xFFFFu;
      data[i] = static_cast<uint8_t>(data[i] ^ static_cast<uint8_t>((t * (t ^ 1u)) >> 8));
      Update(data[i]);
    }
  }

 private:
  uint32_t Crc(uint32_t crc, uint8_t b) const { return static_cast<uint32_t>(table_[(crc ^ b) & 0xFF]) ^ (crc >> 8); }
  void Update(uint8_t c) {
    k0_ = Crc(k0_, c);
    k1_ = (k1_ + (k0_ & 0xFF)) * 134775813u + 1u;
    k2_ = Crc(k2_, static_cast<uint8_t>(k1_ >> 24));
  }
  const z_crc_t* table_ = nullptr;
  uint32_t k0_ = 0, k1_ = 0, k2_ = 0;
};

}  // namespace

// An item as GetZipItem produced it, with where its data lies, so that
// writing it needs no second look at its headers. The read that took its
// extra field may also have taken the first block of a deflated item's data
// into the input buffer: `preloaded` bytes from `preloadAt`, there to be
// inflated where they lie when the item is opened next.
struct ProducedItem {
  int32_t index = -1;
  ZipEntry entry;
  LocalInfo local;
  uint32_t preloadAt = 0;
  uint32_t preloaded = 0;
};

class ZipReader {
 public:
  ZipReader() { in_.reset(new uint8_t[kBufferSize]); }
  ~ZipReader() {
    CloseItem();
    if (zInit_) inflateEnd(&z_);
  }

  ArchiveStream stream;
  std::u16string base;  // with a trailing separator
  bool hasPassword = false;
  std::string password;

  uint32_t Open();
  uint32_t Count() const { return count_; }
  uint32_t GetItem(int32_t index, ZipEntry* entry);
  uint32_t Unzip(int32_t index, const std::u16string& target);
  void CloseItem() { openItem_ = -1; }

 private:
  bool ReadCentral();
  void GoFirst();
  void GoNext();
  const CentralHeader* Reach(int32_t index);
  bool CheckLocal(const CentralHeader& c, LocalInfo* info);
  uint32_t Produce(int32_t index, ProducedItem* item);
  bool MakeTree(const std::u16string& root, const std::u16string& path);
  bool OpenItem(const CentralHeader& c, ProducedItem* item);
  int ReadItem(uint8_t* out, uint32_t length, bool* end);

  uint32_t count_ = 0;
  uint64_t cdStart_ = 0;
  uint64_t before_ = 0;  // bytes in front of the archive

  // The walk over the central directory: the current header and where it
  // lies. `unreachable_` is the index of the first header that could not be
  // read: the directory does not change, so every index from there on is
  // answered at once instead of walking up to the break again.
  uint64_t cdPos_ = 0;
  int32_t curIndex_ = 0;
  bool curBad_ = true;
  int32_t unreachable_ = INT32_MAX;
  CentralHeader cur_;
  CentralBlock central_;

  ProducedItem last_;
  std::vector<uint8_t> extra_;

  // The open item.
  int32_t openItem_ = -1;
  std::unique_ptr<uint8_t[]> in_;
  std::unique_ptr<uint8_t[]> out_;
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

uint32_t ZipReader::Open() {
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
  before_ = recordPos - cdSize - cdOffset;
  cdStart_ = before_ + cdOffset;
  count_ = entries;
  if (count_ > 0) GoFirst();
  return ZR_OK;
}

bool ZipReader::ReadCentral() {
  // The fixed part and up to 260 bytes of the name, from the block held when
  // it lies there, else from a new block read at the header.
  constexpr uint32_t kWant = kCentralSize + kZipMaxPath;
  CentralBlock& b = central_;
  const bool inBlock = cdPos_ >= b.pos && cdPos_ - b.pos <= b.length;
  const bool endInBlock = b.length < kBufferSize;  // the block reached the end of the archive
  if (!inBlock || (b.length - (cdPos_ - b.pos) < kWant && !endInBlock)) {
    const int64_t got = stream.ReadSome(cdPos_, b.bytes.get(), kBufferSize);
    if (got < 0) {
      b.length = 0;
      return false;
    }
    b.pos = cdPos_;
    b.length = static_cast<uint32_t>(got);
  }
  const uint8_t* buffer = b.bytes.get() + (cdPos_ - b.pos);
  const uint32_t got = std::min<uint32_t>(kWant, b.length - static_cast<uint32_t>(cdPos_ - b.pos));
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
  c.localOffset = Get32(buffer + 42);
  const uint32_t nameBytes = std::min<uint32_t>(c.nameLength, kZipMaxPath);
  if (got < kCentralSize + nameBytes) return false;
  c.name.assign(reinterpret_cast<const char*>(buffer + kCentralSize), nameBytes);
  return true;
}

void ZipReader::GoFirst() {
  cdPos_ = cdStart_;
  curIndex_ = 0;
  curBad_ = !ReadCentral();
  if (curBad_) unreachable_ = 0;
}

void ZipReader::GoNext() {
  if (curBad_) return;
  cdPos_ += kCentralSize + cur_.nameLength + cur_.extraLength + cur_.commentLength;
  ++curIndex_;
  if (static_cast<uint32_t>(curIndex_) >= count_) {
    curBad_ = true;
  } else if (!ReadCentral()) {
    curBad_ = true;
    unreachable_ = curIndex_;
  }
}

// Moves the walk to `index` and gives its central header, or null when the
// item cannot be reached: a broken header on the way stops the walk, and an
// index at or past it is refused without walking again. Each header is read
// once while the walk goes forward.
const CentralHeader* ZipReader::Reach(int32_t index) {
  if (index >= unreachable_) return nullptr;
  if (index < curIndex_ || curBad_) GoFirst();
  while (curIndex_ < index && !curBad_) GoNext();
  return !curBad_ && curIndex_ == index ? &cur_ : nullptr;
}

bool ZipReader::CheckLocal(const CentralHeader& c, LocalInfo* info) {
  uint8_t h[kLocalSize];
  const uint64_t at = before_ + c.localOffset;
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

namespace {

// Drops a drive, leading separators and everything up to the last inner
// parent reference, until none of these applies.
std::u16string CleanName(std::u16string name) {
  static const char16_t* const kPatterns[] = {u"\\..\\", u"\\../", u"/../", u"/..\\"};
  for (;;) {
    if (name.size() >= 2 && name[1] == u':') {
      name.erase(0, 2);
      continue;
    }
    if (!name.empty() && IsSeparator(name[0])) {
      name.erase(0, 1);
      continue;
    }
    bool cut = false;
    for (const char16_t* pattern : kPatterns) {
      const size_t at = name.find(pattern);
      if (at != std::u16string::npos) {
        name.erase(0, at + 4);
        cut = true;
        break;
      }
    }
    if (!cut) return name;
  }
}

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

}  // namespace

// Produces the entry of `index` into `item`. On a failure `item->entry`
// still carries the index, and the name once the central header was read.
uint32_t ZipReader::Produce(int32_t index, ProducedItem* item) {
  item->index = -1;
  item->preloaded = 0;
  item->entry = ZipEntry();
  item->entry.index = index;
  const CentralHeader* c = Reach(index);
  if (c == nullptr) return ZR_CORRUPT;
  SetName(*c, &item->entry);
  if (!CheckLocal(*c, &item->local)) return ZR_CORRUPT;
  const LocalInfo& local = item->local;
  // The name (read past, not used) and the extra field follow the local
  // header; a plain deflated item's data follows them, and its first block
  // comes in the same read, into the input buffer where it will be inflated.
  const uint32_t head = c->nameLength + local.extraLength;
  const uint8_t* extra = nullptr;
  if (head <= kBufferSize) {
    const bool plainDeflated = c->method == 8 && (c->flags & 1) == 0;
    const uint32_t data = plainDeflated ? std::min(c->compSize, kBufferSize - head) : 0;
    const int64_t got = stream.ReadSome(local.extraPos - c->nameLength, in_.get(), head + data);
    if (got < head) return ZR_READ;
    extra = in_.get() + c->nameLength;
    item->preloadAt = head;
    item->preloaded = static_cast<uint32_t>(got) - head;
  } else {
    extra_.resize(local.extraLength);
    if (local.extraLength > 0 && !stream.ReadAt(local.extraPos, extra_.data(), local.extraLength)) return ZR_READ;
    extra = extra_.data();
  }
  item->entry.attr = AttributesOf(c->versionMadeBy, c->externalAttr);
  SetTimes(c->dosTime, extra, local.extraLength, &item->entry);
  item->entry.comp_size = static_cast<int32_t>(c->compSize);
  item->entry.unc_size = static_cast<int32_t>(c->uncSize);
  item->index = index;
  return ZR_OK;
}

uint32_t ZipReader::GetItem(int32_t index, ZipEntry* entry) {
  if (index < -1 || (index >= 0 && static_cast<uint32_t>(index) >= count_)) return ZR_ARGS;
  CloseItem();
  if (index == last_.index && index != -1) {
    *entry = last_.entry;
    return ZR_OK;
  }
  if (index == -1) {
    *entry = ZipEntry();
    entry->index = static_cast<int32_t>(count_);
    return ZR_OK;
  }
  const uint32_t result = Produce(index, &last_);
  *entry = last_.entry;
  return result;
}

// Makes `root` if it is missing, then every level of `path` below it, each
// unless something of its name is there. A level is simply created, and one
// that is there already answers 183: that costs what a look at it would,
// and a new level is looked up once instead of twice. Only when a level
// above is missing (3) are the levels above made first. False when the path
// does not fit 260 characters.
bool ZipReader::MakeTree(const std::u16string& root, const std::u16string& path) {
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

// Opens the item for reading, its headers as GetZipItem checked them. Data
// that came with its extra field is taken up where it lies, once.
bool ZipReader::OpenItem(const CentralHeader& c, ProducedItem* item) {
  readPos_ = item->local.dataPos + item->preloaded;
  inNext_ = in_.get() + item->preloadAt;
  inAvail_ = item->preloaded;
  compLeft_ = c.compSize - item->preloaded;
  item->preloaded = 0;
  uncLeft_ = c.uncSize;
  stored_ = c.method == 0;
  encrypted_ = (c.flags & 1) != 0;
  headerLeft_ = encrypted_ ? 12 : 0;
  expected_ = (c.flags & 8) != 0 ? static_cast<uint8_t>(c.dosTime >> 8) : static_cast<uint8_t>(c.crc >> 24);
  if (encrypted_) cipher_.Init(hasPassword ? password : std::string());
  if (!stored_) {
    if (!zInit_) {
      if (inflateInit2(&z_, -15) != Z_OK) return false;
      zInit_ = true;
    } else if (inflateReset(&z_) != Z_OK) {
      return false;
    }
  }
  openItem_ = item->index;
  return true;
}

// Up to `length` bytes of the open item. The count read (0 once the item is
// done, with *end set by the call that finished it), or a negative status.
// The output's CRC-32 is not computed: a mismatch has never been reported to
// anyone, so its verdict would be work that nobody reads.
int ZipReader::ReadItem(uint8_t* out, uint32_t length, bool* end) {
  *end = false;
  if (openItem_ < 0) return kReadNoItem;
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
      // Only the encryption header passes through the input buffer; with it
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

uint32_t ZipReader::Unzip(int32_t index, const std::u16string& target) {
  if (index < 0 || static_cast<uint32_t>(index) >= count_) return ZR_ARGS;
  CloseItem();
  ZipEntry entry;
  uint32_t result = GetItem(index, &entry);
  if (result != ZR_OK) return result;
  // The entry just produced is the walk's current item, so its central
  // header is at hand and its local header was checked.
  const CentralHeader* c = Reach(index);
  if (c == nullptr) return ZR_CORRUPT;

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

  const Handle out = Io().CreateFileHandle(full, platform::kGenericWrite, 0, platform::kCreateAlways, entry.attr);
  if (out == platform::InvalidFileHandle()) return ZR_NOFILE;
  OpenItem(*c, &last_);
  if (!out_) out_.reset(new uint8_t[kBufferSize]);
  for (;;) {
    bool end = false;
    const int n = ReadItem(out_.get(), kBufferSize, &end);
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
  CloseItem();
  return result;
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

ZipHandle OpenReader(std::unique_ptr<ZipReader> reader, const char* password) {
  std::u16string base = platform::Service<platform::Environment>().CurrentDirectory();
  if (base.empty() || !IsSeparator(base.back())) base += u'\\';
  reader->base = base;
  if (password != nullptr) {
    reader->hasPassword = true;
    reader->password = password;
  }
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
  std::unique_ptr<ZipReader> reader(new ZipReader());
  if (!reader->stream.OpenPath(path)) {
    Finish(ZR_NOFILE);
    return nullptr;
  }
  return OpenReader(std::move(reader), password);
}

ZipHandle OpenZipHandle(platform::Handle file, const char* password) {
  std::unique_ptr<ZipReader> reader(new ZipReader());
  if (!reader->stream.Attach(file)) {
    Finish(ZR_SEEK);
    return nullptr;
  }
  return OpenReader(std::move(reader), password);
}

uint32_t SetUnzipBaseDir(ZipHandle zip, const std::u16string& dir) {
  if (const uint32_t bad = CheckHandle(zip)) return Finish(bad);
  std::u16string base = dir;
  if (base.empty() || !IsSeparator(base.back())) base += u'\\';
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
