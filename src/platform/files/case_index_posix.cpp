#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/files/posix_case_index.h"
#include "platform/text/ascii.h"

namespace platform {
namespace posix {
namespace {

// Directories indexed at once per thread, and the names they may hold
// together (a few MiB at most). An archive's items visit a few hundred
// directories in turn, coming back to each again and again; an index of only
// the last few would list each one anew on every visit. The least recently
// used directory goes first; the one in use always stays, however large.
constexpr size_t kIndexedDirectories = 1024;
constexpr size_t kIndexedNames = size_t{1} << 16;

struct DirIndex {
  std::string dir;
  dev_t dev = 0;
  ino_t ino = 0;
  struct timespec mtime = {};
  // Folded name -> the names that fold to it, in listing order (Linux may
  // hold "a" and "A" side by side; the first listed is the one found).
  std::unordered_map<std::string, std::vector<std::string>> byFolded;
  size_t names = 0;
};

struct Indexes {
  std::list<DirIndex> recency;  // least recently used first
  std::unordered_map<std::string, std::list<DirIndex>::iterator> byDir;
  size_t names = 0;
  uint64_t listings = 0;
};

Indexes& ThreadIndexes() {
  static thread_local Indexes indexes;
  return indexes;
}

bool SameState(const DirIndex& index, const struct stat& st) {
  return index.dev == st.st_dev && index.ino == st.st_ino && index.mtime.tv_sec == st.st_mtim.tv_sec &&
         index.mtime.tv_nsec == st.st_mtim.tv_nsec;
}

void TakeState(DirIndex* index, const struct stat& st) {
  index->dev = st.st_dev;
  index->ino = st.st_ino;
  index->mtime = st.st_mtim;
}

std::string Folded(const std::string& name) {
  std::string folded = name;
  for (char& c : folded) c = FoldAscii(c);
  return folded;
}

std::string Join(const std::string& dir, const std::string& name) {
  return dir.empty() ? name : dir == "/" ? "/" + name : dir + "/" + name;
}

// Splits a path into its directory ("" for the current one) and name.
void Split(const std::string& path, std::string* dir, std::string* name) {
  std::string p = path;
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  const size_t slash = p.rfind('/');
  if (slash == std::string::npos) {
    dir->clear();
    *name = p;
  } else {
    *dir = slash == 0 ? std::string("/") : p.substr(0, slash);
    *name = p.substr(slash + 1);
  }
}

// The thread's index of `dir`, made the most recently used; null if none.
DirIndex* Lookup(const std::string& dir) {
  Indexes& indexes = ThreadIndexes();
  const auto found = indexes.byDir.find(dir);
  if (found == indexes.byDir.end()) return nullptr;
  indexes.recency.splice(indexes.recency.end(), indexes.recency, found->second);
  return &indexes.recency.back();
}

// Keeps the index within its bounds, dropping the least recently used
// directories; the most recent one stays.
void Evict(Indexes& indexes) {
  while (indexes.recency.size() > 1 &&
         (indexes.recency.size() > kIndexedDirectories || indexes.names > kIndexedNames)) {
    const DirIndex& oldest = indexes.recency.front();
    indexes.names -= oldest.names;
    indexes.byDir.erase(oldest.dir);
    indexes.recency.pop_front();
  }
}

// Lists `dir` afresh into its index. Null when it can't be read.
DirIndex* List(const std::string& dir, const struct stat& st) {
  DIR* stream = ::opendir(dir.empty() ? "." : dir.c_str());
  if (stream == nullptr) return nullptr;
  Indexes& indexes = ThreadIndexes();
  ++indexes.listings;
  DirIndex* index = Lookup(dir);
  if (index == nullptr) {
    indexes.recency.emplace_back();
    index = &indexes.recency.back();
    index->dir = dir;
    indexes.byDir[dir] = std::prev(indexes.recency.end());
  }
  indexes.names -= index->names;
  index->byFolded.clear();
  index->names = 0;
  TakeState(index, st);
  while (const dirent* entry = ::readdir(stream)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    index->byFolded[Folded(name)].push_back(name);
    ++index->names;
  }
  ::closedir(stream);
  indexes.names += index->names;
  Evict(indexes);
  return index;
}

}  // namespace

namespace {

enum class Found { kYes, kNo, kGone };

// The first name in `index` that folds to `folded`, checked to exist now;
// kGone when the index names one that is no longer there.
Found FindIn(const DirIndex& index, const std::string& dir, const std::string& folded, std::string* match) {
  const auto found = index.byFolded.find(folded);
  if (found == index.byFolded.end()) return Found::kNo;
  struct stat entry;
  if (::lstat(Join(dir, found->second.front()).c_str(), &entry) != 0) return Found::kGone;
  *match = found->second.front();
  return Found::kYes;
}

}  // namespace

bool FindNameIgnoringCase(const std::string& dir, const std::string& name, std::string* match,
                          const struct stat* dirState) {
  struct stat st;
  if (dirState != nullptr && S_ISDIR(dirState->st_mode)) {
    st = *dirState;
  } else if (::stat(dir.empty() ? "." : dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    return false;
  }
  const std::string folded = Folded(name);
  const DirIndex* index = Lookup(dir);
  if (index != nullptr && SameState(*index, st)) {
    const Found found = FindIn(*index, dir, folded, match);
    // A name gone behind the index's back within the same tick: list again.
    if (found != Found::kGone) return found == Found::kYes;
  }
  index = List(dir, st);
  return index != nullptr && FindIn(*index, dir, folded, match) == Found::kYes;
}

namespace {

// Applies this process's change of `posixPath`'s entry to its directory's
// index, if that directory is indexed: `change` edits the names that fold
// like the entry's name, and the index takes the directory's new state.
template <class Change>
void NoteChange(const std::string& posixPath, Change change) {
  std::string dir, name;
  Split(posixPath, &dir, &name);
  DirIndex* index = Lookup(dir);
  if (index == nullptr) return;
  struct stat st;
  if (::stat(dir.empty() ? "." : dir.c_str(), &st) != 0 || st.st_dev != index->dev || st.st_ino != index->ino) {
    index->mtime = {};  // no longer the directory listed: list it again
    return;
  }
  const std::string folded = Folded(name);
  std::vector<std::string>& names = index->byFolded[folded];
  const size_t before = names.size();
  change(names, name);
  const size_t after = names.size();
  if (names.empty()) index->byFolded.erase(folded);
  index->names = index->names + after - before;
  Indexes& indexes = ThreadIndexes();
  indexes.names = indexes.names + after - before;
  TakeState(index, st);
  Evict(indexes);
}

}  // namespace

void NoteNameAdded(const std::string& posixPath) {
  NoteChange(posixPath, [](std::vector<std::string>& names, const std::string& name) {
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  });
}

void NoteNameRemoved(const std::string& posixPath) {
  NoteChange(posixPath, [](std::vector<std::string>& names, const std::string& name) {
    names.erase(std::remove(names.begin(), names.end(), name), names.end());
  });
}

uint64_t CaseIndexListingsForTesting() { return ThreadIndexes().listings; }

}  // namespace posix
}  // namespace platform
