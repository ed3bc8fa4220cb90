// The Windows handle of a registry hive. Win32 backends only.
#pragma once

#include <windows.h>

#include "platform/registry/registry.h"

namespace platform {

// The predefined keys are sign-extended handle values on 64-bit Windows, so
// they come from the system's own constants, not from the 32-bit numbers.
inline HKEY RootKey(Hive hive) {
  switch (hive) {
    case Hive::kClassesRoot:
      return HKEY_CLASSES_ROOT;
    case Hive::kCurrentUser:
      return HKEY_CURRENT_USER;
    case Hive::kLocalMachine:
      return HKEY_LOCAL_MACHINE;
  }
  return nullptr;
}

}  // namespace platform
