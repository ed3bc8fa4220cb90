// The fake of registry views.
#include "platform/registry/fake_registry_views.h"

#include "platform/text/ascii.h"
#include "platform/types.h"

namespace platform {

namespace {

std::u16string Folded(const std::u16string& text) {
  std::u16string out = text;
  for (char16_t& c : out) c = FoldAscii(c);
  return out;
}

}  // namespace

void FakeRegistryViews::Answer(const std::u16string& key, uint32_t view, int32_t status) {
  answers_[{Folded(key), view}] = status;
}

int32_t FakeRegistryViews::ProbeKey(Hive hive, const std::u16string& subKey, uint32_t view) {
  const std::u16string root = hive == Hive::kLocalMachine ? u"HKLM\\" : hive == Hive::kCurrentUser ? u"HKCU\\" : u"HKCR\\";
  probes.push_back({root + subKey, view});
  auto answer = answers_.find({Folded(root + subKey), view});
  return answer != answers_.end() ? answer->second : static_cast<int32_t>(kErrorFileNotFound);
}

}  // namespace platform
