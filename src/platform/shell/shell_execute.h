// ShellExecuteW: starting a file through the shell, with a verb ("open",
// "runas" for the elevation prompt). A service of its own (see
// service.h).
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

// ShowWindow command SW_SHOW.
constexpr int32_t kShowWindowShow = 5;
// ShellExecuteW's failure values the backends produce (32 and below fail).
enum : intptr_t {
  kShellFileNotFound = 2,     // SE_ERR_FNF
  kShellPathNotFound = 3,     // SE_ERR_PNF
  kShellAccessDenied = 5,     // SE_ERR_ACCESSDENIED
  kShellBadFormat = 11,       // ERROR_BAD_FORMAT
  kShellNoAssociation = 31,   // SE_ERR_NOASSOC
};
// The last error of an elevation prompt the user declined.
constexpr uint32_t kErrorCancelled = 1223;

class ShellExecution {
 public:
  virtual ~ShellExecution() = default;
  // ShellExecuteW(null window, verb, file, parameters, directory, show):
  // the value it returns, greater than 32 on success; on failure 32 or less
  // with the last error set. A null `directory` is the null directory.
  virtual intptr_t ShellExecute(const std::u16string& verb, const std::u16string& file,
                                const std::u16string& parameters, const std::u16string* directory,
                                int32_t show) = 0;
};

}  // namespace platform
