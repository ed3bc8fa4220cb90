// The fake of the file system: the native backend underneath, so tests work
// on real files in temporary directories they make; every call recorded and
// any single one made to fail.
#pragma once

#include <cstdint>
#include <string>

#include "platform/fake_recorder.h"
#include "platform/files/files.h"

namespace platform {

class FakeFiles : public Files, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeFiles(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

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

 private:
  ScopedService<Files> scope_{this};
};

}  // namespace platform
