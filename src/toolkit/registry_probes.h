// Probes for registry keys that other software leaves, such as the keys of
// endpoint agents whose presence changes what an installer should do. Which
// keys to probe is the product's choice: the optional configuration list
// `registry_probes`. A key counts as present in either view of the registry
// (the 64-bit one, or the 32-bit one of Wow6432Node).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/product_config.h"

// The views that hold a key, as bits.
enum : uint32_t {
  kRegistryView64 = 1,
  kRegistryView32 = 2,
};

struct CRegistryProbe {
  std::u16string key;  // as configured
  uint32_t views = 0;  // kRegistryView64 | kRegistryView32 where it exists; 0 when absent
  bool found() const { return views != 0; }
};

namespace Utils {

// The views in which `key` exists. The key names its root first: "HKLM\" or
// "HKEY_LOCAL_MACHINE\", "HKCU\" or "HKEY_CURRENT_USER\", "HKCR\" or
// "HKEY_CLASSES_ROOT\" (case ignored), then a non-empty path. A key that
// answers "access denied" exists (the system checks rights only on a key it
// found). 0 for an absent key, and for a key of another form or one whose
// probe fails otherwise, each with an error line.
uint32_t ProbeRegistryKey(const std::u16string& key);

// Probes every key of config.registry_probes, in order, into `results` (one
// row per key, when given). The number of keys found; 0 for an empty list.
int32_t ProbeRegistryKeys(const CProductConfig& config, std::vector<CRegistryProbe>* results);

}  // namespace Utils
