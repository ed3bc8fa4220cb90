#include <algorithm>
#include <utility>

#include "platform/error_codes.h"
#include "platform/file_identity/fake_windows_files.h"
#include "platform/text/ascii.h"
#include "platform/text/unicode.h"

namespace platform {
namespace {

enum Kind { kDirectory, kFile, kJunction };
enum : uint32_t { kRead = 1, kWrite = 2, kDelete = 4, kShareAll = kRead | kWrite | kDelete };
constexpr uint32_t kErrorCantResolveFilename = 1921;

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

bool StartsWithIgnoringCase(const std::u16string& text, const std::u16string& prefix) {
  return text.size() >= prefix.size() && EqualsIgnoreAsciiCase(text.substr(0, prefix.size()), prefix);
}

std::string Narrow(const std::u16string& text) { return Utf16ToUtf8(text); }

}  // namespace

struct FakeWindowsFiles::Node {
  int kind = kDirectory;
  std::u16string name;  // "C:" or "\\server\share" for a volume
  Node* parent = nullptr;
  std::vector<std::unique_ptr<Node>> children;
  std::u16string target;  // a junction's
  std::u16string tag;     // a file's
  uint64_t index = 0;
  uint64_t volume = 0;

  Node* Child(const std::u16string& childName) const {
    for (const auto& child : children) {
      if (EqualsIgnoreAsciiCase(child->name, childName)) return child.get();
    }
    return nullptr;
  }
};

struct FakeWindowsFiles::Open {
  Node* node = nullptr;
  uint32_t access = 0;
  uint32_t share = 0;
};

FakeWindowsFiles::FakeWindowsFiles() = default;
FakeWindowsFiles::~FakeWindowsFiles() = default;

// The volume a path is on, and the components after its root. Verbatim
// paths are taken as they stand; others lose "." and resolve "..".
FakeWindowsFiles::Node* FakeWindowsFiles::Volume(const std::u16string& path, std::vector<std::u16string>* parts) const {
  const bool verbatim = StartsWithIgnoringCase(path, u"\\\\?\\");
  std::u16string rest = verbatim ? path.substr(4) : path;
  std::u16string volume;
  bool share = false;
  if (verbatim && StartsWithIgnoringCase(rest, u"UNC\\")) {
    rest = rest.substr(4);
    share = true;
  } else if (!verbatim && rest.size() >= 2 && IsSeparator(rest[0]) && IsSeparator(rest[1])) {
    rest = rest.substr(2);
    share = true;
  }
  std::vector<std::u16string> all;
  std::u16string part;
  for (size_t i = 0; i <= rest.size(); ++i) {
    if (i == rest.size() || rest[i] == u'\\' || (!verbatim && rest[i] == u'/')) {
      if (!part.empty()) all.push_back(part);
      part.clear();
    } else {
      part += rest[i];
    }
  }
  size_t first = 1;
  if (share) {
    if (all.size() < 2) return nullptr;
    volume = u"\\\\" + all[0] + u"\\" + all[1];
    first = 2;
  } else {
    if (all.empty() || all[0].size() != 2 || all[0][1] != u':') return nullptr;
    volume = all[0];
  }
  parts->clear();
  for (size_t i = first; i < all.size(); ++i) {
    if (!verbatim && all[i] == u".") continue;
    if (!verbatim && all[i] == u"..") {
      if (!parts->empty()) parts->pop_back();
      continue;
    }
    parts->push_back(all[i]);
  }
  for (const auto& v : volumes_) {
    if (EqualsIgnoreAsciiCase(v->name, volume)) return v.get();
  }
  return nullptr;
}

uint32_t FakeWindowsFiles::Resolve(const std::u16string& start, bool followLast, Node** found) const {
  std::u16string path = start;
  for (int hops = 0; hops < 32; ++hops) {
    std::vector<std::u16string> parts;
    Node* node = Volume(path, &parts);
    if (node == nullptr) return kErrorPathNotFound;
    bool relinked = false;
    for (size_t i = 0; i < parts.size() && !relinked; ++i) {
      const bool last = i + 1 == parts.size();
      if (node->kind != kDirectory) return kErrorPathNotFound;
      Node* child = node->Child(parts[i]);
      if (child == nullptr) return last ? kErrorFileNotFound : kErrorPathNotFound;
      if (child->kind == kJunction && (!last || followLast)) {
        path = child->target;
        for (size_t j = i + 1; j < parts.size(); ++j) path += u"\\" + parts[j];
        relinked = true;
      }
      node = child;
    }
    if (!relinked) {
      *found = node;
      return kErrorSuccess;
    }
  }
  return kErrorCantResolveFilename;
}

FakeWindowsFiles::Node* FakeWindowsFiles::MakeParents(const std::u16string& path, std::u16string* leaf) {
  std::vector<std::u16string> parts;
  Node* node = Volume(path, &parts);
  if (node == nullptr) {
    // A new volume: the root part of the path as written.
    auto volume = std::make_unique<Node>();
    const bool share = path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1]);
    const size_t end = share ? path.find(u'\\', path.find(u'\\', 2) + 1) : 2;
    volume->name = path.substr(0, end);
    volume->volume = volumes_.size() + 1;
    volume->index = nextIndex_++;
    volumes_.push_back(std::move(volume));
    node = Volume(path, &parts);
  }
  if (node == nullptr || parts.empty()) return nullptr;
  for (size_t i = 0; i + 1 < parts.size(); ++i) {
    Node* child = node->Child(parts[i]);
    if (child == nullptr) {
      auto made = std::make_unique<Node>();
      made->name = parts[i];
      made->parent = node;
      made->index = nextIndex_++;
      made->volume = node->volume;
      child = made.get();
      node->children.push_back(std::move(made));
    }
    if (child->kind != kDirectory) return nullptr;
    node = child;
  }
  *leaf = parts.back();
  return node;
}

