#include "platform/error_codes.h"
#include "platform/files/fake_file_versions.h"

namespace platform {

// The record handed out is the file's path, by which the queries find it.
bool FakeFileVersions::ReadVersionInfo(const std::u16string& path, std::vector<uint8_t>* record) {
  if (records.count(path) == 0) {
    SetLastErrorCode(kErrorResourceTypeNotFound);
    return false;
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(path.data());
  record->assign(bytes, bytes + path.size() * sizeof(char16_t));
  return true;
}

const FakeFileVersions::Record* FakeFileVersions::Find(const std::vector<uint8_t>& record) const {
  const std::u16string path(reinterpret_cast<const char16_t*>(record.data()), record.size() / sizeof(char16_t));
  const auto found = records.find(path);
  return found == records.end() ? nullptr : &found->second;
}

bool FakeFileVersions::QueryTranslation(const std::vector<uint8_t>& record, uint16_t* language, uint16_t* codePage) {
  const Record* r = Find(record);
  if (r == nullptr || !r->hasTranslation) return false;
  *language = r->language;
  *codePage = r->codePage;
  return true;
}

bool FakeFileVersions::QueryString(const std::vector<uint8_t>& record, const std::u16string& subBlock,
                                   std::u16string* value) {
  const Record* r = Find(record);
  if (r == nullptr) return false;
  const auto found = r->strings.find(subBlock);
  if (found == r->strings.end()) return false;
  *value = found->second;
  return true;
}

}  // namespace platform
