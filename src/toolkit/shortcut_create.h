// Creating the product's shortcuts, as an installer places them: a new .lnk
// file aimed at the launcher and carrying the product's AppUserModelID, so
// that the shell groups the application's windows under it and the launcher's
// pinned task-bar repair recognises it.
#pragma once

#include <string>

#include "base/product_config.h"

namespace Utils {

// The product's AppUserModelID: "com.electron." and product_info_key, the ID
// the pinned task-bar repair looks for.
std::u16string GetProductAppUserModelId(const CProductConfig& config);

// Writes a new shortcut at `lnkPath` (replacing one there): target, its
// arguments (when not empty), the working directory, the target as icon
// (index 0) and the AppUserModelID (when not empty). The directory of
// `lnkPath` must exist. True when the file was saved; false with an error
// line naming the failing step otherwise.
bool CreateShortcut(const std::u16string& lnkPath, const std::u16string& target, const std::u16string& arguments,
                    const std::u16string& workingDir, const std::u16string& appId);

}  // namespace Utils