FakeWindowsFiles::Node* FakeWindowsFiles::Add(const std::u16string& path, int kind) {
  std::u16string leaf;
  Node* parent = MakeParents(path, &leaf);
  if (parent == nullptr || parent->Child(leaf) != nullptr) return nullptr;
  auto node = std::make_unique<Node>();
  node->kind = kind;
  node->name = leaf;
  node->parent = parent;
  node->index = nextIndex_++;
  node->volume = parent->volume;
  Node* raw = node.get();
  parent->children.push_back(std::move(node));
  return raw;
}

void FakeWindowsFiles::AddDirectory(const std::u16string& path) { Add(path, kDirectory); }

void FakeWindowsFiles::AddFile(const std::u16string& path, const std::u16string& tag) {
  if (Node* node = Add(path, kFile)) node->tag = tag;
}

void FakeWindowsFiles::AddJunction(const std::u16string& path, const std::u16string& target) {
  if (Node* node = Add(path, kJunction)) node->target = target;
}

// Whether an open asking `access` and sharing `share` meets an open handle
// of the node that refuses it, either way round: 32, else 0.
uint32_t FakeWindowsFiles::Conflict(const Node* node, uint32_t access, uint32_t share) const {
  for (const auto& open : opens_) {
    if (open->node == node && ((access & ~open->share) != 0 || (open->access & ~share) != 0)) {
      return kErrorSharingViolation;
    }
  }
  return kErrorSuccess;
}

std::unique_ptr<FakeWindowsFiles::Node> FakeWindowsFiles::Detach(Node* node) {
  auto& siblings = node->parent->children;
  auto it = std::find_if(siblings.begin(), siblings.end(), [node](const auto& c) { return c.get() == node; });
  std::unique_ptr<Node> owned = std::move(*it);
  siblings.erase(it);
  owned->parent = nullptr;
  return owned;
}

uint32_t FakeWindowsFiles::Rename(const std::u16string& from, const std::u16string& to) {
  Node* node = nullptr;
  if (const uint32_t error = Resolve(from, false, &node)) return error;
  if (node->parent == nullptr) return kErrorAccessDenied;
  if (const uint32_t error = Conflict(node, kDelete, kShareAll)) return error;
  std::vector<std::u16string> parts;
  if (Volume(to, &parts) == nullptr || parts.empty()) return kErrorPathNotFound;
  const std::u16string leaf = parts.back();
  Node* parent = nullptr;
  const std::u16string parentPath = to.substr(0, to.find_last_of(u"\\/"));  // "C:" for the root
  if (Resolve(parentPath, true, &parent) != kErrorSuccess || parent->kind != kDirectory) {
    return kErrorPathNotFound;
  }
  if (parent->Child(leaf) != nullptr) return kErrorAlreadyExists;
  std::unique_ptr<Node> moved = Detach(node);
  moved->name = leaf;
  moved->parent = parent;
  parent->children.push_back(std::move(moved));
  return kErrorSuccess;
}

uint32_t FakeWindowsFiles::Remove(const std::u16string& path) {
  Node* node = nullptr;
  if (const uint32_t error = Resolve(path, false, &node)) return error;
  if (node->parent == nullptr) return kErrorAccessDenied;
  if (!node->children.empty()) return kErrorDirNotEmpty;
  if (const uint32_t error = Conflict(node, kDelete, kShareAll)) return error;
  removed_.push_back(Detach(node));
  return kErrorSuccess;
}

