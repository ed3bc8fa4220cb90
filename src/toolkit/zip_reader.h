// A small reader of zip archives with a handle-based interface: open an
// archive from a path or a file handle, ask for an item by index, write an
// item to disk. Stored and deflated items, the traditional encryption, no
// Zip64 and no multi-disk archives. One item at a time, 16 KiB buffers.
//
// Every operation returns one of the result codes below and keeps it as the
// process-wide last result, which FormatZipResult(1, ...) describes.
#pragma once

#include <cstdint>
#include <string>

#include "platform/files/file_handles.h"
#include "platform/types.h"


enum : uint32_t {
  ZR_OK = 0,
  ZR_NODUPH = 256,
  ZR_NOFILE = 512,
  ZR_NOALLOC = 768,
  ZR_WRITE = 1024,
  ZR_NOTFOUND = 1280,
  ZR_MORE = 1536,
  ZR_CORRUPT = 1792,
  ZR_READ = 2048,
  ZR_PASSWORD = 4096,
  ZR_ARGS = 0x10000,
  ZR_NOTMMAP = 0x20000,
  ZR_MEMSIZE = 0x30000,
  ZR_FAILED = 0x40000,
  ZR_ENDED = 0x50000,
  ZR_MISSIZE = 0x60000,
  ZR_PARTIALUNZ = 0x70000,
  ZR_ZMODE = 0x80000,
  ZR_NOTINITED = 0x1000000,
  ZR_SEEK = 0x2000000,
  ZR_NOCHANGE = 0x4000000,
  ZR_FLATE = 0x5000000,
  // Asks FormatZipResult for the last result.
  ZR_RECENT = 1,
};

constexpr size_t kZipMaxPath = 260;

struct ZipEntry {
  int32_t index = 0;               // the item's index; for index -1 the number of items
  char16_t name[kZipMaxPath] = {};  // cleaned path inside the archive
  uint32_t attr = 0;                // Windows file attributes
  platform::FileTime atime;
  platform::FileTime ctime;
  platform::FileTime mtime;
  int32_t comp_size = 0;
  int32_t unc_size = 0;
};

class ZipReader;

struct ZipHandleData {
  uint32_t kind;  // 1 for a reader
  ZipReader* reader;
};
using ZipHandle = ZipHandleData*;

// Opens the archive at `path`. Null on failure: 512 when the file cannot be
// opened or holds no readable end record (also for a comment that pushes the
// record out of the last 1028 bytes). `password` may be null.
ZipHandle OpenZip(const std::u16string& path, const char* password);

// Opens the archive that starts at the current position of `file`, which
// stays the caller's. Null on failure: 0x2000000 when the handle cannot
// report its position, 512 without a readable end record.
ZipHandle OpenZipHandle(platform::Handle file, const char* password);

// The directory that relative targets of UnzipItem are joined to (by default
// the current directory at opening). 0x10000 if it does not fit 260
// characters with its trailing separator.
uint32_t SetUnzipBaseDir(ZipHandle zip, const std::u16string& dir);

// The item at `index` (-1: the number of items in entry->index). 0x10000 for
// an index out of range, 1792 for a broken header (or an item past a broken
// central header, which is never reached), 2048 when the local extra field
// cannot be read. On 1792 and 2048 `entry` holds the index, the cleaned name
// when the item's central header could be read (else an empty name), and 0
// in every other field.
uint32_t GetZipItem(ZipHandle zip, int32_t index, ZipEntry* entry);

// True when a relative target must not be written: a component "..", which
// climbs out of the base directory; a component that names a Windows device
// (CON, NUL, COM1, LPT1, CONIN$ and the like, whatever follows its first dot,
// trailing blanks and dots ignored); or a ":" anywhere (a drive or an
// alternate data stream).
bool IsRefusedZipName(const std::u16string& relative);

// Writes item `index` to `target`, a path joined to the base directory unless
// absolute. 512 when the file cannot be created (also for a relative target
// that IsRefusedZipName refuses, which opens nothing, or a path longer than
// 259 characters), 1024 when a write fails, 4096 for a wrong password,
// 0x5000000 for damaged data; an item of size 0 is created empty and gives
// 0x5000000.
uint32_t UnzipItem(ZipHandle zip, int32_t index, const std::u16string& target);

// Closes an open item and the archive and frees the handle.
uint32_t ReleaseZip(ZipHandle zip);

// The text of `code` (ZR_RECENT: of the last result). Returns the length of
// the whole text; `buffer`, if given, receives as much as fits in `capacity`
// units with a terminator.
uint32_t FormatZipResult(uint32_t code, char16_t* buffer, uint32_t capacity);
