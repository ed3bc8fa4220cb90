// A file's version record (the VERSIONINFO resource of an executable). A
// service of its own (see service.h).
//
// On Linux an executable carries no version record: ReadVersionInfo fails as
// GetFileVersionInfoSizeW does for such a file (1813).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

class FileVersions {
 public:
  virtual ~FileVersions() = default;
  // GetFileVersionInfoSizeW and GetFileVersionInfoW: the whole record. False
  // and last error when the file has none or cannot be read.
  virtual bool ReadVersionInfo(const std::u16string& path, std::vector<uint8_t>* record) = 0;
  // VerQueryValueW(record, "\VarFileInfo\Translation"): the first pair.
  virtual bool QueryTranslation(const std::vector<uint8_t>& record, uint16_t* language, uint16_t* codePage) = 0;
  // VerQueryValueW(record, subBlock) of a string value, such as
  // "\StringFileInfo\040904b0\ProductVersion".
  virtual bool QueryString(const std::vector<uint8_t>& record, const std::u16string& subBlock,
                           std::u16string* value) = 0;
};

}  // namespace platform
