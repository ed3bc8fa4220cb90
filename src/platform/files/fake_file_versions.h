// The fake version-record service: version records by file path; any other
// file has none (1813). Installs itself for its lifetime.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/files/file_versions.h"

namespace platform {

class FakeFileVersions final : public FileVersions {
 public:
  struct Record {
    bool hasTranslation = true;
    uint16_t language = 0x0409, codePage = 1200;
    std::map<std::u16string, std::u16string> strings;  // by full sub-block
  };
  std::map<std::u16string, Record> records;

  bool ReadVersionInfo(const std::u16string& path, std::vector<uint8_t>* record) override;
  bool QueryTranslation(const std::vector<uint8_t>& record, uint16_t* language, uint16_t* codePage) override;
  bool QueryString(const std::vector<uint8_t>& record, const std::u16string& subBlock,
                   std::u16string* value) override;

 private:
  const Record* Find(const std::vector<uint8_t>& record) const;
  ScopedService<FileVersions> scope_{this};
};

}  // namespace platform
