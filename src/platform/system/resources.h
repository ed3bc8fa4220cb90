// Resources of the executable itself: real resources on Windows, built-in
// blobs with the same bytes elsewhere.
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

class Resources {
 public:
  virtual ~Resources() = default;

  // FindResourceW / LoadResource / SizeofResource / LockResource on the own
  // module with an integer id and a named type ("BIN"). Returns the size and
  // sets *data on success. A missing resource gives 0 and sets the last error
  // (1813 / 1814). -1, -2 and -3 are the failures after FindResourceW,
  // LoadResource and LockResource.
  virtual int32_t ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) = 0;
};

}  // namespace platform
