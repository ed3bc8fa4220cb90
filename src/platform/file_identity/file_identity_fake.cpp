#include "platform/error_codes.h"
#include "platform/file_identity/fake_file_identity.h"
#include "platform/text/ascii.h"

namespace platform {
namespace {

template <typename Value>
const Value* Lookup(const std::map<std::u16string, Value>& table, const std::u16string& path) {
  for (const auto& [key, value] : table) {
    if (EqualsIgnoreAsciiCase(key, path)) return &value;
  }
  return nullptr;
}

}  // namespace

FakeFileIdentity::FakeFileIdentity() : native_(NativeService<FileIdentity>()) {}

bool FakeFileIdentity::IdentifyFile(const std::u16string& path, FileId* id) {
  asked.push_back(path);
  if (const uint32_t* error = Lookup(failures, path)) {
    SetLastErrorCode(*error);
    return false;
  }
  const std::u16string* alias = Lookup(sameAs, path);
  if (native_.IdentifyFile(alias != nullptr ? *alias : path, id)) return true;
  SetLastErrorCode(NativeService<ErrorCodes>().LastError());  // a fake platform keeps its own last error
  return false;
}

}  // namespace platform
