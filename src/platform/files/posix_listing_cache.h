// The Linux backend's memory of the directory listings it has just made. A
// walk that lists a directory and then asks for, changes and deletes each of
// its entries by path (the old-version clean-up does, as it does on Windows)
// would otherwise look up every path again, component by component and with
// a case-insensitive scan where a name is missing, and stat every entry a
// second time. Internal to src/platform.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/types.h"

namespace platform {
namespace posix {

// Where an entry of a listing lies: its name relative to the listed
// directory, kept open, and its whole path for what takes a path.
struct ListedPlace {
  int dirFd = -1;    // the listing's open directory (valid until the next call of the cache), or AT_FDCWD
  std::string name;  // relative to dirFd
  std::string posixPath;
  uint32_t attributes = 0;  // as the listing saw them
};

class ListingCache {
 public:
  // How long a listing answers for entries nobody in this process changed:
  // a walk over its entries follows at once, and a longer memory would only
  // stand in for changes made by other processes.
  static constexpr uint64_t kFreshNs = 200000000;  // 200 ms

  ListingCache() = default;
  ListingCache(const ListingCache&) = delete;
  ListingCache& operator=(const ListingCache&) = delete;
  ~ListingCache();

  // Remembers the listing of `windowsDir` (the pattern's directory part, as
  // the caller wrote it), read from the open `dir` (taken over and closed
  // when forgotten) found at `posixDir`, replacing an older listing of the
  // same directory. Keeps the last few listings.
  void Remember(const std::u16string& windowsDir, const std::string& posixDir, void* dir,
                const std::vector<DirEntry>& entries);

  // When `path` is an entry of a fresh listing under exactly that name: true
  // and where it lies.
  bool Find(const std::u16string& path, ListedPlace* place);

  // When `windowsDir` is a fresh listing's directory (then by its whole
  // path), or a directory that a fresh listing holds as an entry: true and
  // where it lies.
  bool FindDirectory(const std::u16string& windowsDir, ListedPlace* place);

  // This process changed an entry: new attributes, or it is gone. A gone
  // directory takes every listing at or below it along (names compared
  // without regard to ASCII case, as another spelling reaches it too).
  void Update(const std::u16string& path, uint32_t attributes);
  void Forget(const std::u16string& path);

 private:
  struct Listing;
  // Forgets the listings that no longer answer, closing their directories.
  void DropStale();
  // The fresh listing holding `path`'s entry, and the entry's name.
  Listing* ListingOf(const std::u16string& path, std::u16string* name);

  std::vector<std::unique_ptr<Listing>> listings_;  // oldest first
};

// The calling thread's cache.
ListingCache& Listings();

}  // namespace posix
}  // namespace platform
