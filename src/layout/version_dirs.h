// Version directories below the install root: which one is current, where its
// main executable lies, manifest.json, and the order of versions.
#pragma once

#include <cstdint>
#include <string>

#include "base/product_config.h"

// The ini's directory, then version_dir_name, then the highest launchable
// version found by a scan. False (outputs unchanged but fromManifest) when
// none holds a main executable.
bool FindMainExe(const CProductConfig& config, const std::u16string& installRoot, std::u16string* versionDirName,
                 std::u16string* mainExePath, bool* fromManifest);

// True when `dir` holds a main executable (by manifest, exe_file_name or
// "Orvane.exe"). exePath (may be null) is written only on true; fromManifest
// always.
bool ProbeVersionDir(const std::u16string& dir, const CProductConfig& config, std::u16string* exePath,
                     bool* fromManifest);

// True when dir\manifest.json's "launchName" names an existing file.
bool ReadManifestLaunchName(const std::u16string& dir, std::u16string* exePath, std::u16string* errorText);

// Positive when a is newer, negative when older, 0 for the same version.
int32_t CompareVersionDirNames(const std::u16string& a, const std::u16string& b);
int32_t CompareVersions(const std::u16string& a, const std::u16string& b);
// Up to four dotted 16-bit fields into two words. False only for a null text.
bool ParseVersion(const char16_t* text, uint32_t* high, uint32_t* low);
