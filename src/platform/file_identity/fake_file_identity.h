// A file-identity backend for unit tests: a path answers the native
// backend's identity of itself, or of the path the test aliased it to (as a
// hard link, a link or a junction on the way would make it the same file),
// or the error the test chose. Paths compare without regard to ASCII case.
// Installs itself for its lifetime.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/file_identity/file_identity.h"
#include "platform/service.h"

namespace platform {

class FakeFileIdentity final : public FileIdentity {
 public:
  FakeFileIdentity();

  std::map<std::u16string, std::u16string> sameAs;  // path -> the path whose identity it answers
  std::map<std::u16string, uint32_t> failures;      // path -> the error its query fails with
  std::vector<std::u16string> asked;                // every path asked, in order

  bool IdentifyFile(const std::u16string& path, FileId* id) override;

 private:
  FileIdentity& native_;
  ScopedService<FileIdentity> scope_{this};
};

}  // namespace platform
