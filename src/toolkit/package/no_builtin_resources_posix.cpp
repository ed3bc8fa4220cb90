// The built-in resource table of an installer built against the toolkit
// package: empty. The launcher and its tests link a generated table with the
// product's documents instead; an installer carries none, so a resource
// lookup answers "not found" as it does for a Windows executable without
// resources.
#include "platform/system/builtin_resources.h"

namespace platform {

const BuiltinResource* BuiltinResources(size_t* count) {
  *count = 0;
  return nullptr;
}

}  // namespace platform
