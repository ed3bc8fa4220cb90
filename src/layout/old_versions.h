// Old-version clean-up: after a normal start, every other version directory
// of the install root is moved aside and deleted, and every empty directory
// there is removed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/product_config.h"

// "<name>.todelete-<seconds>": the name a directory gets when it is moved
// aside for deletion, with the current Unix time in its low 32 bits.
std::u16string ToDeleteName(const std::u16string& name);

// The directories below the install root that clean-up may remove: launchable
// ones, and leftovers holding a direct .exe or .dll of the launcher's signer.
// Full paths in enumeration order; the count.
int32_t EnumVersionDirs(const CProductConfig& config, const std::u16string& installRoot,
                        std::vector<std::u16string>* list);

// True if the directory holds an .exe or .dll (names compared with case)
// signed by the launcher's own signer; sub-directories are searched while
// `depth` is above 1. False at once when the launcher has no signer.
bool HasLauncherSignedFile(const std::u16string& dir, int32_t depth);

// The sub-directories of the root that hold nothing; full paths, the count.
int32_t EnumEmptyDirs(const std::u16string& root, std::vector<std::u16string>* list);

// Deletes the directory with everything in it, read-only files included.
// Failures are logged and the walk goes on; with `delayUntilReboot` a file
// that can't be deleted is scheduled for deletion at the next system start.
// Always true.
bool DeleteDirectoryTree(const std::u16string& dir, bool delayUntilReboot);
