// The table of built-in blobs that stands in for executable resources where
// the platform has none. Each executable links one generated table.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

struct BuiltinResource {
  uint16_t id;
  const char16_t* type;
  const uint8_t* data;
  uint32_t size;
};

// Defined by the generated source linked into each executable and test.
const BuiltinResource* BuiltinResources(size_t* count);

}  // namespace platform