uint32_t FakeWindowsFiles::Write(const std::u16string& path, const std::u16string& newTag) {
  Node* node = nullptr;
  if (const uint32_t error = Resolve(path, true, &node)) return error;
  if (node->kind != kFile) return kErrorAccessDenied;
  if (const uint32_t error = Conflict(node, kWrite, kShareAll)) return error;
  node->tag = newTag;
  return kErrorSuccess;
}

Handle FakeWindowsFiles::OpenWriter(const std::u16string& path) {
  Node* node = nullptr;
  uint32_t error = Resolve(path, true, &node);
  if (error == kErrorSuccess && node->kind != kFile) error = kErrorAccessDenied;
  if (error == kErrorSuccess) error = Conflict(node, kWrite, kRead | kWrite);
  if (error != kErrorSuccess) {
    SetLastErrorCode(error);
    return nullptr;
  }
  opens_.push_back(std::make_unique<Open>(Open{node, kWrite, kRead | kWrite}));
  return opens_.back().get();
}

std::u16string FakeWindowsFiles::TagAt(const std::u16string& path) const {
  Node* node = nullptr;
  return Resolve(path, true, &node) == kErrorSuccess && node->kind == kFile ? node->tag : std::u16string();
}

std::u16string FakeWindowsFiles::TagStartedBy(const std::u16string& applicationName,
                                              const std::u16string& commandLine) const {
  if (!applicationName.empty()) return TagAt(applicationName);
  std::u16string token;
  if (!commandLine.empty() && commandLine[0] == u'"') {
    token = commandLine.substr(1, commandLine.find(u'"', 1) - 1);
  } else {
    token = commandLine.substr(0, commandLine.find(u' '));
  }
  const size_t lastSeparator = token.find_last_of(u"\\/");
  const size_t nameStart = lastSeparator == std::u16string::npos ? 0 : lastSeparator + 1;
  if (token.find(u'.', nameStart) == std::u16string::npos) token += u".exe";
  return TagAt(token);
}

// Records the call; the racing caller acts; then the last error is set and
// the answer given (true for success).
bool FakeWindowsFiles::Answer(const std::string& call, uint32_t error) {
  calls.push_back(error == kErrorSuccess ? call : call + " -> " + std::to_string(error));
  if (afterCall) afterCall(calls.back());
  SetLastErrorCode(error);
  return error == kErrorSuccess;
}

bool FakeWindowsFiles::IsAbsolutePath(const std::u16string& path) { return IsAbsoluteWindowsPath(path); }

Handle FakeWindowsFiles::OpenEntry(const std::u16string& path, Entry kind) {
  const bool directory = kind == Entry::kDirectory;
  const std::string call = "CreateFileW " + Narrow(path) + (directory ? " directory" : " file");
  Node* node = nullptr;
  uint32_t error = Resolve(path, true, &node);
  if (error == kErrorSuccess && !directory && node->kind == kDirectory) error = kErrorAccessDenied;
  const uint32_t share = directory ? kRead | kWrite : kRead;
  if (error == kErrorSuccess) error = Conflict(node, kRead, share);
  if (error != kErrorSuccess) {
    Answer(call, error);
    return nullptr;
  }
  opens_.push_back(std::make_unique<Open>(Open{node, kRead, share}));
  Handle handle = opens_.back().get();
  Answer(call, kErrorSuccess);
  return handle;
}

bool FakeWindowsFiles::FinalPathOf(Handle entry, std::u16string* path) {
  const auto* open = static_cast<const Open*>(entry);
  std::u16string built;
  const Node* node = open->node;
  for (; node->parent != nullptr; node = node->parent) built = u"\\" + node->name + built;
  const bool onVolume = std::any_of(volumes_.begin(), volumes_.end(), [node](const auto& v) { return v.get() == node; });
  if (!onVolume) return Answer("GetFinalPathNameByHandleW", kErrorFileNotFound);  // removed meanwhile
  const std::u16string root = IsSeparator(node->name[0]) ? u"\\\\?\\UNC\\" + node->name.substr(2) : u"\\\\?\\" + node->name;
  *path = root + (built.empty() ? u"\\" : built);
  return Answer("GetFinalPathNameByHandleW " + Narrow(*path), kErrorSuccess);
}

bool FakeWindowsFiles::IdentityOf(Handle entry, FileId* identity) {
  const auto* open = static_cast<const Open*>(entry);
  identity->volume = open->node->volume;
  identity->index = open->node->index;
  return Answer("GetFileInformationByHandle", kErrorSuccess);
}

void FakeWindowsFiles::CloseEntry(Handle entry) {
  auto it = std::find_if(opens_.begin(), opens_.end(), [entry](const auto& o) { return o.get() == entry; });
  const bool known = it != opens_.end();
  if (known) opens_.erase(it);
  Answer("CloseHandle", known ? kErrorSuccess : kErrorInvalidHandle);
}

}  // namespace platform
