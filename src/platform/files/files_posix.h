// The Linux backend of files.h, declared once for the source files that
// define its operations. Internal to src/platform.
#pragma once

#include "platform/files/files.h"

namespace platform {

class PosixFiles final : public Files {
 public:
  bool PathExists(const std::u16string& path) override;
  bool PathIsDir(const std::u16string& path) override;
  int32_t MakeDirectoryTree(const std::u16string& path) override;
  bool MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) override;
  bool DeleteOneFile(const std::u16string& path) override;
  bool RemoveOneDirectory(const std::u16string& path) override;
  bool FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) override;
  uint32_t GetAttributes(const std::u16string& path) override;
  bool SetAttributes(const std::u16string& path, uint32_t attributes) override;
  std::FILE* OpenStream(const std::u16string& path, const char* mode) override;
  bool AppendShared(std::FILE* stream, const std::string& bytes) override;
};

}  // namespace platform
