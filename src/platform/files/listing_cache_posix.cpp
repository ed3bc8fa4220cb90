// The Linux backend's memory of its latest directory listings.
#include <dirent.h>
#include <fcntl.h>
#include <time.h>

#include <algorithm>

#include "platform/files/posix_listing_cache.h"
#include "platform/text/ascii.h"
#include "platform/text/unicode.h"

namespace platform {
namespace posix {

struct ListingCache::Listing {
  ~Listing() {
    if (dir != nullptr) ::closedir(static_cast<DIR*>(dir));
  }
  std::u16string windowsDir;
  std::string posixDir;
  void* dir = nullptr;  // the open DIR the listing was read from
  uint64_t madeNs = 0;
  std::unordered_map<std::u16string, uint32_t> attributes;
};

namespace {

constexpr size_t kListingsKept = 8;  // deeper than any walk of an application copy

uint64_t NowNs() {
  timespec t{};
  ::clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<uint64_t>(t.tv_sec) * 1000000000u + static_cast<uint64_t>(t.tv_nsec);
}

// A directory as a key: "C:\a\" and "C:\a" are one directory. A caller's
// pattern often carries a doubled separator ("root\\*").
std::u16string DirKey(std::u16string dir) {
  while (!dir.empty() && dir.back() == u'\\') dir.pop_back();
  return dir;
}

// The directory part of a path as a key, and the name after it.
std::u16string SplitPath(const std::u16string& path, std::u16string* name) {
  const size_t cut = path.rfind(u'\\');
  if (cut == std::u16string::npos) {
    *name = path;
    return u".";
  }
  *name = path.substr(cut + 1);
  return DirKey(path.substr(0, cut));
}

bool AtOrBelow(const std::u16string& dir, const std::u16string& top) {
  if (dir.size() < top.size() || !EqualsIgnoreAsciiCase(dir.substr(0, top.size()), top)) return false;
  return dir.size() == top.size() || dir[top.size()] == u'\\';
}

int FdOf(void* dir) { return ::dirfd(static_cast<DIR*>(dir)); }

}  // namespace

ListingCache::~ListingCache() = default;

void ListingCache::Remember(const std::u16string& windowsDir, const std::string& posixDir, void* dir,
                            const std::vector<DirEntry>& entries) {
  auto listing = std::make_unique<Listing>();
  listing->windowsDir = DirKey(windowsDir);
  listing->posixDir = posixDir;
  listing->dir = dir;
  listing->madeNs = NowNs();
  listing->attributes.reserve(entries.size());
  for (const DirEntry& entry : entries) listing->attributes.emplace(entry.name, entry.attributes);
  // An older listing of the same directory goes, and so does every listing
  // that no longer answers, closing its directory.
  DropStale();
  listings_.erase(std::remove_if(listings_.begin(), listings_.end(),
                                 [&](const auto& l) { return l->windowsDir == listing->windowsDir; }),
                  listings_.end());
  if (listings_.size() >= kListingsKept) listings_.erase(listings_.begin());
  listings_.push_back(std::move(listing));
}

void ListingCache::DropStale() {
  const uint64_t now = NowNs();
  listings_.erase(std::remove_if(listings_.begin(), listings_.end(),
                                 [now](const auto& l) { return now - l->madeNs > kFreshNs; }),
                  listings_.end());
}

ListingCache::Listing* ListingCache::ListingOf(const std::u16string& path, std::u16string* name) {
  DropStale();
  if (listings_.empty()) return nullptr;
  const std::u16string dir = SplitPath(path, name);
  if (name->empty() || *name == u"." || *name == u"..") return nullptr;
  for (const auto& listing : listings_) {
    if (listing->windowsDir == dir) return listing.get();
  }
  return nullptr;
}

bool ListingCache::Find(const std::u16string& path, ListedPlace* place) {
  std::u16string name;
  Listing* listing = ListingOf(path, &name);
  if (listing == nullptr) return false;
  const auto entry = listing->attributes.find(name);
  if (entry == listing->attributes.end()) return false;
  place->dirFd = FdOf(listing->dir);
  place->name = Utf16ToUtf8(name);
  place->posixPath = listing->posixDir == "/" ? "/" + place->name : listing->posixDir + "/" + place->name;
  place->attributes = entry->second;
  return true;
}

bool ListingCache::FindDirectory(const std::u16string& windowsDir, ListedPlace* place) {
  const std::u16string key = DirKey(windowsDir);
  DropStale();
  for (const auto& listing : listings_) {
    if (listing->windowsDir != key) continue;
    // Listed again: by its path, as another directory may stand there by now.
    place->dirFd = AT_FDCWD;
    place->name = listing->posixDir;
    place->posixPath = listing->posixDir;
    place->attributes = kFileAttributeDirectory;
    return true;
  }
  return Find(key, place) && (place->attributes & kFileAttributeDirectory) != 0;
}

void ListingCache::Update(const std::u16string& path, uint32_t attributes) {
  std::u16string name;
  Listing* listing = ListingOf(path, &name);
  if (listing == nullptr) return;
  const auto entry = listing->attributes.find(name);
  if (entry != listing->attributes.end()) entry->second = attributes;
}

void ListingCache::Forget(const std::u16string& path) {
  if (listings_.empty()) return;
  std::u16string name;
  const std::u16string dir = SplitPath(path, &name);
  const std::u16string gone = DirKey(path);
  for (auto it = listings_.begin(); it != listings_.end();) {
    Listing& listing = **it;
    if (AtOrBelow(listing.windowsDir, gone)) {
      it = listings_.erase(it);
      continue;
    }
    // The name in its parent's listing, or any other spelling of it there.
    if (EqualsIgnoreAsciiCase(listing.windowsDir, dir) && listing.attributes.erase(name) == 0) {
      for (auto e = listing.attributes.begin(); e != listing.attributes.end();) {
        e = EqualsIgnoreAsciiCase(e->first, name) ? listing.attributes.erase(e) : std::next(e);
      }
    }
    ++it;
  }
}

ListingCache& Listings() {
  static thread_local ListingCache cache;
  return cache;
}

}  // namespace posix
}  // namespace platform
