// The fake resources: what the test sets.
#include "platform/system/fake_resources.h"

namespace platform {

void FakeResources::SetResource(uint16_t id, const std::u16string& type, const std::string& bytes) {
  resources_[{id, type}] = bytes;
}

void FakeResources::RemoveResource(uint16_t id, const std::u16string& type) { resources_.erase({id, type}); }

int32_t FakeResources::ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) {
  if (Enter("ReadResource", type + u"/" + FakeHex(id))) return 0;
  auto it = resources_.find({id, type});
  if (it == resources_.end()) {
    SetError(kErrorResourceNameNotFound);
    return 0;
  }
  *data = reinterpret_cast<const uint8_t*>(it->second.data());
  SetError(kErrorSuccess);
  return static_cast<int32_t>(it->second.size());
}

}  // namespace platform
