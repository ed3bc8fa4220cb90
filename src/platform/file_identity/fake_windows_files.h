// An in-memory Windows namespace behind the file hold's calls, for unit
// tests: volumes ("C:", "\\server\share"), directories, files, junctions and
// the handles open on them with their share modes. It answers CreateFileW,
// GetFinalPathNameByHandleW, GetFileInformationByHandle and CloseHandle as
// Windows does, so that what Wine cannot make (a junction) is proven here
// with the very calls the Windows backend makes.
//
// Paths: "X:\...", "\\server\share\...", and the verbatim "\\?\X:\..." and
// "\\?\UNC\server\share\..." (taken as they stand). Names compare without
// regard to ASCII case and keep the case they were made with. A junction on
// the way is followed; a junction at the end is followed by CreateFileW and
// taken as itself by Rename and Remove.
//
// One rule is kept weaker than NTFS's, on purpose: a directory above an open
// file can be renamed unless the directory itself is open without delete
// sharing (as under Wine), so a test shows that the hold does not rely on
// more.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_identity/file_hold.h"

namespace platform {

class FakeWindowsFiles final : public FileHold {
 public:
  FakeWindowsFiles();
  ~FakeWindowsFiles() override;

  // Building the namespace; missing directories above are made. A file's
  // tag tells it apart from the others (say, the signer a test gives it).
  void AddDirectory(const std::u16string& path);
  void AddFile(const std::u16string& path, const std::u16string& tag);
  // A junction at `path` leading to `target` (which need not exist).
  void AddJunction(const std::u16string& path, const std::u16string& target);

  // What another process can do meanwhile. Each answers 0 or the Windows
  // error: 32 when a handle open on the entry does not share what it needs
  // (deletion for Rename and Remove, writing for Write), 2 or 3 for a
  // missing path, 183 when Rename's target exists, 145 for Remove of a
  // directory that is not empty.
  uint32_t Rename(const std::u16string& from, const std::u16string& to);
  uint32_t Remove(const std::u16string& path);
  uint32_t Write(const std::u16string& path, const std::u16string& newTag);
  // A writer that keeps the file open (sharing reading and writing) until
  // CloseEntry: null and the error when it cannot open.
  Handle OpenWriter(const std::u16string& path);

  // The tag of the file `path` leads to now, every junction followed; empty
  // when it leads to no file.
  std::u16string TagAt(const std::u16string& path) const;
  // The tag of the file CreateProcessW starts: the application name exactly
  // as given; without one the command line's first token, with ".exe"
  // appended when its last component has no extension.
  std::u16string TagStartedBy(const std::u16string& applicationName, const std::u16string& commandLine) const;

  // Every call of the service, in order: "CreateFileW <path> file",
  // "CreateFileW <path> directory", "GetFinalPathNameByHandleW <answer>",
  // "GetFileInformationByHandle", "CloseHandle"; a failure ends in
  // " -> <error>".
  std::vector<std::string> calls;
  // Runs after each call has been answered: a racing caller's moment.
  std::function<void(const std::string& call)> afterCall;
  size_t OpenHandles() const { return opens_.size(); }

  bool IsAbsolutePath(const std::u16string& path) override;
  Handle OpenEntry(const std::u16string& path, Entry kind) override;
  bool FinalPathOf(Handle entry, std::u16string* path) override;
  bool IdentityOf(Handle entry, FileId* identity) override;
  void CloseEntry(Handle entry) override;

 private:
  struct Node;
  struct Open;

  Node* Volume(const std::u16string& path, std::vector<std::u16string>* parts) const;
  uint32_t Resolve(const std::u16string& path, bool followLast, Node** found) const;
  Node* MakeParents(const std::u16string& path, std::u16string* leaf);
  Node* Add(const std::u16string& path, int kind);
  uint32_t Conflict(const Node* node, uint32_t access, uint32_t share) const;
  std::unique_ptr<Node> Detach(Node* node);
  bool Answer(const std::string& call, uint32_t error);

  std::vector<std::unique_ptr<Node>> volumes_;
  std::vector<std::unique_ptr<Node>> removed_;  // kept so that no pointer dangles
  std::vector<std::unique_ptr<Open>> opens_;
  uint64_t nextIndex_ = 1000;
  ScopedService<FileHold> scope_{this};
};

}  // namespace platform
