// The product's automatic start at logon: a value of the current user's Run
// key, named by the configuration's autolaunch_key, whose data starts the
// launcher with a delay. A launcher so started waits that long before it
// starts the application, and a start by the user meanwhile cuts the wait
// short (the auto-launch gate).
#pragma once

#include <cstdint>
#include <string>

#include "base/product_config.h"

// Below HKEY_CURRENT_USER.
inline constexpr char16_t kAutorunRunKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

// The longest delay the gate can wait: it counts in milliseconds in 32 bits.
constexpr uint32_t kMaxAutorunDelaySeconds = 2147483;

namespace Utils {

// The value's data: the launcher's path in double quotes (so a path with
// blanks stays one argument), then "--launch_from=auto-launch
// --auto_launch_delay_seconds=N". Empty when the path can't be written so:
// empty, holding a double quote, or ending in a separator (whose backslash
// would escape the closing quote); or when the delay is above
// kMaxAutorunDelaySeconds.
std::u16string BuildAutorunCommand(const std::u16string& launcherPath, uint32_t delaySeconds);

// Writes the value (REG_SZ). False, with an error line, for data that
// BuildAutorunCommand refuses, an empty autolaunch_key, or a registry that
// refuses the write (Linux has none: 120).
bool SetAutorunValue(const CProductConfig& config, const std::u16string& launcherPath, uint32_t delaySeconds);

// Reads the value's text (REG_SZ or REG_EXPAND_SZ, as written, up to its
// first NUL). False, with `data` empty, when there is no such value or it
// can't be read; a missing value is an info line, anything else an error.
bool ReadAutorunValue(const CProductConfig& config, std::u16string* data);

// Deletes the value. True when it is gone afterwards, a value that was not
// there included; false, with an error line, when it could not be deleted.
bool RemoveAutorunValue(const CProductConfig& config);

}  // namespace Utils
