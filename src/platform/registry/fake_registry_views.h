// The fake of registry views, for unit tests: it installs itself for its
// lifetime, records its calls and answers from what the test sets.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/registry/registry_views.h"

namespace platform {

// Keys by "HKLM\<subkey>" (also "HKCU\", "HKCR\"; case ignored) and view;
// a key not listed answers 2.
class FakeRegistryViews final : public RegistryViews {
 public:
  struct Probe {
    std::u16string key;  // "HKLM\<subkey>"
    uint32_t view = 0;
  };
  std::vector<Probe> probes;  // every call, in order
  // Sets the answer of one key in one view (0: it exists).
  void Answer(const std::u16string& key, uint32_t view, int32_t status);
  int32_t ProbeKey(Hive hive, const std::u16string& subKey, uint32_t view) override;

 private:
  std::map<std::pair<std::u16string, uint32_t>, int32_t> answers_;
  ScopedService<RegistryViews> scope_{this};
};

}  // namespace platform
